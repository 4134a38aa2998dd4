#include "render/pictures.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

namespace galvix::render {

namespace {

bool isJpeg(const std::vector<std::uint8_t>& d) {
  return d.size() > 3 && d[0] == 0xFF && d[1] == 0xD8 && d[2] == 0xFF;
}

cairo_surface_t* surfaceFromPixbuf(GdkPixbuf* pb) {
  const int w = gdk_pixbuf_get_width(pb), h = gdk_pixbuf_get_height(pb);
  const int n = gdk_pixbuf_get_n_channels(pb), stride = gdk_pixbuf_get_rowstride(pb);
  const bool alpha = gdk_pixbuf_get_has_alpha(pb);
  if (gdk_pixbuf_get_bits_per_sample(pb) != 8 || n < 3) return nullptr;
  cairo_surface_t* s =
      cairo_image_surface_create(alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, w, h);
  if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(s);
    return nullptr;
  }
  cairo_surface_flush(s);
  const guchar* src = gdk_pixbuf_read_pixels(pb);
  unsigned char* dst = cairo_image_surface_get_data(s);
  const int dstStride = cairo_image_surface_get_stride(s);
  for (int y = 0; y < h; ++y) {
    const guchar* p = src + static_cast<std::ptrdiff_t>(y) * stride;
    auto* q = reinterpret_cast<std::uint32_t*>(dst + static_cast<std::ptrdiff_t>(y) * dstStride);
    for (int x = 0; x < w; ++x, p += n) {
      const std::uint32_t a = alpha ? p[3] : 255;
      auto pre = [a](std::uint32_t c) { return (c * a + 127) / 255; };
      q[x] = (a << 24) | (pre(p[0]) << 16) | (pre(p[1]) << 8) | pre(p[2]);
    }
  }
  cairo_surface_mark_dirty(s);
  return s;
}

void releaseData(void* holder) {
  delete static_cast<PictureData*>(holder);
}

}  // namespace

cairo_surface_t* decodePicture(const PictureData& data) {
  if (!data || data->empty()) return nullptr;
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  GError* err = nullptr;
  bool ok = gdk_pixbuf_loader_write(loader, data->data(), data->size(), &err);
  if (err) g_clear_error(&err);
  // close() must run even after a failed write, or the loader warns when finalised.
  ok = gdk_pixbuf_loader_close(loader, &err) && ok;
  if (err) g_clear_error(&err);
  GdkPixbuf* pb = ok ? gdk_pixbuf_loader_get_pixbuf(loader) : nullptr;
  cairo_surface_t* s = pb ? surfaceFromPixbuf(pb) : nullptr;
  g_object_unref(loader);
  if (s && isJpeg(*data)) {
    auto* holder = new PictureData(data);
    if (cairo_surface_set_mime_data(s, CAIRO_MIME_TYPE_JPEG, data->data(), data->size(),
                                    releaseData, holder) != CAIRO_STATUS_SUCCESS)
      delete holder;
  }
  return s;
}

std::string pictureFormat(const std::vector<std::uint8_t>& data) {
  if (data.empty()) return {};
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  GError* err = nullptr;
  bool ok = gdk_pixbuf_loader_write(loader, data.data(), data.size(), &err);
  if (err) g_clear_error(&err);
  ok = gdk_pixbuf_loader_close(loader, &err) && ok;
  if (err) g_clear_error(&err);
  std::string name;
  if (ok && gdk_pixbuf_loader_get_pixbuf(loader))
    if (GdkPixbufFormat* f = gdk_pixbuf_loader_get_format(loader)) {
      gchar* n = gdk_pixbuf_format_get_name(f);
      name = n ? n : "";
      g_free(n);
    }
  g_object_unref(loader);
  return name;
}

}  // namespace galvix::render
