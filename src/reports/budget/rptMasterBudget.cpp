// Master budget summary: the amounts kept per expense category of an event (suggested budget,
// budget, actual, payments) with the over/under and the balance still due, and totals.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptMasterBudget);

namespace galvix::reports {
namespace {

// A shown amount read back as a number; an empty one (no amount kept) counts as 0.
double shown(const engine::Field& f) {
  return f.text().empty() ? 0.0 : Variant(f.text()).toDouble();
}

void showAsCurrency(engine::Field& f) {
  f.setDataValue(Format(f.value(), "Currency"));
}

// A total over no amounts is 0, not blank.
void showTotal(engine::Field& f) {
  const Variant& v = f.value();
  f.setDataValue(Format(v.isNull() || v.isEmpty() ? Variant::dbl(0) : v, "Currency"));
}

class RptMasterBudget : public frame::FrameReport {
 public:
  RptMasterBudget() : FrameReport(engine::layouts::rptMasterBudget()) {
    onFormat("Detail", [this] { formatCategory(); });
    onBeforePrint("gfSummary", [this] { printTotals(); });
    printDateOn("PageHeader");
  }

  void onReportStart() override {
    startFrame(false);
    data().setSource(
        "SELECT DISTINCTROW ExpenseCategories.Category, SPCategories.ABudget, SPCategories.Budget, "
        "SPCategories.Actual, SPCategories.PaymentsMade FROM ExpenseCategories INNER JOIN "
        "spCategories ON ExpenseCategories.CategoryID = spCategories.CategoryID WHERE "
        "spCategories.EventID = " +
        std::to_string(eventId()) + " ORDER BY ExpenseCategories.Category");
  }

 private:
  void formatCategory() {
    for (const char* f : {"cncBudgetSorvik", "cncBudget", "cncActual", "cncPayments"})
      showAsCurrency(field(f));
    auto& balance = field("cncBalance");
    auto& overUnder = field("cncOverUnder");
    // No actual amount yet: nothing is over or under, nothing is due.
    if (field("cncActual").text().empty()) {
      balance.setDataValue(Variant(std::string()));
      overUnder.setDataValue(Variant(std::string()));
      return;
    }
    const double actual = shown(field("cncActual"));
    balance.setDataValue(Format(Variant::dbl(actual - shown(field("cncPayments"))), "Currency"));
    overUnder.setDataValue(Format(Variant::dbl(actual - shown(field("cncBudget"))), "Currency"));
  }

  // The totals of budget and actual cover every category, also those without an actual, so
  // the total over/under is not the sum of the lines'.
  void printTotals() {
    for (const char* f : {"cncBudgetSorvikTtl", "cncBudgetTtl", "cncActualTtl"})
      showTotal(field(f));
    field("cncOverUnderTtl")
        .setDataValue(Format(
            Variant::dbl(shown(field("cncActualTtl")) - shown(field("cncBudgetTtl"))), "Currency"));
    showTotal(field("cncPaymentsTtl"));
    field("cncBalanceTtl")
        .setDataValue(
            Format(Variant::dbl(shown(field("cncActualTtl")) - shown(field("cncPaymentsTtl"))),
                   "Currency"));
  }
};

const frame::DesignerRegistration reg("rptMasterBudget",
                                      [] { return std::make_unique<RptMasterBudget>(); });

}  // namespace
}  // namespace galvix::reports
