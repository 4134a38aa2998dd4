#include "engine/expression.h"

#include <cctype>
#include <vector>

#include "engine/controls.h"
#include "engine/text_util.h"

namespace galvix::engine {

struct Expression::Node {
  enum Kind { Literal, Column, Call, Binary } kind = Literal;
  Variant value;
  int column = -1;
  std::string fn;  // lower-case function name, or the operator
  std::vector<Node> args;
};

namespace {

// UTF-8 character boundaries, so Left(name, 1) takes a whole letter.
std::size_t utf8Offset(const std::string& s, long chars) {
  std::size_t i = 0;
  for (long n = 0; i < s.size() && n < chars; ++n) {
    ++i;
    while (i < s.size() && (static_cast<unsigned char>(s[i]) & 0xC0) == 0x80) ++i;
  }
  return i;
}
long utf8Length(const std::string& s) {
  long n = 0;
  for (unsigned char c : s)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

class Parser {
 public:
  Parser(std::string_view text, const Columns& cols, std::string_view whole)
      : s_(text), cols_(cols), whole_(whole) {}

  Expression::Node parseAll() {
    auto n = concat();
    skip();
    if (p_ < s_.size()) fail("unexpected '" + std::string(1, s_[p_]) + "'");
    return n;
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw EngineError("data field '" + std::string(whole_) + "': " + why + " at position " +
                      std::to_string(p_ + 1));
  }
  void skip() {
    while (p_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[p_]))) ++p_;
  }
  bool eat(char c) {
    skip();
    if (p_ < s_.size() && s_[p_] == c) {
      ++p_;
      return true;
    }
    return false;
  }
  Expression::Node binary(std::string op, Expression::Node a, Expression::Node b) {
    Expression::Node n;
    n.kind = Expression::Node::Binary;
    n.fn = std::move(op);
    n.args.push_back(std::move(a));
    n.args.push_back(std::move(b));
    return n;
  }
  Expression::Node concat() {
    auto n = additive();
    while (eat('&')) n = binary("&", std::move(n), additive());
    return n;
  }
  Expression::Node additive() {
    auto n = primary();
    for (;;) {
      if (eat('+'))
        n = binary("+", std::move(n), primary());
      else if (eat('-'))
        n = binary("-", std::move(n), primary());
      else
        return n;
    }
  }
  Expression::Node column(const std::string& name) {
    Expression::Node n;
    n.kind = Expression::Node::Column;
    n.column = cols_.find(name);
    if (n.column < 0) fail("no column '" + name + "' in the row source");
    return n;
  }
  Expression::Node primary() {
    skip();
    if (p_ >= s_.size()) fail("expression ends too soon");
    char c = s_[p_];
    Expression::Node n;
    if (c == '(') {
      ++p_;
      n = concat();
      if (!eat(')')) fail("missing ')'");
      return n;
    }
    if (c == '"' || c == '\'') {
      ++p_;
      std::string v;
      for (;;) {
        if (p_ >= s_.size()) fail("unterminated text");
        if (s_[p_] == c) {
          if (p_ + 1 < s_.size() && s_[p_ + 1] == c) {
            v += c;
            p_ += 2;
            continue;
          }
          ++p_;
          break;
        }
        v += s_[p_++];
      }
      n.value = Variant::string(std::move(v));
      return n;
    }
    if (std::isdigit(static_cast<unsigned char>(c))) {
      std::size_t b = p_;
      while (p_ < s_.size() && (std::isdigit(static_cast<unsigned char>(s_[p_])) || s_[p_] == '.'))
        ++p_;
      std::string t(s_.substr(b, p_ - b));
      if (t.find('.') == std::string::npos)
        n.value = Variant::longInt(std::stoi(t));
      else
        n.value = Variant::dbl(std::stod(t));
      return n;
    }
    if (c == '[') {
      auto e = s_.find(']', p_);
      if (e == std::string_view::npos) fail("missing ']'");
      std::string name(s_.substr(p_ + 1, e - p_ - 1));
      p_ = e + 1;
      return column(name);
    }
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      std::size_t b = p_;
      while (p_ < s_.size() && (std::isalnum(static_cast<unsigned char>(s_[p_])) || s_[p_] == '_' ||
                                s_[p_] == '$' || s_[p_] == '.'))
        ++p_;
      std::string name(s_.substr(b, p_ - b));
      if (eat('(')) {
        n.kind = Expression::Node::Call;
        n.fn = lowerAscii(name);
        if (!n.fn.empty() && n.fn.back() == '$') n.fn.pop_back();
        static const char* known[] = {"left",  "right", "mid",   "len",  "trim", "ltrim",
                                      "rtrim", "ucase", "lcase", "cstr", "nz"};
        bool ok = false;
        for (auto* k : known) ok = ok || n.fn == k;
        if (!ok) fail("unknown function '" + name + "'");
        if (!eat(')')) {
          do n.args.push_back(concat());
          while (eat(','));
          if (!eat(')')) fail("missing ')'");
        }
        return n;
      }
      return column(name);
    }
    fail("unexpected '" + std::string(1, c) + "'");
  }

  std::string_view s_;
  std::size_t p_ = 0;
  const Columns& cols_;
  std::string_view whole_;
};

Variant evalNode(const Expression::Node& n, const RowValues& row);

Variant call(const Expression::Node& n, const RowValues& row) {
  std::vector<Variant> a;
  for (auto& x : n.args) a.push_back(evalNode(x, row));
  auto need = [&](std::size_t lo, std::size_t hi) {
    if (a.size() < lo || a.size() > hi)
      throw RuntimeError(kErrInvalidCall, "wrong number of arguments to " + n.fn);
  };
  const std::string& f = n.fn;
  if (f == "nz") {
    need(1, 2);
    if (a[0].isNull() || a[0].isEmpty()) return a.size() > 1 ? a[1] : Variant::string("");
    return a[0];
  }
  if (f == "cstr") {
    need(1, 1);
    return Variant::string(a[0].toString());
  }
  need(1, 3);
  if (a[0].isNull()) return Variant::null();
  std::string s = a[0].toString();
  if (f == "len") return Variant::longInt(static_cast<std::int32_t>(utf8Length(s)));
  if (f == "ucase" || f == "lcase") {
    for (auto& ch : s)
      ch = f == "ucase" ? static_cast<char>(std::toupper(static_cast<unsigned char>(ch)))
                        : asciiLower(ch);
    return Variant::string(s);
  }
  if (f == "trim" || f == "ltrim" || f == "rtrim") {
    std::size_t b = 0, e = s.size();
    if (f != "rtrim")
      while (b < e && s[b] == ' ') ++b;
    if (f != "ltrim")
      while (e > b && s[e - 1] == ' ') --e;
    return Variant::string(s.substr(b, e - b));
  }
  if (f == "left" || f == "right") {
    need(2, 2);
    long k = a[1].toLong();
    if (k < 0) throw RuntimeError(kErrInvalidCall, "invalid length in " + n.fn);
    if (f == "left") return Variant::string(s.substr(0, utf8Offset(s, k)));
    long len = utf8Length(s);
    return Variant::string(s.substr(utf8Offset(s, std::max(0L, len - k))));
  }
  // mid(s, start[, length])
  need(2, 3);
  long start = a[1].toLong();
  if (start < 1) throw RuntimeError(kErrInvalidCall, "invalid start in mid");
  std::size_t b = utf8Offset(s, start - 1);
  std::string rest = s.substr(b);
  if (a.size() == 3) rest = rest.substr(0, utf8Offset(rest, a[2].toLong()));
  return Variant::string(rest);
}

Variant evalNode(const Expression::Node& n, const RowValues& row) {
  switch (n.kind) {
    case Expression::Node::Literal:
      return n.value;
    case Expression::Node::Column:
      return row[static_cast<std::size_t>(n.column)];
    case Expression::Node::Call:
      return call(n, row);
    case Expression::Node::Binary: {
      Variant a = evalNode(n.args[0], row), b = evalNode(n.args[1], row);
      if (n.fn == "&") return opConcat(a, b);
      if (n.fn == "+") return opAdd(a, b);
      return opSub(a, b);
    }
  }
  return {};
}

}  // namespace

Expression::Expression() = default;
Expression::~Expression() = default;
Expression::Expression(Expression&&) noexcept = default;
Expression& Expression::operator=(Expression&&) noexcept = default;

Expression Expression::compile(std::string_view dataField, const Columns& columns) {
  Expression e;
  std::string_view t = dataField;
  while (!t.empty() && t.front() == ' ') t.remove_prefix(1);
  while (!t.empty() && t.back() == ' ') t.remove_suffix(1);
  if (t.empty()) return e;
  if (t.front() == '=') {
    Parser p(t.substr(1), columns, dataField);
    e.root_ = std::make_shared<const Node>(p.parseAll());
    return e;
  }
  std::string name(t);
  if (name.size() > 2 && name.front() == '[' && name.back() == ']')
    name = name.substr(1, name.size() - 2);
  Node n;
  n.kind = Node::Column;
  n.column = columns.find(name);
  if (n.column < 0) {
    e.missing_ = true;
    return e;
  }
  e.root_ = std::make_shared<const Node>(std::move(n));
  return e;
}

Variant Expression::eval(const RowValues& row) const {
  if (!root_) return {};
  return evalNode(*root_, row);
}

}  // namespace galvix::engine
