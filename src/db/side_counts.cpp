#include "db/side_counts.h"

#include <cstring>

#include "db/jet/translator.h"
#include "db/recordset_impl.h"

namespace galvix::db {

namespace {

thread_local SideQueryLog* t_log = nullptr;

// Counts of one shape run on their own until this many have shown which keys change.
constexpr int kLearn = 2;
// Tables kept per shape: the one being read and the one before (a party's groups, say).
constexpr std::size_t kTablesPerShape = 2;
// A shape that makes a table for nearly every count it answers runs on its own again.
constexpr std::size_t kMinBuilds = 8, kMinLookupsPerBuild = 4;

// A parameter's value, exactly: the tables of a shape are told apart by these.
void encode(std::string& out, const Variant& v) {
  out += static_cast<char>('A' + static_cast<int>(v.type()));
  switch (v.type()) {
    case VarType::Double: {
      char b[sizeof(double)];
      const double d = v.rawDouble();
      std::memcpy(b, &d, sizeof d);
      out.append(b, sizeof b);
      break;
    }
    case VarType::String:
      out += std::to_string(v.rawString().size()) + ':' + v.rawString();
      break;
    default:
      out += v.toString();
  }
  out += ';';
}

// The first value `sql` returns, as a recordset reads it.
Variant firstValue(StatementCache& statements, const std::string& sql,
                   const std::vector<Variant>& params, VarType declared) {
  int rc = 0;
  sqlite3_stmt* st = statements.checkOut(sql, rc);
  if (!st) return Variant::string("(cannot prepare: " + std::to_string(rc) + ")");
  bindParams(st, params);
  Variant v = Variant::string("(no row)");
  rc = sqlite3_step(st);
  if (rc == SQLITE_ROW) v = readColumn(st, 0, declared);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE)
    v = Variant::string("(error " + std::to_string(rc) + ")");
  statements.giveBack(st);
  return v;
}

}  // namespace

SideQueryLog::SideQueryLog() : previous_(t_log) {
  t_log = this;
}

SideQueryLog::~SideQueryLog() {
  t_log = previous_;
}

SideQueryLog* SideQueryLog::current() {
  return t_log;
}

std::size_t SideCounts::KeyHash::operator()(const Key& k) const noexcept {
  std::size_t h = 0;
  for (double d : k.v) h = h * 1000003u ^ std::hash<double>{}(d);
  return h;
}

SideCounts::SideCounts(sqlite3* db) : db_(db) {
  // Plain pragmas: their table-valued forms prepare a statement on every step.
  const char* const pragmas[] = {"PRAGMA main.data_version", "PRAGMA main.schema_version",
                                 "PRAGMA temp.schema_version"};
  for (std::size_t i = 0; i < stamp_.size(); ++i)
    sqlite3_prepare_v3(db_, pragmas[i], -1, SQLITE_PREPARE_PERSISTENT, &stamp_[i], nullptr);
}

SideCounts::~SideCounts() {
  for (sqlite3_stmt* st : stamp_) sqlite3_finalize(st);
}

void SideCounts::clear() {
  for (auto& [sql, s] : shapes_) s.tables.clear();
}

// Whether the counts kept can still be read: they are dropped when anything was written through
// this handle (its temporary work tables too), by another connection, or to the schema since.
bool SideCounts::current() {
  std::array<std::int64_t, 4> now{sqlite3_total_changes64(db_), -1, -1, -1};
  for (std::size_t i = 0; i < stamp_.size(); ++i) {
    if (!stamp_[i]) return false;
    const int rc = sqlite3_step(stamp_[i]);
    if (rc == SQLITE_ROW) now[i + 1] = sqlite3_column_int64(stamp_[i], 0);
    sqlite3_reset(stamp_[i]);
    if (rc != SQLITE_ROW) return false;
  }
  if (now != seenStamp_) {
    clear();
    seenStamp_ = now;
  }
  return true;
}

// Notes which keys change from count to count; once some have, the shape's counts come from a
// query grouped by those keys, the others (and every other term) staying in its WHERE.
void SideCounts::decide(Shape& s, const Plan& plan) {
  const jet::GroupedCount& g = *plan.grouped;
  std::vector<std::int32_t> keys;
  for (const auto& t : g.terms)
    if (!t.keyColumn.empty())
      keys.push_back(
          static_cast<std::int32_t>(plan.params[static_cast<std::size_t>(t.firstParam)].rawInt()));
  if (s.seen++ == 0) {
    s.first = keys;
    s.varying.assign(keys.size(), false);
    return;
  }
  bool any = false;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i] != s.first[i]) s.varying[i] = true;
    any = any || s.varying[i];
  }
  if (s.seen <= kLearn || !any) return;
  std::string select, where, group;
  for (int p = 0; p < g.fromParams; ++p) s.fixedParams.push_back(p);
  std::size_t key = 0;
  for (const auto& t : g.terms) {
    const bool varying = !t.keyColumn.empty() && s.varying[key++];
    if (varying) {
      select += t.keyColumn + ", ";
      group += (group.empty() ? "" : ", ") + t.keyColumn;
      s.keyParams.push_back(t.firstParam);
    } else {
      where += (where.empty() ? " WHERE " : " AND ") + t.sql;
      for (int p = t.firstParam; p < t.firstParam + t.paramCount; ++p) s.fixedParams.push_back(p);
    }
  }
  if (s.keyParams.size() > kMaxKeys) {
    s.off = true;
    return;
  }
  s.sql = "SELECT " + select + g.countSql + " FROM " + g.fromSql + where + " GROUP BY " + group;
  s.grouped = true;
}

const SideCounts::Table* SideCounts::build(Shape& s, const Plan& plan, std::string fixed,
                                           StatementCache& statements) {
  int rc = 0;
  sqlite3_stmt* st = statements.checkOut(s.sql, rc);
  if (!st) {
    s.off = true;
    return nullptr;
  }
  std::vector<Variant> values;
  for (int p : s.fixedParams) values.push_back(plan.params[static_cast<std::size_t>(p)]);
  {
    LogAs as(LoggedStatement::Kind::Grouped);
    bindParams(st, values);
  }
  Table table;
  table.fixed = std::move(fixed);
  const int n = static_cast<int>(s.keyParams.size());
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
    // `column = whole number` holds for a stored integer or real of that value and never for
    // text, a blob or Null; keys compare as SQLite compares the two kinds of number.
    Key k;
    bool number = true;
    for (int i = 0; i < n && number; ++i) {
      const int type = sqlite3_column_type(st, i);
      number = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
      const double d = type == SQLITE_INTEGER ? static_cast<double>(sqlite3_column_int64(st, i))
                                              : sqlite3_column_double(st, i);
      k.v[static_cast<std::size_t>(i)] = d == 0 ? 0.0 : d;
    }
    if (number) table.counts[k] += sqlite3_column_int64(st, n);
  }
  statements.giveBack(st);
  // A failure (an interrupted run, say) is left to the count run on its own to report.
  if (rc != SQLITE_DONE) {
    s.off = true;
    return nullptr;
  }
  ++s.builds;
  if (s.tables.size() >= kTablesPerShape) s.tables.pop_front();
  s.tables.push_back(std::move(table));
  return &s.tables.back();
}

std::shared_ptr<const Plan> SideCounts::answer(const Plan& plan, StatementCache& statements,
                                               std::string_view written) {
  if (!plan.grouped) return nullptr;
  // Inside a transaction what the counts read may yet be rolled back.
  if (!sqlite3_get_autocommit(db_)) {
    clear();
    return nullptr;
  }
  // The SQL and which terms are keys: `GroupID = 2.5` reads as `GroupID = 2` does, unkeyed.
  std::string shape;
  shape.reserve(plan.sql.size() + plan.grouped->terms.size() + 1);
  shape += plan.sql;
  shape += '\0';
  for (const auto& t : plan.grouped->terms) shape += t.keyColumn.empty() ? '0' : '1';
  auto it = shapes_.find(shape);
  if (it == shapes_.end()) it = shapes_.emplace(std::move(shape), Shape{}).first;
  Shape& s = it->second;
  if (s.off) return nullptr;
  if (!s.grouped) decide(s, plan);
  if (!s.grouped || !current()) return nullptr;

  std::string fixed;
  for (int p : s.fixedParams) encode(fixed, plan.params[static_cast<std::size_t>(p)]);
  const Table* table = nullptr;
  for (const auto& t : s.tables)
    if (t.fixed == fixed) table = &t;
  if (!table) {
    if (s.builds >= kMinBuilds && s.lookups < kMinLookupsPerBuild * s.builds) {
      s.off = true;
      s.tables.clear();
      return nullptr;
    }
    table = build(s, plan, std::move(fixed), statements);
    if (!table) return nullptr;
  }
  Key k;
  for (std::size_t i = 0; i < s.keyParams.size(); ++i) {
    const double d =
        static_cast<double>(plan.params[static_cast<std::size_t>(s.keyParams[i])].rawInt());
    k.v[i] = d == 0 ? 0.0 : d;
  }
  auto found = table->counts.find(k);
  const std::int64_t n = found == table->counts.end() ? 0 : found->second;
  ++s.lookups;

  if (statementLogOn()) logUnrun({plan.sql, plan.params, LoggedStatement::Kind::Alone});
  auto a = std::make_shared<Plan>();
  a->answer = true;
  a->sql = "SELECT ?";
  a->kind = PlanKind::Select;
  a->params.push_back(n >= INT32_MIN && n <= INT32_MAX
                          ? Variant::longInt(static_cast<std::int32_t>(n))
                          : Variant::dbl(static_cast<double>(n)));
  a->columnNames = plan.columnNames;
  a->columnTypes = plan.columnTypes;
  if (auto* log = SideQueryLog::current()) {
    const VarType declared = plan.columnTypes.empty() ? VarType::Empty : plan.columnTypes[0];
    log->answers.push_back({std::string(written),
                            firstValue(statements, a->sql, a->params, declared),
                            firstValue(statements, plan.sql, plan.params, declared)});
  }
  return a;
}

}  // namespace galvix::db
