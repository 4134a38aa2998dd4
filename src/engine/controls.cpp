#include "engine/controls.h"

#include <mutex>

namespace galvix::engine {

const char* controlKindName(ControlKind k) {
  switch (k) {
    case ControlKind::Label:
      return "label";
    case ControlKind::Field:
      return "field";
    case ControlKind::CheckBox:
      return "checkBox";
    case ControlKind::Line:
      return "line";
    case ControlKind::Shape:
      return "shape";
    case ControlKind::Picture:
      return "picture";
    case ControlKind::RichText:
      return "richText";
    case ControlKind::SubReport:
      return "subReport";
    case ControlKind::PageBreak:
      return "pageBreak";
    case ControlKind::Chart:
      return "chart";
    case ControlKind::DataControl:
      return "dataControl";
  }
  return "?";
}

void Control::setAlignment(int code) {
  switch (code) {
    case 1:
      st_.alignment = doc::HAlign::Right;
      break;
    case 2:
      st_.alignment = doc::HAlign::Center;
      break;
    case 3:
      st_.alignment = doc::HAlign::Justify;
      break;
    default:
      st_.alignment = doc::HAlign::Left;
      break;
  }
}

void Control::setVerticalAlignment(int code) {
  switch (code) {
    case 1:
      st_.verticalAlignment = doc::VAlign::Middle;
      break;
    case 2:
      st_.verticalAlignment = doc::VAlign::Bottom;
      break;
    default:
      st_.verticalAlignment = doc::VAlign::Top;
      break;
  }
}

namespace {
ValueFormatter& formatterSlot() {
  static ValueFormatter f;
  return f;
}
}  // namespace

void setValueFormatter(ValueFormatter f) {
  formatterSlot() = std::move(f);
}

std::string formatValue(const Variant& value, const std::string& format) {
  const auto& f = formatterSlot();
  if (f) return f(value, format);
  return value.displayText();
}

void Field::setText(std::string t) {
  st_.value = Variant::string(t);
  st_.text = std::move(t);
}

void Field::setDataValue(Variant v) {
  st_.text = formatValue(v, st_.outputFormat);
  st_.value = std::move(v);
}

bool CheckBox::checked() const {
  if (st_.value.isNull() || st_.value.isEmpty()) return false;
  try {
    return st_.value.toBool();
  } catch (const RuntimeError&) {
    return false;
  }
}

void Line::setPoints(double x1, double y1, double x2, double y2) {
  st_.left = static_cast<float>(x1);
  st_.top = static_cast<float>(y1);
  st_.width = static_cast<float>(x2 - x1);
  st_.height = static_cast<float>(y2 - y1);
}

doc::LineStyle lineStyleFromCode(int code) {
  switch (code) {
    case 0:
      return doc::LineStyle::Transparent;
    case 2:
      return doc::LineStyle::Dash;
    case 3:
      return doc::LineStyle::Dot;
    case 4:
      return doc::LineStyle::DashDot;
    case 5:
      return doc::LineStyle::DashDotDot;
    default:
      return doc::LineStyle::Solid;
  }
}

std::unique_ptr<Control> makeControl(ControlState s) {
  switch (s.kind) {
    case ControlKind::Label:
      return std::make_unique<Label>(std::move(s));
    case ControlKind::Field:
      return std::make_unique<Field>(std::move(s));
    case ControlKind::CheckBox:
      return std::make_unique<CheckBox>(std::move(s));
    case ControlKind::Line:
      return std::make_unique<Line>(std::move(s));
    case ControlKind::Shape:
      return std::make_unique<Shape>(std::move(s));
    case ControlKind::Picture:
      return std::make_unique<Picture>(std::move(s));
    case ControlKind::RichText:
      return std::make_unique<RichText>(std::move(s));
    case ControlKind::SubReport:
      return std::make_unique<SubReport>(std::move(s));
    case ControlKind::PageBreak:
      return std::make_unique<PageBreak>(std::move(s));
    case ControlKind::Chart:
      return std::make_unique<Chart>(std::move(s));
    case ControlKind::DataControl:
      break;
  }
  return std::make_unique<Control>(std::move(s));
}

}  // namespace galvix::engine
