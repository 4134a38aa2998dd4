// Controls as report code sees them: one plain state record per control, behind typed facades
// (Label, Field, CheckBox, ...). The engine copies the state record to snapshot a band instance.
#pragma once

#include "galvix/error.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "galvix/document.h"
#include "galvix/variant.h"

namespace galvix::engine {

class Report;
class TextMeasurer;

// What a chart control shows, made by the chart's own code. The engine asks for it when it
// places the control: page items for a box of the given size (twips), relative to the box's
// top-left corner, measured with the run's text measurer (null when the run has none). Shared
// between band snapshots, so it must not change once made.
class ChartDrawing {
 public:
  virtual ~ChartDrawing() = default;
  virtual std::vector<doc::Item> draw(std::int32_t width, std::int32_t height,
                                      TextMeasurer* measurer) const = 0;
};

enum class ControlKind {
  Label,
  Field,  // text box, bound or not
  CheckBox,
  Line,
  Shape,
  Picture,
  RichText,
  SubReport,
  PageBreak,
  Chart,
  DataControl,  // where the data control (datRpt) sits among its section's controls; prints nothing
};
const char* controlKindName(ControlKind k);  // "label", "field", ... as layout files spell them

// What a field totals, and over which range.
enum class SummaryType {
  None,
  GrandTotal,  // over the whole report (or, with SummaryRunning, a running value)
  SubTotal,    // over the group named by summaryGroup
  PageTotal,   // over the page
  PageCount,   // page numbers: with SummaryRunning::All the page number, else the page count
};
enum class SummaryFunc { Sum, Count, Avg, Min, Max };
enum class SummaryRunning { None, Group, All };

struct Summary {
  SummaryType type = SummaryType::None;
  SummaryFunc func = SummaryFunc::Sum;
  std::string group;  // group header section name (SubTotal, or Running::Group)
  SummaryRunning running = SummaryRunning::None;
  bool active() const { return type != SummaryType::None; }
};

// How a control follows a change of the report's print width (a page turned to landscape at
// run time): it stays at the left, keeps its distance from the right edge, stays centred, or
// stretches so both of its edges keep their distances.
enum class Anchor { Left, Right, Center, Stretch };

// Every property any control kind has. Kind-specific members are ignored by other kinds.
struct ControlState {
  ControlKind kind = ControlKind::Label;
  std::string name;
  bool visible = true;
  float left = 0, top = 0, width = 0, height = 0;  // twips
  Anchor anchor = Anchor::Left;
  doc::Font font;
  doc::Color foreColor = doc::kBlack;
  std::optional<doc::Color> backColor;  // none: transparent
  doc::HAlign alignment = doc::HAlign::Left;
  doc::VAlign verticalAlignment = doc::VAlign::Top;
  int angle = 0;  // tenths of a degree, counter-clockwise
  doc::Border border;
  bool canGrow = false;
  bool canShrink = false;
  bool wordWrap = true;
  // Page header only: prints what the control holds when its page closes, not when the page
  // opens (a directory's "to" surname is the last one placed on the page).
  bool runningHead = false;

  std::string caption;       // Label, CheckBox
  std::string text;          // Field: the text that prints
  Variant value;             // Field: DataValue; CheckBox: Value
  std::string dataField;     // Field, CheckBox: column name or "=expression"
  std::string outputFormat;  // Field
  Summary summary;           // Field

  // Line: end points relative to the section (x1,y1 = left,top; x2,y2 = left+width,top+height).
  doc::LineStyle lineStyle = doc::LineStyle::Solid;
  int lineWeight = 1;
  doc::ShapeKind shape = doc::ShapeKind::Rectangle;  // Shape

  std::shared_ptr<const Bytes> picture;          // Picture
  doc::SizeMode sizeMode = doc::SizeMode::Zoom;  // Picture
  std::string rtf;                               // RichText
  std::shared_ptr<Report> report;                // SubReport: the child report object
  std::string chartTitle, chartSubtitle;         // Chart: as designed
  std::shared_ptr<const ChartDrawing> chart;     // Chart: none shows nothing
};

// Raised when code asks for a control or section that does not exist, or of the wrong kind.
class EngineError : public galvix::Error {
 public:
  using galvix::Error::Error;
};

// Base facade: the properties every control has.
class Control {
 public:
  explicit Control(ControlState s) : st_(std::move(s)) {}
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  ControlKind kind() const { return st_.kind; }
  const std::string& name() const { return st_.name; }
  void setName(std::string n) { st_.name = std::move(n); }

  bool visible() const { return st_.visible; }
  void setVisible(bool v) { st_.visible = v; }
  float left() const { return st_.left; }
  float top() const { return st_.top; }
  float width() const { return st_.width; }
  float height() const { return st_.height; }
  void setLeft(double v) { st_.left = static_cast<float>(v); }
  void setTop(double v) { st_.top = static_cast<float>(v); }
  void setWidth(double v) { st_.width = static_cast<float>(v); }
  void setHeight(double v) { st_.height = static_cast<float>(v); }
  float right() const { return st_.left + st_.width; }  // left + width

  const doc::Font& font() const { return st_.font; }
  doc::Font& font() { return st_.font; }  // font().bold = true
  void setFont(doc::Font f) { st_.font = std::move(f); }
  doc::Color foreColor() const { return st_.foreColor; }
  void setForeColor(doc::Color c) { st_.foreColor = c; }
  std::optional<doc::Color> backColor() const { return st_.backColor; }
  void setBackColor(std::optional<doc::Color> c) { st_.backColor = c; }

  doc::HAlign alignment() const { return st_.alignment; }
  void setAlignment(doc::HAlign a) { st_.alignment = a; }
  void setAlignment(int code);  // 0 left, 1 right, 2 center, 3 justify
  doc::VAlign verticalAlignment() const { return st_.verticalAlignment; }
  void setVerticalAlignment(doc::VAlign a) { st_.verticalAlignment = a; }
  void setVerticalAlignment(int code);  // 0 top, 1 middle, 2 bottom
  int angle() const { return st_.angle; }
  void setAngle(int tenths) { st_.angle = tenths; }

  doc::Border& border() { return st_.border; }  // border().top = doc::LineStyle::Solid
  const doc::Border& border() const { return st_.border; }

  bool canGrow() const { return st_.canGrow; }
  void setCanGrow(bool v) { st_.canGrow = v; }
  bool canShrink() const { return st_.canShrink; }
  void setCanShrink(bool v) { st_.canShrink = v; }
  bool wordWrap() const { return st_.wordWrap; }
  void setWordWrap(bool v) { st_.wordWrap = v; }

  // The typed facade when the control is of that kind, else nullptr:
  //   if (auto* f = section("gfDetail").item(i).as<Field>()) f->setDataValue(total);
  template <class T>
  T* as() {
    return dynamic_cast<T*>(this);
  }

  // The whole state record (engine snapshots; rarely needed by report code).
  const ControlState& state() const { return st_; }
  ControlState& state() { return st_; }

 protected:
  ControlState st_;
};

class Label : public Control {
 public:
  using Control::Control;
  const std::string& caption() const { return st_.caption; }
  void setCaption(std::string c) { st_.caption = std::move(c); }
};

// A text box. Bound fields take the current row's value before Format: value() is the raw
// value, text() that value formatted with outputFormat(). setText() replaces what prints;
// setDataValue() replaces the value and the text (formatted again).
class Field : public Control {
 public:
  using Control::Control;
  const std::string& text() const { return st_.text; }
  void setText(std::string t);  // value becomes the same string
  const Variant& value() const { return st_.value; }
  void setDataValue(Variant v);  // also setValue
  void setValue(Variant v) { setDataValue(std::move(v)); }
  const std::string& dataField() const { return st_.dataField; }
  void setDataField(std::string f) { st_.dataField = std::move(f); }
  const std::string& outputFormat() const { return st_.outputFormat; }
  void setOutputFormat(std::string f) { st_.outputFormat = std::move(f); }
  const Summary& summary() const { return st_.summary; }
  Summary& summary() { return st_.summary; }
  void setSummary(Summary s) { st_.summary = std::move(s); }
  void setSummaryGroup(std::string g) { st_.summary.group = std::move(g); }
  void setSummaryRunning(SummaryRunning r) { st_.summary.running = r; }
  void setSummaryType(SummaryType t) { st_.summary.type = t; }
  void setSummaryFunc(SummaryFunc f) { st_.summary.func = f; }
};

class CheckBox : public Control {
 public:
  using Control::Control;
  const std::string& caption() const { return st_.caption; }
  void setCaption(std::string c) { st_.caption = std::move(c); }
  const Variant& value() const { return st_.value; }
  void setValue(Variant v) { st_.value = std::move(v); }
  bool checked() const;  // a non-zero, non-null value
  const std::string& dataField() const { return st_.dataField; }
  void setDataField(std::string f) { st_.dataField = std::move(f); }
};

class Line : public Control {
 public:
  using Control::Control;
  float x1() const { return st_.left; }
  float y1() const { return st_.top; }
  float x2() const { return st_.left + st_.width; }
  float y2() const { return st_.top + st_.height; }
  void setPoints(double x1, double y1, double x2, double y2);
  doc::LineStyle lineStyle() const { return st_.lineStyle; }
  void setLineStyle(doc::LineStyle s) { st_.lineStyle = s; }
  int lineWeight() const { return st_.lineWeight; }
  void setLineWeight(int w) { st_.lineWeight = w; }
};

class Shape : public Control {
 public:
  using Control::Control;
  doc::ShapeKind shape() const { return st_.shape; }
  void setShape(doc::ShapeKind s) { st_.shape = s; }
  doc::LineStyle lineStyle() const { return st_.lineStyle; }
  void setLineStyle(doc::LineStyle s) { st_.lineStyle = s; }
};

class Picture : public Control {
 public:
  using Control::Control;
  const std::shared_ptr<const Bytes>& picture() const { return st_.picture; }
  void setPicture(std::shared_ptr<const Bytes> data) { st_.picture = std::move(data); }
  void setPicture(Bytes data) { st_.picture = std::make_shared<const Bytes>(std::move(data)); }
  doc::SizeMode sizeMode() const { return st_.sizeMode; }
  void setSizeMode(doc::SizeMode m) { st_.sizeMode = m; }
};

class RichText : public Control {
 public:
  using Control::Control;
  const std::string& rtf() const { return st_.rtf; }
  void setRtf(std::string r) { st_.rtf = std::move(r); }
};

// Holds a child report. The engine runs it when the control is placed and flows its bands into
// the parent band, which grows to hold them. Setting a new report (per row) releases the old one.
class SubReport : public Control {
 public:
  using Control::Control;
  const std::shared_ptr<Report>& report() const { return st_.report; }
  void setReport(std::shared_ptr<Report> r) { st_.report = std::move(r); }
  // Typed access to the child: subReport("srptRooms").reportAs<SrptRooms>().
  template <class R>
  R& reportAs() const {
    auto* r = dynamic_cast<R*>(st_.report.get());
    if (!r) throw EngineError("subreport control '" + st_.name + "' holds no report of that type");
    return *r;
  }
};

// Starts a new page at its position in the band.
class PageBreak : public Control {
 public:
  using Control::Control;
};

// Prints what its drawing makes for its box; it does not grow.
class Chart : public Control {
 public:
  using Control::Control;
  const std::string& title() const { return st_.chartTitle; }
  const std::string& subtitle() const { return st_.chartSubtitle; }
  const std::shared_ptr<const ChartDrawing>& drawing() const { return st_.chart; }
  void setDrawing(std::shared_ptr<const ChartDrawing> d) { st_.chart = std::move(d); }
};

// Turns a value into the text a field prints, given its output format (empty: none). The
// default shows Variant::displayText() and ignores the format; the frame installs the runtime's
// Format() once at start-up.
using ValueFormatter = std::function<std::string(const Variant& value, const std::string& format)>;
void setValueFormatter(ValueFormatter f);
std::string formatValue(const Variant& value, const std::string& format);

// Border and line styles by the platform's codes: 0 transparent, 1 solid, 2 dash, 3 dot,
// 4 dash-dot, 5 dash-dot-dot; the double and thick variants (6 and up) draw solid.
doc::LineStyle lineStyleFromCode(int code);

// Creates the facade that matches the state's kind.
std::unique_ptr<Control> makeControl(ControlState s);

}  // namespace galvix::engine
