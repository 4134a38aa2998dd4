#include "db/access/stored_queries.h"

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
  try {
    storedQuerySql(rows);
    FAIL() << "a make-table query has no select to show";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("make-table"), std::string::npos);
  }
  rows = {type(1), row(2, {}, "[Start Date]", {}, 8), row(2, {}, "Forms!Dlg!End", {}, 8)};
  EXPECT_EQ(queryParameters(rows), (std::vector<std::string>{"[Start Date]", "Forms!Dlg!End"}));
  EXPECT_EQ(queryKind({}), QueryKind::Unknown);
}

}  // namespace
}  // namespace galvix::db::access
