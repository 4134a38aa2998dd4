#include "engine/layout.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "engine/layout_embed.h"
#include "engine/text_util.h"

namespace galvix::engine {

using nlohmann::json;

LayoutError::LayoutError(std::string file, std::string path, std::string reason)
    : galvix::Error(file + ": " + (path.empty() ? "/" : path) + ": " + reason),
      file_(std::move(file)),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

void PageSettings::setPaperSize(int code) {
  struct Paper {
    int code;
    double w, h;  // inches
  };
  constexpr double mm = 1.0 / 25.4;
  static const Paper papers[] = {
      {1, 8.5, 11},
      {3, 11, 17},
      {5, 8.5, 14},
      {7, 7.25, 10.5},
      {8, 297 * mm, 420 * mm},
      {9, 210 * mm, 297 * mm},
      {11, 148 * mm, 210 * mm},
      {13, 182 * mm, 257 * mm},
      {19, 3.875, 8.875},
      {20, 4.125, 9.5},
      {27, 110 * mm, 220 * mm},
      {28, 162 * mm, 229 * mm},
      {34, 176 * mm, 250 * mm},
      {37, 3.875, 7.5},
  };
  paperSize = code;
  for (const auto& p : papers)
    if (p.code == code) {
      paperWidth = static_cast<float>(std::nearbyint(p.w * 1440));
      paperHeight = static_cast<float>(std::nearbyint(p.h * 1440));
    }
}

namespace {

// Reads one JSON object, checking every key it is asked for and, at the end, that no other
// key was given (misspelt keys would otherwise be silently ignored).
class Reader {
 public:
  Reader(const json& j, std::string path, const std::string& file)
      : j_(j), path_(std::move(path)), file_(file) {
    if (!j_.is_object()) fail("expected an object");
  }

  [[noreturn]] void fail(const std::string& reason, const std::string& key = {}) const {
    throw LayoutError(file_, key.empty() ? path_ : path_ + "/" + key, reason);
  }
  std::string at(const std::string& key) const { return path_ + "/" + key; }
  bool has(const std::string& key) {
    seen_.insert(key);
    return j_.contains(key);
  }
  const json& raw(const std::string& key) {
    seen_.insert(key);
    return j_.at(key);
  }

  std::string str(const std::string& key, std::string def = {}) {
    if (!has(key)) return def;
    const auto& v = j_[key];
    if (!v.is_string()) fail("expected a string", key);
    return v.get<std::string>();
  }
  std::string requiredStr(const std::string& key) {
    if (!has(key)) fail("missing required key '" + key + "'");
    auto s = str(key);
    if (s.empty()) fail("must not be empty", key);
    return s;
  }
  bool boolean(const std::string& key, bool def) {
    if (!has(key)) return def;
    const auto& v = j_[key];
    if (!v.is_boolean()) fail("expected true or false", key);
    return v.get<bool>();
  }
  double number(const std::string& key, double def) {
    if (!has(key)) return def;
    const auto& v = j_[key];
    if (!v.is_number()) fail("expected a number", key);
    return v.get<double>();
  }
  float twips(const std::string& key, float def, bool allowNegative = false) {
    double d = number(key, def);
    if (!allowNegative && d < 0) fail("must not be negative (got " + fmt(d) + ")", key);
    if (d > 1e6 || d < -1e6) fail("out of range (got " + fmt(d) + ")", key);
    return static_cast<float>(d);
  }
  int integer(const std::string& key, int def, int lo, int hi) {
    if (!has(key)) return def;
    const auto& v = j_[key];
    if (!v.is_number_integer()) fail("expected a whole number", key);
    auto n = v.get<long long>();
    if (n < lo || n > hi)
      fail("must be between " + std::to_string(lo) + " and " + std::to_string(hi) + " (got " +
               std::to_string(n) + ")",
           key);
    return static_cast<int>(n);
  }
  template <class E>
  E choice(const std::string& key, E def, std::initializer_list<std::pair<const char*, E>> opts) {
    if (!has(key)) return def;
    const auto& v = j_[key];
    std::string list;
    for (auto& [n, e] : opts) {
      if (v.is_string() && iequals(v.get<std::string>(), n)) return e;
      list += (list.empty() ? "" : ", ") + std::string(n);
    }
    fail("expected one of " + list + (v.is_string() ? " (got '" + v.get<std::string>() + "')" : ""),
         key);
  }
  std::optional<doc::Color> color(const std::string& key) {
    if (!has(key)) return std::nullopt;
    const auto& v = j_[key];
    if (v.is_number_integer()) {
      auto n = v.get<long long>();
      if (n < 0 || n > 0xFFFFFF) fail("colour out of range", key);
      return static_cast<doc::Color>(n);
    }
    if (v.is_string()) {
      auto s = v.get<std::string>();
      if (s.size() == 7 && s[0] == '#') {
        unsigned r = 0, g = 0, b = 0;
        if (std::sscanf(s.c_str() + 1, "%2x%2x%2x", &r, &g, &b) == 3) return doc::rgb(r, g, b);
      }
    }
    fail("expected a colour: \"#RRGGBB\" or the packed number", key);
  }
  void done() const {
    for (auto it = j_.begin(); it != j_.end(); ++it)
      if (!seen_.count(it.key())) fail("unknown key '" + it.key() + "'");
  }
  const std::string& path() const { return path_; }

 private:
  static std::string fmt(double d) {
    std::ostringstream o;
    o << d;
    return o.str();
  }
  const json& j_;
  std::string path_;
  const std::string& file_;
  std::set<std::string> seen_;
};

doc::LineStyle lineStyle(Reader& r, const std::string& key, doc::LineStyle def) {
  return r.choice<doc::LineStyle>(key, def,
                                  {{"transparent", doc::LineStyle::Transparent},
                                   {"none", doc::LineStyle::Transparent},
                                   {"solid", doc::LineStyle::Solid},
                                   {"dash", doc::LineStyle::Dash},
                                   {"dot", doc::LineStyle::Dot},
                                   {"dashDot", doc::LineStyle::DashDot},
                                   {"dashDotDot", doc::LineStyle::DashDotDot}});
}

doc::Font readFont(const json& j, const std::string& path, const std::string& file) {
  Reader r(j, path, file);
  doc::Font f;
  f.name = r.str("name", f.name);
  f.size = r.number("size", f.size);
  if (f.size <= 0 || f.size > 500) r.fail("font size must be between 0 and 500", "size");
  f.bold = r.boolean("bold", false);
  f.italic = r.boolean("italic", false);
  f.underline = r.boolean("underline", false);
  f.strikeout = r.boolean("strikeout", false);
  r.done();
  return f;
}

ControlState readControl(const json& j, const std::string& path, const std::string& file) {
  Reader r(j, path, file);
  ControlState c;
  c.kind = r.choice<ControlKind>("kind", ControlKind::Label,
                                 {{"label", ControlKind::Label},
                                  {"field", ControlKind::Field},
                                  {"checkBox", ControlKind::CheckBox},
                                  {"line", ControlKind::Line},
                                  {"shape", ControlKind::Shape},
                                  {"picture", ControlKind::Picture},
                                  {"richText", ControlKind::RichText},
                                  {"subReport", ControlKind::SubReport},
                                  {"pageBreak", ControlKind::PageBreak},
                                  {"chart", ControlKind::Chart},
                                  {"dataControl", ControlKind::DataControl}});
  if (!r.has("kind")) r.fail("missing required key 'kind'");
  c.name = r.requiredStr("name");
  const bool isLine = c.kind == ControlKind::Line;
  c.left = r.twips("left", 0, isLine);
  c.top = r.twips("top", 0, isLine);
  c.width = r.twips("width", 0, isLine);
  c.height = r.twips("height", 0, isLine);
  if (isLine && (r.has("x1") || r.has("x2") || r.has("y1") || r.has("y2"))) {
    float x1 = r.twips("x1", 0), y1 = r.twips("y1", 0), x2 = r.twips("x2", 0),
          y2 = r.twips("y2", 0);
    c.left = x1;
    c.top = y1;
    c.width = x2 - x1;
    c.height = y2 - y1;
  }
  c.anchor = r.choice<Anchor>("anchor", Anchor::Left,
                              {{"left", Anchor::Left},
                               {"right", Anchor::Right},
                               {"center", Anchor::Center},
                               {"stretch", Anchor::Stretch}});
  c.visible = r.boolean("visible", true);
  if (r.has("font")) c.font = readFont(r.raw("font"), r.at("font"), file);
  if (auto fc = r.color("foreColor")) c.foreColor = *fc;
  c.backColor = r.color("backColor");
  c.alignment = r.choice<doc::HAlign>("alignment", doc::HAlign::Left,
                                      {{"left", doc::HAlign::Left},
                                       {"right", doc::HAlign::Right},
                                       {"center", doc::HAlign::Center},
                                       {"justify", doc::HAlign::Justify}});
  c.verticalAlignment = r.choice<doc::VAlign>("verticalAlignment", doc::VAlign::Top,
                                              {{"top", doc::VAlign::Top},
                                               {"middle", doc::VAlign::Middle},
                                               {"bottom", doc::VAlign::Bottom}});
  c.angle = r.integer("angle", 0, -3600, 3600);
  if (r.has("border")) {
    Reader b(r.raw("border"), r.at("border"), file);
    c.border.left = lineStyle(b, "left", doc::LineStyle::Transparent);
    c.border.top = lineStyle(b, "top", doc::LineStyle::Transparent);
    c.border.right = lineStyle(b, "right", doc::LineStyle::Transparent);
    c.border.bottom = lineStyle(b, "bottom", doc::LineStyle::Transparent);
    if (b.has("all")) {
      auto s = lineStyle(b, "all", doc::LineStyle::Solid);
      c.border.left = c.border.top = c.border.right = c.border.bottom = s;
    }
    if (auto bc = b.color("color")) c.border.color = *bc;
    c.border.weight = b.integer("weight", 1, 0, 100);
    b.done();
  }
  c.canGrow = r.boolean("canGrow", false);
  c.canShrink = r.boolean("canShrink", false);
  c.wordWrap = r.boolean("wordWrap", true);
  c.runningHead = r.boolean("runningHead", false);
  c.caption = r.str("caption");
  c.text = r.str("text");
  if (r.has("value")) {
    const auto& v = r.raw("value");
    if (v.is_boolean())
      c.value = Variant::boolean(v.get<bool>());
    else if (v.is_number_integer())
      c.value = Variant::longInt(v.get<std::int32_t>());
    else if (v.is_number())
      c.value = Variant::dbl(v.get<double>());
    else if (v.is_string())
      c.value = Variant::string(v.get<std::string>());
    else if (v.is_null())
      c.value = Variant::null();
    else
      r.fail("expected a boolean, number, string or null", "value");
  }
  if (c.kind == ControlKind::Field && c.value.isEmpty() && !c.text.empty())
    c.value = Variant::string(c.text);
  c.dataField = r.str("dataField");
  c.outputFormat = r.str("outputFormat");
  if (r.has("summary")) {
    if (c.kind != ControlKind::Field) r.fail("only fields have summaries", "summary");
    Reader s(r.raw("summary"), r.at("summary"), file);
    c.summary.type = s.choice<SummaryType>("type", SummaryType::None,
                                           {{"none", SummaryType::None},
                                            {"grandTotal", SummaryType::GrandTotal},
                                            {"subTotal", SummaryType::SubTotal},
                                            {"pageTotal", SummaryType::PageTotal},
                                            {"pageCount", SummaryType::PageCount}});
    c.summary.func = s.choice<SummaryFunc>("func", SummaryFunc::Sum,
                                           {{"sum", SummaryFunc::Sum},
                                            {"count", SummaryFunc::Count},
                                            {"avg", SummaryFunc::Avg},
                                            {"min", SummaryFunc::Min},
                                            {"max", SummaryFunc::Max}});
    c.summary.group = s.str("group");
    c.summary.running = s.choice<SummaryRunning>("running", SummaryRunning::None,
                                                 {{"none", SummaryRunning::None},
                                                  {"group", SummaryRunning::Group},
                                                  {"all", SummaryRunning::All}});
    s.done();
    if (c.summary.type == SummaryType::SubTotal && c.summary.group.empty())
      r.fail("a subTotal summary needs 'group' (a group header's name)", "summary");
  }
  c.lineStyle = lineStyle(r, "lineStyle", doc::LineStyle::Solid);
  c.lineWeight = r.integer("lineWeight", 1, 0, 100);
  c.shape = r.choice<doc::ShapeKind>("shape", doc::ShapeKind::Rectangle,
                                     {{"rectangle", doc::ShapeKind::Rectangle},
                                      {"roundRect", doc::ShapeKind::RoundRect},
                                      {"ellipse", doc::ShapeKind::Ellipse}});
  c.sizeMode = r.choice<doc::SizeMode>("sizeMode", doc::SizeMode::Zoom,
                                       {{"clip", doc::SizeMode::Clip},
                                        {"stretch", doc::SizeMode::Stretch},
                                        {"zoom", doc::SizeMode::Zoom}});
  c.rtf = r.str("rtf");
  c.chartTitle = r.str("title");
  c.chartSubtitle = r.str("subtitle");
  r.done();
  return c;
}

// Where a section kind goes among the sections of a layout (docs/layout-format.md).
int sectionRank(const std::string& kind) {
  static const char* order[] = {"reportHeader", "pageHeader", "groupHeader", "detail",
                                "groupFooter",  "pageFooter", "reportFooter"};
  for (int i = 0; i < 7; ++i)
    if (kind == order[i]) return i;
  return 3;
}

// A layout that names a frame gets the frame's sections merged in: the frame's controls come
// first in the section of the same kind (created when the layout has none), then the layout's
// own. The layout states only how it differs: the standard header in the report header,
// controls omitted, renamed or with some keys set otherwise.
json applyFrame(const json& j, const std::string& file) {
  json out = j;
  const json& spec = j.at("frame");
  std::string name, header = "pageHeader";
  std::vector<std::string> omit;
  std::vector<std::pair<std::string, std::string>> rename;
  json set = json::object();
  if (spec.is_string()) {
    name = spec.get<std::string>();
  } else {
    Reader f(spec, "/frame", file);
    name = f.requiredStr("name");
    header = f.choice<std::string>(
        "header", "pageHeader", {{"pageHeader", "pageHeader"}, {"reportHeader", "reportHeader"}});
    if (f.has("omit")) {
      const auto& o = f.raw("omit");
      if (!o.is_array()) f.fail("expected an array of control names", "omit");
      for (const auto& n : o) {
        if (!n.is_string()) f.fail("expected an array of control names", "omit");
        omit.push_back(n.get<std::string>());
      }
    }
    if (f.has("rename")) {
      const auto& rn = f.raw("rename");
      if (!rn.is_object()) f.fail("expected an object of old name to new name", "rename");
      for (auto it = rn.begin(); it != rn.end(); ++it) {
        if (!it.value().is_string() || it.value().get<std::string>().empty())
          f.fail("expected a new name", "rename/" + it.key());
        rename.emplace_back(it.key(), it.value().get<std::string>());
      }
    }
    if (f.has("set")) {
      set = f.raw("set");
      if (!set.is_object()) f.fail("expected an object of control name to keys", "set");
    }
    f.done();
  }
  if (name.empty()) throw LayoutError(file, "/frame", "must not be empty");
  const EmbeddedLayout* fl = findEmbeddedLayout(name);
  if (!fl) throw LayoutError(file, "/frame", "no frame named '" + name + "' is linked in");
  fl->layout();  // the frame is a layout of its own, validated (once) on its own terms
  const json frame = json::parse(fl->text().begin(), fl->text().end());
  if (frame.contains("frame"))
    throw LayoutError(file, "/frame", "frame '" + name + "' names a frame itself");

  // Every name the layout mentions must be one of the frame's controls.
  std::set<std::string> known;
  for (const auto& sec : frame.at("sections"))
    for (const auto& c : sec.value("controls", json::array()))
      known.insert(lowerAscii(c.at("name").get<std::string>()));
  auto check = [&](const std::string& n, const std::string& path) {
    if (!known.count(lowerAscii(n)))
      throw LayoutError(file, path, "frame '" + name + "' has no control '" + n + "'");
  };
  for (std::size_t i = 0; i < omit.size(); ++i) check(omit[i], "/frame/omit/" + std::to_string(i));
  for (const auto& [from, to] : rename) check(from, "/frame/rename/" + from);
  for (auto it = set.begin(); it != set.end(); ++it) {
    check(it.key(), "/frame/set/" + it.key());
    if (!it.value().is_object())
      throw LayoutError(file, "/frame/set/" + it.key(), "expected an object");
    for (const char* k : {"kind", "name"})
      if (it.value().contains(k))
        throw LayoutError(file, "/frame/set/" + it.key() + "/" + k,
                          std::string("a frame control's ") + k + " cannot be set" +
                              (std::string(k) == "name" ? " (use \"rename\")" : ""));
  }

  auto& sections = out.at("sections");
  if (!sections.is_array()) return out;  // reported by the section reader
  for (const auto& fsec : frame.at("sections")) {
    std::string kind = fsec.at("kind").get<std::string>();
    if (kind == "pageHeader") kind = header;
    json controls = json::array();
    for (const auto& fc : fsec.value("controls", json::array())) {
      const std::string cname = fc.at("name").get<std::string>();
      auto named = [&](const std::string& n) { return iequals(n, cname); };
      if (std::any_of(omit.begin(), omit.end(), named)) continue;
      json c = fc;
      for (auto it = set.begin(); it != set.end(); ++it)
        if (named(it.key()))
          for (auto kv = it.value().begin(); kv != it.value().end(); ++kv) {
            if (kv.value().is_null())
              c.erase(kv.key());
            else
              c[kv.key()] = kv.value();
            // A line given by its end points or by its box: the newer form wins.
            if (kv.key() == "x1" || kv.key() == "y1" || kv.key() == "x2" || kv.key() == "y2")
              for (const char* b : {"left", "top", "width", "height"}) c.erase(b);
          }
      for (const auto& [from, to] : rename)
        if (named(from)) c["name"] = to;
      if (set.contains(cname)) readControl(c, "/frame/set/" + cname, file);
      controls.push_back(std::move(c));
    }
    json* target = nullptr;
    for (auto& sec : sections)
      if (sec.is_object() && sec.value("kind", "") == kind) target = &sec;
    if (target) {
      json merged = controls;
      for (const auto& c : target->value("controls", json::array())) merged.push_back(c);
      (*target)["controls"] = std::move(merged);
      // The frame's section settings hold where the layout does not give its own.
      for (auto kv = fsec.begin(); kv != fsec.end(); ++kv)
        if (kv.key() != "kind" && kv.key() != "name" && kv.key() != "controls" &&
            !target->contains(kv.key()))
          (*target)[kv.key()] = kv.value();
    } else {
      json sec = fsec;
      sec["kind"] = kind;
      if (kind == "reportHeader") sec["name"] = "ReportHeader";
      sec["controls"] = std::move(controls);
      auto pos = sections.begin();
      while (pos != sections.end() && pos->is_object() &&
             sectionRank(pos->value("kind", "")) <= sectionRank(kind))
        ++pos;
      sections.insert(pos, std::move(sec));
    }
  }
  out.erase("frame");
  return out;
}

}  // namespace

std::shared_ptr<const Layout> loadLayout(std::string_view text, std::string file) {
  json j;
  try {
    j = json::parse(text.begin(), text.end());
  } catch (const json::exception& e) {  // syntax, and numbers too large for any type
    throw LayoutError(file, "", std::string("not valid JSON: ") + e.what());
  }
  if (j.is_object() && j.contains("frame")) j = applyFrame(j, file);
  auto L = std::make_shared<Layout>();
  L->file = file;
  Reader r(j, "", file);
  int version = r.integer("version", 0, 0, 1000);
  if (!r.has("version")) r.fail("missing required key 'version'");
  if (version != 1)
    r.fail("unsupported version " + std::to_string(version) + " (this is 1)", "version");
  L->name = r.requiredStr("name");
  if (r.has("page")) {
    Reader p(r.raw("page"), "/page", file);
    auto& ps = L->page;
    ps.orientation = p.choice<Orientation>(
        "orientation", Orientation::Portrait,
        {{"portrait", Orientation::Portrait}, {"landscape", Orientation::Landscape}});
    ps.setPaperSize(p.integer("paperSize", 1, 0, 1000));
    ps.paperWidth = p.twips("paperWidth", ps.paperWidth);
    ps.paperHeight = p.twips("paperHeight", ps.paperHeight);
    if (ps.paperWidth <= 0 || ps.paperHeight <= 0)
      p.fail("paper width and height must be positive");
    if (p.has("margins")) {
      Reader m(p.raw("margins"), "/page/margins", file);
      ps.leftMargin = m.twips("left", ps.leftMargin);
      ps.rightMargin = m.twips("right", ps.rightMargin);
      ps.topMargin = m.twips("top", ps.topMargin);
      ps.bottomMargin = m.twips("bottom", ps.bottomMargin);
      m.done();
    }
    p.done();
    if (ps.leftMargin + ps.rightMargin >= std::min(ps.paperWidth, ps.paperHeight) ||
        ps.topMargin + ps.bottomMargin >= std::min(ps.paperWidth, ps.paperHeight))
      throw LayoutError(file, "/page/margins", "the margins leave no printable area");
  }
  L->printWidth = r.twips("printWidth", 0);
  if (r.has("data")) {
    const auto& d = r.raw("data");
    if (d.is_null()) {
      L->dataControl.clear();
    } else {
      Reader dr(d, "/data", file);
      L->dataControl = dr.str("name", "datRpt");
      L->connectionString = dr.str("connectionString");
      L->source = dr.str("source");
      dr.done();
    }
  }
  if (!r.has("sections")) r.fail("missing required key 'sections'");
  const auto& secs = r.raw("sections");
  if (!secs.is_array() || secs.empty()) r.fail("expected a non-empty array", "sections");

  // Order: report header, page header, group headers (outer first), detail, group footers
  // (inner first), page footer, report footer.
  auto rank = [](SectionKind k) {
    switch (k) {
      case SectionKind::ReportHeader:
        return 0;
      case SectionKind::PageHeader:
        return 1;
      case SectionKind::GroupHeader:
        return 2;
      case SectionKind::Detail:
        return 3;
      case SectionKind::GroupFooter:
        return 4;
      case SectionKind::PageFooter:
        return 5;
      case SectionKind::ReportFooter:
        return 6;
    }
    return 0;
  };
  std::set<std::string> names;
  int lastRank = -1, headers = 0, footers = 0;
  std::vector<int> count(7, 0);
  for (std::size_t i = 0; i < secs.size(); ++i) {
    std::string path = "/sections/" + std::to_string(i);
    Reader s(secs[i], path, file);
    LayoutSection ls;
    auto& st = ls.state;
    if (!s.has("kind")) s.fail("missing required key 'kind'");
    st.kind = s.choice<SectionKind>("kind", SectionKind::Detail,
                                    {{"reportHeader", SectionKind::ReportHeader},
                                     {"pageHeader", SectionKind::PageHeader},
                                     {"groupHeader", SectionKind::GroupHeader},
                                     {"detail", SectionKind::Detail},
                                     {"groupFooter", SectionKind::GroupFooter},
                                     {"pageFooter", SectionKind::PageFooter},
                                     {"reportFooter", SectionKind::ReportFooter}});
    st.name = s.requiredStr("name");
    if (!names.insert(lowerAscii(st.name)).second)
      s.fail("duplicate section name '" + st.name + "'", "name");
    int rk = rank(st.kind);
    if (rk < lastRank)
      s.fail(std::string("a ") + sectionKindName(st.kind) +
             " cannot follow the sections before it (order: reportHeader, pageHeader, "
             "groupHeader..., detail, groupFooter..., pageFooter, reportFooter)");
    lastRank = rk;
    if (st.kind != SectionKind::GroupHeader && st.kind != SectionKind::GroupFooter &&
        ++count[static_cast<std::size_t>(rk)] > 1)
      s.fail(std::string("a second ") + sectionKindName(st.kind));
    if (st.kind == SectionKind::GroupHeader) ++headers;
    if (st.kind == SectionKind::GroupFooter) ++footers;
    st.height = s.twips("height", 0);
    st.visible = s.boolean("visible", true);
    st.backColor = s.color("backColor");
    st.canGrow = s.boolean("canGrow", true);
    st.canShrink = s.boolean("canShrink", false);
    st.keepTogether = s.boolean("keepTogether", false);
    st.pushDown = s.boolean("pushDown", false);
    st.newPage = s.choice<NewPage>("newPage", NewPage::None,
                                   {{"none", NewPage::None},
                                    {"before", NewPage::Before},
                                    {"after", NewPage::After},
                                    {"beforeAfter", NewPage::BeforeAfter}});
    const bool grp = st.kind == SectionKind::GroupHeader;
    if (s.has("columns")) {
      if (st.kind != SectionKind::Detail) s.fail("only the detail section has columns", "columns");
      Reader c(s.raw("columns"), s.at("columns"), file);
      st.columnCount = c.integer("count", 1, 1, 100);
      st.columnSpacing = c.twips("spacing", 0, true);
      st.columnDirection = c.choice<ColumnDirection>("direction", ColumnDirection::DownAcross,
                                                     {{"downAcross", ColumnDirection::DownAcross},
                                                      {"acrossDown", ColumnDirection::AcrossDown}});
      c.done();
    }
    for (const char* k : {"dataField", "breakOn", "everyRow", "groupKeepTogether", "repeatHeader"})
      if (!grp && s.has(k)) s.fail("only group headers have '" + std::string(k) + "'", k);
    st.dataField = s.str("dataField");
    st.breakOn = s.str("breakOn");
    st.everyRow = s.boolean("everyRow", false);
    if (st.everyRow && !st.dataField.empty())
      s.fail("'everyRow' is for a group without a key", "everyRow");
    st.groupKeepTogether =
        s.choice<GroupKeepTogether>("groupKeepTogether", GroupKeepTogether::None,
                                    {{"none", GroupKeepTogether::None},
                                     {"firstDetail", GroupKeepTogether::FirstDetail},
                                     {"all", GroupKeepTogether::All}});
    st.repeatHeader = s.boolean("repeatHeader", false);
    if (s.has("columnLayout") && !grp && st.kind != SectionKind::GroupFooter)
      s.fail("only group headers and footers have 'columnLayout'", "columnLayout");
    st.columnLayout = s.boolean("columnLayout", true);
    if (s.has("controls")) {
      const auto& cs = s.raw("controls");
      if (!cs.is_array()) s.fail("expected an array", "controls");
      for (std::size_t k = 0; k < cs.size(); ++k) {
        std::string cpath = path + "/controls/" + std::to_string(k);
        ls.controls.push_back(readControl(cs[k], cpath, file));
        const auto& c = ls.controls.back();
        if (!names.insert(lowerAscii(c.name)).second)
          throw LayoutError(file, cpath + "/name", "duplicate name '" + c.name + "'");
      }
    }
    s.done();
    L->sections.push_back(std::move(ls));
  }
  if (count[3] == 0 && headers + footers > 0)
    throw LayoutError(file, "/sections", "groups need a detail section");
  if (headers != footers)
    throw LayoutError(file, "/sections",
                      "each group header needs a group footer (" + std::to_string(headers) +
                          " headers, " + std::to_string(footers) + " footers)");
  // The data control, when the layout places it in a section, names the report's.
  const bool hasDataKey = j.contains("data");
  std::string placed;
  for (std::size_t i = 0; i < L->sections.size(); ++i)
    for (std::size_t k = 0; k < L->sections[i].controls.size(); ++k) {
      const auto& c = L->sections[i].controls[k];
      if (c.kind != ControlKind::DataControl) continue;
      const std::string cpath = "/sections/" + std::to_string(i) + "/controls/" + std::to_string(k);
      if (!placed.empty())
        throw LayoutError(file, cpath,
                          "a second data control ('" + c.name + "' after '" + placed + "')");
      if (L->dataControl.empty())
        throw LayoutError(file, cpath,
                          "the layout says the report has no data control (\"data\": null)");
      if (hasDataKey && j["data"].contains("name") && !iequals(L->dataControl, c.name))
        throw LayoutError(file, cpath + "/name",
                          "the data control is named '" + L->dataControl + "' under /data");
      placed = c.name;
      L->dataControl = c.name;
    }
  // Summaries name existing group headers.
  for (std::size_t i = 0; i < L->sections.size(); ++i)
    for (std::size_t k = 0; k < L->sections[i].controls.size(); ++k) {
      const auto& c = L->sections[i].controls[k];
      if (c.summary.group.empty()) continue;
      bool ok = false;
      for (const auto& s : L->sections)
        ok = ok ||
             (s.state.kind == SectionKind::GroupHeader && iequals(s.state.name, c.summary.group));
      if (!ok)
        throw LayoutError(
            file,
            "/sections/" + std::to_string(i) + "/controls/" + std::to_string(k) + "/summary/group",
            "no group header named '" + c.summary.group + "'");
    }
  r.done();
  return L;
}

std::shared_ptr<const Layout> loadLayoutFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw LayoutError(path, "", "cannot open the file");
  std::ostringstream ss;
  ss << in.rdbuf();
  return loadLayout(ss.str(), path);
}

}  // namespace galvix::engine
