// The library's PDF writer. Pages are drawn by the page renderer on a canvas that writes PDF
// content directly: each page's content is deflated and written as soon as it is drawn; fonts
// are subset with HarfBuzz and embedded once the last page is done. Text is written from the
// glyphs the renderer shaped, with a ToUnicode map so it can be searched and copied.
//
// cairo wrote our PDFs before. For report pages, hundreds of short texts and lines each, it
// replays every page twice and formats every number through printf: most of a report's time.
// This writer knows the little the renderer draws (text, lines, rectangles, arcs and curves,
// clips, images, vertical shadings) and writes it once. PNG and SVG stay with cairo.
#pragma once

#include <cairo.h>

#include <memory>
#include <string>

#include "render/canvas.h"

namespace galvix::render {

class PdfWriter {
 public:
  // Bytes go to `write` as they are made.
  PdfWriter(cairo_write_func_t write, void* closure, const std::string& title,
            const std::string& creator);
  ~PdfWriter();
  PdfWriter(const PdfWriter&) = delete;
  PdfWriter& operator=(const PdfWriter&) = delete;

  // A page `width` by `height` points: draw on the canvas, then end it. With `later`, the page
  // goes on in a content stream drawn afterwards (its totals, known once the run ends): the
  // stream's object number is returned for beginLater/endLater.
  Canvas& beginPage(double width, double height);
  int endPage(bool later = false);
  Canvas& beginLater(double height);
  void endLater(int id);
  // A write has failed: what follows is not written, finish() reports it.
  bool failed() const;
  // The document's information (written by finish).
  void setInfo(const std::string& title, const std::string& creator);
  // Fonts, the page tree, the document's information and the cross-reference table. Returns
  // the first failure to write (CAIRO_STATUS_WRITE_ERROR), else success.
  cairo_status_t finish();

  struct Impl;  // the file being written (its canvas draws through it)

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace galvix::render
