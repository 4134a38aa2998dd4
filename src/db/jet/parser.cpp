#include <cctype>
#include <cmath>

#include "db/connection.h"
#include "db/jet/ast.h"
#include "runtime/dates.h"
#include "runtime/regional.h"

namespace galvix::db::jet {
namespace {

std::string lower(std::string_view s) {
  std::string o(s);
  for (auto& c : o) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return o;
}

[[noreturn]] void syntaxError(std::string_view sql, int pos, const std::string& what) {
  throw DbError(kErrSyntax,
                "Syntax error " + what + " at position " + std::to_string(pos + 1) + ".",
                std::string(sql), {}, pos);
}

bool identStart(unsigned char c) {
  return std::isalpha(c) || c == '_' || c >= 0x80;
}
bool identPart(unsigned char c) {
  return std::isalnum(c) || c == '_' || c == '$' || c >= 0x80;
}

const int kMaxDepth = 200;  // nesting limit: malformed input must not exhaust the stack

class Parser {
 public:
  Parser(std::string_view sql, const std::vector<Token>& t) : sql_(sql), t_(t) {}

  Statement statement() {
    Statement st;
    if (isWord("drop")) {
      next();
      expectWord("table");
      st.kind = Statement::Drop;
      st.dropTable = name("a table name");
      finish();
      return st;
    }
    if (isWord("transform")) {
      next();
      st.transformValue = expr();
      // The value's own name is not used: its columns are named by the pivot values.
      if (isWord("as")) {
        next();
        name("a column alias");
      }
    }
    st.selects.push_back(select());
    unionMembers(st.selects, st.unionAll);
    if (st.transformValue) {
      expectWord("pivot");
      st.pivot = expr();
      // "PIVOT x In (...)" reads as an In expression; the list is the fixed column set.
      if (st.pivot->kind == Expr::InList && !st.pivot->negated) {
        ExprPtr in = std::move(st.pivot);
        st.pivot = std::move(in->args[0]);
        for (size_t i = 1; i < in->args.size(); ++i) st.pivotIn.push_back(std::move(in->args[i]));
      } else if (isWord("in")) {
        next();
        expect(Token::LParen, "'('");
        do {
          st.pivotIn.push_back(expr());
        } while (accept(Token::Comma));
        expect(Token::RParen, "')'");
      }
    }
    finish();
    return st;
  }

 private:
  const Token& cur() const { return t_[pos_]; }
  const Token& next() { return t_[pos_++]; }
  bool isWordAt(size_t i, std::string_view w) const {
    return i < t_.size() && t_[i].kind == Token::Ident && lower(t_[i].text) == w;
  }
  bool isWord(std::string_view w) const { return isWordAt(pos_, w); }
  bool isOp(std::string_view o) const { return cur().kind == Token::Op && cur().text == o; }
  bool accept(Token::Kind k) {
    if (cur().kind != k) return false;
    ++pos_;
    return true;
  }
  static std::string describe(const Token& t) {
    switch (t.kind) {
      case Token::End:
        return "end of statement";
      case Token::String:
        return "'" + t.text + "'";
      case Token::Bracketed:
        return "'[" + t.text + "]'";
      case Token::Date:
        return "'#" + t.text + "#'";
      default:
        return "'" + t.text + "'";
    }
  }
  [[noreturn]] void fail(const std::string& expected) {
    syntaxError(sql_, cur().pos, "(expected " + expected + ", found " + describe(cur()) + ")");
  }
  void expect(Token::Kind k, const std::string& what) {
    if (!accept(k)) fail(what);
  }
  void expectWord(std::string_view w) {
    if (!isWord(w)) fail("'" + std::string(w) + "'");
    ++pos_;
  }
  void finish() {
    accept(Token::Semi);
    if (cur().kind != Token::End) fail("end of statement");
  }
  std::string name(const std::string& what) {
    if (cur().kind == Token::Ident || cur().kind == Token::Bracketed) return next().text;
    fail(what);
  }
  struct Depth {
    explicit Depth(Parser& p) : p_(p) {
      if (++p_.depth_ > kMaxDepth) syntaxError(p_.sql_, p_.cur().pos, "(nested too deeply)");
    }
    ~Depth() { --p_.depth_; }
    Parser& p_;
  };

  static bool reserved(std::string_view lw) {
    static const char* words[] = {
        "select", "from",  "where", "group", "order",     "having", "union",   "inner",
        "left",   "right", "join",  "on",    "as",        "and",    "or",      "not",
        "into",   "pivot", "by",    "in",    "is",        "like",   "between", "xor",
        "mod",    "eqv",   "imp",   "outer", "transform", "asc",    "desc"};
    for (const char* w : words)
      if (lw == w) return true;
    return false;
  }

  std::shared_ptr<Select> select() {
    Depth d(*this);
    auto s = std::make_shared<Select>();
    expectWord("select");
    for (;;) {
      if (isWord("distinct")) {
        next();
        s->distinct = true;
      } else if (isWord("distinctrow")) {
        next();
        s->distinctRow = true;
      } else if (isWord("all")) {
        next();
      } else if (isWord("top")) {
        next();
        if (cur().kind != Token::Number) fail("a number after TOP");
        s->top = std::lround(std::stod(next().text));
        if (isWord("percent")) {
          next();
          s->topPercent = true;
        }
      } else {
        break;
      }
    }
    do {
      SelectItem it;
      it.expr = expr();
      if (isWord("as")) {
        next();
        it.alias = name("a column alias");
      } else if ((cur().kind == Token::Ident && !reserved(lower(cur().text))) ||
                 cur().kind == Token::Bracketed) {
        it.alias = next().text;
      }
      s->items.push_back(std::move(it));
    } while (accept(Token::Comma));
    if (isWord("into")) {
      next();
      s->into = name("a table name");
    }
    if (isWord("from")) {
      next();
      do {
        s->from.push_back(joined());
      } while (accept(Token::Comma));
    }
    if (isWord("where")) {
      next();
      s->where = expr();
    }
    if (isWord("group")) {
      next();
      expectWord("by");
      do {
        s->groupBy.push_back(expr());
      } while (accept(Token::Comma));
    }
    if (isWord("having")) {
      next();
      s->having = expr();
    }
    orderBy(*s);
    return s;
  }

  void orderBy(Select& s) {
    if (!isWord("order")) return;
    next();
    expectWord("by");
    do {
      OrderItem o;
      o.expr = expr();
      if (isWord("desc")) {
        next();
        o.desc = true;
      } else if (isWord("asc")) {
        next();
      }
      s.orderBy.push_back(std::move(o));
    } while (accept(Token::Comma));
  }

  // "UNION [ALL] SELECT ..." (a member may stand in parentheses) after a first SELECT.
  void unionMembers(std::vector<std::shared_ptr<Select>>& members, std::vector<bool>& all) {
    while (isWord("union")) {
      next();
      bool a = false;
      if (isWord("all")) {
        next();
        a = true;
      }
      all.push_back(a);
      if (cur().kind == Token::LParen && isWordAt(pos_ + 1, "select")) {
        next();
        members.push_back(select());
        expect(Token::RParen, "')'");
        // An ORDER BY after the parenthesised last member orders the whole union.
        if (members.back()->orderBy.empty()) orderBy(*members.back());
      } else {
        members.push_back(select());
      }
    }
  }

  std::unique_ptr<TableRef> joined() {
    Depth d(*this);
    Chain chain(*this);
    auto left = tableRef();
    for (;;) {
      std::string type;
      if (isWord("inner")) {
        type = "inner";
      } else if (isWord("left")) {
        type = "left";
      } else if (isWord("right")) {
        type = "right";
      } else if (isWord("join")) {
        type = "inner";
        --pos_;
      } else {
        break;
      }
      int at = cur().pos;
      next();
      if (isWord("outer")) next();
      expectWord("join");
      link();
      auto j = std::make_unique<TableRef>();
      j->kind = TableRef::Join;
      j->joinType = type;
      j->pos = at;
      j->left = std::move(left);
      j->right = tableRef();
      expectWord("on");
      j->on = expr();
      left = std::move(j);
    }
    return left;
  }

  std::unique_ptr<TableRef> tableRef() {
    Depth d(*this);
    auto t = std::make_unique<TableRef>();
    t->pos = cur().pos;
    if (accept(Token::LParen)) {
      if (isWord("select")) {
        t->kind = TableRef::SubQuery;
        t->sub = select();
        unionMembers(t->sub->unionWith, t->sub->unionAll);
        expect(Token::RParen, "')'");
      } else {
        t = joined();
        expect(Token::RParen, "')'");
        return t;
      }
    } else {
      t->name = name("a table name");
      // owner.table is not used by the reports; a dotted name is taken whole.
      while (cur().kind == Token::Dot) {
        next();
        t->name += "." + name("a table name");
      }
    }
    if (isWord("as")) {
      next();
      t->alias = name("a table alias");
    } else if ((cur().kind == Token::Ident && !reserved(lower(cur().text))) ||
               cur().kind == Token::Bracketed) {
      t->alias = next().text;
    }
    return t;
  }

  // ---- Expressions, lowest precedence first ----
  // A chain such as a + b + c nests to the left as deep as it is long, and what walks the tree
  // later recurses that deep: each link counts as a level. The chain's function restores it.
  struct Chain {
    explicit Chain(Parser& p) : p_(p), start_(p.depth_) {}
    ~Chain() { p_.depth_ = start_; }
    Parser& p_;
    int start_;
  };
  void link() {
    if (++depth_ > kMaxDepth) syntaxError(sql_, cur().pos, "(expression too complex)");
  }
  ExprPtr binary(std::string op, ExprPtr a, ExprPtr b, int pos) {
    link();
    auto e = std::make_unique<Expr>();
    e->kind = Expr::Binary;
    e->text = std::move(op);
    e->pos = pos;
    e->args.push_back(std::move(a));
    e->args.push_back(std::move(b));
    return e;
  }

  ExprPtr expr() {
    Depth d(*this);
    return orExpr();
  }
  ExprPtr orExpr() {
    Chain chain(*this);
    auto e = andExpr();
    for (;;) {
      for (const char* w : {"or", "xor", "eqv", "imp"}) {
        if (isWord(w)) {
          int p = next().pos;
          e = binary(w, std::move(e), andExpr(), p);
          goto again;
        }
      }
      return e;
    again:;
    }
  }
  ExprPtr andExpr() {
    Chain chain(*this);
    auto e = notExpr();
    while (isWord("and")) {
      int p = next().pos;
      e = binary("and", std::move(e), notExpr(), p);
    }
    return e;
  }
  ExprPtr notExpr() {
    if (isWord("not")) {
      Depth d(*this);
      int p = next().pos;
      auto e = std::make_unique<Expr>();
      e->kind = Expr::Unary;
      e->text = "not";
      e->pos = p;
      e->args.push_back(notExpr());
      return e;
    }
    return comparison();
  }
  ExprPtr comparison() {
    Chain chain(*this);
    auto e = concat();
    for (;;) {
      int p = cur().pos;
      if (cur().kind == Token::Op &&
          (isOp("=") || isOp("<>") || isOp("<") || isOp(">") || isOp("<=") || isOp(">="))) {
        std::string op = next().text;
        e = binary(op, std::move(e), concat(), p);
        continue;
      }
      bool neg = false;
      size_t save = pos_;
      if (isWord("not")) {
        next();
        neg = true;
      }
      if (isWord("like")) {
        next();
        e = binary("like", std::move(e), concat(), p);
        e->negated = neg;
        continue;
      }
      if (isWord("between")) {
        next();
        auto b = std::make_unique<Expr>();
        b->kind = Expr::Between;
        b->pos = p;
        b->negated = neg;
        b->args.push_back(std::move(e));
        b->args.push_back(concat());
        expectWord("and");
        b->args.push_back(concat());
        e = std::move(b);
        continue;
      }
      if (isWord("in")) {
        next();
        expect(Token::LParen, "'('");
        auto in = std::make_unique<Expr>();
        in->pos = p;
        in->negated = neg;
        in->args.push_back(std::move(e));
        if (isWord("select")) {
          in->kind = Expr::InSelect;
          in->sub = select();
        } else {
          in->kind = Expr::InList;
          do {
            in->args.push_back(expr());
          } while (accept(Token::Comma));
        }
        expect(Token::RParen, "')'");
        e = std::move(in);
        continue;
      }
      if (!neg && isWord("is")) {
        next();
        auto n = std::make_unique<Expr>();
        n->kind = Expr::IsNull;
        n->pos = p;
        if (isWord("not")) {
          next();
          n->negated = true;
        }
        expectWord("null");
        n->args.push_back(std::move(e));
        e = std::move(n);
        continue;
      }
      pos_ = save;
      return e;
    }
  }
  ExprPtr concat() {
    Chain chain(*this);
    auto e = additive();
    while (isOp("&")) {
      int p = next().pos;
      e = binary("&", std::move(e), additive(), p);
    }
    return e;
  }
  ExprPtr additive() {
    Chain chain(*this);
    auto e = modulo();
    while (isOp("+") || isOp("-")) {
      int p = cur().pos;
      std::string op = next().text;
      e = binary(op, std::move(e), modulo(), p);
    }
    return e;
  }
  ExprPtr modulo() {
    Chain chain(*this);
    auto e = intDiv();
    while (isWord("mod")) {
      int p = next().pos;
      e = binary("mod", std::move(e), intDiv(), p);
    }
    return e;
  }
  ExprPtr intDiv() {
    Chain chain(*this);
    auto e = multiplicative();
    while (isOp("\\")) {
      int p = next().pos;
      e = binary("\\", std::move(e), multiplicative(), p);
    }
    return e;
  }
  ExprPtr multiplicative() {
    Chain chain(*this);
    auto e = unary();
    while (isOp("*") || isOp("/")) {
      int p = cur().pos;
      std::string op = next().text;
      e = binary(op, std::move(e), unary(), p);
    }
    return e;
  }
  ExprPtr unary() {
    if (isOp("-") || isOp("+")) {
      Depth d(*this);
      int p = cur().pos;
      std::string op = next().text;
      auto inner = unary();
      if (op == "+") return inner;
      auto e = std::make_unique<Expr>();
      e->kind = Expr::Unary;
      e->text = "-";
      e->pos = p;
      e->args.push_back(std::move(inner));
      return e;
    }
    return power();
  }
  ExprPtr power() {
    Chain chain(*this);
    auto e = primary();
    while (isOp("^")) {
      int p = next().pos;
      e = binary("^", std::move(e), primary(), p);
    }
    return e;
  }

  ExprPtr primary() {
    Depth d(*this);
    const Token& t = cur();
    auto e = std::make_unique<Expr>();
    e->pos = t.pos;
    switch (t.kind) {
      case Token::Number:
        e->kind = Expr::Number;
        e->text = t.text;
        e->num = std::strtod(t.text.c_str(), nullptr);
        e->tokenIndex = static_cast<int>(pos_);
        next();
        return e;
      case Token::String:
        e->kind = Expr::String;
        e->text = t.text;
        e->tokenIndex = static_cast<int>(pos_);
        next();
        return e;
      case Token::Date: {
        // A date literal is month/day/year whatever the regional settings.
        const RegionalScope us("en-US");
        auto d2 = parseDateText(t.text);
        if (!d2) syntaxError(sql_, t.pos, "in date '#" + t.text + "#'");
        e->kind = Expr::DateLit;
        e->num = *d2;
        next();
        return e;
      }
      case Token::LParen: {
        next();
        if (isWord("select")) {
          e->kind = Expr::SubQuery;
          e->sub = select();
        } else {
          e = expr();
        }
        expect(Token::RParen, "')'");
        return e;
      }
      case Token::Op:
        if (t.text == "*") {
          next();
          e->kind = Expr::Star;
          return e;
        }
        fail("an expression");
      case Token::Ident:
      case Token::Bracketed: {
        std::string n = t.text;
        bool bracketed = t.kind == Token::Bracketed;
        std::string ln = lower(n);
        next();
        if (!bracketed) {
          if (ln == "null") {
            e->kind = Expr::Null;
            return e;
          }
          // Yes and No are the same constants (saved queries use them).
          if (ln == "true" || ln == "false" || ln == "yes" || ln == "no") {
            e->kind = Expr::Bool;
            e->num = ln == "true" || ln == "yes" ? -1 : 0;
            return e;
          }
          if (ln == "exists" && cur().kind == Token::LParen) {
            next();
            e->kind = Expr::Exists;
            e->sub = select();
            expect(Token::RParen, "')'");
            return e;
          }
          // Left, Right and Asc are also functions: followed by '(' they are calls.
          bool call = (ln == "left" || ln == "right" || ln == "asc") && cur().kind == Token::LParen;
          if (reserved(ln) && !call) syntaxError(sql_, t.pos, "(unexpected " + describe(t) + ")");
        }
        if (!bracketed && cur().kind == Token::LParen) {
          next();
          e->kind = Expr::Func;
          e->text = ln;
          if (ln.size() > 1 && ln.back() == '$') e->text.pop_back();  // Chr$ is Chr
          if (isWord("distinct")) {
            next();
            e->negated = true;  // count(distinct x)
          }
          if (cur().kind != Token::RParen) {
            do {
              e->args.push_back(expr());
            } while (accept(Token::Comma));
          }
          expect(Token::RParen, "')'");
          return e;
        }
        if (cur().kind == Token::Dot) {
          next();
          if (isOp("*")) {
            next();
            e->kind = Expr::Star;
            e->table = n;
            return e;
          }
          e->kind = Expr::Column;
          e->table = n;
          e->text = name("a column name");
          return e;
        }
        e->kind = Expr::Column;
        e->text = n;
        e->bracketedDot = bracketed && n.find('.') != std::string::npos;
        return e;
      }
      default:
        fail("an expression");
    }
  }

  std::string_view sql_;
  const std::vector<Token>& t_;
  size_t pos_ = 0;
  int depth_ = 0;
};

}  // namespace

bool isAggregateName(std::string_view n) {
  return n == "count" || n == "sum" || n == "avg" || n == "min" || n == "max" || n == "first" ||
         n == "last" || n == "stdev" || n == "var";
}

std::size_t literalAt(std::string_view sql, std::size_t i, Token& token) {
  const auto digit = [&](std::size_t k) {
    return k < sql.size() && std::isdigit(static_cast<unsigned char>(sql[k]));
  };
  if (i >= sql.size()) return std::string_view::npos;
  const char c = sql[i];
  token.pos = static_cast<int>(i);
  if (digit(i) || (c == '.' && digit(i + 1))) {
    size_t b = i;
    while (digit(i)) ++i;
    if (i < sql.size() && sql[i] == '.') {
      ++i;
      while (digit(i)) ++i;
    }
    if (i < sql.size() && (sql[i] == 'e' || sql[i] == 'E')) {
      size_t j = i + 1;
      if (j < sql.size() && (sql[j] == '+' || sql[j] == '-')) ++j;
      if (digit(j)) {
        i = j;
        while (digit(i)) ++i;
      }
    }
    token.kind = Token::Number;
    token.text.assign(sql.substr(b, i - b));
    return i;
  }
  if (c != '\'' && c != '"') return std::string_view::npos;
  token.kind = Token::String;
  token.text.clear();
  for (size_t j = i + 1; j < sql.size();) {
    if (sql[j] == c) {
      if (j + 1 < sql.size() && sql[j + 1] == c) {
        token.text += c;
        j += 2;
        continue;
      }
      return j + 1;
    }
    token.text += sql[j++];
  }
  return std::string_view::npos;
}

std::vector<Token> lex(std::string_view sql) {
  std::vector<Token> out;
  out.reserve(sql.size() / 4 + 2);
  size_t i = 0;
  while (i < sql.size()) {
    unsigned char c = static_cast<unsigned char>(sql[i]);
    int pos = static_cast<int>(i);
    if (std::isspace(c)) {
      ++i;
      continue;
    }
    if (std::isdigit(c) || c == '.' || c == '\'' || c == '"') {
      Token t;
      size_t end = literalAt(sql, i, t);
      if (end == std::string_view::npos && c != '.') syntaxError(sql, pos, "(unterminated string)");
      if (end != std::string_view::npos) {
        out.push_back(std::move(t));
        i = end;
        continue;
      }
    }
    if (identStart(c)) {
      size_t b = i;
      while (i < sql.size() && identPart(static_cast<unsigned char>(sql[i]))) ++i;
      out.push_back({Token::Ident, std::string(sql.substr(b, i - b)), pos});
      continue;
    }
    if (c == '[') {
      size_t e = sql.find(']', i + 1);
      if (e == std::string_view::npos) syntaxError(sql, pos, "(missing ']')");
      out.push_back({Token::Bracketed, std::string(sql.substr(i + 1, e - i - 1)), pos});
      i = e + 1;
      continue;
    }
    if (c == '#') {
      size_t e = sql.find('#', i + 1);
      if (e == std::string_view::npos) syntaxError(sql, pos, "(missing '#' after a date)");
      out.push_back({Token::Date, std::string(sql.substr(i + 1, e - i - 1)), pos});
      i = e + 1;
      continue;
    }
    switch (c) {
      case ',':
        out.push_back({Token::Comma, ",", pos});
        ++i;
        continue;
      case '.':
        out.push_back({Token::Dot, ".", pos});
        ++i;
        continue;
      case '(':
        out.push_back({Token::LParen, "(", pos});
        ++i;
        continue;
      case ')':
        out.push_back({Token::RParen, ")", pos});
        ++i;
        continue;
      case ';':
        out.push_back({Token::Semi, ";", pos});
        ++i;
        continue;
      default:
        break;
    }
    if (c == '<' || c == '>') {
      std::string op(1, static_cast<char>(c));
      if (i + 1 < sql.size() && (sql[i + 1] == '=' || (c == '<' && sql[i + 1] == '>')))
        op += sql[i + 1];
      out.push_back({Token::Op, op, pos});
      i += op.size();
      continue;
    }
    if (std::string_view("=+-*/\\&^").find(static_cast<char>(c)) != std::string_view::npos) {
      out.push_back({Token::Op, std::string(1, static_cast<char>(c)), pos});
      ++i;
      continue;
    }
    syntaxError(sql, pos, "(unexpected character '" + std::string(1, static_cast<char>(c)) + "')");
  }
  out.push_back({Token::End, "", static_cast<int>(sql.size())});
  return out;
}

Statement parse(std::string_view sql, const std::vector<Token>& tokens) {
  Parser p(sql, tokens);
  return p.statement();
}

}  // namespace galvix::db::jet
