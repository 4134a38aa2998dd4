// galvix sql, run as a user runs it. Skipped when the command is not built.
#include <filesystem>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/db_test_util.h"
#include "runtime/dates.h"

namespace galvix {
namespace {

namespace fs = std::filesystem;
using db::testing::CommandResult;

class CliSql : public ::testing::Test {
 protected:
  void SetUp() override {
    exe_ = fs::path(GALVIX_BINARY_DIR) / "galvix";
    if (!fs::exists(exe_)) GTEST_SKIP() << "galvix is not built";
    dir_ = db::testing::scratch("cli");
    f_ = std::make_unique<data::Fixture>((dir_ / "cli.db").string());
    f_->event({.name = "Smith, \"Jr\" Wedding", .budget = data::money(1500)});
    f_->event({.name = "Plain"});
  }
  void TearDown() override {
    f_.reset();
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  CommandResult run(const std::string& args, const std::string& env = "") {
    return db::testing::runCommand(
        env + " '" + exe_.string() + "' sql --db '" + f_->path() + "' " + args, dir_ / "err.txt");
  }
  fs::path exe_, dir_;
  std::unique_ptr<data::Fixture> f_;
};

TEST_F(CliSql, CsvQuotesWhereNeededJsonKeepsColumnOrderAndNullIsEmpty) {
  CommandResult r =
      run("--csv \"SELECT EventName, EventEndDate, EventID FROM Events ORDER BY EventID\"");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "EventName,EventEndDate,EventID\n\"Smith, \"\"Jr\"\" Wedding\",,1\nPlain,,2\n");
  r = run("--json \"SELECT EventID, EventName, EventEndDate FROM Events ORDER BY EventID\"");
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::ordered_json::parse(r.out);
  ASSERT_EQ(j.size(), 2u);
  EXPECT_EQ(j[0].begin().key(), "EventID");
  EXPECT_EQ(j[1]["EventName"], "Plain");
  EXPECT_TRUE(j[1]["EventEndDate"].is_null());
  EXPECT_EQ(j[1]["EventID"], 2);
}

TEST_F(CliSql, BadInputFailsWithTheMessageAndExplainShowsTheSql) {
  CommandResult r = run("\"SELECT * FROM Guestz\"");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("Guestz"), std::string::npos);
  EXPECT_TRUE(r.out.empty());
  CommandResult e = run("--explain \"SELECT EventName FROM Events\"");
  ASSERT_EQ(e.status, 0) << e.err;
  EXPECT_NE(e.out.find("Events"), std::string::npos);
}

TEST_F(CliSql, ForOtherProgramsIsIso8601WhateverTheLocale) {
  const long p =
      f_->party(f_->event({.name = "Dated"}), {.name = "Dance",
                                               .date = Variant::date(dateSerial(2027, 6, 11)),
                                               .time = Variant::date(timeSerial(19, 5, 0)),
                                               .menuSelectionRequired = true});
  const std::string q =
      " \"SELECT Parties.[Date], Parties.[Time], Parties.MenuSelectionRequired, "
      "1.5 AS X FROM Parties WHERE Parties.PartyID = " +
      std::to_string(p) + "\"";
  CommandResult r = run("--csv" + q, "GALVIX_LOCALE=de-DE");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("2027-06-11,19:05:00,true,1.5\n"), std::string::npos) << r.out;
  r = run("--json" + q, "GALVIX_LOCALE=de-DE");
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j[0]["Date"], "2027-06-11");
  EXPECT_EQ(j[0]["Time"], "19:05:00");
  EXPECT_EQ(j[0]["MenuSelectionRequired"], true);
  // The table people read keeps the locale's forms.
  r = run(q, "GALVIX_LOCALE=de-DE");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("11.06.2027"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace galvix
