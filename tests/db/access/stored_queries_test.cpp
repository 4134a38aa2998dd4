#include "db/access/stored_queries.h"

#include "db/access/access_import.h"
#include "db/access/access_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace galvix::db::access {
namespace {

QueryRow row(int attribute, std::optional<std::string> expression = {},
             std::optional<std::string> name1 = {}, std::optional<std::string> name2 = {},
             std::optional<int> flag = {}) {
  return QueryRow{attribute, std::move(expression), std::move(name1), std::move(name2), flag};
}

QueryRow type(int kind) {
  return row(1, {}, {}, {}, kind);
}

TEST(StoredQueries, SelectWithNestedJoinsAliasesAndClauses) {
  // Three tables joined by two joins that share Orders: the second join nests the first.
  std::vector<QueryRow> rows = {
      type(1),
      row(3, {}, {}, {}, 8),  // DISTINCTROW
      row(5, {}, "Orders"),
      row(5, {}, "Order Details", "OD"),
      row(5, {}, "Customers"),
      row(6, "Orders.OrderID"),
      row(6, "Sum([OD].Quantity)", "Total Qty"),
      row(7, "Orders.OrderID = OD.OrderID", "Orders", "OD", 1),
      row(7, "Customers.CustomerID = Orders.CustomerID", "Customers", "Orders", 2),
      row(8, "Orders.ShipCountry='UK'"),
      row(9, "Orders.OrderID"),
      row(10, "Sum([OD].Quantity)>10"),
      row(11, "Orders.OrderID", "D"),
  };
  EXPECT_EQ(queryKind(rows), QueryKind::Select);
  EXPECT_EQ(storedQuerySql(rows),
            "SELECT DISTINCTROW Orders.OrderID, Sum([OD].Quantity) AS [Total Qty] "
            "FROM Customers LEFT JOIN (Orders INNER JOIN [Order Details] AS OD ON "
            "Orders.OrderID = OD.OrderID) ON Customers.CustomerID = Orders.CustomerID "
            "WHERE Orders.ShipCountry='UK' GROUP BY Orders.OrderID "
            "HAVING Sum([OD].Quantity)>10 ORDER BY Orders.OrderID DESC");
}

TEST(StoredQueries, SecondConditionBetweenJoinedTablesIsAndedAndUnjoinedTablesListed) {
  std::vector<QueryRow> rows = {
      type(1),
      row(5, {}, "A"),
      row(5, {}, "B"),
      row(5, {}, "Lookup"),
      row(6, {}, {}, {}, 0),
      row(3, {}, {}, {}, 1),  // SELECT *
      row(7, "A.x = B.x", "A", "B", 1),
      row(7, "A.y = B.y", "A", "B", 1),
  };
  rows[4] = row(6, "A.x");
  EXPECT_EQ(storedQuerySql(rows),
            "SELECT A.x, * FROM Lookup, A INNER JOIN B ON (A.y = B.y) AND (A.x = B.x)");

  // The same two tables joined two different ways cannot be written as one FROM clause.
  rows.back() = row(7, "A.y = B.y", "A", "B", 2);
  EXPECT_THROW(storedQuerySql(rows), std::runtime_error);
}

TEST(StoredQueries, TopPercentAndDistinct) {
  std::vector<QueryRow> rows = {type(1), row(3, {}, "25", {}, 0x10 | 0x20), row(5, {}, "T"),
                                row(6, "T.a")};
  EXPECT_EQ(storedQuerySql(rows), "SELECT TOP 25 PERCENT T.a FROM T");
  rows[1] = row(3, {}, {}, {}, 0x02);
  EXPECT_EQ(storedQuerySql(rows), "SELECT DISTINCT T.a FROM T");
}

TEST(StoredQueries, CrosstabSeparatesValueRowHeadingsAndPivot) {
  std::vector<QueryRow> rows = {
      type(6),
      row(5, {}, "Orders"),
      row(6, "Orders.CustomerID", {}, {}, 2),
      row(6, "Year([OrderDate])", "Yr", {}, 1),
      row(6, "Sum(Orders.Freight)", "Total", {}, 0),
      row(9, "Orders.CustomerID", {}, {}, 2),
      row(9, "Year([OrderDate])", {}, {}, 1),
  };
  EXPECT_EQ(storedQuerySql(rows),
            "TRANSFORM Sum(Orders.Freight) AS Total SELECT Orders.CustomerID FROM Orders "
            "GROUP BY Orders.CustomerID PIVOT Year([OrderDate])");
}

TEST(StoredQueries, UnionPartsAndKind) {
  std::vector<QueryRow> rows = {
      type(9),
      row(3, {}, {}, {}, 0x02),
      row(5, "SELECT City FROM Customers;\r\n", {}, "X7YZ_____1"),
      row(5, "SELECT City FROM Suppliers", {}, "X7YZ_____2"),
      row(11, "City"),
  };
  EXPECT_EQ(storedQuerySql(rows),
            "SELECT City FROM Customers UNION SELECT City FROM Suppliers ORDER BY City");
  rows[1] = row(3, {}, {}, {}, 0);
  EXPECT_EQ(storedQuerySql(rows),
            "SELECT City FROM Customers UNION ALL SELECT City FROM Suppliers ORDER BY City");
  rows.erase(rows.begin() + 3);
  EXPECT_THROW(storedQuerySql(rows), std::runtime_error);
}

TEST(StoredQueries, ActionQueriesAndParametersAreReported) {
  std::vector<QueryRow> rows = {type(2), row(5, {}, "T"), row(6, "T.a")};
  EXPECT_EQ(queryKind(rows), QueryKind::MakeTable);
  // A make-table query has no select to show.
  EXPECT_THAT([&] { storedQuerySql(rows); },
              ::testing::ThrowsMessage<std::runtime_error>(::testing::HasSubstr("make-table")));
  rows = {type(1), row(2, {}, "[Start Date]", {}, 8), row(2, {}, "Forms!Dlg!End", {}, 8)};
  EXPECT_EQ(queryParameters(rows), (std::vector<std::string>{"[Start Date]", "Forms!Dlg!End"}));
  EXPECT_EQ(queryKind({}), QueryKind::Unknown);
}

TEST(ViewText, ParametersAreInlinedOnlyOutsideQuotesAndBrackets) {
  EXPECT_EQ(inlineParameters("SELECT ?, '?''?', [a?], \"?\", `?` FROM t WHERE x > ?", {"1", "2.5"}),
            "SELECT 1, '?''?', [a?], \"?\", `?` FROM t WHERE x > 2.5");
}

TEST(ViewText, SinglesKeepTheirShortestDecimalForm) {
  EXPECT_EQ(singleAsPrinted(0.15f), 0.15);
  EXPECT_EQ(singleAsPrinted(1.1f), 1.1);
  EXPECT_EQ(singleAsPrinted(-3.4028235e38f), -3.4028235e38);
}

TEST(ViewText, CompressedAndPlainJetText) {
  // FF FE, then one byte per character until a 0 switches to two-byte characters.
  const unsigned char compressed[] = {0xff, 0xfe, 'M', 'i', 'r', ' ', 0, 0x1c, 0x04, 0x38, 0x04};
  EXPECT_EQ(decodeJet4Text(compressed, sizeof compressed), "Mir Ми");
  const unsigned char plain[] = {'a', 0, 0xe4, 0, 0x3d, 0xd8, 0x00, 0xde};  // a, ä, U+1F600
  EXPECT_EQ(decodeJet4Text(plain, sizeof plain), "a\xC3\xA4\xF0\x9F\x98\x80");
  const unsigned char broken[] = {'a', 0, 0x00, 0xd8};  // a lone surrogate
  EXPECT_EQ(decodeJet4Text(broken, sizeof broken), "a\xEF\xBF\xBD");
}

}  // namespace
}  // namespace galvix::db::access
