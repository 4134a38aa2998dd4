// The hidden measuring form of the labels report: given a font, the width (of the widest line)
// and the height of a text in twips. It measures with the run's text measurer, the one the
// renderer lays text out with, so a box sized from it holds exactly what prints.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/text_measurer.h"
#include "galvix/document.h"

namespace galvix::reports {

class FrmTextWidth {
 public:
  explicit FrmTextWidth(engine::TextMeasurer& measurer) : measurer_(&measurer) {}

  void setFont(doc::Font f) { font_ = std::move(f); }
  const doc::Font& font() const { return font_; }

  // Unwrapped: lines break only at line breaks.
  std::int32_t textWidth(std::string_view text) const {
    return measurer_->measure(text, font_, 0).width;
  }
  std::int32_t textHeight(std::string_view text) const {
    return measurer_->measure(text, font_, 0).height;
  }

 private:
  engine::TextMeasurer* measurer_;
  doc::Font font_;
};

}  // namespace galvix::reports
