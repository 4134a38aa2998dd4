// The translator writes some statements in a form SQLite's planner serves better (a RIGHT JOIN as
// the LEFT JOIN it equals, numeric GROUP BY terms without the text collation). Every statement
// every catalogue report sends, on the demo database and on a larger generated event, must give
// the same rows in the same order in both forms.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>
#include <set>

#include "catalogue_runs.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "db/jet/translator.h"
#include "db/side_counts.h"
#include "db/sqlite_util.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {

// Every row of a translation, each value with its storage class, in the order SQLite gives them.
std::vector<std::string> rowsOf(sqlite3* db, const db::jet::Translation& t) {
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, t.sql.c_str(), -1, &st, nullptr) != SQLITE_OK)
    return {"prepare: " + std::string(sqlite3_errmsg(db))};
  db::bindParams(st, t.params);
  std::vector<std::string> rows;
  int rc;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
    std::string r;
    for (int i = 0; i < sqlite3_column_count(st); ++i) {
      const int type = sqlite3_column_type(st, i);
      const auto* p = static_cast<const char*>(sqlite3_column_blob(st, i));
      r += std::to_string(type) + ":" +
           (p ? std::string(p, static_cast<size_t>(sqlite3_column_bytes(st, i))) : "") + "|";
    }
    rows.push_back(std::move(r));
  }
  if (rc != SQLITE_DONE) rows.push_back("step: " + std::string(sqlite3_errmsg(db)));
  sqlite3_finalize(st);
  return rows;
}

// Translates each statement both ways and runs both where the texts differ; returns how many
// did. A statement that does not translate is left to the tests of the reports.
int compareForms(const std::string& path, const std::set<std::string>& statements) {
  auto db = db::openSqliteFile(path);
  db::jet::registerJetFunctions(db.get());
  db::jet::Translator planned(db.get()), plain(db.get(), {.planFriendly = false});
  int differing = 0;
  for (const auto& s : statements) {
    db::jet::Translation a, b;
    try {
      a = planned.translate(s);
      b = plain.translate(s);
    } catch (const db::DbError&) {
      continue;
    }
    if (a.sql == b.sql) continue;
    ++differing;
    EXPECT_EQ(a.columnNames, b.columnNames) << s;
    EXPECT_EQ(a.columnTypes, b.columnTypes) << s;
    const auto want = rowsOf(db.get(), b);
    const auto got = rowsOf(db.get(), a);
    EXPECT_EQ(got, want) << "statement: " << s << "\nplanned: " << a.sql << "\nplain: " << b.sql;
    // The seating statements' RIGHT JOINs are all written as LEFT JOINs.
    EXPECT_EQ(a.sql.find(" RIGHT JOIN "), std::string::npos) << a.sql;
  }
  return differing;
}

TEST(PlanForms, EveryReportStatementGivesTheSameRowsInTheSameOrderBothWays) {
  for (int guests : {150, 2000}) {
    SCOPED_TRACE(guests);
    const DemoDatabase ev("plan_forms", {.guests = guests});
    std::set<std::string> statements;
    runCatalogue(ev.db, ev.demo, [&](const frame::CatalogueEntry&, const db::SideQueryLog& log) {
      statements.insert(log.statements.begin(), log.statements.end());
    });
    EXPECT_GT(statements.size(), 100u);
    // The seating reports' unions, the RSVP and party-header counts at least.
    const int differing = compareForms(ev.db, statements);
    EXPECT_GE(differing, 8);
    std::printf("%d guests: %zu statements, %d written differently\n", guests, statements.size(),
                differing);
  }
}

}  // namespace
}  // namespace galvix::testing
