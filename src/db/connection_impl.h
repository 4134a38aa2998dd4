// The inside of a connection: the SQLite handle, the translation cache and the statement cache.
// Used by the recordset, the command tool and benchmarks; reports use connection.h only.
#pragma once

#include <sqlite3.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/connection.h"

namespace galvix::db {

namespace jet {
struct GroupedCount;
}
class SideCounts;

enum class PlanKind { Select, MakeTable, DropTable, Other };

// A Jet statement made ready for SQLite: the SQL to run, its bound values and what it returns.
struct Plan {
  std::string sql;
  std::vector<Variant> params;
  PlanKind kind = PlanKind::Other;
  std::string targetTable;
  std::vector<std::string> columnNames;  // empty: SQLite's names
  std::vector<VarType> columnTypes;      // empty or Empty entries: from the declared types
  std::shared_ptr<const jet::GroupedCount> grouped;  // a count a grouped query can answer
  bool answer = false;  // a count read from a grouped query (only for the statement log)
};

// Hash for maps keyed by std::string that are looked up by string_view without a copy.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const noexcept {
    return std::hash<std::string_view>{}(s);
  }
};
template <class V>
using TextMap = std::unordered_map<std::string, V, TextHash, std::equal_to<>>;

// Idle prepared statements keyed by their SQLite text. A statement is checked out while a
// recordset steps it and handed back afterwards, so two open recordsets never share one.
class StatementCache {
 public:
  explicit StatementCache(std::shared_ptr<sqlite3> db) : db_(std::move(db)) {}
  ~StatementCache();
  StatementCache(const StatementCache&) = delete;
  StatementCache& operator=(const StatementCache&) = delete;

  // A prepared statement for the first statement of `sql`; `tail` gets the rest of the text.
  // Returns nullptr with rc set on failure.
  sqlite3_stmt* checkOut(std::string_view sql, int& rc, std::string_view* tail = nullptr);
  void giveBack(sqlite3_stmt* stmt);
  void clear();
  std::size_t hits() const { return hits_; }
  std::size_t misses() const { return misses_; }

 private:
  std::shared_ptr<sqlite3> db_;
  TextMap<sqlite3_stmt*> idle_;
  std::size_t hits_ = 0, misses_ = 0;
};

struct RunScope::State {
  RunScope::State* previous = nullptr;
  std::vector<std::string> workTables;
  std::function<bool()> interrupt;
  std::unordered_map<std::string, std::shared_ptr<sqlite3>> handles;  // by file
};

class ConnectionImpl {
 public:
  // `workTables`: make-table targets made as temporary tables of this handle. `groupCounts`:
  // counts run once per row are answered from one grouped query (a run's connections).
  explicit ConnectionImpl(std::shared_ptr<sqlite3> db, std::vector<std::string> workTables = {},
                          bool groupCounts = false);
  ~ConnectionImpl();

  sqlite3* db() const { return db_.get(); }
  const std::shared_ptr<sqlite3>& dbShared() const { return db_; }
  const std::shared_ptr<StatementCache>& statements() const { return statements_; }

  // The translation of `jetSql`, from the cache when it was translated before.
  std::shared_ptr<const Plan> plan(std::string_view jetSql);
  // What a recordset runs for `jetSql`: its plan, or its count read from a grouped query.
  std::shared_ptr<const Plan> readPlan(std::string_view jetSql);
  // Runs a statement reading no result; returns the rows changed.
  long execute(std::string_view jetSql);
  // Runs a plan; `written` is the text the caller gave (for errors).
  long run(const Plan& plan, std::string_view written);
  // Forgets translations (the schema changed: a work table was made or dropped).
  void schemaChanged();

  std::size_t translationHits() const { return planHits_; }

 private:
  std::shared_ptr<sqlite3> db_;
  std::shared_ptr<StatementCache> statements_;
  TextMap<std::shared_ptr<const Plan>> plans_;
  std::size_t planHits_ = 0;
  struct TranslatorHolder;
  std::unique_ptr<TranslatorHolder> translator_;
  std::vector<std::string> workTables_;
  std::unique_ptr<SideCounts> sideCounts_;
};

// The file a connection string names: the Data Source of a Jet style string, or the string itself.
std::string dataSourceOf(std::string_view connectionString);
// The local file for a path written Windows style (backslashes, drive letter), if one exists;
// else the path with forward slashes.
std::string localPath(const std::string& path);

// Binds `params` to `stmt` in order starting at parameter `first` (1-based); returns the next.
// Every statement a connection runs is bound here first, so this is also where it is logged.
int bindParams(sqlite3_stmt* stmt, const std::vector<Variant>& params, int first = 1);

// The statements SQLite was given on this thread, as run (SQLite text and bound values): for
// benchmarks that replay a report's SQL on SQLite alone. Off (nullptr) unless a tool sets one.
// Counts answered from a grouped query are logged three ways, so a replay can run either what
// SQLite was given or what the report wrote: the grouped query (`Grouped`), each count read from
// it (`Answer`), and each such count as it would have run on its own (`Alone`, not run).
struct LoggedStatement {
  enum class Kind { Run, Grouped, Answer, Alone };
  std::string sql;
  std::vector<Variant> params;
  Kind kind = Kind::Run;
};
void setStatementLog(std::vector<LoggedStatement>* log);
bool statementLogOn();
// Adds a statement that was not run to the log (when there is one).
void logUnrun(LoggedStatement s);
// While one lives, statements bound on this thread are logged as `kind`.
class LogAs {
 public:
  explicit LogAs(LoggedStatement::Kind kind);
  ~LogAs();
  LogAs(const LogAs&) = delete;
  LogAs& operator=(const LogAs&) = delete;

 private:
  LoggedStatement::Kind previous_;
};

}  // namespace galvix::db
