#include "runtime/format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "runtime/dates.h"
#include "runtime/regional.h"
#include "runtime/vb.h"

namespace galvix {
namespace {

bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

// ---- Decimal digits of a value ----

// A value as sign, decimal digits and the position of the decimal point: digits "12345" with
// point 2 is 12.345. Doubles are first taken to 15 significant digits (7 for Single) as the
// platform does, so 1.005 formats as 1.01 rather than as its binary neighbour.
struct Decimal {
  bool negative = false;
  std::string digits;  // no leading zeros, except "0" for zero
  int point = 1;       // digits before the decimal point

  bool isZero() const { return digits.find_first_not_of('0') == std::string::npos; }
};

Decimal decimalOf(const Variant& v) {
  Decimal d;
  if (v.type() == VarType::Currency) {
    std::int64_t u = v.rawCurrency().units;
    d.negative = u < 0;
    std::uint64_t a =
        d.negative ? static_cast<std::uint64_t>(-(u + 1)) + 1 : static_cast<std::uint64_t>(u);
    std::string s = std::to_string(a);
    while (s.size() < 5) s = "0" + s;
    d.digits = s;
    d.point = static_cast<int>(s.size()) - 4;
  } else if (v.type() == VarType::Integer || v.type() == VarType::Long) {
    long long x = v.rawInt();
    d.negative = x < 0;
    d.digits = std::to_string(x < 0 ? -x : x);
    d.point = static_cast<int>(d.digits.size());
  } else {
    double x = v.toDouble();
    int sig = v.type() == VarType::Single ? 7 : 15;
    d.negative = std::signbit(x) && x != 0;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*e", sig - 1, std::fabs(x));
    // buf: d.ddddde[+-]xx
    std::string s = buf;
    size_t e = s.find('e');
    int exp = std::atoi(s.c_str() + e + 1);
    std::string m = s.substr(0, e);
    m.erase(1, 1);  // drop the point
    d.digits = m;
    d.point = exp + 1;
  }
  // Normalise: strip leading zeros (keeping the point right) and trailing zeros after it.
  while (d.digits.size() > 1 && d.digits[0] == '0' && d.point > 1) {
    d.digits.erase(0, 1);
    --d.point;
  }
  while (d.digits.size() > 1 && d.digits.back() == '0' &&
         static_cast<int>(d.digits.size()) > d.point)
    d.digits.pop_back();
  if (d.isZero()) {
    d.digits = "0";
    d.point = 1;
  }
  return d;
}

// Rounds to `decimals` places, halves away from zero (Format's rounding).
void roundTo(Decimal& d, int decimals) {
  if (d.point <= 0) {
    d.digits = std::string(static_cast<size_t>(-d.point + 1), '0') + d.digits;
    d.point = 1;
  }
  int keep = d.point + decimals;
  if (keep < 0) {
    d.digits = "0";
    d.point = 1;
    return;
  }
  if (static_cast<int>(d.digits.size()) <= keep) return;
  bool up = d.digits[static_cast<size_t>(keep)] >= '5';
  d.digits.resize(static_cast<size_t>(keep));
  if (up) {
    int i = keep - 1;
    while (i >= 0 && d.digits[static_cast<size_t>(i)] == '9')
      d.digits[static_cast<size_t>(i--)] = '0';
    if (i < 0) {
      d.digits = "1" + d.digits;
      ++d.point;
    } else {
      ++d.digits[static_cast<size_t>(i)];
    }
  }
  if (d.digits.empty()) {
    d.digits = "0";
    d.point = 1;
  }
}

std::string intDigits(const Decimal& d) {
  if (d.point <= 0) return "";
  std::string s =
      d.digits.substr(0, std::min<size_t>(d.digits.size(), static_cast<size_t>(d.point)));
  while (static_cast<int>(s.size()) < d.point) s += '0';
  size_t nz = s.find_first_not_of('0');
  return nz == std::string::npos ? "" : s.substr(nz);
}

std::string fracDigits(const Decimal& d, int places) {
  std::string s;
  for (int i = 0; i < places; ++i) {
    int idx = d.point + i;
    s += idx >= 0 && idx < static_cast<int>(d.digits.size()) ? d.digits[static_cast<size_t>(idx)]
                                                             : '0';
  }
  return s;
}

std::string group(const std::string& digits) {
  const auto& r = regional();
  std::string out;
  int n = static_cast<int>(digits.size());
  for (int i = 0; i < n; ++i) {
    if (i > 0 && (n - i) % 3 == 0) out += r.thousands;
    out += digits[static_cast<size_t>(i)];
  }
  return out;
}

// Fixed notation with `decimals` places, optional grouping.
std::string fixed(const Variant& v, int decimals, bool grouping, bool& negative) {
  Decimal d = decimalOf(v);
  roundTo(d, decimals);
  negative = d.negative && !d.isZero();
  std::string i = intDigits(d);
  if (i.empty()) i = "0";
  std::string s = grouping ? group(i) : i;
  if (decimals > 0) s += regional().decimal + fracDigits(d, decimals);
  return s;
}

// ---- Numeric user patterns ----

struct NumPattern {
  // Items in order: literal text, or the number block.
  std::vector<std::string> prefix, suffix;  // literal pieces before and after the number
  std::string intPlaceholders;              // '0' and '#', left to right
  std::string fracPlaceholders;             // '0' and '#'
  bool hasPoint = false, grouping = false, percent = false;
  int scale = 0;  // thousands scaling (commas right before the point)
  bool sci = false, sciPlus = false;
  int expDigits = 0;
  // Literals inside the integer part, keyed by how many placeholders are to their right.
  std::vector<std::pair<int, std::string>> intLiterals;
};

std::vector<std::string> splitSections(std::string_view p) {
  std::vector<std::string> out(1);
  for (size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size() - 1;
      out.back() += p.substr(i, e - i + 1);
      i = e;
    } else if (c == '\\' && i + 1 < p.size()) {
      out.back() += p.substr(i, 2);
      ++i;
    } else if (c == ';') {
      out.emplace_back();
    } else {
      out.back() += c;
    }
  }
  return out;
}

NumPattern parseNumPattern(std::string_view p) {
  NumPattern np;
  enum { Before, Int, Frac, Exp, After } state = Before;
  std::string pendingLiteral;
  auto literal = [&](const std::string& t) {
    if (state == Before)
      np.prefix.push_back(t);
    else if (state == Int)
      pendingLiteral += t;
    else
      np.suffix.push_back(t);
  };
  int commasPending = 0;
  for (size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size();
      literal(std::string(p.substr(i + 1, e - i - 1)));
      i = e;
    } else if (c == '\\' && i + 1 < p.size()) {
      literal(std::string(1, p[++i]));
    } else if ((c == '0' || c == '#') && state != After) {
      if (state == Before) state = Int;
      if (state == Int) {
        if (commasPending) np.grouping = true;
        commasPending = 0;
        if (!pendingLiteral.empty()) {
          np.intLiterals.push_back({0, pendingLiteral});
          pendingLiteral.clear();
        }
        for (auto& l : np.intLiterals) ++l.first;
        np.intPlaceholders += c;
      } else if (state == Frac) {
        np.fracPlaceholders += c;
      } else if (state == Exp) {
        ++np.expDigits;
      }
    } else if (c == '.' && (state == Before || state == Int)) {
      state = Frac;
      np.hasPoint = true;
      np.scale += commasPending;
      commasPending = 0;
    } else if (c == ',' && (state == Int)) {
      ++commasPending;
    } else if (c == ',' && state == Before) {
      // a comma before any digit placeholder is shown as is
      literal(",");
    } else if ((c == 'E' || c == 'e') && i + 1 < p.size() && (p[i + 1] == '+' || p[i + 1] == '-') &&
               (state == Int || state == Frac)) {
      np.sci = true;
      np.sciPlus = p[i + 1] == '+';
      ++i;
      state = Exp;
    } else if (c == '%') {
      np.percent = true;
      if (state == Int || state == Frac || state == Exp) {
        if (!pendingLiteral.empty()) {
          np.suffix.push_back(pendingLiteral);
          pendingLiteral.clear();
        }
        state = After;
      }
      literal("%");
    } else {
      if (state == Frac || state == Exp) state = After;
      literal(std::string(1, c));
    }
  }
  if (commasPending && state == Int) np.scale += commasPending;
  if (!pendingLiteral.empty()) np.suffix.insert(np.suffix.begin(), pendingLiteral);
  // Each integer-part literal counts the placeholders to its right (including the one that
  // closed it).
  return np;
}

std::string join(const std::vector<std::string>& v) {
  std::string s;
  for (auto& x : v) s += x;
  return s;
}

// Formats a non-negative magnitude with a parsed numeric pattern.
std::string formatNumber(const Variant& value, const NumPattern& np, bool& negativeOut) {
  const auto& r = regional();
  Variant v = value;
  if (np.percent || np.scale) {
    double x = v.toDouble();
    if (np.percent) x *= 100;
    for (int i = 0; i < np.scale; ++i) x /= 1000;
    v = Variant::dbl(x);
  }
  std::string body;
  if (np.sci) {
    double x = v.toDouble();
    negativeOut = x < 0;
    x = std::fabs(x);
    int intPlaces = std::max<int>(1, static_cast<int>(np.intPlaceholders.size()));
    int exp = 0;
    if (x != 0) {
      exp = static_cast<int>(std::floor(std::log10(x))) - (intPlaces - 1);
      x /= std::pow(10.0, exp);
    }
    Decimal d = decimalOf(Variant::dbl(x));
    int fracPlaces = static_cast<int>(np.fracPlaceholders.size());
    roundTo(d, fracPlaces);
    if (d.point > intPlaces) {  // 9.99 -> 10.0: renormalise
      ++exp;
      d = decimalOf(Variant::dbl(x / 10));
      roundTo(d, fracPlaces);
    }
    std::string i = intDigits(d);
    if (i.empty()) i = "0";
    body = i;
    std::string f = fracDigits(d, fracPlaces);
    size_t minFrac = np.fracPlaceholders.find_last_of('0');
    minFrac = minFrac == std::string::npos ? 0 : minFrac + 1;
    while (f.size() > minFrac && f.back() == '0') f.pop_back();
    if (np.hasPoint) body += r.decimal + f;
    std::string e = std::to_string(std::abs(exp));
    while (static_cast<int>(e.size()) < np.expDigits) e = "0" + e;
    body += std::string("E") + (exp < 0 ? "-" : np.sciPlus ? "+" : "") + e;
    return join(np.prefix) + body + join(np.suffix);
  }
  int fracPlaces = static_cast<int>(np.fracPlaceholders.size());
  Decimal d = decimalOf(v);
  roundTo(d, fracPlaces);
  negativeOut = d.negative && !d.isZero();
  std::string intPart = intDigits(d);
  // '0' placeholders count from the right: the leftmost '0' fixes the minimum width.
  size_t firstZero = np.intPlaceholders.find('0');
  size_t minDigits = firstZero == std::string::npos ? 0 : np.intPlaceholders.size() - firstZero;
  while (intPart.size() < minDigits) intPart = "0" + intPart;
  std::string intText;
  if (np.intLiterals.empty() || np.grouping) {
    intText = np.grouping ? group(intPart) : intPart;
  } else {
    // Digits fill the placeholders from the right; literals stay between them.
    std::string out;
    int placed = 0;
    size_t di = intPart.size();
    std::vector<std::pair<int, std::string>> lits = np.intLiterals;
    int total = static_cast<int>(np.intPlaceholders.size());
    for (int k = total - 1; k >= 0; --k) {
      char ph = np.intPlaceholders[static_cast<size_t>(k)];
      std::string digit;
      if (di > 0) {
        digit = intPart.substr(--di, 1);
        if (k == 0 && di > 0) {
          digit = intPart.substr(0, di + 1);
          di = 0;
        }
      } else if (ph == '0') {
        digit = "0";
      }
      out = digit + out;
      ++placed;
      // A literal stands before this placeholder if it had `placed` placeholders after it.
      for (auto& l : lits)
        if (l.first == placed && k > 0) out = l.second + out;
    }
    intText = out;
  }
  body = intText;
  if (np.hasPoint || fracPlaces) {
    std::string f = fracDigits(d, fracPlaces);
    size_t lastZero = np.fracPlaceholders.find_last_of('0');
    size_t minFrac = lastZero == std::string::npos ? 0 : lastZero + 1;
    while (f.size() > minFrac && f.back() == '0') f.pop_back();
    if (np.hasPoint) body += r.decimal + f;
  }
  return join(np.prefix) + body + join(np.suffix);
}

bool hasDigitPlaceholder(std::string_view sec) {
  for (size_t i = 0; i < sec.size(); ++i) {
    char c = sec[i];
    if (c == '"') {
      size_t e = sec.find('"', i + 1);
      if (e == std::string_view::npos) return false;
      i = e;
    } else if (c == '\\') {
      ++i;
    } else if (c == '0' || c == '#') {
      return true;
    }
  }
  return false;
}

// ---- Dates ----

bool isDateChar(char c) {
  switch (std::tolower(static_cast<unsigned char>(c))) {
    case 'd':
    case 'w':
    case 'm':
    case 'q':
    case 'y':
    case 'h':
    case 'n':
    case 's':
    case 'c':
    case 't':
      return true;
    default:
      return false;
  }
}

// Whether a character outside quoted literals and backslash escapes satisfies `pred`.
template <class Pred>
bool anyUnquoted(std::string_view sec, Pred pred) {
  for (size_t i = 0; i < sec.size(); ++i) {
    char c = sec[i];
    if (c == '"') {
      size_t e = sec.find('"', i + 1);
      if (e == std::string_view::npos) return false;
      i = e;
    } else if (c == '\\') {
      ++i;
    } else if (pred(c)) {
      return true;
    }
  }
  return false;
}

bool looksLikeDatePattern(std::string_view sec) {
  return anyUnquoted(sec, [](char c) { return isDateChar(c) || c == '/' || c == ':'; });
}

std::string pad2(int v) {
  char b[32];
  std::snprintf(b, sizeof b, "%02d", v);
  return b;
}

std::string formatDatePattern(double serial, std::string_view p);

// Host-notation patterns of the regional settings (M for month, m for minute, tt for AM/PM).
std::string hostPattern(double serial, std::string_view p) {
  const auto& r = regional();
  DateParts d = splitDate(serial);
  std::string out;
  for (size_t i = 0; i < p.size();) {
    char c = p[i];
    size_t n = 1;
    while (i + n < p.size() && p[i + n] == c) ++n;
    switch (c) {
      case 'd':
        out += n == 1   ? std::to_string(d.day)
               : n == 2 ? pad2(d.day)
               : n == 3 ? r.daysShort[static_cast<size_t>(d.weekday - 1)]
                        : r.days[static_cast<size_t>(d.weekday - 1)];
        break;
      case 'M':
        out += n == 1   ? std::to_string(d.month)
               : n == 2 ? pad2(d.month)
               : n == 3 ? r.monthsShort[static_cast<size_t>(d.month - 1)]
                        : r.months[static_cast<size_t>(d.month - 1)];
        break;
      case 'y': {
        char b[32];
        if (n <= 2)
          std::snprintf(b, sizeof b, "%02d", d.year % 100);
        else
          std::snprintf(b, sizeof b, "%04d", d.year);
        out += b;
        break;
      }
      case 'h': {
        int h = d.hour % 12 == 0 ? 12 : d.hour % 12;
        out += n == 1 ? std::to_string(h) : pad2(h);
        break;
      }
      case 'H':
        out += n == 1 ? std::to_string(d.hour) : pad2(d.hour);
        break;
      case 'm':
        out += n == 1 ? std::to_string(d.minute) : pad2(d.minute);
        break;
      case 's':
        out += n == 1 ? std::to_string(d.second) : pad2(d.second);
        break;
      case 't':
        out += d.hour < 12 ? r.am : r.pm;
        break;
      default:
        out.append(n, c);
    }
    i += n;
  }
  // A time pattern with an empty designator (de-DE) leaves no trailing blank.
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

std::string generalDate(double serial) {
  const auto& r = regional();
  bool t = hasTimePart(serial), dpart = hasDatePart(serial);
  if (!dpart && t) return hostPattern(serial, r.longTime);
  std::string s = hostPattern(serial, r.shortDate);
  if (t) s += " " + hostPattern(serial, r.longTime);
  return s;
}

int weekOfYear(const DateParts& d) {
  double jan1 = dateSerial(d.year, 1, 1);
  DateParts j = splitDate(jan1);
  int doy = static_cast<int>(dateSerial(d.year, d.month, d.day) - jan1);
  return (doy + (j.weekday - 1)) / 7 + 1;
}

std::string formatDatePattern(double serial, std::string_view p) {
  const auto& r = regional();
  DateParts d = splitDate(serial);
  // 12-hour clock when the pattern holds a designator.
  bool twelve = false;
  for (const char* des : {"AM/PM", "A/P", "AMPM"}) {
    std::string lp = vb::lowerAscii(p), ld = vb::lowerAscii(des);
    if (lp.find(ld) != std::string::npos) twelve = true;
  }
  std::string out;
  bool lastWasHour = false;
  for (size_t i = 0; i < p.size();) {
    char c = p[i];
    char lc = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size();
      out += p.substr(i + 1, e - i - 1);
      i = e + 1;
      continue;
    }
    if (c == '\\' && i + 1 < p.size()) {
      out += p[i + 1];
      i += 2;
      continue;
    }
    if (iequals(p.substr(i, 5), "AM/PM")) {
      bool upper = p[i] == 'A';
      std::string s = d.hour < 12 ? "AM" : "PM";
      out += upper ? s : vb::lowerAscii(s);
      i += 5;
      continue;
    }
    if (iequals(p.substr(i, 4), "AMPM")) {
      out += d.hour < 12 ? r.am : r.pm;
      i += 4;
      continue;
    }
    if (iequals(p.substr(i, 3), "A/P")) {
      bool upper = p[i] == 'A';
      std::string s = d.hour < 12 ? "A" : "P";
      out += upper ? s : vb::lowerAscii(s);
      i += 3;
      continue;
    }
    size_t n = 1;
    while (i + n < p.size() && std::tolower(static_cast<unsigned char>(p[i + n])) == lc) ++n;
    switch (lc) {
      case 'c':
        out += generalDate(serial);
        n = 1;
        break;
      case 'd':
        if (n == 1)
          out += std::to_string(d.day);
        else if (n == 2)
          out += pad2(d.day);
        else if (n == 3)
          out += r.daysShort[static_cast<size_t>(d.weekday - 1)];
        else if (n == 4)
          out += r.days[static_cast<size_t>(d.weekday - 1)];
        else if (n == 5)
          out += hostPattern(std::trunc(serial), r.shortDate);
        else
          out += hostPattern(std::trunc(serial), r.longDate);
        break;
      case 'w':
        out += n == 1 ? std::to_string(d.weekday) : std::to_string(weekOfYear(d));
        break;
      case 'm':
        if (lastWasHour && n <= 2) {
          out += n == 1 ? std::to_string(d.minute) : pad2(d.minute);
        } else if (n == 1) {
          out += std::to_string(d.month);
        } else if (n == 2) {
          out += pad2(d.month);
        } else if (n == 3) {
          out += r.monthsShort[static_cast<size_t>(d.month - 1)];
        } else {
          out += r.months[static_cast<size_t>(d.month - 1)];
        }
        break;
      case 'q':
        out += std::to_string((d.month - 1) / 3 + 1);
        n = 1;
        break;
      case 'y':
        if (n == 1) {
          out += std::to_string(
              static_cast<int>(dateSerial(d.year, d.month, d.day) - dateSerial(d.year, 1, 1)) + 1);
        } else if (n == 2 || n == 3) {
          out += pad2(d.year % 100);
          if (n == 3)
            out += std::to_string(
                static_cast<int>(dateSerial(d.year, d.month, d.day) - dateSerial(d.year, 1, 1)) +
                1);
        } else {
          char b[32];
          std::snprintf(b, sizeof b, "%04d", d.year);
          out += b;
        }
        break;
      case 'h': {
        int h = twelve ? (d.hour % 12 == 0 ? 12 : d.hour % 12) : d.hour;
        out += n == 1 ? std::to_string(h) : pad2(h);
        n = std::min<size_t>(n, 2);
        break;
      }
      case 'n':
        out += n == 1 ? std::to_string(d.minute) : pad2(d.minute);
        n = std::min<size_t>(n, 2);
        break;
      case 's':
        out += n == 1 ? std::to_string(d.second) : pad2(d.second);
        n = std::min<size_t>(n, 2);
        break;
      case 't':
        if (n >= 5) {
          out += hostPattern(serial, r.longTime);
          n = 5;
        } else {
          out.append(n, c);
        }
        break;
      case '/':
        out += r.dateSeparator;
        break;
      case ':':
        out += r.timeSeparator;
        break;
      default:
        out.append(n, c);
    }
    if (lc == 'h')
      lastWasHour = true;
    else if (lc != ':' && lc != ' ' && !(lc == 'm' && lastWasHour))
      lastWasHour = false;
    i += n;
  }
  return out;
}

// ---- Text patterns ----

std::string formatText(const std::string& s, std::string_view p) {
  bool toLower = false, toUpper = false, leftToRight = false;
  std::vector<std::pair<char, std::string>> items;  // placeholder ('@','&') or literal ('\0')
  for (size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '<')
      toLower = true;
    else if (c == '>')
      toUpper = true;
    else if (c == '!')
      leftToRight = true;
    else if (c == '@' || c == '&')
      items.push_back({c, {}});
    else if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size();
      items.push_back({'\0', std::string(p.substr(i + 1, e - i - 1))});
      i = e;
    } else if (c == '\\' && i + 1 < p.size()) {
      items.push_back({'\0', std::string(1, p[++i])});
    } else {
      items.push_back({'\0', std::string(1, c)});
    }
  }
  std::string text = toUpper ? vb::upper(s) : toLower ? vb::lower(s) : s;
  // Characters, UTF-8 aware.
  std::vector<std::string> chars;
  for (size_t i = 0; i < text.size();) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t len = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    chars.push_back(text.substr(i, len));
    i += len;
  }
  int holders = 0;
  for (auto& it : items)
    if (it.first) ++holders;
  if (holders == 0) {
    std::string out = text;
    for (auto& it : items) out += it.second;
    return out;
  }
  std::vector<std::string> fill(static_cast<size_t>(holders));
  int nchars = static_cast<int>(chars.size());
  if (leftToRight) {
    for (int k = 0; k < holders; ++k)
      if (k < nchars) fill[static_cast<size_t>(k)] = chars[static_cast<size_t>(k)];
    for (int k = holders; k < nchars; ++k) fill.back() += chars[static_cast<size_t>(k)];
  } else {
    int extra = nchars - holders;
    for (int k = holders - 1, ci = nchars - 1; k >= 0; --k, --ci)
      if (ci >= 0) fill[static_cast<size_t>(k)] = chars[static_cast<size_t>(ci)];
    if (extra > 0) {
      std::string pre;
      for (int k = 0; k < extra; ++k) pre += chars[static_cast<size_t>(k)];
      fill[0] = pre + fill[0];
    }
  }
  std::string out;
  int k = 0;
  for (auto& it : items) {
    if (!it.first) {
      out += it.second;
      continue;
    }
    const std::string& f = fill[static_cast<size_t>(k++)];
    out += f.empty() ? (it.first == '@' ? " " : "") : f;
  }
  return out;
}

bool isTextPattern(std::string_view sec) {
  return anyUnquoted(
      sec, [](char c) { return c == '@' || c == '&' || c == '<' || c == '>' || c == '!'; });
}

std::string currency(const Variant& v) {
  const auto& r = regional();
  bool neg = false;
  std::string n = fixed(v, r.currencyDigits, true, neg);
  const std::string& s = r.currencySymbol;
  if (!neg) {
    switch (r.currencyPositive) {
      case 1:
        return n + s;
      case 2:
        return s + " " + n;
      case 3:
        return n + " " + s;
      default:
        return s + n;
    }
  }
  switch (r.currencyNegative) {
    case 1:
      return "-" + s + n;
    case 5:
      return "-" + n + s;
    case 8:
      return "-" + n + " " + s;
    default:
      return "(" + s + n + ")";
  }
}

// The value to format: text that reads as a number or a date becomes one.
Variant coerce(const Variant& v, bool preferDate) {
  if (v.type() != VarType::String) return v;
  if (!preferDate)
    if (auto n = readNumber(v.rawString())) return Variant::dbl(*n);
  if (auto d = parseDateText(v.rawString())) return Variant::date(*d);
  if (auto n = readNumber(v.rawString())) return Variant::dbl(*n);
  return v;
}

std::string formatNumericSections(const Variant& value, const std::vector<std::string>& secs) {
  if (value.isNull()) {
    if (secs.size() >= 4) {
      NumPattern np = parseNumPattern(secs[3]);
      return join(np.prefix) + join(np.suffix);
    }
    return "";
  }
  Variant v = value;
  if (v.type() == VarType::Boolean) v = Variant::integer(v.rawBool() ? -1 : 0);
  if (v.type() == VarType::Date) v = Variant::dbl(v.rawDouble());
  double x = v.toDouble();
  // Zero picks the third section; negative the second (shown without a sign).
  if (x == 0 && secs.size() >= 3 && !secs[2].empty()) {
    bool neg;
    return formatNumber(Variant::integer(0), parseNumPattern(secs[2]), neg);
  }
  if (x < 0 && secs.size() >= 2 && !secs[1].empty()) {
    bool neg;
    Variant mag = opNeg(v);
    return formatNumber(mag, parseNumPattern(secs[1]), neg);
  }
  bool neg = false;
  std::string s = formatNumber(v, parseNumPattern(secs[0]), neg);
  if (neg) {
    // The first section formatted a negative value: a rounded-away sign is dropped.
    return "-" + s;
  }
  return s;
}

}  // namespace

std::string generalNumber(double v, int digits) {
  const auto& r = regional();
  if (v == 0) return "0";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*e", digits - 1, v);
  std::string s = buf;
  size_t e = s.find('e');
  int exp = std::atoi(s.c_str() + e + 1);
  std::string mant = s.substr(0, e);
  bool neg = mant[0] == '-';
  if (neg) mant.erase(0, 1);
  std::string dig = mant.substr(0, 1) + mant.substr(2);
  while (dig.size() > 1 && dig.back() == '0') dig.pop_back();
  std::string out;
  // Beyond the digits it can show, or below 0.0001, the platform switches to E notation.
  if (exp >= digits || exp < -4) {
    out = dig.substr(0, 1);
    if (dig.size() > 1) out += r.decimal + dig.substr(1);
    char eb[16];
    std::snprintf(eb, sizeof eb, "E%c%02d", exp < 0 ? '-' : '+', std::abs(exp));
    out += eb;
    return (neg ? "-" : "") + out;
  }
  if (exp < 0) {
    out = "0" + r.decimal + std::string(static_cast<size_t>(-exp - 1), '0') + dig;
  } else if (static_cast<int>(dig.size()) <= exp + 1) {
    out = dig + std::string(static_cast<size_t>(exp + 1) - dig.size(), '0');
  } else {
    out = dig.substr(0, static_cast<size_t>(exp + 1)) + r.decimal +
          dig.substr(static_cast<size_t>(exp + 1));
  }
  return (neg ? "-" : "") + out;
}

std::string Format(const Variant& value, std::string_view pattern) {
  const auto& r = regional();
  if (pattern.empty()) return value.isNull() ? "" : value.displayText();
  if (value.type() == VarType::Binary) return value.displayText();

  // Named formats.
  auto named = [&](std::string_view n) { return iequals(pattern, n); };
  if (named("General Date") || named("Long Date") || named("Medium Date") || named("Short Date") ||
      named("Long Time") || named("Medium Time") || named("Short Time")) {
    if (value.isNull() || value.isEmpty()) return "";
    Variant v = coerce(value, true);
    if (v.type() == VarType::String) return v.rawString();
    double s = v.toDate();
    if (named("General Date")) return generalDate(s);
    if (named("Long Date")) return hostPattern(std::trunc(s), r.longDate);
    if (named("Medium Date")) return hostPattern(std::trunc(s), r.mediumDate);
    if (named("Short Date")) return hostPattern(std::trunc(s), r.shortDate);
    if (named("Long Time")) return hostPattern(s, r.longTime);
    if (named("Medium Time")) return hostPattern(s, r.am.empty() ? "HH:mm" : "hh:mm tt");
    return hostPattern(s, r.shortTime);
  }
  if (named("General Number") || named("Currency") || named("Fixed") || named("Standard") ||
      named("Percent") || named("Scientific") || named("Yes/No") || named("True/False") ||
      named("On/Off")) {
    if (value.isNull() || value.isEmpty()) return "";
    Variant v = coerce(value, false);
    if (v.type() == VarType::String) return v.rawString();
    if (v.type() == VarType::Boolean) v = Variant::integer(v.rawBool() ? -1 : 0);
    if (named("Yes/No")) return v.toDouble() != 0 ? "Yes" : "No";
    if (named("True/False")) return v.toDouble() != 0 ? "True" : "False";
    if (named("On/Off")) return v.toDouble() != 0 ? "On" : "Off";
    if (named("Currency")) return currency(v);
    if (v.type() == VarType::Date) v = Variant::dbl(v.rawDouble());
    bool neg = false;
    if (named("General Number")) {
      if (v.type() == VarType::Currency) return v.toString();
      if (v.type() == VarType::Integer || v.type() == VarType::Long) return v.toString();
      return generalNumber(v.toDouble(), v.type() == VarType::Single ? 7 : 15);
    }
    if (named("Fixed")) {
      std::string s = fixed(v, 2, false, neg);
      return neg ? "-" + s : s;
    }
    if (named("Standard")) {
      std::string s = fixed(v, 2, true, neg);
      return neg ? "-" + s : s;
    }
    if (named("Percent")) {
      std::string s = fixed(Variant::dbl(v.toDouble() * 100), 2, false, neg);
      return (neg ? "-" : "") + s + "%";
    }
    return formatNumericSections(v, {"0.00E+00"});
  }

  std::vector<std::string> secs = splitSections(pattern);
  if (isTextPattern(secs[0]) && !hasDigitPlaceholder(secs[0])) {
    if (value.isNull() || (value.type() == VarType::String && value.rawString().empty())) {
      if (secs.size() >= 2) return formatText("", secs[1]);
      return formatText("", secs[0]);
    }
    return formatText(value.displayText(), secs[0]);
  }
  if (hasDigitPlaceholder(secs[0]) || (secs.size() > 1 && hasDigitPlaceholder(secs[1]))) {
    Variant v = coerce(value, false);
    if (v.type() == VarType::String) return v.rawString();
    if (v.isEmpty()) v = Variant::integer(0);
    return formatNumericSections(v, secs);
  }
  if (looksLikeDatePattern(secs[0])) {
    if (value.isNull() || value.isEmpty()) return "";
    Variant v = coerce(value, true);
    if (v.type() == VarType::String) return v.rawString();
    return formatDatePattern(v.toDate(), secs[0]);
  }
  // Only literals: the sections still choose by sign and Null.
  if (value.isNull()) return secs.size() >= 4 ? formatText("", secs[3]) : "";
  Variant v = coerce(value, false);
  if (v.type() == VarType::String) return formatText("", secs[0]);
  double x = v.toDouble();
  size_t idx = x < 0 && secs.size() >= 2 ? 1 : x == 0 && secs.size() >= 3 ? 2 : 0;
  return formatText("", secs[idx]);
}

}  // namespace galvix
