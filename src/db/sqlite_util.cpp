#include "db/sqlite_util.h"

#include "runtime/vb.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <mutex>

namespace galvix::db {

namespace {

int collate(void*, int n1, const void* s1, int n2, const void* s2) {
  return compareTextNoCase(std::string_view(static_cast<const char*>(s1), n1),
                           std::string_view(static_cast<const char*>(s2), n2));
}

std::string upperAscii(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return r;
}

// The quoted name in messages such as `no such table: main.Foo` or `near "FROM": syntax error`.
std::string afterColon(const std::string& msg) {
  auto pos = msg.rfind(": ");
  std::string name = pos == std::string::npos ? msg : msg.substr(pos + 2);
  if (auto dot = name.find('.'); name.rfind("main.", 0) == 0 && dot != std::string::npos)
    name = name.substr(dot + 1);
  return name;
}

}  // namespace

int compareTextNoCase(std::string_view a, std::string_view b) {
  return vb::compareTextNoCase(a, b);
}

void registerTextCollation(sqlite3* db) {
  sqlite3_create_collation_v2(db, kTextCollation, SQLITE_UTF8, nullptr, collate, nullptr);
}

void configureSqlite() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Without memory statistics sqlite3_malloc takes no process-wide lock. The Access reader
    // forks while other threads may be inside SQLite; a child that inherits that lock held
    // waits for it for ever. (Refused when the host initialised SQLite first: then it stays.)
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  });
}

std::shared_ptr<sqlite3> openSqliteFile(const std::string& path, bool create) {
  configureSqlite();
  sqlite3* raw = nullptr;
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI | (create ? SQLITE_OPEN_CREATE : 0);
  int rc = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  std::shared_ptr<sqlite3> db(raw, [](sqlite3* d) { sqlite3_close_v2(d); });
  if (rc != SQLITE_OK) {
    std::string why = raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc);
    if (!create && !std::filesystem::exists(path))
      throw DbError(kErrConnection, "Could not find file '" + path + "'.");
    throw DbError(kErrConnection, "Cannot open database '" + path + "': " + why);
  }
  sqlite3_extended_result_codes(raw, 1);
  sqlite3_busy_timeout(raw, 2000);
  registerTextCollation(raw);
  // A file that is not a database shows itself only at the first read: check now.
  rc = sqlite3_exec(raw, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK)
    throw DbError(kErrConnection,
                  "Cannot open database '" + path + "': " + std::string(sqlite3_errmsg(raw)));
  // SQLite takes an empty file for an empty database; as an event database it is a mistake.
  std::error_code ec;
  if (!create && std::filesystem::file_size(path, ec) == 0 && !ec)
    throw DbError(kErrConnection,
                  "Cannot open database '" + path + "': the file is empty, not an event database.");
  return db;
}

void execSql(sqlite3* db, std::string_view sql) {
  char* err = nullptr;
  std::string text(sql);
  int rc = sqlite3_exec(db, text.c_str(), nullptr, nullptr, &err);
  if (rc != SQLITE_OK) {
    sqlite3_free(err);
    throw sqliteError(db, rc, text, text, false);
  }
}

DbError sqliteError(sqlite3* db, int rc, std::string_view sqlWritten, std::string_view sqlExecuted,
                    bool translated) {
  std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
  int offset = db ? sqlite3_error_offset(db) : -1;
  // Offsets are into the executed text; they name a place in the written text only when the
  // two are the same.
  int position = translated ? -1 : offset;
  std::string written(sqlWritten), executed(sqlExecuted);
  auto with = [&](std::uint32_t number, std::string description) {
    return DbError(number, std::move(description), written, executed, position);
  };
  if (msg.rfind("no such table: ", 0) == 0 || msg.rfind("no such view: ", 0) == 0) {
    std::string name = afterColon(msg);
    return with(kErrNoSuchObject, "The database engine cannot find the input table or query '" +
                                      name +
                                      "'. Make sure it exists and that its name is spelled "
                                      "correctly.");
  }
  if (msg.rfind("too many columns", 0) == 0)
    return with(kErrConnection,
                "Too many fields defined: the result would have more columns than a row can "
                "hold (a crosstab has one column per value of its PIVOT field).");
  if (msg.rfind("no such column: ", 0) == 0) {
    return with(kErrNoSuchColumn,
                "No value given for one or more required parameters: unknown "
                "column '" +
                    afterColon(msg) + "'.");
  }
  if (msg.rfind("table ", 0) == 0 && msg.find(" already exists") != std::string::npos) {
    std::string name = msg.substr(6, msg.find(" already exists") - 6);
    if (name.size() > 1 && (name.front() == '"' || name.front() == '`' || name.front() == '['))
      name = name.substr(1, name.size() - 2);
    return with(kErrSyntax, "Table '" + name + "' already exists.");
  }
  if (msg.find("syntax error") != std::string::npos || msg.rfind("incomplete input", 0) == 0) {
    std::string token;
    if (auto q = msg.find("near \""); q != std::string::npos) {
      auto e = msg.find('"', q + 6);
      token = msg.substr(q + 6, e == std::string::npos ? std::string::npos : e - q - 6);
    }
    std::string where = offset >= 0 ? " at position " + std::to_string(offset + 1) : "";
    std::string description =
        token.empty() ? "Syntax error in SQL statement" + where + " (" + msg + ")."
                      : "Syntax error in SQL statement" + where + " near '" + token + "'.";
    return with(kErrSyntax, description);
  }
  if ((rc & 0xFF) == SQLITE_CONSTRAINT) return with(kErrConnection, "Constraint failed: " + msg);
  if ((rc & 0xFF) == SQLITE_ERROR) return with(kErrSyntax, msg);
  return with(kErrConnection, msg);
}

VarType varTypeFromDecl(const char* decl) {
  if (!decl || !*decl) return VarType::Empty;
  std::string d = upperAscii(decl);
  if (auto sp = d.find_first_of(" ("); sp != std::string::npos) d.resize(sp);
  if (d == "DATETIME" || d == "DATE" || d == "TIME" || d == "TIMESTAMP") return VarType::Date;
  if (d == "CURRENCY" || d == "MONEY") return VarType::Currency;
  if (d == "BIT" || d == "YESNO" || d == "BOOLEAN" || d == "LOGICAL") return VarType::Boolean;
  if (d == "SMALLINT" || d == "SHORT" || d == "BYTE" || d == "TINYINT" || d == "INTEGER2")
    return VarType::Integer;
  if (d == "INTEGER" || d == "INT" || d == "LONG" || d == "COUNTER" || d == "AUTOINCREMENT" ||
      d == "INTEGER4")
    return VarType::Long;
  if (d == "REAL" || d == "SINGLE" || d == "FLOAT4") return VarType::Single;
  if (d == "DOUBLE" || d == "FLOAT" || d == "NUMERIC" || d == "DECIMAL" || d == "NUMBER")
    return VarType::Double;
  if (d == "TEXT" || d == "MEMO" || d == "VARCHAR" || d == "CHAR" || d == "LONGTEXT" ||
      d == "NVARCHAR" || d == "STRING" || d == "CLOB")
    return VarType::String;
  if (d == "BLOB" || d == "IMAGE" || d == "LONGBINARY" || d == "OLEOBJECT" || d == "BINARY" ||
      d == "VARBINARY")
    return VarType::Binary;
  return VarType::Empty;
}

}  // namespace galvix::db
