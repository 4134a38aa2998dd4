// galvix sql: runs one Jet SQL statement against an event database and prints the rows.
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/command.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "runtime/dates.h"

namespace galvix::cli {
namespace {

std::string csvField(const std::string& s) {
  if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
  std::string out = "\"";
  for (char c : s) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

std::string base64(const Bytes& b) {
  static const char* k = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < b.size(); i += 3) {
    std::uint32_t n = static_cast<std::uint32_t>(b[i]) << 16;
    if (i + 1 < b.size()) n |= static_cast<std::uint32_t>(b[i + 1]) << 8;
    if (i + 2 < b.size()) n |= b[i + 2];
    out += k[(n >> 18) & 63];
    out += k[(n >> 12) & 63];
    out += i + 1 < b.size() ? k[(n >> 6) & 63] : '=';
    out += i + 2 < b.size() ? k[n & 63] : '=';
  }
  return out;
}

// Text as the platform converts the value; Null (and a picture) have no text form.
std::string textOf(const Variant& v) {
  if (v.isNull() || v.isEmpty()) return {};
  if (v.type() == VarType::Binary) return base64(v.bytes());
  return v.toString();
}

// For other programs: ISO 8601 dates and times, numbers with a dot, whatever the locale.
std::string dataText(const Variant& v) {
  if (v.isNull() || v.isEmpty()) return {};
  switch (v.type()) {
    case VarType::Date: {
      const double d = v.rawDouble();
      if (hasDatePart(d)) return hasTimePart(d) ? isoDateTime(d) : isoDateTime(d).substr(0, 10);
      char t[16];
      const DateParts p = splitDate(d);
      std::snprintf(t, sizeof t, "%02d:%02d:%02d", p.hour, p.minute, p.second);
      return t;
    }
    case VarType::Boolean:
      return v.rawBool() ? "true" : "false";
    case VarType::Single:
    case VarType::Double:
    case VarType::Currency: {
      const double x = v.type() == VarType::Currency ? v.rawCurrency().toDouble() : v.rawDouble();
      char t[40];
      std::snprintf(t, sizeof t, "%.15g", x);
      return t;
    }
    default:
      return textOf(v);
  }
}

nlohmann::ordered_json jsonOf(const Variant& v) {
  switch (v.type()) {
    case VarType::Empty:
    case VarType::Null:
      return nullptr;
    case VarType::Boolean:
      return v.rawBool();
    case VarType::Integer:
    case VarType::Long:
      return v.rawInt();
    case VarType::Single:
    case VarType::Double:
      return v.rawDouble();
    case VarType::Currency:
      return v.rawCurrency().toDouble();
    case VarType::Binary:
      return base64(v.bytes());
    case VarType::Date:
      return dataText(v);
    default:
      return v.toString();
  }
}

enum class Output { Table, Csv, Json };

void run(const std::string& database, const std::string& sql, Output output, bool explain,
         bool native) {
  db::Connection conn;
  conn.open(database);
  if (explain) {
    auto plan = conn.impl().plan(sql);
    std::cout << plan->sql << "\n";
    for (std::size_t i = 0; i < plan->params.size(); ++i)
      std::cout << "-- ?" << (i + 1) << " = " << textOf(plan->params[i]) << "\n";
    return;
  }
  db::Recordset rs;
  if (native) {
    rs.openNative(sql, conn);
  } else {
    rs.open(sql, conn);
  }
  if (!rs.isOpen()) return;  // an action query: nothing to print
  int n = rs.fieldCount();
  if (output == Output::Json) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (; !rs.EOF_(); rs.moveNext()) {
      nlohmann::ordered_json row = nlohmann::ordered_json::object();
      for (int i = 0; i < n; ++i) row[rs.fields(i).name()] = jsonOf(rs.fields(i).value());
      rows.push_back(std::move(row));
    }
    std::cout << rows.dump(2) << "\n";
    return;
  }
  const char* sep = output == Output::Csv ? "," : "\t";
  for (int i = 0; i < n; ++i)
    std::cout << (i ? sep : "")
              << (output == Output::Csv ? csvField(rs.fields(i).name()) : rs.fields(i).name());
  std::cout << "\n";
  for (; !rs.EOF_(); rs.moveNext()) {
    for (int i = 0; i < n; ++i) {
      const Variant& v = rs.fields(i).value();
      // The locale's own forms only in the table people read.
      std::string t = output == Output::Csv ? dataText(v) : textOf(v);
      std::cout << (i ? sep : "") << (output == Output::Csv ? csvField(t) : t);
    }
    std::cout << "\n";
  }
}

Registration reg([](CLI::App& app) {
  auto* cmd = app.add_subcommand("sql", "Run Jet SQL against an event database and print the rows");
  auto database = std::make_shared<std::string>();
  auto sql = std::make_shared<std::string>();
  auto csv = std::make_shared<bool>(false);
  auto json = std::make_shared<bool>(false);
  auto explain = std::make_shared<bool>(false);
  auto native = std::make_shared<bool>(false);
  cmd->add_option("--db", *database, "Database file or connection string")->required();
  auto* c = cmd->add_flag("--csv", *csv, "Comma-separated values with a header row");
  cmd->add_flag("--json", *json, "A JSON array with one object per row")->excludes(c);
  auto* x = cmd->add_flag("--explain", *explain, "Print the SQLite SQL instead of running it");
  cmd->add_flag("--native", *native, "The SQL is SQLite's own: run it untranslated")->excludes(x);
  cmd->add_option("sql", *sql, "The statement (Jet SQL)")->required();
  cmd->callback([=] {
    chooseLocale("");
    Output out = *csv ? Output::Csv : *json ? Output::Json : Output::Table;
    try {
      run(*database, *sql, out, *explain, *native);
    } catch (const db::DbError& e) {
      std::string msg = "galvix sql: " + e.description();
      if (!e.sqlExecuted().empty() && e.sqlExecuted() != e.sqlWritten())
        msg += "\n  executed as: " + e.sqlExecuted();
      char num[16];
      std::snprintf(num, sizeof num, "%08X", e.number());
      msg += "\n  error 0x" + std::string(num);
      throw Exit{1, msg};
    } catch (const RuntimeError& e) {
      throw Exit{1, std::string("galvix sql: ") + e.what()};
    }
  });
});

}  // namespace
}  // namespace galvix::cli
