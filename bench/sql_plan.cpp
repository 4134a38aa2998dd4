// The statements one report sends, each with SQLite's plan and its time: for finding which
// statement a report waits on and why.
//
//   ./build/<dir>/bench/sql_plan DB "REPORT NAME" [KEY=VALUE ...]
//     KEY=VALUE replaces {KEY} in the catalogue example settings (PartyID=7 EventID=2 ...).
//   ./build/<dir>/bench/sql_plan DB --file FILE [PARAM ...]
//     runs the SQLite text in FILE with the parameters given (whole numbers bind as integers).
//   SQL_PLAN_PRAGMA="PRAGMA ..." is run on the connection first (to try a setting).
//
// Each distinct statement is printed with how often it ran, the median of 3 replays (ms, CPU),
// its row count and EXPLAIN QUERY PLAN, slowest first.
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench_clock.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "frame/catalogue.h"
#include "galvix/report.h"

using namespace galvix;
using bench::cpuMs;

namespace {

struct Timed {
  double ms = 0;
  long rows = 0;
};

// Runs every logged instance of one text; returns the CPU time of all of them.
Timed run(sqlite3* h, const std::string& sql, const std::vector<std::vector<Variant>>& params) {
  Timed t;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) != SQLITE_OK) {
    std::fprintf(stderr, "prepare failed: %s\n", sqlite3_errmsg(h));
    return t;
  }
  const double c = cpuMs();
  for (const auto& p : params) {
    db::bindParams(st, p);
    while (sqlite3_step(st) == SQLITE_ROW) {
      ++t.rows;
      for (int i = 0; i < sqlite3_column_count(st); ++i) (void)sqlite3_column_text(st, i);
    }
    sqlite3_reset(st);
  }
  t.ms = cpuMs() - c;
  sqlite3_finalize(st);
  return t;
}

void plan(sqlite3* h, const std::string& sql, const std::vector<Variant>& params) {
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(h, ("EXPLAIN QUERY PLAN " + sql).c_str(), -1, &st, nullptr) != SQLITE_OK)
    return;
  db::bindParams(st, params);
  while (sqlite3_step(st) == SQLITE_ROW)
    std::printf("  %3d %3d %s\n", sqlite3_column_int(st, 0), sqlite3_column_int(st, 1),
                reinterpret_cast<const char*>(sqlite3_column_text(st, 3)));
  sqlite3_finalize(st);
}

void report(sqlite3* h, const std::string& sql, const std::vector<std::vector<Variant>>& params) {
  std::vector<double> ms;
  Timed t;
  for (int i = 0; i < 3; ++i) {
    t = run(h, sql, params);
    ms.push_back(t.ms);
  }
  std::sort(ms.begin(), ms.end());
  std::printf("== %zu x, %.1f ms cpu, %ld rows\n%s\n", params.size(), ms[1], t.rows,
              sql.substr(0, 400).c_str());
  plan(h, sql, params.front());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: sql_plan DB \"REPORT\" [KEY=VALUE...] | DB --file F [P...]\n");
    return 2;
  }
  const std::string dbPath = argv[1];
  db::Connection conn;
  conn.open(dbPath);
  sqlite3* h = conn.impl().db();
  // SQL_PLAN_PRAGMA: statements run first on the replaying connection (trying a setting).
  if (const char* pragma = std::getenv("SQL_PLAN_PRAGMA"))
    sqlite3_exec(h, pragma, nullptr, nullptr, nullptr);
  if (std::string(argv[2]) == "--file") {
    std::ifstream in(argv[3]);
    std::stringstream ss;
    ss << in.rdbuf();
    std::vector<Variant> p;
    for (int i = 4; i < argc; ++i) {
      char* end = nullptr;
      long v = std::strtol(argv[i], &end, 10);
      p.push_back(*end ? Variant(std::string(argv[i])) : Variant(static_cast<int32_t>(v)));
    }
    report(h, ss.str(), {p});
    return 0;
  }
  std::map<std::string, std::string> with;
  for (int i = 3; i < argc; ++i) {
    std::string a = argv[i];
    auto eq = a.find('=');
    if (eq != std::string::npos) with["{" + a.substr(0, eq) + "}"] = a.substr(eq + 1);
  }
  const frame::CatalogueEntry* entry = nullptr;
  for (const auto& e : frame::catalogue())
    if (e.name == argv[2]) entry = &e;
  if (!entry) {
    std::fprintf(stderr, "no report %s\n", argv[2]);
    return 2;
  }
  std::vector<db::LoggedStatement> log;
  db::setStatementLog(&log);
  {
    Report factory;
    auto r = factory.GetNewReport(entry->name);
    r->set("ConnectionString", Variant(dbPath));
    for (auto [k, v] : entry->example) {
      for (const auto& [key, val] : with)
        for (size_t p = v.find(key); p != std::string::npos; p = v.find(key, p + val.size()))
          v.replace(p, key.size(), val);
      r->set(k, Variant(v));
    }
    const double c = cpuMs();
    auto d = r->run();
    std::printf("report: %zu pages, %.0f ms cpu\n", d.pages.size(), cpuMs() - c);
  }
  db::setStatementLog(nullptr);
  std::map<std::string, std::vector<std::vector<Variant>>> byText;
  for (auto& l : log) byText[l.sql].push_back(l.params);
  int n = 0;
  for (const auto& [sql, params] : byText) {
    report(h, sql, params);
    // Each text kept for experiments with --file (with the first run's values).
    const std::string file = "/tmp/sql_plan_" + std::to_string(++n) + ".sql";
    std::ofstream(file) << sql;
    std::printf("  -> %s, values:", file.c_str());
    for (const auto& v : params.front()) std::printf(" %s", v.toString().c_str());
    std::printf("\n");
  }
  return 0;
}
