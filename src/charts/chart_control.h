// The pie chart control: what stands in for the original platform's chart component. Report code
// writes its properties by number, typed, in any order; writing property 46 makes it show a pie
// of what has been written (pie_drawing.h), drawn when the engine places the control. What each
// number means is in docs/charts.md.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "charts/pie_drawing.h"
#include "engine/controls.h"
#include "galvix/variant.h"

namespace galvix::charts {

// Property numbers with names.
inline constexpr int kMainTitle = 9;
inline constexpr int kSubTitle = 10;
inline constexpr int kSubsets = 11;
inline constexpr int kPoints = 12;
inline constexpr int kNumericPrecision = 13;
inline constexpr int kFontSize = 19;
inline constexpr int kMainTitleBold = 21;
inline constexpr int kSubTitleBold = 25;
inline constexpr int kLabelBold = 29;
inline constexpr int kGroupPercentages = 32;
inline constexpr int kThreeD = 34;
inline constexpr int kXData = 38;
inline constexpr int kSubsetLabels = 40;
inline constexpr int kPointLabels = 41;
inline constexpr int kBitmapGradientMode = 192;
inline constexpr int kQuickStyle = 207;
inline constexpr int kDraw = 46;  // shows what has been written

// How a property is written: a typed value, or cells of an indexed property.
enum class PropertyType { Integer, Long, Boolean, String, SingleBySubsetPoint, StringByIndex };

struct PropertyInfo {
  int number;
  const char* name;  // ours where the component gave none
  PropertyType type;
};
// The properties the control has; nullptr for a number it does not have.
const PropertyInfo* findProperty(int number);

// A failed write: a number the control does not have, a value of the wrong shape or an index
// outside what the control holds.
class ChartError : public RuntimeError {
 public:
  explicit ChartError(const std::string& message) : RuntimeError(kErrInvalidCall, message) {}
};

class ChartControl {
 public:
  // Drives the layout's chart control `control` (which must outlive this object).
  explicit ChartControl(engine::Chart& control);

  // A scalar property: the value converted to the property's type (RuntimeError 13 or 6 when it
  // does not convert).
  void set(int property, const Variant& value);
  // One string of an indexed property (SubsetLabels, PointLabels).
  void set(int property, std::int32_t index, const Variant& value);
  // One value of XData, by subset and point.
  void set(int property, std::int32_t subset, std::int32_t point, const Variant& value);

  // What has been written, in order: property number and indexes (-1 where none).
  struct Write {
    int property;
    std::int32_t first = -1, second = -1;
  };
  const std::vector<Write>& writes() const { return writes_; }

  std::int16_t subsets() const { return subsets_; }
  std::int32_t points() const { return points_; }
  float xData(std::int32_t subset, std::int32_t point) const;  // 0 where never written
  std::string pointLabel(std::int32_t point) const;
  std::string subsetLabel(std::int32_t subset) const;
  // What the control shows; none until property 46 is written.
  const PieDrawing* shown() const;

 private:
  void apply(int property, const Variant& v);
  PieSpec spec() const;

  engine::Chart& control_;
  std::vector<Write> writes_;
  std::int16_t subsets_ = 1;
  std::int32_t points_ = 0;
  std::vector<std::vector<float>> xData_;  // [subset][point]
  std::vector<std::string> subsetLabels_, pointLabels_;
  PieSpec settings_;  // display settings; the data is filled in when drawn
};

}  // namespace galvix::charts
