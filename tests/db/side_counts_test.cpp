// Counts a run asks once per row, answered from one grouped query: the same answers as each
// count run on its own, whatever the data, and only for the shapes where that holds.

#include <filesystem>

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/db_test_util.h"
#include "db/side_counts.h"
#include "db/sqlite_util.h"

namespace galvix::db {
namespace {

namespace fs = std::filesystem;

const std::string kGuestCount =
    "Select Count(1) as NumGuests from GuestNames INNER JOIN Invitees ON GuestNames.GuestID = "
    "Invitees.GuestID where GroupID = ";

class SideCountsTest : public ::testing::Test {
 protected:
  SideCountsTest() : dir_(testing::scratch("side")), f_((dir_ / "e.db").string()) {
    f_.exec("BEGIN");
    const long e = f_.event();
    parties_ = {f_.party(e), f_.party(e)};
    // Groups of 0 to 3 guests, each guest invited to one or both parties, some not attending,
    // some children.
    for (int g = 0; g < 6; ++g) {
      groups_.push_back(f_.group(e));
      for (int i = 0; i < g % 4; ++i) {
        const long guest = f_.guest(groups_.back(), {.type = i == 2 ? 2 : 1});
        f_.invite(guest, parties_[0], {.attending = i != 1});
        if ((g + i) % 2) f_.invite(guest, parties_[1], {.attending = true});
      }
    }
    // Rows whose group is not a number that any `GroupID = n` could match: Null, text and a
    // fraction.
    for (int g : {1, 2, 3}) {
      const long stray = f_.guest(groups_[g]);
      f_.invite(stray, parties_[0]);
      const std::string n = std::to_string(groups_[g]);
      f_.exec("UPDATE GuestNames SET GroupID = " +
              (g == 1   ? "NULL"
               : g == 2 ? "'x" + n + "'"
                        : n + ".5") +
              " WHERE GuestID = " + std::to_string(stray));
    }
    f_.exec("COMMIT");
  }
  ~SideCountsTest() override { fs::remove_all(dir_); }

  // The first value of `sql` on `c`.
  static std::string first(Connection& c, const std::string& sql) {
    Recordset rs;
    rs.open(sql, c);
    const Variant v0 = rs.EOF_() ? Variant::string("(none)") : rs.fields(0).value();
    std::string v = v0.isNull() ? "(null)" : v0.toString();
    rs.close();
    return v;
  }

  // `shape` with {g} and {p} filled in for every group (and one that does not exist) and party,
  // run in a run (grouped where it can be) and outside one (each on its own): the answers in a
  // run, which must be those outside it.
  std::vector<std::string> compare(const std::string& shape, std::size_t* grouped = nullptr) {
    auto make = [&](long g, long p) {
      std::string s = shape;
      s.replace(s.find("{g}"), 3, std::to_string(g));
      s.replace(s.find("{p}"), 3, std::to_string(p));
      return s;
    };
    Connection alone;
    alone.open(f_.connectionString());
    std::vector<std::string> out;
    RunScope run;
    SideQueryLog log;
    Connection c;
    c.open(f_.connectionString());
    for (long p : parties_) {
      for (long g : groups_) {
        out.push_back(first(c, make(g, p)));
        EXPECT_EQ(out.back(), first(alone, make(g, p))) << make(g, p);
      }
      out.push_back(first(c, make(9999, p)));
      EXPECT_EQ(out.back(), first(alone, make(9999, p)));
    }
    for (const auto& a : log.answers) {
      EXPECT_EQ(a.grouped.type(), a.alone.type()) << a.sql;
      EXPECT_EQ(a.grouped.toString(), a.alone.toString()) << a.sql;
    }
    if (grouped) *grouped = log.answers.size();
    return out;
  }

  fs::path dir_;
  data::Fixture f_;
  std::vector<long> parties_, groups_;
};

std::string id(long n) {
  return std::to_string(n);
}

TEST_F(SideCountsTest, TheReportsCountsAreGroupedAndAnswerAsEachRunAlone) {
  const std::string join =
      " from GuestNames INNER JOIN Invitees ON GuestNames.GuestID = "
      "Invitees.GuestID where GroupID = {g} and PartyID = {p}";
  const std::string shapes[] = {
      kGuestCount + "{g} and PartyID = {p}",
      "Select Count(*) as NumRSVPd" + join + " and Attending = True",
      "SELECT Count(Invitees.Attending) AS CountOfAttending FROM GuestNames INNER JOIN Invitees "
      "ON GuestNames.GuestID = Invitees.GuestID WHERE (((Invitees.Attending)=True) AND "
      "((Invitees.PartyID)= {p}) AND ((GuestNames.GroupID)= {g}))",
      // A term with a literal of its own, and the key written first.
      "SELECT DISTINCTROW Count(Invitees.Attending) AS NumAdults FROM GuestNames INNER JOIN "
      "Invitees ON GuestNames.GuestID = Invitees.GuestID WHERE {p} = Invitees.PartyID AND "
      "GuestNames.Type < 2 AND GuestNames.GroupID = {g}",
  };
  for (const auto& shape : shapes) {
    std::size_t grouped = 0;
    std::vector<std::string> counts = compare(shape, &grouped);
    // All but the first counts of a shape come from the grouped query.
    EXPECT_GE(grouped, counts.size() - 3) << shape;
    EXPECT_EQ(counts.back(), "0");
  }
  // The stray rows count where their group is not asked for: nowhere.
  std::vector<std::string> counts = compare(shapes[0]);
  EXPECT_EQ(counts[1], "1");
  EXPECT_EQ(counts[3], "3");
}

TEST_F(SideCountsTest, OtherShapesRunOnTheirOwn) {
  const std::string join =
      " from Invitees INNER JOIN GuestNames ON GuestNames.GuestID = "
      "Invitees.GuestID where GroupID = {g} and PartyID = {p}";
  const std::string shapes[] = {
      "Select Count(1) as N from GuestNames LEFT JOIN Invitees ON GuestNames.GuestID = "
      "Invitees.GuestID where GroupID = {g} and PartyID = {p}",
      kGuestCount + "{g} or PartyID = {p}",
      kGuestCount + "{g} and PartyID = {p} and Len(GLName) > 0",
      kGuestCount + "{g} and PartyID = {p} / 1",
      "Select Sum(Invitees.PartyID) as N" + join,
      "Select TOP 1 Count(1) as N" + join,
      "Select Count(1) as N" + join + " GROUP BY GuestNames.Type",
      // A text column compared with a number is not a key.
      "Select Count(1) as N from Invitees INNER JOIN GuestNames ON GuestNames.GuestID = "
      "Invitees.GuestID where GLName = {g} and PartyID = {p}.5",
  };
  for (const auto& shape : shapes) {
    std::size_t grouped = 1;
    compare(shape, &grouped);
    EXPECT_EQ(grouped, 0u) << shape;
  }
}

// `GroupID = 2.5` translates to the same SQL as `GroupID = 2` but is no key: it must not be
// looked up among the grouped counts of the other.
TEST_F(SideCountsTest, ASameTextWithAFractionIsNotAKey) {
  RunScope run;
  SideQueryLog log;
  Connection c;
  c.open(f_.connectionString());
  for (long g : groups_) first(c, kGuestCount + id(g) + " and PartyID = " + id(parties_[0]));
  ASSERT_FALSE(log.answers.empty());
  const std::string fraction = kGuestCount + id(groups_[3]) + ".5 and PartyID = " + id(parties_[0]);
  const std::string whole = kGuestCount + id(groups_[3]) + ".0 and PartyID = " + id(parties_[0]);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(first(c, fraction), "1");  // the guest whose group is x.5
    EXPECT_EQ(first(c, whole), "3");
  }
  for (const auto& a : log.answers) EXPECT_EQ(a.grouped.toString(), a.alone.toString()) << a.sql;
}

TEST_F(SideCountsTest, WritesAndTransactionsDropTheCounts) {
  RunScope run;
  SideQueryLog log;
  Connection c, other;
  c.open(f_.connectionString());
  other.open(f_.connectionString());  // the same run: one handle
  auto count = [&](long g) {
    return first(c, kGuestCount + id(g) + " and PartyID = " + id(parties_[0]));
  };
  for (long g : groups_) count(g);
  ASSERT_FALSE(log.answers.empty());
  EXPECT_EQ(count(groups_[3]), "3");

  // Through another connection of the run, and through another process's handle.
  other.executeNative("INSERT INTO Invitees (GuestID, PartyID) SELECT GuestID, " + id(parties_[0]) +
                      " FROM GuestNames WHERE GroupID = " + id(groups_[3]));
  EXPECT_EQ(count(groups_[3]), "6");
  {
    auto outside = openSqliteFile(f_.path());
    execSql(outside.get(), "DELETE FROM Invitees WHERE PartyID = " + id(parties_[0]) +
                               " AND GuestID IN (SELECT GuestID FROM GuestNames WHERE GroupID = " +
                               id(groups_[3]) + ")");
  }
  EXPECT_EQ(count(groups_[3]), "0");

  // Inside a transaction the counts are each run alone; a rollback leaves nothing behind.
  c.beginTrans();
  c.executeNative("INSERT INTO Invitees (GuestID, PartyID) SELECT GuestID, " + id(parties_[0]) +
                  " FROM GuestNames WHERE GroupID = " + id(groups_[3]));
  EXPECT_EQ(count(groups_[3]), "3");
  c.rollbackTrans();
  EXPECT_EQ(count(groups_[3]), "0");
  for (const auto& a : log.answers) EXPECT_EQ(a.grouped.toString(), a.alone.toString()) << a.sql;
}

TEST_F(SideCountsTest, OutsideARunEachCountRunsAlone) {
  SideQueryLog log;
  Connection c;
  c.open(f_.connectionString());
  for (long g : groups_) first(c, kGuestCount + id(g) + " and PartyID = " + id(parties_[0]));
  EXPECT_TRUE(log.answers.empty());
  EXPECT_EQ(log.statements.size(), groups_.size());
}

// Benchmarks replay a run's statements two ways: as SQLite got them, and as the report wrote
// them. Every answered count must be in the log both ways, the count as written with its values.
TEST_F(SideCountsTest, TheStatementLogHoldsEachAnsweredCountAsWritten) {
  using Kind = LoggedStatement::Kind;
  std::vector<LoggedStatement> logged;
  setStatementLog(&logged);
  {
    RunScope run;
    Connection c;
    c.open(f_.connectionString());
    for (long g : groups_) first(c, kGuestCount + id(g) + " and PartyID = " + id(parties_[0]));
  }
  setStatementLog(nullptr);
  std::string alone;  // the count as run on its own while the shape was learnt
  std::vector<std::int64_t> groupsAlone;
  int grouped = 0, answers = 0;
  for (const auto& l : logged) {
    if (l.kind == Kind::Run && l.sql.find("count") != std::string::npos) alone = l.sql;
    grouped += l.kind == Kind::Grouped;
    answers += l.kind == Kind::Answer;
    if (l.kind == Kind::Alone) {
      EXPECT_EQ(l.sql, alone);
      ASSERT_EQ(l.params.size(), 2u);
      groupsAlone.push_back(l.params[0].rawInt());
    }
  }
  EXPECT_EQ(grouped, 1);
  EXPECT_GE(answers, static_cast<int>(groups_.size()) - 3);
  ASSERT_EQ(groupsAlone.size(), static_cast<std::size_t>(answers));
  EXPECT_EQ(groupsAlone.back(), groups_.back());
}

}  // namespace
}  // namespace galvix::db
