// Jet SQL translation: the cost of translating typical report statements, and the full cost of
// the per-row side count (a new numeric literal each time) through Connection/Recordset against
// SQLite running the equivalent statement, prepared once.
//   ./build/<dir>/bench/jet_bench
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "db/jet/translator.h"

using namespace galvix;

namespace {

constexpr int kParties = 20;

// One event: kParties parties of 50 invitees each.
struct Event {
  std::string path;
  long firstParty = 0;
  Event() {
    path = (std::filesystem::temp_directory_path() /
            ("galvix_jet_bench_" + std::to_string(::getpid()) + ".db"))
               .string();
    data::Fixture f(path);
    f.exec("BEGIN");
    long e = f.event();
    for (int p = 0; p < kParties; ++p) {
      long party = f.party(e, {.name = "Party " + std::to_string(p)});
      if (!firstParty) firstParty = party;
      long g = f.group(e);
      f.invitation(party, g);
      for (int i = 0; i < 50; ++i) f.invite(f.guest(g), party, {.attending = i % 3 != 0});
    }
    f.exec("COMMIT");
  }
  ~Event() { std::filesystem::remove(path); }
};

Event& event() {
  static Event e;
  return e;
}

// The n-th party number asked for: not asked for in the last 100000 calls, so the statement text
// is always new to the connection (most numbers match no party; both sides search the index).
long literal(long n) {
  return event().firstParty + n % 100000;
}

const char* kSideCount = "Select Count(*) as NumInvitees from Invitees Where PartyID = ";

const char* kRsvpRows =
    "SELECT DISTINCTROW PartyDetails.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
    "Parties.Date, Parties.Time, IIF(Trim(Parties.Address & '') = '', '',Parties.Address + "
    "chr(13)) + IIF(Trim(Parties.City & '') = '', '',Parties.City + ', ') + "
    "IIF(Trim(Parties.State & '') = '', '',Parties.State + '  ') + IIF(Trim(Parties.PostalCode & "
    "'') = '', '',Parties.PostalCode) + IIF(Trim(Parties.Country & '') = '', '', chr(13) + "
    "Parties.Country) as Address, Parties.Notes , PartyDetails.GroupID, PartyDetails.FormalLabel, "
    "PartyDetails.RSVPd, PartyDetails.RSVPNote, GuestCategories.Category, PartyDetails.GroupID "
    "FROM (SubEvents INNER JOIN (Parties INNER JOIN (((GroupIDs INNER JOIN GuestNames ON "
    "GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN PartyDetails ON GroupIDs.GroupID = "
    "PartyDetails.GroupID) INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) ON "
    "(Parties.PartyID = PartyDetails.PartyID) AND (Parties.PartyID = Invitees.PartyID)) ON "
    "SubEvents.SubEventID = Parties.SubEventID) LEFT JOIN GuestCategories ON GroupIDs.CategoryID "
    "= GuestCategories.CategoryID WHERE Parties.PartyID = 1 ORDER BY GuestNames.GLName, "
    "GuestNames.GSuffix, GuestNames.GFName";

const char* kMakeTable =
    "SELECT SPCategories.EventID, ExpenseCategories.Category, VendorAssignments.Tax AS TaxRate, "
    "VendorAssignments.Tip AS TipRate, SPCategories.VendorRequired, "
    "VendorAssignments.WorksheetType, Items.PaidBy, Items.Tax, Items.Tip, Items.Item, Items.Qty, "
    "Items.Price, [Price]*[Qty] AS Total, IIf([Items.Tax]=True,[Total]*[TaxRate]*0.01,0) AS "
    "TotalTax, IIf([Items.Tip]=True,[Total]*[TipRate]*0.01,0) AS TotalTip, "
    "[Total]+[TotalTax]+[TotalTip] AS GrandTotal INTO BUDGET_REPORT FROM (VendorAssignments INNER "
    "JOIN Items ON VendorAssignments.VendorAssignmentID = Items.VendorAssignmentID) INNER JOIN "
    "(ExpenseCategories INNER JOIN SPCategories ON ExpenseCategories.CategoryID = "
    "SPCategories.CategoryID) ON VendorAssignments.CategoryID = ExpenseCategories.CategoryID Where "
    "(((SPCategories.EventID) = 1) And ((VendorAssignments.WorkSheetType) = "
    "IIf([SPCategories.VendorRequired] = True, 2, 1) Or (VendorAssignments.WorkSheetType) = 0)) "
    "AND VendorAssignments.EventID = 1";

// Translation from scratch: the translator's memory of earlier statements is dropped each time
// (the schema it reads stays in SQLite's own cache).
void translateFresh(benchmark::State& state, const char* sql) {
  db::Connection conn;
  conn.open(event().path);
  db::jet::Translator t(conn.impl().db());
  for (auto _ : state) {
    t.schemaChanged();
    benchmark::DoNotOptimize(t.translate(sql));
  }
}
void BM_TranslateSideCount(benchmark::State& s) {
  translateFresh(s, (std::string(kSideCount) + "7").c_str());
}
void BM_TranslateRsvpRows(benchmark::State& s) {
  translateFresh(s, kRsvpRows);
}
void BM_TranslateMakeTable(benchmark::State& s) {
  translateFresh(s, kMakeTable);
}

// A statement seen before with other numbers: the tokens are read, the translation reused.
void BM_TranslateNewLiteral(benchmark::State& state) {
  db::Connection conn;
  conn.open(event().path);
  db::jet::Translator t(conn.impl().db());
  long i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(t.translate(std::string(kSideCount) + std::to_string(++i)));
}

// The side count through the library, a literal it has not seen before each time: translate
// (reusing the plan of the same statement), prepare (reused), bind, step, read, close.
void BM_SideCountRecordset(benchmark::State& state) {
  db::Connection conn;
  conn.open(event().path);
  db::Recordset rs;
  long i = 0, sink = 0;
  std::string sql;
  for (auto _ : state) {
    sql = kSideCount;
    sql += std::to_string(literal(i++));
    rs.open(sql, conn);
    sink += rs.fields(0).value().toLong();
    rs.close();
  }
  benchmark::DoNotOptimize(sink);
}

// SQLite alone: the same count written for it, prepared once, bound and stepped each time.
void BM_SideCountSqlite(benchmark::State& state) {
  db::Connection conn;
  conn.open(event().path);
  sqlite3* db = conn.impl().db();
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "SELECT count(*) FROM Invitees WHERE PartyID = ?", -1, &st, nullptr);
  long i = 0, sink = 0;
  for (auto _ : state) {
    sqlite3_bind_int64(st, 1, literal(i++));
    sqlite3_step(st);
    sink += sqlite3_column_int64(st, 0);
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  benchmark::DoNotOptimize(sink);
}

}  // namespace

BENCHMARK(BM_TranslateSideCount);
BENCHMARK(BM_TranslateRsvpRows);
BENCHMARK(BM_TranslateMakeTable);
BENCHMARK(BM_TranslateNewLiteral);
BENCHMARK(BM_SideCountRecordset);
BENCHMARK(BM_SideCountSqlite);
BENCHMARK_MAIN();
