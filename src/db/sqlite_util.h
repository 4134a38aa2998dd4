// Small SQLite helpers shared by the data access layer, the schema and the tools.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "db/connection.h"

namespace galvix::db {

// The text collation every text column of the event database declares. Jet compares text
// case-insensitively; the name is fixed so databases made here open anywhere we register it.
inline constexpr const char* kTextCollation = "JETTEXT";

// Registers the JETTEXT collation (a case-insensitive compare of UTF-8 text) on `db`.
// Safe to call more than once; the Jet function set may later replace it with its own.
void registerTextCollation(sqlite3* db);

// Case-insensitive three-way compare of two UTF-8 strings: the runtime's text order.
int compareTextNoCase(std::string_view a, std::string_view b);

// Opens a SQLite file (no implicit create unless `create`) with the text collation registered.
// Raises DbError(kErrConnection) naming the path when it cannot.
std::shared_ptr<sqlite3> openSqliteFile(const std::string& path, bool create = false);
// Process-wide SQLite settings, before its first use; every open calls it.
void configureSqlite();

// Runs one or more statements with no parameters; raises DbError with the SQL on failure.
void execSql(sqlite3* db, std::string_view sql);

// Maps a SQLite failure on `sqlExecuted` to a DbError with a number a caller can act on.
DbError sqliteError(sqlite3* db, int rc, std::string_view sqlWritten, std::string_view sqlExecuted,
                    bool translated);

// The value type a declared column type stands for (DATETIME -> Date, CURRENCY -> Currency, ...);
// VarType::Empty when the declaration does not say.
VarType varTypeFromDecl(const char* decltype_);

}  // namespace galvix::db
