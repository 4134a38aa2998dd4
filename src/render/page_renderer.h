// Draws the pages of a Document on a cairo context, whatever the surface.
#pragma once

#include <cairo.h>

#include <map>
#include <set>
#include <string>
#include <unordered_map>

#include "galvix/document.h"
#include "render/canvas.h"
#include "render/pictures.h"
#include "render/simple_line.h"
#include "render/text_layout.h"

namespace galvix::render {

// Plain ASCII lines are drawn from their glyphs instead of a pango layout (on by default); off,
// every text goes through pango, which tests compare against. Per thread.
void setSimpleLines(bool on);

class PageRenderer {
 public:
  PageRenderer() = default;
  PageRenderer(const PageRenderer&) = delete;
  PageRenderer& operator=(const PageRenderer&) = delete;
  ~PageRenderer();

  // Draws `page` on `cv`, whose user space is points with the origin at the page's top left,
  // painted white (as every sink paints it: a check box on bare paper is not filled again).
  void draw(Canvas& cv, const doc::Page& page);
  void draw(cairo_t* cr, const doc::Page& page) {
    CairoCanvas cv(cr);
    draw(cv, page);
  }

 private:
  void text(Canvas& cv, const doc::Text& t);
  bool simpleText(Canvas& cv, const doc::Text& t, std::int32_t fw, std::int32_t fh);
  void richText(Canvas& cv, const doc::RichText& r);
  void checkBox(Canvas& cv, const doc::CheckBox& c);
  void picture(Canvas& cv, const doc::Picture& p);
  // Reports repeat many texts (heads, footers, column values); shaping each once saves time.
  PangoLayout* layoutFor(const std::string& text, const doc::Font& font, std::int32_t wrap,
                         doc::HAlign align);
  // A picture repeated on every page (a logo) is decoded, and embedded, once per document.
  cairo_surface_t* surfaceFor(const PictureData& data);

  struct CachedPicture {
    PictureData data;  // keeps the key's address alive
    cairo_surface_t* surface = nullptr;
  };
  std::map<const void*, CachedPicture> pictures_;
  std::set<cairo_surface_t*> usedOnPage_;
  // Where the page has been drawn on so far (each item's box with room for its lines), in bands
  // of its height: a check box on paper nothing has touched needs no white square filled.
  void mark(const doc::Rect& r);
  bool marked(const doc::Rect& r) const;
  static constexpr std::int32_t kMarkBand = 720;  // twips
  std::vector<std::vector<doc::Rect>> marks_;
  static constexpr std::size_t kLayoutCacheSize = 4096;
  std::unordered_map<std::string, LayoutPtr> layouts_;
  SimpleLine line_;  // reused for each simple text
};

}  // namespace galvix::render
