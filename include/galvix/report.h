// The library's front door. A host creates a Report, asks it for a catalogue report by name,
// sets that report's properties and runs it into pages it can write as PDF, PNG or SVG.
//
//   galvix::Report factory;
//   auto r = factory.GetNewReport("Guest List - with notes");   // null if not in the catalogue
//   r->set("ConnectionString", "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/events.mdb");
//   r->set("SQLWhere", "WHERE Parties.PartyID = 3");
//   galvix::doc::Document d = r->run();
//   galvix::writePdf(d, "guests.pdf");
//
// Everything the library throws is a galvix::Error (galvix/error.h). Reports may run on several
// threads at once, one report object per thread.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/document.h"
#include "galvix/error.h"
#include "galvix/host.h"
#include "galvix/pdf_stream.h"
#include "galvix/variant.h"
#include "galvix/version.h"

namespace galvix {

namespace frame {
class FrameReport;
}

class ReportObject {
 public:
  explicit ReportObject(std::unique_ptr<frame::FrameReport> r);
  ~ReportObject();
  ReportObject(ReportObject&&) noexcept;
  ReportObject& operator=(ReportObject&&) noexcept;

  const std::string& catalogueName() const;
  const std::string& designer() const;
  // Write-only properties by name (case-insensitive), each converting the value to its type as
  // the platform does ("3" to a Long, -1 to True). An unknown name, or a value the property cannot
  // take, raises PropertyError naming the report and listing its properties.
  void set(std::string_view property, const Variant& value);
  std::vector<std::string> properties() const;
  bool hasProperty(std::string_view property) const;

  // The regional settings its runs print dates and money with: "en-US", "en-GB" or "de-DE"
  // (PropertyError for another); empty: the process's (GALVIX_LOCALE, else en-US).
  void setLocale(std::string name);

  // Runs the report. `cancelled` tells whether a handler ended it (no document, no pages);
  // messages, the clock, settings and the temporary folder come from `host` (the default host
  // when null). Failures raise ReportRunError.
  doc::Document run(bool* cancelled = nullptr, std::shared_ptr<HostServices> host = {});
  // The last run's rows came back empty (an empty report is still a valid one).
  bool lastRunHadNoRows() const;

  // Stops the run in progress (or the next one) at its next band or within a moment of its
  // current query; run() then fails with ReportRunError saying it was cancelled. Safe to call
  // from another thread or a signal handler.
  void cancel() noexcept;
  // Told the number of each page as it opens while the report runs (on the run's thread): for a
  // progress display. Empty: nothing is told.
  void setPageProgress(std::function<void(int)> pageOpened) {
    pageProgress_ = std::move(pageOpened);
  }
  // Runs that take longer fail with ReportRunError naming the limit; zero: no limit.
  void setTimeLimit(std::chrono::milliseconds limit) { timeLimit_ = limit; }
  // Keep the run's pages packed as they are finished (doc::Document::stores, read with
  // pageCount() and page()): a run of thousands of pages then holds a few megabytes. Off: every
  // page in Document::pages.
  void setPackPages(bool on) { packPages_ = on; }
  // Give the run's pages to `sink` as they are finished instead (render::PdfStream writes them
  // to a PDF while the run goes on); the document run() returns then holds none
  // (doc::Document::streamed counts them). Null: pages go into the document.
  void setPageSink(doc::PageSink* sink) { pageSink_ = sink; }

  frame::FrameReport& designerObject() { return *report_; }

 private:
  std::unique_ptr<frame::FrameReport> report_;
  std::unique_ptr<std::atomic<bool>> cancel_;
  std::chrono::milliseconds timeLimit_{0};
  bool packPages_ = false;
  doc::PageSink* pageSink_ = nullptr;
  std::string locale_;
  std::function<void(int)> pageProgress_;
};

// One catalogue name, what it prints and, when its designer is built, its properties.
struct CatalogueInfo {
  std::string name;
  std::string designer;  // empty: the name returns no object
  std::string about;
  bool available = false;  // GetNewReport returns an object
  std::vector<std::string> properties;
};

class Report {
 public:
  // Stored only, as the original component did: GetNewReport does not pass them on. The host
  // sets each created report's own ConnectionString, SQLWhere and SQLOrderBy.
  void setConnectionString(std::string s) { connectionString_ = std::move(s); }
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  // A new report for a catalogue name (exact, case-sensitive), or null.
  std::unique_ptr<ReportObject> GetNewReport(std::string_view name) const;
  // Every catalogue name in catalogue order.
  static std::vector<CatalogueInfo> catalogue();

 private:
  std::string connectionString_, sqlWhere_, sqlOrderBy_;
};

// Output. Files are written atomically (a failure leaves no partial file and the old one in
// place); PNG and SVG write one file per page, prefix-N.ext, and return the paths. Failures raise
// OutputError.
void writePdf(const doc::Document& d, const std::string& path);
std::vector<std::string> writePng(const doc::Document& d, const std::string& prefix,
                                  double dpi = 96);
std::vector<std::string> writeSvg(const doc::Document& d, const std::string& prefix);
// Into a stream or memory (a server's response): the whole PDF, or one page (0-based).
void writePdf(const doc::Document& d, std::ostream& out);
std::vector<unsigned char> pdfBytes(const doc::Document& d);
void writePng(const doc::Document& d, std::size_t page, std::ostream& out, double dpi = 96);
void writeSvg(const doc::Document& d, std::size_t page, std::ostream& out);

// "5.1.0"
const char* version() noexcept;

}  // namespace galvix
