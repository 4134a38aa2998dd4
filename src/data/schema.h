// The event database as the reports read it, for SQLite: tables, columns, indexes and the
// GuestPartyAttendance view.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>
#include <vector>

namespace galvix::data {

// What a column holds, and so how it is declared (see docs/db.md for the declared types).
enum class Kind {
  Id,        // INTEGER: a 32-bit key
  Text,      // TEXT COLLATE JETTEXT
  Memo,      // LONGTEXT COLLATE JETTEXT
  Truth,     // BIT: -1 true, 0 false
  Date,      // DATETIME: serial days since 1899-12-30
  Time,      // DATETIME: the fraction of a day
  Long,      // INTEGER: a whole number
  Short,     // SMALLINT
  Double,    // DOUBLE: rates, quantities
  Currency,  // CURRENCY: money, stored as REAL
  Picture,   // BLOB
};

struct ColumnDef {
  std::string_view name;
  Kind kind;
};

struct TableDef {
  std::string_view name;
  std::string_view key;  // the column that is the table's own id ("" when it has none)
  std::vector<ColumnDef> columns;
  std::vector<std::string_view> indexed;  // key columns of other tables
};

// Every table of the event database (not the work tables the reports make).
const std::vector<TableDef>& eventTables();
const TableDef* findTable(std::string_view name);  // case-insensitive; nullptr if unknown

// The SQL declaration of a column kind ("TEXT COLLATE JETTEXT", "DATETIME", ...).
std::string_view declaredType(Kind kind);

// The whole schema as SQL: tables, indexes and views.
std::string eventSchemaSql();

// Creates the schema in an empty database (the JETTEXT collation must be registered, as
// db::openSqliteFile does). Raises db::DbError on failure.
void createEventSchema(sqlite3* db);

}  // namespace galvix::data
