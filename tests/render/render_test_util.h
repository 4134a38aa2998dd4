#pragma once

#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "render/render.h"

namespace galvix::render::testing {

// Output of a shell command (stdout and stderr) and its exit status.
struct CommandResult {
  std::string out;
  int status = -1;
};

inline CommandResult run(const std::string& cmd) {
  CommandResult r;
  std::FILE* p = popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return r;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0) r.out.append(buf.data(), n);
  r.status = pclose(p);
  return r;
}

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// `pb` encoded as `type` (and released).
inline std::shared_ptr<std::vector<std::uint8_t>> encoded(GdkPixbuf* pb, const char* type) {
  gchar* buf = nullptr;
  gsize len = 0;
  EXPECT_TRUE(gdk_pixbuf_save_to_buffer(pb, &buf, &len, type, nullptr, nullptr)) << type;
  g_object_unref(pb);
  auto data = std::make_shared<std::vector<std::uint8_t>>(buf, buf + len);
  g_free(buf);
  return data;
}

// A `w` x `h` picture of one colour (0xRRGGBBAA) encoded as `type`.
inline std::shared_ptr<std::vector<std::uint8_t>> solidPicture(int w, int h, guint32 rgba,
                                                               const char* type) {
  GdkPixbuf* pb = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, w, h);
  gdk_pixbuf_fill(pb, rgba);
  return encoded(pb, type);
}

// A fresh folder per test, removed afterwards.
class TempDir {
 public:
  TempDir() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::temp_directory_path() /
            ("galvix-render-" + std::string(info->test_suite_name()) + "-" + info->name());
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    if (!std::getenv("GALVIX_KEEP_TEST_FILES")) std::filesystem::remove_all(path_);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Pages rendered at 72 dpi, where one pixel is 20 twips: the first one's file.
inline std::string renderPng(const TempDir& dir, const doc::Document& d) {
  auto paths = writePng(d, dir / "page", 72);
  EXPECT_EQ(paths.size(), d.pages.size());
  return paths.front();
}

// Pixels of a PNG file, read through cairo.
class PngImage {
 public:
  explicit PngImage(const std::string& path)
      : s_(cairo_image_surface_create_from_png(path.c_str())) {}
  ~PngImage() { cairo_surface_destroy(s_); }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;
  bool ok() const { return cairo_surface_status(s_) == CAIRO_STATUS_SUCCESS; }
  int width() const { return cairo_image_surface_get_width(s_); }
  int height() const { return cairo_image_surface_get_height(s_); }
  // 0xRRGGBB
  unsigned rgb(int x, int y) const {
    const auto* row = cairo_image_surface_get_data(s_) + y * cairo_image_surface_get_stride(s_);
    return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFF;
  }
  bool dark(int x, int y) const {
    unsigned c = rgb(x, y);
    return ((c >> 16) & 0xFF) + ((c >> 8) & 0xFF) + (c & 0xFF) < 3 * 160;
  }
  // Bounding box of the dark pixels: {left, top, right, bottom}, or all -1 when there are none.
  std::array<int, 4> inkBox() const {
    std::array<int, 4> b{-1, -1, -1, -1};
    for (int y = 0; y < height(); ++y)
      for (int x = 0; x < width(); ++x)
        if (dark(x, y)) {
          if (b[0] < 0 || x < b[0]) b[0] = x;
          if (b[1] < 0) b[1] = y;
          b[2] = std::max(b[2], x);
          b[3] = y;
        }
    return b;
  }

 private:
  cairo_surface_t* s_;
};

}  // namespace galvix::render::testing
