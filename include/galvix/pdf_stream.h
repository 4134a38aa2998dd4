// A PDF file written while reports run (ReportObject::setPageSink).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "galvix/document.h"

namespace galvix {

// Give it to ReportObject::setPageSink, run, then commit(). Each page is drawn on a thread of the
// stream's own as soon as the run finishes it (drawing overlaps the run, and no page is kept);
// page totals are drawn at the end. Several runs may follow one another into one file. The file
// is written as writePdf writes one (a temporary file renamed into place by commit()); destroyed
// without commit(), or after a failed run, it leaves no file (and an existing one as it was). A
// failure to write stops the run at its next page. Failures raise OutputError.
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

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace galvix
