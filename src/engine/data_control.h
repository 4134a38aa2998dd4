// The data control (datRpt): where a report's rows come from, and the view of the row being
// formatted that handlers read. Because the engine reads one row ahead and prints bands after
// formatting them, handlers never see the raw cursor: recordset() shows the row of the band
// instance whose event is running (at PageStart, the row of the page's first band).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/variant.h"

namespace galvix::db {
class Connection;
class Recordset;
}  // namespace galvix::db

namespace galvix::engine {

// Column names of a row source, shared by all its rows.
struct Columns {
  std::vector<std::string> names;
  int find(std::string_view name) const;  // case-insensitive; -1 if absent
};

using RowValues = std::vector<Variant>;
using RowPtr = std::shared_ptr<const RowValues>;

// The current row as handlers read it.
class RowView {
 public:
  bool BOF() const { return bof_; }   // before the first row, or no rows at all
  bool EOF_() const { return eof_; }  // past the last row, or no rows at all
  int fieldCount() const;
  const std::string& fieldName(int ordinal) const;
  bool hasField(std::string_view name) const;
  // The current row's value; db::DbError at BOF/EOF (kErrBofEof) or for an unknown name.
  Variant value(std::string_view name) const;
  Variant value(int ordinal) const;

  // Engine side.
  void setColumns(std::shared_ptr<const Columns> c) { columns_ = std::move(c); }
  const std::shared_ptr<const Columns>& columns() const { return columns_; }
  void setRow(RowPtr r, long index);  // null row: past the last
  void setBeforeFirst() {
    row_.reset();
    bof_ = true;
    eof_ = false;
    index_ = -1;
  }
  void setEmpty() {
    row_.reset();
    bof_ = eof_ = true;
    index_ = -1;
  }
  const RowPtr& row() const { return row_; }
  long rowIndex() const { return index_; }  // 0-based, -1 if none

 private:
  std::shared_ptr<const Columns> columns_;
  RowPtr row_;
  long index_ = -1;
  bool bof_ = true;
  bool eof_ = false;
};

// Where rows come from: a query on a connection, or rows given in memory (tests, computed data).
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual std::shared_ptr<const Columns> columns() = 0;
  virtual RowPtr next() = 0;  // null at the end
};

class DataControl {
 public:
  DataControl();
  ~DataControl();
  DataControl(const DataControl&) = delete;
  DataControl& operator=(const DataControl&) = delete;

  const std::string& name() const { return name_; }
  void setName(std::string n) { name_ = std::move(n); }
  const std::string& connectionString() const { return connectionString_; }
  void setConnectionString(std::string s);
  const std::string& source() const { return source_; }
  void setSource(std::string sql);

  // The row being formatted. Before the run has fetched a row (ReportStart), reading it opens
  // the source so its columns can be counted and named; the run then reads the same rows.
  RowView& recordset();

  // Rows from memory instead of a query (takes precedence over source()).
  void setRows(std::vector<std::string> columns, std::vector<RowValues> rows);
  // A connection to reuse instead of opening one from connectionString() (subreports run per
  // row share their parent's).
  void setConnection(std::shared_ptr<db::Connection> c) { connection_ = std::move(c); }
  // Closes the rows and lets go of the connection: the next run opens its own.
  void release() {
    close();
    connection_.reset();
  }
  const std::shared_ptr<db::Connection>& connection() const { return connection_; }

  // Engine side: opens the source if not yet open and returns it.
  RowSource& open();
  void close();
  void endRun() {
    running_ = false;
    close();
  }
  bool isOpen() const { return static_cast<bool>(source_impl_); }

 private:
  std::string name_ = "datRpt";
  std::string connectionString_;
  std::string source_;
  std::shared_ptr<db::Connection> connection_;
  std::unique_ptr<RowSource> source_impl_;
  std::shared_ptr<std::vector<RowValues>> memRows_;
  std::shared_ptr<const Columns> memColumns_;
  RowView view_;
  RowPtr peeked_;  // first row read by an early recordset() call, handed to the run
  bool peekedValid_ = false;
  bool running_ = false;  // the run owns the view; recordset() no longer opens
  friend class RunLoop;
};

}  // namespace galvix::engine
