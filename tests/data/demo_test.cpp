// The demo database, checked from its rows: the same seed gives the same database, every table a
// report reads has rows, the awkward data is there, and from kScaleGuests up the wedding takes
// the shape of a large event.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "data/demo.h"
#include "data/demo_events.h"
#include "data/demo_scale.h"
#include "db/connection.h"

namespace galvix::data {
namespace {
namespace fs = std::filesystem;

// A folder of this process for the databases; each suite removes it when done.
std::string path(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("galvix_demo_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  return (dir / name).string();
}

// The first column of the first row: of Jet SQL as the reports write it, or of plain SQLite.
Variant first(const std::string& file, const std::string& sql, bool native = false) {
  db::Connection c;
  c.open(file);
  db::Recordset rs;
  native ? rs.openNative(sql, c) : rs.open(sql, c);
  return rs.EOF_() ? Variant::null() : rs.fields(0).value();
}
double num(const std::string& file, const std::string& sql) {
  return first(file, sql, true).toDouble();
}

// A fingerprint of the guests, their invitations, seats and meals.
double fingerprint(const std::string& file) {
  return num(file,
             "SELECT sum(length(GTitle || GFName || GLName || GSuffix) * GuestID) + (SELECT "
             "sum((PartyID * 7 + ifnull(MenuID, 0) * 13 + TableID * 17 + Seat) * GuestID) FROM "
             "Invitees) FROM GuestNames");
}

// Below kScaleGuests the wedding keeps its classic four parties; from it, the fifth.
TEST(DemoSeed, SameSeedSameDatabaseAndTheWeddingScalesFromTheThreshold) {
  for (int guests : {kScaleGuests - 1, kScaleGuests}) {
    SCOPED_TRACE(guests);
    const std::string a = path("a.db"), b = path("b.db"), c = path("c.db");
    const DemoSummary s = writeDemoDatabase(a, {.guests = guests, .seed = 7});
    EXPECT_EQ(
        num(a, "SELECT count(*) FROM Parties WHERE EventID = " + std::to_string(s.weddingEventId)),
        guests < kScaleGuests ? 4 : 5);
    writeDemoDatabase(b, {.guests = guests, .seed = 7});
    writeDemoDatabase(c, {.guests = guests, .seed = 8});
    EXPECT_EQ(fingerprint(a), fingerprint(b));
    EXPECT_NE(fingerprint(a), fingerprint(c));
    EXPECT_FALSE(fs::exists(a + ".tmp" + std::to_string(::getpid())));
  }
  fs::remove_all(fs::path(path("")).parent_path());
}

// The default demo database, written once.
class Demo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    summary_ = writeDemoDatabase(path("d.db"), {.logo = Bytes{0xFF, 0xD8, 0xFF, 0xD9}});
  }
  static void TearDownTestSuite() { fs::remove_all(fs::path(path("")).parent_path()); }
  static std::string scalar(const std::string& sql) {
    return first(path("d.db"), sql).displayText();
  }
  static inline DemoSummary summary_;
};

TEST_F(Demo, EveryTableTheReportsReadHasRows) {
  EXPECT_GE(summary_.guests, 150);
  std::istringstream tables(
      "Events EventTypes EventStatuses SubEvents Parties GroupIDs GuestNames GuestCategories "
      "EventRoles PartyDetails Invitees Menu HotelRooms Tables Rooms RoomObjects RoomObjectChairs "
      "StageOfEvents Journal ExpenseCategories SPCategories Vendors CategoriesToVendors "
      "VendorContacts VendorAssignments Items DefPaymentSchedule PaymentSchedule Invoices "
      "ImageLibrary LabelText EnvelopeText StationerySetup StationeryText GuestPartyAttendance");
  for (std::string t; tables >> t;) EXPECT_NE(scalar("SELECT Count(*) FROM " + t), "0") << t;
}

TEST_F(Demo, AwkwardDataIsThereOnPurpose) {
  // A group with only an e-mail and no category; a phone of blanks; accents; a long label.
  EXPECT_EQ(scalar("SELECT Count(*) FROM GroupIDs WHERE CategoryID IS NULL AND HPhone IS "
                   "NULL AND [E-Mail] IS NOT NULL"),
            "1");
  EXPECT_EQ(scalar("SELECT Count(*) FROM GroupIDs WHERE HPhone = '   '"), "1");
  EXPECT_NE(scalar("SELECT Count(*) FROM GuestNames WHERE GFName = 'José'"), "0");
  EXPECT_NE(scalar("SELECT Count(*) FROM GroupIDs WHERE Len(Label) > 100"), "0");
  // Undecided meals, unseated attending guests, an empty table, one own company.
  EXPECT_NE(scalar("SELECT Count(*) FROM Invitees WHERE Attending <> 0 AND MenuID IS NULL AND "
                   "PartyID IN (SELECT PartyID FROM Menu)"),
            "0");
  EXPECT_EQ(scalar("SELECT Count(*) FROM Vendors WHERE MyCompany = -1"), "1");
  EXPECT_NE(
      scalar("SELECT Count(*) FROM Tables WHERE TableID NOT IN (SELECT TableID FROM Invitees)"),
      "0");
  // The room plan: two rooms, empty chairs, a guest on two chairs, attending guests without one.
  EXPECT_EQ(scalar("SELECT Count(*) FROM Rooms"), "2");
  EXPECT_NE(scalar("SELECT Count(*) FROM RoomObjectChairs WHERE GuestID = 0"), "0");
  EXPECT_EQ(scalar("SELECT Count(*) FROM (SELECT GuestID FROM RoomObjectChairs WHERE GuestID <> 0 "
                   "GROUP BY GuestID HAVING Count(*) > 1)"),
            "1");
  EXPECT_NE(scalar("SELECT Count(*) FROM Invitees INNER JOIN Rooms ON Rooms.PartyID = "
                   "Invitees.PartyID WHERE Attending <> 0 AND GuestID NOT IN (SELECT GuestID FROM "
                   "RoomObjectChairs)"),
            "0");
}

// What the event summaries need to show every part of themselves.
TEST_F(Demo, ContactsJournalsChecklistsAndTimelinesOfSeveralKinds) {
  EXPECT_EQ(scalar("SELECT Count(*) FROM (SELECT DISTINCT EventTypeID FROM Events)"), "4");
  EXPECT_EQ(scalar("SELECT Count(*) FROM (SELECT DISTINCT EventStatusID FROM Events)"), "4");
  // Contacts 1 and 2 with and without pictures, and one numbered 3.
  const std::string contacts =
      "SELECT Count(*) FROM GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = "
      "GuestNames.GroupID WHERE ";
  EXPECT_EQ(scalar(contacts + "ContactNumber IN (1, 2) AND ContactPic IS NOT NULL"), "3");
  EXPECT_EQ(scalar(contacts + "ContactNumber IN (1, 2) AND ContactPic IS NULL"), "2");
  EXPECT_EQ(scalar(contacts + "ContactNumber = 3"), "1");
  // Journals of events that print them and of one that does not.
  for (const char* printed : {"True", "False"})
    EXPECT_NE(scalar("SELECT Count(*) FROM Journal INNER JOIN Events ON Journal.EventID = "
                     "Events.EventID WHERE Events.PrintJournal = " +
                     std::string(printed)),
              "0");
  EXPECT_NE(scalar("SELECT Count(*) FROM StageOfEvents WHERE EventTime IS NULL"), "0");
  EXPECT_NE(scalar("SELECT Count(*) FROM ChecklistItems WHERE DueDate <> Int(DueDate)"), "0");
  EXPECT_EQ(
      scalar("SELECT Count(*) FROM Events WHERE EventID NOT IN (SELECT EventID FROM Parties)"),
      "1");
  // A contact's portrait is a whole bitmap: the size its header declares, rows unpadded.
  const Bytes b = demoPortrait(0xFFFFFF, 0x000000, 0x808080);
  ASSERT_EQ(b.size(), 54u + 96u * 3u * 120u);
  EXPECT_EQ(std::string(b.begin(), b.begin() + 2), "BM");
  EXPECT_EQ(b[2] | b[3] << 8 | b[4] << 16 | static_cast<std::uint32_t>(b[5]) << 24, b.size());
}

// A wedding of 6,000 guests, written once.
class ScaleDemo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    summary_ = writeDemoDatabase(path("s.db"), {.guests = 6000, .seed = 3});
  }
  static void TearDownTestSuite() { fs::remove_all(fs::path(path("")).parent_path()); }
  static double num(const std::string& sql) { return data::num(path("s.db"), sql); }
  static std::string wedding() { return std::to_string(summary_.weddingEventId); }
  static inline DemoSummary summary_;
};

TEST_F(ScaleDemo, NoTwoGuestsShareAName) {
  // Jet compares text without case: group as the reports would.
  EXPECT_EQ(num("SELECT count(*) FROM (SELECT 1 FROM GuestNames GROUP BY GFName, GLName "
                "HAVING count(*) > 1)"),
            0);
  // Names the guest list must wrap and print: accented, double-barrelled, long.
  EXPECT_GT(num("SELECT count(*) FROM GuestNames WHERE GLName LIKE '%-%' AND GLName <> "
                "'Fitzgerald-Worthington'"),
            0);
  EXPECT_GT(num("SELECT count(*) FROM GuestNames WHERE length(GLName) + length(GFName) > 30"), 0);
  EXPECT_GT(num("SELECT count(*) FROM GuestNames WHERE GLName GLOB '*[^ -~]*'"), 0);
  EXPECT_GT(num("SELECT count(*) FROM GuestNames WHERE GSuffix <> ''"), 0);
}

TEST_F(ScaleDemo, MostGuestsAreInvitedToMostPartiesSomeToFew) {
  const std::string perGuest =
      "SELECT count(*) AS n FROM Invitees JOIN Parties ON Parties.PartyID = Invitees.PartyID "
      "WHERE Parties.EventID = " +
      wedding() + " GROUP BY Invitees.GuestID";
  const double guests = num("SELECT count(*) FROM (" + perGuest + ")");
  const double parties = num("SELECT count(*) FROM Parties WHERE EventID = " + wedding());
  EXPECT_GE(guests, 6000);
  EXPECT_EQ(parties, 9);  // two doublings past the threshold, two more parties each
  const double mean = num("SELECT avg(n) FROM (" + perGuest + ")");
  EXPECT_GT(mean, parties * 0.75);
  EXPECT_LT(mean, parties);
  EXPECT_GT(num("SELECT count(*) FROM (" + perGuest + ") WHERE n <= 3") / guests, 0.05);
  EXPECT_GT(num("SELECT count(*) FROM (" + perGuest +
                ") WHERE n >= " + std::to_string(static_cast<int>(parties) - 2)) /
                guests,
            0.6);
}

TEST_F(ScaleDemo, EveryoneWhoComesHasAMealAndASeatWhereThePartySeats) {
  const std::string partyOf = "(SELECT PartyID FROM Parties WHERE EventID = " + wedding() + ")";
  // Every party serves something, and a meal belongs to the invitee's own party.
  EXPECT_EQ(num("SELECT count(*) FROM Parties WHERE EventID = " + wedding() +
                " AND PartyID NOT IN (SELECT PartyID FROM Menu)"),
            0);
  EXPECT_EQ(num("SELECT count(*) FROM Invitees JOIN Menu ON Menu.MenuID = Invitees.MenuID "
                "WHERE Menu.PartyID <> Invitees.PartyID"),
            0);
  const double coming =
      num("SELECT count(*) FROM Invitees WHERE Attending <> 0 AND PartyID IN " + partyOf);
  const double withMeal = num(
      "SELECT count(*) FROM Invitees WHERE Attending <> 0 AND MenuID IS NOT NULL AND PartyID IN " +
      partyOf);
  EXPECT_GT(withMeal / coming, 0.9);
  // The gala keeps its own meals.
  EXPECT_GT(num("SELECT count(*) FROM Invitees JOIN Parties ON Parties.PartyID = "
                "Invitees.PartyID WHERE Invitees.MenuID IS NOT NULL AND Parties.EventID = " +
                std::to_string(summary_.galaEventId)),
            0);
  EXPECT_EQ(num("SELECT count(*) FROM Invitees WHERE Attending = 0 AND (MenuID IS NOT NULL OR "
                "TableID <> 0) AND PartyID IN " +
                partyOf),
            0);

  // The parties that seat (those with tables): the reception and at least three more.
  const std::string seating =
      "(SELECT DISTINCT PartyID FROM Tables WHERE PartyID IN " + partyOf + ")";
  EXPECT_GE(num("SELECT count(*) FROM " + seating), 4);
  EXPECT_EQ(num("SELECT count(*) FROM Tables WHERE PartyID = " +
                std::to_string(summary_.receptionPartyId) + " AND TableName = 'Head Table'"),
            1);
  // There, everyone who comes has a table of that party and a seat the table has.
  EXPECT_EQ(num("SELECT count(*) FROM Invitees LEFT JOIN Tables ON Tables.TableID = "
                "Invitees.TableID WHERE Invitees.Attending <> 0 AND Invitees.PartyID IN " +
                seating +
                " AND (Tables.TableID IS NULL OR Tables.PartyID <> Invitees.PartyID OR "
                "Invitees.Seat < 1 OR Invitees.Seat > Tables.NumSeats)"),
            0);
  EXPECT_EQ(num("SELECT count(*) FROM (SELECT 1 FROM Invitees WHERE TableID <> 0 GROUP BY "
                "TableID, Seat HAVING count(*) > 1)"),
            0);
}

}  // namespace
}  // namespace galvix::data
