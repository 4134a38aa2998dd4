// galvix import, run as a user runs it. Skipped when the command or the samples are absent.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "db/access/samples.h"
#include "db/connection.h"
#include "db/db_test_util.h"

namespace galvix::db {
namespace {

namespace fs = std::filesystem;

class CliImport : public ::testing::Test {
 protected:
  void SetUp() override {
    exe_ = fs::path(GALVIX_BINARY_DIR) / "galvix";
    if (!fs::exists(exe_)) GTEST_SKIP() << "galvix is not built";
    sample_ = galvix::testing::accessSamples() / "Northwind_jet4.mdb";
    if (!fs::exists(sample_)) GALVIX_MISSING_ACCESS_SAMPLE(sample_.string());
    dir_ = testing::scratch("import");
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  int run(const fs::path& source, const fs::path& target, std::string& out) {
    auto r = testing::runCommand(exe_.string() + " import --force '" + source.string() + "' '" +
                                 target.string() + "' 2>&1");
    out += r.out;
    return r.status;
  }
  fs::path exe_, sample_, dir_;
};

TEST_F(CliImport, WritesTablesAndViewsAndListsSkippedQueries) {
  fs::path target = dir_ / "northwind.sqlite";
  std::ofstream(target) << "an older file";
  std::string out;
  ASSERT_EQ(run(sample_, target, out), 0) << out;
  EXPECT_NE(out.find("8 tables, 3202 rows"), std::string::npos) << out;
  EXPECT_NE(out.find("skipped 'Sales by Year': it asks for parameters"), std::string::npos) << out;

  Connection conn;
  conn.open(target.string());
  Recordset rs;
  rs.open(
      "SELECT Count(*) AS N FROM [Order Subtotals] INNER JOIN Orders ON "
      "Orders.OrderID = [Order Subtotals].OrderID",
      conn);
  EXPECT_EQ(rs.value("N").toString(), "830");
  rs.open("SELECT UnitPrice FROM Products WHERE ProductID = 5", conn);
  EXPECT_EQ(rs.value("UnitPrice").type(), VarType::Currency);
}

TEST_F(CliImport, AFailedImportLeavesTheTargetAsItWas) {
  fs::path bad = dir_ / "bad.mdb";
  std::ofstream(bad) << "not a database";
  fs::path target = dir_ / "keep.sqlite";
  std::ofstream(target) << "keep me";
  std::string out;
  EXPECT_EQ(run(bad, target, out), 1);
  EXPECT_NE(out.find(bad.string()), std::string::npos) << out;
  std::ifstream in(target);
  std::string kept((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(kept, "keep me");
  int files = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir_)) ++files;
  EXPECT_EQ(files, 2);  // no temporary file left behind

  out.clear();
  EXPECT_EQ(run(sample_, dir_ / "missing" / "x.sqlite", out), 1);
  EXPECT_NE(out.find("Cannot write"), std::string::npos) << out;
}

}  // namespace
}  // namespace galvix::db
