#include <gmock/gmock.h>

#include <sqlite3.h>

#include <thread>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class QuoteComparison : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    cat_ = db().expenseCategory("Catering");
  }
  // A vendor with its own tax and tip percentages, quoting on worksheet `type`.
  long quote(const std::string& company, double tax, double tip, int type = 2, long event = 0) {
    if (!vendors_.count(company))
      vendors_[company] = db().vendor({.company = company, .tax = tax, .tip = tip});
    // The assignment's own rates are not the ones the comparison uses.
    return db().assignment(event ? event : event_, cat_, vendors_[company],
                           {.worksheetType = type, .tax = 50, .tip = 50});
  }
  doc::Document runComparison(const std::string& where = {}, long event = 0) {
    auto r = report("Event Pros - Quote Comparison");
    r->set("EventID", Variant(static_cast<int>(event ? event : event_)));
    if (!where.empty()) r->set("SQLWhere", Variant(where));
    return run(*r);
  }
  long event_ = 0, cat_ = 0;
  std::map<std::string, long> vendors_;
};

TEST_F(QuoteComparison, OneColumnPerVendorAndWorksheetWithItsOwnTaxAndTip) {
  using data::money;
  const long a2 = quote("Alpha", 10, 0);
  db().item(a2, {.item = "Dinner", .price = money(50), .qty = 2, .tax = true});
  db().item(a2, {.item = "Wine", .price = money(10), .qty = 3});
  db().item(quote("Alpha", 10, 0, 1),
            {.item = "Dinner", .price = money(40), .qty = 2, .tip = true});
  db().item(quote("Chez Laurent - Traiteur", 0, 20),
            {.item = "Dinner", .price = money(60), .qty = 2, .tax = true, .tip = true});
  auto d = runComparison();
  // Headed by the company alone, whole when it holds a "-"; ordered by worksheet, then name.
  EXPECT_THAT(texts(d, "lblVendor1"), ElementsAre("Alpha"));
  EXPECT_THAT(texts(d, "lblVendor2"), ElementsAre("Alpha"));
  EXPECT_THAT(texts(d, "lblVendor3"), ElementsAre("Chez Laurent - Traiteur"));
  EXPECT_THAT(texts(d, "fldItem"), ElementsAre("Dinner", "Wine"));
  EXPECT_THAT(texts(d, "txtQuote1"), ElementsAre("$80.00", ""));
  EXPECT_THAT(texts(d, "txtQuote2"), ElementsAre("$110.00", "$30.00"));
  EXPECT_THAT(texts(d, "txtQuote3"), ElementsAre("$144.00", ""));  // 120 + 20 % tip, no tax
  EXPECT_THAT(texts(d, "txtTotal1"), ElementsAre("$80.00"));
  EXPECT_THAT(texts(d, "txtTotal2"), ElementsAre("$140.00"));
  EXPECT_THAT(texts(d, "txtTotal3"), ElementsAre("$144.00"));
  // No item lines, no vendor columns.
  const long empty = db().event({.name = "Empty"});
  quote("Beta", 0, 0, 2, empty);
  d = runComparison("", empty);
  EXPECT_THAT(texts(d, "lblVendor1"), IsEmpty());
  EXPECT_THAT(texts(d, "fldItem"), IsEmpty());
}

TEST_F(QuoteComparison, FiveColumnsStayPortraitSixTurnAndNineAreCutToEight) {
  const char* names[] = {"V1", "V2", "V3", "V4", "V5", "V6", "V7", "V8", "V9"};
  int made = 0;
  for (int n : {5, 6, 9}) {
    SCOPED_TRACE(n);
    for (; made < n; ++made)
      db().item(quote(names[made], 0, 0), {.item = "Dinner", .price = data::money(made + 1)});
    auto d = runComparison();
    ASSERT_FALSE(d.pages.empty());
    EXPECT_EQ(d.pages[0].landscape, n >= 6);
    ASSERT_TRUE(firstText(d, "lblTitle"));
    EXPECT_EQ(firstText(d, "lblTitle")->box.width, n >= 6 ? 14400 : 10680);
    const int shown = std::min(n, 8);
    for (int i = 1; i <= 9; ++i) {
      const auto heads = texts(d, "lblVendor" + std::to_string(i));
      const auto totals = texts(d, "txtTotal" + std::to_string(i));
      if (i <= shown) {
        EXPECT_THAT(heads, ElementsAre(names[i - 1]));
        EXPECT_THAT(totals, ElementsAre("$" + std::to_string(i) + ".00"));
      } else {
        EXPECT_THAT(heads, IsEmpty());
        EXPECT_THAT(totals, IsEmpty());
      }
    }
    if (n < 9) {
      EXPECT_THAT(host_->messages, IsEmpty());
    } else {
      ASSERT_EQ(host_->messages.size(), 1u);
      EXPECT_EQ(host_->messages[0].text,
                "You have more wedding profesionals than can be displyed on the report.  Some "
                "wedding proffesionals will not be shown.");
      EXPECT_EQ(host_->messages[0].caption, "Galvo Pro Reports");
      EXPECT_EQ(host_->messages[0].icon, engine::MessageIcon::Information);
    }
  }
}

// The rows `sql` answers, as text, read from the file opened for writing, as a user's next
// connection would open it (it rolls back a killed run's unfinished transaction).
std::string rows(const std::string& path, const std::string& sql) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  std::string out;
  auto collect = [](void* to, int n, char** values, char**) {
    auto& s = *static_cast<std::string*>(to);
    for (int i = 0; i < n; ++i) s += std::string(values[i] ? values[i] : "<null>") + "|";
    s += "\n";
    return 0;
  };
  sqlite3_exec(db, sql.c_str(), collect, &out, nullptr);
  sqlite3_close(db);
  return out;
}

// How many rows the kept work table holds.
std::string keptRows(const std::string& path) {
  return rows(path, "SELECT Count(*) FROM VENDOR_SUMMARY");
}

// Every row of every table but the one the comparison keeps on purpose.
std::string dumpWithoutWorkTable(const std::string& path) {
  const std::string names = rows(path,
                                 "SELECT name FROM sqlite_master WHERE type = 'table' AND name <> "
                                 "'VENDOR_SUMMARY' ORDER BY name");
  std::string out;
  for (std::size_t at = 0, nl; (nl = names.find("|\n", at)) != std::string::npos; at = nl + 2) {
    const std::string n = names.substr(at, nl - at);
    out += n + ":\n" + rows(path, "SELECT * FROM \"" + n + "\" ORDER BY rowid");
  }
  return out;
}

TEST_F(QuoteComparison, TheWorkTableIsKeptWholeReplacedByTheNextRunAndNeverHalfMade) {
  db().exec("CREATE TABLE VENDOR_SUMMARY (Junk TEXT)");
  db().exec("INSERT INTO VENDOR_SUMMARY VALUES ('left from an earlier run')");
  const long a = quote("Alpha", 0, 0);
  db().item(a, {.item = "Dinner", .price = data::money(10)});
  db().item(a, {.item = "Wine", .price = data::money(5)});
  EXPECT_THAT(texts(runComparison(), "txtTotal1"), ElementsAre("$15.00"));
  EXPECT_EQ(keptRows(db().path()), "2|\n");
  // The next comparison replaces it.
  db().item(a, {.item = "Cake", .price = data::money(1)});
  EXPECT_THAT(texts(runComparison(), "txtTotal1"), ElementsAre("$16.00"));
  EXPECT_EQ(keptRows(db().path()), "3|\n");

  // Runs killed at any moment leave everything else as it was; what is kept is one whole
  // comparison (or none, when a run was killed between dropping the old one and copying its
  // own), never a mixture or a half-made table.
  const std::string before = dumpWithoutWorkTable(db().path());
  killRunsMidway([&] { return !texts(runComparison(), "txtTotal1").empty(); },
                 [&](int k) { EXPECT_EQ(dumpWithoutWorkTable(db().path()), before) << k; });
  if (!rows(db().path(), "SELECT name FROM sqlite_master WHERE name = 'VENDOR_SUMMARY'").empty()) {
    EXPECT_EQ(keptRows(db().path()), "3|\n");
  }
}

TEST_F(QuoteComparison, RunsAtOnceEachPrintTheirOwnEvent) {
  const long other = db().event({.name = "Other"});
  db().item(quote("Alpha", 0, 0), {.item = "Dinner", .price = data::money(10)});
  db().item(quote("Beta", 0, 0, 2, other), {.item = "Dinner", .price = data::money(70)});
  std::atomic<int> wrong{0};
  auto runs = [&](long event, const char* total) {
    for (int i = 0; i < 8; ++i) {
      try {
        Report factory;
        auto r = factory.GetNewReport("Event Pros - Quote Comparison");
        r->set("ConnectionString", db().connectionString());
        r->set("EventID", Variant(static_cast<int>(event)));
        auto d = r->run(nullptr, std::make_shared<frame::RecordingHost>());
        wrong += texts(d, "txtTotal1") != std::vector<std::string>{total};
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
        ++wrong;
      }
    }
  };
  std::thread t1(runs, event_, "$10.00"), t2(runs, other, "$70.00");
  t1.join();
  t2.join();
  EXPECT_EQ(wrong.load(), 0);
}

TEST_F(QuoteComparison, AnUnexpectedErrorIsShownThenTheRunFails) {
  db().item(quote("Alpha", 0, 0), {.item = "Dinner", .price = data::money(10)});
  auto r = report("Event Pros - Quote Comparison");
  r->set("EventID", Variant(static_cast<int>(event_)));
  r->set("SQLWhere", Variant("WHERE Nowhere.Nothing = 1 "));
  EXPECT_NE(runError(*r), "no error");
  ASSERT_EQ(host_->messages.size(), 1u);
  EXPECT_THAT(host_->messages[0].text,
              StartsWith("An unexpected error has occured: \r\nError Number: 80040E"));
  EXPECT_THAT(host_->messages[0].text, ::testing::HasSubstr("\r\nError Description: "));
  EXPECT_EQ(host_->messages[0].caption, "Galvo Pro Reports");
  EXPECT_EQ(host_->messages[0].icon, engine::MessageIcon::Exclamation);
}

}  // namespace
}  // namespace galvix::testing
