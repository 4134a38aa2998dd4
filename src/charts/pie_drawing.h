// The pie chart as page items: a flat or 3D pie with outside labels spread so they never
// collide, percentages that add up to 100, and a legend with amounts. Pure geometry and text
// measuring; the chart control (chart_control.h) decides what to draw.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/controls.h"
#include "engine/text_measurer.h"
#include "galvix/document.h"

namespace galvix::charts {

// What the pie shows, as the property writes left it (docs/charts.md gives each setting).
struct PieSpec {
  std::vector<double> values;       // one per slice, in order; 0 or less draws no slice
  std::vector<std::string> labels;  // slice captions
  std::string seriesLabel;          // the data series' name: the legend's heading
  std::string title, subtitle;
  int precision = 1;             // decimals of the percentages (0 to 3)
  int percentages = 1;           // 0 none; 1 after each slice label; 2 alone as the slice label
  bool threeD = true;            // tilted, with a rim
  int sliceLabels = 1;           // 0 none; 1 outside the pie with leader lines
  bool spreadLabels = true;      // move labels apart so none touches another
  bool legend = true;            // swatch, caption and amount per slice
  bool legendRight = false;      // beside the pie, else below it
  bool legendZeroSlices = true;  // list slices of 0 too
  bool seriesHeading = true;     // the series label over the legend
  bool outlines = true;          // thin edges between slices
  bool gradient = true;          // slices shaded from light to full colour
  int fontSize = 0;              // 0 medium, 1 large, 2 small
  int style = 0;                 // 0 light, 1 medium (grey panel), 2 dark (dark panel, light text)
  bool titleBold = true, subtitleBold = true, labelBold = false;
  int startAngle = 0;  // degrees clockwise from twelve o'clock where the first slice starts
};

// Percentages of the positive values, rounded to `precision` decimals so that they add up to
// exactly 100 (largest remainders get the rounding); 0 for values of 0 or less, all 0 when no
// value is positive.
std::vector<double> sharesAddingTo100(const std::vector<double>& values, int precision);

class PieDrawing : public engine::ChartDrawing {
 public:
  explicit PieDrawing(PieSpec spec) : spec_(std::move(spec)) {}
  const PieSpec& spec() const { return spec_; }
  std::vector<doc::Item> draw(std::int32_t width, std::int32_t height,
                              engine::TextMeasurer* measurer) const override;

 private:
  PieSpec spec_;
};

}  // namespace galvix::charts
