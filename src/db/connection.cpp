#include "db/connection.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "db/connection_impl.h"
#include "db/recordset_impl.h"
#include "db/side_counts.h"
#include "db/sqlite_util.h"

#include "db/access/access_backend.h"
#include "db/jet/translator.h"

namespace galvix::db {

namespace {

constexpr std::size_t kMaxPlans = 2048;

std::string lowerAscii(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

std::string unquote(std::string_view s) {
  s = trim(s);
  if (s.size() >= 2 && (s.front() == '"' || s.front() == '\'') && s.back() == s.front())
    s = s.substr(1, s.size() - 2);
  return std::string(s);
}

bool endsWithNoCase(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && lowerAscii(s.substr(s.size() - suffix.size())) == suffix;
}

// In the handle's own temporary tables or in the database.
bool tableExists(sqlite3* db, const std::string& name) {
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db,
                     "SELECT 1 FROM sqlite_temp_schema WHERE type IN ('table','view') AND name = "
                     "?1 COLLATE NOCASE UNION ALL SELECT 1 FROM sqlite_schema WHERE type IN "
                     "('table','view') AND name = ?1 COLLATE NOCASE",
                     -1, &st, nullptr);
  sqlite3_bind_text(st, 1, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  bool found = sqlite3_step(st) == SQLITE_ROW;
  sqlite3_finalize(st);
  return found;
}

thread_local RunScope::State* t_scope = nullptr;

bool isAccessPath(const std::string& path) {
  return endsWithNoCase(path, ".mdb") || endsWithNoCase(path, ".accdb");
}

// An in-memory copy of `shared` (a loaded Access file: a few milliseconds for megabytes).
std::shared_ptr<sqlite3> privateCopy(const std::shared_ptr<sqlite3>& shared,
                                     const std::string& path) {
  configureSqlite();
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(":memory:", &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  std::shared_ptr<sqlite3> copy(raw, [](sqlite3* d) { sqlite3_close_v2(d); });
  sqlite3_backup* b =
      rc == SQLITE_OK ? sqlite3_backup_init(raw, "main", shared.get(), "main") : nullptr;
  if (b) {
    rc = sqlite3_backup_step(b, -1);
    sqlite3_backup_finish(b);
  }
  if (!b || rc != SQLITE_DONE)
    throw DbError(kErrConnection, "Cannot open the Access database '" + path +
                                      "': no memory for a copy of it (" +
                                      std::string(raw ? sqlite3_errmsg(raw) : "") + ").");
  sqlite3_extended_result_codes(raw, 1);
  return copy;
}

const std::string kClosedMessage = "Operation is not allowed when the object is closed.";

}  // namespace

// ---------------------------------------------------------------------------------------------
DbError::DbError(std::uint32_t number, std::string description, std::string sqlWritten,
                 std::string sqlExecuted, int position)
    : galvix::Error(description), number_(number), description_(std::move(description)) {
  withSql(std::move(sqlWritten), std::move(sqlExecuted), position);
  withCause(description_);
}

// ---------------------------------------------------------------------------------------------
std::string dataSourceOf(std::string_view cs) {
  cs = trim(cs);
  if (cs.find('=') == std::string_view::npos) return unquote(cs);
  std::size_t i = 0;
  while (i < cs.size()) {
    // key=value; a value may be quoted and then hold ';'.
    std::size_t eq = cs.find('=', i);
    if (eq == std::string_view::npos) break;
    std::string key = lowerAscii(trim(cs.substr(i, eq - i)));
    std::size_t v = eq + 1;
    while (v < cs.size() && std::isspace(static_cast<unsigned char>(cs[v]))) ++v;
    std::size_t end;
    if (v < cs.size() && (cs[v] == '"' || cs[v] == '\'')) {
      std::size_t close = cs.find(cs[v], v + 1);
      end = close == std::string_view::npos ? cs.size() : cs.find(';', close);
    } else {
      end = cs.find(';', v);
    }
    if (end == std::string_view::npos) end = cs.size();
    if (key == "data source" || key == "dbq" || key == "database" || key == "filename")
      return unquote(cs.substr(v, end - v));
    i = end + 1;
  }
  throw DbError(kErrConnection,
                "The connection string names no data source: '" + std::string(cs) + "'.");
}

std::string localPath(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::exists(path, ec)) return path;
  std::string p = path;
  std::replace(p.begin(), p.end(), '\\', '/');
  if (fs::exists(p, ec)) return p;
  if (p.size() >= 3 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':' &&
      p[2] == '/') {
    std::string noDrive = p.substr(2);
    if (fs::exists(noDrive, ec)) return noDrive;
  }
  return p;
}

// ---------------------------------------------------------------------------------------------
StatementCache::~StatementCache() {
  clear();
}

sqlite3_stmt* StatementCache::checkOut(std::string_view sql, int& rc, std::string_view* tail) {
  if (auto it = idle_.find(sql); it != idle_.end()) {
    sqlite3_stmt* st = it->second;
    idle_.erase(it);
    ++hits_;
    rc = SQLITE_OK;
    if (tail) *tail = sql.substr(std::string_view(sqlite3_sql(st)).size());
    return st;
  }
  ++misses_;
  sqlite3_stmt* st = nullptr;
  const char* rest = nullptr;
  rc = sqlite3_prepare_v3(db_.get(), sql.data(), static_cast<int>(sql.size()),
                          SQLITE_PREPARE_PERSISTENT, &st, &rest);
  if (rc != SQLITE_OK) {
    sqlite3_finalize(st);
    return nullptr;
  }
  if (tail) *tail = rest ? sql.substr(static_cast<std::size_t>(rest - sql.data())) : "";
  return st;
}

void StatementCache::giveBack(sqlite3_stmt* stmt) {
  if (!stmt) return;
  sqlite3_reset(stmt);
  sqlite3_clear_bindings(stmt);
  // The key is the text the statement was prepared from, up to its end.
  const char* text = sqlite3_sql(stmt);
  std::string key = text ? text : "";
  if (key.empty() || idle_.count(key)) {
    sqlite3_finalize(stmt);
    return;
  }
  idle_.emplace(std::move(key), stmt);
}

void StatementCache::clear() {
  for (auto& [k, st] : idle_) sqlite3_finalize(st);
  idle_.clear();
}

namespace {
thread_local std::vector<LoggedStatement>* t_statementLog = nullptr;
thread_local LoggedStatement::Kind t_logKind = LoggedStatement::Kind::Run;
}  // namespace

void setStatementLog(std::vector<LoggedStatement>* log) {
  t_statementLog = log;
}

bool statementLogOn() {
  return t_statementLog != nullptr;
}

void logUnrun(LoggedStatement s) {
  if (t_statementLog) t_statementLog->push_back(std::move(s));
}

LogAs::LogAs(LoggedStatement::Kind kind) : previous_(t_logKind) {
  t_logKind = kind;
}

LogAs::~LogAs() {
  t_logKind = previous_;
}

int bindParams(sqlite3_stmt* stmt, const std::vector<Variant>& params, int first) {
  int n = sqlite3_bind_parameter_count(stmt);
  if (t_statementLog) {
    const auto from = std::min(params.size(), static_cast<std::size_t>(first - 1));
    const auto to = std::min(params.size(), from + static_cast<std::size_t>(n));
    t_statementLog->push_back(
        {sqlite3_sql(stmt),
         {params.begin() + static_cast<long>(from), params.begin() + static_cast<long>(to)},
         t_logKind});
  }
  int i = first;
  for (int slot = 1; slot <= n; ++slot, ++i) {
    if (i - 1 >= static_cast<int>(params.size())) break;
    const Variant& v = params[static_cast<std::size_t>(i - 1)];
    switch (v.type()) {
      case VarType::Empty:
      case VarType::Null:
        sqlite3_bind_null(stmt, slot);
        break;
      case VarType::Boolean:
        sqlite3_bind_int(stmt, slot, v.rawBool() ? -1 : 0);
        break;
      case VarType::Integer:
      case VarType::Long:
        sqlite3_bind_int64(stmt, slot, v.rawInt());
        break;
      case VarType::Single:
      case VarType::Double:
      case VarType::Date:
        sqlite3_bind_double(stmt, slot, v.rawDouble());
        break;
      case VarType::Currency:
        sqlite3_bind_double(stmt, slot, v.rawCurrency().toDouble());
        break;
      case VarType::String:
        sqlite3_bind_text(stmt, slot, v.rawString().data(), static_cast<int>(v.rawString().size()),
                          SQLITE_TRANSIENT);
        break;
      case VarType::Binary: {
        const Bytes& b = v.bytes();
        sqlite3_bind_blob(stmt, slot, b.data(), static_cast<int>(b.size()), SQLITE_TRANSIENT);
        break;
      }
    }
  }
  return first + n;
}

// ---------------------------------------------------------------------------------------------
struct ConnectionImpl::TranslatorHolder {
  explicit TranslatorHolder(sqlite3* db) : translator(db) {}
  jet::Translator translator;
};

ConnectionImpl::ConnectionImpl(std::shared_ptr<sqlite3> db, std::vector<std::string> workTables,
                               bool groupCounts)
    : db_(std::move(db)),
      statements_(std::make_shared<StatementCache>(db_)),
      translator_(std::make_unique<TranslatorHolder>(db_.get())),
      workTables_(std::move(workTables)),
      sideCounts_(groupCounts ? std::make_unique<SideCounts>(db_.get()) : nullptr) {}

ConnectionImpl::~ConnectionImpl() = default;

std::shared_ptr<const Plan> ConnectionImpl::plan(std::string_view jetSql) {
  if (auto* log = SideQueryLog::current()) log->statements.emplace_back(jetSql);
  if (auto it = plans_.find(jetSql); it != plans_.end()) {
    ++planHits_;
    return it->second;
  }
  auto p = std::make_shared<Plan>();
  const std::size_t shapesBefore = translator_->translator.reused();
  jet::Translation t = translator_->translator.translate(jetSql);
  // A statement whose literals were bound into a translation of its shape is most likely one of
  // a run of per-row statements, each text seen once: its shape serves it again cheaply enough.
  const bool perRow = translator_->translator.reused() != shapesBefore && !t.params.empty();
  p->sql = std::move(t.sql);
  p->params = std::move(t.params);
  switch (t.kind) {
    case jet::StatementKind::Select:
      p->kind = PlanKind::Select;
      break;
    case jet::StatementKind::MakeTable:
      p->kind = PlanKind::MakeTable;
      break;
    case jet::StatementKind::DropTable:
      p->kind = PlanKind::DropTable;
      break;
    default:
      p->kind = PlanKind::Other;
  }
  p->targetTable = std::move(t.targetTable);
  // A run's work table is this handle's own.
  constexpr std::string_view kCreate = "CREATE TABLE ";
  if (p->kind == PlanKind::MakeTable && p->sql.rfind(kCreate, 0) == 0 &&
      std::any_of(workTables_.begin(), workTables_.end(), [&](const std::string& w) {
        return lowerAscii(w) == lowerAscii(p->targetTable);
      }))
    p->sql.insert(kCreate.size() - 6, "TEMP ");
  p->columnNames = std::move(t.columnNames);
  p->columnTypes = std::move(t.columnTypes);
  p->grouped = std::move(t.grouped);
  // A crosstab's columns depend on the data: it is translated afresh each time.
  if (!t.cacheable || perRow) return p;
  if (plans_.size() >= kMaxPlans) plans_.clear();
  plans_.emplace(std::string(jetSql), p);
  return p;
}

std::shared_ptr<const Plan> ConnectionImpl::readPlan(std::string_view jetSql) {
  std::shared_ptr<const Plan> p = plan(jetSql);
  if (sideCounts_ && p->grouped)
    if (auto answer = sideCounts_->answer(*p, *statements_, jetSql)) return answer;
  return p;
}

void ConnectionImpl::schemaChanged() {
  plans_.clear();
  statements_->clear();
  if constexpr (requires(jet::Translator & x) { x.schemaChanged(); })
    translator_->translator.schemaChanged();
}

long ConnectionImpl::execute(std::string_view jetSql) {
  return run(*plan(jetSql), jetSql);
}

long ConnectionImpl::run(const Plan& plan, std::string_view jetSql) {
  // A statement that reads no rows may write: no count kept holds after it.
  if (sideCounts_) sideCounts_->clear();
  const Plan* p = &plan;
  std::string written(jetSql);
  bool translated = p->sql != written;
  if (p->kind == PlanKind::MakeTable && !p->targetTable.empty() &&
      tableExists(db(), p->targetTable))
    throw DbError(kErrSyntax, "Table '" + p->targetTable + "' already exists.", written, p->sql);

  sqlite3_int64 before = sqlite3_total_changes64(db());
  std::string_view rest = p->sql;
  // Several statements (a make-table is a create and an insert) run as one unit.
  bool several = false;
  {
    int rc = 0;
    std::string_view tail;
    sqlite3_stmt* st = statements_->checkOut(rest, rc, &tail);
    if (!st) throw sqliteError(db(), rc, written, p->sql, translated);
    several = !trim(tail).empty();
    statements_->giveBack(st);
  }
  if (several) execSql(db(), "SAVEPOINT galvix_execute");
  bool schemaChange = p->kind == PlanKind::MakeTable || p->kind == PlanKind::DropTable;
  try {
    int nextParam = 1;
    while (!trim(rest).empty()) {
      int rc = 0;
      std::string_view tail;
      sqlite3_stmt* st = statements_->checkOut(rest, rc, &tail);
      if (!st) throw sqliteError(db(), rc, written, p->sql, translated);
      nextParam = bindParams(st, p->params, nextParam);
      if (!sqlite3_stmt_readonly(st) && sqlite3_column_count(st) == 0) {
        std::string head = lowerAscii(trim(std::string_view(sqlite3_sql(st))).substr(0, 6));
        if (head == "create" || head == "drop" || head == "alter ") schemaChange = true;
      }
      while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
      }
      if (rc != SQLITE_DONE) {
        DbError e = sqliteError(db(), rc, written, p->sql, translated);
        statements_->giveBack(st);
        throw e;
      }
      statements_->giveBack(st);
      rest = tail;
    }
  } catch (...) {
    if (several) {
      sqlite3_exec(db(), "ROLLBACK TO galvix_execute; RELEASE galvix_execute", nullptr, nullptr,
                   nullptr);
    }
    throw;
  }
  if (several) execSql(db(), "RELEASE galvix_execute");
  if (schemaChange) schemaChanged();
  return static_cast<long>(sqlite3_total_changes64(db()) - before);
}

// ---------------------------------------------------------------------------------------------
Connection::Connection() = default;
Connection::~Connection() = default;

void Connection::open(std::string_view connectionString) {
  close();
  std::string source = dataSourceOf(connectionString);
  if (source.empty())
    throw DbError(kErrConnection, "The connection string names no data source: '" +
                                      std::string(connectionString) + "'.");
  std::shared_ptr<sqlite3> db;
  bool special = source == ":memory:" || source.rfind("file:", 0) == 0;
  std::string path = special ? source : localPath(source);
  if (!special && !std::filesystem::exists(path))
    throw DbError(kErrConnection, "Could not find file '" + source + "'.");
  RunScope::State* scope = RunScope::current();
  if (scope && !special)
    if (auto it = scope->handles.find(path); it != scope->handles.end()) db = it->second;
  if (!db) {
    if (isAccessPath(path)) {
      db = access::open(path);
      // A run reads its own copy of the loaded file: its work tables and its interruptions
      // touch no other run of the process.
      if (scope) db = privateCopy(db, path);
    } else {
      db = openSqliteFile(path, special);
    }
    registerTextCollation(db.get());
    jet::registerJetFunctions(db.get());
    if (scope && !special) {
      scope->handles.emplace(path, db);
      // The Access copy is one handle for the whole process: only the run's own files.
      if (scope->interrupt)
        sqlite3_progress_handler(
            db.get(), 10000,
            [](void* s) { return static_cast<RunScope::State*>(s)->interrupt() ? 1 : 0; }, scope);
    }
  }
  impl_ = std::make_unique<ConnectionImpl>(
      std::move(db), scope ? scope->workTables : std::vector<std::string>{}, scope != nullptr);
  connectionString_ = std::string(connectionString);
}

void Connection::close() {
  impl_.reset();
}

bool Connection::isOpen() const {
  return impl_ != nullptr;
}

const std::string& Connection::connectionString() const {
  return connectionString_;
}

long Connection::execute(std::string_view jetSql) {
  if (!impl_) throw DbError(kErrState, kClosedMessage, std::string(jetSql));
  return impl_->execute(jetSql);
}

long Connection::executeNative(std::string_view sqliteSql) {
  if (!impl_) throw DbError(kErrState, kClosedMessage, std::string(sqliteSql));
  Plan p;
  p.sql = std::string(sqliteSql);
  return impl_->run(p, sqliteSql);
}

void Connection::keepWorkTable(std::string_view table) {
  sqlite3* db = impl().db();
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db,
                     "SELECT sql FROM sqlite_temp_schema WHERE type = 'table' AND name = ?1 "
                     "COLLATE NOCASE",
                     -1, &st, nullptr);
  sqlite3_bind_text(st, 1, table.data(), static_cast<int>(table.size()), SQLITE_TRANSIENT);
  std::string definition;
  if (sqlite3_step(st) == SQLITE_ROW)
    if (const auto* text = sqlite3_column_text(st, 0))
      definition = reinterpret_cast<const char*>(text);
  sqlite3_finalize(st);
  // SQLite keeps a temporary table's definition without its TEMP keyword.
  constexpr std::string_view kCreate = "CREATE TABLE ";
  if (definition.rfind(kCreate, 0) != 0) return;
  definition.insert(kCreate.size(), "main.");
  std::string name = "\"";
  for (char c : table) name += c == '"' ? std::string("\"\"") : std::string(1, c);
  name += "\"";
  executeNative("DROP TABLE IF EXISTS main." + name + "; " + definition + "; INSERT INTO main." +
                name + " SELECT * FROM temp." + name);
}

void Connection::beginTrans() {
  executeNative("BEGIN IMMEDIATE");
}

void Connection::commitTrans() {
  executeNative("COMMIT");
}

void Connection::rollbackTrans() noexcept {
  if (impl_) sqlite3_exec(impl_->db(), "ROLLBACK", nullptr, nullptr, nullptr);
}

ConnectionImpl& Connection::impl() {
  if (!impl_) throw DbError(kErrState, kClosedMessage);
  return *impl_;
}

long Command::execute() {
  if (!conn_ || !conn_->isOpen()) throw DbError(kErrState, kClosedMessage, text_);
  return conn_->execute(text_);
}

RunScope::RunScope(std::vector<std::string> workTables, std::function<bool()> interrupt)
    : state_(std::make_unique<State>()) {
  state_->workTables = std::move(workTables);
  state_->interrupt = std::move(interrupt);
  state_->previous = t_scope;
  t_scope = state_.get();
}

RunScope::~RunScope() {
  // Handles kept open by the report after its run no longer ask this scope.
  if (state_->interrupt)
    for (auto& [path, db] : state_->handles)
      sqlite3_progress_handler(db.get(), 0, nullptr, nullptr);
  t_scope = state_->previous;
}

RunScope::State* RunScope::current() {
  return t_scope;
}

}  // namespace galvix::db
