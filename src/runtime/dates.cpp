#include "runtime/dates.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <vector>

#include "runtime/regional.h"

namespace galvix {
namespace {

// Days from 1970-01-01 for a proleptic Gregorian date (H. Hinnant's algorithm).
long long daysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void civilFromDays(long long z, int& y, int& m, int& d) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long long yy = static_cast<long long>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int>(yy + (m <= 2));
}

const long long kEpoch = daysFromCivil(1899, 12, 30);

std::string lower(std::string_view s) {
  std::string o(s);
  for (auto& c : o) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return o;
}

struct Token {
  enum Kind { Num, Word, Sep } kind;
  std::string text;
  int value = 0;
  int digits = 0;
};

std::vector<Token> tokenize(std::string_view s) {
  std::vector<Token> out;
  size_t i = 0;
  while (i < s.size()) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (std::isdigit(c)) {
      Token t{Token::Num, {}, 0, 0};
      while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
        t.text += s[i];
        if (t.digits < 9) t.value = t.value * 10 + (s[i] - '0');
        ++t.digits;
        ++i;
      }
      out.push_back(t);
    } else if (std::isalpha(c) || c >= 0x80) {
      Token t{Token::Word, {}, 0, 0};
      while (i < s.size() && (std::isalpha(static_cast<unsigned char>(s[i])) ||
                              static_cast<unsigned char>(s[i]) >= 0x80 || s[i] == '.')) {
        if (s[i] != '.') t.text += s[i];
        ++i;
      }
      out.push_back(t);
    } else if (c == ' ' || c == ',' || c == '\t') {
      ++i;
    } else {
      out.push_back({Token::Sep, std::string(1, s[i]), 0, 0});
      ++i;
    }
  }
  return out;
}

int monthFromName(const std::string& w) {
  const auto& r = regional();
  std::string lw = lower(w);
  for (int i = 0; i < 12; ++i) {
    if (lower(r.months[i]) == lw || lower(r.monthsShort[i]) == lw) return i + 1;
    if (lw.size() >= 3 && lower(r.months[i]).rfind(lw, 0) == 0) return i + 1;
  }
  return 0;
}

bool validDate(int y, int m, int d) {
  if (y < 100 || y > 9999 || m < 1 || m > 12 || d < 1) return false;
  static const int len[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return d <= len[m - 1] + (m == 2 && leap ? 1 : 0);
}

int fullYear(const Token& t) {
  if (t.digits <= 2) return t.value < 30 ? 2000 + t.value : 1900 + t.value;
  return t.value;
}

}  // namespace

double dateSerial(int year, int month, int day) {
  long long y = year + (month - 1) / 12;
  int m = (month - 1) % 12;
  if (m < 0) {
    m += 12;
    --y;
  }
  return static_cast<double>(daysFromCivil(y, static_cast<unsigned>(m + 1), 1) - kEpoch +
                             (day - 1));
}

double timeSerial(int hour, int minute, int second) {
  return (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
}

DateParts splitDate(double serial) {
  DateParts p;
  // The fraction is the time of day whatever the sign of the day number.
  double dayPart = std::trunc(serial);
  double frac = std::fabs(serial - dayPart);
  long long secs = std::llround(frac * 86400.0);
  if (secs >= 86400) {
    secs -= 86400;
    dayPart += serial < 0 ? -1 : 1;
  }
  long long days = static_cast<long long>(dayPart) + kEpoch;
  civilFromDays(days, p.year, p.month, p.day);
  p.hour = static_cast<int>(secs / 3600);
  p.minute = static_cast<int>(secs / 60 % 60);
  p.second = static_cast<int>(secs % 60);
  long long wd = (days + 4) % 7;  // 1970-01-01 was a Thursday
  if (wd < 0) wd += 7;
  p.weekday = static_cast<int>(wd) + 1;
  return p;
}

bool hasTimePart(double serial) {
  DateParts p = splitDate(serial);
  return p.hour || p.minute || p.second;
}

bool hasDatePart(double serial) {
  return std::trunc(serial) != 0;
}

std::optional<double> parseDateText(std::string_view text) {
  auto toks = tokenize(text);
  if (toks.empty()) return std::nullopt;
  const auto& r = regional();
  // Split into the date tokens and the time tokens (numbers joined by ':' and AM/PM).
  std::vector<Token> date, time;
  int ampm = 0;  // 1 am, 2 pm
  bool inTime = false, isoT = false;
  for (size_t i = 0; i < toks.size(); ++i) {
    const Token& t = toks[i];
    if (t.kind == Token::Sep && t.text == ":") {
      inTime = true;
      continue;
    }
    if (t.kind == Token::Word) {
      std::string w = lower(t.text);
      if (w == "t" && !date.empty()) {
        isoT = true;
        continue;
      }
      if (w == "am" || w == "a" || (!r.am.empty() && w == lower(r.am))) {
        ampm = 1;
        continue;
      }
      if (w == "pm" || w == "p" || (!r.pm.empty() && w == lower(r.pm))) {
        ampm = 2;
        continue;
      }
      if (int m = monthFromName(t.text)) {
        date.push_back({Token::Word, t.text, m, 0});
        continue;
      }
      // Day names are allowed and ignored.
      bool day = false;
      for (int d = 0; d < 7; ++d)
        if (lower(r.days[d]) == w || lower(r.daysShort[d]) == w) day = true;
      if (day) continue;
      return std::nullopt;
    }
    if (t.kind == Token::Num) {
      bool nextColon =
          i + 1 < toks.size() && toks[i + 1].kind == Token::Sep && toks[i + 1].text == ":";
      if (inTime || nextColon || isoT) {
        time.push_back(t);
        inTime = true;
      } else {
        date.push_back(t);
      }
    }
  }
  // "5 PM": an hour alone with a designator.
  if (time.empty() && ampm && date.size() == 1 && date[0].kind == Token::Num) {
    time.push_back(date[0]);
    date.clear();
  }
  double result = 0;
  if (!date.empty()) {
    int y = 0, m = 0, d = 0;
    bool named = false;
    for (auto& t : date) named = named || t.kind == Token::Word;
    if (date.size() == 3 && named) {
      // "June 1, 2024" or "1 June 2024"
      std::vector<Token> nums;
      for (auto& t : date)
        if (t.kind == Token::Word)
          m = t.value;
        else
          nums.push_back(t);
      if (nums.size() != 2) return std::nullopt;
      if (nums[0].digits == 4) {
        y = nums[0].value;
        d = nums[1].value;
      } else {
        d = nums[0].value;
        y = fullYear(nums[1]);
      }
    } else if (date.size() == 3) {
      if (date[0].digits == 4) {
        y = date[0].value;
        m = date[1].value;
        d = date[2].value;
      } else if (r.dateOrder == RegionalSettings::Order::DMY) {
        d = date[0].value;
        m = date[1].value;
        y = fullYear(date[2]);
      } else {
        m = date[0].value;
        d = date[1].value;
        y = fullYear(date[2]);
      }
    } else {
      return std::nullopt;
    }
    if (!validDate(y, m, d)) return std::nullopt;
    result = dateSerial(y, m, d);
  }
  if (!time.empty()) {
    if (time.size() > 3) return std::nullopt;
    int h = time[0].value, n = time.size() > 1 ? time[1].value : 0,
        s = time.size() > 2 ? time[2].value : 0;
    if (ampm) {
      if (h < 1 || h > 12) return std::nullopt;
      if (ampm == 1 && h == 12) h = 0;
      if (ampm == 2 && h != 12) h += 12;
    }
    if (h > 23 || n > 59 || s > 59) return std::nullopt;
    result += timeSerial(h, n, s);
  } else if (date.empty()) {
    return std::nullopt;
  }
  return result;
}

std::string isoDateTime(double serial) {
  DateParts p = splitDate(serial);
  char b[40];
  std::snprintf(b, sizeof b, "%04d-%02d-%02dT%02d:%02d:%02d", p.year, p.month, p.day, p.hour,
                p.minute, p.second);
  return b;
}

}  // namespace galvix
