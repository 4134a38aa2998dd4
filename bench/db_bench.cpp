// The cost of the per-row side query every guest report runs ("how many of this party's guests
// attend"), through Connection/Recordset, against SQLite running the same statement itself.
//   ./build/<dir>/bench/db_bench [iterations]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/connection_impl.h"

using namespace galvix;

namespace {

constexpr int kParties = 20;

template <class F>
double nsPerOp(int n, F&& f) {
  for (int i = 0; i < n / 10 + 1; ++i) f(i);  // warm caches
  auto t0 = std::chrono::steady_clock::now();
  for (int i = 0; i < n; ++i) f(i);
  auto t1 = std::chrono::steady_clock::now();
  return std::chrono::duration<double, std::nano>(t1 - t0).count() / n;
}

std::string sideQuery(long party) {
  return "SELECT Count(*) AS N FROM Invitees WHERE Invitees.PartyID = " + std::to_string(party) +
         " AND Invitees.Attending = True";
}

}  // namespace

int main(int argc, char** argv) {
  int n = argc > 1 ? std::atoi(argv[1]) : 20000;
  auto path = std::filesystem::temp_directory_path() /
              ("galvix_db_bench_" + std::to_string(::getpid()) + ".db");
  long firstParty = 0;
  {
    data::Fixture f(path.string());
    f.exec("BEGIN");
    long e = f.event();
    for (int p = 0; p < kParties; ++p) {
      long party = f.party(e, {.name = "Party " + std::to_string(p)});
      if (!firstParty) firstParty = party;
      long g = f.group(e);
      for (int i = 0; i < 50; ++i) f.invite(f.guest(g), party, {.attending = i % 3 != 0});
    }
    f.exec("COMMIT");
  }

  db::Connection conn;
  conn.open(path.string());
  db::Recordset rs;
  long sink = 0;

  // Through the library: translate (or reuse), prepare (or reuse), step, read, close.
  double cached = nsPerOp(n, [&](int i) {
    rs.open(sideQuery(firstParty + i % kParties), conn);
    sink += rs.fields(0).value().rawInt();
    rs.close();
  });
  // Every text new to the connection: the translation cannot come from its cache.
  int fresh = 0;
  double uncached = nsPerOp(n, [&](int) {
    rs.open(sideQuery(1000000 + fresh++), conn);
    sink += rs.fields(0).value().rawInt();
    rs.close();
  });

  // SQLite on its own running the same translated statement, prepared once.
  sqlite3* db = conn.impl().db();
  auto plan = conn.impl().plan(sideQuery(firstParty));
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, plan->sql.c_str(), -1, &st, nullptr);
  double raw = nsPerOp(n, [&](int i) {
    std::vector<Variant> params = plan->params;
    if (!params.empty()) params[0] = Variant::longInt(firstParty + i % kParties);
    db::bindParams(st, params);
    sqlite3_step(st);
    sink += sqlite3_column_int64(st, 0);
    sqlite3_reset(st);
  });
  sqlite3_finalize(st);
  // The query as one would write it for SQLite by hand, prepared once.
  std::string literal =
      "SELECT Count(*) AS N FROM Invitees WHERE Invitees.PartyID = ?1 AND "
      "Invitees.Attending = -1";
  sqlite3_prepare_v2(db, literal.c_str(), -1, &st, nullptr);
  double hand = nsPerOp(n, [&](int i) {
    sqlite3_bind_int64(st, 1, firstParty + i % kParties);
    sqlite3_step(st);
    sink += sqlite3_column_int64(st, 0);
    sqlite3_reset(st);
  });
  sqlite3_finalize(st);
  // SQLite preparing the literal text each time (what running without a plan cache costs).
  double rawPrepare = nsPerOp(n, [&](int i) {
    std::string sql = "SELECT Count(*) FROM Invitees WHERE PartyID = " +
                      std::to_string(firstParty + i % kParties) + " AND Attending = -1";
    sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr);
    sqlite3_step(st);
    sink += sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
  });

  std::printf("side query, %d parties x 50 invitees, %d iterations\n", kParties, n);
  std::printf("%-52s %10s\n", "case", "us/query");
  std::printf("%-52s %10.2f\n", "sqlite: same statement prepared once, bind+step+read", raw / 1000);
  std::printf("%-52s %10.2f\n", "sqlite: hand-written equivalent, prepared once", hand / 1000);
  std::printf("%-52s %10.2f\n", "sqlite: prepare+step+read+finalize each time", rawPrepare / 1000);
  std::printf("%-52s %10.2f\n", "recordset: repeated texts (translation cached)", cached / 1000);
  std::printf("%-52s %10.2f\n", "recordset: new text each time (translated)", uncached / 1000);
  std::printf("overhead over prepared-once sqlite: %.2f us (cached), %.2f us (translated)\n",
              (cached - raw) / 1000, (uncached - raw) / 1000);
  std::printf("statement cache: %zu hits, %zu misses; sqlite sql: %s\n",
              conn.impl().statements()->hits(), conn.impl().statements()->misses(),
              plan->sql.c_str());
  rs.close();
  conn.close();
  std::filesystem::remove(path);
  return sink == 42 ? 1 : 0;
}
