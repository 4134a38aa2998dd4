// Running a report into a Document.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engine/report.h"
#include "engine/text_measurer.h"
#include "galvix/document.h"

namespace galvix::engine {

struct RunOptions {
  TextMeasurer* measurer = nullptr;    // required when any control can grow or shrink
  std::shared_ptr<HostServices> host;  // empty: the report's own (stderr by default)
  // Asked before every band: true ends the run with RunStopped (another thread may set it).
  std::function<bool()> stopRequested;
  // Told the number of each page as it opens (a progress display); called on the run's thread.
  std::function<void(int)> pageOpened;
  // Pack each page as it is finished (Document::store) instead of keeping its items: memory
  // stays flat however many pages the run makes.
  bool packPages = false;
  // Give each page to `sink` as it is finished instead (Document::streamed counts them).
  doc::PageSink* sink = nullptr;
};

// The run was stopped from outside (cancelled, or past its time limit) before it ended.
class RunStopped : public EngineError {
 public:
  using EngineError::EngineError;
};

struct RunResult {
  bool cancelled = false;  // a handler called cancel(): there is no document
  doc::Document document;
};

// Runs the whole report: events in order, pages, "page N of M" resolved. Errors thrown by
// handlers and by the data source propagate to the caller (the run stops).
RunResult runReport(Report& report, const RunOptions& options = {});

// For a designer whose handlers read totalPages() in code: runs a fresh report from `make` to
// count the pages, then another with totalPages() set. Other designers need only runReport
// ("page N of M" fields are filled in after the last page without a second run).
RunResult runReportCountingPages(const std::function<std::unique_ptr<Report>()>& make,
                                 const RunOptions& options = {});

}  // namespace galvix::engine
