#include "runtime/vb.h"

#include <glib.h>

#include <array>
#include <cmath>
#include <cstring>

#include "runtime/dates.h"
#include "runtime/format.h"

namespace galvix::vb {
namespace {

// Byte offset of the n-th character (0-based) of UTF-8 text, or s.size().
size_t charOffset(std::string_view s, long n) {
  size_t i = 0;
  for (long k = 0; k < n && i < s.size(); ++k) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    i += c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
  }
  return std::min(i, s.size());
}

long charCount(std::string_view s) {
  long n = 0;
  for (unsigned char c : s)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

[[noreturn]] void invalidCall(const char* fn) {
  throw RuntimeError(kErrInvalidCall, std::string("invalid procedure call or argument: ") + fn);
}

bool ascii(std::string_view s) {
  for (unsigned char c : s)
    if (c >= 0x80) return false;
  return true;
}

// Case-folded text with accents removed: the primary key of a text comparison.
std::string foldKey(std::string_view s, bool stripMarks) {
  gchar* folded = g_utf8_casefold(s.data(), static_cast<gssize>(s.size()));
  if (!folded) return std::string(s);
  std::string out;
  if (stripMarks) {
    gchar* nfd = g_utf8_normalize(folded, -1, G_NORMALIZE_NFD);
    if (nfd) {
      for (const gchar* p = nfd; *p; p = g_utf8_next_char(p)) {
        gunichar ch = g_utf8_get_char(p);
        if (g_unichar_combining_class(ch) != 0) continue;
        char buf[6];
        int n = g_unichar_to_utf8(ch, buf);
        out.append(buf, static_cast<size_t>(n));
      }
      g_free(nfd);
    }
  } else {
    out = folded;
  }
  g_free(folded);
  return out;
}

std::string str(const Variant& v) {
  return v.displayText();
}

// Each character below U+0250 folded on its own, with and without its accents: folding and
// removing accents go character by character, so a text's key is its characters' keys one after
// the other. Built once, read only after.
struct FoldTable {
  static constexpr gunichar kSize = 0x250;
  std::array<std::string, kSize> primary, secondary;
  FoldTable() {
    for (gunichar c = 1; c < kSize; ++c) {
      char buf[6];
      const std::string_view one(buf, static_cast<size_t>(g_unichar_to_utf8(c, buf)));
      primary[c] = foldKey(one, true);
      secondary[c] = foldKey(one, false);
    }
  }
};

const FoldTable& foldTable() {
  static const FoldTable table;
  return table;
}

// Compares the keys of two texts character by character from the table, as comparing the keys
// of the whole texts would; 2 when a text holds a character beyond the table (or is not UTF-8).
int compareFolded(std::string_view a, std::string_view b, bool withoutAccents) {
  const FoldTable& t = foldTable();
  const auto& keys = withoutAccents ? t.primary : t.secondary;
  size_t ia = 0, ib = 0;
  std::string_view ka, kb;
  auto next = [&](std::string_view s, size_t& i, std::string_view& k) {
    while (k.empty() && i < s.size()) {
      const gunichar c = g_utf8_get_char_validated(s.data() + i, static_cast<gssize>(s.size() - i));
      if (c == 0 || c >= FoldTable::kSize) return false;
      k = keys[c];
      i = static_cast<size_t>(g_utf8_next_char(s.data() + i) - s.data());
    }
    return true;
  };
  for (;;) {
    if (!next(a, ia, ka) || !next(b, ib, kb)) return 2;
    if (ka.empty() || kb.empty()) return ka.empty() == kb.empty() ? 0 : ka.empty() ? -1 : 1;
    const auto x = static_cast<unsigned char>(ka[0]), y = static_cast<unsigned char>(kb[0]);
    if (x != y) return x < y ? -1 : 1;
    ka.remove_prefix(1);
    kb.remove_prefix(1);
  }
}

}  // namespace

std::string_view trimBlanks(std::string_view s) {
  size_t b = s.find_first_not_of(' ');
  if (b == std::string_view::npos) return {};
  size_t e = s.find_last_not_of(' ');
  return s.substr(b, e - b + 1);
}

std::string lowerAscii(std::string_view s) {
  std::string o(s);
  for (auto& c : o)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return o;
}

std::string upper(std::string_view s) {
  if (ascii(s)) {
    std::string o(s);
    for (auto& c : o)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return o;
  }
  gchar* u = g_utf8_strup(s.data(), static_cast<gssize>(s.size()));
  std::string o = u ? u : std::string(s);
  g_free(u);
  return o;
}

std::string lower(std::string_view s) {
  if (ascii(s)) return lowerAscii(s);
  gchar* u = g_utf8_strdown(s.data(), static_cast<gssize>(s.size()));
  std::string o = u ? u : std::string(s);
  g_free(u);
  return o;
}

int compareTextNoCase(std::string_view a, std::string_view b) {
  // Up to the first character outside ASCII both texts fold byte for byte, so a difference
  // there decides the order without folding the whole texts (sorting compares mostly those).
  const size_t n = std::min(a.size(), b.size());
  size_t i = 0;
  for (; i < n; ++i) {
    unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
    if (x >= 0x80 || y >= 0x80) break;
    if (x >= 'A' && x <= 'Z') x = static_cast<unsigned char>(x + 32);
    if (y >= 'A' && y <= 'Z') y = static_cast<unsigned char>(y + 32);
    if (x != y) return x < y ? -1 : 1;
  }
  if (i == n && ascii(a.substr(n)) && ascii(b.substr(n)))
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
  // Letters with accents sort with their base letter; the accent only breaks ties. The texts
  // agree up to `i`, so their keys do too.
  int c = compareFolded(a.substr(i), b.substr(i), true);
  if (c == 0) c = compareFolded(a.substr(i), b.substr(i), false);
  if (c != 2) return c;
  c = foldKey(a, true).compare(foldKey(b, true));
  if (c == 0) c = foldKey(a, false).compare(foldKey(b, false));
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}

Variant Trim(const Variant& v) {
  if (v.isNull()) return v;
  return Variant::string(std::string(trimBlanks(str(v))));
}
Variant LTrim(const Variant& v) {
  if (v.isNull()) return v;
  std::string s = str(v);
  size_t b = s.find_first_not_of(' ');
  return Variant::string(b == std::string::npos ? "" : s.substr(b));
}
Variant RTrim(const Variant& v) {
  if (v.isNull()) return v;
  std::string s = str(v);
  size_t e = s.find_last_not_of(' ');
  return Variant::string(e == std::string::npos ? "" : s.substr(0, e + 1));
}

Variant Left(const Variant& v, long n) {
  if (n < 0) invalidCall("Left");
  if (v.isNull()) return v;
  std::string s = str(v);
  return Variant::string(s.substr(0, charOffset(s, n)));
}

Variant Right(const Variant& v, long n) {
  if (n < 0) invalidCall("Right");
  if (v.isNull()) return v;
  std::string s = str(v);
  long len = charCount(s);
  return Variant::string(s.substr(charOffset(s, std::max(0L, len - n))));
}

Variant Mid(const Variant& v, long start, long length) {
  if (start < 1) invalidCall("Mid");
  if (v.isNull()) return v;
  std::string s = str(v);
  size_t b = charOffset(s, start - 1);
  if (length < 0) return Variant::string(s.substr(b));
  size_t e = b + charOffset(std::string_view(s).substr(b), length);
  return Variant::string(s.substr(b, e - b));
}

Variant Len(const Variant& v) {
  if (v.isNull()) return v;
  return Variant::longInt(static_cast<std::int32_t>(charCount(str(v))));
}

Variant InStr(const Variant& haystack, const Variant& needle, long start, bool textCompare) {
  if (start < 1) invalidCall("InStr");
  if (haystack.isNull() || needle.isNull()) return Variant::null();
  std::string h = str(haystack), n = str(needle);
  if (textCompare) {
    h = lower(h);
    n = lower(n);
  }
  size_t from = charOffset(h, start - 1);
  if (n.empty())
    return Variant::longInt(
        from <= h.size() && start <= charCount(h) + 1 ? static_cast<std::int32_t>(start) : 0);
  size_t p = h.find(n, from);
  if (p == std::string::npos) return Variant::longInt(0);
  return Variant::longInt(
      static_cast<std::int32_t>(charCount(std::string_view(h).substr(0, p)) + 1));
}

Variant Replace(const Variant& s, const Variant& find, const Variant& with) {
  if (s.isNull()) throw RuntimeError(kErrInvalidNull, "invalid use of Null (Replace)");
  std::string t = str(s), f = str(find), w = str(with);
  if (f.empty()) return Variant::string(t);
  for (size_t p = t.find(f); p != std::string::npos; p = t.find(f, p + w.size()))
    t.replace(p, f.size(), w);
  return Variant::string(t);
}

Variant UCase(const Variant& v) {
  return v.isNull() ? v : Variant::string(upper(str(v)));
}
Variant LCase(const Variant& v) {
  return v.isNull() ? v : Variant::string(lower(str(v)));
}

Variant Chr(const Variant& code) {
  long c = code.toLong();
  if (c < 0 || c > 0xFFFF) invalidCall("Chr");
  // Windows-1252 for 128..159, Latin-1 (= Unicode) for the rest.
  static const unsigned short cp1252[32] = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  gunichar u = c >= 128 && c < 160 ? cp1252[c - 128] : static_cast<gunichar>(c);
  char buf[6];
  int n = g_unichar_to_utf8(u, buf);
  return Variant::string(std::string(buf, static_cast<size_t>(n)));
}

Variant Asc(const Variant& v) {
  if (v.isNull()) throw RuntimeError(kErrInvalidNull, "invalid use of Null (Asc)");
  std::string s = str(v);
  if (s.empty()) invalidCall("Asc");
  gunichar u = g_utf8_get_char_validated(s.data(), static_cast<gssize>(s.size()));
  if (u == static_cast<gunichar>(-1) || u == static_cast<gunichar>(-2))
    u = static_cast<unsigned char>(s[0]);
  // The inverse of Chr: Windows-1252 codes for its characters in 128..159.
  static const unsigned short cp1252[32] = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  for (int i = 0; i < 32; ++i)
    if (cp1252[i] == u) return Variant::integer(static_cast<std::int16_t>(128 + i));
  // "0 - 255 on non-DBCS systems": a character the code page lacks is '?', as the conversion
  // to the code page writes it.
  if ((u >= 128 && u < 160) || u > 255) return Variant::integer('?');
  return Variant::integer(static_cast<std::int16_t>(u));
}

Variant CStr(const Variant& v) {
  return Variant::string(v.toString());
}

Variant Val(const Variant& v) {
  if (v.isNull()) throw RuntimeError(kErrInvalidNull, "invalid use of Null (Val)");
  std::string s = str(v), digits;
  // Blanks, tabs and line feeds inside the number are skipped, as the platform does.
  size_t i = 0;
  while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n')) ++i;
  if (i + 1 < s.size() && s[i] == '&' && (s[i + 1] == 'H' || s[i + 1] == 'h')) {
    long long x = std::strtoll(s.c_str() + i + 2, nullptr, 16);
    return Variant::dbl(static_cast<double>(x));
  }
  bool dot = false, exp = false;
  for (; i < s.size(); ++i) {
    char c = s[i];
    if (c == ' ' || c == '\t' || c == '\n') continue;
    if ((c == '+' || c == '-') && (digits.empty() || digits.back() == 'E')) {
      digits += c;
    } else if (c >= '0' && c <= '9') {
      digits += c;
    } else if (c == '.' && !dot && !exp) {
      dot = true;
      digits += c;
    } else if ((c == 'e' || c == 'E' || c == 'd' || c == 'D') && !exp && !digits.empty()) {
      exp = true;
      digits += 'E';
    } else {
      break;
    }
  }
  double d = std::strtod(digits.c_str(), nullptr);
  return Variant::dbl(d);
}

bool IsNumeric(const Variant& v) {
  if (v.isNumeric() || v.isEmpty()) return true;
  if (v.type() == VarType::String) return readNumber(v.rawString()).has_value();
  return false;
}

bool IsDate(const Variant& v) {
  if (v.type() == VarType::Date) return true;
  if (v.type() == VarType::String) return parseDateText(v.rawString()).has_value();
  return false;
}

Variant Nz(const Variant& v, const Variant& ifNull) {
  return v.isNull() ? ifNull : v;
}

}  // namespace galvix::vb
