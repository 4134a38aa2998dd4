// Format(value, pattern): the platform's text for a value under a named format ("Currency",
// "General Date", "Yes/No", ...) or a user pattern ("#,##0.00;(#,##0.00)", "hh:nn AMPM", "@@-@").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "galvix/variant.h"

namespace galvix {

std::string Format(const Variant& value, std::string_view pattern = {});

// A number as the platform prints it with no format: up to `digits` significant digits,
// scientific notation for very large or small magnitudes, the locale's decimal separator.
std::string generalNumber(double v, int digits);

// A number written in the current locale ("$1,234.50", "(20)", " 12 ", "&HFF"); nullopt if the
// text is not a number.
std::optional<double> readNumber(std::string_view text);

}  // namespace galvix
