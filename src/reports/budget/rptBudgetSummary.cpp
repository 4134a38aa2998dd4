// Budget summary: budget, actual and (over)/under per expense category of an event, from a
// work table of item amounts (with tax and tip) read through a crosstab by worksheet type.
#include "db/connection.h"
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptBudgetSummary);

namespace galvix::reports {
namespace {

class RptBudgetSummary : public frame::FrameReport {
 public:
  RptBudgetSummary() : FrameReport(engine::layouts::rptBudgetSummary()) {
    onFormat("Detail", [this] { formatCategory(); });
    onBeforePrint("gfSummary", [this] { printTotals(); });
    printDateOn("PageFooter");
  }

  // Made by each run as its own: two summaries at once never read each other's amounts, and a
  // run that dies leaves nothing in the database.
  std::vector<std::string> workTables() const override { return {"BUDGET_REPORT"}; }

  // The work table lives until the report object ends.
  ~RptBudgetSummary() override {
    try {
      if (conn_ && conn_->isOpen()) conn_->execute("DROP TABLE BUDGET_REPORT");
    } catch (...) {
    }
    try {
      if (conn_) conn_->close();
    } catch (...) {
    }
  }

  void onReportStart() override {
    startFrame(false);
    conn_ = std::make_unique<db::Connection>();
    conn_->open(data().connectionString());
    const std::string id = std::to_string(eventId());
    const std::string makeTable =
        "SELECT SPCategories.EventID, ExpenseCategories.Category, VendorAssignments.Tax AS "
        "TaxRate, VendorAssignments.Tip AS TipRate, SPCategories.VendorRequired, "
        "VendorAssignments.WorksheetType, Items.PaidBy, Items.Tax, Items.Tip, Items.Item, "
        "Items.Qty, Items.Price, [Price]*[Qty] AS Total, "
        "IIf([Items.Tax]=True,[Total]*[TaxRate]*0.01,0) AS TotalTax, "
        "IIf([Items.Tip]=True,[Total]*[TipRate]*0.01,0) AS TotalTip, "
        "[Total]+[TotalTax]+[TotalTip] AS GrandTotal INTO BUDGET_REPORT FROM (VendorAssignments "
        "INNER JOIN Items ON VendorAssignments.VendorAssignmentID = Items.VendorAssignmentID) "
        "INNER JOIN (ExpenseCategories INNER JOIN SPCategories ON ExpenseCategories.CategoryID = "
        "SPCategories.CategoryID) ON VendorAssignments.CategoryID = ExpenseCategories.CategoryID "
        "Where (((SPCategories.EventID) = " +
        id +
        ") And ((VendorAssignments.WorkSheetType) = IIf([SPCategories.VendorRequired] = True, "
        "2, 1) Or (VendorAssignments.WorkSheetType) = 0)) AND VendorAssignments.EventID = " +
        id;
    try {
      conn_->execute(makeTable);
    } catch (const db::DbError& first) {
      // A table left by a run that did not end cleanly: drop it and try once more. When the
      // drop fails too, the first error is the one that says what is wrong.
      try {
        conn_->execute("DROP TABLE BUDGET_REPORT");
      } catch (const db::DbError& drop) {
        throw db::DbError(first.number(),
                          first.description() + " (then dropping the work table to try again: " +
                              drop.description() + ")",
                          first.sqlWritten(), first.sqlExecuted(), first.position());
      }
      conn_->execute(makeTable);
    }
    conn_->close();
    conn_->open(data().connectionString());
    data().setSource(
        "TRANSFORM Sum(BUDGET_REPORT.GrandTotal) AS SumOfGrandTotal SELECT "
        "BUDGET_REPORT.VendorRequired,BUDGET_REPORT.Category, Sum(BUDGET_REPORT.GrandTotal) AS "
        "[Total Of GrandTotal] From BUDGET_REPORT " +
        sqlWhere() +
        "GROUP BY BUDGET_REPORT.VendorRequired, BUDGET_REPORT.Category ORDER BY "
        "BUDGET_REPORT.Category PIVOT BUDGET_REPORT.WorksheetType ");
  }

 private:
  // A pivot column the row does not have, and a Null cell, count as 0.
  static double cell(const engine::RowView& rs, const char* column) {
    if (!rs.hasField(column)) return 0;
    Variant v = rs.value(column);
    return v.isNull() ? 0 : v.toDouble();
  }

  void formatCategory() {
    auto& rs = data().recordset();
    if (!hasRows()) return;
    Variant required = rs.value("VendorRequired");
    bool vendorRequired = !required.isNull() && required.toBool();
    double budget = cell(rs, "0");
    double actual = cell(rs, vendorRequired ? "2" : "1");
    auto& b = field("cncBudget");
    auto& a = field("cncActual");
    b.setText(Format(Variant::dbl(budget), "Currency"));
    a.setText(Format(Variant::dbl(actual), "Currency"));
    // The difference and the totals use the amounts as displayed.
    double shownBudget = Variant(b.text()).toDouble(), shownActual = Variant(a.text()).toDouble();
    field("cncOverUnder").setDataValue(Format(Variant::dbl(shownBudget - shownActual), "Currency"));
    field("cncOverUnder").setText(Format(Variant::dbl(shownBudget - shownActual), "Currency"));
    budgetTotal_ = budgetTotal_ + Variant(b.text()).toCurrency();
    actualTotal_ = actualTotal_ + Variant(a.text()).toCurrency();
  }

  void printTotals() {
    field("cncBudgetTtl").setText(Format(Variant::currency(budgetTotal_), "Currency"));
    field("cncActualTtl").setText(Format(Variant::currency(actualTotal_), "Currency"));
    field("cncOverUnderTtl")
        .setText(Format(Variant::currency(budgetTotal_ - actualTotal_), "Currency"));
  }

  std::unique_ptr<db::Connection> conn_;
  Currency budgetTotal_{}, actualTotal_{};
};

const frame::DesignerRegistration reg("rptBudgetSummary",
                                      [] { return std::make_unique<RptBudgetSummary>(); });

}  // namespace
}  // namespace galvix::reports
