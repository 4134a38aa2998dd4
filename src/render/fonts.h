// Font names as layouts and the database give them, resolved to installed fonts, and the one
// pango context that measuring and drawing share.
#pragma once

#include <pango/pango.h>

#include <string>
#include <string_view>

#include "galvix/document.h"

namespace galvix::render {

// The installed family that stands for `name`: a metric-compatible substitute for the usual
// Windows names, the font itself when installed, otherwise a family of the same kind (serif,
// monospace, or sans) so that any name prints.
std::string resolveFamily(std::string_view name);

// Shared by the measurer and every sink of a thread, so text breaks identically everywhere: 72
// dpi (one pango unit of size is one point), no hinting, unrounded glyph positions. One per
// thread (as are the font caches): threads render at once without sharing pango state.
PangoContext* pangoContext();

// A cached description of `font` (family resolved, size, weight, style); owned by the cache.
const PangoFontDescription* fontDescription(const doc::Font& font);

}  // namespace galvix::render
