// Rows from a real database through the data control: the query opened at ReportStart is the
// one the run reads, and subreports created per row share the parent's connection.

#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "db/connection.h"
#include "engine_test_util.h"

namespace galvix::engine {
namespace {

using test::allTexts;
using test::layoutOf;

class SqliteSource : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() /
            ("galvix_engine_" + std::to_string(::getpid()) + ".sqlite");
    std::filesystem::remove(path_);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &db), SQLITE_OK);
    const char* sql =
        "CREATE TABLE Parties (PartyID INTEGER, PartyName TEXT);"
        "CREATE TABLE Guests (GuestID INTEGER, PartyID INTEGER, Name TEXT);"
        "INSERT INTO Parties VALUES (1, 'Dinner'), (2, 'Brunch');"
        "INSERT INTO Guests VALUES (1, 1, 'Ann'), (2, 1, 'Bob'), (3, 2, 'Cy');";
    ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  void TearDown() override { std::filesystem::remove(path_); }
  std::filesystem::path path_;
};

class Guests : public Report {
 public:
  explicit Guests(int party)
      : Report(layoutOf(R"J({"version": 1, "name": "srptGuests", "sections": [
          {"kind": "detail", "name": "Detail", "height": 200, "controls": [
            {"kind": "field", "name": "txtGuest", "dataField": "Name", "width": 1000, "height": 200}]}]})J")),
        party_(party) {}
  void onReportStart() override {
    data().setSource("SELECT Name FROM Guests WHERE PartyID = " + std::to_string(party_) +
                     " ORDER BY GuestID");
  }
  int party_;
};

TEST_F(SqliteSource, ParentRowsPerRowSubreportsAndBadSql) {
  class Parties : public Report {
   public:
    explicit Parties(std::string cs)
        : Report(layoutOf(R"J({"version": 1, "name": "rptParties", "sections": [
            {"kind": "detail", "name": "Detail", "height": 300, "controls": [
              {"kind": "field", "name": "txtParty", "dataField": "PartyName", "width": 1000, "height": 300},
              {"kind": "subReport", "name": "srptGuests", "left": 1000, "width": 2000, "height": 100}]}]})J")) {
      data().setConnectionString(std::move(cs));
      onFormat("Detail", [this] {
        auto child = std::make_shared<Guests>(data().recordset().value("PartyID").toLong());
        subReport("srptGuests").setReport(child);
      });
    }
    void onReportStart() override {
      data().setSource("SELECT PartyID, PartyName FROM Parties ORDER BY PartyID");
      columns = data().recordset().fieldCount();
      first = data().recordset().value("PartyName").toString();
    }
    int columns = 0;
    std::string first;
  } r(path_.string());
  auto res = test::run(r);
  EXPECT_EQ(r.columns, 2);
  EXPECT_EQ(r.first, "Dinner");
  EXPECT_EQ(allTexts(res.document, "txtParty"), (test::Strings{"Dinner", "Brunch"}));
  EXPECT_EQ(allTexts(res.document, "txtGuest"), (test::Strings{"Ann", "Bob", "Cy"}));

  // Bad SQL fails the run with the database's error.
  auto bad = test::report(R"({"kind": "detail", "name": "Detail", "height": 300})");
  bad->data().setConnectionString(path_.string());
  bad->data().setSource("SELECT Nope FROM Guests");
  EXPECT_THROW(test::run(*bad), db::DbError);
}

}  // namespace
}  // namespace galvix::engine
