// Inside the engine: the run loop (rows, groups, summaries, Format) and the paginator (placing
// band instances on pages, BeforePrint/AfterPrint at commit, page headers and footers, columns).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/data_control.h"
#include "engine/expression.h"
#include "engine/report.h"
#include "engine/run.h"
#include "galvix/document.h"

namespace galvix::engine {

// Thrown when a handler has called cancel(): unwinds the run to runReport.
struct RunCancelled {};

// Totals of one summarised field over some range of rows.
struct Accumulator {
  Variant sum;
  long count = 0;
  Variant min, max;
  void add(const Variant& v);
  Variant result(SummaryFunc f) const;
};

// A group's accumulators, one per summarised field; shared by the instances formatted in it.
using GroupTotals = std::shared_ptr<std::vector<Accumulator>>;

// A subreport's output: items relative to the subreport control's top-left corner.
struct Fragment {
  const Report* report = nullptr;  // which child produced it
  std::vector<doc::Item> items;
  std::int32_t height = 0;
};

// A text's measured height, kept with the band that measured it: the first `length` bytes of
// the control's snapshot text, in the snapshot's font, wrapped at `wrap`.
struct MeasuredText {
  std::size_t control = 0;
  std::size_t length = 0;
  std::int32_t wrap = 0;
  std::int32_t height = 0;
};

// One formatted band: the state its handlers left, to restore for its later events.
struct BandInstance {
  Section* section = nullptr;
  RowPtr row;
  long rowIndex = -1;
  std::uint64_t seq = 0;
  SectionState sectionState;
  std::vector<ControlState> controls;
  std::vector<GroupTotals> groups;            // totals of the enclosing groups, outer first
  int ownGroup = -1;                          // group level of a group header or footer
  std::map<std::size_t, Fragment> fragments;  // by control index
  std::int32_t height = 0;                    // measured after Format
  std::vector<std::int32_t> shifts;           // per control: moved down by growth above it
  // Texts measured for this band, as they stand in `controls`. It is measured again when placed
  // (a handler may have changed it), usually with the same texts: a queued group can hold more
  // texts than the measurer's cache, so the band keeps its own. Cleared with each snapshot.
  std::vector<MeasuredText> measured;
  int keepUntil = -1;     // index in the queue of the last instance kept on a page with this one
  bool column = false;    // laid out in the detail columns
  bool repeated = false;  // a group header printed again on a continuation page
};

struct SummaryField {
  const Control* control;
  Expression expr;
  int groupLevel = -1;  // level whose totals a subtotal or group-running value reads
  const Section* section = nullptr;
};

class RunLoop {
 public:
  // `embedded`: a subreport's run, flowed into one unbounded fragment (no pages).
  RunLoop(Report& report, const RunOptions& options, bool embedded);
  RunResult run();
  std::int32_t growthLimit(const Section& s) const;
  std::int32_t bodyHeight() const;
  Fragment runEmbedded(std::int32_t width);

  // Used by the paginator.
  void restore(BandInstance& inst);
  void snapshot(BandInstance& inst);
  BandInstance formatSection(Section& s, const RowPtr& row, long rowIndex);
  std::int32_t measure(BandInstance& inst);
  // Items of the instance relative to its band; `deferred` gets (item index, control index)
  // of page-count fields to fill in after the last page.
  std::vector<doc::Item> buildItems(BandInstance& inst,
                                    std::vector<std::pair<std::size_t, int>>& deferred);
  void setViewRow(const RowPtr& row, long index);
  void refreshSummaries(BandInstance& inst, const std::vector<Accumulator>* page);
  Report& report() { return report_; }
  const std::vector<SummaryField>& summaries() const { return summaries_; }
  TextMeasurer* measurer() const { return options_.measurer; }
  const RunOptions& options() const { return options_; }
  std::uint64_t latestSeq(const Section* s) const;
  void runSubreports(BandInstance& inst);
  // PageStart sees the page's first row in the bound controls of every body section; the
  // previous values come back afterwards.
  struct BoundValue {
    ControlState* state;
    Variant value;
    std::string text;
  };
  std::vector<BoundValue> bindBodySections(const Section* except, const RowValues& row);
  static void unbind(std::vector<BoundValue>& saved);

 private:
  void prepare();
  bool begin();  // ReportStart .. NoData; false when cancelled
  void body();
  void bindControls(Section& s, const RowValues& row);
  const Expression& expressionFor(const std::string& dataField);
  void computeSummaries(BandInstance& inst, bool atCommit, const std::vector<Accumulator>* page);
  void flush();
  // Height of `text` in control `control` of `inst`, measured once per band while unchanged.
  std::int32_t textHeight(BandInstance& inst, std::size_t control, std::string_view text,
                          const doc::Font& font, std::int32_t wrap);

  Report& report_;
  RunOptions options_;
  bool embedded_;
  std::shared_ptr<const Columns> columns_;
  std::unordered_map<std::string, Expression> exprCache_;
  std::vector<Section*> groupHeaders_, groupFooters_;  // outer first, same order
  std::vector<Expression> groupKeys_;
  Section* detail_ = nullptr;
  Section* reportHeader_ = nullptr;
  Section* reportFooter_ = nullptr;
  std::vector<SummaryField> summaries_;
  std::vector<Accumulator> all_;
  std::vector<GroupTotals> openGroups_;
  // Per group level: its bands are held until it ends (its header waits for its details).
  std::vector<bool> holdGroup_;
  std::uint64_t seq_ = 0;
  std::unordered_map<const Section*, std::uint64_t> latest_;
  std::vector<BandInstance> queue_;
  std::unique_ptr<class Paginator> pager_;
  friend class Paginator;
};

}  // namespace galvix::engine
