// Jet's functions and operators as SQLite functions, sharing the runtime's value rules, and the
// case-insensitive text collation JETTEXT.
#include <sqlite3.h>

#include <cmath>
#include <ctime>
#include <functional>
#include <set>
#include <string>

#include "db/jet/translator.h"
#include "runtime/dates.h"
#include "runtime/format.h"
#include "runtime/vb.h"

namespace galvix::db::jet {
namespace {

#ifndef SQLITE_RESULT_SUBTYPE
#define SQLITE_RESULT_SUBTYPE 0
#endif
#ifndef SQLITE_SUBTYPE
#define SQLITE_SUBTYPE 0
#endif

// Subtypes mark values whose SQLite storage loses their kind: a date, money, a truth value.
constexpr unsigned kSubDate = 'D', kSubCurrency = 'C', kSubBool = 'B';

Variant toVariant(sqlite3_value* v) {
  unsigned sub = sqlite3_value_subtype(v);
  switch (sqlite3_value_type(v)) {
    case SQLITE_NULL:
      return Variant::null();
    case SQLITE_INTEGER: {
      sqlite3_int64 i = sqlite3_value_int64(v);
      if (sub == kSubBool) return Variant::boolean(i != 0);
      if (sub == kSubDate) return Variant::date(static_cast<double>(i));
      if (sub == kSubCurrency) return Variant::currency(Currency{i * 10000});
      if (i >= INT32_MIN && i <= INT32_MAX) return Variant::longInt(static_cast<std::int32_t>(i));
      return Variant::dbl(static_cast<double>(i));
    }
    case SQLITE_FLOAT: {
      double d = sqlite3_value_double(v);
      if (sub == kSubDate) return Variant::date(d);
      if (sub == kSubCurrency) return Variant::currency(Currency::fromDouble(d));
      return Variant::dbl(d);
    }
    case SQLITE_TEXT:
      return Variant::string(std::string(reinterpret_cast<const char*>(sqlite3_value_text(v)),
                                         static_cast<size_t>(sqlite3_value_bytes(v))));
    default: {
      const auto* p = static_cast<const std::uint8_t*>(sqlite3_value_blob(v));
      return Variant::binary(Bytes(p, p + sqlite3_value_bytes(v)));
    }
  }
}

void result(sqlite3_context* c, const Variant& v) {
  switch (v.type()) {
    case VarType::Empty:
    case VarType::Null:
      sqlite3_result_null(c);
      return;
    case VarType::Boolean:
      sqlite3_result_int(c, v.rawBool() ? -1 : 0);
      return;
    case VarType::Integer:
    case VarType::Long:
      sqlite3_result_int64(c, v.rawInt());
      return;
    case VarType::Single:
    case VarType::Double:
      sqlite3_result_double(c, v.rawDouble());
      return;
    case VarType::Date:
      sqlite3_result_double(c, v.rawDouble());
      sqlite3_result_subtype(c, kSubDate);
      return;
    case VarType::Currency:
      sqlite3_result_double(c, v.rawCurrency().toDouble());
      sqlite3_result_subtype(c, kSubCurrency);
      return;
    case VarType::String:
      sqlite3_result_text(c, v.rawString().data(), static_cast<int>(v.rawString().size()),
                          SQLITE_TRANSIENT);
      return;
    case VarType::Binary:
      sqlite3_result_blob(c, v.bytes().data(), static_cast<int>(v.bytes().size()),
                          SQLITE_TRANSIENT);
      return;
  }
}

using Fn = std::function<Variant(std::vector<Variant>&)>;

void call(sqlite3_context* c, int argc, sqlite3_value** argv) {
  auto* fn = static_cast<Fn*>(sqlite3_user_data(c));
  std::vector<Variant> args;
  args.reserve(static_cast<size_t>(argc));
  for (int i = 0; i < argc; ++i) args.push_back(toVariant(argv[i]));
  try {
    result(c, (*fn)(args));
  } catch (const std::exception& e) {
    sqlite3_result_error(c, e.what(), -1);
  }
}

void add(sqlite3* db, const char* name, int nargs, Fn fn, bool deterministic = true) {
  auto* holder = new Fn(std::move(fn));
  int flags = SQLITE_UTF8 | (deterministic ? SQLITE_DETERMINISTIC : 0) | SQLITE_SUBTYPE |
              SQLITE_RESULT_SUBTYPE;
  sqlite3_create_function_v2(db, name, nargs, flags, holder, call, nullptr, nullptr,
                             [](void* p) { delete static_cast<Fn*>(p); });
}

long arg(const std::vector<Variant>& a, size_t i, long def) {
  return i < a.size() && !a[i].isNull() ? a[i].toLong() : def;
}

int collate(void*, int n1, const void* a, int n2, const void* b) {
  return vb::compareTextNoCase(
      std::string_view(static_cast<const char*>(a), static_cast<size_t>(n1)),
      std::string_view(static_cast<const char*>(b), static_cast<size_t>(n2)));
}

// First and Last: the first and last value the group produced.
struct Pick {
  sqlite3_value* v = nullptr;
  bool seen = false;
};
void pickStep(sqlite3_context* c, int, sqlite3_value** argv, bool last) {
  auto* p = static_cast<Pick*>(sqlite3_aggregate_context(c, sizeof(Pick)));
  if (!p) return;
  if (p->seen && !last) return;
  if (p->v) sqlite3_value_free(p->v);
  p->v = sqlite3_value_dup(argv[0]);
  p->seen = true;
}
void pickFinal(sqlite3_context* c) {
  auto* p = static_cast<Pick*>(sqlite3_aggregate_context(c, 0));
  if (p && p->v) {
    sqlite3_result_value(c, p->v);
    sqlite3_value_free(p->v);
    p->v = nullptr;
  } else {
    sqlite3_result_null(c);
  }
}

// Code points of UTF-8 text; a byte that starts no valid sequence stands for itself.
std::u32string codePoints(std::string_view s) {
  std::u32string out;
  for (size_t i = 0; i < s.size();) {
    auto b = static_cast<unsigned char>(s[i]);
    int n = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
    char32_t c = n <= 0 ? b : b & (0x3F >> n);
    bool ok = n >= 0 && i + static_cast<size_t>(std::max(n, 0)) < s.size();
    for (int k = 1; ok && k <= n; ++k) {
      auto x = static_cast<unsigned char>(s[i + static_cast<size_t>(k)]);
      ok = (x & 0xC0) == 0x80;
      c = (c << 6) | (x & 0x3F);
    }
    if (!ok || n < 0) {
      out += b;
      ++i;
    } else {
      out += c;
      i += static_cast<size_t>(n) + 1;
    }
  }
  return out;
}

// One pattern element at p[pi] against c: '_', a [set] (with '!' for "not in", and a-z ranges),
// or a character. Advances pi past the element.
bool likeOne(const std::u32string& p, size_t& pi, char32_t c) {
  if (p[pi] == U'_') {
    ++pi;
    return true;
  }
  if (p[pi] == U'[') {
    size_t close = p.find(U']', pi + 2);
    if (close != std::u32string::npos) {
      size_t i = pi + 1;
      bool negate = p[i] == U'!' && i + 1 < close;
      if (negate) ++i;
      bool in = false;
      for (; i < close; ++i) {
        if (i + 2 < close && p[i + 1] == U'-') {
          in = in || (c >= p[i] && c <= p[i + 2]);
          i += 2;
        } else {
          in = in || c == p[i];
        }
      }
      pi = close + 1;
      return in != negate;
    }
  }
  return p[pi++] == c;
}

// Like as the provider reads it: % any run, _ one character, [set]; without regard to case.
bool likeMatch(std::string_view text, std::string_view pattern) {
  std::u32string s = codePoints(vb::upper(text)), p = codePoints(vb::upper(pattern));
  size_t si = 0, pi = 0, starP = std::u32string::npos, starS = 0;
  while (si < s.size()) {
    if (pi < p.size() && p[pi] == U'%') {
      starP = pi++;
      starS = si;
      continue;
    }
    size_t next = pi;
    if (pi < p.size() && likeOne(p, next, s[si])) {
      pi = next;
      ++si;
    } else if (starP != std::u32string::npos) {
      pi = starP + 1;
      si = ++starS;
    } else {
      return false;
    }
  }
  while (pi < p.size() && p[pi] == U'%') ++pi;
  return pi == p.size();
}

}  // namespace

void registerJetFunctions(sqlite3* db) {
  sqlite3_create_collation(db, "JETTEXT", SQLITE_UTF8, nullptr, collate);

  // A value marked with its kind (see toVariant).
  sqlite3_create_function_v2(
      db, "jet_typed", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_RESULT_SUBTYPE, nullptr,
      [](sqlite3_context* c, int, sqlite3_value** argv) {
        sqlite3_result_value(c, argv[0]);
        if (sqlite3_value_type(argv[0]) != SQLITE_NULL)
          sqlite3_result_subtype(c, static_cast<unsigned>(sqlite3_value_int(argv[1])));
      },
      nullptr, nullptr, nullptr);

  add(db, "jet_cat", 2, [](auto& a) { return opConcat(a[0], a[1]); });
  add(db, "jet_add", 2, [](auto& a) { return opAdd(a[0], a[1]); });
  add(db, "jet_div", 2, [](auto& a) { return opDiv(a[0], a[1]); });
  add(db, "jet_intdiv", 2, [](auto& a) { return opIntDiv(a[0], a[1]); });
  add(db, "jet_mod", 2, [](auto& a) { return opMod(a[0], a[1]); });
  add(db, "jet_pow", 2, [](auto& a) {
    if (a[0].isNull() || a[1].isNull()) return Variant::null();
    return Variant::dbl(std::pow(a[0].toDouble(), a[1].toDouble()));
  });

  // 1/0 (Null with a Null side): the translation turns it into Jet's -1/0 where used as a value.
  add(db, "jet_like", 2, [](auto& a) {
    if (a[0].isNull() || a[1].isNull()) return Variant::null();
    return Variant::longInt(likeMatch(a[0].toString(), a[1].toString()) ? 1 : 0);
  });

  add(db, "jet_trim", 1, [](auto& a) { return vb::Trim(a[0]); });
  add(db, "jet_ltrim", 1, [](auto& a) { return vb::LTrim(a[0]); });
  add(db, "jet_rtrim", 1, [](auto& a) { return vb::RTrim(a[0]); });
  add(db, "jet_left", 2, [](auto& a) { return vb::Left(a[0], arg(a, 1, 0)); });
  add(db, "jet_right", 2, [](auto& a) { return vb::Right(a[0], arg(a, 1, 0)); });
  add(db, "jet_mid", 2, [](auto& a) { return vb::Mid(a[0], arg(a, 1, 1)); });
  add(db, "jet_mid", 3, [](auto& a) { return vb::Mid(a[0], arg(a, 1, 1), arg(a, 2, -1)); });
  add(db, "jet_len", 1, [](auto& a) { return vb::Len(a[0]); });
  add(db, "jet_ucase", 1, [](auto& a) { return vb::UCase(a[0]); });
  add(db, "jet_lcase", 1, [](auto& a) { return vb::LCase(a[0]); });
  add(db, "jet_chr", 1, [](auto& a) { return a[0].isNull() ? a[0] : vb::Chr(a[0]); });
  add(db, "jet_asc", 1, [](auto& a) { return vb::Asc(a[0]); });
  add(db, "jet_space", 1, [](auto& a) {
    long n = std::max(0L, arg(a, 0, 0));
    if (n > (1L << 20)) throw RuntimeError(14, "Out of string space");
    return Variant::string(std::string(static_cast<size_t>(n), ' '));
  });
  add(db, "jet_instr", 2, [](auto& a) { return vb::InStr(a[0], a[1], 1, true); });
  add(db, "jet_instr", 3, [](auto& a) { return vb::InStr(a[1], a[2], arg(a, 0, 1), true); });
  add(db, "jet_replace", 3, [](auto& a) { return vb::Replace(a[0], a[1], a[2]); });
  add(db, "jet_cstr", 1, [](auto& a) { return vb::CStr(a[0]); });
  add(db, "jet_str", 1, [](auto& a) {
    if (a[0].isNull()) return a[0];
    std::string s = a[0].toString();
    return Variant::string(a[0].toDouble() >= 0 ? " " + s : s);
  });
  add(db, "jet_val", 1, [](auto& a) { return vb::Val(a[0]); });
  // Null formats as Null unless the pattern has a section for it.
  for (int n = 1; n <= 4; ++n)
    add(db, "jet_format", n, [](auto& a) {
      std::string pattern = a.size() > 1 && !a[1].isNull() ? a[1].toString() : "";
      return formatVariant(a[0], pattern, static_cast<int>(arg(a, 2, 1)),
                           static_cast<int>(arg(a, 3, 1)));
    });
  add(db, "jet_cint", 1, [](auto& a) { return Variant::integer(a[0].toInteger()); });
  add(db, "jet_clng", 1, [](auto& a) { return Variant::longInt(a[0].toLong()); });
  add(db, "jet_csng", 1, [](auto& a) { return Variant::single(a[0].toSingle()); });
  add(db, "jet_cdbl", 1, [](auto& a) { return Variant::dbl(a[0].toDouble()); });
  add(db, "jet_ccur", 1, [](auto& a) { return Variant::currency(a[0].toCurrency()); });
  add(db, "jet_cdate", 1, [](auto& a) { return Variant::date(a[0].toDate()); });
  add(db, "jet_cbool", 1, [](auto& a) { return Variant::boolean(a[0].toBool()); });
  add(db, "jet_int", 1,
      [](auto& a) { return a[0].isNull() ? a[0] : Variant::dbl(std::floor(a[0].toDouble())); });
  add(db, "jet_fix", 1,
      [](auto& a) { return a[0].isNull() ? a[0] : Variant::dbl(std::trunc(a[0].toDouble())); });
  add(db, "jet_abs", 1,
      [](auto& a) { return a[0].isNull() ? a[0] : Variant::dbl(std::fabs(a[0].toDouble())); });
  add(db, "jet_round", 2, [](auto& a) {
    if (a[0].isNull()) return a[0];
    double p = std::pow(10.0, static_cast<double>(arg(a, 1, 0)));
    return Variant::dbl(std::nearbyint(a[0].toDouble() * p) / p);
  });
  add(db, "jet_isnumeric", 1, [](auto& a) { return Variant::boolean(vb::IsNumeric(a[0])); });
  add(db, "jet_isdate", 1, [](auto& a) { return Variant::boolean(vb::IsDate(a[0])); });
  auto part = [](int which) {
    return [which](std::vector<Variant>& a) {
      if (a[0].isNull()) return Variant::null();
      DateParts p = splitDate(a[0].toDate());
      int v = which == 0   ? p.year
              : which == 1 ? p.month
              : which == 2 ? p.day
              : which == 3 ? p.hour
              : which == 4 ? p.minute
              : which == 5 ? p.second
                           : p.weekday;
      return Variant::integer(static_cast<std::int16_t>(v));
    };
  };
  add(db, "jet_year", 1, part(0));
  add(db, "jet_month", 1, part(1));
  add(db, "jet_day", 1, part(2));
  add(db, "jet_hour", 1, part(3));
  add(db, "jet_minute", 1, part(4));
  add(db, "jet_second", 1, part(5));
  add(db, "jet_weekday", 1, part(6));
  add(db, "jet_dateserial", 3, [](auto& a) {
    return Variant::date(dateSerial(a[0].toInteger(), a[1].toInteger(), a[2].toInteger()));
  });
  // The interval letters are Format's date pattern letters ("yyyy", "q", "m", "y", "d", "w",
  // "ww", "h", "n", "s"); the week arguments are Format's too (Sunday and 1 January unless
  // given).
  for (int n = 2; n <= 4; ++n)
    add(db, "jet_datepart", n, [](auto& a) {
      if (a[1].isNull()) return Variant::null();
      const std::string interval = vb::lower(a[0].toString());
      static const std::set<std::string> known = {"yyyy", "q",  "m", "y", "d",
                                                  "w",    "ww", "h", "n", "s"};
      if (!known.count(interval))
        throw RuntimeError(kErrInvalidCall, "DatePart: unknown interval '" + interval + "'");
      return Variant::integer(static_cast<std::int16_t>(
          std::stoi(Format(Variant::date(a[1].toDate()), interval, static_cast<int>(arg(a, 2, 1)),
                           static_cast<int>(arg(a, 3, 1))))));
    });
  add(db, "jet_datevalue", 1, [](auto& a) { return Variant::date(std::trunc(a[0].toDate())); });
  add(
      db, "jet_now", 0,
      [](auto&) {
        std::time_t t = std::time(nullptr);
        std::tm l{};
        localtime_r(&t, &l);
        return Variant::date(dateSerial(l.tm_year + 1900, l.tm_mon + 1, l.tm_mday) +
                             timeSerial(l.tm_hour, l.tm_min, l.tm_sec));
      },
      false);
  add(
      db, "jet_date", 0,
      [](auto&) {
        std::time_t t = std::time(nullptr);
        std::tm l{};
        localtime_r(&t, &l);
        return Variant::date(dateSerial(l.tm_year + 1900, l.tm_mon + 1, l.tm_mday));
      },
      false);

  for (bool last : {false, true}) {
    sqlite3_create_function_v2(
        db, last ? "jet_last" : "jet_first", 1, SQLITE_UTF8, nullptr, nullptr,
        last ? [](sqlite3_context* c, int n, sqlite3_value** v) { pickStep(c, n, v, true); }
             : [](sqlite3_context* c, int n, sqlite3_value** v) { pickStep(c, n, v, false); },
        pickFinal, nullptr);
  }
}

}  // namespace galvix::db::jet
