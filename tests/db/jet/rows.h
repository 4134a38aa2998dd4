// Reading a query's result as text, for comparing rows in tests.
#pragma once

#include <string>
#include <vector>

#include "db/connection.h"

namespace galvix::db {

// Every row of `sql` on `c` as "a|b|c" (Null as "<null>"): every column, or those named in
// `only`; the column names into `names`.
inline std::vector<std::string> rowsOf(Connection& c, const std::string& sql,
                                       std::vector<std::string>* names = nullptr,
                                       const std::vector<std::string>* only = nullptr) {
  Recordset rs;
  rs.open(sql, c);
  if (names) {
    names->clear();
    for (int i = 0; i < rs.fieldCount(); ++i) names->push_back(rs.fields(i).name());
  }
  std::vector<std::string> out;
  for (; !rs.EOF_(); rs.moveNext()) {
    std::string r;
    const int n = only ? static_cast<int>(only->size()) : rs.fieldCount();
    for (int i = 0; i < n; ++i) {
      const Variant v = only ? rs.value((*only)[i]) : rs.fields(i).value();
      r += (i ? "|" : "") + (v.isNull() ? std::string("<null>") : v.toString());
    }
    out.push_back(r);
  }
  return out;
}

}  // namespace galvix::db
