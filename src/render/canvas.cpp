#include "render/canvas.h"

#include <pango/pangocairo.h>

namespace galvix::render {

namespace {

double channel(doc::Color c, int shift) {
  return ((c >> shift) & 0xFF) / 255.0;
}

}  // namespace

cairo_matrix_t CairoCanvas::matrix() const {
  cairo_matrix_t m;
  cairo_get_matrix(cr_, &m);
  return m;
}

void CairoCanvas::setColor(doc::Color c) {
  cairo_set_source_rgb(cr_, channel(c, 0), channel(c, 8), channel(c, 16));
}

void CairoCanvas::setVerticalGradient(double y0, double y1, doc::Color top, doc::Color bottom) {
  cairo_pattern_t* g = cairo_pattern_create_linear(0, y0, 0, y1);
  for (auto [offset, c] : {std::pair{0.0, top}, std::pair{1.0, bottom}})
    cairo_pattern_add_color_stop_rgb(g, offset, channel(c, 0), channel(c, 8), channel(c, 16));
  cairo_set_source(cr_, g);
  cairo_pattern_destroy(g);
}

void CairoCanvas::showLayout(PangoLayout* layout, double x, double y) {
  cairo_move_to(cr_, x, y);
  pango_cairo_show_layout(cr_, layout);
}

void CairoCanvas::image(cairo_surface_t* image, double x, double y, double sx, double sy,
                        bool repeat) {
  // cairo 1.16 names an image twice in a PDF page's resources when it is painted twice on the
  // page (qpdf warns); a repeat goes through a group, which still shares the image.
  if (repeat) cairo_push_group(cr_);
  cairo_translate(cr_, x, y);
  cairo_scale(cr_, sx, sy);
  cairo_set_source_surface(cr_, image, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr_), CAIRO_FILTER_GOOD);
  cairo_paint(cr_);
  if (repeat) {
    cairo_pop_group_to_source(cr_);
    cairo_paint(cr_);
  }
}

}  // namespace galvix::render
