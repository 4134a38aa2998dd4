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

namespace galvix::render {

// A file could not be written; the message names the file and the reason.
class RenderError : public galvix::Error {
 public:
  using galvix::Error::Error;
};

// One PDF with every page (vector text with embedded font subsets; title and creator set).
void writePdf(const doc::Document& doc, const std::string& path);

// PDFs are written by the library's own writer; on, by cairo's PDF surface instead (the two
// are compared in tests and benchmarks). Per thread.
void setCairoPdf(bool on);

// A PDF written while a report runs: give it to ReportObject::setPageSink (or
// engine::RunOptions::sink), run, then commit(). Each page is drawn on a thread of the stream's
// own as soon as the run finishes it, so drawing overlaps the run and no page is kept; page totals
// are drawn at the end. Several runs may follow one another into one file. The file is written
// as writePdf writes it (a temporary file renamed into place by commit()); a stream destroyed
// without commit(), or whose run failed, leaves nothing behind. A failure to write stops the run
// at its next page with RenderError.
class PdfStream final : public doc::PageSink {
 public:
  explicit PdfStream(const std::string& path);
  ~PdfStream() override;
  PdfStream(const PdfStream&) = delete;
  PdfStream& operator=(const PdfStream&) = delete;

  void page(doc::Page&& page, std::vector<std::size_t> later) override;
  void fill(std::size_t page, std::size_t item, std::string text) override;
  void runEnded() override;
  void runCancelled() override;
  std::size_t pageCount() const;
  // Draws the page totals, writes the fonts and the rest, and puts the file in place.
  void commit(const std::string& title, const std::string& creator = "Galvix Reports");

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

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
