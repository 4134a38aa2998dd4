// Document -> PDF, PNG and SVG files; the pango text measurer the engine lays text out with.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/text_measurer.h"
#include "galvix/document.h"

namespace galvix::render {

// A file could not be written; the message names the file and the reason.
class RenderError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One PDF with every page (vector text with embedded font subsets; title and creator set).
void writePdf(const doc::Document& doc, const std::string& path);

// One file per page, "<pathPrefix>-1.png", "-2.png", ...; returns the paths written.
std::vector<std::string> writePng(const doc::Document& doc, const std::string& pathPrefix,
                                  double dpi = 96);
std::vector<std::string> writeSvg(const doc::Document& doc, const std::string& pathPrefix);

// Measures text exactly as the sinks draw it (same fonts, same wrapping).
std::unique_ptr<engine::TextMeasurer> makePangoMeasurer();

}  // namespace galvix::render
