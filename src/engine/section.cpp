#include "engine/section.h"

#include <algorithm>

#include "engine/report.h"
#include "engine/text_util.h"

namespace galvix::engine {

const char* sectionKindName(SectionKind k) {
  switch (k) {
    case SectionKind::ReportHeader:
      return "reportHeader";
    case SectionKind::PageHeader:
      return "pageHeader";
    case SectionKind::GroupHeader:
      return "groupHeader";
    case SectionKind::Detail:
      return "detail";
    case SectionKind::GroupFooter:
      return "groupFooter";
    case SectionKind::PageFooter:
      return "pageFooter";
    case SectionKind::ReportFooter:
      return "reportFooter";
  }
  return "?";
}

Section::Section(SectionState s, std::vector<std::unique_ptr<Control>> controls)
    : st_(std::move(s)), controls_(std::move(controls)) {}

void Section::setColumnCount(int n) {
  st_.columnCount = std::clamp(n, 1, kMaxColumns);
}

Control& Section::item(int index) {
  if (index < 0 || index >= count())
    throw EngineError("section '" + st_.name + "' has no control at index " +
                      std::to_string(index) + " (it has " + std::to_string(count()) + ")");
  return *controls_[static_cast<std::size_t>(index)];
}

Control* Section::find(std::string_view name) {
  for (auto& c : controls_)
    if (iequals(c->name(), name)) return c.get();
  return nullptr;
}

bool Section::has(std::string_view name) const {
  return std::any_of(controls_.begin(), controls_.end(),
                     [&](const auto& c) { return iequals(c->name(), name); });
}

Control& Section::control(std::string_view name) {
  if (auto* c = find(name)) return *c;
  throw EngineError("section '" + st_.name + "' has no control '" + std::string(name) + "'");
}

template <class T>
T& Section::typed(std::string_view name, ControlKind k) {
  Control& c = control(name);
  if (c.kind() != k)
    throw EngineError("control '" + c.name() + "' in section '" + st_.name + "' is a " +
                      controlKindName(c.kind()) + ", not a " + controlKindName(k));
  return static_cast<T&>(c);
}

Label& Section::label(std::string_view n) {
  return typed<Label>(n, ControlKind::Label);
}
Field& Section::field(std::string_view n) {
  return typed<Field>(n, ControlKind::Field);
}
CheckBox& Section::checkBox(std::string_view n) {
  return typed<CheckBox>(n, ControlKind::CheckBox);
}
SubReport& Section::subReport(std::string_view n) {
  return typed<SubReport>(n, ControlKind::SubReport);
}
Picture& Section::picture(std::string_view n) {
  return typed<Picture>(n, ControlKind::Picture);
}
RichText& Section::richText(std::string_view n) {
  return typed<RichText>(n, ControlKind::RichText);
}
Line& Section::line(std::string_view n) {
  return typed<Line>(n, ControlKind::Line);
}

Control& Section::add(ControlKind kind, std::string name) {
  if (owner_)
    owner_->checkNewName(name);
  else if (has(name))
    throw EngineError("section '" + st_.name + "' already has a control '" + name + "'");
  ControlState s;
  s.kind = kind;
  s.name = std::move(name);
  // Sizes a new control has before code sets them.
  s.width = 1440;
  s.height = 270;
  controls_.push_back(makeControl(std::move(s)));
  if (owner_) owner_->indexControl(*this, *controls_.back());
  return *controls_.back();
}

Label& Section::addLabel(std::string name) {
  return static_cast<Label&>(add(ControlKind::Label, std::move(name)));
}
Field& Section::addField(std::string name) {
  return static_cast<Field&>(add(ControlKind::Field, std::move(name)));
}
CheckBox& Section::addCheckBox(std::string name) {
  return static_cast<CheckBox&>(add(ControlKind::CheckBox, std::move(name)));
}

Control& Section::add(std::string_view progId, std::string name) {
  std::string_view kind = progId;
  if (auto dot = kind.rfind('.'); dot != std::string_view::npos) kind = kind.substr(dot + 1);
  if (iequals(kind, "Label")) return add(ControlKind::Label, std::move(name));
  if (iequals(kind, "Field") || iequals(kind, "TextBox"))
    return add(ControlKind::Field, std::move(name));
  if (iequals(kind, "CheckBox")) return add(ControlKind::CheckBox, std::move(name));
  throw EngineError("cannot add a control of class '" + std::string(progId) + "' to section '" +
                    st_.name + "': only labels, fields and check boxes can be added");
}

}  // namespace galvix::engine
