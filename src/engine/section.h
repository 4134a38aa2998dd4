// Sections (bands) of a report at run time: properties report code may change, and the
// section's controls by name or position, including controls added at run time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/controls.h"

namespace galvix::engine {

enum class SectionKind {
  ReportHeader,
  PageHeader,
  GroupHeader,
  Detail,
  GroupFooter,
  PageFooter,
  ReportFooter,
};
const char* sectionKindName(SectionKind k);  // "reportHeader", ... as layout files spell them

// More columns than this could not show a character each on any paper; code asking for more
// (a host's label count) gets this many.
inline constexpr int kMaxColumns = 1000;

enum class NewPage { None, Before, After, BeforeAfter };
enum class ColumnDirection { DownAcross, AcrossDown };
// Keep a group together on one page: not at all, the header with its first detail, or all of it.
enum class GroupKeepTogether { None, FirstDetail, All };

struct SectionState {
  SectionKind kind = SectionKind::Detail;
  std::string name;
  bool visible = true;
  float height = 0;  // twips
  std::optional<doc::Color> backColor;
  bool canGrow = true;
  bool canShrink = false;
  bool keepTogether = false;
  bool pushDown = false;  // controls below a control that grew move down with it
  NewPage newPage = NewPage::None;
  // Detail: columns across the print width.
  int columnCount = 1;
  float columnSpacing = 0;
  // Width of one column; 0 derives it from the print width. A label sheet gives its label's
  // width so that columns sit one pitch apart whatever the sheet's right margin.
  float columnWidth = 0;
  ColumnDirection columnDirection = ColumnDirection::DownAcross;
  // Group header: the key. A column name or "=expression"; empty for no key.
  std::string dataField;
  // Group header: the column the group really breaks on when dataField names no column of the
  // row source (a party group keyed "PartyName" over rows that carry only PartyID).
  std::string breakOn;
  // Group header without a key: break on every row (spacing bands between labels) rather
  // than once per enclosing group.
  bool everyRow = false;
  GroupKeepTogether groupKeepTogether = GroupKeepTogether::None;
  // Group header: print again at the top of each page the group continues on.
  bool repeatHeader = false;
  // Group header or footer: flows in the detail's columns (when it has several) rather than
  // across the full width.
  bool columnLayout = true;
};

class Section {
 public:
  Section(SectionState s, std::vector<std::unique_ptr<Control>> controls);
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

  SectionKind kind() const { return st_.kind; }
  const std::string& name() const { return st_.name; }
  bool visible() const { return st_.visible; }
  void setVisible(bool v) { st_.visible = v; }
  float height() const { return st_.height; }
  void setHeight(double h) { st_.height = static_cast<float>(h); }
  std::optional<doc::Color> backColor() const { return st_.backColor; }
  void setBackColor(std::optional<doc::Color> c) { st_.backColor = c; }
  bool canGrow() const { return st_.canGrow; }
  void setCanGrow(bool v) { st_.canGrow = v; }
  bool canShrink() const { return st_.canShrink; }
  void setCanShrink(bool v) { st_.canShrink = v; }
  bool keepTogether() const { return st_.keepTogether; }
  bool pushDown() const { return st_.pushDown; }
  void setPushDown(bool v) { st_.pushDown = v; }
  void setKeepTogether(bool v) { st_.keepTogether = v; }
  NewPage newPage() const { return st_.newPage; }
  void setNewPage(NewPage n) { st_.newPage = n; }

  int columnCount() const { return st_.columnCount; }
  void setColumnCount(int n);  // 1 to kMaxColumns
  float columnSpacing() const { return st_.columnSpacing; }
  void setColumnSpacing(double s) { st_.columnSpacing = static_cast<float>(s); }
  float columnWidth() const { return st_.columnWidth; }
  void setColumnWidth(double w) { st_.columnWidth = static_cast<float>(w); }
  ColumnDirection columnDirection() const { return st_.columnDirection; }
  void setColumnDirection(ColumnDirection d) { st_.columnDirection = d; }

  // Group header key; read when the run starts (set it in ReportStart at the latest).
  const std::string& dataField() const { return st_.dataField; }
  void setDataField(std::string f) { st_.dataField = std::move(f); }
  const std::string& breakOn() const { return st_.breakOn; }
  GroupKeepTogether groupKeepTogether() const { return st_.groupKeepTogether; }
  void setGroupKeepTogether(GroupKeepTogether g) { st_.groupKeepTogether = g; }

  // Controls: by position (0-based, in layout order then run-time additions) or by name.
  int count() const { return static_cast<int>(controls_.size()); }
  Control& item(int index);
  Control& control(std::string_view name);  // EngineError naming section and control if absent
  Control* find(std::string_view name);     // nullptr if absent
  bool has(std::string_view name) const;
  Label& label(std::string_view name);  // EngineError if absent or not a label
  Field& field(std::string_view name);
  CheckBox& checkBox(std::string_view name);
  SubReport& subReport(std::string_view name);
  Picture& picture(std::string_view name);
  RichText& richText(std::string_view name);
  Line& line(std::string_view name);

  // Run-time controls, appended after the layout's. They print in every later band instance.
  // Names must be unique in the report; EngineError otherwise.
  Label& addLabel(std::string name);
  Field& addField(std::string name);
  CheckBox& addCheckBox(std::string name);
  Control& add(ControlKind kind, std::string name);
  // By the class names report code of the host platform uses: "DDActiveReports2.Label",
  // "DDActiveReports2.Field", "DDActiveReports2.CheckBox".
  Control& add(std::string_view progId, std::string name);

  const SectionState& state() const { return st_; }
  SectionState& state() { return st_; }
  const std::vector<std::unique_ptr<Control>>& controls() const { return controls_; }

 private:
  friend class Report;
  friend class RunLoop;
  friend class Paginator;
  template <class T>
  T& typed(std::string_view name, ControlKind k);
  Report* owner_ = nullptr;  // for report-wide name checks of added controls
  SectionState st_;
  std::vector<std::unique_ptr<Control>> controls_;
};

}  // namespace galvix::engine
