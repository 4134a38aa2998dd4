#include <gtest/gtest.h>

#include "runtime/dates.h"
#include "runtime/format.h"
#include "runtime/regional.h"

namespace galvix {
namespace {

Variant money(double d) {
  return Variant::currency(Currency::fromDouble(d));
}
Variant when(int y, int m, int d, int h = 0, int n = 0, int s = 0) {
  return Variant::date(dateSerial(y, m, d) + timeSerial(h, n, s));
}

class FormatTest : public ::testing::Test {
 protected:
  void SetUp() override { setRegional("en-US"); }
  void TearDown() override { setRegional("en-US"); }
};

TEST_F(FormatTest, NamedNumberFormats) {
  EXPECT_EQ(Format(1234.5, "Currency"), "$1,234.50");
  EXPECT_EQ(Format(-20, "Currency"), "($20.00)");
  EXPECT_EQ(Format(money(0.005), "Currency"), "$0.01");  // halves away from zero
  EXPECT_EQ(Format(Variant::null(), "Currency"), "");
  EXPECT_EQ(Format("1234.5", "Currency"), "$1,234.50");  // text that reads as a number
  EXPECT_EQ(Format("n/a", "Currency"), "n/a");
  EXPECT_EQ(Format(1234.567, "Fixed"), "1234.57");
  EXPECT_EQ(Format(1234.567, "Standard"), "1,234.57");
  EXPECT_EQ(Format(0.0825, "Percent"), "8.25%");
  EXPECT_EQ(Format(1234.5, "Scientific"), "1.23E+03");
  EXPECT_EQ(Format(1234.5, "General Number"), "1234.5");
  EXPECT_EQ(Format(-1, "Yes/No"), "Yes");
  EXPECT_EQ(Format(Variant::boolean(true), "True/False"), "True");
  EXPECT_EQ(Format(Variant::integer(0), "On/Off"), "Off");
}

TEST_F(FormatTest, NumericPatterns) {
  EXPECT_EQ(Format(Variant::integer(3), "00"), "03");
  EXPECT_EQ(Format(Variant::integer(123), "00"), "123");
  EXPECT_EQ(Format(0.5, "#.##"), ".5");
  EXPECT_EQ(Format(2.5, "0"), "3");
  EXPECT_EQ(Format(1.005, "0.00"), "1.01");  // decimal rounding, not binary
  EXPECT_EQ(Format(0.256, "0.0%"), "25.6%");
  EXPECT_EQ(Format(5551234, "000-0000"), "555-1234");
  EXPECT_EQ(Format(7, "\"No. \"0"), "No. 7");
  EXPECT_EQ(Format(7, "0\\%"), "7%");
  EXPECT_EQ(Format(17, "#3"), "173");
  EXPECT_EQ(Format(5, "1#"), "15");
  EXPECT_EQ(Format(17, "#3.33"), "173.33");
  EXPECT_EQ(Format(1.7, "#.33"), "2.33");  // no decimal placeholder: rounded to a whole number
  EXPECT_EQ(Format(4, "9-0"), "9-4");
}

TEST_F(FormatTest, FourSectionsIncludingNull) {
  const char* p = "#,##0.00;(#,##0.00);\"zero\";\"none\"";
  EXPECT_EQ(Format(1234.5, p), "1,234.50");
  EXPECT_EQ(Format(-1234.5, p), "(1,234.50)");
  EXPECT_EQ(Format(0, p), "zero");
  EXPECT_EQ(Format(Variant::null(), p), "none");
  EXPECT_EQ(Format(Variant::null(), "0.00;(0.00)"), "");
  EXPECT_EQ(Format(-3, "0.00"), "-3.00");  // one section: the sign comes back
  EXPECT_TRUE(formatVariant(Variant::null(), "0.00").isNull());
  EXPECT_TRUE(formatVariant(Variant::null(), "@@@").isNull());
}

TEST_F(FormatTest, DatesAndTimes) {
  Variant afternoon = when(2024, 6, 1, 14, 5);
  EXPECT_EQ(Format(afternoon, "hh:mm AMPM"), "02:05 PM");
  EXPECT_EQ(Format(when(2024, 6, 1, 9, 30), "h:nn am/pm"), "9:30 am");
  EXPECT_EQ(Format(afternoon, "hh:mm A/P"), "02:05 P");
  EXPECT_EQ(Format(afternoon, "HH:nn"), "14:05");
  EXPECT_EQ(Format(afternoon, "General Date"), "6/1/2024 2:05:00 PM");
  EXPECT_EQ(Format(when(2024, 6, 1), "General Date"), "6/1/2024");
  EXPECT_EQ(Format(Variant::date(timeSerial(14, 5, 0)), "General Date"), "2:05:00 PM");
  EXPECT_EQ(Format(afternoon, "Long Date"), "Saturday, June 1, 2024");
  EXPECT_EQ(Format(afternoon, "ddd mmm dd yy"), "Sat Jun 01 24");
  EXPECT_EQ(Format(afternoon, "q"), "2");
  EXPECT_EQ(Format(afternoon, "ttttt"), "2:05:00 PM");
  EXPECT_EQ(Format(when(1850, 3, 9), "yyyy-mm-dd"), "1850-03-09");
  EXPECT_EQ(Format(when(9999, 12, 31), "Short Date"), "12/31/9999");
  // December 7, 1958, 8:50:35 PM and other documented samples.
  Variant dec7 = when(1958, 12, 7, 20, 50, 35);
  EXPECT_EQ(Format(dec7, "d-mmmm-yy"), "7-December-58");
  EXPECT_EQ(Format(dec7, "hh:mm AM/PM"), "08:50 PM");
  EXPECT_EQ(Format(dec7, "m/d/yy h:mm"), "12/7/58 20:50");
  Variant myTime = Variant::date(timeSerial(17, 4, 23));
  EXPECT_EQ(Format(myTime, "h:m:s"), "17:4:23");
  EXPECT_EQ(Format(when(1993, 1, 27), "aaaa"), "Wednesday");  // "The same as dddd"
  // Day zero is a time alone, midnight too.
  EXPECT_EQ(Format(Variant::date(0), "General Date"), "12:00:00 AM");
  // Text that reads as a date, a time or a serial number takes date patterns.
  EXPECT_EQ(Format("1/27/1993", "dddd"), "Wednesday");
  EXPECT_EQ(Format("17:04:23", "hh:mm AM/PM"), "05:04 PM");
  EXPECT_EQ(Format("39697.11", "mm-dd-yy hh:mm"), "09-06-08 02:38");
  EXPECT_EQ(Format("not a date", "dddd"), "not a date");
}

// "If m immediately follows h or hh, the minute rather than the month is displayed": the first
// m or mm after an hour (separators between them) is minutes, any later one the month again.
TEST_F(FormatTest, MinutesOnlyDirectlyAfterAnHour) {
  Variant dec7 = when(1958, 12, 7, 20, 50, 35);
  EXPECT_EQ(Format(dec7, "hh :mm:mm"), "20 :50:12");
  EXPECT_EQ(Format(dec7, "hh:ss:mm"), "20:35:12");
  EXPECT_EQ(Format(dec7, "mm/dd hh.mm"), "12/07 20.50");
  EXPECT_EQ(Format(dec7, "hh dd mm"), "20 07 12");
  EXPECT_EQ(Format(dec7, "h:mmm"), "20:Dec");  // mmm is always the month's name
}

// w counts days from the first day of the week; ww counts weeks by the first-week rule
// (vbFirstJan1 1, vbFirstFourDays 2, vbFirstFullWeek 3; 0 is the system's setting).
TEST_F(FormatTest, WeekArgumentsDecideWAndWw) {
  Variant saturday = when(1899, 12, 30);
  for (int firstDay = 1; firstDay <= 7; ++firstDay)
    EXPECT_EQ(Format(saturday, "w", firstDay), std::to_string(7 - firstDay + 1)) << firstDay;
  // "Display the week of the year as a number (1 - 54)": 2000 starts on a Saturday.
  EXPECT_EQ(Format(when(2000, 1, 2), "ww"), "2");
  EXPECT_EQ(Format(when(2000, 12, 31), "ww"), "54");
  // ISO 8601 weeks, vbMonday with vbFirstFourDays: the year's last days may be week 1 of the
  // next, its first days the last week of the one before.
  EXPECT_EQ(Format(when(2003, 12, 29), "ww", 2, 2), "1");
  EXPECT_EQ(Format(when(2010, 1, 1), "ww", 2, 2), "53");
  // First full week: 1 January 2022 (a Saturday) still belongs to 2021's last week.
  EXPECT_EQ(Format(when(2022, 1, 1), "ww", 1, 3), "52");
  EXPECT_THROW(Format(saturday, "w", 8), RuntimeError);
  EXPECT_THROW(Format(saturday, "ww", 1, 4), RuntimeError);
  setRegional("de-DE");  // Monday first, four-day weeks
  EXPECT_EQ(Format(saturday, "w", 0), "6");
  EXPECT_EQ(Format(when(2010, 1, 1), "ww", 0, 0), "53");
}

// "Placeholders are filled from right to left unless there is an exclamation point"; literal
// characters and \x escapes keep their places between them.
TEST_F(FormatTest, TextPlaceholdersAroundLiterals) {
  EXPECT_EQ(Format("ABC", "<"), "abc");
  EXPECT_EQ(Format("12", "@@@@"), "  12");
  EXPECT_EQ(Format("12", "!@@@@"), "12  ");
  EXPECT_EQ(Format("12", "&&&&"), "12");
  EXPECT_EQ(Format("5551234", "(@@@) @@@-@@@@"), "(   ) 555-1234");
  EXPECT_EQ(Format("5551234", "(&&&) &&&-&&&&"), "() 555-1234");
  EXPECT_EQ(Format("5551234", "!(@@@) @@@-@@@@"), "(555) 123-4   ");
  EXPECT_EQ(Format("ab", "\\x@\\y@\\z"), "xaybz");
  EXPECT_EQ(Format("ab", "\"<\"@@@\">\""), "< ab>");
  // More characters than placeholders: the first ones fill them, the rest follow the pattern.
  EXPECT_EQ(Format("testing", "\\x@\\x@"), "xtxesting");
  // "@;"Unknown"": the second section stands for Null and zero-length text.
  EXPECT_EQ(Format(Variant::null(), "@;\"Unknown\""), "Unknown");
  EXPECT_EQ(Format("", "@;\"Unknown\""), "Unknown");
  EXPECT_EQ(Format("", "@@"), "  ");
  EXPECT_EQ(Format(Variant::null(), "@@"), "");
  // One case rule per section: the first of < and > decides.
  EXPECT_EQ(Format("Mixed Case", "<&>&"), "mixed case");
  EXPECT_EQ(Format(Variant::integer(12), ">@@@"), " 12");  // numbers as their text
}

// The documented table for 5, -5 and 0.5 (and Null), and the scientific forms.
TEST_F(FormatTest, DocumentedNumberTable) {
  struct Row {
    const char* pattern;
    const char *pos, *neg, *half;
  };
  for (const Row& r : {Row{"0", "5", "-5", "1"},
                       {"0.00", "5.00", "-5.00", "0.50"},
                       {"#,##0.00;;;Nil", "5.00", "-5.00", "0.50"},
                       {"$#,##0;($#,##0)", "$5", "($5)", "$1"},
                       {"0%", "500%", "-500%", "50%"},
                       {"0.00E-00", "5.00E00", "-5.00E00", "5.00E-01"}}) {
    EXPECT_EQ(Format(5, r.pattern), r.pos) << r.pattern;
    EXPECT_EQ(Format(-5, r.pattern), r.neg) << r.pattern;
    EXPECT_EQ(Format(0.5, r.pattern), r.half) << r.pattern;
  }
  EXPECT_EQ(Format(Variant::null(), "#,##0.00;;;Nil"), "Nil");
  EXPECT_EQ(Format(0, "$#,##0;;\\Z\\e\\r\\o"), "Zero");
}

// "E- E+ e- e+": the letter keeps its case, the exponent's placeholders set its least width,
// and the integer placeholders how many digits stand before the point.
TEST_F(FormatTest, ScientificPatterns) {
  EXPECT_EQ(Format(5, "0.00e+00"), "5.00e+00");
  EXPECT_EQ(Format(1234.5, "0.0E+000"), "1.2E+003");
  EXPECT_EQ(Format(1.5e120, "0.0E+00"), "1.5E+120");  // never cut
  EXPECT_EQ(Format(47.11, ".0000E+0"), ".4711E+2");   // no integer placeholder: below one
  EXPECT_EQ(Format(1234.5, "#0.00E+00"), "12.35E+02");
  EXPECT_EQ(Format(9.999, "0.00E+00"), "1.00E+01");  // rounding carries into the exponent
  EXPECT_EQ(Format(0, "0.00E+00"), "0.00E+00");
  EXPECT_EQ(Format(-0.00012345, "0.00E-00"), "-1.23E-04");
}

// "a thousand separator surrounded by digit placeholders" groups; blanks beside it stay where
// they are written; commas just left of the point scale by a thousand each.
TEST_F(FormatTest, ThousandSeparatorsAndScaling) {
  EXPECT_EQ(Format(123456789, "###, ###, ###"), "123, 456, 789");
  EXPECT_EQ(Format(-1234, "#,##0"), "-1,234");
  EXPECT_EQ(Format(1, "0,000"), "0,001");
  EXPECT_EQ(Format(123456789, "#,#"), "123,456,789");
  EXPECT_EQ(Format(100000000, "##0,,"), "100");  // "100 million as 100"
  EXPECT_EQ(Format(400000, "##0,,"), "0");       // "smaller than 1 million ... as 0"
  EXPECT_EQ(Format(1234567, "#,##0,"), "1,235");
  EXPECT_EQ(Format(1234567, "#,##0,.0"), "1,234.6");
}

TEST_F(FormatTest, OtherLocales) {
  setRegional("en-GB");
  EXPECT_EQ(Format(-20, "Currency"), "-£20.00");
  EXPECT_EQ(Format(when(2024, 6, 1), "Short Date"), "01/06/2024");
  setRegional("de-DE");
  EXPECT_EQ(Format(1234.5, "Currency"), "1.234,50 €");
  EXPECT_EQ(Format(1234.5, "#,##0.00"), "1.234,50");
  EXPECT_EQ(Format(when(2024, 6, 1, 14, 5), "General Date"), "01.06.2024 14:05:00");
  EXPECT_THROW(setRegional("xx-YY"), RuntimeError);
}

}  // namespace
}  // namespace galvix
