// Dates as the platform keeps them: days since 1899-12-30, the time of day as the fraction.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace galvix {

double dateSerial(int year, int month, int day);  // month and day may overflow (13 -> next year)
double timeSerial(int hour, int minute, int second);

struct DateParts {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
  int weekday = 7;  // 1 Sunday .. 7 Saturday
};
DateParts splitDate(double serial);
bool hasTimePart(double serial);
bool hasDatePart(double serial);

// ISO 8601 ("2024-06-01", "2024-06-01T14:05:00", "2024-06-01 14:05") and the current locale's own
// date and time text ("6/1/2024", "6/1/2024 2:05:00 PM", "14:05", "June 1, 2024").
std::optional<double> parseDateText(std::string_view text);
std::string isoDateTime(double serial);

}  // namespace galvix
