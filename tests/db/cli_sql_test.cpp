// galvix sql, run as a user runs it. Skipped when the command is not built.
#include <filesystem>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/db_test_util.h"

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
  CommandResult run(const std::string& args) {
    return db::testing::runCommand(exe_.string() + " sql --db '" + f_->path() + "' " + args,
                                   dir_ / "err.txt");
  }
  fs::path exe_, dir_;
  std::unique_ptr<data::Fixture> f_;
};

TEST_F(CliSql, CsvQuotesWhereNeededAndLeavesNullEmpty) {
  CommandResult r =
      run("--csv \"SELECT EventName, EventEndDate, EventID FROM Events ORDER BY EventID\"");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "EventName,EventEndDate,EventID\n"
            "\"Smith, \"\"Jr\"\" Wedding\",,1\n"
            "Plain,,2\n");
}

TEST_F(CliSql, JsonHasOneObjectPerRowInColumnOrder) {
  CommandResult r =
      run("--json \"SELECT EventID, EventName, EventEndDate FROM Events ORDER BY EventID\"");
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

}  // namespace
}  // namespace galvix
