#include "db/access/stored_queries.h"

#include <cctype>
#include <memory>
#include <stdexcept>

namespace galvix::db::access {

namespace {

// Row attributes.
constexpr int kType = 1, kParameter = 2, kFlags = 3, kRemoteDb = 4, kTable = 5, kColumn = 6,
              kJoin = 7, kWhere = 8, kGroupBy = 9, kHaving = 10, kOrderBy = 11;

// Bits of the flags row.
constexpr int kSelectStar = 0x01, kDistinct = 0x02, kOwnerAccess = 0x04, kDistinctRow = 0x08,
              kTop = 0x10, kPercent = 0x20;
constexpr int kUnionDistinct = 0x02;  // on a union's flags row: UNION rather than UNION ALL
// Bits on a crosstab's column and group-by rows.
constexpr int kPivot = 0x01, kRowHeading = 0x02;

const std::string& text(const std::optional<std::string>& s) {
  static const std::string empty;
  return s ? *s : empty;
}

bool equalNoCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::vector<const QueryRow*> rowsOf(const std::vector<QueryRow>& rows, int attribute) {
  std::vector<const QueryRow*> out;
  for (const auto& r : rows)
    if (r.attribute == attribute) out.push_back(&r);
  return out;
}

const QueryRow* rowOf(const std::vector<QueryRow>& rows, int attribute) {
  auto found = rowsOf(rows, attribute);
  if (found.size() > 1)
    throw std::runtime_error("the query has " + std::to_string(found.size()) + " rows of kind " +
                             std::to_string(attribute) + " where one belongs");
  return found.empty() ? nullptr : found.front();
}

int flagsOf(const std::vector<QueryRow>& rows) {
  const QueryRow* r = rowOf(rows, kFlags);
  return r && r->flag ? *r->flag : 0;
}

bool alreadyBracketed(const std::string& s) {
  return s.size() >= 2 && s.front() == '[' && s.back() == ']';
}

// A name part needs brackets when it holds anything but letters, digits and '_'.
std::string quotePart(const std::string& part) {
  if (alreadyBracketed(part)) return part;
  for (unsigned char c : part)
    if (!(std::isalnum(c) || c == '_' || c >= 0x80)) return "[" + part + "]";
  return part.empty() ? "[]" : part;
}

// owner.table names are bracketed part by part.
std::string quoteName(const std::string& name) {
  std::string out, part;
  for (char c : name) {
    if (c == '.') {
      out += quotePart(part) + ".";
      part.clear();
    } else {
      part += c;
    }
  }
  return out + quotePart(part);
}

std::string withAlias(std::string s, const std::optional<std::string>& alias) {
  if (alias && !alias->empty()) s += " AS " + quotePart(*alias);
  return s;
}

std::string joinList(const std::vector<std::string>& items, const char* sep = ", ") {
  std::string out;
  for (std::size_t i = 0; i < items.size(); ++i) out += (i ? sep : "") + items[i];
  return out;
}

// A FROM item: a table, or a join of two FROM items. Joins that name tables already joined
// nest the earlier join as one side, the way Access writes them back.
struct Source {
  std::string key, sql;  // a table: its alias or name, and its SQL
  std::unique_ptr<Source> left, right;
  int joinType = 0;
  std::vector<std::string> on;

  bool contains(const std::string& table) const {
    if (!left) return equalNoCase(key, table);
    return left->contains(table) || right->contains(table);
  }
  void write(std::string& out, bool top) const {
    if (!left) {
      out += sql;
      return;
    }
    const char* kind = joinType == 1   ? " INNER JOIN "
                       : joinType == 2 ? " LEFT JOIN "
                       : joinType == 3 ? " RIGHT JOIN "
                                       : nullptr;
    if (!kind) throw std::runtime_error("unknown join type " + std::to_string(joinType));
    if (!top) out += "(";
    left->write(out, false);
    out += kind;
    right->write(out, false);
    out += " ON ";
    if (on.size() > 1)
      out += "(" + joinList(on, ") AND (") + ")";
    else
      out += on.front();
    if (!top) out += ")";
  }
};

std::vector<std::string> fromItems(const std::vector<QueryRow>& rows) {
  std::vector<std::unique_ptr<Source>> items;
  for (const QueryRow* t : rowsOf(rows, kTable)) {
    auto s = std::make_unique<Source>();
    std::string sql;
    if (t->expression && !t->expression->empty()) sql = quotePart(*t->expression) + ".";
    sql += quoteName(text(t->name1));
    s->sql = withAlias(sql, t->name2);
    s->key = t->name2 && !t->name2->empty() ? *t->name2 : text(t->name1);
    items.push_back(std::move(s));
  }
  for (const QueryRow* j : rowsOf(rows, kJoin)) {
    const std::string &from = text(j->name1), &to = text(j->name2);
    int type = j->flag ? *j->flag : 0;
    std::size_t fromAt = items.size(), toAt = items.size();
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (fromAt == items.size() && items[i]->contains(from)) fromAt = i;
      if (toAt == items.size() && items[i]->contains(to)) toAt = i;
    }
    if (fromAt != items.size() && fromAt == toAt) {
      // Both tables are in one join already: one more condition of that join.
      Source& s = *items[fromAt];
      if (!s.left || s.joinType != type)
        throw std::runtime_error("inconsistent joins between " + from + " and " + to);
      s.on.insert(s.on.begin(), text(j->expression));
      continue;
    }
    auto take = [&](std::size_t at, const std::string& name) {
      if (at == items.size()) {
        auto s = std::make_unique<Source>();
        s->key = name;
        s->sql = quoteName(name);
        return s;
      }
      auto s = std::move(items[at]);
      return s;
    };
    auto join = std::make_unique<Source>();
    join->left = take(fromAt, from);
    join->right = take(toAt, to);
    join->joinType = type;
    join->on.push_back(text(j->expression));
    // Drop the moved-from slots, keep the rest in order, the join goes last.
    std::vector<std::unique_ptr<Source>> kept;
    for (auto& s : items)
      if (s) kept.push_back(std::move(s));
    kept.push_back(std::move(join));
    items = std::move(kept);
  }
  std::vector<std::string> out;
  for (const auto& s : items) {
    std::string sql;
    s->write(sql, true);
    out.push_back(sql);
  }
  return out;
}

std::vector<std::string> expressions(const std::vector<const QueryRow*>& rows) {
  std::vector<std::string> out;
  for (const QueryRow* r : rows) out.push_back(text(r->expression));
  return out;
}

std::vector<const QueryRow*> withFlag(const std::vector<const QueryRow*>& rows, int mask,
                                      bool set) {
  std::vector<const QueryRow*> out;
  for (const QueryRow* r : rows)
    if ((((r->flag ? *r->flag : 0) & mask) != 0) == set) out.push_back(r);
  return out;
}

std::string selectSql(const std::vector<QueryRow>& rows, bool crosstab) {
  int flags = flagsOf(rows);
  std::string sql = "SELECT ";
  if (flags & kDistinct) {
    sql += "DISTINCT ";
  } else if (flags & kDistinctRow) {
    sql += "DISTINCTROW ";
  } else if (flags & kTop) {
    const QueryRow* f = rowOf(rows, kFlags);
    sql += "TOP " + text(f->name1) + ((flags & kPercent) ? " PERCENT " : " ");
  }
  auto columnRows = rowsOf(rows, kColumn);
  auto groupRows = rowsOf(rows, kGroupBy);
  if (crosstab) {
    columnRows = withFlag(columnRows, kRowHeading, true);
    groupRows = withFlag(groupRows, kRowHeading, true);
  }
  std::vector<std::string> columns;
  for (const QueryRow* c : columnRows) columns.push_back(withAlias(text(c->expression), c->name1));
  if (flags & kSelectStar) columns.push_back("*");
  if (columns.empty()) throw std::runtime_error("the query selects no columns");
  sql += joinList(columns);
  auto from = fromItems(rows);
  if (!from.empty()) sql += " FROM " + joinList(from);
  if (const QueryRow* remote = rowOf(rows, kRemoteDb))
    throw std::runtime_error("it reads from another database (" + text(remote->name1) + ")");
  if (const QueryRow* w = rowOf(rows, kWhere); w && w->expression)
    sql += " WHERE " + *w->expression;
  if (!groupRows.empty()) sql += " GROUP BY " + joinList(expressions(groupRows));
  if (const QueryRow* h = rowOf(rows, kHaving); h && h->expression)
    sql += " HAVING " + *h->expression;
  std::vector<std::string> order;
  for (const QueryRow* o : rowsOf(rows, kOrderBy))
    order.push_back(text(o->expression) + (equalNoCase(text(o->name1), "D") ? " DESC" : ""));
  if (!order.empty()) sql += " ORDER BY " + joinList(order);
  (void)kOwnerAccess;  // WITH OWNERACCESS OPTION changes permissions only: nothing to keep
  return sql;
}

std::string crosstabSql(const std::vector<QueryRow>& rows) {
  auto columns = rowsOf(rows, kColumn);
  auto value = withFlag(columns, kPivot | kRowHeading, false);
  auto pivot = withFlag(columns, kPivot, true);
  if (value.size() != 1 || pivot.size() != 1)
    throw std::runtime_error("a crosstab needs one value and one pivot column");
  return "TRANSFORM " + withAlias(text(value[0]->expression), value[0]->name1) + " " +
         selectSql(rows, true) + " PIVOT " + text(pivot[0]->expression);
}

std::string unionSql(const std::vector<QueryRow>& rows) {
  std::string parts[2];
  for (const QueryRow* t : rowsOf(rows, kTable)) {
    if (text(t->name2) == "X7YZ_____1") parts[0] = text(t->expression);
    if (text(t->name2) == "X7YZ_____2") parts[1] = text(t->expression);
  }
  if (parts[0].empty() || parts[1].empty())
    throw std::runtime_error("the union query lacks one of its two parts");
  for (auto& p : parts) {
    while (!p.empty() && (std::isspace(static_cast<unsigned char>(p.back())) || p.back() == ';'))
      p.pop_back();
  }
  std::string sql =
      parts[0] + " UNION " + ((flagsOf(rows) & kUnionDistinct) ? "" : "ALL ") + parts[1];
  std::vector<std::string> order;
  for (const QueryRow* o : rowsOf(rows, kOrderBy))
    order.push_back(text(o->expression) + (equalNoCase(text(o->name1), "D") ? " DESC" : ""));
  if (!order.empty()) sql += " ORDER BY " + joinList(order);
  return sql;
}

}  // namespace

QueryKind queryKind(const std::vector<QueryRow>& rows, int objectFlags) {
  switch (objectFlags & 0xf0) {
    case 0:
      break;
    case 16:
      return QueryKind::Crosstab;
    case 32:
      return QueryKind::Delete;
    case 48:
      return QueryKind::Update;
    case 64:
      return QueryKind::Append;
    case 80:
      return QueryKind::MakeTable;
    case 96:
      return QueryKind::DataDefinition;
    case 112:
      return QueryKind::PassThrough;
    case 128:
      return QueryKind::Union;
    default:
      return QueryKind::Unknown;
  }
  for (const auto& r : rows) {
    if (r.attribute != kType) continue;
    int t = r.flag ? *r.flag : 0;
    return t >= 1 && t <= 9 ? static_cast<QueryKind>(t) : QueryKind::Unknown;
  }
  return rows.empty() ? QueryKind::Unknown : QueryKind::Select;
}

const char* queryKindName(QueryKind kind) {
  switch (kind) {
    case QueryKind::Select:
      return "select query";
    case QueryKind::MakeTable:
      return "make-table query";
    case QueryKind::Append:
      return "append query";
    case QueryKind::Update:
      return "update query";
    case QueryKind::Delete:
      return "delete query";
    case QueryKind::Crosstab:
      return "crosstab query";
    case QueryKind::DataDefinition:
      return "data-definition query";
    case QueryKind::PassThrough:
      return "pass-through query";
    case QueryKind::Union:
      return "union query";
    case QueryKind::Unknown:
      break;
  }
  return "query of an unknown kind";
}

std::vector<std::string> queryParameters(const std::vector<QueryRow>& rows) {
  std::vector<std::string> out;
  for (const QueryRow* p : rowsOf(rows, kParameter)) out.push_back(text(p->name1));
  return out;
}

std::string storedQuerySql(const std::vector<QueryRow>& rows, int objectFlags) {
  QueryKind kind = queryKind(rows, objectFlags);
  switch (kind) {
    case QueryKind::Select:
      return selectSql(rows, false);
    case QueryKind::Crosstab:
      return crosstabSql(rows);
    case QueryKind::Union:
      return unionSql(rows);
    default:
      throw std::runtime_error(std::string("a ") + queryKindName(kind) + " returns no rows");
  }
}

}  // namespace galvix::db::access
