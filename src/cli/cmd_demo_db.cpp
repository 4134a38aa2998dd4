// galvix demo-db: writes the demo event database (from 1,000 --guests up, the scale database).
#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <cmath>
#include <cstring>
#include <iostream>
#include <vector>

#include "cli/command.h"
#include "data/demo.h"

namespace galvix::cli {
namespace {

// The planner's logo: drawn here, not shipped as a file, and stored as a JPEG as a user's
// scanned logo would be.
Bytes drawLogo() {
  const int w = 360, h = 120;
  cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
  cairo_t* cr = cairo_create(s);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_set_source_rgb(cr, 0.55, 0.23, 0.35);
  cairo_arc(cr, 60, 60, 44, 0, 2 * M_PI);
  cairo_fill(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_select_font_face(cr, "Liberation Serif", CAIRO_FONT_SLANT_ITALIC, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(cr, 54);
  cairo_move_to(cr, 38, 80);
  cairo_show_text(cr, "G");
  cairo_set_source_rgb(cr, 0.2, 0.2, 0.25);
  cairo_select_font_face(cr, "Liberation Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(cr, 30);
  cairo_move_to(cr, 118, 58);
  cairo_show_text(cr, "Galvix Events");
  cairo_select_font_face(cr, "Liberation Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, 18);
  cairo_move_to(cr, 120, 88);
  cairo_show_text(cr, "& Planning");
  cairo_destroy(cr);
  cairo_surface_flush(s);

  Bytes out;
  // cairo keeps pixels as native-endian 0xXXRRGGBB words; the pixbuf wants RGB bytes.
  std::vector<guchar> rgb(static_cast<size_t>(w * h * 3));
  const unsigned char* data = cairo_image_surface_get_data(s);
  const int stride = cairo_image_surface_get_stride(s);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      std::uint32_t px;
      std::memcpy(&px, data + y * stride + x * 4, 4);
      guchar* o = &rgb[static_cast<size_t>((y * w + x) * 3)];
      o[0] = static_cast<guchar>(px >> 16);
      o[1] = static_cast<guchar>(px >> 8);
      o[2] = static_cast<guchar>(px);
    }
  GdkPixbuf* pb = gdk_pixbuf_new_from_data(rgb.data(), GDK_COLORSPACE_RGB, FALSE, 8, w, h, w * 3,
                                           nullptr, nullptr);
  gchar* buf = nullptr;
  gsize len = 0;
  if (pb && gdk_pixbuf_save_to_buffer(pb, &buf, &len, "jpeg", nullptr, "quality", "90", nullptr))
    out.assign(reinterpret_cast<std::uint8_t*>(buf), reinterpret_cast<std::uint8_t*>(buf) + len);
  g_free(buf);
  if (pb) g_object_unref(pb);
  cairo_surface_destroy(s);
  return out;
}

Registration reg([](CLI::App& app) {
  auto* cmd = app.add_subcommand("demo-db", "Write the demo event database (SQLite)");
  auto file = std::make_shared<std::string>();
  auto guests = std::make_shared<int>(150);
  auto seed = std::make_shared<std::uint32_t>(1);
  cmd->add_option("file", *file, "The database file to write")->required();
  cmd->add_option("--guests", *guests,
                  "Wedding guests (the gala adds a third more); from 1000 up, the shape of a "
                  "large event: about ten parties, tables and menus at each")
      ->check(CLI::Range(10, 1000000));
  cmd->add_option("--seed", *seed, "Seed for the generated names and replies");
  auto force = std::make_shared<bool>(false);
  cmd->add_flag("--force", *force, "Replace the file if it exists");
  cmd->callback([=] {
    refuseToReplace(*file, *force);
    data::DemoOptions o;
    o.guests = *guests;
    o.seed = *seed;
    o.logo = drawLogo();
    try {
      auto s = data::writeDemoDatabase(*file, o);
      std::cout << *file << ": " << s.guests << " guests in " << s.groups << " groups, "
                << s.parties << " parties\n";
    } catch (const std::exception& e) {
      throw Exit{1, "galvix demo-db: " + *file + ": " + e.what()};
    }
  });
});

}  // namespace
}  // namespace galvix::cli
