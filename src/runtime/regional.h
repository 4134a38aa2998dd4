// The "system" regional settings the platform's conversions and named formats read.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace galvix {

struct RegionalSettings {
  std::string name;  // "en-US"
  std::string decimal = ".";
  std::string thousands = ",";
  std::string currencySymbol = "$";
  int currencyDigits = 2;
  // Positive currency order: 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $".
  int currencyPositive = 0;
  // Negative currency order: 0 "($1)", 1 "-$1", 5 "-1$", 8 "-1 $".
  int currencyNegative = 0;
  // Date patterns in the host's notation (d dd ddd dddd M MM MMM MMMM yy yyyy).
  std::string shortDate = "M/d/yyyy";
  std::string longDate = "dddd, MMMM d, yyyy";
  std::string mediumDate = "dd-MMM-yy";
  // Time patterns (h hh H HH mm ss tt).
  std::string longTime = "h:mm:ss tt";
  std::string shortTime = "HH:mm";
  std::string am = "AM", pm = "PM";
  std::string dateSeparator = "/", timeSeparator = ":";
  std::array<std::string, 12> months, monthsShort;
  std::array<std::string, 7> days, daysShort;  // Sunday first
  enum class Order { MDY, DMY, YMD } dateOrder = Order::MDY;
  // Week rules as Format's arguments number them: 1 Sunday .. 7 Saturday; 1 the week holding
  // 1 January, 2 the first week with four days in the year, 3 the first full week.
  int firstDayOfWeek = 1, firstWeekOfYear = 1;
};

// The current settings: en-US unless GALVIX_LOCALE or setRegional chose another.
const RegionalSettings& regional();
// en-US, en-GB, de-DE (and "C" as en-US); an unknown name raises RuntimeError naming the known.
void setRegional(std::string_view name);
const RegionalSettings& regionalByName(std::string_view name);

// The settings of one run, on its thread only, for the scope's life (an empty name keeps the
// current ones); other threads keep theirs.
class RegionalScope {
 public:
  explicit RegionalScope(std::string_view name);
  ~RegionalScope();
  RegionalScope(const RegionalScope&) = delete;
  RegionalScope& operator=(const RegionalScope&) = delete;

 private:
  const RegionalSettings* previous_;
};

}  // namespace galvix
