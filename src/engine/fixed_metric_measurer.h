// A TextMeasurer with fixed metrics, so layout is predictable by hand and independent of fonts:
// every character is size*10 twips wide (half an em), every line size*24 twips high.
// Words wrap greedily at spaces; a word longer than the line breaks between characters.
// Rich text counts its characters outside braces and control words, in the default font.
#pragma once

#include "engine/text_measurer.h"

namespace galvix::engine {

class FixedMetricMeasurer : public TextMeasurer {
 public:
  TextExtent measure(std::string_view text, const doc::Font& font, std::int32_t wrapWidth) override;
  std::int32_t measureRichHeight(std::string_view rtf, std::int32_t wrapWidth) override;
  static std::int32_t charWidth(const doc::Font& f);
  static std::int32_t lineHeight(const doc::Font& f);
};

}  // namespace galvix::engine
