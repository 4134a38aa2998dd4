// Statements that differ only in their literals share one translation: which ones may, and proof
// that sharing gives exactly what translating afresh gives, on the fuzzer's seeds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "data/schema.h"
#include "db/jet/both_ways.h"

namespace galvix::db {
namespace {
namespace fs = std::filesystem;

class ShapeCache : public ::testing::Test {
 protected:
  void SetUp() override {
    sqlite3_open(":memory:", &db_);
    jet::registerJetFunctions(db_);
    data::createEventSchema(db_);
    sqlite3_exec(db_,
                 "INSERT INTO Events (EventID, EventName) VALUES (1, 'E');"
                 "INSERT INTO Parties (PartyID, EventID) VALUES (1, 1);"
                 "INSERT INTO GroupIDs (GroupID, EventID, Label) VALUES (1, 1, 'G');"
                 "INSERT INTO GuestNames (GuestID, GroupID, GFName) VALUES (1, 1, 'a');"
                 "INSERT INTO Invitees (GuestID, PartyID, Attending) VALUES (1, 1, -1);",
                 nullptr, nullptr, nullptr);
    t_ = std::make_unique<jet::Translator>(db_);
  }
  void TearDown() override {
    t_.reset();
    sqlite3_close(db_);
  }

  // Translates `a` then `b` on one translator: whether `b` came from `a`'s shape, after
  // checking it is what a fresh translator makes of `b`.
  bool shared(const std::string& a, const std::string& b) {
    jet::Translator t(db_), fresh(db_);
    t.translate(a);
    jet::Translation got = t.translate(b);
    EXPECT_EQ(testing::describe(got), testing::describe(fresh.translate(b))) << a << "\n" << b;
    return t.reused() > 0;
  }

  sqlite3* db_ = nullptr;
  std::unique_ptr<jet::Translator> t_;
};

TEST_F(ShapeCache, LiteralsInConditionsShareOneShapeAndAreBound) {
  const std::string count =
      "Select Count(1) as NumGuests from GuestNames INNER JOIN Invitees ON GuestNames.GuestID = "
      "Invitees.GuestID where GroupID = ";
  EXPECT_TRUE(shared(count + "7 and PartyID = 3", count + "8 and PartyID = 4"));
  // Text, a quote inside it, a Like pattern, a negative number, an In list, an ON clause.
  const std::string names = "SELECT GuestID FROM GuestNames WHERE GLName = ";
  EXPECT_TRUE(shared(names + "'Smith'", names + "\"O'Brien\""));
  jet::Translation t = t_->translate(names + "'It''s'");
  ASSERT_EQ(t.params.size(), 1u);
  EXPECT_EQ(t.params[0].type(), VarType::String);
  EXPECT_EQ(t.params[0].rawString(), "It's");
  EXPECT_TRUE(shared("SELECT GuestID FROM GuestNames WHERE GLName Like 'S*'",
                     "SELECT GuestID FROM GuestNames WHERE GLName Like '[!a-c]?%'"));
  EXPECT_TRUE(shared("SELECT GuestID FROM GuestNames WHERE GroupID = -1",
                     "SELECT GuestID FROM GuestNames WHERE GroupID = -2"));
  EXPECT_TRUE(shared("SELECT GuestID FROM GuestNames WHERE GLName In ('a', 'b')",
                     "SELECT GuestID FROM GuestNames WHERE GLName In ('c', 'd')"));
  EXPECT_TRUE(
      shared("SELECT Invitees.GuestID FROM GuestNames INNER JOIN Invitees ON "
             "GuestNames.GuestID = Invitees.GuestID And Invitees.PartyID = 1",
             "SELECT Invitees.GuestID FROM GuestNames INNER JOIN Invitees ON "
             "GuestNames.GuestID = Invitees.GuestID And Invitees.PartyID = 2"));
  EXPECT_TRUE(shared("SELECT GuestID FROM GuestNames WHERE Format(GroupID, '0.0') = '1.0'",
                     "SELECT GuestID FROM GuestNames WHERE Format(GroupID, '0.00') = '1.00'"));
}

// Literals whose value is written into the translation, or whose kind changes it.
TEST_F(ShapeCache, LiteralsThatShapeTheTranslationDoNotShare) {
  const std::pair<std::string, std::string> apart[] = {
      {"SELECT TOP 5 GuestID FROM GuestNames", "SELECT TOP 6 GuestID FROM GuestNames"},
      {"SELECT GuestID, GLName FROM GuestNames UNION SELECT GroupID, Label FROM GroupIDs ORDER BY "
       "1",
       "SELECT GuestID, GLName FROM GuestNames UNION SELECT GroupID, Label FROM GroupIDs ORDER BY "
       "2"},
      {"SELECT 1 AS One, GuestID FROM GuestNames", "SELECT 2 AS One, GuestID FROM GuestNames"},
      {"SELECT Format(GroupID, '0.0') AS F FROM GuestNames",
       "SELECT Format(GroupID, '0.00') AS F FROM GuestNames"},
      {"SELECT PartyID FROM Parties WHERE Parties.Date = #1/2/2024#",
       "SELECT PartyID FROM Parties WHERE Parties.Date = #1/3/2024#"},
      // The alias's expression is written into the WHERE clause as it stands in the list.
      {"SELECT GuestID + 1 AS Nxt FROM GuestNames WHERE Nxt > 2",
       "SELECT GuestID + 5 AS Nxt FROM GuestNames WHERE Nxt > 2"},
      // A whole number, a larger one and a fraction are three kinds: IIf's type follows them.
      {"SELECT GuestID FROM GuestNames WHERE IIf(GroupID > 0, 1, 2) = GuestID",
       "SELECT GuestID FROM GuestNames WHERE IIf(GroupID > 0, 1, 2.5) = GuestID"},
      {"SELECT GuestID FROM GuestNames WHERE IIf(GroupID > 0, 1, 2) = GuestID",
       "SELECT GuestID FROM GuestNames WHERE IIf(GroupID > 0, 1, 70000) = GuestID"},
      {"SELECT GuestID FROM GuestNames WHERE GroupID = 1",
       "SELECT GuestID FROM GuestNames "
       "WHERE GroupID = 1.5"},
      // Names are written as they stand, so their case is part of the shape.
      {"SELECT Count(0) AS n FROM Invitees WHERE PartyID = 0",
       "SELECT Count(0) AS n FROM InviteeS WHERE PartyID = 1"},
      // A sign is a token of its own: -1 and 1 are different shapes.
      {"SELECT GuestID FROM GuestNames WHERE GroupID = -1",
       "SELECT GuestID FROM GuestNames WHERE GroupID = 1"},
  };
  for (const auto& [a, b] : apart) EXPECT_FALSE(shared(a, b)) << a << "\n" << b;
  // The kinds really do translate differently.
  jet::Translator fresh(db_);
  EXPECT_NE(fresh.translate(apart[6].first).sql, fresh.translate(apart[6].second).sql);
}

// The seeds hold the reports' statements (ids 1) and the dialect's corners.
TEST_F(ShapeCache, EveryFuzzSeedTranslatesAlikeBothWays) {
  std::size_t seeds = 0;
  for (const auto& f : fs::directory_iterator(GALVIX_SOURCE_DIR "/fuzz/corpus/jet_parser_fuzz")) {
    std::ifstream in(f.path(), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(testing::compareBothWays(db_, *t_, text.str()), "") << f.path();
    ++seeds;
  }
  EXPECT_GT(seeds, 50u);
  EXPECT_GT(t_->reused(), 40u);
}

}  // namespace
}  // namespace galvix::db
