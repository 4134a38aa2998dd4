// The event schema read back through the data access layer.
#include <gtest/gtest.h>

#include "data/fixture.h"
#include "data/schema.h"
#include "db/connection.h"
#include "db/db_test_util.h"

namespace galvix::data {
namespace {

class Schema : public ::testing::Test {
 protected:
  Schema() : f(db::testing::testDb("schema")) {}
  db::Recordset& query(const std::string& sql) {
    if (!conn.isOpen()) conn.open(f.connectionString());
    rs.openNative(sql, conn, db::CursorType::Static);
    return rs;
  }
  Fixture f;
  db::Connection conn;
  db::Recordset rs;
};

TEST_F(Schema, EveryColumnReadsBackWithTheTypeOfItsKind) {
  for (const auto& t : eventTables()) {
    auto& r = query("SELECT * FROM [" + std::string(t.name) + "]");
    ASSERT_EQ(r.fieldCount(), static_cast<int>(t.columns.size())) << t.name;
    for (std::size_t i = 0; i < t.columns.size(); ++i) {
      const auto& c = t.columns[i];
      auto& field = r.fields(static_cast<int>(i));
      EXPECT_EQ(field.name(), c.name) << t.name;
      VarType want = c.kind == Kind::Id || c.kind == Kind::Long     ? VarType::Long
                     : c.kind == Kind::Short                        ? VarType::Integer
                     : c.kind == Kind::Truth                        ? VarType::Boolean
                     : c.kind == Kind::Date || c.kind == Kind::Time ? VarType::Date
                     : c.kind == Kind::Double                       ? VarType::Double
                     : c.kind == Kind::Currency                     ? VarType::Currency
                     : c.kind == Kind::Picture                      ? VarType::Binary
                                                                    : VarType::String;
      EXPECT_EQ(field.type(), want) << t.name << "." << c.name;
    }
  }
}

TEST_F(Schema, TextComparesGroupsAndSortsWithoutCase) {
  long e = f.event();
  long g = f.group(e);
  f.guest(g, {.first = "élodie", .last = "smith"});
  f.guest(g, {.first = "Élodie", .last = "SMITH"});
  f.guest(g, {.first = "bob", .last = "Adams"});
  f.guest(g, {.first = "Carl", .last = "adams"});
  EXPECT_EQ(query("SELECT GuestID FROM GuestNames WHERE GLName = 'Smith'").recordCount(), 2);
  EXPECT_EQ(query("SELECT DISTINCT GFName FROM GuestNames").recordCount(), 3);
  auto& r = query("SELECT GFName FROM GuestNames ORDER BY GFName");
  std::string order;
  for (; !r.EOF_(); r.moveNext()) order += r.value("GFName").rawString().substr(0, 1);
  EXPECT_EQ(order.substr(0, 2), "bC");
}

TEST_F(Schema, AttendanceViewHasOneRowPerAttendingGuestAndParty) {
  long e = f.event();
  long other = f.event({.name = "Other"});
  long dinner = f.party(e, {.name = "Dinner"});
  long brunch = f.party(e, {.name = "Brunch"});
  long nobody = f.party(e, {.name = "Picnic"});
  long unnamed = f.party(e, {.name = ""});
  long g = f.group(e, {.category = "Friends"});
  long ann = f.guest(g, {.first = "Ann", .last = "Lee"});
  long bo = f.guest(g, {.first = "", .last = "Bo"});
  long cy = f.guest(g, {.first = "Cy", .last = "Diaz"});
  f.invite(ann, dinner);
  f.invite(ann, brunch);
  f.invite(ann, unnamed);
  f.invite(bo, dinner);
  f.invite(bo, nobody, {.attending = false});
  f.invite(cy, nobody, {.attending = false});
  f.invite(f.guest(f.group(other)), f.party(other));

  auto& r = query(
      "SELECT EventID, Category, Name, SubEventName, Attending FROM GuestPartyAttendance "
      "WHERE EventID = " +
      std::to_string(e) + " ORDER BY Name, SubEventName");
  std::vector<std::string> rows;
  for (; !r.EOF_(); r.moveNext()) {
    Variant party = r.value("SubEventName");
    rows.push_back(r.value("Name").rawString() + "/" +
                   (party.isNull() ? "<null>" : party.rawString()) + "/" +
                   r.value("Category").rawString());
    EXPECT_EQ(r.value("Attending").type(), VarType::Boolean);
    EXPECT_TRUE(r.value("Attending").rawBool());
  }
  EXPECT_EQ(rows, (std::vector<std::string>{"Ann Lee/<null>/Friends", "Ann Lee/Brunch/Friends",
                                            "Ann Lee/Dinner/Friends", "Bo/Dinner/Friends"}));
}

// Columns never written read Null, except truth columns, which are false.
TEST_F(Schema, UnsetValuesAreNullAndUnsetTruthsFalse) {
  f.group(f.event(), {.label = "The Lees"});
  auto& r = query("SELECT Label, State FROM GroupIDs");
  EXPECT_EQ(r.value("Label").rawString(), "The Lees");
  EXPECT_TRUE(r.value("State").isNull());
  f.insert("PartyDetails", {{"PartyID", 1}});
  auto& d = query("SELECT RSVPd, Pickup FROM PartyDetails");
  EXPECT_FALSE(d.value("RSVPd").rawBool());
  EXPECT_FALSE(d.value("Pickup").isNull());
}

}  // namespace
}  // namespace galvix::data
