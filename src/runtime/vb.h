// The platform's string and conversion functions as the reports and the SQL layer use them.
// Null goes in, Null comes out, where the platform does so.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "galvix/variant.h"

namespace galvix {
// A 16-bit Integer result; RuntimeError 6 (overflow) outside -32768..32767.
std::int16_t checkedInteger(long long v);
}  // namespace galvix

namespace galvix::vb {

// Blanks only (not tabs or line breaks).
std::string_view trimBlanks(std::string_view s);
std::string lowerAscii(std::string_view s);

Variant Trim(const Variant& v);
Variant LTrim(const Variant& v);
Variant RTrim(const Variant& v);
Variant Left(const Variant& v, long n);  // characters (UTF-8 aware); n < 0 raises error 5
Variant Right(const Variant& v, long n);
Variant Mid(const Variant& v, long start, long length = -1);  // start is 1-based
Variant Len(const Variant& v);                                // Null -> Null
Variant InStr(const Variant& haystack, const Variant& needle, long start = 1,
              bool textCompare = false);  // 0 if absent; Null in -> Null
Variant Replace(const Variant& s, const Variant& find, const Variant& with);
Variant UCase(const Variant& v);
Variant LCase(const Variant& v);
Variant Chr(const Variant& code);  // 0..255 as Windows-1252, larger as Unicode
Variant Asc(const Variant& v);     // Windows-1252 code of the first character; "" raises 5
Variant CStr(const Variant& v);    // Null raises 94
Variant Val(const Variant& v);     // leading number, "." as the decimal point always
bool IsNumeric(const Variant& v);
bool IsDate(const Variant& v);
Variant Nz(const Variant& v, const Variant& ifNull = Variant(std::string()));

// Case-insensitive comparison of UTF-8 text (-1, 0, 1), the database's text order.
int compareTextNoCase(std::string_view a, std::string_view b);
std::string upper(std::string_view s);
std::string lower(std::string_view s);

}  // namespace galvix::vb
