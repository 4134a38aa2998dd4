// What the page renderer draws on: a cairo context (PNG, SVG, and PDF through cairo) or the
// library's own PDF writer. User space is points, y down, from the page's top left; the calls
// mean what cairo's calls of the same names mean.
#pragma once

#include <cairo.h>
#include <pango/pango.h>

#include <cstddef>

#include "galvix/document.h"
#include "render/simple_line.h"

namespace galvix::render {

class Canvas {
 public:
  virtual ~Canvas() = default;

  virtual void save() = 0;
  virtual void restore() = 0;
  virtual void translate(double x, double y) = 0;
  virtual void rotate(double radians) = 0;
  virtual void scale(double sx, double sy) = 0;
  virtual cairo_matrix_t matrix() const = 0;
  virtual void setMatrix(const cairo_matrix_t& m) = 0;

  // The colour fills, strokes and texts are drawn in, or a shading from `top` at y0 to `bottom`
  // at y1 (fills only).
  virtual void setColor(doc::Color c) = 0;
  virtual void setVerticalGradient(double y0, double y1, doc::Color top, doc::Color bottom) = 0;
  virtual void setLineWidth(double w) = 0;
  virtual void setDash(const double* dashes, int count) = 0;  // count 0: solid
  virtual void setLineCap(cairo_line_cap_t cap) = 0;
  virtual void setLineJoin(cairo_line_join_t join) = 0;

  virtual void newPath() = 0;
  virtual void newSubPath() = 0;
  virtual void moveTo(double x, double y) = 0;
  virtual void lineTo(double x, double y) = 0;
  virtual void curveTo(double x1, double y1, double x2, double y2, double x3, double y3) = 0;
  virtual void closePath() = 0;
  virtual void rectangle(double x, double y, double w, double h) = 0;
  virtual void arc(double xc, double yc, double r, double from, double to) = 0;
  virtual void fill(bool preserve = false) = 0;
  virtual void stroke() = 0;
  virtual void clip() = 0;

  // Line `k` of `line` with the text's top left at (x, y), `lineX` pango units in (as
  // drawSimpleLine draws it).
  virtual void showLine(const SimpleLine& line, std::size_t k, double x, double y, int lineX) = 0;
  // A layout with its top left at (x, y).
  virtual void showLayout(PangoLayout* layout, double x, double y) = 0;
  // An image with its top left at (x, y), each pixel sx by sy. `repeat`: already drawn on this
  // page.
  virtual void image(cairo_surface_t* image, double x, double y, double sx, double sy,
                     bool repeat) = 0;
};

// Everything through cairo on `cr`.
class CairoCanvas final : public Canvas {
 public:
  explicit CairoCanvas(cairo_t* cr) : cr_(cr) {}

  void save() override { cairo_save(cr_); }
  void restore() override { cairo_restore(cr_); }
  void translate(double x, double y) override { cairo_translate(cr_, x, y); }
  void rotate(double radians) override { cairo_rotate(cr_, radians); }
  void scale(double sx, double sy) override { cairo_scale(cr_, sx, sy); }
  cairo_matrix_t matrix() const override;
  void setMatrix(const cairo_matrix_t& m) override { cairo_set_matrix(cr_, &m); }
  void setColor(doc::Color c) override;
  void setVerticalGradient(double y0, double y1, doc::Color top, doc::Color bottom) override;
  void setLineWidth(double w) override { cairo_set_line_width(cr_, w); }
  void setDash(const double* dashes, int count) override { cairo_set_dash(cr_, dashes, count, 0); }
  void setLineCap(cairo_line_cap_t cap) override { cairo_set_line_cap(cr_, cap); }
  void setLineJoin(cairo_line_join_t join) override { cairo_set_line_join(cr_, join); }
  void newPath() override { cairo_new_path(cr_); }
  void newSubPath() override { cairo_new_sub_path(cr_); }
  void moveTo(double x, double y) override { cairo_move_to(cr_, x, y); }
  void lineTo(double x, double y) override { cairo_line_to(cr_, x, y); }
  void curveTo(double x1, double y1, double x2, double y2, double x3, double y3) override {
    cairo_curve_to(cr_, x1, y1, x2, y2, x3, y3);
  }
  void closePath() override { cairo_close_path(cr_); }
  void rectangle(double x, double y, double w, double h) override {
    cairo_rectangle(cr_, x, y, w, h);
  }
  void arc(double xc, double yc, double r, double from, double to) override {
    cairo_arc(cr_, xc, yc, r, from, to);
  }
  void fill(bool preserve) override { preserve ? cairo_fill_preserve(cr_) : cairo_fill(cr_); }
  void stroke() override { cairo_stroke(cr_); }
  void clip() override { cairo_clip(cr_); }
  void showLine(const SimpleLine& line, std::size_t k, double x, double y, int lineX) override {
    drawSimpleLine(cr_, line, k, x, y, lineX);
  }
  void showLayout(PangoLayout* layout, double x, double y) override;
  void image(cairo_surface_t* image, double x, double y, double sx, double sy,
             bool repeat) override;

 private:
  cairo_t* cr_;
};

}  // namespace galvix::render
