// Data access in the shape the reports use it: connections opened from a connection string,
// recordsets (forward-only read-only, or static with a record count), and commands.
#pragma once

#include "galvix/error.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/variant.h"

namespace galvix::db {

inline constexpr std::uint32_t kErrSyntax = 0x80040E14;        // syntax error; table exists
inline constexpr std::uint32_t kErrNoSuchObject = 0x80040E37;  // unknown table
inline constexpr std::uint32_t kErrNoSuchColumn = 0x80040E10;  // unknown column / parameter
inline constexpr std::uint32_t kErrConnection = 0x80004005;    // cannot open the database
inline constexpr std::uint32_t kErrState = 0x800A0E78;         // operation on a closed object
inline constexpr std::uint32_t kErrBofEof = 0x800A0BCD;        // BOF or EOF is true
inline constexpr std::uint32_t kErrItemNotFound = 0x800A0CC1;  // no field of that name or ordinal

// A database error: a number, a description, and the SQL as written and as executed.
class DbError : public galvix::Error {
 public:
  DbError(std::uint32_t number, std::string description, std::string sqlWritten = {},
          std::string sqlExecuted = {}, int position = -1);
  std::uint32_t number() const noexcept { return number_; }
  const std::string& description() const noexcept { return description_; }
  // sqlWritten(), sqlExecuted() and position() (0-based offset in sqlWritten, -1 if none) are
  // galvix::Error's.

 private:
  std::uint32_t number_;
  std::string description_;
};

class ConnectionImpl;
class RecordsetImpl;
struct Plan;

// One report run's hold on its databases. Connections opened on this thread while a RunScope
// lives share one database handle per file, so a table one of them makes is seen by the others;
// the tables named as work tables are made as that handle's temporary tables. They belong to
// this run alone (another run, thread or process never sees them) and vanish with the handle,
// however the run ends, leaving the user's database as it was.
class RunScope {
 public:
  // `interrupt`, when given, is asked now and then while a statement runs on a database file of
  // the run: true ends the statement with an error (a query that would take hours stops).
  explicit RunScope(std::vector<std::string> workTables = {}, std::function<bool()> interrupt = {});
  ~RunScope();
  RunScope(const RunScope&) = delete;
  RunScope& operator=(const RunScope&) = delete;

  struct State;
  static State* current();

 private:
  std::unique_ptr<State> state_;
};

// One open event database.
class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Jet style "Provider=...;Data Source=C:\path\events.mdb;..." or a bare path.
  // .mdb/.accdb go to the Access backend, anything else is a SQLite file.
  void open(std::string_view connectionString);
  void close();
  bool isOpen() const;
  const std::string& connectionString() const;

  // Runs a statement that returns no rows (make-table, DROP TABLE, ...); returns rows affected.
  long execute(std::string_view jetSql);
  // The same for SQL already in SQLite's dialect (one or more statements, run as one unit).
  long executeNative(std::string_view sqliteSql);
  // Copies this run's work table `table` (made as a temporary table of the run) into the
  // database file, replacing a table of that name there, in one step: for a work table the
  // user keeps after the run. Does nothing when the run has no such table.
  void keepWorkTable(std::string_view table);

  // A transaction that takes the database's write lock at once: other connections, threads and
  // processes wait (up to the busy timeout) until it is committed or rolled back, so a sequence
  // of statements that replaces a table is seen whole or not at all.
  void beginTrans();
  void commitTrans();
  void rollbackTrans() noexcept;

  ConnectionImpl& impl();  // backend access for the recordset and tools

 private:
  std::unique_ptr<ConnectionImpl> impl_;
  std::string connectionString_;
};

enum class CursorType { ForwardOnly, Static };

class Recordset;

class Field {
 public:
  const std::string& name() const;
  VarType type() const;     // the declared type of the column
  Variant value() const;    // the current row's value; raises DbError(kErrBofEof) at BOF/EOF
  long actualSize() const;  // bytes of the current value
  // Reads the next `n` bytes of a binary or text value (successive calls continue).
  Bytes getChunk(long n);

 private:
  friend class Recordset;
  Field(Recordset* rs, int ordinal) : rs_(rs), ordinal_(ordinal) {}
  Recordset* rs_;
  int ordinal_;
  long chunkOffset_ = 0;
};

class Recordset {
 public:
  Recordset();
  ~Recordset();
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  void open(std::string_view jetSql, Connection& conn, CursorType cursor = CursorType::ForwardOnly);
  // Runs SQL already in SQLite's dialect, untranslated (tools and tests).
  void openNative(std::string_view sqliteSql, Connection& conn,
                  CursorType cursor = CursorType::ForwardOnly);
  void close();
  bool isOpen() const;

  bool BOF() const;
  bool EOF_() const;  // EOF is a macro in <cstdio>
  void moveNext();
  void moveFirst();          // forward-only: re-executes the query, as the provider does
  long recordCount() const;  // Static: the row count; ForwardOnly: -1

  int fieldCount() const;
  Field& fields(int ordinal);
  Field& fields(std::string_view name);  // case-insensitive; unknown name raises DbError
  Variant value(std::string_view name) { return fields(name).value(); }

  RecordsetImpl& impl();

 private:
  friend class Field;
  void openPlan(std::shared_ptr<const Plan> plan, std::string_view written, Connection& conn,
                CursorType cursor);
  std::unique_ptr<RecordsetImpl> impl_;
  std::vector<std::unique_ptr<Field>> fields_;
};

// A statement that reads no result (make-table, DROP TABLE, ...), run on a connection.
class Command {
 public:
  Command() = default;
  Command(Connection& conn, std::string_view jetSql) : conn_(&conn), text_(jetSql) {}
  void setActiveConnection(Connection& conn) { conn_ = &conn; }
  void setCommandText(std::string_view jetSql) { text_ = jetSql; }
  const std::string& commandText() const { return text_; }
  long execute();  // rows affected; raises DbError (kErrState without an open connection)

 private:
  Connection* conn_ = nullptr;
  std::string text_;
};

}  // namespace galvix::db
