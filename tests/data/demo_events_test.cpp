#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "data/demo.h"
#include "data/demo_events.h"
#include "db/connection.h"

namespace galvix::data {
namespace {
namespace fs = std::filesystem;

std::string scalar(db::Connection& c, const std::string& sql) {
  db::Recordset rs;
  rs.open(sql, c);
  std::string v = rs.EOF_() ? "" : rs.fields(0).value().displayText();
  rs.close();
  return v;
}

// What the event summaries need to show every part of themselves.
TEST(DemoEvents, ContactsJournalsChecklistsAndTimelinesOfSeveralKinds) {
  const fs::path file =
      fs::temp_directory_path() / ("galvix_demo_events_" + std::to_string(::getpid()) + ".db");
  writeDemoDatabase(file.string());
  db::Connection c;
  c.open(file.string());
  EXPECT_EQ(scalar(c, "SELECT Count(*) FROM (SELECT DISTINCT EventTypeID FROM Events)"), "4");
  EXPECT_EQ(scalar(c, "SELECT Count(*) FROM (SELECT DISTINCT EventStatusID FROM Events)"), "4");
  // Contacts 1 and 2 with and without pictures, and one numbered 3.
  const std::string contacts =
      "SELECT Count(*) FROM GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = "
      "GuestNames.GroupID WHERE ";
  EXPECT_EQ(scalar(c, contacts + "ContactNumber IN (1, 2) AND ContactPic IS NOT NULL"), "3");
  EXPECT_EQ(scalar(c, contacts + "ContactNumber IN (1, 2) AND ContactPic IS NULL"), "2");
  EXPECT_EQ(scalar(c, contacts + "ContactNumber = 3"), "1");
  // Journals of events that print them and of one that does not.
  EXPECT_NE(scalar(c,
                   "SELECT Count(*) FROM Journal INNER JOIN Events ON Journal.EventID = "
                   "Events.EventID WHERE Events.PrintJournal = True"),
            "0");
  EXPECT_NE(scalar(c,
                   "SELECT Count(*) FROM Journal INNER JOIN Events ON Journal.EventID = "
                   "Events.EventID WHERE Events.PrintJournal = False"),
            "0");
  EXPECT_NE(scalar(c, "SELECT Count(*) FROM StageOfEvents WHERE EventTime IS NULL"), "0");
  EXPECT_NE(scalar(c, "SELECT Count(*) FROM ChecklistItems WHERE DueDate <> Int(DueDate)"), "0");
  EXPECT_EQ(scalar(c,
                   "SELECT Count(*) FROM Events WHERE EventID NOT IN (SELECT EventID FROM "
                   "Parties)"),
            "1");
  c.close();
  fs::remove(file);
}

TEST(DemoEvents, PortraitIsAWholeBitmap) {
  const Bytes b = demoPortrait(0xFFFFFF, 0x000000, 0x808080);
  ASSERT_GE(b.size(), 54u);
  EXPECT_EQ(b[0], 'B');
  EXPECT_EQ(b[1], 'M');
  const std::uint32_t declared =
      b[2] | b[3] << 8 | b[4] << 16 | static_cast<std::uint32_t>(b[5]) << 24;
  EXPECT_EQ(declared, b.size());
  EXPECT_EQ(b.size(), 54u + 96u * 3u * 120u);  // rows of 288 bytes need no padding
}

}  // namespace
}  // namespace galvix::data
