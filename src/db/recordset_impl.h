// The inside of a recordset: a checked-out statement (forward-only) or the rows read (static).
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "db/connection_impl.h"

namespace galvix::db {

class RecordsetImpl {
 public:
  ~RecordsetImpl() { release(); }
  void release();  // hands the statement back to its connection's cache

  std::shared_ptr<sqlite3> db;
  std::weak_ptr<StatementCache> cache;
  std::shared_ptr<const Plan> plan;
  std::string jetSql;
  sqlite3_stmt* stmt = nullptr;
  CursorType cursor = CursorType::ForwardOnly;
  bool open = false;

  std::vector<std::string> names;
  std::vector<VarType> declared;                // Empty: typed by the stored value
  std::vector<VarType> types;                   // what Field::type reports
  std::unordered_map<std::string, int> byName;  // folded name -> ordinal

  bool eof = true;
  bool empty = true;
  long position = 0;                       // 0-based index of the current row
  std::vector<std::vector<Variant>> rows;  // static cursor only
};

// The value of column `i` of the current row of `stmt`, typed by `declared`.
Variant readColumn(sqlite3_stmt* stmt, int i, VarType declared);

}  // namespace galvix::db
