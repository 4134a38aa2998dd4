// The report base class. A report designer derives from Report, passes its layout to the
// constructor, and handles the engine's events: report-level ones by overriding the virtuals,
// band ones by registering handlers per section name. See docs/engine.md for an example.
//
// Event order of a run: ReportStart, DataInitialize, NoData (no rows), then for each page
// PageStart, its bands (Format, BeforePrint, AfterPrint per band instance), PageEnd; then
// ReportEnd. Terminate is the designer's destructor.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/controls.h"
#include "engine/data_control.h"
#include "engine/host_services.h"
#include "engine/layout.h"
#include "engine/section.h"

namespace galvix::engine {

struct EmbeddedLayout;
class TextMeasurer;
struct RunResult;
struct RunOptions;

enum class BandEvent { Format, BeforePrint, AfterPrint };
const char* bandEventName(BandEvent e);

struct Printer {
  std::string name;
};

class Report {
 public:
  explicit Report(std::shared_ptr<const Layout> layout);
  explicit Report(const EmbeddedLayout& layout);
  virtual ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  const std::string& name() const { return layout_->name; }
  const Layout& layout() const { return *layout_; }

  // ---- Report-level events (override) ----
  virtual void onReportStart() {}
  virtual void onDataInitialize() {}
  virtual void onNoData() {}
  virtual void onPageStart() {}
  virtual void onPageEnd() {}
  virtual void onReportEnd() {}

  // ---- Band events: handlers per section name ----
  using Handler = std::function<void()>;
  void on(std::string_view section, BandEvent e, Handler h);  // EngineError if no such section
  void onFormat(std::string_view section, Handler h) {
    on(section, BandEvent::Format, std::move(h));
  }
  void onBeforePrint(std::string_view section, Handler h) {
    on(section, BandEvent::BeforePrint, std::move(h));
  }
  void onAfterPrint(std::string_view section, Handler h) {
    on(section, BandEvent::AfterPrint, std::move(h));
  }
  // Called by the engine; the default runs the registered handlers. Override to observe all.
  virtual void onBandEvent(Section& s, BandEvent e);

  // ---- Sections and controls by name (EngineError naming what is missing) ----
  Section& section(std::string_view name);
  Section* findSection(std::string_view name);
  int sectionCount() const { return static_cast<int>(sections_.size()); }
  Section& section(int index);
  const std::vector<std::unique_ptr<Section>>& sections() const { return sections_; }
  // Controls are unique by name across the report.
  Control& control(std::string_view name);
  Control* findControl(std::string_view name);
  Label& label(std::string_view name);
  Field& field(std::string_view name);
  CheckBox& checkBox(std::string_view name);
  SubReport& subReport(std::string_view name);
  Picture& picture(std::string_view name);
  RichText& richText(std::string_view name);
  Line& line(std::string_view name);
  Section& sectionOf(const Control& c);

  // ---- Data ----
  DataControl& data() { return data_; }  // datRpt
  // The current row's value of a column (the report's Fields collection).
  Variant fieldValue(std::string_view name) { return data_.recordset().value(name); }

  // ---- Page and printer ----
  PageSettings& pageSettings() { return page_; }
  const PageSettings& pageSettings() const { return page_; }
  Printer& printer() { return printer_; }
  // Printer orientation code: 1 portrait, 2 landscape (the same setting as the page's).
  int printerOrientation() const { return static_cast<int>(page_.orientation); }
  void setPrinterOrientation(int code);
  Orientation orientation() const { return page_.orientation; }
  // Turning the page moves and stretches the anchored controls (the standard header and
  // footer) by the change in print width; a print width that filled the page keeps filling it.
  void setOrientation(Orientation o);
  float printWidth() const;  // the layout's, or paper width minus margins
  void setPrintWidth(double w);
  // Paper size as printed: width and height swapped in landscape.
  float pageWidth() const;
  float pageHeight() const;

  // ---- Run state ----
  void cancel() { cancelled_ = true; }  // ends the run; no document is produced
  bool cancelled() const { return cancelled_; }
  // The last run's row source returned no rows (NoData was raised).
  bool hadNoRows() const { return noRows_; }
  int pageNumber() const { return pageNumber_; }  // current page (1-based) while running
  // The page count, for handlers that need it in code: set when the report is run by
  // runReportCountingPages (run.h), else 0. "Page N of M" fields do not need it.
  void setNeedsTotalPages(bool v) { needsTotalPages_ = v; }
  bool needsTotalPages() const { return needsTotalPages_; }
  int totalPages() const { return totalPages_; }
  // A designer whose innermost group header's BeforePrint and AfterPrint read nothing its details'
  // Format leave (a party header that only formats its own date) says so here: its details are
  // then placed as they are formatted instead of the whole group being held first, which keeps
  // memory flat on a large party. Groups kept together, or whose header prints a subtotal of its
  // own group, are still held.
  void setHeadersIndependentOfDetails(bool v = true) { headersIndependent_ = v; }
  bool headersIndependentOfDetails() const { return headersIndependent_; }

  // The run's text measurer (what the renderer draws with), for handlers that place text by
  // its size; nullptr outside a run or when the run has none.
  TextMeasurer* measurer() const { return measurer_; }

  HostServices& host() { return *host_; }
  void setHost(std::shared_ptr<HostServices> h);
  const std::shared_ptr<HostServices>& hostPtr() const { return host_; }

 private:
  friend class RunLoop;
  friend class Paginator;
  friend class Section;
  friend RunResult runReportCountingPages(const std::function<std::unique_ptr<Report>()>&,
                                          const RunOptions&);
  void instantiate();
  void followPrintWidth(float before);
  void checkNewName(std::string_view name) const;
  void indexControl(Section& s, Control& c);
  template <class T>
  T& typed(std::string_view name, ControlKind k);

  std::shared_ptr<const Layout> layout_;
  std::vector<std::unique_ptr<Section>> sections_;
  std::unordered_map<std::string, std::pair<Section*, Control*>> controlIndex_;  // lower-case
  struct HandlerEntry {
    const Section* section;
    BandEvent event;
    Handler fn;
  };
  std::vector<HandlerEntry> handlers_;
  DataControl data_;
  PageSettings page_;
  Printer printer_;
  float printWidth_ = 0;
  bool cancelled_ = false;
  bool noRows_ = false;
  bool needsTotalPages_ = false;
  bool headersIndependent_ = false;
  int pageNumber_ = 0;
  int totalPages_ = 0;
  std::shared_ptr<HostServices> host_;
  TextMeasurer* measurer_ = nullptr;
};

}  // namespace galvix::engine
