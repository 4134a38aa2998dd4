// Values as the reports see them: the platform's Variant with its conversion rules.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "galvix/error.h"

namespace galvix {

// Error raised by value conversions and arithmetic. `number` is the platform's
// run-time error number (6 overflow, 13 type mismatch, 94 invalid use of Null, 5 invalid call).
class RuntimeError : public Error {
 public:
  RuntimeError(int number, const std::string& message) : Error(message), number_(number) {}
  int number() const noexcept { return number_; }

 private:
  int number_;
};

inline constexpr int kErrInvalidCall = 5;
inline constexpr int kErrOverflow = 6;
inline constexpr int kErrTypeMismatch = 13;
inline constexpr int kErrInvalidNull = 94;

// Fixed-point money: a signed 64-bit count of ten-thousandths.
struct Currency {
  std::int64_t units = 0;  // value * 10000

  static Currency fromUnits(std::int64_t u) { return Currency{u}; }
  // Rounds to the nearest ten-thousandth, halves to even; overflow raises RuntimeError(6).
  static Currency fromDouble(double v);
  double toDouble() const { return static_cast<double>(units) / 10000.0; }

  friend bool operator==(Currency a, Currency b) = default;
  friend auto operator<=>(Currency a, Currency b) = default;
};
// Exact arithmetic; overflow raises RuntimeError(6).
Currency operator+(Currency a, Currency b);
Currency operator-(Currency a, Currency b);
Currency operator*(Currency a, Currency b);

enum class VarType {
  Empty,
  Null,
  Boolean,
  Integer,  // 16-bit
  Long,     // 32-bit
  Single,
  Double,
  Currency,
  Date,  // days since 1899-12-30, time of day as the fraction
  String,
  Binary,
};

const char* varTypeName(VarType t);  // "Integer", "String", ... as the platform names them

using Bytes = std::vector<std::uint8_t>;

class Variant {
 public:
  Variant() = default;  // Empty
  static Variant null();
  static Variant boolean(bool b);
  static Variant integer(std::int16_t v);
  static Variant longInt(std::int32_t v);
  static Variant single(float v);
  static Variant dbl(double v);
  static Variant currency(Currency c);
  static Variant date(double serial);
  static Variant string(std::string s);
  static Variant binary(Bytes b);
  static Variant binary(std::shared_ptr<const Bytes> b);

  // Convenience constructors (literals in code and tests).
  Variant(bool b) : Variant(boolean(b)) {}                   // NOLINT(google-explicit-constructor)
  Variant(std::int16_t v) : Variant(integer(v)) {}           // NOLINT
  Variant(int v) : Variant(longInt(v)) {}                    // NOLINT
  Variant(double v) : Variant(dbl(v)) {}                     // NOLINT
  Variant(Currency c) : Variant(currency(c)) {}              // NOLINT
  Variant(std::string s) : Variant(string(std::move(s))) {}  // NOLINT
  Variant(const char* s) : Variant(string(s)) {}             // NOLINT

  VarType type() const noexcept { return type_; }
  bool isEmpty() const noexcept { return type_ == VarType::Empty; }
  bool isNull() const noexcept { return type_ == VarType::Null; }
  bool isNumeric() const noexcept;  // Boolean..Currency (not Date, not String)

  // Conversions with the platform's rules (CBool, CInt, CLng, CSng, CDbl, CCur, CDate, CStr).
  // Null raises RuntimeError(94); an impossible conversion RuntimeError(13) with a message like
  // "type mismatch: cannot convert 'abc' to Integer"; out of range RuntimeError(6).
  // Rounding to whole numbers is half to even. Strings are read with the current regional settings.
  bool toBool() const;
  std::int16_t toInteger() const;
  std::int32_t toLong() const;
  float toSingle() const;
  double toDouble() const;
  Currency toCurrency() const;
  double toDate() const;         // serial date
  std::string toString() const;  // CStr; Empty gives ""; Null raises 94
  // The text a report field shows for the value with no format: Null and Empty give "".
  std::string displayText() const;
  const Bytes& bytes() const;  // Binary only; else RuntimeError(13)

  // Raw access for code that has checked type().
  bool rawBool() const { return std::get<bool>(v_); }
  std::int64_t rawInt() const { return std::get<std::int64_t>(v_); }  // Integer and Long
  double rawDouble() const { return std::get<double>(v_); }           // Single, Double and Date
  Currency rawCurrency() const { return std::get<Currency>(v_); }
  const std::string& rawString() const { return std::get<std::string>(v_); }

  // Strict identity (same type and same value); not the platform's "=".
  bool identical(const Variant& o) const;

 private:
  VarType type_ = VarType::Empty;
  std::variant<std::monostate, bool, std::int64_t, double, Currency, std::string,
               std::shared_ptr<const Bytes>>
      v_;
};

// The platform's operators. Null propagates where it does (+ - * / comparisons), `&` joins
// Null as "". Integer arithmetic overflows at 16 bits (RuntimeError 6) and widens as the
// platform widens (Integer -> Long -> Double; Currency stays exact).
Variant opAdd(const Variant& a, const Variant& b);  // numbers add, two strings join
Variant opSub(const Variant& a, const Variant& b);
Variant opMul(const Variant& a, const Variant& b);
Variant opDiv(const Variant& a, const Variant& b);     // always floating
Variant opIntDiv(const Variant& a, const Variant& b);  // backslash
Variant opMod(const Variant& a, const Variant& b);
Variant opNeg(const Variant& a);
Variant opConcat(const Variant& a, const Variant& b);  // &
// Comparison: returns Null if either side is Null, else Boolean. Text compares as the
// platform's text compare (binary unless `textCompare`).
Variant opEq(const Variant& a, const Variant& b, bool textCompare = false);
// Three-way compare of two non-null values (-1, 0, 1); raises 13 for incomparable values.
int compareValues(const Variant& a, const Variant& b, bool textCompare = false);

}  // namespace galvix
