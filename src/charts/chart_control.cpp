#include "charts/chart_control.h"

#include <algorithm>
#include <array>
#include <memory>

namespace galvix::charts {
namespace {

using T = PropertyType;
// Numbers without a name in the component's documentation carry names of ours.
constexpr std::array kProperties = {
    PropertyInfo{3, "ShowLegend", T::Boolean},
    PropertyInfo{kMainTitle, "MainTitle", T::String},
    PropertyInfo{kSubTitle, "SubTitle", T::String},
    PropertyInfo{kSubsets, "Subsets", T::Integer},
    PropertyInfo{kPoints, "Points", T::Long},
    PropertyInfo{kNumericPrecision, "NumericPrecision", T::Integer},
    PropertyInfo{kFontSize, "FontSize", T::Integer},
    PropertyInfo{kMainTitleBold, "MainTitleBold", T::Boolean},
    PropertyInfo{kSubTitleBold, "SubTitleBold", T::Boolean},
    PropertyInfo{kLabelBold, "LabelBold", T::Boolean},
    PropertyInfo{kGroupPercentages, "GroupPercentages", T::Integer},
    PropertyInfo{kThreeD, "ThreeD", T::Integer},
    PropertyInfo{kXData, "XData", T::SingleBySubsetPoint},
    PropertyInfo{kSubsetLabels, "SubsetLabels", T::StringByIndex},
    PropertyInfo{kPointLabels, "PointLabels", T::StringByIndex},
    PropertyInfo{45, "SliceLabels", T::Integer},
    PropertyInfo{kDraw, "Draw", T::Long},
    PropertyInfo{54, "AllowSlicePulling", T::Boolean},
    PropertyInfo{81, "SliceOutlines", T::Boolean},
    PropertyInfo{113, "StartAngle", T::Integer},
    PropertyInfo{132, "SeriesHeading", T::Boolean},
    PropertyInfo{156, "HideZeroSlicesInLegend", T::Boolean},
    PropertyInfo{159, "LegendBeside", T::Boolean},
    PropertyInfo{kBitmapGradientMode, "BitmapGradientMode", T::Boolean},
    PropertyInfo{kQuickStyle, "QuickStyle", T::Integer},
    PropertyInfo{226, "SpreadLabels", T::Long},
};

// Bounds on what the control holds, so a wild index fails instead of allocating the machine.
constexpr std::int32_t kMaxSubsets = 64;
constexpr std::int32_t kMaxPoints = 100'000;

std::string describe(const PropertyInfo& p) {
  return "chart property " + std::to_string(p.number) + " (" + p.name + ")";
}

const PropertyInfo& known(int number) {
  const PropertyInfo* p = findProperty(number);
  if (!p) throw ChartError("the chart has no property " + std::to_string(number));
  return *p;
}

void checkIndex(const PropertyInfo& p, const char* what, std::int32_t i, std::int32_t limit) {
  if (i < 0 || i >= limit)
    throw ChartError(describe(p) + ": " + what + " " + std::to_string(i) + " is outside 0 to " +
                     std::to_string(limit - 1));
}

}  // namespace

const PropertyInfo* findProperty(int number) {
  for (const auto& p : kProperties)
    if (p.number == number) return &p;
  return nullptr;
}

ChartControl::ChartControl(engine::Chart& control) : control_(control) {
  settings_.title = control.title();
  settings_.subtitle = control.subtitle();
}

void ChartControl::set(int property, const Variant& value) {
  const PropertyInfo& p = known(property);
  if (p.type == T::SingleBySubsetPoint || p.type == T::StringByIndex)
    throw ChartError(describe(p) + " is written cell by cell, with its indexes");
  Variant v;
  switch (p.type) {
    case T::Integer:
      v = Variant(value.toInteger());
      break;
    case T::Long:
      v = Variant::longInt(value.toLong());
      break;
    case T::Boolean:
      v = Variant(value.toBool());
      break;
    default:
      v = Variant(value.toString());
      break;
  }
  writes_.push_back({property});
  apply(property, v);
}

void ChartControl::set(int property, std::int32_t index, const Variant& value) {
  const PropertyInfo& p = known(property);
  if (p.type != T::StringByIndex) throw ChartError(describe(p) + " does not take one index");
  const bool subsets = property == kSubsetLabels;
  checkIndex(p, subsets ? "subset" : "point", index, subsets ? kMaxSubsets : kMaxPoints);
  std::string text = value.toString();
  writes_.push_back({property, index});
  auto& labels = subsets ? subsetLabels_ : pointLabels_;
  if (labels.size() <= static_cast<std::size_t>(index))
    labels.resize(static_cast<std::size_t>(index) + 1);
  labels[static_cast<std::size_t>(index)] = std::move(text);
}

void ChartControl::set(int property, std::int32_t subset, std::int32_t point,
                       const Variant& value) {
  const PropertyInfo& p = known(property);
  if (p.type != T::SingleBySubsetPoint)
    throw ChartError(describe(p) + " does not take a subset and a point");
  checkIndex(p, "subset", subset, kMaxSubsets);
  checkIndex(p, "point", point, kMaxPoints);
  const float v = value.toSingle();
  writes_.push_back({property, subset, point});
  if (xData_.size() <= static_cast<std::size_t>(subset))
    xData_.resize(static_cast<std::size_t>(subset) + 1);
  auto& row = xData_[static_cast<std::size_t>(subset)];
  if (row.size() <= static_cast<std::size_t>(point))
    row.resize(static_cast<std::size_t>(point) + 1);
  row[static_cast<std::size_t>(point)] = v;
}

void ChartControl::apply(int property, const Variant& v) {
  PieSpec& s = settings_;
  switch (property) {
    case 3:
      s.legend = v.rawBool();
      break;
    case kMainTitle:
      s.title = v.rawString();
      break;
    case kSubTitle:
      s.subtitle = v.rawString();
      break;
    case kSubsets:
      if (v.rawInt() < 0) throw ChartError("chart property 11 (Subsets) cannot be negative");
      subsets_ = static_cast<std::int16_t>(v.rawInt());
      break;
    case kPoints:
      if (v.rawInt() < 0 || v.rawInt() > kMaxPoints)
        throw ChartError("chart property 12 (Points) must be 0 to " + std::to_string(kMaxPoints));
      points_ = static_cast<std::int32_t>(v.rawInt());
      break;
    case kNumericPrecision:
      s.precision = static_cast<int>(std::clamp<std::int64_t>(v.rawInt(), 0, 3));
      break;
    case kFontSize:
      s.fontSize = static_cast<int>(v.rawInt());
      break;
    case kMainTitleBold:
      s.titleBold = v.rawBool();
      break;
    case kSubTitleBold:
      s.subtitleBold = v.rawBool();
      break;
    case kLabelBold:
      s.labelBold = v.rawBool();
      break;
    case kGroupPercentages:
      s.percentages = static_cast<int>(v.rawInt());
      break;
    case kThreeD:
      s.threeD = v.rawInt() != 0;
      break;
    case 45:
      s.sliceLabels = static_cast<int>(v.rawInt());
      break;
    case kDraw:
      control_.setDrawing(std::make_shared<const PieDrawing>(spec()));
      break;
    case 54:  // a viewer's mouse feature: nothing changes on paper
      break;
    case 81:
      s.outlines = v.rawBool();
      break;
    case 113:
      s.startAngle = static_cast<int>(v.rawInt());
      break;
    case 132:
      s.seriesHeading = v.rawBool();
      break;
    case 156:
      s.legendZeroSlices = !v.rawBool();
      break;
    case 159:
      s.legendRight = v.rawBool();
      break;
    case kBitmapGradientMode:
      s.gradient = v.rawBool();
      break;
    case kQuickStyle:
      s.style = static_cast<int>(v.rawInt());
      break;
    case 226:
      s.spreadLabels = v.rawInt() != 0;
      break;
    default:
      break;
  }
}

float ChartControl::xData(std::int32_t subset, std::int32_t point) const {
  if (subset < 0 || point < 0 || static_cast<std::size_t>(subset) >= xData_.size()) return 0;
  const auto& row = xData_[static_cast<std::size_t>(subset)];
  return static_cast<std::size_t>(point) < row.size() ? row[static_cast<std::size_t>(point)] : 0;
}

std::string ChartControl::pointLabel(std::int32_t point) const {
  return point >= 0 && static_cast<std::size_t>(point) < pointLabels_.size()
             ? pointLabels_[static_cast<std::size_t>(point)]
             : std::string();
}

std::string ChartControl::subsetLabel(std::int32_t subset) const {
  return subset >= 0 && static_cast<std::size_t>(subset) < subsetLabels_.size()
             ? subsetLabels_[static_cast<std::size_t>(subset)]
             : std::string();
}

const PieDrawing* ChartControl::shown() const {
  return dynamic_cast<const PieDrawing*>(control_.drawing().get());
}

// The pie shows subset 0: one slice per point.
PieSpec ChartControl::spec() const {
  PieSpec s = settings_;
  s.values.clear();
  s.labels.clear();
  if (subsets_ > 0) {
    for (std::int32_t p = 0; p < points_; ++p) {
      s.values.push_back(xData(0, p));
      s.labels.push_back(pointLabel(p));
    }
  }
  s.seriesLabel = subsetLabel(0);
  return s;
}

}  // namespace galvix::charts
