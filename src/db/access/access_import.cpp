#include "db/access/access_import.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <set>

#include "db/access/access_reader.h"
#include "db/access/stored_queries.h"
#include "db/jet/translator.h"
#include "db/sqlite_util.h"

namespace galvix::db::access {

namespace {

std::string quoteId(const std::string& name) {
  std::string out = "\"";
  for (char c : name) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

bool endsWithId(const std::string& name) {
  return name.size() >= 2 &&
         std::tolower(static_cast<unsigned char>(name[name.size() - 2])) == 'i' &&
         std::tolower(static_cast<unsigned char>(name.back())) == 'd';
}

struct Statement {
  sqlite3_stmt* st = nullptr;
  ~Statement() { sqlite3_finalize(st); }
};

void bind(sqlite3_stmt* st, int at, const Cell& c) {
  switch (c.kind) {
    case Cell::Kind::Null:
      sqlite3_bind_null(st, at);
      break;
    case Cell::Kind::Integer:
      sqlite3_bind_int64(st, at, c.i);
      break;
    case Cell::Kind::Real:
      sqlite3_bind_double(st, at, c.d);
      break;
    case Cell::Kind::Text:
      sqlite3_bind_text64(st, at, c.s.data(), c.s.size(), SQLITE_STATIC, SQLITE_UTF8);
      break;
    case Cell::Kind::Blob:
      sqlite3_bind_blob64(st, at, c.s.data(), c.s.size(), SQLITE_STATIC);
      break;
  }
}

void copyTable(Reader& reader, sqlite3* db, const std::string& name, LoadInfo& info) {
  Statement insert;
  std::string insertSql;
  TableInfo def = reader.readTable(
      name,
      [&](const TableInfo& t) {
        std::string create = "CREATE TABLE " + quoteId(name) + " (";
        insertSql = "INSERT INTO " + quoteId(name) + " VALUES (";
        for (std::size_t i = 0; i < t.columns.size(); ++i) {
          create += (i ? ", " : "") + quoteId(t.columns[i].name) + " " + declaredType(t.columns[i]);
          insertSql += i ? ", ?" : "?";
        }
        create += ")";
        insertSql += ")";
        execSql(db, create);
        if (sqlite3_prepare_v2(db, insertSql.c_str(), -1, &insert.st, nullptr) != SQLITE_OK)
          throw sqliteError(db, sqlite3_errcode(db), insertSql, insertSql, false);
      },
      [&](const std::vector<Cell>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i)
          bind(insert.st, static_cast<int>(i) + 1, cells[i]);
        int rc = sqlite3_step(insert.st);
        if (rc != SQLITE_DONE) throw sqliteError(db, rc, insertSql, insertSql, false);
        sqlite3_reset(insert.st);
        ++info.rows;
      });
  // The file's own indexes, then every whole-number *ID column that no index leads: reports
  // join and filter on ids.
  std::set<int> leading;
  int n = 0;
  auto index = [&](const std::vector<int>& cols) {
    std::string sql = "CREATE INDEX " + quoteId("ix_" + name + "_" + std::to_string(++n)) + " ON " +
                      quoteId(name) + " (";
    for (std::size_t i = 0; i < cols.size(); ++i)
      sql += (i ? ", " : "") + quoteId(def.columns[static_cast<std::size_t>(cols[i])].name);
    execSql(db, sql + ")");
    leading.insert(cols.front());
  };
  std::set<std::vector<int>> done;
  for (const auto& ix : def.indexes)
    if (done.insert(ix.columns).second) index(ix.columns);
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const auto& c = def.columns[i];
    if (c.kind == ColumnKind::Long && endsWithId(c.name) && !leading.count(static_cast<int>(i)))
      index({static_cast<int>(i)});
  }
  info.tables.push_back(name);
}

// The saved queries' definitions, by the low 24 bits of their object id.
std::map<std::uint32_t, std::vector<QueryRow>> queryRows(Reader& reader) {
  std::map<std::uint32_t, std::vector<QueryRow>> out;
  std::map<std::string, int> at;
  reader.readTable(
      "MSysQueries",
      [&](const TableInfo& t) {
        for (std::size_t i = 0; i < t.columns.size(); ++i)
          at[t.columns[i].name] = static_cast<int>(i);
        for (const char* need : {"Attribute", "Expression", "Flag", "Name1", "Name2", "ObjectId"})
          if (!at.count(need)) throw ReadError(std::string("its query table has no ") + need);
      },
      [&](const std::vector<Cell>& cells) {
        auto get = [&](const char* col) -> const Cell& {
          return cells[static_cast<std::size_t>(at[col])];
        };
        auto str = [&](const char* col) -> std::optional<std::string> {
          const Cell& c = get(col);
          if (c.kind == Cell::Kind::Null) return std::nullopt;
          return c.s;
        };
        QueryRow r;
        r.attribute = static_cast<int>(get("Attribute").i);
        r.expression = str("Expression");
        r.name1 = str("Name1");
        r.name2 = str("Name2");
        if (get("Flag").kind != Cell::Kind::Null) r.flag = static_cast<int>(get("Flag").i);
        out[static_cast<std::uint32_t>(get("ObjectId").i) & 0xffffff].push_back(std::move(r));
      });
  return out;
}

std::string literal(const Variant& v) {
  if (v.type() == VarType::Double) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", v.rawDouble());
    std::string s = buf;
    if (s.find_first_of(".eEn") == std::string::npos) s += ".0";
    return s;
  }
  if (v.isNull()) return "NULL";
  if (v.type() == VarType::String) {
    std::string q = "'";
    for (char c : v.rawString()) q += c == '\'' ? std::string("''") : std::string(1, c);
    return q + "'";
  }
  return std::to_string(v.rawInt());
}

// Saved queries become views in dependency order: a query that reads another can only be
// translated once the other exists, so rounds repeat while any view is made.
void makeViews(Reader& reader, sqlite3* db, LoadInfo& info) {
  struct Pending {
    std::string name, sql, reason;
  };
  std::vector<Pending> pending;
  std::map<std::uint32_t, std::vector<QueryRow>> defs;
  bool haveQueryTable = false;
  for (const auto& c : reader.catalog()) haveQueryTable |= c.name == "MSysQueries";
  if (haveQueryTable) defs = queryRows(reader);
  for (const auto& c : reader.catalog()) {
    if (c.kind != ObjectKind::Query) continue;
    auto it = defs.find(c.id);
    if (it == defs.end()) {
      info.skipped.push_back({c.name, "its definition is missing from the file", {}});
      continue;
    }
    const auto& rows = it->second;
    auto params = queryParameters(rows);
    if (!params.empty()) {
      std::string list;
      for (const auto& p : params) list += (list.empty() ? "" : ", ") + p;
      info.skipped.push_back({c.name, "it asks for parameters (" + list + ")", {}});
      continue;
    }
    try {
      pending.push_back({c.name, storedQuerySql(rows, c.flags), {}});
    } catch (const std::exception& e) {
      info.skipped.push_back({c.name, e.what(), {}});
    }
  }
  jet::Translator translator(db);
  bool progress = true;
  while (progress && !pending.empty()) {
    progress = false;
    for (auto it = pending.begin(); it != pending.end();) {
      try {
        jet::Translation t = translator.translate(it->sql);
        if (t.kind != jet::StatementKind::Select) throw std::runtime_error("it is not a select");
        std::vector<std::string> literals;
        for (const auto& p : t.params) literals.push_back(literal(p));
        std::string body = inlineParameters(t.sql, literals);
        std::string head = "CREATE VIEW " + quoteId(it->name);
        std::string names;
        for (const auto& n : t.columnNames) names += (names.empty() ? "" : ", ") + quoteId(n);
        if (sqlite3_exec(db,
                         (head + (names.empty() ? "" : " (" + names + ")") + " AS " + body).c_str(),
                         nullptr, nullptr, nullptr) != SQLITE_OK)
          execSql(db, head + " AS " + body);
        // A view is only checked when used: compile it now, and keep it only if it runs.
        sqlite3_stmt* probe = nullptr;
        std::string probeSql = "SELECT * FROM " + quoteId(it->name);
        int rc = sqlite3_prepare_v2(db, probeSql.c_str(), -1, &probe, nullptr);
        std::string why = rc == SQLITE_OK ? "" : sqlite3_errmsg(db);
        sqlite3_finalize(probe);
        if (rc != SQLITE_OK) {
          execSql(db, "DROP VIEW " + quoteId(it->name));
          throw std::runtime_error(why);
        }
        translator.schemaChanged();
        info.views.push_back(it->name);
        it = pending.erase(it);
        progress = true;
      } catch (const DbError& e) {
        it->reason = e.description();
        ++it;
      } catch (const std::exception& e) {
        it->reason = e.what();
        ++it;
      }
    }
  }
  for (const auto& p : pending) info.skipped.push_back({p.name, p.reason, p.sql});
}

}  // namespace

std::string declaredType(const ColumnInfo& c) {
  switch (c.kind) {
    case ColumnKind::Boolean:
      return "BIT";
    case ColumnKind::Byte:
      return "TINYINT";
    case ColumnKind::Integer:
      return "SMALLINT";
    case ColumnKind::Long:
    case ColumnKind::Complex:
      return "INTEGER";
    case ColumnKind::Currency:
      return "CURRENCY";
    case ColumnKind::Single:
      return "SINGLE";
    case ColumnKind::Double:
      return "DOUBLE";
    case ColumnKind::DateTime:
      return "DATETIME";
    case ColumnKind::Text:
    case ColumnKind::ReplicationId:
      return "TEXT COLLATE JETTEXT";
    case ColumnKind::Memo:
      return "LONGTEXT COLLATE JETTEXT";
    case ColumnKind::Binary:
    case ColumnKind::Ole:
      return "BLOB";
    case ColumnKind::Decimal:
      return "DECIMAL(" + std::to_string(c.precision) + "," + std::to_string(c.scale) + ")";
    case ColumnKind::Unknown:
      break;
  }
  return "";
}

std::string inlineParameters(const std::string& sql, const std::vector<std::string>& literals) {
  std::string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < sql.size(); ++i) {
    char c = sql[i];
    if (c == '\'' || c == '"' || c == '`' || c == '[') {
      char close = c == '[' ? ']' : c;
      std::size_t end = sql.find(close, i + 1);
      if (end == std::string::npos) end = sql.size() - 1;
      out.append(sql, i, end - i + 1);
      i = end;
    } else if (c == '?' && next < literals.size()) {
      out += literals[next++];
    } else {
      out += c;
    }
  }
  return out;
}

void importFile(const std::string& path, sqlite3* db, LoadInfo& info) {
  Reader reader(path);
  static const char* formats[] = {"Jet 3",  "Jet 4",  "ACE 12", "ACE 14",
                                  "ACE 15", "ACE 16", "ACE 17"};
  int v = reader.version();
  info.format = v >= 0 && v < 7 ? formats[v] : "Access (version " + std::to_string(v) + ")";
  execSql(db, "BEGIN");
  for (const auto& c : reader.catalog())
    if (c.kind == ObjectKind::Table && c.name.rfind('~', 0) != 0)
      copyTable(reader, db, c.name, info);
  execSql(db, "COMMIT");
  // Statistics let SQLite choose the selective index for the reports' per-row side queries;
  // without them a large event's guest lists slow down quadratically.
  execSql(db, "ANALYZE");
  jet::registerJetFunctions(db);
  makeViews(reader, db, info);
}

}  // namespace galvix::db::access
