#include <mutex>
#include <sstream>

#include "db/connection.h"
#include "engine/run.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "frame/host.h"
#include "galvix/report.h"
#include "render/render.h"
#include "reports/designers.h"
#include "runtime/format.h"
#include "runtime/regional.h"

namespace galvix {
namespace {
void installFormatter() {
  static std::once_flag once;
  std::call_once(once, [] {
    engine::setValueFormatter([](const Variant& v, const std::string& f) { return Format(v, f); });
  });
}

// One per thread, like the pango context it measures with: runs on several threads never share
// a cache or a layout.
engine::TextMeasurer& measurer() {
  thread_local std::unique_ptr<engine::TextMeasurer> m = render::makePangoMeasurer();
  return *m;
}

std::string who(const frame::FrameReport& r) {
  return r.displayName();
}

void linkDesignersOnce() {
  static std::once_flag once;
  std::call_once(once, [] { reports::linkDesigners(); });
}

// Output failures as the public type, whatever layer raised them.
template <typename F>
auto output(F&& f) -> decltype(f()) {
  try {
    return f();
  } catch (const OutputError&) {
    throw;
  } catch (const std::exception& e) {
    throw OutputError(e.what());
  }
}
}  // namespace

ReportObject::ReportObject(std::unique_ptr<frame::FrameReport> r)
    : report_(std::move(r)), cancel_(std::make_unique<std::atomic<bool>>(false)) {}

void ReportObject::cancel() noexcept {
  cancel_->store(true);
}
ReportObject::~ReportObject() = default;
ReportObject::ReportObject(ReportObject&&) noexcept = default;
ReportObject& ReportObject::operator=(ReportObject&&) noexcept = default;

const std::string& ReportObject::catalogueName() const {
  return report_->catalogueName();
}
const std::string& ReportObject::designer() const {
  return report_->name();
}

void ReportObject::set(std::string_view property, const Variant& value) {
  try {
    report_->set(property, value);
  } catch (const std::exception& e) {
    PropertyError err(e.what());
    err.withReport(who(*report_)).withCause(e.what());
    throw err;
  }
}

void ReportObject::setLocale(std::string name) {
  try {
    if (!name.empty()) (void)regionalByName(name);
  } catch (const std::exception& e) {
    PropertyError err(who(*report_) + ": " + e.what());
    err.withReport(who(*report_)).withCause(e.what());
    throw err;
  }
  locale_ = std::move(name);
}
std::vector<std::string> ReportObject::properties() const {
  return report_->propertyNames();
}
bool ReportObject::hasProperty(std::string_view property) const {
  return report_->hasProperty(property);
}

bool ReportObject::lastRunHadNoRows() const {
  return report_->hadNoRows();
}

doc::Document ReportObject::run(bool* cancelled, std::shared_ptr<HostServices> host) {
  installFormatter();
  const RegionalScope regional(locale_);
  const frame::RunHost runHost(host.get());
  engine::RunOptions opt;
  opt.measurer = &measurer();
  opt.host = std::move(host);
  opt.pageOpened = pageProgress_;
  opt.packPages = packPages_;
  opt.sink = pageSink_;
  using Clock = std::chrono::steady_clock;
  const auto deadline =
      timeLimit_.count() > 0 ? Clock::now() + timeLimit_ : Clock::time_point::max();
  std::atomic<bool>& cancelled_flag = *cancel_;
  auto stop = [&cancelled_flag, deadline] {
    return cancelled_flag.load(std::memory_order_relaxed) || Clock::now() > deadline;
  };
  opt.stopRequested = stop;
  auto stopped = [&](const std::string& why) {
    ReportRunError err(who(*report_) + ": " + why);
    err.withReport(who(*report_)).withCause(why);
    throw err;
  };
  // Why the run stopped, when something asked it to; empty otherwise.
  auto stopReason = [&]() -> std::string {
    if (cancelled_flag.exchange(false)) return "the run was cancelled";
    if (Clock::now() > deadline)
      return "the run took longer than its time limit of " +
             std::to_string(timeLimit_.count() / 1000.0).substr(0, 5) + " s";
    return {};
  };
  // The data control's connection belongs to this run's scope: a later run opens its own.
  struct Release {
    frame::FrameReport& r;
    ~Release() { r.data().release(); }
  } release{*report_};
  try {
    const db::RunScope scope(report_->workTables(), stop);
    engine::RunResult res = engine::runReport(*report_, opt);
    if (cancelled) *cancelled = res.cancelled;
    res.document.title =
        report_->catalogueName().empty() ? report_->name() : report_->catalogueName();
    return std::move(res.document);
  } catch (const db::DbError& e) {
    if (auto why = stopReason(); !why.empty()) stopped(why);
    std::string msg = who(*report_) + ": " + e.description();
    if (!e.sqlWritten().empty()) msg += "\n  SQL as written:  " + e.sqlWritten();
    if (e.position() >= 0 && static_cast<size_t>(e.position()) < e.sqlWritten().size())
      msg += "\n  at character " + std::to_string(e.position() + 1) + ": " +
             e.sqlWritten().substr(static_cast<size_t>(e.position()), 40);
    if (!e.sqlExecuted().empty() && e.sqlExecuted() != e.sqlWritten())
      msg += "\n  SQL as executed: " + e.sqlExecuted();
    DatabaseError err(msg);
    err.withReport(who(*report_)).withSql(e.sqlWritten(), e.sqlExecuted(), e.position());
    err.withCause(e.description());
    throw err;
  } catch (const std::exception& e) {
    if (auto why = stopReason(); !why.empty()) stopped(why);
    ReportRunError err(who(*report_) + ": " + e.what());
    err.withReport(who(*report_)).withCause(e.what());
    if (const auto* ge = dynamic_cast<const Error*>(&e))
      err.withSql(ge->sqlWritten(), ge->sqlExecuted(), ge->position());
    throw err;
  }
}

std::unique_ptr<ReportObject> Report::GetNewReport(std::string_view name) const {
  linkDesignersOnce();
  auto r = frame::newReport(name);
  if (!r) return nullptr;
  return std::make_unique<ReportObject>(std::move(r));
}

std::vector<CatalogueInfo> Report::catalogue() {
  linkDesignersOnce();
  std::vector<CatalogueInfo> out;
  for (const auto& e : frame::catalogue()) {
    CatalogueInfo info{e.name, e.designer, e.about, e.built(), {}};
    if (info.available)
      if (auto r = frame::newReport(e.name)) info.properties = r->propertyNames();
    out.push_back(std::move(info));
  }
  return out;
}

void writePdf(const doc::Document& d, const std::string& path) {
  output([&] { render::writePdf(d, path); });
}

std::vector<std::string> writePng(const doc::Document& d, const std::string& prefix, double dpi) {
  return output([&] { return render::writePng(d, prefix, dpi); });
}
std::vector<std::string> writeSvg(const doc::Document& d, const std::string& prefix) {
  return output([&] { return render::writeSvg(d, prefix); });
}
void writePdf(const doc::Document& d, std::ostream& out) {
  output([&] { render::writePdf(d, out); });
}
std::vector<unsigned char> pdfBytes(const doc::Document& d) {
  std::ostringstream out;
  writePdf(d, out);
  const std::string s = std::move(out).str();
  return {s.begin(), s.end()};
}
void writePng(const doc::Document& d, std::size_t page, std::ostream& out, double dpi) {
  output([&] { render::writePng(d, page, out, dpi); });
}
void writeSvg(const doc::Document& d, std::size_t page, std::ostream& out) {
  output([&] { render::writeSvg(d, page, out); });
}

const char* version() noexcept {
  return GALVIX_VERSION_STRING;
}

}  // namespace galvix
