#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "runtime/dates.h"
#include "runtime/regional.h"
#include "runtime/vb.h"

namespace galvix {
namespace {

TEST(Variant, TextOfEachType) {
  EXPECT_EQ(Variant::single(8.25f).toString(), "8.25");
  EXPECT_EQ(Variant::dbl(0.1 + 0.2).toString(), "0.3");
  EXPECT_EQ(Variant::dbl(1e20).toString(), "1E+20");
  EXPECT_EQ(Variant::currency(Currency::fromDouble(12.5)).toString(), "12.5");
  EXPECT_EQ(Variant::boolean(true).toString(), "True");
  EXPECT_EQ(Variant().toString(), "");
  EXPECT_EQ(Variant::null().displayText(), "");
  EXPECT_THROW(Variant::null().toString(), RuntimeError);
}

TEST(Variant, WholeNumbersRoundHalfToEvenAndOverflowAt16Bits) {
  EXPECT_EQ(Variant(2.5).toInteger(), 2);
  EXPECT_EQ(Variant(3.5).toInteger(), 4);
  EXPECT_EQ(Variant(-2.5).toLong(), -2);
  EXPECT_EQ(Variant("  42 ").toInteger(), 42);
  EXPECT_THAT(
      [] { Variant(40000).toInteger(); },
      ::testing::Throws<RuntimeError>(::testing::Property(&RuntimeError::number, kErrOverflow)));
  EXPECT_THROW(checkedInteger(32767 + 1), RuntimeError);
  // Variant arithmetic widens instead of overflowing.
  Variant sum = opAdd(Variant::integer(32767), Variant::integer(1));
  EXPECT_EQ(sum.type(), VarType::Long);
  EXPECT_EQ(sum.toLong(), 32768);
}

TEST(Variant, ConversionErrorsSayWhat) {
  try {
    Variant("abc").toInteger();
    FAIL();
  } catch (const RuntimeError& e) {
    EXPECT_EQ(e.number(), kErrTypeMismatch);
    EXPECT_STREQ(e.what(), "type mismatch: cannot convert 'abc' to Integer");
  }
  EXPECT_THROW(Variant::null().toLong(), RuntimeError);
}

TEST(Variant, CurrencyIsExact) {
  Currency a = Currency::fromDouble(0.1), b = Currency::fromDouble(0.2);
  EXPECT_EQ((a + b).units, 3000);
  EXPECT_EQ((Currency::fromDouble(19.99) * Currency::fromDouble(3)).units, 599700);
  Variant total;
  for (int i = 0; i < 10; ++i)
    total = opAdd(total.isEmpty() ? Variant(Currency{}) : total,
                  Variant::currency(Currency::fromDouble(0.1)));
  EXPECT_EQ(total.type(), VarType::Currency);
  EXPECT_EQ(total.rawCurrency().units, 10000);
  EXPECT_EQ(Variant::single(8.25f).toCurrency().units, 82500);
}

TEST(Variant, NullAndEmptyInOperators) {
  EXPECT_TRUE(opAdd(Variant::null(), 1).isNull());
  EXPECT_TRUE(opAdd("a", Variant::null()).isNull());
  EXPECT_EQ(opConcat("a", Variant::null()).toString(), "a");
  EXPECT_EQ(opAdd("a", "b").toString(), "ab");
  EXPECT_EQ(opAdd("1", 2).toDouble(), 3);
  EXPECT_EQ(opDiv(Variant::integer(1), Variant::integer(4)).toDouble(), 0.25);
  EXPECT_TRUE(opEq(Variant::null(), Variant::null()).isNull());
  EXPECT_EQ(compareValues("abc", "ABC", true), 0);
  EXPECT_NE(compareValues("abc", "ABC", false), 0);
}

TEST(Dates, SerialsAndParsing) {
  EXPECT_EQ(dateSerial(1899, 12, 30), 0);
  EXPECT_EQ(dateSerial(2024, 6, 1), 45444);
  EXPECT_EQ(dateSerial(1899, 12, 29), -1);
  DateParts p = splitDate(-1.25);  // the fraction is the time whatever the sign
  EXPECT_EQ(p.day, 29);
  EXPECT_EQ(p.hour, 6);
  EXPECT_EQ(*parseDateText("2024-06-01T14:05:00"), 45444 + timeSerial(14, 5, 0));
  EXPECT_EQ(*parseDateText("6/1/2024 2:05 PM"), 45444 + timeSerial(14, 5, 0));
  EXPECT_EQ(*parseDateText("June 1, 2024"), 45444);
  EXPECT_FALSE(parseDateText("2/30/2024"));
  setRegional("en-GB");
  EXPECT_EQ(*parseDateText("01/06/2024"), 45444);
  setRegional("en-US");
}

TEST(StringFunctions, PlatformSemantics) {
  EXPECT_EQ(vb::Trim(" \ta b \n ").toString(), "\ta b \n");  // blanks only
  EXPECT_TRUE(vb::Trim(Variant::null()).isNull());
  EXPECT_EQ(vb::Left("Zoë Smith", 3).toString(), "Zoë");
  EXPECT_EQ(vb::Mid("Zoë Smith", 5).toString(), "Smith");
  EXPECT_EQ(vb::Len("Zoë").toLong(), 3);
  EXPECT_EQ(vb::InStr("Hello", "l").toLong(), 3);
  EXPECT_EQ(vb::Replace("a.b.c", ".", "").toString(), "abc");
  EXPECT_EQ(vb::UCase("josé").toString(), "JOSÉ");
  EXPECT_EQ(vb::Chr(233).toString(), "é");
  EXPECT_EQ(vb::Val(" 12 34abc").toDouble(), 1234);
  EXPECT_TRUE(vb::IsNumeric("$1,234.50"));
  EXPECT_FALSE(vb::IsNumeric("12a"));
  EXPECT_TRUE(vb::IsDate("6/1/2024"));
  EXPECT_THROW(vb::Left("a", -1), RuntimeError);
}

// The order of random names of Latin letters with and without accents, letters that fold to two
// (\u00df, \u0130), combining accents and other scripts, against its definition: the texts case
// folded with accents removed, then case folded with them (so "Garc\u00eda, Bob" sorts before
// "Garcia, Cy", and an accent alone decides only between otherwise equal names).
TEST(StringFunctions, TextOrderOfMixedNamesFollowsFoldedKeys) {
  auto key = [](const std::string& s, bool withoutAccents) {
    gchar* folded = g_utf8_casefold(s.data(), static_cast<gssize>(s.size()));
    std::string out;
    if (!withoutAccents) {
      out = folded;
    } else {
      gchar* nfd = g_utf8_normalize(folded, -1, G_NORMALIZE_NFD);
      for (const gchar* p = nfd; *p; p = g_utf8_next_char(p))
        if (g_unichar_combining_class(g_utf8_get_char(p)) == 0)
          out.append(p, static_cast<size_t>(g_utf8_next_char(p) - p));
      g_free(nfd);
    }
    g_free(folded);
    return out;
  };
  const std::vector<std::string> pieces = {
      "a",      "A",      "e",      "E",      "z",      " ",      ",",      "-",
      "Garc",   "\u00ed", "\u00cd", "\u00e9", "\u00c9", "\u00df", "ss",     "\u0130",
      "i",      "\u0142", "\u0141", "\u01c4", "\u01c6", "\u0301", "\u03a9", "\u03c9",
      "\u00f8", "\u00d8", "o",      "\u1e9e", "\u00ff", "\u0178"};
  std::mt19937 rng(3);
  auto name = [&](std::string s) {
    for (int n = 1 + static_cast<int>(rng() % 6); n > 0; --n) s += pieces[rng() % pieces.size()];
    return s;
  };
  for (int i = 0; i < 20000; ++i) {
    // Every third pair shares a beginning, as sorted names do.
    const std::string a = name(""), b = name(i % 3 == 0 ? a : "");
    int want = key(a, true).compare(key(b, true));
    if (want == 0) want = key(a, false).compare(key(b, false));
    want = want < 0 ? -1 : want > 0 ? 1 : 0;
    ASSERT_EQ(vb::compareTextNoCase(a, b), want) << a << " | " << b;
  }
}

}  // namespace
}  // namespace galvix
