// Every catalogue report on the demo database with a log of its statements: each count the data
// layer answers from a grouped query is also run on its own and must answer the same, and each
// statement translates the same from the cache of statement shapes as from scratch.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <set>

#include "data/demo.h"
#include "db/connection.h"
#include "db/jet/both_ways.h"
#include "db/side_counts.h"
#include "db/sqlite_util.h"
#include "frame/catalogue.h"
#include "frame/host.h"
#include "galvix/report.h"

namespace galvix::testing {
namespace {
namespace fs = std::filesystem;

class SideQueries : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("galvix_side_queries_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    path_ = (dir_ / "demo.sqlite").string();
    demo_ = data::writeDemoDatabase(path_);
    db::Connection c;
    c.open(path_);
    db::Recordset rs;
    rs.open("SELECT EventName FROM Events WHERE EventID = " + std::to_string(demo_.weddingEventId),
            c);
    eventName_ = rs.fields(0).value().toString();
    rs.open("SELECT InvoiceID FROM Invoices WHERE EventID = " +
                std::to_string(demo_.weddingEventId) + " ORDER BY InvoiceID",
            c);
    invoice_ = rs.EOF_() ? "0" : rs.fields(0).value().toString();
  }
  void TearDown() override { fs::remove_all(dir_); }

  // The placeholders of the catalogue's examples: the wedding, its reception, its first invoice.
  std::string expand(std::string v) const {
    v = std::regex_replace(v, std::regex("\\{(Quote)?EventID\\}"),
                           std::to_string(demo_.weddingEventId));
    v = std::regex_replace(v, std::regex("\\{(Quote)?EventName\\}"), eventName_);
    v = std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyID\\}"),
                           std::to_string(demo_.receptionPartyId));
    v = std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyName\\}"), "Reception");
    return std::regex_replace(v, std::regex("\\{InvoiceID\\}"), invoice_);
  }

  fs::path dir_;
  std::string path_, eventName_, invoice_;
  data::DemoSummary demo_;
};

TEST_F(SideQueries, EveryReportsSideQueriesAnswerAlikeGroupedOrAloneAndTranslateAlikeBothWays) {
  std::size_t reports = 0, grouped = 0;
  std::set<std::string> statements, groupedReports;
  for (const auto& e : frame::catalogue()) {
    if (!e.built()) continue;
    std::vector<std::vector<std::pair<std::string, std::string>>> sets{e.example};
    for (const auto& [suffix, more] : e.moreExamples) sets.push_back(more);
    for (const auto& props : sets) {
      Report factory;
      auto r = factory.GetNewReport(e.name);
      ASSERT_TRUE(r) << e.name;
      r->set("ConnectionString", Variant(path_));
      for (const auto& [k, v] : props) r->set(k, Variant(expand(v)));
      db::SideQueryLog log;
      bool cancelled = false;
      try {
        r->run(&cancelled, std::make_shared<frame::RecordingHost>());
      } catch (const std::exception& x) {
        ADD_FAILURE() << e.name << ": " << x.what();
      }
      ++reports;
      for (const auto& a : log.answers) {
        EXPECT_EQ(a.grouped.type(), a.alone.type()) << e.name << ": " << a.sql;
        EXPECT_EQ(a.grouped.toString(), a.alone.toString()) << e.name << ": " << a.sql;
      }
      grouped += log.answers.size();
      if (!log.answers.empty()) groupedReports.insert(e.designer);
      statements.insert(log.statements.begin(), log.statements.end());
    }
  }
  EXPECT_GE(reports, 30u);
  // The designers that count once per row.
  for (const char* d :
       {"rptGuestList", "rptRSVP", "rptGuestHotel", "rptTravelSummary", "rptGuestADInfo"})
    EXPECT_TRUE(groupedReports.count(d)) << d;
  EXPECT_GT(grouped, 100u);

  auto db = db::openSqliteFile(path_);
  db::jet::registerJetFunctions(db.get());
  db::jet::Translator shared(db.get());
  for (const auto& s : statements) EXPECT_EQ(db::testing::compareBothWays(db.get(), shared, s), "");
  EXPECT_GT(statements.size(), 100u);
  EXPECT_GT(shared.reused(), 100u);
}

}  // namespace
}  // namespace galvix::testing
