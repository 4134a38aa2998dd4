// Pango layouts for plain and rich text, built the same way for measuring and drawing so that a
// measured height is exactly the drawn height.
#pragma once

#include <pango/pango.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "galvix/document.h"
#include "render/rtf_reader.h"

namespace galvix::render {

struct GObjectUnref {
  void operator()(void* p) const { g_object_unref(p); }
};
using LayoutPtr = std::unique_ptr<PangoLayout, GObjectUnref>;

// Twips <-> pango units (1 pt = 20 twips = PANGO_SCALE units at the shared context's 72 dpi).
inline int twipsToPango(std::int64_t t) {
  const std::int64_t p = t * PANGO_SCALE / 20;
  return static_cast<int>(std::clamp<std::int64_t>(p, -(1 << 30), 1 << 30));
}
inline std::int32_t pangoToTwipsCeil(std::int64_t p) {
  return static_cast<std::int32_t>((p * 20 + PANGO_SCALE - 1) / PANGO_SCALE);
}

// `text` with CR LF and CR turned into LF and invalid UTF-8 replaced.
std::string normalizeText(std::string_view text);

// Whether `text` has a run of more than 64 characters without a blank: a wrapped layout is given
// places to break in such a run (`textLayout`).
bool hasLongRun(std::string_view text);

// Text in `font`, wrapped at `wrapTwips` (0 or less: only at line breaks), lines aligned.
LayoutPtr textLayout(std::string_view text, const doc::Font& font, std::int32_t wrapTwips,
                     doc::HAlign align);

struct RichBlock {
  LayoutPtr layout;
  int x = 0, y = 0;  // pango units from the box's top left
};
struct RichLayout {
  std::vector<RichBlock> blocks;  // one per paragraph
  int height = 0;                 // pango units
};

// Paragraphs stacked top to bottom in a box `widthTwips` wide.
RichLayout richLayout(const RtfDocument& doc, std::int32_t widthTwips);

}  // namespace galvix::render
