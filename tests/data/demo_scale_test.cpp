// The scale shape of the demo database, checked from its rows: a large event's parties and
// invitations, names nobody shares, a seat and a meal for everyone who comes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "data/demo.h"
#include "data/demo_scale.h"
#include "db/connection.h"

namespace galvix::data {
namespace {
namespace fs = std::filesystem;

class ScaleDemo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = fs::temp_directory_path() / ("galvix_scale_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    summary_ = writeDemoDatabase(path("s.db"), {.guests = 6000, .seed = 3});
  }
  static void TearDownTestSuite() { fs::remove_all(dir_); }
  static std::string path(const std::string& n) { return (dir_ / n).string(); }

  // The first column of the first row of plain SQLite SQL, as a number.
  static double num(const std::string& file, const std::string& sql) {
    db::Connection c;
    c.open(file);
    db::Recordset rs;
    rs.openNative(sql, c);
    return rs.EOF_() ? 0 : rs.fields(0).value().toDouble();
  }
  double num(const std::string& sql) { return num(path("s.db"), sql); }
  std::string wedding() const { return std::to_string(summary_.weddingEventId); }

  static fs::path dir_;
  static DemoSummary summary_;
};
fs::path ScaleDemo::dir_;
DemoSummary ScaleDemo::summary_;

TEST_F(ScaleDemo, ClassicBelowTheThresholdScaleFromIt) {
  auto weddingParties = [&](int guests) {
    const std::string f = path(std::to_string(guests) + ".db");
    const DemoSummary s = writeDemoDatabase(f, {.guests = guests});
    return num(f,
               "SELECT count(*) FROM Parties WHERE EventID = " + std::to_string(s.weddingEventId));
  };
  EXPECT_EQ(weddingParties(kScaleGuests - 1), 4);
  EXPECT_EQ(weddingParties(kScaleGuests), 5);
  // 6,000 guests: two doublings past the threshold, two more parties each.
  EXPECT_EQ(num("SELECT count(*) FROM Parties WHERE EventID = " + wedding()), 9);
}

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

TEST_F(ScaleDemo, SameSeedSameDatabase) {
  writeDemoDatabase(path("a.db"), {.guests = 1500, .seed = 3});
  writeDemoDatabase(path("b.db"), {.guests = 1500, .seed = 3});
  writeDemoDatabase(path("c.db"), {.guests = 1500, .seed = 4});
  // A fingerprint of the guests, their invitations, seats and meals.
  const std::string q =
      "SELECT sum(length(GTitle || GFName || GLName || GSuffix) * GuestID) + (SELECT "
      "sum((PartyID * 7 + ifnull(MenuID, 0) * 13 + TableID * 17 + Seat) * GuestID) FROM "
      "Invitees) FROM GuestNames";
  EXPECT_EQ(num(path("a.db"), q), num(path("b.db"), q));
  EXPECT_NE(num(path("a.db"), q), num(path("c.db"), q));
}

}  // namespace
}  // namespace galvix::data
