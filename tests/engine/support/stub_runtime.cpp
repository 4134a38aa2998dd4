// Stand-in for the value runtime while its module is not yet in the tree: just enough Variant
// behaviour for the engine's tests (numbers, text, null). Not used once galvix_runtime exists.
#include <cmath>
#include <sstream>

#include "galvix/variant.h"

namespace galvix {

namespace {
[[noreturn]] void unsupported(const char* what) {
  throw RuntimeError(kErrInvalidCall, std::string("test stand-in: ") + what + " unsupported");
}
bool isInt(const Variant& v) {
  return v.type() == VarType::Integer || v.type() == VarType::Long;
}
std::string num(double d) {
  std::ostringstream o;
  o.precision(15);
  o << d;
  return o.str();
}
}  // namespace

Currency Currency::fromDouble(double v) {
  return Currency{std::llround(v * 10000.0)};
}
Currency operator+(Currency a, Currency b) {
  return Currency{a.units + b.units};
}
Currency operator-(Currency a, Currency b) {
  return Currency{a.units - b.units};
}
Currency operator*(Currency a, Currency b) {
  return Currency{a.units * b.units / 10000};
}

const char* varTypeName(VarType) {
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
  return type_ == VarType::Boolean || type_ == VarType::Integer || type_ == VarType::Long ||
         type_ == VarType::Single || type_ == VarType::Double || type_ == VarType::Currency;
}

double Variant::toDouble() const {
  switch (type_) {
    case VarType::Empty:
      return 0;
    case VarType::Null:
      throw RuntimeError(kErrInvalidNull, "Invalid use of Null");
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
      try {
        std::size_t n = 0;
        double d = std::stod(rawString(), &n);
        if (n == rawString().size()) return d;
      } catch (...) {
      }
      throw RuntimeError(kErrTypeMismatch, "type mismatch: cannot convert '" + rawString() + "'");
    }
    case VarType::Binary:
      break;
  }
  throw RuntimeError(kErrTypeMismatch, "type mismatch");
}
bool Variant::toBool() const {
  return toDouble() != 0;
}
std::int16_t Variant::toInteger() const {
  return static_cast<std::int16_t>(toLong());
}
std::int32_t Variant::toLong() const {
  return static_cast<std::int32_t>(std::nearbyint(toDouble()));
}
float Variant::toSingle() const {
  return static_cast<float>(toDouble());
}
Currency Variant::toCurrency() const {
  return Currency::fromDouble(toDouble());
}
double Variant::toDate() const {
  return toDouble();
}
std::string Variant::toString() const {
  switch (type_) {
    case VarType::Empty:
      return "";
    case VarType::Null:
      throw RuntimeError(kErrInvalidNull, "Invalid use of Null");
    case VarType::Boolean:
      return rawBool() ? "True" : "False";
    case VarType::Integer:
    case VarType::Long:
      return std::to_string(rawInt());
    case VarType::String:
      return rawString();
    case VarType::Currency:
      return num(rawCurrency().toDouble());
    default:
      return num(rawDouble());
  }
}
std::string Variant::displayText() const {
  return isNull() ? "" : toString();
}
const Bytes& Variant::bytes() const {
  if (type_ != VarType::Binary) throw RuntimeError(kErrTypeMismatch, "type mismatch");
  return *std::get<std::shared_ptr<const Bytes>>(v_);
}
bool Variant::identical(const Variant& o) const {
  return type_ == o.type_ && v_ == o.v_;
}

Variant opAdd(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  if (a.type() == VarType::String && b.type() == VarType::String)
    return Variant::string(a.rawString() + b.rawString());
  if (a.type() == VarType::Currency || b.type() == VarType::Currency)
    return Variant::currency(a.toCurrency() + b.toCurrency());
  if (isInt(a) && isInt(b))
    return Variant::longInt(static_cast<std::int32_t>(a.rawInt() + b.rawInt()));
  return Variant::dbl(a.toDouble() + b.toDouble());
}
Variant opSub(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  if (isInt(a) && isInt(b))
    return Variant::longInt(static_cast<std::int32_t>(a.rawInt() - b.rawInt()));
  return Variant::dbl(a.toDouble() - b.toDouble());
}
Variant opMul(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  return Variant::dbl(a.toDouble() * b.toDouble());
}
Variant opDiv(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return Variant::null();
  return Variant::dbl(a.toDouble() / b.toDouble());
}
Variant opIntDiv(const Variant&, const Variant&) {
  unsupported("\\");
}
Variant opMod(const Variant&, const Variant&) {
  unsupported("Mod");
}
Variant opNeg(const Variant& a) {
  return Variant::dbl(-a.toDouble());
}
Variant opConcat(const Variant& a, const Variant& b) {
  return Variant::string(a.displayText() + b.displayText());
}
int compareValues(const Variant& a, const Variant& b, bool textCompare) {
  if (a.type() == VarType::String && b.type() == VarType::String) {
    std::string x = a.rawString(), y = b.rawString();
    if (textCompare) {
      for (auto& c : x) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      for (auto& c : y) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  double x = a.toDouble(), y = b.toDouble();
  return x < y ? -1 : (x > y ? 1 : 0);
}
Variant opEq(const Variant& a, const Variant& b, bool textCompare) {
  if (a.isNull() || b.isNull()) return Variant::null();
  return Variant::boolean(compareValues(a, b, textCompare) == 0);
}

}  // namespace galvix
