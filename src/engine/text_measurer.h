// How the engine learns the size of text without knowing how it is drawn.
#pragma once

#include <cstdint>
#include <string_view>

#include "galvix/document.h"

namespace galvix::engine {

struct TextExtent {
  std::int32_t width = 0;   // twips
  std::int32_t height = 0;  // twips
};

class TextMeasurer {
 public:
  virtual ~TextMeasurer() = default;
  // Extent of `text` in `font`, wrapped at `wrapWidth` twips (0 or less: no wrapping).
  virtual TextExtent measure(std::string_view text, const doc::Font& font,
                             std::int32_t wrapWidth) = 0;
  // Height alone (what a growing box needs); a measurer may answer it without laying the text
  // out in full.
  virtual std::int32_t measureHeight(std::string_view text, const doc::Font& font,
                                     std::int32_t wrapWidth) {
    return measure(text, font, wrapWidth).height;
  }
  // Height of rich text (RTF) wrapped at `wrapWidth` twips.
  virtual std::int32_t measureRichHeight(std::string_view rtf, std::int32_t wrapWidth) = 0;
};

}  // namespace galvix::engine
