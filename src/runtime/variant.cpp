#include "galvix/variant.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/dates.h"
#include "runtime/format.h"
#include "runtime/regional.h"
#include "runtime/vb.h"

namespace galvix {
namespace {

[[noreturn]] void mismatch(const Variant& v, const char* to) {
  std::string shown;
  switch (v.type()) {
    case VarType::String:
      shown = "'" + v.rawString() + "'";
      break;
    case VarType::Binary:
      shown = "binary data";
      break;
    case VarType::Empty:
      shown = "Empty";
      break;
    default:
      shown = v.toString();
  }
  throw RuntimeError(kErrTypeMismatch,
                     std::string("type mismatch: cannot convert ") + shown + " to " + to);
}

[[noreturn]] void invalidNull(const char* to) {
  throw RuntimeError(kErrInvalidNull,
                     std::string("invalid use of Null (converting to ") + to + ")");
}

[[noreturn]] void overflow(const char* to) {
  throw RuntimeError(kErrOverflow, std::string("overflow: value out of range for ") + to);
}

// Rounds half to even, as the platform does when it makes a whole number.
double roundHalfEven(double v) {
  double r = std::nearbyint(v);  // default rounding mode is to nearest, ties to even
  return r;
}

// Reads a number written in the current locale: blanks, sign, currency symbol, thousands
// separators, parentheses for negatives, exponents, and &H hexadecimal.
std::optional<double> parseNumber(std::string_view text) {
  const auto& r = regional();
  std::string s(vb::trimBlanks(text));
  if (s.empty()) return std::nullopt;
  if (s.size() > 2 && s[0] == '&' && (s[1] == 'H' || s[1] == 'h')) {
    char* end = nullptr;
    long long v = std::strtoll(s.c_str() + 2, &end, 16);
    if (*end) return std::nullopt;
    if (v > 0x7FFFFFFF) return std::nullopt;
    // Up to four digits are an Integer: &HFFFF is -1.
    if (s.size() <= 6 && v > 0x7FFF) v -= 0x10000;
    return static_cast<double>(v);
  }
  bool neg = false;
  if (s.front() == '(' && s.back() == ')') {
    neg = true;
    s = s.substr(1, s.size() - 2);
  }
  std::string clean;
  bool seenDigit = false, seenDecimal = false;
  for (size_t i = 0; i < s.size();) {
    if (!r.currencySymbol.empty() && s.compare(i, r.currencySymbol.size(), r.currencySymbol) == 0) {
      i += r.currencySymbol.size();
      continue;
    }
    if (!seenDecimal && s.compare(i, r.decimal.size(), r.decimal) == 0) {
      clean += '.';
      seenDecimal = true;
      i += r.decimal.size();
      continue;
    }
    if (!seenDecimal && seenDigit && s.compare(i, r.thousands.size(), r.thousands) == 0) {
      i += r.thousands.size();
      continue;
    }
    char c = s[i];
    if (c == ' ') {
      ++i;
      continue;
    }
    if (std::isdigit(static_cast<unsigned char>(c))) seenDigit = true;
    clean += c;
    ++i;
  }
  if (!seenDigit) return std::nullopt;
  if (clean.find_first_not_of("0123456789.+-eEdD") != std::string::npos) return std::nullopt;
  for (auto& c : clean)
    if (c == 'd' || c == 'D') c = 'E';
  char* end = nullptr;
  double v = std::strtod(clean.c_str(), &end);
  if (*end || end == clean.c_str()) return std::nullopt;
  return neg ? -v : v;
}

bool parseBoolText(std::string_view s, bool& out) {
  std::string t = vb::lowerAscii(vb::trimBlanks(s));
  if (t == "true" || t == "yes" || t == "on") return (out = true), true;
  if (t == "false" || t == "no" || t == "off") return (out = false), true;
  return false;
}

}  // namespace

std::optional<double> readNumber(std::string_view text) {
  return parseNumber(text);
}

Currency Currency::fromDouble(double v) {
  double u = roundHalfEven(v * 10000.0);
  if (!(std::fabs(u) < 9.2e18)) overflow("Currency");
  return Currency{static_cast<std::int64_t>(u)};
}

Currency operator+(Currency a, Currency b) {
  std::int64_t r;
  if (__builtin_add_overflow(a.units, b.units, &r)) overflow("Currency");
  return Currency{r};
}
Currency operator-(Currency a, Currency b) {
  std::int64_t r;
  if (__builtin_sub_overflow(a.units, b.units, &r)) overflow("Currency");
  return Currency{r};
}
Currency operator*(Currency a, Currency b) {
  // Exact to the ten-thousandth: the 128-bit product rounded half to even.
  __extension__ using Wide = __int128;
  Wide p = static_cast<Wide>(a.units) * b.units;
  Wide q = p / 10000, rem = p % 10000;
  if (rem < 0) rem = -rem;
  if (rem > 5000 || (rem == 5000 && (q % 2 != 0))) q += p < 0 ? -1 : 1;
  if (q > INT64_MAX || q < INT64_MIN) overflow("Currency");
  return Currency{static_cast<std::int64_t>(q)};
}

const char* varTypeName(VarType t) {
  switch (t) {
    case VarType::Empty:
      return "Empty";
    case VarType::Null:
      return "Null";
    case VarType::Boolean:
      return "Boolean";
    case VarType::Integer:
      return "Integer";
    case VarType::Long:
      return "Long";
    case VarType::Single:
      return "Single";
    case VarType::Double:
      return "Double";
    case VarType::Currency:
      return "Currency";
    case VarType::Date:
      return "Date";
    case VarType::String:
      return "String";
    case VarType::Binary:
      return "Byte()";
  }
  return "Variant";
}

Variant Variant::null() {
  Variant v;
  v.type_ = VarType::Null;
  return v;
}
Variant Variant::boolean(bool b) {
  Variant v;
  v.type_ = VarType::Boolean;
  v.v_ = b;
  return v;
}
Variant Variant::integer(std::int16_t i) {
  Variant v;
  v.type_ = VarType::Integer;
  v.v_ = static_cast<std::int64_t>(i);
  return v;
}
Variant Variant::longInt(std::int32_t i) {
  Variant v;
  v.type_ = VarType::Long;
  v.v_ = static_cast<std::int64_t>(i);
  return v;
}
Variant Variant::single(float f) {
  Variant v;
  v.type_ = VarType::Single;
  v.v_ = static_cast<double>(f);
  return v;
}
Variant Variant::dbl(double d) {
  Variant v;
  v.type_ = VarType::Double;
  v.v_ = d;
  return v;
}
Variant Variant::currency(Currency c) {
  Variant v;
  v.type_ = VarType::Currency;
  v.v_ = c;
  return v;
}
Variant Variant::date(double serial) {
  Variant v;
  v.type_ = VarType::Date;
  v.v_ = serial;
  return v;
}
Variant Variant::string(std::string s) {
  Variant v;
  v.type_ = VarType::String;
  v.v_ = std::move(s);
  return v;
}
Variant Variant::binary(Bytes b) {
  return binary(std::make_shared<const Bytes>(std::move(b)));
}
Variant Variant::binary(std::shared_ptr<const Bytes> b) {
  Variant v;
  v.type_ = VarType::Binary;
  v.v_ = std::move(b);
  return v;
}

bool Variant::isNumeric() const noexcept {
  switch (type_) {
    case VarType::Boolean:
    case VarType::Integer:
    case VarType::Long:
    case VarType::Single:
    case VarType::Double:
    case VarType::Currency:
      return true;
    default:
      return false;
  }
}

double Variant::toDouble() const {
  switch (type_) {
    case VarType::Empty:
      return 0;
    case VarType::Null:
      invalidNull("Double");
    case VarType::Boolean:
      return rawBool() ? -1 : 0;
    case VarType::Integer:
    case VarType::Long:
      return static_cast<double>(rawInt());
    case VarType::Single:
    case VarType::Double:
    case VarType::Date:
      return rawDouble();
    case VarType::Currency:
      return rawCurrency().toDouble();
    case VarType::String: {
      if (auto n = parseNumber(rawString())) return *n;
      bool b;
      if (parseBoolText(rawString(), b)) return b ? -1 : 0;
      mismatch(*this, "Double");
    }
    case VarType::Binary:
      mismatch(*this, "Double");
  }
  mismatch(*this, "Double");
}

bool Variant::toBool() const {
  if (type_ == VarType::Boolean) return rawBool();
  if (type_ == VarType::Null) invalidNull("Boolean");
  if (type_ == VarType::String) {
    bool b;
    if (parseBoolText(rawString(), b)) return b;
    if (auto n = parseNumber(rawString())) return *n != 0;
    mismatch(*this, "Boolean");
  }
  return toDouble() != 0;
}

std::int16_t Variant::toInteger() const {
  if (type_ == VarType::Integer) return static_cast<std::int16_t>(rawInt());
  if (type_ == VarType::Null) invalidNull("Integer");
  double d = type_ == VarType::String && !parseNumber(rawString()) ? (mismatch(*this, "Integer"), 0)
                                                                   : toDouble();
  double r = roundHalfEven(d);
  if (!(r >= -32768 && r <= 32767)) overflow("Integer");
  return static_cast<std::int16_t>(r);
}

std::int32_t Variant::toLong() const {
  if (type_ == VarType::Integer || type_ == VarType::Long)
    return static_cast<std::int32_t>(rawInt());
  if (type_ == VarType::Null) invalidNull("Long");
  if (type_ == VarType::String && !parseNumber(rawString())) mismatch(*this, "Long");
  double r = roundHalfEven(toDouble());
  if (!(r >= -2147483648.0 && r <= 2147483647.0)) overflow("Long");
  return static_cast<std::int32_t>(r);
}

float Variant::toSingle() const {
  if (type_ == VarType::Null) invalidNull("Single");
  double d = toDouble();
  if (std::fabs(d) > FLT_MAX) overflow("Single");
  return static_cast<float>(d);
}

Currency Variant::toCurrency() const {
  switch (type_) {
    case VarType::Currency:
      return rawCurrency();
    case VarType::Null:
      invalidNull("Currency");
    case VarType::Integer:
    case VarType::Long:
      return Currency{rawInt() * 10000};
    case VarType::Single: {
      // The Single's shortest decimal form, so 8.25f and 0.15f convert exactly.
      char b[32];
      std::snprintf(b, sizeof b, "%.7g", rawDouble());
      return Currency::fromDouble(std::strtod(b, nullptr));
    }
    default:
      return Currency::fromDouble(toDouble());
  }
}

double Variant::toDate() const {
  switch (type_) {
    case VarType::Date:
      return rawDouble();
    case VarType::Null:
      invalidNull("Date");
    case VarType::String:
      if (auto d = parseDateText(rawString())) return *d;
      if (auto n = parseNumber(rawString())) return *n;
      mismatch(*this, "Date");
    case VarType::Binary:
      mismatch(*this, "Date");
    default:
      return toDouble();
  }
}

std::string Variant::toString() const {
  const auto& r = regional();
  switch (type_) {
    case VarType::Empty:
      return "";
    case VarType::Null:
      invalidNull("String");
    case VarType::Boolean:
      return rawBool() ? "True" : "False";
    case VarType::Integer:
    case VarType::Long:
      return std::to_string(rawInt());
    case VarType::Single:
      return generalNumber(rawDouble(), 7);
    case VarType::Double:
      return generalNumber(rawDouble(), 15);
    case VarType::Currency: {
      std::int64_t u = rawCurrency().units;
      bool neg = u < 0;
      std::uint64_t a =
          neg ? static_cast<std::uint64_t>(-(u + 1)) + 1 : static_cast<std::uint64_t>(u);
      std::string s = std::to_string(a / 10000);
      std::uint64_t frac = a % 10000;
      if (frac) {
        char b[32];
        std::snprintf(b, sizeof b, "%04u", static_cast<unsigned>(frac));
        std::string f = b;
        while (!f.empty() && f.back() == '0') f.pop_back();
        s += r.decimal + f;
      }
      return neg ? "-" + s : s;
    }
    case VarType::Date:
      return Format(*this, "General Date");
    case VarType::String:
      return rawString();
    case VarType::Binary: {
      // The platform shows a byte array as text in its own code page; keep the bytes.
      const Bytes& b = bytes();
      return std::string(b.begin(), b.end());
    }
  }
  return "";
}

std::string Variant::displayText() const {
  if (type_ == VarType::Null || type_ == VarType::Empty) return "";
  return toString();
}

const Bytes& Variant::bytes() const {
  if (type_ != VarType::Binary) mismatch(*this, "Byte()");
  return *std::get<std::shared_ptr<const Bytes>>(v_);
}

bool Variant::identical(const Variant& o) const {
  if (type_ != o.type_) return false;
  if (type_ == VarType::Binary) return bytes() == o.bytes();
  return v_ == o.v_;
}

// ---- Operators ----

namespace {

enum class Rank { Integer, Long, Single, Double, Currency, Date };

bool isStringy(const Variant& v) {
  return v.type() == VarType::String;
}

Rank rankOf(const Variant& v) {
  switch (v.type()) {
    case VarType::Empty:
    case VarType::Boolean:
    case VarType::Integer:
      return Rank::Integer;
    case VarType::Long:
      return Rank::Long;
    case VarType::Single:
      return Rank::Single;
    case VarType::Currency:
      return Rank::Currency;
    case VarType::Date:
      return Rank::Date;
    case VarType::String:
      return Rank::Double;
    default:
      return Rank::Double;
  }
}

// A numeric operand: strings read as numbers (a type mismatch if they are not).
Variant numeric(const Variant& v) {
  if (v.type() == VarType::String) {
    auto n = readNumber(v.rawString());
    if (!n) {
      if (auto d = parseDateText(v.rawString())) return Variant::date(*d);
      throw RuntimeError(kErrTypeMismatch,
                         "type mismatch: cannot convert '" + v.rawString() + "' to Double");
    }
    return Variant::dbl(*n);
  }
  if (v.type() == VarType::Binary) v.bytes();  // raises the mismatch
  return v;
}

// Integers widen to Long and Long to Double instead of overflowing, as the platform's
// Variants do; Currency stays exact; a Date with a number stays a Date.
Variant arith(const Variant& a0, const Variant& b0, char op) {
  if (a0.isNull() || b0.isNull()) return Variant::null();
  Variant a = numeric(a0), b = numeric(b0);
  Rank ra = rankOf(a), rb = rankOf(b);
  Rank r = std::max(ra, rb);
  if (r == Rank::Date && (op == '+' || op == '-')) {
    double v = op == '+' ? a.toDouble() + b.toDouble() : a.toDouble() - b.toDouble();
    if (op == '-' && ra == Rank::Date && rb == Rank::Date) return Variant::dbl(v);
    return Variant::date(v);
  }
  if (r == Rank::Currency) {
    Currency x = a.toCurrency(), y = b.toCurrency();
    if (op == '+') return Variant::currency(x + y);
    if (op == '-') return Variant::currency(x - y);
    return Variant::currency(x * y);
  }
  if (r <= Rank::Long) {
    long long x = static_cast<long long>(a.toDouble()), y = static_cast<long long>(b.toDouble());
    long long v = op == '+' ? x + y : op == '-' ? x - y : x * y;
    if (r == Rank::Integer && v >= -32768 && v <= 32767)
      return Variant::integer(static_cast<std::int16_t>(v));
    if (v >= INT32_MIN && v <= INT32_MAX) return Variant::longInt(static_cast<std::int32_t>(v));
    return Variant::dbl(static_cast<double>(v));
  }
  double x = a.toDouble(), y = b.toDouble();
  double v = op == '+' ? x + y : op == '-' ? x - y : x * y;
  if (r == Rank::Single && ra != Rank::Double && rb != Rank::Double && !isStringy(a0) &&
      !isStringy(b0) && std::fabs(v) <= FLT_MAX)
    return Variant::single(static_cast<float>(v));
  return Variant::dbl(v);
}

}  // namespace

std::int16_t checkedInteger(long long v) {
  if (v < -32768 || v > 32767) overflow("Integer");
  return static_cast<std::int16_t>(v);
}

Variant opAdd(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  if (a.type() == VarType::String && b.type() == VarType::String)
    return Variant::string(a.rawString() + b.rawString());
  if (a.isEmpty() && b.type() == VarType::String) return b;
  if (b.isEmpty() && a.type() == VarType::String) return a;
  return arith(a, b, '+');
}
Variant opSub(const Variant& a, const Variant& b) {
  return arith(a, b, '-');
}
Variant opMul(const Variant& a, const Variant& b) {
  return arith(a, b, '*');
}

Variant opDiv(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  double y = numeric(b).toDouble();
  if (y == 0) throw RuntimeError(11, "division by zero");
  return Variant::dbl(numeric(a).toDouble() / y);
}

Variant opIntDiv(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  long long y = numeric(b).toLong();
  if (y == 0) throw RuntimeError(11, "division by zero");
  long long v = numeric(a).toLong() / y;
  return v >= -32768 && v <= 32767 && rankOf(a) == Rank::Integer && rankOf(b) == Rank::Integer
             ? Variant::integer(static_cast<std::int16_t>(v))
             : Variant::longInt(static_cast<std::int32_t>(v));
}

Variant opMod(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  long long y = numeric(b).toLong();
  if (y == 0) throw RuntimeError(11, "division by zero");
  long long v = numeric(a).toLong() % y;
  return Variant::longInt(static_cast<std::int32_t>(v));
}

Variant opNeg(const Variant& a) {
  if (a.isNull()) return a;
  return arith(Variant::integer(0), a, '-');
}

Variant opConcat(const Variant& a, const Variant& b) {
  if (a.isNull() && b.isNull()) return Variant::null();
  return Variant::string(a.displayText() + b.displayText());
}

int compareValues(const Variant& a, const Variant& b, bool textCompare) {
  auto cmpNum = [](double x, double y) { return x < y ? -1 : x > y ? 1 : 0; };
  bool an = a.isNumeric() || a.type() == VarType::Date || a.isEmpty();
  bool bn = b.isNumeric() || b.type() == VarType::Date || b.isEmpty();
  if (an && bn) {
    if (a.type() == VarType::Currency && b.type() == VarType::Currency)
      return a.rawCurrency() < b.rawCurrency() ? -1 : a.rawCurrency() > b.rawCurrency() ? 1 : 0;
    return cmpNum(a.toDouble(), b.toDouble());
  }
  if (a.type() == VarType::String && b.type() == VarType::String) {
    if (textCompare) return vb::compareTextNoCase(a.rawString(), b.rawString());
    int c = a.rawString().compare(b.rawString());
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  }
  // A number against text: the text is read as a number when it is one.
  if (an && b.type() == VarType::String) {
    if (auto n = readNumber(b.rawString())) return cmpNum(a.toDouble(), *n);
    return -1;  // numbers sort before text
  }
  if (bn && a.type() == VarType::String) {
    if (auto n = readNumber(a.rawString())) return cmpNum(*n, b.toDouble());
    return 1;
  }
  throw RuntimeError(kErrTypeMismatch, std::string("type mismatch: cannot compare ") +
                                           varTypeName(a.type()) + " with " +
                                           varTypeName(b.type()));
}

Variant opEq(const Variant& a, const Variant& b, bool textCompare) {
  if (a.isNull() || b.isNull()) return Variant::null();
  return Variant::boolean(compareValues(a, b, textCompare) == 0);
}

}  // namespace galvix
