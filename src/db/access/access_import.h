// Copies an Access file into an empty SQLite database: tables with their rows, indexes, and
// saved queries as views. Runs in the reading process (see access_backend.cpp).
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "db/access/access_backend.h"
#include "db/access/access_reader.h"

namespace galvix::db::access {

// `db` is empty, with the text collation registered. Raises ReadError or DbError.
void importFile(const std::string& path, sqlite3* db, LoadInfo& info);

// The declared SQLite type of a column kind ("TEXT COLLATE JETTEXT", "DATETIME", ...).
std::string declaredType(const ColumnInfo& column);

// `sql` with each ? parameter outside quotes and brackets replaced by the literal in `params`.
std::string inlineParameters(const std::string& sql, const std::vector<std::string>& literals);

}  // namespace galvix::db::access
