// The reports' SQL dialect on SQLite: the semantics the reports depend on, checked on fixture
// databases through the same connections the reports use.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "db/db_test_util.h"
#include "db/jet/rows.h"
#include "runtime/regional.h"

namespace galvix::db {
namespace {
using ::testing::ElementsAre;
using testing::errorOf;

class Jet : public ::testing::Test {
 protected:
  data::Fixture& f() { return f_; }
  // Every row as "a|b|c" (Null as "<null>"), and the column names.
  std::vector<std::string> rows(const std::string& sql, std::vector<std::string>* names = nullptr) {
    Connection c;
    c.open(f_.connectionString());
    return rowsOf(c, sql, names);
  }
  data::Fixture f_{testing::testDb("jet")};
};

TEST_F(Jet, ConcatJoinsNullSafelyPlusPropagatesAndTruthIsMinusOne) {
  long e = f().event();
  f().group(e, {.label = "A", .city = "Oslo"});
  EXPECT_THAT(rows("SELECT GroupIDs.Address & GroupIDs.City, GroupIDs.Address + GroupIDs.City, "
                   "'n' & 1 + 2, 1 + 2 & 3, (1 = 1), Not (1 = 2), True FROM GroupIDs"),
              ElementsAre("Oslo|<null>|n3|33|-1|-1|-1"));
}

TEST_F(Jet, TextComparesGroupsAndSortsWithoutCase) {
  long e = f().event();
  for (const char* n : {"beta", "Alpha", "ALPHA", "Émile", "zed"}) f().group(e, {.label = n});
  EXPECT_THAT(rows("SELECT Count(*) FROM GroupIDs WHERE Label = 'alpha'"), ElementsAre("2"));
  EXPECT_THAT(rows("SELECT Label FROM GroupIDs WHERE Label <> 'x' ORDER BY Label & ''"),
              ElementsAre("Alpha", "ALPHA", "beta", "Émile", "zed"));
  EXPECT_THAT(rows("SELECT Label & '' AS L, Count(*) AS N FROM GroupIDs GROUP BY Label & ''"),
              ElementsAre("Alpha|2", "beta|1", "Émile|1", "zed|1"));
  EXPECT_THAT(rows("SELECT DISTINCT Label & '' FROM GroupIDs WHERE Label Like 'a%'"),
              ElementsAre("Alpha"));
  EXPECT_THAT(rows("SELECT Trim(Label) FROM GroupIDs WHERE Label < 'b' UNION SELECT 'ÉMILE' FROM "
                   "GroupIDs UNION SELECT Label FROM GroupIDs WHERE Label = 'Émile'"),
              ::testing::SizeIs(2));
  EXPECT_THAT(rows("SELECT Count(*) FROM GroupIDs WHERE Label & '' In (SELECT 'BETA' FROM "
                   "GroupIDs) OR Label Not In ('zed', Null, 'alpha', 'BETA')"),
              ElementsAre("2"));
  // Like folds letters beyond ASCII too, and knows the provider's _ and [sets].
  EXPECT_THAT(rows("SELECT Label FROM GroupIDs WHERE Label Like 'é%' OR Label Like '_ET_'"),
              ElementsAre("beta", "Émile"));
  EXPECT_THAT(rows("SELECT Label FROM GroupIDs WHERE Label Like '[!a-c]%' AND Label NOT Like "
                   "'%d'"),
              ElementsAre("Émile"));
  EXPECT_THAT(rows("SELECT Label Like 'z%', Null Like 'z' FROM GroupIDs WHERE Label = 'ZED'"),
              ElementsAre("-1|<null>"));
}

// What saved queries in Access files use: Yes/No, DatePart, and a fixed pivot column list.
TEST_F(Jet, SavedQueryIdiomsYesNoDatePartAndFixedPivotColumns) {
  long e = f().event();
  f().party(e, {.name = "Spring", .date = data::date(2027, 4, 2)});
  f().party(e, {.name = "Autumn", .date = data::date(2027, 10, 9)});
  EXPECT_THAT(rows("SELECT DatePart('q', Parties.Date, 1, 0) AS Q, DatePart(\"yyyy\", "
                   "Parties.Date) AS Y FROM Parties WHERE Yes <> No ORDER BY Parties.Date"),
              ElementsAre("2|2027", "4|2027"));
  std::vector<std::string> names;
  auto r = rows(
      "TRANSFORM Count(Parties.PartyID) AS N SELECT Parties.EventID FROM Parties GROUP BY "
      "Parties.EventID PIVOT 'Q' & DatePart('q', Parties.Date) In ('Q1','Q2','Q3','Q4')",
      &names);
  EXPECT_THAT(names, ElementsAre("EventID", "Q1", "Q2", "Q3", "Q4"));
  EXPECT_THAT(r, ElementsAre(std::to_string(e) + "|<null>|1|<null>|1"));
}

// Left, Right and Asc are keywords too; as calls they are the string functions ("Left("Hello
// World", 1)" is "H", "Asc("Apple")" is 65), Left$ and Right$ the same.
TEST_F(Jet, LeftRightAndAscAreFunctionsWhenCalled) {
  long e = f().event();
  f().group(e, {.label = "Galvix"});
  EXPECT_THAT(rows("SELECT Left('Hello World', 1), Left('Hello World', 7), Left('Hello World', "
                   "20), Right('Hello World', 1), Right('Hello World', 6), Right('Hello World', "
                   "20), Asc('A'), Asc('a'), Asc('Apple') FROM GroupIDs"),
              ElementsAre("H|Hello W|Hello World|d| World|Hello World|65|97|65"));
  // Codes are the code page's ("0 - 255"): the euro sign is 128, a character it lacks '?'.
  EXPECT_THAT(rows("SELECT Left$(Label, 3), Right$(Label, 3), Asc(Chr(233)), Asc('€'), Asc('Ł'), "
                   "Left(Null, 2) FROM GroupIDs LEFT JOIN GuestCategories ON "
                   "GroupIDs.CategoryID = GuestCategories.CategoryID ORDER BY Left(Label, 1) ASC"),
              ElementsAre("Gal|vix|233|128|63|<null>"));
  EXPECT_THROW(rows("SELECT Asc('') FROM GroupIDs"), DbError);  // invalid procedure call
}

// "#6/11/2027#" is June 11 in every locale: Jet's date literals are month/day/year.
TEST_F(Jet, DateLiteralsAreMonthFirstAndFormatTakesWeekArgumentsAndKeepsNull) {
  for (const char* locale : {"en-US", "en-GB", "de-DE"}) {
    const RegionalScope scope(locale);
    EXPECT_THAT(rows("SELECT Month(#6/11/2027#), Day(#6/11/2027#)"), ElementsAre("6|11")) << locale;
  }
  // Format(expr, format, firstdayofweek, firstweekofyear) as in the language; Null stays Null
  // unless the format has a section for it.
  EXPECT_THAT(rows("SELECT Format(#1/1/2010#, 'ww', 2, 2), Format(#1/1/2010#, 'ww'), "
                   "DatePart('ww', #1/1/2010#, 2, 2), DatePart('w', #12/30/1899#, 7)"),
              ElementsAre("53|1|53|1"));
  EXPECT_THAT(rows("SELECT Format(Null, '0.00'), Format(Null), Format(Null, '0;0;0;\"none\"'), "
                   "Format(Null, '@;\"Unknown\"'), Format(Null, '0.00') Is Null"),
              ElementsAre("<null>|<null>|none|Unknown|-1"));
}

// "The alias ... of a calculated field cannot be identical to any of the field names used to
// calculate the field": an unqualified name in the select list means an alias of that list
// (wherever it stands), so an alias needing itself is refused; a qualified name is the field.
TEST_F(Jet, AnAliasThatNeedsItselfIsACircularReference) {
  long e = f().event();
  long cat = f().expenseCategory("Flowers");
  long a = f().assignment(e, cat, f().vendor(), {.worksheetType = 1});
  f().item(a, {.item = "Roses", .price = data::money(250), .qty = 2});
  for (const char* sql :
       {"SELECT [Price]/100 AS Price FROM Items", "SELECT Sum(Qty) AS Qty FROM Items",
        "SELECT Price + Qty AS C, C * 2 AS D, D - 1 AS Price FROM Items"}) {
    const DbError err = errorOf([&] { rows(sql); });
    EXPECT_EQ(err.number(), kErrSyntax) << sql;
    EXPECT_THAT(err.description(),
                ::testing::MatchesRegex("Circular reference caused by alias '[A-Za-z]+' in "
                                        "query definition's SELECT list\\."))
        << sql;
  }
  EXPECT_THAT(rows("SELECT Items.Price/100 AS Price, [Items.Qty] AS Qty FROM Items"),
              ElementsAre("2.5|2"));
  // An alias may be used before the item that defines it.
  EXPECT_THAT(rows("SELECT Total * 2 AS Twice, Price * Qty AS Total FROM Items"),
              ElementsAre("1000|500"));
  // Each use copies the aliased expression: a doubling chain is refused before it explodes.
  std::string chain = "SELECT 1 AS a0";
  for (int i = 1; i <= 40; ++i)
    chain += ", a" + std::to_string(i - 1) + " + a" + std::to_string(i - 1) + " AS a" +
             std::to_string(i);
  EXPECT_THROW(rows(chain), DbError);
}

// A union may stand as a subquery in FROM, ordered and named by its members as a whole union.
TEST_F(Jet, UnionInsideASubqueryInFrom) {
  long e = f().event();
  for (const char* n : {"beta", "Alpha"}) f().group(e, {.label = n});
  EXPECT_THAT(rows("SELECT u.Label FROM (SELECT Label FROM GroupIDs UNION SELECT 'Alpha' FROM "
                   "GroupIDs UNION ALL (SELECT 'zed' FROM GroupIDs WHERE Label = 'beta') ORDER BY "
                   "Label) AS u"),
              ElementsAre("Alpha", "beta", "zed"));
  EXPECT_THAT(rows("SELECT Count(*) FROM (SELECT GroupID FROM GroupIDs UNION ALL SELECT GroupID "
                   "FROM GroupIDs)"),
              ElementsAre("4"));
}

// A condition on one table may ride in an ON clause only for a table that clause links: an
// empty caller clause then either narrows the join or fails, as the reports rely on.
TEST_F(Jet, JoinConditionsOnOneTableMustBelongToTheJoin) {
  long e = f().event();
  long p = f().party(e, {});
  f().invite(f().guest(f().group(e, {}), {.first = "Ann"}), p, {});
  EXPECT_THAT(rows("SELECT GuestNames.GFName FROM GuestNames INNER JOIN Invitees ON "
                   "GuestNames.GuestID = Invitees.GuestID And Invitees.PartyID = " +
                   std::to_string(p)),
              ElementsAre("Ann"));
  const std::string stray =
      "SELECT Parties.PartyID FROM SubEvents INNER JOIN (Parties INNER JOIN Invitees ON "
      "Parties.PartyID = Invitees.PartyID) ON SubEvents.SubEventID = Parties.SubEventID  and "
      "Invitees.Attending=True Order By Parties.PartyID";
  const DbError err = errorOf([&] { rows(stray); });
  EXPECT_EQ(err.description(), "JOIN expression not supported.");
  EXPECT_EQ(err.position(), static_cast<int>(stray.find("Invitees.Attending")) + 18);
}

// A RIGHT JOIN goes to SQLite as the LEFT JOIN it equals (the planner serves that far better):
// the rows are the same, a bare * still lists the left table's columns first, and an ON clause
// that reads a table outside the join is still refused.
TEST_F(Jet, RightJoinsKeepEveryRowOfTheirRightSideAndTheirColumnOrder) {
  long e = f().event();
  long lees = f().group(e, {.label = "Lees", .category = "Family"});
  long moes = f().group(e, {.label = "Moes", .category = ""});
  f().guest(lees, {.first = "Ann", .role = "Bride"});
  f().guest(lees, {.first = "Bob"});
  f().guest(moes, {.first = "Cid", .role = "Usher"});
  f().exec("INSERT INTO EventRoles (Role) VALUES ('Officiant')");
  // (The seating reports' nested right joins are checked with their statements.)
  // A join group on the left: it is matched as a whole or not at all.
  EXPECT_THAT(rows("SELECT GuestNames.GFName, GroupIDs.Label FROM (GroupIDs INNER JOIN "
                   "GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID) RIGHT "
                   "JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID ORDER BY GFName"),
              ElementsAre("Ann|Lees", "Bob|Lees", "Cid|<null>"));
  std::vector<std::string> names;
  rows("SELECT * FROM EventRoles RIGHT JOIN GuestNames ON EventRoles.RoleID = GuestNames.RoleID",
       &names);
  ASSERT_GE(names.size(), 3u);
  EXPECT_EQ(names[0], "RoleID");
  EXPECT_EQ(names[1], "Role");
  EXPECT_EQ(names[2], "GuestID");
  // The ON clause reads GroupIDs, joined only further on.
  EXPECT_THROW(rows("SELECT GuestNames.GFName FROM (EventRoles RIGHT JOIN GuestNames ON "
                    "EventRoles.RoleID = GroupIDs.GroupID) INNER JOIN GroupIDs ON "
                    "GroupIDs.GroupID = GuestNames.GroupID"),
               DbError);
}

TEST_F(Jet, ErrorsNameThePositionAndWhatIsWrong) {
  const DbError syntax = errorOf([&] { rows("SELECT Label FROM GroupIDs WHERE Label = = 'x'"); });
  EXPECT_EQ(syntax.number(), kErrSyntax);
  EXPECT_EQ(syntax.position(), 41);
  EXPECT_THAT(syntax.description(), ::testing::HasSubstr("'='"));
  // Unknown names are named, with the statement as written.
  for (auto [sql, number, name] :
       {std::tuple{"SELECT GroupIDs.NoSuch FROM GroupIDs", kErrNoSuchColumn, "GroupIDs.NoSuch"},
        {"SELECT Label FROM GroupIDs WHERE Lable = 'x'", kErrNoSuchColumn, "Lable"},
        {"SELECT Label FROM NoSuchTable", kErrNoSuchObject, "NoSuchTable"}}) {
    const DbError e = errorOf([&] { rows(sql); });
    EXPECT_EQ(e.number(), number) << sql;
    EXPECT_THAT(e.description(), ::testing::HasSubstr("'" + std::string(name) + "'"));
    EXPECT_EQ(e.sqlWritten(), sql);
  }
  // Dividing by zero is an error whichever operator divides; Null still gives Null.
  for (const char* sql : {"SELECT 7 / 0", "SELECT 7 \\ 0", "SELECT 7 Mod 0"})
    EXPECT_THAT(errorOf([&] { rows(sql); }).description(), ::testing::HasSubstr("division by zero"))
        << sql;
  EXPECT_THAT(rows("SELECT 7 / 2 & '|' & (Null / 0)"), ElementsAre("3.5|"));
  EXPECT_EQ(errorOf([&] { rows("SELECT Frob(Label) FROM GroupIDs"); }).description(),
            "Undefined function 'Frob' in expression.");
  // Long chains are refused before anything recurses through them; sensible ones pass.
  std::string chain = "SELECT 1", joins = "SELECT 1 FROM GroupIDs";
  for (int i = 0; i < 5000; ++i) chain += " + 1";
  for (int i = 0; i < 500; ++i) joins += " INNER JOIN GroupIDs AS g ON 1 = 1";
  EXPECT_THROW(rows(chain), DbError);
  EXPECT_THROW(rows(joins), DbError);
  EXPECT_THAT(rows(chain.substr(0, 8 + 4 * 60) + " & (2 * 3)"), ElementsAre("616"));
  for (const char* bad : {"SELECT", "SELECT (((", "SELECT 'abc", "SELECT [x", "SELECT #1/2",
                          "SELECT 1 FROM (GroupIDs", "TRANSFORM Sum(1) SELECT 1 FROM GroupIDs",
                          "SELECT * FROM GroupIDs UNION SELECT * FROM GroupIDs ORDER BY Nope"})
    EXPECT_THROW(rows(bad), DbError) << bad;
}

}  // namespace
}  // namespace galvix::db
