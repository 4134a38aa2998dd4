#include "engine/report.h"

#include <algorithm>
#include <cmath>

#include "engine/layout_embed.h"
#include "engine/text_util.h"

namespace galvix::engine {

const char* bandEventName(BandEvent e) {
  switch (e) {
    case BandEvent::Format:
      return "Format";
    case BandEvent::BeforePrint:
      return "BeforePrint";
    case BandEvent::AfterPrint:
      return "AfterPrint";
  }
  return "?";
}

Report::Report(std::shared_ptr<const Layout> layout) : layout_(std::move(layout)) {
  if (!layout_) throw EngineError("a report needs a layout");
  instantiate();
}

Report::Report(const EmbeddedLayout& layout) : Report(layout.layout()) {}

Report::~Report() = default;

void Report::instantiate() {
  for (const auto& ls : layout_->sections) {
    std::vector<std::unique_ptr<Control>> controls;
    controls.reserve(ls.controls.size());
    for (const auto& cs : ls.controls) controls.push_back(makeControl(cs));
    auto s = std::make_unique<Section>(ls.state, std::move(controls));
    s->owner_ = this;
    for (auto& c : s->controls_) indexControl(*s, *c);
    sections_.push_back(std::move(s));
  }
  page_ = layout_->page;
  printWidth_ = layout_->printWidth;
  data_.setName(layout_->dataControl);
  data_.setConnectionString(layout_->connectionString);
  data_.setSource(layout_->source);
  host_ = defaultHostServices();
}

void Report::indexControl(Section& s, Control& c) {
  controlIndex_[lowerAscii(c.name())] = {&s, &c};
}

void Report::checkNewName(std::string_view name) const {
  if (name.empty()) throw EngineError("report '" + layout_->name + "': a control needs a name");
  if (controlIndex_.count(lowerAscii(name)))
    throw EngineError("report '" + layout_->name + "' already has a control named '" +
                      std::string(name) + "'");
}

void Report::on(std::string_view sectionName, BandEvent e, Handler h) {
  Section& s = section(sectionName);
  handlers_.push_back({&s, e, std::move(h)});
}

void Report::onBandEvent(Section& s, BandEvent e) {
  for (auto& h : handlers_)
    if (h.section == &s && h.event == e) h.fn();
}

Section* Report::findSection(std::string_view name) {
  for (auto& s : sections_)
    if (iequals(s->name(), name)) return s.get();
  return nullptr;
}

Section& Report::section(std::string_view name) {
  if (auto* s = findSection(name)) return *s;
  throw EngineError("report '" + layout_->name + "' has no section '" + std::string(name) + "'");
}

Section& Report::section(int index) {
  if (index < 0 || index >= sectionCount())
    throw EngineError("report '" + layout_->name + "' has no section at index " +
                      std::to_string(index));
  return *sections_[static_cast<std::size_t>(index)];
}

Control* Report::findControl(std::string_view name) {
  auto it = controlIndex_.find(lowerAscii(name));
  if (it != controlIndex_.end() && iequals(it->second.second->name(), name))
    return it->second.second;
  // Renamed since indexed: search and re-index.
  for (auto& s : sections_)
    if (auto* c = s->find(name)) {
      indexControl(*s, *c);
      return c;
    }
  return nullptr;
}

Control& Report::control(std::string_view name) {
  if (auto* c = findControl(name)) return *c;
  throw EngineError("report '" + layout_->name + "' has no control '" + std::string(name) + "'");
}

Section& Report::sectionOf(const Control& c) {
  for (auto& s : sections_)
    for (auto& k : s->controls_)
      if (k.get() == &c) return *s;
  throw EngineError("control '" + c.name() + "' belongs to no section of report '" + layout_->name +
                    "'");
}

template <class T>
T& Report::typed(std::string_view name, ControlKind k) {
  Control& c = control(name);
  if (c.kind() != k)
    throw EngineError("control '" + c.name() + "' of report '" + layout_->name + "' is a " +
                      controlKindName(c.kind()) + ", not a " + controlKindName(k));
  return static_cast<T&>(c);
}

Label& Report::label(std::string_view n) {
  return typed<Label>(n, ControlKind::Label);
}
Field& Report::field(std::string_view n) {
  return typed<Field>(n, ControlKind::Field);
}
CheckBox& Report::checkBox(std::string_view n) {
  return typed<CheckBox>(n, ControlKind::CheckBox);
}
SubReport& Report::subReport(std::string_view n) {
  return typed<SubReport>(n, ControlKind::SubReport);
}
Picture& Report::picture(std::string_view n) {
  return typed<Picture>(n, ControlKind::Picture);
}
RichText& Report::richText(std::string_view n) {
  return typed<RichText>(n, ControlKind::RichText);
}
Line& Report::line(std::string_view n) {
  return typed<Line>(n, ControlKind::Line);
}

void Report::setPrinterOrientation(int code) {
  setOrientation(code == 2 ? Orientation::Landscape : Orientation::Portrait);
}

void Report::setOrientation(Orientation o) {
  if (o == page_.orientation) return;
  const float before = printWidth();
  const float body = pageWidth() - page_.leftMargin - page_.rightMargin;
  page_.orientation = o;
  if (printWidth_ > 0 && std::abs(printWidth_ - body) < 0.5f)
    printWidth_ = pageWidth() - page_.leftMargin - page_.rightMargin;
  followPrintWidth(before);
}

void Report::setPrintWidth(double w) {
  const float before = printWidth();
  printWidth_ = static_cast<float>(w);
  followPrintWidth(before);
}

void Report::followPrintWidth(float before) {
  const float delta = printWidth() - before;
  if (delta == 0) return;
  for (auto& s : sections_)
    for (auto& c : s->controls_) {
      auto& st = c->state();
      switch (st.anchor) {
        case Anchor::Left:
          break;
        case Anchor::Right:
          st.left += delta;
          break;
        case Anchor::Center:
          st.left += delta / 2;
          break;
        case Anchor::Stretch:
          st.width = std::max(0.0f, st.width + delta);
          break;
      }
    }
}

float Report::pageWidth() const {
  return page_.orientation == Orientation::Landscape ? page_.paperHeight : page_.paperWidth;
}
float Report::pageHeight() const {
  return page_.orientation == Orientation::Landscape ? page_.paperWidth : page_.paperHeight;
}

float Report::printWidth() const {
  if (printWidth_ > 0) return printWidth_;
  return pageWidth() - page_.leftMargin - page_.rightMargin;
}

void Report::setHost(std::shared_ptr<HostServices> h) {
  host_ = h ? std::move(h) : defaultHostServices();
}

}  // namespace galvix::engine
