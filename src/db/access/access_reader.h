// Reading an Access file with libmdb: its catalog, table definitions and rows as plain values.
// Internal to the Access backend; everything here may raise ReadError.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace galvix::db::access {

struct ReadError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One value of a row, already in the form it is stored in SQLite.
struct Cell {
  enum class Kind { Null, Integer, Real, Text, Blob };
  Kind kind = Kind::Null;
  std::int64_t i = 0;
  double d = 0;
  std::string s;  // text (UTF-8) or blob bytes
};

enum class ColumnKind {
  Boolean,
  Byte,
  Integer,
  Long,
  Currency,
  Single,
  Double,
  DateTime,
  Binary,
  Text,
  Ole,
  Memo,
  ReplicationId,
  Decimal,
  Complex,
  Unknown,
};

struct ColumnInfo {
  std::string name;
  ColumnKind kind = ColumnKind::Unknown;
  int size = 0, precision = 0, scale = 0;
};

struct IndexInfo {
  std::string name;
  std::vector<int> columns;  // 0-based column positions
  bool primary = false, unique = false;
};

struct TableInfo {
  std::string name;
  std::vector<ColumnInfo> columns;
  std::vector<IndexInfo> indexes;
};

enum class ObjectKind { Table, SystemTable, Query, LinkedTable, Other };

struct CatalogItem {
  std::string name;
  ObjectKind kind = ObjectKind::Other;
  bool hidden = false;
  int flags = 0;         // the catalog's flags (a query's kind is among them)
  std::uint32_t id = 0;  // low 24 bits of the object id (a table's definition page)
};

class Reader {
 public:
  explicit Reader(const std::string& path);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int version() const;  // 0 Jet 3, 1 Jet 4, 2.. ACE
  const std::vector<CatalogItem>& catalog() const { return catalog_; }

  // The definition of a table (given to `begin` first) and, through `row`, each of its rows
  // in file order.
  TableInfo readTable(const std::string& name, const std::function<void(const TableInfo&)>& begin,
                      const std::function<void(const std::vector<Cell>&)>& row);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::vector<CatalogItem> catalog_;
};

// Text stored by Jet 4 and later: UTF-16LE, or the compressed form that starts FF FE.
std::string decodeJet4Text(const unsigned char* p, std::size_t n);

// The shortest decimal that reads back as the same float, as a double (0.15f -> 0.15).
double singleAsPrinted(float f);

}  // namespace galvix::db::access
