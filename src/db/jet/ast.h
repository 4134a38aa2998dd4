// Jet SQL: tokens and the syntax tree.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace galvix::db::jet {

struct Token {
  enum Kind { End, Ident, Bracketed, Number, String, Date, Op, Comma, Dot, LParen, RParen, Semi };
  Kind kind = End;
  std::string text;  // identifier, string value, number text, operator
  int pos = 0;       // byte offset in the SQL as written
};

std::vector<Token> lex(std::string_view sql);  // throws DbError on a bad character or string
// The number or text literal at offset `i` as lex() reads it: its end, or npos when none starts
// there or the text is not closed.
std::size_t literalAt(std::string_view sql, std::size_t i, Token& token);

struct Select;

struct Expr {
  enum Kind {
    Number,
    String,
    DateLit,  // num holds the serial
    Bool,     // True/False: num -1/0
    Null,
    Column,    // table (may be empty) . name
    Star,      // * or table.*
    Func,      // name(args); aggregate when isAggregateName
    Unary,     // op: "-", "not"
    Binary,    // op: + - * / \ mod & ^ = <> < > <= >= and or xor eqv imp like
    Between,   // args: x, lo, hi; negated
    InList,    // args[0] in (args[1..]); negated
    InSelect,  // args[0] in (sub); negated
    IsNull,    // args[0] is [not] null; negated
    Exists,    // sub
    SubQuery,  // (sub) as a value
  };
  Kind kind;
  std::string text;   // literal text, column name, function name (lower case), operator
  std::string table;  // column qualifier
  double num = 0;
  bool negated = false;
  bool bracketedDot = false;  // [Table.Column] written inside one pair of brackets
  std::vector<std::unique_ptr<Expr>> args;
  std::shared_ptr<Select> sub;
  int pos = 0;
  int tokenIndex = -1;  // Number and String literals: index of the token (for plan reuse)
};
using ExprPtr = std::unique_ptr<Expr>;

struct TableRef {
  enum Kind { Table, Join, SubQuery } kind = Table;
  std::string name, alias;
  std::string joinType;  // "inner", "left", "right"
  std::unique_ptr<TableRef> left, right;
  ExprPtr on;
  std::shared_ptr<Select> sub;
  int pos = 0;
};

struct OrderItem {
  ExprPtr expr;
  bool desc = false;
};

struct SelectItem {
  ExprPtr expr;
  std::string alias;
};

struct Select {
  bool distinct = false, distinctRow = false;
  long top = -1;
  bool topPercent = false;
  std::vector<SelectItem> items;
  std::string into;
  std::vector<std::unique_ptr<TableRef>> from;
  ExprPtr where;
  std::vector<ExprPtr> groupBy;
  ExprPtr having;
  std::vector<OrderItem> orderBy;
  // A subquery in FROM may be a union: the members after this one, and whether each is ALL.
  std::vector<std::shared_ptr<Select>> unionWith;
  std::vector<bool> unionAll;
};

struct Statement {
  enum Kind { Query, Drop } kind = Query;
  std::vector<std::shared_ptr<Select>> selects;  // union members in order
  std::vector<bool> unionAll;                    // before member i (i >= 1)
  ExprPtr transformValue;                        // TRANSFORM aggregate
  ExprPtr pivot;
  std::vector<ExprPtr> pivotIn;
  std::string dropTable;
};

Statement parse(std::string_view sql, const std::vector<Token>& tokens);

bool isAggregateName(std::string_view lowerName);

}  // namespace galvix::db::jet
