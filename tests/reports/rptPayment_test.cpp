#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class PaymentSchedule : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    music_ = db().expenseCategory("Music");
    cake_ = db().expenseCategory("Cake");
    dj_ = db().vendor({.company = "DJ Sol"});
    baker_ = db().vendor({.company = "Bakery"});
  }
  doc::Document runSchedule(const std::string& where = {}) {
    auto r = report("Event Pros - Payment Schedule");
    r->set("EventID", Variant(static_cast<int>(event_)));
    if (!where.empty()) r->set("SQLWhere", Variant(where));
    return run(*r);
  }
  long event_ = 0, music_ = 0, cake_ = 0, dj_ = 0, baker_ = 0;
};

TEST_F(PaymentSchedule, SelectedPaymentsAboveZeroByDueDateWithInvoiceOrNA) {
  using data::date;
  using data::money;
  const long dj = db().assignment(event_, music_, dj_, {.worksheetType = 2, .selected = true});
  const long cake = db().assignment(event_, cake_, baker_, {.worksheetType = 1, .selected = true});
  const long quote = db().assignment(event_, cake_, dj_, {.worksheetType = 2});  // not selected
  const long other = db().assignment(db().event({.name = "Other"}), music_, dj_,
                                     {.worksheetType = 2, .selected = true});
  const long inv = db().invoice(event_, {.number = "INV-7"});
  db().payment(dj, {.type = "Final payment", .amount = money(900), .due = date(2027, 6, 1)});
  db().payment(dj, {.type = "Deposit",
                    .amount = money(300),
                    .due = date(2026, 1, 5),
                    .paidOn = date(2026, 1, 3),
                    .paid = true});
  db().payment(
      cake,
      {.type = "Deposit", .amount = money(120.25), .due = date(2026, 3, 1), .invoiceId = inv});
  db().payment(cake, {.type = "Second payment", .amount = money(0), .due = date(2026, 4, 1)});
  db().payment(cake, {.type = "Refund", .amount = money(-50), .due = date(2026, 4, 2)});
  db().payment(quote, {.amount = money(777), .due = date(2026, 2, 1)});
  db().payment(other, {.amount = money(555), .due = date(2026, 2, 1)});
  auto d = runSchedule();
  EXPECT_THAT(texts(d, "txtCompanyName"), ElementsAre("DJ Sol", "Bakery", "DJ Sol"));
  EXPECT_THAT(texts(d, "Field4"), ElementsAre("Music", "Cake", "Music"));
  EXPECT_THAT(texts(d, "txtDate"), ElementsAre("1/5/2026", "3/1/2026", "6/1/2027"));
  EXPECT_THAT(texts(d, "txtPaymentAmount"), ElementsAre("$300.00", "$120.25", "$900.00"));
  EXPECT_THAT(texts(d, "Field5"), ElementsAre("N / A", "INV-7", "N / A"));
  EXPECT_THAT(texts(d, "txtTotal"), ElementsAre("$1,320.25"));
  // The paid one shows the date it was paid beside its box; the others nothing.
  std::vector<std::string> captions;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* c = std::get_if<doc::CheckBox>(&it.content); c && it.control == "chkPaid")
        captions.push_back(c->caption);
  EXPECT_THAT(captions, ElementsAre("1/3/2026", "", ""));
  // The caller's clause comes before the event's.
  d = runSchedule("WHERE ExpenseCategories.Category = 'Cake' ");
  EXPECT_THAT(texts(d, "txtCompanyName"), ElementsAre("Bakery"));
  EXPECT_THAT(texts(d, "txtTotal"), ElementsAre("$120.25"));
}

}  // namespace
}  // namespace galvix::testing
