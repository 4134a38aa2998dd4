// Connections, recordsets and commands on a SQLite event database built by the fixture.
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "db/db_test_util.h"

namespace galvix::db {
namespace {

namespace fs = std::filesystem;
using data::Fixture;

using testing::errorOf;

class Db : public ::testing::Test {
 protected:
  Db() : f(testing::scratch("db", "t.db").string()) {}
  ~Db() override { fs::remove_all(fs::path(f.path()).parent_path()); }
  void open() { conn.open(f.connectionString()); }
  Fixture f;
  Connection conn;
};

TEST(ConnectionString, DataSourceForms) {
  EXPECT_EQ(dataSourceOf("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=C:\\x\\e.mdb;Mode=Read"),
            "C:\\x\\e.mdb");
  EXPECT_EQ(dataSourceOf("provider=x; data source = \"/a;b/e.db\" ;Persist Security Info=False"),
            "/a;b/e.db");
  EXPECT_EQ(dataSourceOf("  /tmp/plain.db "), "/tmp/plain.db");
  EXPECT_EQ(errorOf([] { dataSourceOf("Provider=Microsoft.Jet.OLEDB.4.0;"); }).number(),
            kErrConnection);
}

TEST(ConnectionString, WindowsPathsFindLocalFiles) {
  Fixture f(testing::scratch("db", "win.db").string());
  std::string p = f.path();  // absolute: /tmp/...
  std::string windows = "C:" + p;
  for (auto& c : windows)
    if (c == '/') c = '\\';
  Connection conn;
  conn.open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + windows + ";");
  EXPECT_TRUE(conn.isOpen());

  DbError e = errorOf([&] { conn.open("Data Source=C:\\nowhere\\events.db"); });
  EXPECT_EQ(e.number(), kErrConnection);
  EXPECT_NE(e.description().find("C:\\nowhere\\events.db"), std::string::npos);
  EXPECT_FALSE(conn.isOpen());
}

TEST_F(Db, ValuesAreTypedByDeclaredColumnTypes) {
  long e = f.event({.name = "Smith Wedding",
                    .budget = data::money(1234.5678),
                    .start = data::dateTime(2024, 6, 1, 15, 30),
                    .printJournal = true});
  long g = f.group(e);
  f.guest(g, {.first = "Ann", .type = 2, .picture = Variant::binary(Bytes{1, 2, 3})});
  open();
  Recordset rs;
  rs.openNative(
      "SELECT Events.EventID, EventName, Budget, EventStartDate, PrintJournal, EventEndDate, "
      "GuestNames.Type, ContactPic FROM Events JOIN GroupIDs ON GroupIDs.EventID = Events.EventID "
      "JOIN GuestNames ON GuestNames.GroupID = GroupIDs.GroupID",
      conn);
  ASSERT_FALSE(rs.EOF_());
  EXPECT_EQ(rs.fields(0).type(), VarType::Long);
  EXPECT_EQ(rs.fields(0).value().rawInt(), e);
  EXPECT_EQ(rs.value("EventName").rawString(), "Smith Wedding");
  EXPECT_EQ(rs.value("Budget").type(), VarType::Currency);
  EXPECT_EQ(rs.value("Budget").rawCurrency().units, 12345678);
  Variant start = rs.value("EventStartDate");
  EXPECT_EQ(start.type(), VarType::Date);
  EXPECT_DOUBLE_EQ(start.rawDouble(), 45444 + 15.5 / 24);
  EXPECT_EQ(rs.value("PrintJournal").type(), VarType::Boolean);
  EXPECT_TRUE(rs.value("PrintJournal").rawBool());
  EXPECT_EQ(rs.fields("EventEndDate").type(), VarType::Date);  // declared, though Null here
  EXPECT_TRUE(rs.value("EventEndDate").isNull());
  EXPECT_EQ(rs.value("Type").type(), VarType::Integer);
  EXPECT_EQ(rs.value("ContactPic").bytes(), (Bytes{1, 2, 3}));

  // Truth is stored as -1; untyped expressions follow their values; out of range and text
  // values keep their meaning.
  rs.close();  // a reading statement would lock out the writes
  long guest = f.guest(f.group(e));
  f.set("GuestNames", guest, "Age", 40000);                          // too big for a SMALLINT
  f.set("Events", e, "EventTypeID", Variant::dbl(1099511627776.0));  // too big for 32 bits
  f.set("Events", e, "EventEndDate", "14:30");                       // a time written as text
  rs.open("SELECT Age FROM GuestNames WHERE GuestID = " + std::to_string(guest), conn);
  EXPECT_EQ(rs.value("Age").type(), VarType::Long);
  EXPECT_EQ(rs.value("Age").rawInt(), 40000);
  rs.openNative("SELECT PrintJournal + 0 AS raw, 2.5 AS half, 'x' AS t FROM Events", conn);
  EXPECT_EQ(rs.value("raw").rawInt(), -1);
  EXPECT_EQ(rs.value("half").type(), VarType::Double);
  EXPECT_EQ(rs.value("t").type(), VarType::String);
  rs.open("SELECT EventTypeID, EventEndDate FROM Events", conn);
  EXPECT_EQ(rs.value("EventTypeID").type(), VarType::Double);
  EXPECT_EQ(rs.value("EventEndDate").type(), VarType::Date);
  EXPECT_DOUBLE_EQ(rs.value("EventEndDate").rawDouble(), 14.5 / 24);
  rs.close();
  f.exec("UPDATE Events SET EventStartDate = '2024-06-01 12:00:00'");  // a date written as text
  rs.openNative("SELECT EventStartDate FROM Events", conn);
  EXPECT_DOUBLE_EQ(rs.value("EventStartDate").rawDouble(), 45444.5);
  rs.close();
  f.set("Events", e, "EventStartDate", "next week");  // not a date at all
  rs.open("SELECT EventStartDate FROM Events", conn);
  EXPECT_EQ(rs.value("EventStartDate").type(), VarType::String);
}

TEST_F(Db, CursorsAndNavigation) {
  long e = f.event();
  for (const char* n : {"A", "B", "C"}) f.party(e, {.name = n});
  open();
  const char* sql = "SELECT SubEventName FROM SubEvents ORDER BY SubEventName";

  Recordset fwd;
  fwd.open(sql, conn);
  EXPECT_EQ(fwd.recordCount(), -1);
  EXPECT_FALSE(fwd.BOF());
  std::string seen;
  for (; !fwd.EOF_(); fwd.moveNext()) seen += fwd.value("subeventname").rawString();
  EXPECT_EQ(seen, "ABC");
  EXPECT_EQ(errorOf([&] { fwd.moveNext(); }).number(), kErrBofEof);
  EXPECT_EQ(errorOf([&] { fwd.fields(0).value(); }).number(), kErrBofEof);
  fwd.moveFirst();  // runs the query again
  EXPECT_EQ(fwd.value("SubEventName").rawString(), "A");

  Recordset st;
  st.open(sql, conn, CursorType::Static);
  EXPECT_EQ(st.recordCount(), 3);
  st.moveNext();
  st.moveNext();
  EXPECT_EQ(st.value("SubEventName").rawString(), "C");
  st.moveFirst();
  EXPECT_EQ(st.value("SubEventName").rawString(), "A");

  Recordset none;
  none.open("SELECT * FROM Journal", conn, CursorType::Static);
  EXPECT_TRUE(none.BOF());
  EXPECT_TRUE(none.EOF_());
  EXPECT_EQ(none.recordCount(), 0);
  none.close();
  EXPECT_EQ(errorOf([&] { none.EOF_(); }).number(), kErrState);
}

TEST_F(Db, FieldsByNameOrdinalAndChunks) {
  long v = f.vendor();
  Bytes logo(1000);
  for (std::size_t i = 0; i < logo.size(); ++i) logo[i] = static_cast<std::uint8_t>(i);
  f.image(v, logo);
  f.image(v, Bytes{9, 9});
  open();
  for (CursorType cursor : {CursorType::ForwardOnly, CursorType::Static}) {
    Recordset rs;
    rs.open("SELECT ImageBLOB, VendorID FROM ImageLibrary ORDER BY ImageID", conn, cursor);
    EXPECT_EQ(&rs.fields("imageblob"), &rs.fields(0));
    EXPECT_EQ(rs.fields(1).name(), "VendorID");
    EXPECT_EQ(errorOf([&] { rs.fields("Nope"); }).number(), kErrItemNotFound);
    EXPECT_EQ(errorOf([&] { rs.fields(2); }).number(), kErrItemNotFound);

    Field& pic = rs.fields("ImageBLOB");
    EXPECT_EQ(pic.actualSize(), 1000);
    EXPECT_EQ(rs.fields(1).actualSize(), 4);
    Bytes joined;
    for (Bytes chunk; !(chunk = pic.getChunk(300)).empty();)
      joined.insert(joined.end(), chunk.begin(), chunk.end());
    EXPECT_EQ(joined, logo);
    rs.moveNext();  // the next row reads from its start
    EXPECT_EQ(pic.getChunk(300), (Bytes{9, 9}));
  }
}

TEST_F(Db, ErrorsNameWhatIsWrong) {
  f.event();
  open();
  Recordset rs;
  DbError table = errorOf([&] { rs.openNative("SELECT * FROM Eventz", conn); });
  EXPECT_EQ(table.number(), kErrNoSuchObject);
  EXPECT_NE(table.description().find("'Eventz'"), std::string::npos);
  EXPECT_EQ(table.sqlWritten(), "SELECT * FROM Eventz");
  EXPECT_FALSE(table.sqlExecuted().empty());

  DbError column = errorOf([&] { rs.openNative("SELECT Nonsense FROM Events", conn); });
  EXPECT_EQ(column.number(), kErrNoSuchColumn);
  EXPECT_NE(column.description().find("Nonsense"), std::string::npos);

  DbError syntax = errorOf([&] { rs.openNative("SELECT EventName FROM Events WHERE", conn); });
  EXPECT_EQ(syntax.number(), kErrSyntax);
  EXPECT_FALSE(rs.isOpen());

  Connection closed;
  EXPECT_EQ(errorOf([&] { closed.execute("DROP TABLE X"); }).number(), kErrState);
  Command cmd;
  cmd.setCommandText("DROP TABLE X");
  EXPECT_EQ(errorOf([&] { cmd.execute(); }).number(), kErrState);
}

TEST_F(Db, WorkTablesAndStatementsThatRunTogetherOrNotAtAll) {
  long e = f.event();
  long v = f.vendor({.company = "Blooms"});
  f.assignment(e, f.expenseCategory("Flowers"), v);
  open();
  Command cmd(conn,
              "SELECT VendorID, CompanyName INTO VENDOR_SUMMARY FROM Vendors ORDER BY CompanyName");
  cmd.execute();
  DbError exists = errorOf([&] { cmd.execute(); });
  EXPECT_EQ(exists.number(), kErrSyntax);
  EXPECT_EQ(exists.description(), "Table 'VENDOR_SUMMARY' already exists.");

  Recordset rs;
  rs.open("SELECT CompanyName FROM VENDOR_SUMMARY", conn);
  EXPECT_EQ(rs.value("CompanyName").rawString(), "Blooms");
  rs.close();
  conn.execute("DROP TABLE VENDOR_SUMMARY");
  // The same text now has a different table behind it: no stale plan survives the drop.
  conn.executeNative("CREATE TABLE VENDOR_SUMMARY (Other TEXT)");
  rs.open("SELECT * FROM VENDOR_SUMMARY", conn);
  EXPECT_EQ(rs.fields(0).name(), "Other");

  // Statements run together or not at all; an action opens nothing.
  Recordset action;
  action.openNative("UPDATE Events SET EventName = 'Renamed'", conn);
  EXPECT_FALSE(action.isOpen());
  EXPECT_EQ(conn.executeNative("UPDATE Events SET EventName = 'Renamed'"), 1);
  DbError e2 = errorOf([&] {
    conn.executeNative("CREATE TABLE BUDGET_REPORT (Item TEXT); INSERT INTO Nowhere VALUES (1)");
  });
  EXPECT_EQ(e2.number(), kErrNoSuchObject);
  // The create was undone with the failed insert, so the work table can be made again.
  EXPECT_EQ(errorOf([&] { rs.open("SELECT * FROM BUDGET_REPORT", conn); }).number(),
            kErrNoSuchObject);
  EXPECT_EQ(conn.executeNative("CREATE TABLE BUDGET_REPORT (Item TEXT); "
                               "INSERT INTO BUDGET_REPORT SELECT EventName FROM Events"),
            1);
  rs.open("SELECT Item FROM BUDGET_REPORT", conn);
  EXPECT_EQ(rs.value("Item").rawString(), "Renamed");
}

TEST_F(Db, StatementsAreReusedAndNeverSharedBetweenOpenRecordsets) {
  long e = f.event();
  f.party(e, {.name = "A"});
  f.party(e, {.name = "B"});
  open();
  const char* sql = "SELECT SubEventName FROM SubEvents ORDER BY SubEventName";
  auto& cache = *conn.impl().statements();
  Recordset a, b;
  a.open(sql, conn);
  b.open(sql, conn);  // the first is still stepping: a second statement
  a.moveNext();
  EXPECT_EQ(a.value("SubEventName").rawString(), "B");
  EXPECT_EQ(b.value("SubEventName").rawString(), "A");
  std::size_t misses = cache.misses();
  a.close();
  b.close();
  for (int i = 0; i < 5; ++i) {
    a.open(sql, conn);
    a.close();
  }
  EXPECT_EQ(cache.misses(), misses);

  // A recordset outlives its connection and keeps reading.
  a.open(sql, conn);
  conn.close();
  a.moveNext();
  EXPECT_EQ(a.value("SubEventName").rawString(), "B");
  // Reopening (without a close) replaces the fields; a closed connection opens again.
  open();
  a.open("SELECT SubEventID AS Id FROM SubEvents ORDER BY SubEventID", conn);
  EXPECT_EQ(a.fieldCount(), 1);
  EXPECT_EQ(errorOf([&] { a.fields("SubEventName"); }).number(), kErrItemNotFound);
  EXPECT_EQ(a.value("ID").rawInt(), 1);
}

// Each run makes its work table as its own: two threads making and reading the same table name
// over one database file never see each other's rows, and nothing is left in the file.
TEST(RunScope, WorkTablesBelongToTheirRunAndLeaveNothingBehind) {
  const fs::path file = testing::scratch("db", "scope.db");
  {
    Fixture f(file.string());
    f.expenseCategory("Flowers");
    f.expenseCategory("Music");
  }
  const std::string cs = file.string();
  auto runs = [&](const char* category, int times, int* wrong) {
    for (int i = 0; i < times; ++i) try {
        RunScope scope({"BUDGET_REPORT"});
        Connection maker;
        maker.open(cs);
        maker.execute(std::string("SELECT Category INTO BUDGET_REPORT FROM ExpenseCategories WHERE "
                                  "Category = '") +
                      category + "'");
        maker.close();  // as the report does: closed and opened again
        maker.open(cs);
        Connection reader;  // another connection of the same run sees the table
        reader.open(cs);
        Recordset rs;
        rs.open("SELECT Count(*) AS N, Min(Category) AS C FROM BUDGET_REPORT", reader);
        if (rs.value("N").toLong() != 1 || rs.value("C").toString() != category) ++*wrong;
        rs.close();
        maker.execute("DROP TABLE BUDGET_REPORT");
      } catch (const DbError&) {
        ++*wrong;  // "already exists", "does not exist": another run's table
      }
  };
  int wrongA = 0, wrongB = 0;
  std::thread a(runs, "Flowers", 50, &wrongA), b(runs, "Music", 50, &wrongB);
  a.join();
  b.join();
  EXPECT_EQ(wrongA, 0);
  EXPECT_EQ(wrongB, 0);

  // A run that ends without dropping its table leaves the database as it was.
  {
    RunScope scope({"BUDGET_REPORT"});
    Connection c;
    c.open(cs);
    c.execute("SELECT Category INTO BUDGET_REPORT FROM ExpenseCategories");
  }
  Connection outside;
  outside.open(cs);
  EXPECT_EQ(errorOf([&] { outside.execute("DROP TABLE BUDGET_REPORT"); }).number(),
            kErrNoSuchObject);
  // Tables not named as work tables are made in the database, as before.
  {
    RunScope scope({"BUDGET_REPORT"});
    Connection c;
    c.open(cs);
    c.execute("SELECT Category INTO VENDOR_SUMMARY FROM ExpenseCategories");
  }
  EXPECT_NO_THROW(outside.execute("DROP TABLE VENDOR_SUMMARY"));
}

// A work table the user keeps: copied from the run into the file, with its column types,
// replacing the file's table of that name; a table the run did not make is not touched.
TEST(RunScope, AKeptWorkTableIsCopiedIntoTheFile) {
  const fs::path file = testing::scratch("db", "keep.db");
  {
    Fixture f(file.string());
    f.budgetLine(f.event(), f.expenseCategory("Flowers"), {.budget = data::money(12.5)});
    f.exec("CREATE TABLE VENDOR_SUMMARY (Old TEXT)");
  }
  const std::string cs = file.string();
  {
    RunScope scope({"VENDOR_SUMMARY"});
    Connection c;
    c.open(cs);
    EXPECT_NO_THROW(c.keepWorkTable("VENDOR_SUMMARY"));  // not made yet: nothing happens
    c.execute("DROP TABLE VENDOR_SUMMARY");
    c.execute("SELECT Budget INTO VENDOR_SUMMARY FROM SPCategories");
    c.keepWorkTable("vendor_summary");
  }
  Connection outside;
  outside.open(cs);
  Recordset rs;
  rs.open("SELECT Budget FROM VENDOR_SUMMARY", outside);
  ASSERT_FALSE(rs.EOF_());
  EXPECT_EQ(rs.value("Budget").type(), VarType::Currency);
  EXPECT_EQ(rs.value("Budget").toDouble(), 12.5);
}

// Mistakes people make, told in their terms.
TEST(Messages, EmptyFilesFoldersAndOverwideResultsSayWhatIsWrong) {
  const fs::path empty = testing::scratch("db", "empty.sqlite");
  { std::ofstream touch(empty); }
  Connection c;
  DbError e = errorOf([&] { c.open(empty.string()); });
  EXPECT_NE(e.description().find("the file is empty"), std::string::npos) << e.description();

  const fs::path folder = testing::scratch("db", "folder.mdb");
  fs::create_directories(folder);
  e = errorOf([&] { c.open(folder.string()); });
  EXPECT_NE(e.description().find("it is a folder"), std::string::npos) << e.description();

  const fs::path good = testing::scratch("db", "wide.sqlite");
  { Fixture f(good.string()); }
  c.open(good.string());
  std::string wide = "SELECT 1 AS c0";
  for (int i = 1; i < 2100; ++i) wide += ", 1 AS c" + std::to_string(i);
  Recordset rs;
  e = errorOf([&] { rs.open(wide, c); });
  EXPECT_NE(e.description().find("Too many fields defined"), std::string::npos) << e.description();
}

}  // namespace
}  // namespace galvix::db
