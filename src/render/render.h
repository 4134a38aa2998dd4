// Document -> PDF, PNG and SVG files; the pango text measurer the engine lays text out with.
#pragma once

#include "galvix/error.h"

#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/text_measurer.h"
#include "galvix/document.h"
#include "galvix/pdf_stream.h"

namespace galvix::render {

// A file could not be written; the message names the file and the reason.
class RenderError : public galvix::OutputError {
 public:
  using galvix::OutputError::OutputError;
};

// One PDF with every page (vector text with embedded font subsets; title and creator set).
void writePdf(const doc::Document& doc, const std::string& path);

// PDFs are written by the library's own writer; on, by cairo's PDF surface instead (the two
// are compared in tests and benchmarks). Per thread.
void setCairoPdf(bool on);

// A PDF written while a report runs (galvix/pdf_stream.h; implemented with the sinks).
using galvix::PdfStream;

// One file per page, "<pathPrefix>-1.png", "-2.png", ...; returns the paths written.
std::vector<std::string> writePng(const doc::Document& doc, const std::string& pathPrefix,
                                  double dpi = 96);
std::vector<std::string> writeSvg(const doc::Document& doc, const std::string& pathPrefix);

// The same into a stream (a server's response, a buffer): the whole PDF, or one page (0-based)
// as PNG or SVG. A failing stream or a page that does not exist raises RenderError.
void writePdf(const doc::Document& doc, std::ostream& out);
void writePng(const doc::Document& doc, std::size_t page, std::ostream& out, double dpi = 96);
void writeSvg(const doc::Document& doc, std::size_t page, std::ostream& out);

// Output files: a regular file is replaced atomically (a failed write leaves the old one), a
// symbolic link is written through to its target, a FIFO or device is written directly, a
// folder is refused. Temporary files left by a run that was killed outright are removed when
// the next one is written beside them.
//
// Removes the temporary files of writes in progress. Safe to call from a signal handler.
void removePartialOutputs() noexcept;
// For command-line programs: SIGINT, SIGTERM and SIGHUP remove partial outputs, then end the
// process as the signal would have.
void removePartialOutputsOnSignals();

// Measures text exactly as the sinks draw it (same fonts, same wrapping).
std::unique_ptr<engine::TextMeasurer> makePangoMeasurer();

}  // namespace galvix::render
