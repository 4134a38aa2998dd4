// galvix sql, run as a user runs it. Skipped when the command is not built.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include <gtest/gtest.h>

#include "data/fixture.h"

namespace galvix {
namespace {

namespace fs = std::filesystem;

struct Result {
  int status;
  std::string out, err;
};

class CliSql : public ::testing::Test {
 protected:
  void SetUp() override {
    exe_ = fs::path(GALVIX_BINARY_DIR) / "galvix";
    if (!fs::exists(exe_)) GTEST_SKIP() << "galvix is not built";
    dir_ = fs::temp_directory_path() / ("galvix_cli_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    f_ = std::make_unique<data::Fixture>((dir_ / "cli.db").string());
    long e = f_->event({.name = "Smith, \"Jr\" Wedding", .budget = data::money(1500)});
    f_->event({.name = "Plain"});
    (void)e;
  }
  void TearDown() override {
    f_.reset();
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  Result run(const std::string& args) {
    std::string err = (dir_ / "err.txt").string();
    std::string cmd = exe_.string() + " sql --db '" + f_->path() + "' " + args + " 2>" + err;
    Result r;
    FILE* p = popen(cmd.c_str(), "r");
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
    int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    std::ifstream in(err);
    std::stringstream ss;
    ss << in.rdbuf();
    r.err = ss.str();
    return r;
  }
  fs::path exe_, dir_;
  std::unique_ptr<data::Fixture> f_;
};

TEST_F(CliSql, AnUnknownLocaleInTheEnvironmentIsAUsageErrorNamingIt) {
  ::setenv("GALVIX_LOCALE", "de-AT", 1);
  const Result r = run("\"SELECT EventName FROM Events\"");
  ::unsetenv("GALVIX_LOCALE");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("GALVIX_LOCALE \"de-AT\""), std::string::npos) << r.err;
}

TEST_F(CliSql, CsvQuotesWhereNeededAndLeavesNullEmpty) {
  Result r = run("--csv \"SELECT EventName, EventEndDate, EventID FROM Events ORDER BY EventID\"");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "EventName,EventEndDate,EventID\n"
            "\"Smith, \"\"Jr\"\" Wedding\",,1\n"
            "Plain,,2\n");
}

TEST_F(CliSql, JsonHasOneObjectPerRowInColumnOrder) {
  Result r = run("--json \"SELECT EventID, EventName, EventEndDate FROM Events ORDER BY EventID\"");
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::ordered_json::parse(r.out);
  ASSERT_EQ(j.size(), 2u);
  EXPECT_EQ(j[0].begin().key(), "EventID");
  EXPECT_EQ(j[1]["EventName"], "Plain");
  EXPECT_TRUE(j[1]["EventEndDate"].is_null());
  EXPECT_EQ(j[1]["EventID"], 2);
}

TEST_F(CliSql, BadInputFailsWithTheMessageAndExplainShowsTheSql) {
  Result r = run("\"SELECT * FROM Guestz\"");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("Guestz"), std::string::npos);
  EXPECT_TRUE(r.out.empty());
  Result e = run("--explain \"SELECT EventName FROM Events\"");
  ASSERT_EQ(e.status, 0) << e.err;
  EXPECT_NE(e.out.find("Events"), std::string::npos);
}

}  // namespace
}  // namespace galvix
