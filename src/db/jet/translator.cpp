#include "db/jet/translator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "db/connection.h"
#include "db/jet/ast.h"
#include "runtime/vb.h"

namespace galvix::db::jet {
namespace {

// The terms of a condition joined by AND, in order.
void andTerms(const Expr& e, std::vector<const Expr*>& terms) {
  if (e.kind == Expr::Binary && e.text == "and") {
    andTerms(*e.args[0], terms);
    andTerms(*e.args[1], terms);
  } else {
    terms.push_back(&e);
  }
}

std::string lower(std::string_view s) {
  std::string o(s);
  for (auto& c : o) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return o;
}

std::string ident(std::string_view n) {
  std::string o = "[";
  for (char c : n) o += c == ']' ? ' ' : c;  // a ']' cannot appear inside brackets
  return o + "]";
}

std::string quote(std::string_view s) {
  std::string o = "'";
  for (char c : s) {
    if (c == '\'') o += '\'';
    o += c;
  }
  return o + "'";
}

// How number() types a literal: a whole number that fits 16 or 32 bits, or a Double. The type
// can change the translation (IIf(c, 1, 2) is known to be a number, IIf(c, 1, 2.5) is not), so
// literals of different kinds never share a shape.
char numberKind(const std::string& text, double& value) {
  value = std::strtod(text.c_str(), nullptr);
  bool integral = text.find_first_of(".eE") == std::string::npos && value <= 2147483647.0;
  return !integral ? 'd' : value <= 32767 ? 'i' : 'l';
}

std::string numberLiteral(double d) {
  char b[40];
  if (d == std::trunc(d) && std::fabs(d) < 9e15)
    std::snprintf(b, sizeof b, "%.0f", d);
  else
    std::snprintf(b, sizeof b, "%.17g", d);
  return b;
}

VarType typeFromDecl(std::string_view decl) {
  std::string d = lower(decl);
  auto has = [&](const char* k) { return d.find(k) != std::string::npos; };
  if (d.empty()) return VarType::Empty;
  if (has("currency") || has("money")) return VarType::Currency;
  if (has("date") || has("time")) return VarType::Date;
  if (has("bit") || has("bool") || has("yesno")) return VarType::Boolean;
  if (has("smallint") || has("short") || has("tinyint") || has("byte")) return VarType::Integer;
  if (has("int") || has("long") || has("counter")) return VarType::Long;
  if (has("single") || d == "real") return VarType::Single;
  if (has("double") || has("float") || has("numeric") || has("decimal")) return VarType::Double;
  if (has("char") || has("text") || has("memo") || has("clob")) return VarType::String;
  if (has("blob") || has("binary") || has("image")) return VarType::Binary;
  return VarType::Empty;
}

std::string declFromType(VarType t) {
  switch (t) {
    case VarType::Boolean:
      return "BIT";
    case VarType::Integer:
      return "SMALLINT";
    case VarType::Long:
      return "INTEGER";
    case VarType::Single:
      return "SINGLE";
    case VarType::Double:
      return "DOUBLE";
    case VarType::Currency:
      return "CURRENCY";
    case VarType::Date:
      return "DATETIME";
    case VarType::String:
      return "TEXT COLLATE JETTEXT";
    case VarType::Binary:
      return "BLOB";
    default:
      return "";
  }
}

struct TableInfo {
  bool exists = false;
  bool isView = false;
  std::vector<std::pair<std::string, VarType>> columns;
  // What tells its rows apart: the primary key columns, else every column. (rowid cannot be
  // used: SQLite hides it for tables inside a parenthesised join.)
  std::vector<std::string> rowKey;
  const std::pair<std::string, VarType>* find(std::string_view c) const {
    for (const auto& col : columns)
      if (vb::compareTextNoCase(col.first, c) == 0) return &col;
    return nullptr;
  }
};

// One table (or derived table) visible in a FROM clause.
struct Source {
  std::string name;   // as written
  std::string alias;  // the name to qualify with
  const TableInfo* info = nullptr;
  std::vector<std::pair<std::string, VarType>> derived;  // subquery output columns
  bool rowid = true;
};

struct Scope {
  std::vector<Source> sources;
  const Scope* parent = nullptr;
  // Select-list aliases, for reuse in the clauses after the list.
  std::vector<std::pair<std::string, std::pair<std::string, VarType>>> aliases;
  // While the select list itself is translated: its items (an unqualified name there means an
  // alias of the list, wherever it stands, before a column) and the items being expanded.
  const std::vector<SelectItem>* items = nullptr;
  mutable std::vector<size_t> expanding;

  const Source* find(std::string_view t) const {
    for (const auto& s : sources)
      if (vb::compareTextNoCase(s.alias, t) == 0) return &s;
    for (const auto& s : sources)
      if (vb::compareTextNoCase(s.name, t) == 0) return &s;
    return parent ? parent->find(t) : nullptr;
  }
};

struct Out {
  std::string sql;
  VarType type = VarType::Empty;
  bool boolean = false;  // a SQLite truth expression (1/0)
};

struct SelectOut {
  std::string sql;
  std::vector<std::string> names;
  std::vector<VarType> types;
  bool star = false;
};

}  // namespace

struct Translator::Impl {
  sqlite3* db;
  sqlite3_stmt* schemaVersion = nullptr;
  long long knownVersion = -1;
  std::unordered_map<std::string, TableInfo> tables;

  struct CacheEntry {
    Translation t;
    std::vector<int> lifted;                                 // token indices, in parameter order
    std::vector<std::pair<int, std::string>> fixedLiterals;  // other literal tokens
  };
  std::unordered_map<std::string, CacheEntry> cache;

  // Statements translated lately, kept as templates. A statement that matches one outside its
  // lifted literals, where it has literals of the same kinds (as lex() reads them), has the
  // template's tokens but for those values: the template's translation serves it, unlexed.
  struct Template {
    struct Span {
      std::size_t begin = 0, end = 0;
      char kind = 0;            // numberKind()'s letter, or 's' for text
      std::vector<int> params;  // the parameters it gives its value to
    };
    std::string text;
    std::vector<Span> spans;  // in the text's order
    Translation t;
  };
  std::deque<Template> templates;
  static constexpr std::size_t kTemplates = 4;

  // Per translation.
  std::string_view sql;
  const std::vector<Token>* tokens = nullptr;
  std::vector<Variant> params;
  std::vector<int> liftedTokens;
  // Literal tokens written into the text: a cached translation holds their values, so they
  // must match for it to be reused (even when the same token is also lifted elsewhere).
  std::vector<int> inlinedTokens;
  bool lift = false;
  std::size_t reused = 0;
  int exprCounter = 0;
  int aliasExpansions = 0;
  static constexpr int kMaxAliasExpansions = 20000;
  // Inside a crosstab cell: aggregates see only the rows of that cell's column.
  const std::string* pivotMatch = nullptr;

  TranslatorOptions opts;
  // While a SELECT's FROM clause is written: its list has a bare * (columns in table order).
  bool bareStar = false;
  // The statement is one SELECT with neither ORDER BY nor an aggregate but Count: its groups
  // come out in key order, each with the same values, whichever plan SQLite takes.
  bool groupsInKeyOrder = false;

  Impl(sqlite3* d, TranslatorOptions o) : db(d), opts(o) {
    sqlite3_prepare_v2(db, "PRAGMA schema_version", -1, &schemaVersion, nullptr);
  }
  ~Impl() { sqlite3_finalize(schemaVersion); }

  void checkSchema() {
    if (!schemaVersion) return;
    long long v = -1;
    if (sqlite3_step(schemaVersion) == SQLITE_ROW) v = sqlite3_column_int64(schemaVersion, 0);
    sqlite3_reset(schemaVersion);
    if (v != knownVersion) {
      knownVersion = v;
      tables.clear();
      cache.clear();
      templates.clear();
    }
  }

  const TableInfo& table(std::string_view name) {
    std::string key = lower(name);
    auto it = tables.find(key);
    if (it != tables.end()) return it->second;
    TableInfo info;
    sqlite3_stmt* st = nullptr;
    std::string q =
        "SELECT type FROM sqlite_temp_schema WHERE name = ?1 COLLATE NOCASE AND type IN "
        "('table','view') UNION ALL SELECT type FROM sqlite_schema WHERE name = ?1 COLLATE "
        "NOCASE AND type IN ('table','view')";
    if (sqlite3_prepare_v2(db, q.c_str(), -1, &st, nullptr) == SQLITE_OK) {
      sqlite3_bind_text(st, 1, std::string(name).c_str(), -1, SQLITE_TRANSIENT);
      if (sqlite3_step(st) == SQLITE_ROW) {
        info.exists = true;
        info.isView =
            std::string(reinterpret_cast<const char*>(sqlite3_column_text(st, 0))) == "view";
      }
    }
    sqlite3_finalize(st);
    if (info.exists) {
      std::string p = "PRAGMA table_info(" + ident(name) + ")";
      if (sqlite3_prepare_v2(db, p.c_str(), -1, &st, nullptr) == SQLITE_OK) {
        while (sqlite3_step(st) == SQLITE_ROW) {
          const char* n = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
          const char* t = reinterpret_cast<const char*>(sqlite3_column_text(st, 2));
          info.columns.push_back({n ? n : "", typeFromDecl(t ? t : "")});
          if (sqlite3_column_int(st, 5) > 0) info.rowKey.push_back(n ? n : "");
        }
      }
      sqlite3_finalize(st);
      if (info.rowKey.empty())
        for (const auto& c : info.columns) info.rowKey.push_back(c.first);
    }
    return tables.emplace(key, std::move(info)).first->second;
  }

  [[noreturn]] void error(std::uint32_t number, const std::string& msg, int pos = -1) {
    throw DbError(number, msg, std::string(sql), {}, pos);
  }

  // ---- Expressions ----

  static std::string value(const Out& o) { return o.boolean ? "(-(" + o.sql + "))" : o.sql; }
  static std::string cond(const Out& o) { return o.boolean ? o.sql : "(" + o.sql + ")"; }
  // An argument of a Jet function: dates, money and truth values keep their kind.
  static std::string typedValue(const Out& o) {
    switch (o.type) {
      case VarType::Date:
        return "jet_typed(" + o.sql + ", 68)";
      case VarType::Currency:
        return "jet_typed(" + o.sql + ", 67)";
      case VarType::Boolean:
        return "jet_typed(" + o.sql + ", 66)";
      default:
        return o.sql;
    }
  }

  static bool isNotText(const Out& o) {
    return o.boolean || isNumericType(o.type) || o.type == VarType::Date;
  }
  // " COLLATE JETTEXT" unless every operand is known to be a number, date or truth value.
  static std::string collateFor(std::initializer_list<const Out*> operands) {
    for (const Out* o : operands)
      if (!isNotText(*o)) return " COLLATE JETTEXT";
    return "";
  }

  static bool isNumericType(VarType t) {
    return t == VarType::Integer || t == VarType::Long || t == VarType::Single ||
           t == VarType::Double || t == VarType::Currency || t == VarType::Boolean;
  }

  static VarType arithType(VarType a, VarType b, const std::string& op) {
    if (a == VarType::Empty || b == VarType::Empty) return VarType::Empty;
    if (!isNumericType(a) && a != VarType::Date) return VarType::Empty;
    if (!isNumericType(b) && b != VarType::Date) return VarType::Empty;
    if ((a == VarType::Date || b == VarType::Date) && (op == "+" || op == "-"))
      return VarType::Date;
    if (op == "/") return VarType::Double;
    if (a == VarType::Currency || b == VarType::Currency) {
      VarType o = a == VarType::Currency ? b : a;
      if (o == VarType::Double || o == VarType::Single) return VarType::Double;
      return VarType::Currency;
    }
    auto rank = [](VarType t) {
      return t == VarType::Boolean   ? 0
             : t == VarType::Integer ? 1
             : t == VarType::Long    ? 2
             : t == VarType::Single  ? 3
                                     : 4;
    };
    int r = std::max(rank(a), rank(b));
    return r <= 1   ? VarType::Integer
           : r == 2 ? VarType::Long
           : r == 3 ? VarType::Single
                    : VarType::Double;
  }

  Out column(const Expr& e, const Scope& scope) {
    std::string table = e.table, col = e.text;
    if (e.bracketedDot) {
      // [Table.Column]: a column of that name if one exists, else Table.Column.
      auto dot = col.find('.');
      std::string t = col.substr(0, dot), c = col.substr(dot + 1);
      if (scope.find(t)) {
        table = t;
        col = c;
      }
    }
    if (!table.empty()) {
      const Source* s = scope.find(table);
      if (!s)
        error(kErrNoSuchColumn,
              "Unknown table or alias '" + table + "' in '" + table + "." + col + "'.", e.pos);
      VarType t = VarType::Empty;
      bool found = false;
      if (s->info) {
        if (auto* c = s->info->find(col)) {
          t = c->second;
          found = true;
        }
      } else {
        for (auto& d : s->derived)
          if (vb::compareTextNoCase(d.first, col) == 0) {
            t = d.second;
            found = true;
          }
      }
      if (!found) error(kErrNoSuchColumn, "Unknown column '" + table + "." + col + "'.", e.pos);
      return {ident(s->alias) + "." + ident(col), t, false};
    }
    // Unqualified: in a select list an alias of that list, then a column of a table in scope,
    // then an alias of the select list.
    for (const Scope* sc = &scope; sc; sc = sc->parent) {
      if (sc->items)
        for (size_t i = 0; i < sc->items->size(); ++i)
          if (vb::compareTextNoCase((*sc->items)[i].alias, col) == 0) return aliasUse(*sc, i, e);
      for (const auto& s : sc->sources) {
        if (s.info) {
          if (auto* c = s.info->find(col)) return {ident(col), c->second, false};
        } else {
          for (auto& d : s.derived)
            if (vb::compareTextNoCase(d.first, col) == 0) return {ident(col), d.second, false};
        }
      }
      for (const auto& a : sc->aliases)
        if (vb::compareTextNoCase(a.first, col) == 0)
          return {"(" + a.second.first + ")", a.second.second, false};
    }
    if (scope.sources.empty() && !scope.parent)
      error(kErrNoSuchColumn, "Unknown column '" + col + "'.", e.pos);
    error(kErrNoSuchColumn, "Unknown column '" + col + "'.", e.pos);
  }

  // An alias used in its own select list: its expression, inlined. An alias that needs itself
  // (directly or through others) is refused as Jet refuses it.
  Out aliasUse(const Scope& sc, size_t i, const Expr& at) {
    const SelectItem& it = (*sc.items)[i];
    if (std::find(sc.expanding.begin(), sc.expanding.end(), i) != sc.expanding.end())
      error(kErrSyntax,
            "Circular reference caused by alias '" + it.alias +
                "' in query definition's SELECT list.",
            at.pos);
    // Each use copies the expression: a long enough chain of aliases would grow without bound.
    if (++aliasExpansions > kMaxAliasExpansions)
      error(kErrSyntax, "Query is too complex (aliases used too many times).", at.pos);
    sc.expanding.push_back(i);
    Out o;
    try {
      o = expr(*it.expr, sc);
    } catch (...) {
      sc.expanding.pop_back();
      throw;
    }
    sc.expanding.pop_back();
    return {"(" + value(o) + ")", o.type, false};
  }

  Out number(const Expr& e) {
    bool integral = e.text.find_first_of(".eE") == std::string::npos;
    VarType t = integral && e.num <= 2147483647.0
                    ? (e.num <= 32767 ? VarType::Integer : VarType::Long)
                    : VarType::Double;
    if (lift && e.tokenIndex >= 0) {
      params.push_back(t == VarType::Double ? Variant::dbl(e.num)
                                            : Variant::longInt(static_cast<std::int32_t>(e.num)));
      liftedTokens.push_back(e.tokenIndex);
      return {"?", t, false};
    }
    if (e.tokenIndex >= 0) inlinedTokens.push_back(e.tokenIndex);
    return {integral ? e.text : numberLiteral(e.num), t, false};
  }

  // Text is lifted as numbers are: a bound text value compares, matches and converts exactly as
  // the same text written as a literal.
  Out string(const Expr& e) {
    if (lift && e.tokenIndex >= 0) {
      params.push_back(Variant::string(e.text));
      liftedTokens.push_back(e.tokenIndex);
      return {"?", VarType::String, false};
    }
    if (e.tokenIndex >= 0) inlinedTokens.push_back(e.tokenIndex);
    return {quote(e.text), VarType::String, false};
  }

  Out func(const Expr& e, const Scope& scope) {
    const std::string& n = e.text;
    // Errors name the function as written.
    std::string written = n;
    if (e.pos >= 0 && static_cast<size_t>(e.pos) + n.size() <= sql.size() &&
        vb::compareTextNoCase(sql.substr(static_cast<size_t>(e.pos), n.size()), n) == 0)
      written = std::string(sql.substr(static_cast<size_t>(e.pos), n.size()));
    auto a = [&](size_t i) { return expr(*e.args[i], scope); };
    auto need = [&](size_t lo, size_t hi) {
      if (e.args.size() < lo || e.args.size() > hi)
        error(kErrSyntax,
              "Wrong number of arguments used with function '" + written + "' in query expression.",
              e.pos);
    };
    if (isAggregateName(n)) {
      need(1, 1);
      bool star = e.args[0]->kind == Expr::Star;
      Out x = star ? Out{"*", VarType::Empty, false} : a(0);
      if (pivotMatch)
        x.sql =
            "CASE WHEN " + *pivotMatch + " THEN " + (star ? std::string("1") : value(x)) + " END";
      std::string arg = (e.negated ? "DISTINCT " : std::string()) + (pivotMatch ? x.sql : value(x));
      if (n == "count") return {"count(" + arg + ")", VarType::Long, false};
      if (n == "sum")
        return {"sum(" + arg + ")",
                x.type == VarType::Boolean || x.type == VarType::Integer ? VarType::Long : x.type,
                false};
      if (n == "avg")
        return {"avg(" + arg + ")",
                x.type == VarType::Currency ? VarType::Currency : VarType::Double, false};
      if (n == "min" || n == "max") return {n + "(" + arg + ")", x.type, false};
      if (n == "first" || n == "last") return {"jet_" + n + "(" + arg + ")", x.type, false};
      error(kErrSyntax, "Undefined function '" + written + "' in expression.", e.pos);
    }
    if (n == "iif") {
      need(3, 3);
      Out c = a(0), t = a(1), f = a(2);
      VarType type = t.type == f.type                                            ? t.type
                     : f.type == VarType::Empty && e.args[2]->kind == Expr::Null ? t.type
                     : t.type == VarType::Empty && e.args[1]->kind == Expr::Null ? f.type
                                                                                 : VarType::Empty;
      return {"(CASE WHEN " + cond(c) + " THEN " + value(t) + " ELSE " + value(f) + " END)", type,
              false};
    }
    if (n == "isnull") {
      need(1, 1);
      return {"(" + value(a(0)) + " IS NULL)", VarType::Boolean, true};
    }
    if (n == "nz") {
      need(1, 2);
      Out x = a(0);
      std::string other = e.args.size() > 1 ? value(a(1)) : "''";
      return {"coalesce(" + value(x) + ", " + other + ")", x.type, false};
    }
    static const std::map<std::string, std::pair<int, VarType>> known = {
        {"trim", {1, VarType::String}},       {"ltrim", {1, VarType::String}},
        {"rtrim", {1, VarType::String}},      {"left", {2, VarType::String}},
        {"right", {2, VarType::String}},      {"mid", {-1, VarType::String}},
        {"len", {1, VarType::Long}},          {"ucase", {1, VarType::String}},
        {"lcase", {1, VarType::String}},      {"chr", {1, VarType::String}},
        {"asc", {1, VarType::Integer}},       {"space", {1, VarType::String}},
        {"instr", {-1, VarType::Long}},       {"replace", {3, VarType::String}},
        {"cstr", {1, VarType::String}},       {"str", {1, VarType::String}},
        {"val", {1, VarType::Double}},        {"format", {-1, VarType::String}},
        {"cint", {1, VarType::Integer}},      {"clng", {1, VarType::Long}},
        {"csng", {1, VarType::Single}},       {"cdbl", {1, VarType::Double}},
        {"ccur", {1, VarType::Currency}},     {"cdate", {1, VarType::Date}},
        {"cbool", {1, VarType::Boolean}},     {"int", {1, VarType::Double}},
        {"fix", {1, VarType::Double}},        {"abs", {1, VarType::Double}},
        {"round", {2, VarType::Double}},      {"isnumeric", {1, VarType::Boolean}},
        {"isdate", {1, VarType::Boolean}},    {"year", {1, VarType::Integer}},
        {"month", {1, VarType::Integer}},     {"day", {1, VarType::Integer}},
        {"hour", {1, VarType::Integer}},      {"minute", {1, VarType::Integer}},
        {"second", {1, VarType::Integer}},    {"weekday", {1, VarType::Integer}},
        {"dateserial", {3, VarType::Date}},   {"datevalue", {1, VarType::Date}},
        {"now", {0, VarType::Date}},          {"date", {0, VarType::Date}},
        {"datepart", {-1, VarType::Integer}},
    };
    auto it = known.find(n);
    if (it == known.end())
      error(kErrSyntax, "Undefined function '" + written + "' in expression.", e.pos);
    int arity = it->second.first;
    if (arity >= 0) need(static_cast<size_t>(arity), static_cast<size_t>(arity));
    if (n == "mid") need(2, 3);
    if (n == "instr") need(2, 3);
    if (n == "format") need(1, 4);
    if (n == "datepart") need(2, 4);
    std::string s = "jet_" + n + "(";
    for (size_t i = 0; i < e.args.size(); ++i) s += (i ? ", " : "") + typedValue(a(i));
    return {s + ")", it->second.second, it->second.second == VarType::Boolean};
  }

  Out expr(const Expr& e, const Scope& scope) {
    switch (e.kind) {
      case Expr::Number:
        return number(e);
      case Expr::String:
        return string(e);
      case Expr::DateLit:
        return {numberLiteral(e.num), VarType::Date, false};
      case Expr::Bool:
        return {e.num != 0 ? "-1" : "0", VarType::Long, false};
      case Expr::Null:
        return {"NULL", VarType::Empty, false};
      case Expr::Column:
        return column(e, scope);
      case Expr::Star:
        error(kErrSyntax, "'*' is not allowed here.", e.pos);
      case Expr::Func:
        return func(e, scope);
      case Expr::Unary: {
        Out x = expr(*e.args[0], scope);
        if (e.text == "not") {
          // NOT of a number is its bitwise complement in Jet; on -1/0 truth values both agree.
          if (!x.boolean && x.type != VarType::Boolean && x.type != VarType::Empty)
            return {"(~(" + x.sql + "))", x.type, false};
          return {"(NOT " + cond(x) + ")", VarType::Boolean, true};
        }
        return {"(-" + value(x) + ")", x.type, false};
      }
      case Expr::Binary:
        return binary(e, scope);
      case Expr::Between: {
        Out x = expr(*e.args[0], scope), lo = expr(*e.args[1], scope), hi = expr(*e.args[2], scope);
        return {"(" + value(x) + collateFor({&x, &lo, &hi}) + " " + (e.negated ? "NOT " : "") +
                    "BETWEEN " + value(lo) + " AND " + value(hi) + ")",
                VarType::Boolean, true};
      }
      case Expr::InList: {
        Out x = expr(*e.args[0], scope);
        std::vector<Out> items;
        bool text = !isNotText(x);
        for (size_t i = 1; i < e.args.size(); ++i) {
          // Jet's Not In passes over a Null in the list; SQLite's would make every answer Null.
          if (e.negated && e.args[i]->kind == Expr::Null) continue;
          items.push_back(expr(*e.args[i], scope));
          text = text || !isNotText(items.back());
        }
        std::string s = "(" + value(x) + (text ? " COLLATE JETTEXT " : " ") +
                        (e.negated ? "NOT " : "") + "IN (";
        for (size_t i = 0; i < items.size(); ++i) s += (i ? ", " : "") + value(items[i]);
        return {s + "))", VarType::Boolean, true};
      }
      case Expr::InSelect: {
        Out x = expr(*e.args[0], scope);
        SelectOut sub = select(*e.sub, &scope, false);
        std::string lhs = value(x) + (isNotText(x) ? "" : " COLLATE JETTEXT");
        if (!e.negated || sub.star || sub.names.empty())
          return {"(" + lhs + (e.negated ? " NOT" : "") + " IN (" + sub.sql + "))",
                  VarType::Boolean, true};
        // As with a list, Not In passes over the Nulls the subquery returns.
        std::string c = ident(sub.names[0]);
        return {"(" + lhs + " NOT IN (SELECT " + c + " FROM (" + sub.sql + ") WHERE " + c +
                    " IS NOT NULL))",
                VarType::Boolean, true};
      }
      case Expr::IsNull: {
        Out x = expr(*e.args[0], scope);
        return {"(" + value(x) + (e.negated ? " IS NOT NULL)" : " IS NULL)"), VarType::Boolean,
                true};
      }
      case Expr::Exists: {
        SelectOut sub = select(*e.sub, &scope, false);
        return {"(EXISTS (" + sub.sql + "))", VarType::Boolean, true};
      }
      case Expr::SubQuery: {
        SelectOut sub = select(*e.sub, &scope, false);
        return {"(" + sub.sql + ")", sub.types.empty() ? VarType::Empty : sub.types[0], false};
      }
    }
    error(kErrSyntax, "Unsupported expression.", e.pos);
  }

  Out binary(const Expr& e, const Scope& scope) {
    const std::string& op = e.text;
    Out a = expr(*e.args[0], scope), b = expr(*e.args[1], scope);
    if (op == "and" || op == "or")
      return {"(" + cond(a) + (op == "and" ? " AND " : " OR ") + cond(b) + ")", VarType::Boolean,
              true};
    if (op == "xor") return {"(" + cond(a) + " <> " + cond(b) + ")", VarType::Boolean, true};
    if (op == "eqv") return {"(" + cond(a) + " = " + cond(b) + ")", VarType::Boolean, true};
    if (op == "imp") return {"((NOT " + cond(a) + ") OR " + cond(b) + ")", VarType::Boolean, true};
    if (op == "&")
      return {"jet_cat(" + typedValue(a) + ", " + typedValue(b) + ")", VarType::String, false};
    if (op == "+") {
      VarType t = a.type == VarType::String && b.type == VarType::String
                      ? VarType::String
                      : arithType(a.type, b.type, op);
      // Numbers known on both sides add natively; otherwise Jet decides at run time.
      if (isNumericType(a.type) && isNumericType(b.type) && !a.boolean && !b.boolean)
        return {"(" + a.sql + " + " + b.sql + ")", t, false};
      return {"jet_add(" + typedValue(a) + ", " + typedValue(b) + ")", t, false};
    }
    if (op == "-" || op == "*")
      return {"(" + value(a) + " " + op + " " + value(b) + ")", arithType(a.type, b.type, op),
              false};
    // Division by zero is an error, as with \ and Mod, not a silent Null.
    if (op == "/") return {"jet_div(" + value(a) + ", " + value(b) + ")", VarType::Double, false};
    if (op == "\\") return {"jet_intdiv(" + value(a) + ", " + value(b) + ")", VarType::Long, false};
    if (op == "mod") return {"jet_mod(" + value(a) + ", " + value(b) + ")", VarType::Long, false};
    if (op == "^") return {"jet_pow(" + value(a) + ", " + value(b) + ")", VarType::Double, false};
    if (op == "like") {
      // SQLite's own LIKE folds ASCII letters only.
      std::string m = "jet_like(" + typedValue(a) + ", " + typedValue(b) + ")";
      return {e.negated ? "(NOT " + m + ")" : m, VarType::Boolean, true};
    }
    // Comparisons: text compares without regard to case, whatever the operands' origin. Numbers
    // and dates known on both sides compare plainly, so an index on the column can serve (a
    // collation the index does not have rules it out: keys and counts by id would scan).
    return {"(" + value(a) + " " + op + " " + value(b) + collateFor({&a, &b}) + ")",
            VarType::Boolean, true};
  }

  Out condition(const Expr& e, const Scope& scope) {
    bool saved = lift;
    lift = true;
    Out o = expr(e, scope);
    lift = saved;
    return o;
  }

  // ---- FROM ----

  void collect(const TableRef& t, Scope& scope, const Scope* outer) {
    if (t.kind == TableRef::Join) {
      collect(*t.left, scope, outer);
      collect(*t.right, scope, outer);
      return;
    }
    Source s;
    s.name = t.kind == TableRef::Table ? t.name : t.alias;
    s.alias = t.alias.empty() ? t.name : t.alias;
    if (t.kind == TableRef::Table) {
      const TableInfo& info = table(t.name);
      if (!info.exists) error(kErrNoSuchObject, "Unknown table or query '" + t.name + "'.", t.pos);
      s.info = &info;
      s.rowid = !info.isView;
    } else {
      // Only the names are wanted here; from() translates the subquery for real.
      std::vector<Variant> savedParams = params;
      std::vector<int> savedLifted = liftedTokens;
      SelectOut sub = select(*t.sub, outer, false);
      params = std::move(savedParams);
      liftedTokens = std::move(savedLifted);
      for (size_t i = 0; i < sub.names.size(); ++i)
        s.derived.push_back({sub.names[i], i < sub.types.size() ? sub.types[i] : VarType::Empty});
      s.rowid = false;
    }
    scope.sources.push_back(std::move(s));
  }

  std::string from(const TableRef& t, const Scope& scope, bool nested) {
    switch (t.kind) {
      case TableRef::Table:
        return ident(t.name) + (t.alias.empty() ? "" : " AS " + ident(t.alias));
      case TableRef::SubQuery: {
        SelectOut sub = select(*t.sub, scope.parent, false);
        return "(" + sub.sql + ")" + (t.alias.empty() ? "" : " AS " + ident(t.alias));
      }
      case TableRef::Join: {
        // A RIGHT JOIN is written as the LEFT JOIN it equals, its kept side first: SQLite builds
        // a parenthesised group that holds a RIGHT JOIN in full before the WHERE clause can
        // narrow it (every invitation of every party, for one party's seating), while a group
        // of inner and left joins it folds into the query and starts from the filtered table.
        // Not where the order of the tables shows (a bare *) or the ON clause reads a table
        // outside the two sides (SQLite refuses that for a RIGHT JOIN and must still).
        if (t.joinType == "right" && opts.planFriendly && !bareStar) {
          std::set<std::string> sides;
          aliasesOf(t, sides);
          if (readsOnly(*t.on, scope, sides)) {
            std::string kept = from(*t.right, scope, false);
            std::string other = from(*t.left, scope, true);
            checkJoinCondition(*t.on, scope);
            std::string s = kept + " LEFT JOIN " + other + " ON " + cond(condition(*t.on, scope));
            return nested ? "(" + s + ")" : s;
          }
        }
        std::string l = from(*t.left, scope, false);
        std::string r = from(*t.right, scope, true);
        std::string kw = t.joinType == "left"    ? " LEFT JOIN "
                         : t.joinType == "right" ? " RIGHT JOIN "
                                                 : " INNER JOIN ";
        checkJoinCondition(*t.on, scope);
        std::string s = l + kw + r + " ON " + cond(condition(*t.on, scope));
        return nested ? "(" + s + ")" : s;
      }
    }
    return {};
  }

  // The names (lower case) a FROM item's tables are qualified with.
  static void aliasesOf(const TableRef& t, std::set<std::string>& out) {
    if (t.kind == TableRef::Join) {
      aliasesOf(*t.left, out);
      aliasesOf(*t.right, out);
    } else {
      out.insert(lower(t.alias.empty() ? t.name : t.alias));
    }
  }

  // Whether every column `e` reads is one of the tables `within` (and only theirs, where the
  // name is not qualified), with no subquery: otherwise the caller keeps the statement's shape.
  static bool readsOnly(const Expr& e, const Scope& scope, const std::set<std::string>& within) {
    if (e.sub || e.kind == Expr::Star) return false;
    if (e.kind == Expr::Column) {
      if (e.bracketedDot) return false;
      if (!e.table.empty()) {
        const Source* found = nullptr;
        for (const auto& s : scope.sources)
          if (!found && vb::compareTextNoCase(s.alias, e.table) == 0) found = &s;
        for (const auto& s : scope.sources)
          if (!found && vb::compareTextNoCase(s.name, e.table) == 0) found = &s;
        return found && within.count(lower(found->alias));
      }
      bool found = false;
      for (const auto& s : scope.sources) {
        bool has = s.info != nullptr && s.info->find(e.text) != nullptr;
        for (const auto& d : s.derived)
          if (vb::compareTextNoCase(d.first, e.text) == 0) has = true;
        if (!has) continue;
        if (!within.count(lower(s.alias))) return false;
        found = true;
      }
      return found;
    }
    for (const auto& a : e.args)
      if (!readsOnly(*a, scope, within)) return false;
    return true;
  }

  // Jet accepts a condition on a single table inside ON only for a table the same ON clause
  // links; anything else (a WHERE condition that slid into the join because the caller's where
  // clause was empty, say) is refused rather than silently filtering the join.
  void checkJoinCondition(const Expr& on, const Scope& scope) {
    std::vector<const Expr*> terms;
    andTerms(on, terms);
    std::set<std::string> linked;
    std::vector<std::pair<const Expr*, std::set<std::string>>> single;
    for (const Expr* e : terms) {
      std::set<std::string> ts;
      tablesOf(*e, scope, ts);
      if (ts.size() >= 2)
        linked.insert(ts.begin(), ts.end());
      else if (ts.size() == 1)
        single.emplace_back(e, std::move(ts));
    }
    if (linked.empty()) return;
    for (const auto& [e, ts] : single)
      if (!linked.count(*ts.begin())) error(kErrSyntax, "JOIN expression not supported.", e->pos);
  }

  // ---- SELECT ----

  // Whether every aggregate of `s`'s list and HAVING is a Count (whose value does not depend on
  // the order rows come in, unlike First, Last or a sum of fractions).
  static bool countsOnly(const Select& s) {
    auto walk = [](auto&& self, const Expr& e) -> bool {
      if (e.kind == Expr::Func && isAggregateName(e.text) && e.text != "count") return false;
      for (const auto& a : e.args)
        if (!self(self, *a)) return false;
      return true;
    };
    for (const auto& it : s.items)
      if (!walk(walk, *it.expr)) return false;
    return !s.having || walk(walk, *s.having);
  }

  static bool hasAggregate(const Expr& e) {
    if (e.kind == Expr::Func && isAggregateName(e.text)) return true;
    if (e.kind == Expr::InSelect || e.kind == Expr::Exists || e.kind == Expr::SubQuery) {
      for (auto& a : e.args)
        if (hasAggregate(*a)) return true;
      return false;
    }
    for (auto& a : e.args)
      if (hasAggregate(*a)) return true;
    return false;
  }

  // Tables whose columns an expression reads (by alias).
  static void tablesOf(const Expr& e, const Scope& scope, std::set<std::string>& out) {
    if (e.kind == Expr::Column) {
      if (!e.table.empty()) {
        if (const Source* s = scope.find(e.table)) out.insert(lower(s->alias));
      } else {
        for (const auto& s : scope.sources) {
          bool has = s.info ? s.info->find(e.text) != nullptr : false;
          if (has) {
            out.insert(lower(s.alias));
            break;
          }
        }
      }
    }
    if (e.kind == Expr::Star) {
      for (const auto& s : scope.sources)
        if (e.table.empty() || vb::compareTextNoCase(s.alias, e.table) == 0)
          out.insert(lower(s.alias));
    }
    for (auto& a : e.args) tablesOf(*a, scope, out);
  }

  std::string outputName(const Expr& e, const SelectItem& it, int& exprNo, const Scope& scope) {
    if (!it.alias.empty()) return it.alias;
    if (e.kind == Expr::Column) {
      // [Table.Column] read as Table.Column is named by its column, like Table.Column.
      if (auto dot = e.text.find('.');
          e.bracketedDot && dot != std::string::npos && scope.find(e.text.substr(0, dot)))
        return e.text.substr(dot + 1);
      return e.text;
    }
    if (e.kind == Expr::Func && isAggregateName(e.text) && !e.args.empty() &&
        e.args[0]->kind == Expr::Column) {
      std::string f = e.text;
      f[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(f[0])));
      return f + "Of" + e.args[0]->text;
    }
    return "Expr" + std::to_string(1000 + exprNo++);
  }

  struct Parts {
    SelectOut out;
    std::string fromSql, whereSql, groupSql, havingSql, orderSql;
    bool aggregate = false;
    bool distinctFallback = false;  // DISTINCTROW over a view: plain DISTINCT instead
    std::vector<std::string> itemSql;
    Scope scope;
  };

  Parts selectParts(const Select& s, const Scope* outer, bool withOrder) {
    const bool keyOrdered = groupsInKeyOrder;  // this SELECT's own: not its subqueries'
    groupsInKeyOrder = false;
    Parts p;
    p.scope.parent = outer;
    for (const auto& t : s.from) collect(*t, p.scope, outer);
    for (const auto& it : s.items)
      if (hasAggregate(*it.expr)) p.aggregate = true;
    if (!s.groupBy.empty()) p.aggregate = true;

    // Select list (its literals stay in the text: it does not change between side queries).
    int exprNo = 0;
    std::vector<std::string> names;
    p.scope.items = &s.items;
    for (size_t itemNo = 0; itemNo < s.items.size(); ++itemNo) {
      const SelectItem& it = s.items[itemNo];
      p.scope.expanding.assign(1, itemNo);
      if (it.expr->kind == Expr::Star) {
        p.out.star = true;
        if (it.expr->table.empty()) {
          p.itemSql.push_back("*");
        } else {
          const Source* src = p.scope.find(it.expr->table);
          if (!src)
            error(kErrNoSuchObject, "Unknown table '" + it.expr->table + "'.", it.expr->pos);
          p.itemSql.push_back(ident(src->alias) + ".*");
        }
        names.emplace_back();
        p.out.types.push_back(VarType::Empty);
        continue;
      }
      Out o = expr(*it.expr, p.scope);
      std::string name = outputName(*it.expr, it, exprNo, p.scope);
      names.push_back(name);
      // A comparison or True used as a value is the number -1 or 0.
      p.out.types.push_back(o.boolean ? VarType::Long : o.type);
      // Text made by an expression de-duplicates (DISTINCT, UNION) and compares further out
      // without regard to case, as a text column does.
      bool textExpr = !isNotText(o) && it.expr->kind != Expr::Column;
      p.itemSql.push_back(value(o) + (textExpr ? " COLLATE JETTEXT" : ""));
      if (!it.alias.empty()) p.scope.aliases.push_back({it.alias, {value(o), o.type}});
    }
    p.scope.items = nullptr;
    p.scope.expanding.clear();
    // Two columns of the same name from different tables are told apart as Table.Column; the
    // same column selected twice keeps its plain name (the first one is found by it).
    std::vector<std::string> plain = names;
    auto sameColumn = [&](const Expr& a, size_t j) {
      const Expr& b = *s.items[j].expr;
      return s.items[j].alias.empty() && b.kind == Expr::Column &&
             vb::compareTextNoCase(a.table, b.table) == 0 &&
             vb::compareTextNoCase(a.text, b.text) == 0;
    };
    for (size_t i = 0; i < names.size(); ++i) {
      const Expr& e = *s.items[i].expr;
      if (!s.items[i].alias.empty() || e.kind != Expr::Column || e.table.empty()) continue;
      for (size_t j = 0; j < plain.size(); ++j) {
        if (i != j && vb::compareTextNoCase(plain[i], plain[j]) == 0 && !sameColumn(e, j)) {
          names[i] = e.table + "." + e.text;
          break;
        }
      }
    }
    p.out.names = names;

    const bool savedStar = bareStar;
    bareStar = std::find(p.itemSql.begin(), p.itemSql.end(), "*") != p.itemSql.end();
    for (size_t i = 0; i < s.from.size(); ++i)
      p.fromSql += (i ? ", " : "") + from(*s.from[i], p.scope, false);
    bareStar = savedStar;
    if (s.where) p.whereSql = cond(condition(*s.where, p.scope));
    std::string groupSql;
    for (size_t i = 0; i < s.groupBy.size(); ++i) {
      // A number, date or truth value groups alike with or without the text collation; without
      // it an index on the column serves the grouping, and a HAVING condition on the column can
      // move into WHERE (SQLite moves one only when its collation is the grouping's). Only where
      // the groups come out in key order whatever the plan: another plan would feed an ORDER BY
      // its ties in another order.
      Out g = expr(*s.groupBy[i], p.scope);
      groupSql +=
          (i ? ", " : "") + value(g) + (keyOrdered && isNotText(g) ? "" : " COLLATE JETTEXT");
    }
    // DISTINCTROW: one row per combination of the rows of the tables that supply output
    // columns; it does nothing for one table or an aggregate query.
    if (s.distinctRow && !p.aggregate && !s.distinct) {
      std::set<std::string> used;
      for (const auto& it : s.items) tablesOf(*it.expr, p.scope, used);
      if (p.scope.sources.size() > 1 && used.size() < p.scope.sources.size()) {
        bool rowids = true;
        for (const auto& src : p.scope.sources)
          if (used.count(lower(src.alias)) && !src.rowid) rowids = false;
        if (rowids) {
          for (const auto& src : p.scope.sources)
            if (used.count(lower(src.alias)))
              for (const auto& k : src.info->rowKey)
                groupSql += (groupSql.empty() ? "" : ", ") + ident(src.alias) + "." + ident(k);
        } else {
          p.distinctFallback = true;
        }
      }
    }
    p.groupSql = groupSql;
    if (s.having) p.havingSql = cond(condition(*s.having, p.scope));
    if (withOrder) p.orderSql = orderBy(s, p);
    return p;
  }

  std::string orderBy(const Select& s, Parts& p) {
    std::string o;
    for (size_t i = 0; i < s.orderBy.size(); ++i) {
      const Expr& e = *s.orderBy[i].expr;
      std::string term;
      if (e.kind == Expr::Number && e.text.find('.') == std::string::npos) {
        term = e.text;
      } else if (e.kind == Expr::Column && e.table.empty() && !e.bracketedDot) {
        bool isAlias = false;
        for (size_t k = 0; k < s.items.size(); ++k)
          if (!s.items[k].alias.empty() && vb::compareTextNoCase(s.items[k].alias, e.text) == 0)
            isAlias = true;
        term = isAlias ? ident(e.text) : value(expr(e, p.scope));
      } else {
        term = value(expr(e, p.scope));
      }
      o += (i ? ", " : "") + term + " COLLATE JETTEXT" + (s.orderBy[i].desc ? " DESC" : "");
    }
    return o;
  }

  SelectOut assemble(const Select& s, Parts& p) {
    SelectOut out = p.out;
    std::string sql = "SELECT ";
    if (s.distinct || p.distinctFallback) sql += "DISTINCT ";
    for (size_t i = 0; i < p.itemSql.size(); ++i) {
      sql += (i ? ", " : "") + p.itemSql[i];
      if (p.itemSql[i] != "*" && p.itemSql[i].find(".*") == std::string::npos)
        sql += " AS " + ident(out.names[i]);
    }
    if (!p.fromSql.empty()) sql += " FROM " + p.fromSql;
    if (!p.whereSql.empty()) sql += " WHERE " + p.whereSql;
    if (!p.groupSql.empty()) sql += " GROUP BY " + p.groupSql;
    if (!p.havingSql.empty()) sql += " HAVING " + p.havingSql;
    if (!p.orderSql.empty()) sql += " ORDER BY " + p.orderSql;
    if (s.top >= 0 && !s.topPercent) sql += " LIMIT " + std::to_string(s.top);
    out.sql = sql;
    return out;
  }

  SelectOut select(const Select& s, const Scope* outer, bool topLevel) {
    (void)topLevel;
    if (!s.unionWith.empty()) {
      std::vector<const Select*> members{&s};
      for (const auto& m : s.unionWith) members.push_back(m.get());
      return compound(members, s.unionAll, outer);
    }
    Parts p = selectParts(s, outer, true);
    return assemble(s, p);
  }

  // ---- Statements ----

  Translation unionOf(const Statement& st) {
    std::vector<const Select*> members;
    for (const auto& sel : st.selects) members.push_back(sel.get());
    SelectOut o = compound(members, st.unionAll, nullptr);
    Translation t;
    t.sql = o.sql;
    if (!o.star) {
      t.columnNames = o.names;
      t.columnTypes = o.types;
    }
    return t;
  }

  // SELECT ... UNION [ALL] SELECT ...: the first member names the columns; `all[i - 1]` tells
  // whether member i keeps duplicates.
  SelectOut compound(const std::vector<const Select*>& members, const std::vector<bool>& all,
                     const Scope* outer) {
    std::string sql;
    SelectOut first;
    std::vector<Parts> parts;
    for (const Select* sel : members) parts.push_back(selectParts(*sel, outer, false));
    // A column that is text in one member and a date or truth value in another is text, the
    // others' values written as CStr writes them (an invoice's blank due date beside real ones).
    for (size_t k = 0; k < parts[0].itemSql.size(); ++k) {
      bool text = false;
      for (const Parts& p : parts)
        text = text || (k < p.out.types.size() && p.out.types[k] == VarType::String);
      if (!text) continue;
      for (Parts& p : parts) {
        if (k >= p.out.types.size()) continue;
        VarType t = p.out.types[k];
        if (t != VarType::Date && t != VarType::Boolean && t != VarType::Currency) continue;
        p.itemSql[k] = "(CASE WHEN " + p.itemSql[k] + " IS NULL THEN NULL ELSE jet_cstr(" +
                       typedValue({p.itemSql[k], t, false}) + ") END)";
        p.out.types[k] = VarType::String;
      }
    }
    for (size_t i = 0; i < members.size(); ++i) {
      Parts& p = parts[i];
      SelectOut o = assemble(*members[i], p);
      if (i == 0) first = o;
      if (i) sql += all[i - 1] ? " UNION ALL " : " UNION ";
      sql += o.sql;
    }
    // The last member's ORDER BY orders the whole union, by output column.
    const Select& last = *members.back();
    std::string order;
    for (size_t i = 0; i < last.orderBy.size(); ++i) {
      const Expr& e = *last.orderBy[i].expr;
      int ordinal = -1;
      if (e.kind == Expr::Number) ordinal = static_cast<int>(e.num);
      for (size_t k = 0; ordinal < 0 && k < last.items.size(); ++k) {
        const SelectItem& it = last.items[k];
        const Expr& x = *it.expr;
        if (e.kind == Expr::Column &&
            ((!it.alias.empty() && e.table.empty() &&
              vb::compareTextNoCase(it.alias, e.text) == 0) ||
             (x.kind == Expr::Column && vb::compareTextNoCase(x.text, e.text) == 0 &&
              (e.table.empty() || vb::compareTextNoCase(x.table, e.table) == 0))))
          ordinal = static_cast<int>(k) + 1;
      }
      for (size_t k = 0; ordinal < 0 && k < first.names.size(); ++k)
        if (e.kind == Expr::Column && vb::compareTextNoCase(first.names[k], e.text) == 0)
          ordinal = static_cast<int>(k) + 1;
      if (ordinal < 1 || ordinal > static_cast<int>(first.names.size()))
        error(kErrSyntax, "The ORDER BY expression of a union must name one of its output columns.",
              e.pos);
      order += (i ? ", " : "") + std::to_string(ordinal) + " COLLATE JETTEXT" +
               (last.orderBy[i].desc ? " DESC" : "");
    }
    // Ordered from outside: SQLite 3.40 fails to resolve columns of a RIGHT JOIN in a grouped
    // compound that carries its own ORDER BY.
    if (!order.empty()) sql = "SELECT * FROM (" + sql + ") ORDER BY " + order;
    first.sql = sql;
    return first;
  }

  std::vector<Variant> pivotValues(const Select& s, const Expr& pivot) {
    bool saved = lift;
    Scope scope;
    for (const auto& t : s.from) collect(*t, scope, nullptr);
    std::vector<Variant> savedParams = params;
    std::vector<int> savedLifted = liftedTokens;
    params.clear();
    liftedTokens.clear();
    std::string fromSql;
    for (size_t i = 0; i < s.from.size(); ++i)
      fromSql += (i ? ", " : "") + from(*s.from[i], scope, false);
    std::string q = "SELECT DISTINCT " + value(expr(pivot, scope)) + " FROM " + fromSql;
    if (s.where) q += " WHERE " + cond(condition(*s.where, scope));
    std::vector<Variant> qparams = params;
    params = savedParams;
    liftedTokens = savedLifted;
    lift = saved;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, q.c_str(), -1, &st, nullptr) != SQLITE_OK) {
      std::string m = sqlite3_errmsg(db);
      sqlite3_finalize(st);
      throw DbError(kErrSyntax, m, std::string(sql), q);
    }
    for (size_t i = 0; i < qparams.size(); ++i) {
      const Variant& v = qparams[i];
      if (v.type() == VarType::Double)
        sqlite3_bind_double(st, static_cast<int>(i) + 1, v.rawDouble());
      else if (v.type() == VarType::String)
        sqlite3_bind_text(st, static_cast<int>(i) + 1, v.rawString().data(),
                          static_cast<int>(v.rawString().size()), SQLITE_TRANSIENT);
      else
        sqlite3_bind_int64(st, static_cast<int>(i) + 1, v.rawInt());
    }
    std::vector<Variant> vals;
    int rc;
    while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
      switch (sqlite3_column_type(st, 0)) {
        case SQLITE_NULL:
          vals.push_back(Variant::null());
          break;
        case SQLITE_INTEGER:
          vals.push_back(Variant::longInt(static_cast<std::int32_t>(sqlite3_column_int64(st, 0))));
          break;
        case SQLITE_FLOAT:
          vals.push_back(Variant::dbl(sqlite3_column_double(st, 0)));
          break;
        default:
          vals.push_back(
              Variant::string(reinterpret_cast<const char*>(sqlite3_column_text(st, 0))));
      }
    }
    std::string err = rc == SQLITE_DONE ? "" : sqlite3_errmsg(db);
    sqlite3_finalize(st);
    if (!err.empty()) throw DbError(kErrSyntax, err, std::string(sql), q);
    // Column headings ascending, text without regard to case; Null first.
    std::stable_sort(vals.begin(), vals.end(), [](const Variant& a, const Variant& b) {
      if (a.isNull() || b.isNull()) return a.isNull() && !b.isNull();
      return compareValues(a, b, true) < 0;
    });
    // Values equal without regard to case make one column.
    vals.erase(std::unique(vals.begin(), vals.end(),
                           [](const Variant& a, const Variant& b) {
                             if (a.isNull() || b.isNull()) return a.isNull() && b.isNull();
                             return compareValues(a, b, true) == 0;
                           }),
               vals.end());
    return vals;
  }

  Translation crosstab(const Statement& st) {
    const Select& s = *st.selects[0];
    const Expr& agg = *st.transformValue;
    if (!hasAggregate(agg))
      error(kErrSyntax, "TRANSFORM needs an aggregate function such as Sum(x).", agg.pos);
    std::vector<Variant> vals;
    if (!st.pivotIn.empty()) {
      for (const auto& e : st.pivotIn) {
        if (e->kind == Expr::String)
          vals.push_back(Variant::string(e->text));
        else if (e->kind == Expr::Number)
          vals.push_back(Variant::dbl(e->num));
        else
          error(kErrSyntax, "PIVOT ... IN takes constants.", e->pos);
      }
    } else {
      vals = pivotValues(s, *st.pivot);
    }
    Parts p = selectParts(s, nullptr, false);
    Out pivot = expr(*st.pivot, p.scope);
    // Rows are ordered by the ORDER BY terms other than the pivot expression (which orders the
    // columns), then by the row headings.
    std::string order;
    for (const auto& o : s.orderBy) {
      std::string term = value(expr(*o.expr, p.scope));
      if (term == value(pivot)) {
        if (o.desc) std::reverse(vals.begin(), vals.end());
        continue;
      }
      order += (order.empty() ? "" : ", ") + term + " COLLATE JETTEXT" + (o.desc ? " DESC" : "");
    }
    for (const auto& g : s.groupBy)
      order += (order.empty() ? "" : ", ") + value(expr(*g, p.scope)) + " COLLATE JETTEXT";
    p.orderSql = order;
    for (const Variant& v : vals) {
      std::string match;
      std::string name;
      if (v.isNull()) {
        match = "(" + value(pivot) + ") IS NULL";
        name = "<>";
      } else {
        std::string lit =
            v.type() == VarType::String ? quote(v.rawString()) : numberLiteral(v.toDouble());
        match = "(" + value(pivot) + ") = " + lit + " COLLATE JETTEXT";
        name = v.toString();
      }
      pivotMatch = &match;
      Out cellValue;
      try {
        cellValue = expr(agg, p.scope);
      } catch (...) {
        pivotMatch = nullptr;
        throw;
      }
      pivotMatch = nullptr;
      // A cell with no rows is Null, whatever the aggregate.
      std::string cell = "(CASE WHEN count(CASE WHEN " + match +
                         " THEN 1 END) = 0 THEN NULL ELSE " + value(cellValue) + " END)";
      p.itemSql.push_back(cell);
      p.out.names.push_back(name);
      p.out.types.push_back(cellValue.boolean ? VarType::Boolean : cellValue.type);
    }
    SelectOut out = assemble(s, p);
    Translation t;
    t.sql = out.sql;
    t.columnNames = out.names;
    t.columnTypes = out.types;
    t.cacheable = false;
    return t;
  }

  Translation makeTable(const Statement& st) {
    const Select& s = *st.selects[0];
    Parts p = selectParts(s, nullptr, true);
    if (p.out.star) error(kErrSyntax, "SELECT * INTO is not supported; name the columns.");
    SelectOut o = assemble(s, p);
    std::string create = "CREATE TABLE " + ident(s.into) + " (";
    for (size_t i = 0; i < o.names.size(); ++i)
      create += (i ? ", " : "") + ident(o.names[i]) +
                (declFromType(o.types[i]).empty() ? "" : " " + declFromType(o.types[i]));
    create += ")";
    Translation t;
    t.kind = StatementKind::MakeTable;
    t.targetTable = s.into;
    t.sql = create + "; INSERT INTO " + ident(s.into) + " " + o.sql;
    return t;
  }

  // ---- Counts one grouped query can answer ----

  // A column of one of the FROM clause's tables, as column() finds it in a WHERE or ON clause.
  static bool isTableColumn(const Expr& e, const Scope& scope) {
    if (e.kind != Expr::Column || e.bracketedDot) return false;
    if (!e.table.empty()) {
      const Source* src = scope.find(e.table);
      return src && src->info && src->info->find(e.text);
    }
    for (const auto& src : scope.sources)
      if (src.info && src.info->find(e.text)) return true;
    return false;
  }

  // Columns and literals compared, joined by And, Or and Not: nothing that can fail on a row
  // (a division, a function) or differ from one call to the next. A grouped count evaluates such
  // a condition on every row, where each count on its own might never reach some of them.
  static bool plainCondition(const Expr& e, const Scope& scope) {
    auto all = [&](size_t from) {
      for (size_t i = from; i < e.args.size(); ++i)
        if (!plainCondition(*e.args[i], scope)) return false;
      return true;
    };
    switch (e.kind) {
      case Expr::Number:
      case Expr::String:
      case Expr::DateLit:
      case Expr::Bool:
      case Expr::Null:
        return true;
      case Expr::Column:
        return isTableColumn(e, scope);
      case Expr::Unary:
        return (e.text == "not" || e.text == "-") && all(0);
      case Expr::Binary: {
        static const std::set<std::string> ops = {"and", "or", "=", "<>", "<", ">", "<=", ">="};
        return ops.count(e.text) && all(0);
      }
      case Expr::Between:
      case Expr::InList:
      case Expr::IsNull:
        return all(0);
      default:
        return false;
    }
  }

  static bool innerJoinOfTables(const TableRef& r, const Scope& scope) {
    if (r.kind == TableRef::Table) return true;
    return r.kind == TableRef::Join && r.joinType == "inner" && r.on &&
           innerJoinOfTables(*r.left, scope) && innerJoinOfTables(*r.right, scope) &&
           plainCondition(*r.on, scope);
  }

  // `SELECT Count(x) FROM tables inner joined WHERE a And b And ...` where some terms are
  // `table column = whole number` on integer columns: its pieces, so that the connection can
  // group by those columns (docs/db.md). Null for anything else.
  std::shared_ptr<const GroupedCount> groupedForm(const Statement& st, const Translation& t) {
    if (st.kind != Statement::Query || st.transformValue || st.selects.size() != 1 ||
        t.kind != StatementKind::Select || t.columnNames.size() != 1)
      return nullptr;
    const Select& s = *st.selects[0];
    // DISTINCTROW does nothing to an aggregate; anything else that shapes the one row is out.
    if (s.distinct || s.top >= 0 || !s.into.empty() || !s.groupBy.empty() || s.having ||
        !s.orderBy.empty() || !s.unionWith.empty() || s.items.size() != 1 || !s.where ||
        s.from.size() != 1)
      return nullptr;
    const Expr& item = *s.items[0].expr;
    if (item.kind != Expr::Func || item.text != "count" || item.negated || item.args.size() != 1)
      return nullptr;
    Scope scope;
    try {
      collect(*s.from[0], scope, nullptr);
    } catch (const DbError&) {
      return nullptr;
    }
    const Expr& arg = *item.args[0];
    if (!innerJoinOfTables(*s.from[0], scope) ||
        (arg.kind != Expr::Star && arg.kind != Expr::Number && !isTableColumn(arg, scope)))
      return nullptr;
    std::vector<const Expr*> terms;
    andTerms(*s.where, terms);
    for (const Expr* e : terms)
      if (!plainCondition(*e, scope)) return nullptr;

    // The pieces again, in the order selectParts writes them (their parameters in that order).
    auto g = std::make_shared<GroupedCount>();
    std::vector<Variant> savedParams = std::move(params);
    std::vector<int> savedLifted = std::move(liftedTokens), savedInlined = inlinedTokens;
    bool savedLift = lift;
    params.clear();
    liftedTokens.clear();
    lift = false;
    bool ok = true;
    // Whatever translated once translates again; a limit reached the second time only means
    // no grouped form.
    try {
      scope.items = &s.items;
      scope.expanding.assign(1, 0);
      g->countSql = value(expr(item, scope));
      scope.items = nullptr;
      scope.expanding.clear();
      g->fromSql = from(*s.from[0], scope, false);
      g->fromParams = static_cast<int>(params.size());
      std::set<std::string> keys;
      for (const Expr* e : terms) {
        GroupedCount::Term term;
        term.firstParam = static_cast<int>(params.size());
        term.sql = cond(condition(*e, scope));
        term.paramCount = static_cast<int>(params.size()) - term.firstParam;
        if (e->kind == Expr::Binary && e->text == "=" && term.paramCount == 1 &&
            params.back().type() == VarType::Long) {
          const Expr* col = e->args[0].get();
          const Expr* num = e->args[1].get();
          if (col->kind == Expr::Number) std::swap(col, num);
          if (num->kind == Expr::Number && isTableColumn(*col, scope)) {
            Out c = column(*col, scope);
            if (c.type == VarType::Integer || c.type == VarType::Long) {
              term.keyColumn = c.sql;
              ok = ok && keys.insert(lower(c.sql)).second;
            }
          }
        }
        g->terms.push_back(std::move(term));
      }
      // The same statement as translated, and its parameters in the same order.
      std::vector<Variant> pieceParams = std::move(params);
      params.clear();
      std::string whereSql = cond(condition(*s.where, scope));
      ok = ok && !keys.empty() &&
           t.sql == "SELECT " + g->countSql + " AS " + ident(t.columnNames[0]) + " FROM " +
                        g->fromSql + " WHERE " + whereSql &&
           pieceParams.size() == t.params.size();
      for (size_t i = 0; ok && i < pieceParams.size(); ++i)
        ok = pieceParams[i].type() == t.params[i].type() &&
             pieceParams[i].toString() == t.params[i].toString();
    } catch (const DbError&) {
      ok = false;
    }
    params = std::move(savedParams);
    liftedTokens = std::move(savedLifted);
    inlinedTokens = std::move(savedInlined);
    lift = savedLift;
    return ok ? g : nullptr;
  }

  // ---- Templates ----

  // `lifted`: the token of each parameter; `fixed`: literal tokens whose text must match.
  void remember(std::string_view text, const std::vector<Token>& tokens,
                const std::vector<int>& lifted, const std::set<int>& fixed, const Translation& t) {
    std::map<int, std::vector<int>> byToken;  // in the text's order
    for (size_t p = 0; p < lifted.size(); ++p)
      if (!fixed.count(lifted[p])) byToken[lifted[p]].push_back(static_cast<int>(p));
    if (byToken.empty()) return;
    Template tp;
    for (auto& [idx, ps] : byToken) {
      const Token& tok = tokens[static_cast<size_t>(idx)];
      Token scratch;
      const std::size_t end = literalAt(text, static_cast<std::size_t>(tok.pos), scratch);
      double v;
      if (end == std::string_view::npos) return;
      tp.spans.push_back({static_cast<std::size_t>(tok.pos), end,
                          tok.kind == Token::String ? 's' : numberKind(tok.text, v), ps});
    }
    tp.text = text;
    tp.t = t;
    templates.push_front(std::move(tp));
    if (templates.size() > kTemplates) templates.pop_back();
  }

  std::optional<Translation> fromTemplate(std::string_view text) {
    Token lit;
    for (auto it = templates.begin(); it != templates.end(); ++it) {
      const std::string_view tt = it->text;
      std::vector<Variant> values = it->t.params;
      std::size_t a = 0, b = 0;
      bool ok = true;
      for (const auto& sp : it->spans) {
        const std::size_t len = sp.begin - a;
        if (text.substr(b, len) != tt.substr(a, len)) {
          ok = false;
          break;
        }
        b += len;
        const std::size_t end = literalAt(text, b, lit);
        double v = 0;
        if (end == std::string_view::npos ||
            (lit.kind == Token::String ? 's' : numberKind(lit.text, v)) != sp.kind) {
          ok = false;
          break;
        }
        const Variant value = lit.kind == Token::String ? Variant::string(lit.text)
                              : sp.kind == 'd'          ? Variant::dbl(v)
                                               : Variant::longInt(static_cast<std::int32_t>(v));
        for (int p : sp.params) values[static_cast<size_t>(p)] = value;
        a = sp.end;
        b = end;
      }
      if (!ok || text.substr(b) != tt.substr(a)) continue;
      ++reused;
      Translation t = it->t;
      t.params = std::move(values);
      std::rotate(templates.begin(), it, std::next(it));
      return t;
    }
    return std::nullopt;
  }

  Translation translateTree(const Statement& st) {
    if (st.kind == Statement::Drop) {
      Translation t;
      t.kind = StatementKind::DropTable;
      t.targetTable = st.dropTable;
      if (!table(st.dropTable).exists)
        error(kErrNoSuchObject, "Table '" + st.dropTable + "' does not exist.");
      t.sql = "DROP TABLE " + ident(st.dropTable);
      return t;
    }
    if (st.transformValue) return crosstab(st);
    if (st.selects.size() > 1) return unionOf(st);
    if (!st.selects[0]->into.empty()) return makeTable(st);
    groupsInKeyOrder =
        opts.planFriendly && st.selects[0]->orderBy.empty() && countsOnly(*st.selects[0]);
    Parts p = selectParts(*st.selects[0], nullptr, true);
    SelectOut o = assemble(*st.selects[0], p);
    Translation t;
    t.sql = o.sql;
    if (!o.star) {
      t.columnNames = o.names;
      t.columnTypes = o.types;
    }
    return t;
  }
};

Translator::Translator(sqlite3* db, TranslatorOptions options)
    : impl_(std::make_unique<Impl>(db, options)) {}
Translator::~Translator() = default;

void Translator::schemaChanged() {
  impl_->tables.clear();
  impl_->cache.clear();
  impl_->templates.clear();
}

std::size_t Translator::reused() const {
  return impl_->reused;
}

Translation Translator::translate(std::string_view jetSql) {
  Impl& m = *impl_;
  m.checkSchema();
  if (auto t = m.fromTemplate(jetSql)) return std::move(*t);
  std::vector<Token> tokens = lex(jetSql);
  // The statement's shape: its tokens with each literal's value left out (a number keeps its
  // kind). Statements of one shape share a translation when the literals written into it match.
  std::string key;
  key.reserve(jetSql.size() + 3 * tokens.size());
  std::vector<int> literalTokens;
  for (size_t i = 0; i < tokens.size(); ++i) {
    const Token& t = tokens[i];
    key += static_cast<char>('A' + t.kind);
    if (t.kind == Token::Number) {
      double v;
      literalTokens.push_back(static_cast<int>(i));
      key += numberKind(t.text, v);
    } else if (t.kind == Token::String) {
      literalTokens.push_back(static_cast<int>(i));
    } else {
      // Names as written: the translation writes them so ([InviteeS], `AS NUM`).
      key += t.text;
    }
    key += '\x1f';
  }
  auto paramOf = [&](int idx) {
    const Token& t = tokens[static_cast<size_t>(idx)];
    if (t.kind == Token::String) return Variant::string(t.text);
    double d;
    return numberKind(t.text, d) == 'd' ? Variant::dbl(d)
                                        : Variant::longInt(static_cast<std::int32_t>(d));
  };
  if (auto it = m.cache.find(key); it != m.cache.end()) {
    bool same = true;
    for (const auto& [idx, text] : it->second.fixedLiterals)
      if (tokens[static_cast<size_t>(idx)].text != text) same = false;
    if (same) {
      ++m.reused;
      Translation t = it->second.t;
      t.params.clear();
      for (int idx : it->second.lifted) t.params.push_back(paramOf(idx));
      std::set<int> fixed;
      for (const auto& f : it->second.fixedLiterals) fixed.insert(f.first);
      m.remember(jetSql, tokens, it->second.lifted, fixed, t);
      return t;
    }
  }
  m.sql = jetSql;
  m.tokens = &tokens;
  m.params.clear();
  m.liftedTokens.clear();
  m.inlinedTokens.clear();
  m.lift = false;
  m.aliasExpansions = 0;
  Statement st = parse(jetSql, tokens);
  Translation t = m.translateTree(st);
  t.params = m.params;
  if (t.cacheable) {
    t.grouped = m.groupedForm(st, t);
    Impl::CacheEntry e;
    e.t = t;
    e.lifted = m.liftedTokens;
    std::set<int> lifted(m.liftedTokens.begin(), m.liftedTokens.end()), fixed;
    for (int idx : m.inlinedTokens) lifted.erase(idx);
    for (int idx : literalTokens)
      if (!lifted.count(idx)) {
        e.fixedLiterals.push_back({idx, tokens[static_cast<size_t>(idx)].text});
        fixed.insert(idx);
      }
    m.remember(jetSql, tokens, m.liftedTokens, fixed, t);
    if (m.cache.size() > 4096) m.cache.clear();
    m.cache[key] = std::move(e);
  }
  return t;
}

}  // namespace galvix::db::jet
