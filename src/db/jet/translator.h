// The Access database engine's SQL dialect (Jet SQL) as the reports send it, translated to SQLite:
// parsed into a tree, names resolved against the live schema, and written out with Jet's
// semantics kept (null-safe &, run-time +, True = -1, comparisons as -1/0, case-insensitive text,
// DISTINCTROW, TRANSFORM ... PIVOT, SELECT ... INTO, unions ordered as a whole).
//
// Text columns use the collation JETTEXT, registered by registerJetFunctions together with the
// Jet functions (jet_*) the translations call.
#pragma once

#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/variant.h"

namespace galvix::db::jet {

enum class StatementKind { Select, MakeTable, DropTable, Other };

// A count whose WHERE is terms ANDed together, some of them `column = whole number`: one query
// grouped by those columns answers it for every value of theirs (docs/db.md says when).
struct GroupedCount {
  struct Term {
    std::string sql;     // the term as SQLite SQL (a truth value)
    int firstParam = 0;  // its parameters: params[firstParam, firstParam + paramCount)
    int paramCount = 0;
    std::string keyColumn;  // a keyed term: the column (its one parameter is the value)
  };
  std::string countSql;  // "count(1)"
  std::string fromSql;   // after FROM; its parameters come first
  int fromParams = 0;
  std::vector<Term> terms;  // in order; at least one is keyed
};

struct Translation {
  std::string sql;              // SQLite SQL, with ? for params (several statements for INTO)
  std::vector<Variant> params;  // bound in order (literals in conditions lifted for plan reuse)
  StatementKind kind = StatementKind::Select;
  std::string targetTable;               // make-table / drop target
  std::vector<std::string> columnNames;  // result names as Jet names them (empty: SQLite's)
  std::vector<VarType> columnTypes;      // Empty where unknown
  bool cacheable = true;  // false when the translation depends on the data (crosstabs)
  std::shared_ptr<const GroupedCount> grouped;  // set when the statement is such a count
};

// How statements are written for SQLite's planner. The rows and their order are the same either
// way; the plain form is there to prove that.
struct TranslatorOptions {
  // A RIGHT JOIN written as the LEFT JOIN it equals, and, where the groups come out in key order
  // whatever the plan, GROUP BY terms known to be numbers, dates or truth values without the text
  // collation (docs/jet.md, "Plans").
  bool planFriendly = true;
};

class Translator {
 public:
  explicit Translator(sqlite3* db, TranslatorOptions options = {});
  ~Translator();
  Translator(const Translator&) = delete;
  Translator& operator=(const Translator&) = delete;

  // Throws galvix::db::DbError: kErrSyntax with the position and token for bad SQL.
  Translation translate(std::string_view jetSql);
  // Drops what the translator knows of the schema (after CREATE/DROP).
  void schemaChanged();
  // Translations served from the cache of statement shapes (statements that differ only in
  // lifted literals share one).
  std::size_t reused() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

void registerJetFunctions(sqlite3* db);

}  // namespace galvix::db::jet
