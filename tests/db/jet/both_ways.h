// A statement translated both ways: by a fresh translator, and by one that has just translated a
// statement of the same shape with other literals (so it answers from its cache when it can).
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/connection.h"
#include "db/jet/ast.h"
#include "db/jet/translator.h"

namespace galvix::db::testing {

// `sql` with every number and text literal (or only the `only`th) changed to another of its kind
// (a whole number that fits 16 bits stays one, and so on); nullopt when it does not lex or has
// no such literal.
inline std::optional<std::string> otherLiterals(std::string_view sql, int only = -1) {
  std::vector<jet::Token> tokens;
  try {
    tokens = jet::lex(sql);
  } catch (const DbError&) {
    return std::nullopt;
  }
  std::string out;
  std::size_t done = 0;
  int literal = -1;
  for (const auto& t : tokens) {
    const auto pos = static_cast<std::size_t>(t.pos);
    if (t.kind == jet::Token::Number || t.kind == jet::Token::String) ++literal;
    if (only >= 0 && literal != only) continue;
    if (t.kind == jet::Token::Number) {
      const bool integral = t.text.find_first_of(".eE") == std::string::npos;
      const double v = std::strtod(t.text.c_str(), nullptr);
      std::string other;
      if (!integral || v > 2147483647.0)
        other = "1" + t.text;  // still a Double
      else if (v == 32767 || v == 2147483647.0)
        other = std::to_string(static_cast<long long>(v) - 1);
      else
        other = std::to_string(static_cast<long long>(v) + 1);
      out += std::string(sql.substr(done, pos - done)) + other;
      done = pos + t.text.size();
    } else if (t.kind == jet::Token::String) {
      // The literal as written runs to its closing quote; quotes inside are doubled.
      const char q = sql[pos];
      std::size_t end = pos + 1;
      while (end < sql.size()) {
        if (sql[end] == q && end + 1 < sql.size() && sql[end + 1] == q) {
          end += 2;
          continue;
        }
        if (sql[end] == q) break;
        ++end;
      }
      std::string value = "o'\"" + t.text + "x";
      std::string quoted(1, q);
      for (char c : value) quoted += c == q ? std::string(2, q) : std::string(1, c);
      out += std::string(sql.substr(done, pos - done)) + quoted + q;
      done = end + 1;
    }
  }
  if (only > literal) return std::nullopt;
  return out + std::string(sql.substr(std::min(done, sql.size())));
}

inline std::string describe(const jet::Translation& t) {
  std::string s = t.sql + "\n  params:";
  for (const auto& p : t.params)
    s += " " + std::to_string(static_cast<int>(p.type())) + ":" + p.toString();
  s += "\n  kind " + std::to_string(static_cast<int>(t.kind)) + " target " + t.targetTable +
       (t.cacheable ? "" : " not cacheable") + "\n  columns:";
  for (std::size_t i = 0; i < t.columnNames.size(); ++i)
    s += " " + t.columnNames[i] + ":" +
         (i < t.columnTypes.size() ? std::to_string(static_cast<int>(t.columnTypes[i])) : "?");
  if (t.grouped) {
    s += "\n  grouped: " + t.grouped->countSql + " FROM " + t.grouped->fromSql + " (" +
         std::to_string(t.grouped->fromParams) + ")";
    for (const auto& term : t.grouped->terms)
      s += " | " + term.sql + " [" + std::to_string(term.firstParam) + "+" +
           std::to_string(term.paramCount) + "] " + term.keyColumn;
  }
  return s;
}

// Empty when `shared`, after translating a statement of the same shape with other literals (all
// of them changed, then each on its own), translates `sql` exactly as a fresh translator does,
// or fails alike; else both results.
inline std::string compareBothWays(sqlite3* db, jet::Translator& shared, std::string_view sql) {
  auto attempt = [&](jet::Translator& t, std::string_view s) -> std::string {
    try {
      return describe(t.translate(s));
    } catch (const DbError& e) {
      return "error " + std::to_string(e.number()) + ": " + e.description();
    }
  };
  jet::Translator fresh(db);
  const std::string want = attempt(fresh, sql);
  for (int only = -1; only < 200; ++only) {
    auto other = otherLiterals(sql, only);
    if (!other) break;
    attempt(shared, *other);
    const std::string got = attempt(shared, sql);
    if (got != want)
      return "statement: " + std::string(sql) + "\nafter:  " + *other + "\nfresh:  " + want +
             "\ncached: " + got;
  }
  return {};
}

}  // namespace galvix::db::testing
