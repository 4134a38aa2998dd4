#include "frame/frame_report.h"

#include <algorithm>
#include <cmath>

#include "engine/layout_embed.h"
#include "frame/custom_settings.h"
#include "frame/host.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(stdFrame);

namespace galvix::frame {
namespace {
bool sameName(std::string_view a, std::string_view b) {
  return vb::compareTextNoCase(a, b) == 0;
}

std::string replaceAll(std::string s, std::string_view from, std::string_view to) {
  for (size_t pos = s.find(from); pos != std::string::npos; pos = s.find(from, pos + to.size()))
    s.replace(pos, from.size(), to);
  return s;
}
}  // namespace

std::string propString(const Variant& v) {
  return v.isNull() ? std::string() : v.toString();
}
bool propBool(const Variant& v) {
  return v.toBool();
}
std::int16_t propInteger(const Variant& v) {
  return v.toInteger();
}
std::int32_t propLong(const Variant& v) {
  return v.toLong();
}

FrameReport::FrameReport(const engine::EmbeddedLayout& layout, bool commonProperties)
    : FrameReport(layout.layout(), commonProperties) {}

FrameReport::FrameReport(std::shared_ptr<const engine::Layout> layout, bool commonProperties)
    : engine::Report(std::move(layout)) {
  // Keeps the standard frame linked in (and so registered) wherever a designer is.
  (void)engine::layouts::stdFrame();
  if (!commonProperties) return;
  properties_ = {
      {"TimeFormat", [this](const Variant& v) { setTimeFormat(propString(v)); }},
      {"DateFormat", [this](const Variant& v) { setDateFormat(propString(v)); }},
      {"ConnectionString", [this](const Variant& v) { setConnectionString(propString(v)); }},
      {"SQLWhere", [this](const Variant& v) { setSQLWhere(propString(v)); }},
      {"SQLOrderBy", [this](const Variant& v) { setSQLOrderBy(propString(v)); }},
      {"Title", [this](const Variant& v) { setTitle(propString(v)); }},
      {"ReportName", [this](const Variant& v) { setReportName(propString(v)); }},
      {"Criteria", [this](const Variant& v) { setCriteria(propString(v)); }},
      {"EventID", [this](const Variant& v) { setEventID(propLong(v)); }},
  };
}

FrameReport::~FrameReport() {
  if (sideRs_ && sideRs_->isOpen()) sideRs_->close();
  if (side_ && side_->isOpen()) side_->close();
}

// Hosts write hours and minutes then "AP"; the pattern language spells the designator "AMPM".
void FrameReport::setTimeFormat(std::string f) {
  timeFormat_ = replaceAll(std::move(f), "AP", "AMPM");
}

void FrameReport::setTitle(std::string t) {
  if (auto* c = findControl("lblTitle")) static_cast<engine::Label&>(*c).setCaption(std::move(t));
}
void FrameReport::setReportName(std::string t) {
  if (auto* c = findControl("lblReportName"))
    static_cast<engine::Label&>(*c).setCaption(std::move(t));
}
void FrameReport::setCriteria(std::string t) {
  if (auto* c = findControl("lblCriteria"))
    static_cast<engine::Label&>(*c).setCaption(std::move(t));
}

void FrameReport::addProperty(std::string name, std::function<void(const Variant&)> set,
                              std::string_view before) {
  auto at = std::find_if(properties_.begin(), properties_.end(),
                         [&](const Property& p) { return !before.empty() && p.name == before; });
  properties_.insert(at, Property{std::move(name), std::move(set)});
}

std::string FrameReport::displayName() const {
  if (catalogueName_.empty() || catalogueName_ == name()) return name();
  return "\"" + catalogueName_ + "\" (" + name() + ")";
}

void FrameReport::set(std::string_view name, const Variant& value) {
  for (auto& p : properties_) {
    if (!sameName(p.name, name)) continue;
    try {
      p.set(value);
    } catch (const RuntimeError& e) {
      throw ReportError(displayName() + ": property " + p.name + ": " + e.what());
    }
    return;
  }
  std::string list;
  for (auto& p : properties_) list += (list.empty() ? "" : ", ") + p.name;
  throw ReportError(displayName() + " has no property '" + std::string(name) +
                    "'; its properties are: " + list);
}

std::vector<std::string> FrameReport::propertyNames() const {
  std::vector<std::string> out;
  for (auto& p : properties_) out.push_back(p.name);
  return out;
}

bool FrameReport::hasProperty(std::string_view name) const {
  return std::any_of(properties_.begin(), properties_.end(),
                     [&](const Property& p) { return sameName(p.name, name); });
}

void FrameReport::applyCompanyFooter(const std::string& connectionString) {
  auto* c = findControl("txtCompanyFooter");
  if (!c || c->kind() != engine::ControlKind::Field) return;
  CCustomSettings settings;
  settings.SetCompanyFooter(connectionString, static_cast<engine::Field&>(*c));
}

void FrameReport::startFrame(bool sideQueries) {
  applyCompanyFooter(data().connectionString());
  if (!sideQueries) return;
  side_ = std::make_shared<db::Connection>();
  side_->open(data().connectionString());
  sideRs_ = std::make_unique<db::Recordset>();
}

db::Connection& FrameReport::side() {
  if (!side_) throw ReportError(name() + ": the side connection is not open");
  return *side_;
}

void FrameReport::sideQuery(const std::string& sql,
                            const std::function<void(db::Recordset&)>& read) {
  if (!sideRs_) sideRs_ = std::make_unique<db::Recordset>();
  sideRs_->open(sql, side());
  try {
    read(*sideRs_);
  } catch (...) {
    sideRs_->close();
    throw;
  }
  sideRs_->close();
}

std::string FrameReport::sideCount(const std::string& sql, std::string_view column) {
  std::string out = "0";
  sideQuery(sql, [&](db::Recordset& rs) {
    if (rs.EOF_()) return;
    Variant v = rs.value(column);
    if (!v.isNull()) out = v.toString();
  });
  return out;
}

void FrameReport::printDateOn(std::string_view section, std::string_view labelName) {
  std::string lbl(labelName);
  onFormat(section, [this, lbl] {
    // Today's date without its time part, in the system's short date form.
    label(lbl).setCaption("Date Printed: " +
                          Format(Variant::date(std::floor(now())), "Short Date"));
  });
}

void FrameReport::formatPartyDateTime(std::string_view timeField, std::string_view dateField) {
  auto& t = field(timeField);
  t.setText(Format(t.value(), timeFormat_));
  auto& d = field(dateField);
  d.setText(Format(d.value(), dateFormat_));
}

bool FrameReport::hasRows() {
  auto& rs = data().recordset();
  return !(rs.BOF() && rs.EOF_());
}

std::int32_t FrameReport::fieldLong(std::string_view fieldName) {
  Variant v = field(fieldName).value();
  if (v.isNull() || v.isEmpty()) return 0;
  return v.toLong();
}

}  // namespace galvix::frame
