// Format(value, pattern): the platform's text for a value under a named format ("Currency",
// "General Date", "Yes/No", ...) or a user pattern ("#,##0.00;(#,##0.00)", "hh:nn AMPM", "@@-@").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "galvix/variant.h"

namespace galvix {

// The week arguments follow the platform's constants: firstDayOfWeek 1 Sunday .. 7 Saturday,
// firstWeekOfYear 1 the week of 1 January, 2 the first with four days, 3 the first full week;
// 0 takes the regional settings' choice. Others raise error 5.
std::string Format(const Variant& value, std::string_view pattern = {}, int firstDayOfWeek = 1,
                   int firstWeekOfYear = 1);

// Format as a value, the way the SQL function returns it: Null for Null unless the pattern has
// a section for Null (the fourth of a number pattern, the second of a text pattern).
Variant formatVariant(const Variant& value, std::string_view pattern, int firstDayOfWeek = 1,
                      int firstWeekOfYear = 1);

// A number as the platform prints it with no format: up to `digits` significant digits,
// scientific notation for very large or small magnitudes, the locale's decimal separator.
std::string generalNumber(double v, int digits);

// A number written in the current locale ("$1,234.50", "(20)", " 12 ", "&HFF"); nullopt if the
// text is not a number.
std::optional<double> readNumber(std::string_view text);

}  // namespace galvix
