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
  EXPECT_EQ(Format(money(12.3456), "Currency"), "$12.35");
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
  EXPECT_EQ(Format(0, "Yes/No"), "No");
  EXPECT_EQ(Format(Variant::boolean(true), "True/False"), "True");
  EXPECT_EQ(Format(Variant::integer(0), "On/Off"), "Off");
}

TEST_F(FormatTest, NumericPatterns) {
  EXPECT_EQ(Format(Variant::integer(3), "00"), "03");
  EXPECT_EQ(Format(Variant::integer(12), "00"), "12");
  EXPECT_EQ(Format(Variant::integer(123), "00"), "123");
  EXPECT_EQ(Format(1200, "#,##0"), "1,200");
  EXPECT_EQ(Format(1234567.891, "#,##0.00"), "1,234,567.89");
  EXPECT_EQ(Format(0.5, "#.##"), ".5");
  EXPECT_EQ(Format(2.5, "0"), "3");
  EXPECT_EQ(Format(1.005, "0.00"), "1.01");  // decimal rounding, not binary
  EXPECT_EQ(Format(0.256, "0.0%"), "25.6%");
  EXPECT_EQ(Format(1234567, "#,##0,"), "1,235");  // scaled by a thousand
  EXPECT_EQ(Format(5551234, "000-0000"), "555-1234");
  EXPECT_EQ(Format(12345.678, "0.00E+00"), "1.23E+04");
  EXPECT_EQ(Format(0.000123, "0.0E-00"), "1.2E-04");
  EXPECT_EQ(Format(7, "\"No. \"0"), "No. 7");
  EXPECT_EQ(Format(7, "0\\%"), "7%");
}

TEST_F(FormatTest, FourSectionsIncludingNull) {
  const char* p = "#,##0.00;(#,##0.00);\"zero\";\"none\"";
  EXPECT_EQ(Format(1234.5, p), "1,234.50");
  EXPECT_EQ(Format(-1234.5, p), "(1,234.50)");
  EXPECT_EQ(Format(0, p), "zero");
  EXPECT_EQ(Format(Variant::null(), p), "none");
  EXPECT_EQ(Format(Variant::null(), "0.00;(0.00)"), "");
  EXPECT_EQ(Format(-3, "0.00"), "-3.00");  // one section: the sign comes back
}

TEST_F(FormatTest, DatesAndTimes) {
  Variant afternoon = when(2024, 6, 1, 14, 5);
  EXPECT_EQ(Format(afternoon, "hh:mm AMPM"), "02:05 PM");
  EXPECT_EQ(Format(afternoon, "h:nn AMPM"), "2:05 PM");
  EXPECT_EQ(Format(when(2024, 6, 1, 9, 30), "h:nn am/pm"), "9:30 am");
  EXPECT_EQ(Format(afternoon, "hh:mm A/P"), "02:05 P");
  EXPECT_EQ(Format(afternoon, "HH:nn"), "14:05");
  EXPECT_EQ(Format(afternoon, "General Date"), "6/1/2024 2:05:00 PM");
  EXPECT_EQ(Format(when(2024, 6, 1), "General Date"), "6/1/2024");
  EXPECT_EQ(Format(Variant::date(timeSerial(14, 5, 0)), "General Date"), "2:05:00 PM");
  EXPECT_EQ(Format(afternoon, "Short Date"), "6/1/2024");
  EXPECT_EQ(Format(afternoon, "Long Date"), "Saturday, June 1, 2024");
  EXPECT_EQ(Format(afternoon, "mmmm d, yyyy"), "June 1, 2024");
  EXPECT_EQ(Format(afternoon, "ddd mmm dd yy"), "Sat Jun 01 24");
  EXPECT_EQ(Format(afternoon, "m/d/yy"), "6/1/24");
  EXPECT_EQ(Format(afternoon, "q"), "2");
  EXPECT_EQ(Format(afternoon, "ttttt"), "2:05:00 PM");
  EXPECT_EQ(Format("2024-06-01", "dddd"), "Saturday");  // text that reads as a date
  EXPECT_EQ(Format(when(1850, 3, 9), "yyyy-mm-dd"), "1850-03-09");
  EXPECT_EQ(Format(when(9999, 12, 31), "Short Date"), "12/31/9999");
}

TEST_F(FormatTest, TextPatterns) {
  EXPECT_EQ(Format("abc", ">"), "ABC");
  EXPECT_EQ(Format("ABC", "<"), "abc");
  EXPECT_EQ(Format("5551234", "@@@-@@@@"), "555-1234");
  EXPECT_EQ(Format("12", "@@@@"), "  12");
  EXPECT_EQ(Format("12", "!@@@@"), "12  ");
  EXPECT_EQ(Format("12", "&&&&"), "12");
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
