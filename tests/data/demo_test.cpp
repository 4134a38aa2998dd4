#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "data/demo.h"
#include "db/connection.h"

namespace galvix::data {
namespace {
namespace fs = std::filesystem;

class Demo : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("galvix_demo_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string path(const std::string& n) { return (dir_ / n).string(); }

  static std::string scalar(db::Connection& c, const std::string& sql) {
    db::Recordset rs;
    rs.open(sql, c);
    std::string v = rs.EOF_() ? "" : rs.fields(0).value().displayText();
    rs.close();
    return v;
  }
  static std::string dump(const std::string& file, const std::string& sql) {
    db::Connection c;
    c.open(file);
    db::Recordset rs;
    rs.open(sql, c);
    std::string out;
    for (; !rs.EOF_(); rs.moveNext())
      for (int i = 0; i < rs.fieldCount(); ++i) out += rs.fields(i).value().displayText() + "|";
    return out;
  }
  fs::path dir_;
};

TEST_F(Demo, SameSeedSameRowsOtherSeedOtherNames) {
  writeDemoDatabase(path("a.db"), {.seed = 7});
  writeDemoDatabase(path("b.db"), {.seed = 7});
  writeDemoDatabase(path("c.db"), {.seed = 8});
  const std::string q = "SELECT GFName, GLName FROM GuestNames ORDER BY GuestID";
  EXPECT_EQ(dump(path("a.db"), q), dump(path("b.db"), q));
  EXPECT_NE(dump(path("a.db"), q), dump(path("c.db"), q));
  EXPECT_FALSE(fs::exists(path("a.db") + ".tmp" + std::to_string(::getpid())));
}

TEST_F(Demo, EveryTableTheReportsReadHasRows) {
  auto s = writeDemoDatabase(path("d.db"), {.logo = Bytes{0xFF, 0xD8, 0xFF, 0xD9}});
  EXPECT_GE(s.guests, 150);
  db::Connection c;
  c.open(path("d.db"));
  for (const char* t : {"Events",
                        "EventTypes",
                        "EventStatuses",
                        "SubEvents",
                        "Parties",
                        "GroupIDs",
                        "GuestNames",
                        "GuestCategories",
                        "EventRoles",
                        "PartyDetails",
                        "Invitees",
                        "Menu",
                        "HotelRooms",
                        "Tables",
                        "Rooms",
                        "RoomObjects",
                        "RoomObjectChairs",
                        "StageOfEvents",
                        "Journal",
                        "ExpenseCategories",
                        "SPCategories",
                        "Vendors",
                        "CategoriesToVendors",
                        "VendorContacts",
                        "VendorAssignments",
                        "Items",
                        "DefPaymentSchedule",
                        "PaymentSchedule",
                        "Invoices",
                        "ImageLibrary",
                        "LabelText",
                        "EnvelopeText",
                        "StationerySetup",
                        "StationeryText",
                        "GuestPartyAttendance"})
    EXPECT_NE(scalar(c, std::string("SELECT Count(*) FROM ") + t), "0") << t;
}

TEST_F(Demo, AwkwardDataIsThereOnPurpose) {
  writeDemoDatabase(path("e.db"));
  db::Connection c;
  c.open(path("e.db"));
  // A group with only an e-mail and no category; a phone of blanks; accents; a long label.
  EXPECT_EQ(scalar(c,
                   "SELECT Count(*) FROM GroupIDs WHERE CategoryID IS NULL AND HPhone IS "
                   "NULL AND [E-Mail] IS NOT NULL"),
            "1");
  EXPECT_EQ(scalar(c, "SELECT Count(*) FROM GroupIDs WHERE HPhone = '   '"), "1");
  EXPECT_NE(scalar(c, "SELECT Count(*) FROM GuestNames WHERE GFName = 'José'"), "0");
  EXPECT_NE(scalar(c, "SELECT Count(*) FROM GroupIDs WHERE Len(Label) > 100"), "0");
  // Undecided meals, unseated attending guests, an empty table, one own company.
  EXPECT_NE(scalar(c,
                   "SELECT Count(*) FROM Invitees WHERE Attending <> 0 AND MenuID IS NULL AND "
                   "PartyID IN (SELECT PartyID FROM Menu)"),
            "0");
  EXPECT_EQ(scalar(c, "SELECT Count(*) FROM Vendors WHERE MyCompany = -1"), "1");
  EXPECT_NE(scalar(c,
                   "SELECT Count(*) FROM Tables WHERE TableID NOT IN (SELECT TableID FROM "
                   "Invitees)"),
            "0");
  // The room plan: two rooms, empty chairs, a guest on two chairs, attending guests without one.
  EXPECT_EQ(scalar(c, "SELECT Count(*) FROM Rooms"), "2");
  EXPECT_NE(scalar(c, "SELECT Count(*) FROM RoomObjectChairs WHERE GuestID = 0"), "0");
  EXPECT_EQ(scalar(c,
                   "SELECT Count(*) FROM (SELECT GuestID FROM RoomObjectChairs WHERE GuestID <> 0 "
                   "GROUP BY GuestID HAVING Count(*) > 1)"),
            "1");
  EXPECT_NE(scalar(c,
                   "SELECT Count(*) FROM Invitees INNER JOIN Rooms ON Rooms.PartyID = "
                   "Invitees.PartyID WHERE Attending <> 0 AND GuestID NOT IN (SELECT GuestID FROM "
                   "RoomObjectChairs)"),
            "0");
}

}  // namespace
}  // namespace galvix::data
