// Every catalogue report on the demo database with a log of its statements: each count the data
// layer answers from a grouped query is also run on its own and must answer the same, and each
// statement translates the same from the cache of statement shapes as from scratch.
#include <gtest/gtest.h>

#include <set>

#include "catalogue_runs.h"
#include "db/connection.h"
#include "db/jet/both_ways.h"
#include "db/side_counts.h"
#include "db/sqlite_util.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {

TEST(SideQueries, EveryReportsSideQueriesAnswerAlikeGroupedOrAloneAndTranslateAlikeBothWays) {
  const DemoDatabase demo("side_queries");
  std::size_t reports = 0, grouped = 0;
  std::set<std::string> statements, groupedReports;
  runCatalogue(demo.db, demo.demo,
               [&](const frame::CatalogueEntry& e, const db::SideQueryLog& log) {
                 ++reports;
                 for (const auto& a : log.answers) {
                   EXPECT_EQ(a.grouped.type(), a.alone.type()) << e.name << ": " << a.sql;
                   EXPECT_EQ(a.grouped.toString(), a.alone.toString()) << e.name << ": " << a.sql;
                 }
                 grouped += log.answers.size();
                 if (!log.answers.empty()) groupedReports.insert(e.designer);
                 statements.insert(log.statements.begin(), log.statements.end());
               });
  EXPECT_GE(reports, 30u);
  // The designers that count once per row.
  for (const char* d :
       {"rptGuestList", "rptRSVP", "rptGuestHotel", "rptTravelSummary", "rptGuestADInfo"})
    EXPECT_TRUE(groupedReports.count(d)) << d;
  EXPECT_GT(grouped, 100u);

  auto db = db::openSqliteFile(demo.db);
  db::jet::registerJetFunctions(db.get());
  db::jet::Translator shared(db.get());
  for (const auto& s : statements) EXPECT_EQ(db::testing::compareBothWays(db.get(), shared, s), "");
  EXPECT_GT(statements.size(), 100u);
  EXPECT_GT(shared.reused(), 100u);
}

}  // namespace
}  // namespace galvix::testing
