// Saved queries of an Access file: the rows Access keeps for each query (its system query table)
// put back together as Jet SQL text.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace galvix::db::access {

// One row of the system query table for one query.
struct QueryRow {
  int attribute = 0;  // what the row describes: type, parameter, flags, table, column, join, ...
  std::optional<std::string> expression, name1, name2;
  std::optional<int> flag;
};

enum class QueryKind {
  Unknown = 0,
  Select = 1,
  MakeTable = 2,
  Append = 3,
  Update = 4,
  Delete = 5,
  Crosstab = 6,
  DataDefinition = 7,
  PassThrough = 8,
  Union = 9,
};

// The kind of a query from its catalog flags, or from its type row where the flags say "select"
// (older files mark every query so) and a type row exists.
QueryKind queryKind(const std::vector<QueryRow>& rows, int objectFlags = 0);
const char* queryKindName(QueryKind kind);  // "make-table query", ...

// The parameters a query asks for ("[Start Date]", "Forms!Dialog!Field"), in order.
std::vector<std::string> queryParameters(const std::vector<QueryRow>& rows);

// Jet SQL of a select, crosstab or union query (without PARAMETERS clause or final ';').
// Throws std::runtime_error when the rows do not make a query of that kind (for example a join
// whose two sides disagree, or a union without its two parts).
std::string storedQuerySql(const std::vector<QueryRow>& rows, int objectFlags = 0);

}  // namespace galvix::db::access
