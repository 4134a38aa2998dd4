// Every built catalogue report on demo databases of growing size: per report the pages, galvix's
// time (run and PDF, written while the run goes as the command writes it), the SQLite floor of its
// statements and their ratio (wall time, then CPU time), and the peak memory.
//
// The floor is what SQLite alone takes for the statements the report ran: each run logs the
// statements as SQLite was given them (text and bound values), and the same process then replays
// them on a fresh connection with plain prepare (once per text, as galvix's statement cache
// does), bind, step through every row reading each column, reset. No translation, no values
// converted, nothing laid out: what is left above it is the report engine's own.
// Two floors are printed. "floor" replays what SQLite was given: where galvix answered a count
// run once per row from one grouped query, that query and the answers. "own" replays the
// report's own statements: each such count run on its own, as the report wrote it.
//
// Every run is a process of its own (a fork) so its peak memory is its own; the database of each
// size is written by a process of its own too. The floors come from a second run of the report,
// in a process of its own, that logs its statements. Before the timed run a process writes a
// one-page PDF, so font setup (paid once by a process that renders many reports) is not counted.
//
//   ./build/<dir>/bench/reports_bench [--runs N] [--timeout S] [--report NAME ...]
//                                     [--statements] [guests...]
//   (default: 2000 20000 100000 guests, 3 runs (medians), 300 s per run; --statements prints
//   each distinct statement a report ran, as SQLite got it, with how often, to stderr)
#include <poll.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench_clock.h"
#include "data/demo.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "frame/catalogue.h"
#include "galvix/report.h"

using namespace galvix;
using bench::cpuMs;
using bench::msSince;
namespace fs = std::filesystem;

namespace {

bool g_printStatements = false;

std::string substitute(std::string s, const std::map<std::string, std::string>& ids) {
  for (const auto& [k, v] : ids)
    for (size_t p = s.find(k); p != std::string::npos; p = s.find(k, p + v.size()))
      s.replace(p, k.size(), v);
  return s;
}

// What a child process reports back through its pipe.
struct Result {
  int ok = 0;  // 1 done, 0 failed
  int pages = 0;
  double galvixMs = 0, floorMs = 0, galvixCpu = 0, floorCpu = 0, peakMb = 0;
  double ownMs = 0, ownCpu = 0;  // the floor of the report's own statements
  // The floors and statements come from a logged run, the times and peak from a timed one.
  long statements = 0, replayFailures = 0;
  char error[240] = {};
};

struct DbInfo {
  long weddingEventId = 0, receptionPartyId = 0;
  int partyCount = 0;  // the wedding's parties, in id order (for the all-parties guest list)
  long partyIds[24] = {};
  char partyNames[24][48] = {};
  long roomPlanPartyId = 0, quoteEventId = 0, invoiceId = 0;
  int guests = 0, groups = 0, parties = 0;
  long invitations = 0;
  double ms = 0;
};

// Runs `work` in a child process that writes a T to a pipe; false when it fails or exceeds
// `timeoutS` (the child is then killed).
template <class T, class F>
bool inChild(T& out, int timeoutS, F work) {
  int fds[2];
  if (::pipe(fds) != 0) return false;
  std::fflush(stdout);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    T t = work();
    ssize_t w = ::write(fds[1], &t, sizeof t);
    std::_Exit(w == static_cast<ssize_t>(sizeof t) ? 0 : 1);
  }
  ::close(fds[1]);
  pollfd p{fds[0], POLLIN, 0};
  bool got = false;
  if (::poll(&p, 1, timeoutS * 1000) > 0) {
    char* dst = reinterpret_cast<char*>(&out);
    size_t have = 0;
    while (have < sizeof out) {
      ssize_t r = ::read(fds[0], dst + have, sizeof out - have);
      if (r <= 0) break;
      have += static_cast<size_t>(r);
    }
    got = have == sizeof out;
  }
  if (!got) ::kill(pid, SIGKILL);
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return got;
}

double peakMb() {
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  return static_cast<double>(ru.ru_maxrss) / 1024.0;
}

// SQLite alone on the logged statements: returns the milliseconds; counts failures.
// `own`: the report's own statements (counts alone); otherwise those SQLite was given.
double replay(const std::string& db, const std::vector<db::LoggedStatement>& log, bool own,
              long& failures, double& cpu) {
  using Kind = db::LoggedStatement::Kind;
  db::Connection conn;  // registers the text collation and the functions the SQL calls
  conn.open(db);
  sqlite3* h = conn.impl().db();
  std::unordered_map<std::string, sqlite3_stmt*> prepared;
  const auto t = std::chrono::steady_clock::now();
  const double c = cpuMs();
  for (const auto& s : log) {
    if (s.kind != Kind::Run && (s.kind == Kind::Alone) != own) continue;
    sqlite3_stmt*& st = prepared[s.sql];
    if (!st && sqlite3_prepare_v2(h, s.sql.c_str(), -1, &st, nullptr) != SQLITE_OK) {
      ++failures;
      continue;
    }
    db::bindParams(st, s.params);
    int rc;
    const int n = sqlite3_column_count(st);
    while ((rc = sqlite3_step(st)) == SQLITE_ROW)
      for (int i = 0; i < n; ++i) switch (sqlite3_column_type(st, i)) {
          case SQLITE_INTEGER:
            (void)sqlite3_column_int64(st, i);
            break;
          case SQLITE_FLOAT:
            (void)sqlite3_column_double(st, i);
            break;
          case SQLITE_TEXT:
            (void)sqlite3_column_text(st, i);
            (void)sqlite3_column_bytes(st, i);
            break;
          case SQLITE_BLOB:
            (void)sqlite3_column_blob(st, i);
            (void)sqlite3_column_bytes(st, i);
            break;
          default:
            break;
        }
    if (rc != SQLITE_DONE) ++failures;
    sqlite3_reset(st);
  }
  const double ms = msSince(t);
  cpu = cpuMs() - c;
  for (auto& [sql, st] : prepared) sqlite3_finalize(st);
  return ms;
}

void warmUp(const fs::path& dir) {
  doc::Document d;
  d.pages.emplace_back();
  for (const char* font : {"Arial", "Times New Roman"}) {
    doc::Text t;
    t.box = {720, 720, 5000, 400};
    t.text = "Warm-up: Zoë Ødegård";
    t.font.name = font;
    d.pages.back().items.push_back({.content = t});
  }
  writePdf(d, (dir / "warm.pdf").string());
}

// One report run; with `parties`, one run per party whose pages go one after the other into one
// file, as `galvix render --all-parties` prints them. Timed, or (`logged`) with its statements
// logged and replayed for the floors: the log (a copy of every statement, hundreds of thousands
// at 100,000 guests) would weigh on both the time and the peak memory.
Result runReport(const frame::CatalogueEntry& e, const std::string& db,
                 const std::map<std::string, std::string>& ids, const fs::path& dir, bool logged,
                 const std::vector<std::pair<long, std::string>>& parties = {}) {
  Result res;
  try {
    warmUp(dir);
    Report factory;
    auto make = [&](const std::map<std::string, std::string>& with) {
      auto r = factory.GetNewReport(e.name);
      r->setPackPages(true);  // as the command runs: peak memory is the command's
      r->set("ConnectionString", Variant(db));
      for (const auto& [k, v] : e.example) r->set(k, Variant(substitute(v, with)));
      return r;
    };
    std::vector<db::LoggedStatement> log;
    if (logged) db::setStatementLog(&log);
    auto t = std::chrono::steady_clock::now();
    const double c = cpuMs();
    // As the command writes a PDF file: drawn on the stream's thread while the run goes on.
    PdfStream pdf((dir / ("out" + std::to_string(::getpid()) + ".pdf")).string());
    std::string title;
    auto runInto = [&](const std::map<std::string, std::string>& with) {
      auto r = make(with);
      r->setPageSink(&pdf);
      title = r->run().title;
    };
    if (parties.empty()) {
      runInto(ids);
    } else {
      for (const auto& [id, name] : parties) {
        auto with = ids;
        with["{PartyID}"] = std::to_string(id);
        with["{PartyName}"] = name;
        runInto(with);
      }
    }
    pdf.commit(title);
    res.galvixMs = msSince(t);
    res.galvixCpu = cpuMs() - c;
    db::setStatementLog(nullptr);
    res.peakMb = peakMb();
    res.pages = static_cast<int>(pdf.pageCount());
    res.ok = 1;
    if (!logged) return res;
    res.statements = static_cast<long>(std::count_if(log.begin(), log.end(), [](const auto& l) {
      return l.kind != db::LoggedStatement::Kind::Alone;
    }));
    if (g_printStatements) {
      std::map<std::string, int> seen;
      for (const auto& l : log)
        if (l.kind != db::LoggedStatement::Kind::Alone) ++seen[l.sql];
      for (const auto& [sql, n] : seen)
        std::fprintf(stderr, "-- %s: %d x\n%s;\n", e.name.c_str(), n, sql.c_str());
    }
    res.floorMs = replay(db, log, false, res.replayFailures, res.floorCpu);
    res.ownMs = replay(db, log, true, res.replayFailures, res.ownCpu);
  } catch (const std::exception& ex) {
    std::snprintf(res.error, sizeof res.error, "%s", ex.what());
  }
  return res;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n == 0 ? 0 : n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

void runSize(int guests, int runs, int timeoutS, const std::vector<std::string>& only) {
  const fs::path dir =
      fs::temp_directory_path() / ("galvix_reports_bench_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string db = (dir / "events.sqlite").string();
  DbInfo info;
  const bool written = inChild(info, 3600, [&] {
    DbInfo i;
    const auto t = std::chrono::steady_clock::now();
    data::DemoOptions opt;
    opt.guests = guests;
    const data::DemoSummary s = data::writeDemoDatabase(db, opt);
    i.ms = msSince(t);
    i.weddingEventId = s.weddingEventId;
    i.receptionPartyId = s.receptionPartyId;
    i.guests = s.guests;
    i.groups = s.groups;
    i.parties = s.parties;
    sqlite3* h = nullptr;
    sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    auto one = [&](const std::string& sql) {
      sqlite3_stmt* st = nullptr;
      long v = 0;
      if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
          sqlite3_step(st) == SQLITE_ROW)
        v = static_cast<long>(sqlite3_column_int64(st, 0));
      sqlite3_finalize(st);
      return v;
    };
    i.invitations = one("SELECT count(*) FROM Invitees");
    {
      sqlite3_stmt* st = nullptr;
      const std::string q =
          "SELECT Parties.PartyID, SubEvents.SubEventName FROM Parties JOIN SubEvents ON "
          "SubEvents.SubEventID = Parties.SubEventID WHERE Parties.EventID = " +
          std::to_string(s.weddingEventId) + " ORDER BY Parties.PartyID";
      sqlite3_prepare_v2(h, q.c_str(), -1, &st, nullptr);
      while (sqlite3_step(st) == SQLITE_ROW && i.partyCount < 24) {
        i.partyIds[i.partyCount] = static_cast<long>(sqlite3_column_int64(st, 0));
        const auto* n = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
        std::snprintf(i.partyNames[i.partyCount++], sizeof i.partyNames[0], "%s", n ? n : "");
      }
      sqlite3_finalize(st);
    }
    // The other reports' choices, as `galvix render-all` makes them: the party with the most
    // chairs on a room plan, the event most quotes compare items of, the event's first invoice.
    i.roomPlanPartyId =
        one("SELECT Rooms.PartyID FROM Rooms JOIN RoomObjects ON Rooms.RoomID = RoomObjects.RoomID "
            "JOIN RoomObjectChairs ON RoomObjects.ObjectID = RoomObjectChairs.ObjectID GROUP BY "
            "Rooms.PartyID ORDER BY count(*) DESC");
    i.quoteEventId =
        one("SELECT VendorAssignments.EventID FROM VendorAssignments JOIN Items ON "
            "VendorAssignments.VendorAssignmentID = Items.VendorAssignmentID WHERE "
            "VendorAssignments.WorkSheetType = 2 GROUP BY VendorAssignments.EventID, Items.Item "
            "ORDER BY count(*) DESC, VendorAssignments.EventID");
    i.invoiceId =
        one("SELECT InvoiceID FROM Invoices WHERE EventID = " + std::to_string(s.weddingEventId) +
            " ORDER BY InvoiceID");
    sqlite3_close(h);
    return i;
  });
  if (!written) {
    std::printf("\n%d guests: the database could not be written\n", guests);
    fs::remove_all(dir);
    return;
  }
  std::printf(
      "\n%d wedding guests (%d in all, %d groups, %d parties, %ld invitations): database "
      "written in %.1f s; median of %d run%s\n",
      guests, info.guests, info.groups, info.parties, info.invitations, info.ms / 1000, runs,
      runs == 1 ? "" : "s");
  // Wall time, then CPU time (the steadier figure on a shared machine).
  std::printf("%-40s %6s %9s %8s %6s %9s %8s %6s %7s %6s %7s %7s\n", "report", "pages", "galvix ms",
              "floor ms", "ratio", "galvix cpu", "floor cpu", "ratio", "own ms", "ratio", "peak MB",
              "stmts");
  const std::map<std::string, std::string> ids = {
      {"{EventID}", std::to_string(info.weddingEventId)},
      {"{PartyID}", std::to_string(info.receptionPartyId)},
      {"{PartyName}", "Reception"},
      {"{RoomPlanPartyID}", std::to_string(info.roomPlanPartyId)},
      {"{QuoteEventID}", std::to_string(info.quoteEventId)},
      {"{InvoiceID}", std::to_string(info.invoiceId)}};
  // Every report, and the guest list of every party of the wedding in one file.
  std::vector<std::pair<const frame::CatalogueEntry*, bool>> jobs;
  for (const auto& e : frame::catalogue()) {
    if (!e.built()) continue;
    if (!only.empty() && std::find(only.begin(), only.end(), e.name) == only.end()) continue;
    jobs.push_back({&e, false});
    if (e.name == "Guest List - without notes") jobs.push_back({&e, true});
  }
  std::vector<std::pair<long, std::string>> parties;
  for (int i = 0; i < info.partyCount; ++i)
    parties.push_back({info.partyIds[i], info.partyNames[i]});
  for (const auto& [entry, allParties] : jobs) {
    const frame::CatalogueEntry& e = *entry;
    const std::string label = allParties ? e.name + ", all parties" : e.name;
    std::vector<double> g, f, gc, fc, m, o;
    Result last, lastFloors;
    std::string failure;
    for (int i = 0; i < runs && failure.empty(); ++i) {
      Result r, floors;  // the timed run; the logged one
      auto run = [&](Result& into, bool logged) {
        if (!inChild(into, timeoutS, [&] {
              return runReport(e, db, ids, dir, logged, allParties ? parties : decltype(parties){});
            }))
          failure = "no result within " + std::to_string(timeoutS) + " s";
        else if (!into.ok)
          failure = std::string("failed: ") + into.error;
        return failure.empty();
      };
      if (run(r, false) && run(floors, true)) {
        g.push_back(r.galvixMs);
        gc.push_back(r.galvixCpu);
        m.push_back(r.peakMb);
        f.push_back(floors.floorMs);
        fc.push_back(floors.floorCpu);
        o.push_back(floors.ownMs);
        last = r;
        lastFloors = floors;
      }
    }
    if (!failure.empty()) {
      std::printf("%-40s %s\n", label.c_str(), failure.c_str());
    } else {
      const double gm = median(g), fm = median(f), gcm = median(gc), fcm = median(fc),
                   om = median(o);
      std::printf("%-40s %6d %9.0f %8.0f %5.1fx %10.0f %9.0f %5.1fx %7.0f %5.1fx %7.0f %7ld%s\n",
                  label.c_str(), last.pages, gm, fm, fm > 0 ? gm / fm : 0.0, gcm, fcm,
                  fcm > 0 ? gcm / fcm : 0.0, om, om > 0 ? gm / om : 0.0, median(m),
                  lastFloors.statements,
                  lastFloors.replayFailures ? " (some statements failed on replay)" : "");
    }
    std::fflush(stdout);
  }
  fs::remove_all(dir);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> sizes;
  std::vector<std::string> only;
  int runs = 3, timeoutS = 300;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--runs" && i + 1 < argc)
      runs = std::max(1, std::atoi(argv[++i]));
    else if (a == "--timeout" && i + 1 < argc)
      timeoutS = std::max(1, std::atoi(argv[++i]));
    else if (a == "--statements")
      g_printStatements = true;
    else if (a == "--report" && i + 1 < argc)
      only.push_back(argv[++i]);
    else
      sizes.push_back(std::atoi(a.c_str()));
  }
  if (sizes.empty()) sizes = {2000, 20000, 100000};
  for (int n : sizes) runSize(n, runs, timeoutS, only);
  return 0;
}
