#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>

#include "render/page_renderer.h"
#include "render/render.h"

namespace galvix::render {

namespace {

// A file written under a temporary name in the same folder and renamed into place on commit, so
// readers never see a partial file; dropped if not committed.
class AtomicFile {
 public:
  explicit AtomicFile(std::string path) : path_(std::move(path)) {
    std::filesystem::path p(path_);
    std::filesystem::path dir = p.has_parent_path() ? p.parent_path() : ".";
    tmp_ = (dir / ("." + p.filename().string() + ".XXXXXX")).string();
    int fd = mkstemp(tmp_.data());
    if (fd < 0)
      throw RenderError("cannot create a temporary file for '" + path_ +
                        "': " + std::strerror(errno));
    // mkstemp makes the file private; give it the mode a plain create would.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    file_ = fdopen(fd, "wb");
    if (!file_) {
      ::close(fd);
      std::remove(tmp_.c_str());
      throw RenderError("cannot open a temporary file for '" + path_ + "'");
    }
  }
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile() {
    if (file_) std::fclose(file_);
    if (!committed_) std::remove(tmp_.c_str());
  }

  static cairo_status_t write(void* self, const unsigned char* data, unsigned int length) {
    auto* f = static_cast<AtomicFile*>(self);
    if (std::fwrite(data, 1, length, f->file_) != length) {
      f->error_ = errno;
      return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
  }

  void commit(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
      throw RenderError("cannot write '" + path_ +
                        "': " + (error_ ? std::strerror(error_) : cairo_status_to_string(status)));
    const bool flushed = std::fflush(file_) == 0 && fsync(fileno(file_)) == 0;
    const int err = errno;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (!flushed || !closed)
      throw RenderError("cannot write '" + path_ + "': " + std::strerror(flushed ? errno : err));
    if (std::rename(tmp_.c_str(), path_.c_str()) != 0)
      throw RenderError("cannot rename '" + tmp_ + "' to '" + path_ + "': " + std::strerror(errno));
    committed_ = true;
  }

 private:
  std::string path_, tmp_;
  std::FILE* file_ = nullptr;
  int error_ = 0;
  bool committed_ = false;
};

double pt(std::int32_t twips) {
  return twips / 20.0;
}

// A document without pages still gives a valid file: one blank page.
const std::vector<doc::Page>& pagesOf(const doc::Document& d) {
  static const std::vector<doc::Page> blank(1);
  return d.pages.empty() ? blank : d.pages;
}

void paintWhite(cairo_t* cr) {
  cairo_save(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_restore(cr);
}

std::string pagePath(const std::string& prefix, std::size_t i, const char* ext) {
  return prefix + "-" + std::to_string(i + 1) + ext;
}

}  // namespace

void writePdf(const doc::Document& d, const std::string& path) {
  const auto& pages = pagesOf(d);
  AtomicFile file(path);
  cairo_surface_t* s = cairo_pdf_surface_create_for_stream(
      &AtomicFile::write, &file, pt(pages.front().width), pt(pages.front().height));
  cairo_pdf_surface_set_metadata(s, CAIRO_PDF_METADATA_TITLE, d.title.c_str());
  cairo_pdf_surface_set_metadata(s, CAIRO_PDF_METADATA_CREATOR, d.creator.c_str());
  {
    PageRenderer renderer;
    for (const auto& page : pages) {
      cairo_pdf_surface_set_size(s, pt(page.width), pt(page.height));
      cairo_t* cr = cairo_create(s);
      // Paper white. It also keeps cairo's record of the page's drawn area to one rectangle,
      // which is much faster on pages with hundreds of items.
      paintWhite(cr);
      renderer.draw(cr, page);
      cairo_show_page(cr);
      cairo_destroy(cr);
    }
  }
  cairo_surface_finish(s);
  const cairo_status_t status = cairo_surface_status(s);
  cairo_surface_destroy(s);
  file.commit(status);
}

std::vector<std::string> writePng(const doc::Document& d, const std::string& pathPrefix,
                                  double dpi) {
  if (!(dpi > 0 && dpi <= 2400))
    throw RenderError("writePng '" + pathPrefix + "': resolution " + std::to_string(dpi) +
                      " dpi is out of range");
  std::vector<std::string> paths;
  PageRenderer renderer;
  const auto& pages = pagesOf(d);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const double scale = dpi / 72.0;
    const int w = std::max(1, static_cast<int>(std::ceil(pt(pages[i].width) * scale - 1e-6)));
    const int h = std::max(1, static_cast<int>(std::ceil(pt(pages[i].height) * scale - 1e-6)));
    const std::string path = pagePath(pathPrefix, i, ".png");
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
    cairo_t* cr = cairo_create(s);
    paintWhite(cr);
    cairo_scale(cr, scale, scale);
    renderer.draw(cr, pages[i]);
    cairo_destroy(cr);
    cairo_status_t status = cairo_surface_status(s);
    if (status != CAIRO_STATUS_SUCCESS) {
      cairo_surface_destroy(s);
      throw RenderError("cannot draw '" + path + "': " + cairo_status_to_string(status));
    }
    AtomicFile file(path);
    status = cairo_surface_write_to_png_stream(s, &AtomicFile::write, &file);
    cairo_surface_destroy(s);
    file.commit(status);
    paths.push_back(path);
  }
  return paths;
}

std::vector<std::string> writeSvg(const doc::Document& d, const std::string& pathPrefix) {
  std::vector<std::string> paths;
  PageRenderer renderer;
  const auto& pages = pagesOf(d);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const std::string path = pagePath(pathPrefix, i, ".svg");
    AtomicFile file(path);
    cairo_surface_t* s = cairo_svg_surface_create_for_stream(
        &AtomicFile::write, &file, pt(pages[i].width), pt(pages[i].height));
    cairo_svg_surface_set_document_unit(s, CAIRO_SVG_UNIT_PT);
    cairo_t* cr = cairo_create(s);
    paintWhite(cr);
    renderer.draw(cr, pages[i]);
    cairo_destroy(cr);
    cairo_surface_finish(s);
    const cairo_status_t status = cairo_surface_status(s);
    cairo_surface_destroy(s);
    file.commit(status);
    paths.push_back(path);
  }
  return paths;
}

}  // namespace galvix::render
