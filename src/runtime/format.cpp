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
    if (!std::isfinite(x)) throw RuntimeError(kErrOverflow, "Overflow (Format)");
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

// One element of a numeric section, in pattern order.
struct NumItem {
  enum Kind { Literal, Digit, Point, Exponent } kind;
  std::string text;  // Literal: the text; Digit: "0" or "#"; Exponent: "E+", "e-", ...
  int part = 0;      // Digit: 0 integer, 1 fraction, 2 exponent
};

struct NumPattern {
  std::vector<NumItem> items;
  int intCount = 0, fracCount = 0, expCount = 0, expZeros = 0;
  int intMin = 0;   // integer digits always shown: from the leftmost '0' to the point
  int fracMin = 0;  // decimals always shown: up to the rightmost '0'
  bool hasPoint = false, grouping = false, percent = false, sci = false;
  int scale = 0;  // thousands the value is divided by (commas just left of the point)
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
  const auto& r = regional();
  NumPattern np;
  enum { Int, Frac, Exp } state = Int;
  int commasPending = 0;
  int firstZero = -1, lastZero = -1;
  auto literal = [&](std::string t) {
    if (!np.items.empty() && np.items.back().kind == NumItem::Literal)
      np.items.back().text += t;
    else
      np.items.push_back({NumItem::Literal, std::move(t), 0});
  };
  for (size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size();
      literal(std::string(p.substr(i + 1, e - i - 1)));
      i = e;
    } else if (c == '\\') {
      if (i + 1 < p.size()) literal(std::string(1, p[++i]));
    } else if (c == '0' || c == '#') {
      if (state == Int) {
        if (commasPending && np.intCount) np.grouping = true;
        commasPending = 0;
        if (c == '0' && firstZero < 0) firstZero = np.intCount;
        ++np.intCount;
      } else if (state == Frac) {
        if (c == '0') lastZero = np.fracCount;
        ++np.fracCount;
      } else {
        ++np.expCount;
        if (c == '0') ++np.expZeros;
      }
      np.items.push_back({NumItem::Digit, std::string(1, c),
                          state == Int    ? 0
                          : state == Frac ? 1
                                          : 2});
    } else if (c == '.' && state == Int) {
      np.hasPoint = true;
      np.scale += commasPending;
      commasPending = 0;
      np.items.push_back({NumItem::Point, {}, 0});
      state = Frac;
    } else if (c == ',') {
      // A separator before any digit placeholder is shown as written; after the point it is
      // ignored.
      if (state == Int && np.intCount)
        ++commasPending;
      else if (state == Int)
        literal(",");
    } else if ((c == 'E' || c == 'e') && i + 1 < p.size() && (p[i + 1] == '+' || p[i + 1] == '-') &&
               state != Exp && np.intCount + np.fracCount > 0) {
      if (state == Int) np.scale += commasPending;
      commasPending = 0;
      np.sci = true;
      np.items.push_back({NumItem::Exponent, std::string(p.substr(i, 2)), 0});
      ++i;
      state = Exp;
    } else if (c == '%') {
      np.percent = true;
      literal("%");
    } else if (c == '/') {
      literal(r.dateSeparator);
    } else if (c == ':') {
      literal(r.timeSeparator);
    } else {
      // Anything else, digits 1 to 9 included, is shown as written.
      literal(std::string(1, c));
    }
  }
  if (state == Int) np.scale += commasPending;
  np.intMin = firstZero < 0 ? 0 : np.intCount - firstZero;
  np.fracMin = lastZero + 1;
  return np;
}

std::string literalsOf(const NumPattern& np) {
  std::string s;
  for (const auto& it : np.items)
    if (it.kind == NumItem::Literal) s += it.text;
  return s;
}

// Rounds significant digits `s` (no leading zeros; value 0.s x 10^point) to `keep` digits,
// halves away from zero; a carry past the first digit moves the point.
void roundDigits(std::string& s, int& point, int keep) {
  if (keep < 0) {
    s.clear();
    return;
  }
  if (static_cast<int>(s.size()) <= keep) return;
  bool up = s[static_cast<size_t>(keep)] >= '5';
  s.resize(static_cast<size_t>(keep));
  if (!up) return;
  int i = keep - 1;
  while (i >= 0 && s[static_cast<size_t>(i)] == '9') s[static_cast<size_t>(i--)] = '0';
  if (i < 0) {
    s.insert(s.begin(), '1');
    ++point;
  } else {
    ++s[static_cast<size_t>(i)];
  }
}

// Writes a non-negative magnitude with a parsed numeric section; `negative` tells whether the
// value (after rounding) was below zero.
std::string formatNumber(const Variant& value, const NumPattern& np, bool& negative) {
  const auto& r = regional();
  Decimal d = decimalOf(value);
  // Percent and thousands scaling move the decimal point, exactly.
  if (!d.isZero()) d.point += (np.percent ? 2 : 0) - 3 * np.scale;
  // Significant digits: value = 0.sig x 10^point.
  std::string sig = d.digits;
  int point = d.point;
  size_t nz = sig.find_first_not_of('0');
  if (nz == std::string::npos) {
    sig.clear();
  } else {
    sig.erase(0, nz);
    point -= static_cast<int>(nz);
  }

  std::string intDigits, fracDigits, expText;
  int exp = 0;
  if (np.sci) {
    int total = np.intCount + np.fracCount;
    if (!sig.empty()) {
      roundDigits(sig, point, total);
      exp = point - np.intCount;
    }
    sig.resize(static_cast<size_t>(total), '0');
    intDigits = sig.substr(0, static_cast<size_t>(np.intCount));
    fracDigits = sig.substr(static_cast<size_t>(np.intCount));
    if (intDigits.find_first_not_of('0') == std::string::npos) intDigits.clear();
    // The exponent's '0' placeholders give its least width; it always shows one digit.
    expText = std::to_string(std::abs(exp));
    int width = std::max(1, np.expZeros);
    if (static_cast<int>(expText.size()) < width)
      expText.insert(0, static_cast<size_t>(width) - expText.size(), '0');
  } else if (!sig.empty()) {
    roundDigits(sig, point, point + np.fracCount);
    if (sig.empty() || sig.find_first_not_of('0') == std::string::npos) {
      sig.clear();
    } else if (point > 0) {
      std::string all = sig;
      if (static_cast<int>(all.size()) < point) all.resize(static_cast<size_t>(point), '0');
      intDigits = all.substr(0, static_cast<size_t>(point));
      fracDigits = all.substr(static_cast<size_t>(point));
    } else {
      fracDigits = std::string(static_cast<size_t>(-point), '0') + sig;
    }
  }
  negative = d.negative && !sig.empty();
  if (static_cast<int>(intDigits.size()) < np.intMin)
    intDigits.insert(0, static_cast<size_t>(np.intMin) - intDigits.size(), '0');
  fracDigits.resize(static_cast<size_t>(np.fracCount), '0');
  while (static_cast<int>(fracDigits.size()) > np.fracMin && fracDigits.back() == '0')
    fracDigits.pop_back();

  // Integer digits fill the placeholders from the right; the leftmost takes any extra ones.
  // Thousands separators go between digits wherever they fall, literals stay in place.
  const int len = static_cast<int>(intDigits.size());
  auto emitInt = [&](std::string& out, int from, int to) {
    for (int j = from; j < to; ++j) {
      out += intDigits[static_cast<size_t>(j)];
      int right = len - 1 - j;
      if (np.grouping && !np.sci && right > 0 && right % 3 == 0) out += r.thousands;
    }
  };
  std::string out;
  int intSeen = 0, fracSeen = 0;
  bool expShown = false;
  for (const auto& it : np.items) {
    switch (it.kind) {
      case NumItem::Literal:
        out += it.text;
        break;
      case NumItem::Point:
        if (np.intCount == 0) emitInt(out, 0, len);
        out += r.decimal;
        break;
      case NumItem::Exponent:
        out += it.text[0];
        if (exp < 0)
          out += '-';
        else if (it.text[1] == '+')
          out += '+';
        break;
      case NumItem::Digit:
        if (it.part == 0) {
          int k = intSeen++;
          int idx = len - (np.intCount - k);  // this placeholder's digit
          if (k == 0)
            emitInt(out, 0, std::max(0, idx + 1));
          else if (idx >= 0)
            emitInt(out, idx, idx + 1);
        } else if (it.part == 1) {
          int k = fracSeen++;
          if (k < static_cast<int>(fracDigits.size())) out += fracDigits[static_cast<size_t>(k)];
        } else if (!expShown) {
          out += expText;
          expShown = true;
        }
        break;
    }
    // No placeholder after the exponent mark: the exponent still shows, right after it.
    if (it.kind == NumItem::Exponent && np.expCount == 0) out += expText;
  }
  return out;
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
    case 'a':
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
  // Day zero is a time of day alone, midnight included ("12:00:00 AM").
  if (!dpart) return hostPattern(serial, r.longTime);
  std::string s = hostPattern(serial, r.shortDate);
  if (t) s += " " + hostPattern(serial, r.longTime);
  return s;
}

// Week rules: the first day of the week (1 Sunday .. 7 Saturday) and which week of the year
// is its first (1 the one holding 1 January, 2 the first with four days in the year, 3 the
// first full week).
struct WeekRule {
  int firstDay = 1, firstWeek = 1;
};

double weekOneStart(int year, WeekRule w) {
  double jan1 = dateSerial(year, 1, 1);
  int before = (splitDate(jan1).weekday - w.firstDay + 7) % 7;  // its week's days in December
  double start = jan1 - before;
  if ((w.firstWeek == 2 && before > 3) || (w.firstWeek == 3 && before > 0)) start += 7;
  return start;
}

int weekOfYear(const DateParts& d, WeekRule w) {
  double day = dateSerial(d.year, d.month, d.day);
  double start = weekOneStart(d.year, w);
  // Days before week 1 belong to the last week of the year before; with four-day weeks the
  // last days of December can belong to week 1 of the next year.
  if (day < start)
    start = weekOneStart(d.year - 1, w);
  else if (w.firstWeek == 2 && day >= weekOneStart(d.year + 1, w))
    return 1;
  return static_cast<int>((day - start) / 7) + 1;
}

std::string formatDatePattern(double serial, std::string_view p, WeekRule week) {
  const auto& r = regional();
  DateParts d = splitDate(serial);
  // 12-hour clock when the pattern holds a designator.
  bool twelve = false;
  for (const char* des : {"AM/PM", "A/P", "AMPM"}) {
    std::string lp = vb::lowerAscii(p), ld = vb::lowerAscii(des);
    if (lp.find(ld) != std::string::npos) twelve = true;
  }
  std::string out;
  bool afterHour = false;
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
    bool token = true;
    switch (lc) {
      case 'c':
        out += generalDate(serial);
        n = 1;
        break;
      case 'd':
        n = std::min<size_t>(n, 6);
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
      case 'a':
        // aaaa is dddd, the day's localised name; other runs of a are text.
        if (n == 4)
          out += r.days[static_cast<size_t>(d.weekday - 1)];
        else
          out.append(n, c);
        token = n == 4;
        break;
      case 'w':
        n = std::min<size_t>(n, 2);
        out +=
            std::to_string(n == 1 ? (d.weekday - week.firstDay + 7) % 7 + 1 : weekOfYear(d, week));
        break;
      case 'm':
        n = std::min<size_t>(n, 4);
        if (afterHour && n <= 2) {
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
        n = std::min<size_t>(n, 4);
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
          token = false;
        }
        break;
      case '/':
        out += r.dateSeparator;
        token = false;
        break;
      case ':':
        out += r.timeSeparator;
        token = false;
        break;
      default:
        out.append(n, c);
        token = false;
    }
    // m and mm are minutes only as the first token after an hour; separators and other
    // literals may stand between them.
    if (lc == 'h')
      afterHour = true;
    else if (token)
      afterHour = false;
    i += n;
  }
  return out;
}

// ---- Text patterns ----

std::string formatText(const std::string& s, std::string_view p) {
  char caseRule = 0;  // '<' or '>': the first one in the section decides
  bool leftToRight = false;
  std::vector<std::pair<char, std::string>> items;  // placeholder ('@','&') or literal ('\0')
  for (size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '<' || c == '>') {
      if (!caseRule) caseRule = c;
    } else if (c == '!') {
      leftToRight = true;
    } else if (c == '@' || c == '&') {
      items.push_back({c, {}});
    } else if (c == '"') {
      size_t e = p.find('"', i + 1);
      if (e == std::string_view::npos) e = p.size();
      items.push_back({'\0', std::string(p.substr(i + 1, e - i - 1))});
      i = e;
    } else if (c == '\\') {
      if (i + 1 < p.size()) items.push_back({'\0', std::string(1, p[++i])});
    } else {
      items.push_back({'\0', std::string(1, c)});
    }
  }
  std::string text = caseRule == '>' ? vb::upper(s) : caseRule == '<' ? vb::lower(s) : s;
  // Characters, UTF-8 aware.
  std::vector<std::string> chars;
  for (size_t i = 0; i < text.size();) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t len = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    chars.push_back(text.substr(i, len));
    i += len;
  }
  size_t holders = 0;
  for (auto& it : items)
    if (it.first) ++holders;
  // A short text fills the rightmost placeholders (the leftmost with '!'); characters beyond
  // the placeholders follow the whole pattern.
  size_t skip = !leftToRight && chars.size() < holders ? holders - chars.size() : 0;
  std::string out;
  size_t k = 0, next = 0;
  for (auto& it : items) {
    if (!it.first) {
      out += it.second;
      continue;
    }
    if (k++ >= skip && next < chars.size())
      out += chars[next++];
    else if (it.first == '@')
      out += ' ';
  }
  for (; next < chars.size(); ++next) out += chars[next];
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
    return secs.size() >= 4 ? literalsOf(parseNumPattern(secs[3])) : "";
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

std::string Format(const Variant& value, std::string_view pattern, int firstDayOfWeek,
                   int firstWeekOfYear) {
  const auto& r = regional();
  if (firstDayOfWeek < 0 || firstDayOfWeek > 7 || firstWeekOfYear < 0 || firstWeekOfYear > 3)
    throw RuntimeError(kErrInvalidCall, "Invalid procedure call or argument: Format");
  WeekRule week{firstDayOfWeek ? firstDayOfWeek : r.firstDayOfWeek,
                firstWeekOfYear ? firstWeekOfYear : r.firstWeekOfYear};
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
      // Null without a section of its own prints nothing; "" fills the placeholders.
      return value.isNull() ? "" : formatText("", secs[0]);
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
    return formatDatePattern(v.toDate(), secs[0], week);
  }
  // Only literals: the sections still choose by sign and Null.
  if (value.isNull()) return secs.size() >= 4 ? formatText("", secs[3]) : "";
  Variant v = coerce(value, false);
  if (v.type() == VarType::String) return formatText("", secs[0]);
  double x = v.toDouble();
  size_t idx = x < 0 && secs.size() >= 2 ? 1 : x == 0 && secs.size() >= 3 ? 2 : 0;
  return formatText("", secs[idx]);
}

Variant formatVariant(const Variant& value, std::string_view pattern, int firstDayOfWeek,
                      int firstWeekOfYear) {
  if (value.isNull()) {
    // Null stays Null unless the pattern has a section for it.
    std::vector<std::string> secs = splitSections(pattern);
    bool text = isTextPattern(secs[0]) && !hasDigitPlaceholder(secs[0]);
    if (secs.size() < (text ? 2u : 4u)) return Variant::null();
  }
  return Variant::string(Format(value, pattern, firstDayOfWeek, firstWeekOfYear));
}

}  // namespace galvix
