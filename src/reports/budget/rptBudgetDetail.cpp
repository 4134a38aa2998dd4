// Budget worksheets: the worksheet items of an event by expense category, each category with
// its sub total, tax and tip totals and grand total.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/budget/item_lines.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptBudgetDetail);

namespace galvix::reports {
namespace {

class RptBudgetDetail : public frame::FrameReport {
 public:
  RptBudgetDetail() : FrameReport(engine::layouts::rptBudgetDetail()) {
    addProperty("WorkSheetType",
                [this](const Variant& v) { workSheetType_ = frame::propInteger(v); });
    onFormat("ghSummary", [this] {
      // The first row's rates serve the whole category.
      if (hasRows())
        totals_.takeRates(fieldValue("VendorAssignments.Tax"), fieldValue("VendorAssignments.Tip"));
    });
    onFormat("Detail", [this] { totals_.addLine(*this, "txtPrice", "txtAmount"); });
    onFormat("gfSummary", [this] { formatTotals(); });
    printDateOn("PageHeader");
  }

  // The event's clause is composed when the where clause is set, from the EventID set before.
  void setSQLWhere(std::string w) override { FrameReport::setSQLWhere(eventClause(w, eventId())); }

  void onReportStart() override {
    startFrame(false);
    data().setSource(
        "SELECT DISTINCTROW ExpenseCategories.Category, Vendors.CompanyName, Vendors.WWW, "
        "IIF(Trim(Vendors.Address & '') = '', '',Vendors.Address + chr(13)) + "
        "IIF(Trim(Vendors.City & '') = '', '',Vendors.City + ', ') + IIF(Trim(Vendors.State & '') "
        "= '', '',Vendors.State + '  ') + IIF(Trim(Vendors.PostalCode & '') = '', "
        "'',Vendors.PostalCode) + IIF(Trim(Vendors.Country & '') = '', '', chr(13) + "
        "Vendors.Country) as Address, VendorAssignments.VendorAssignmentID, "
        "VendorAssignments.DeliveryDate, VendorAssignments.DeliveryTime,"
        "VendorAssignments.DeliveryAddress, VendorAssignments.CancellationPolicy, "
        "VendorAssignments.Notes, VendorAssignments.PrimaryContactID, "
        "VendorAssignments.SecondaryContactID, VendorAssignments.Tax, VendorAssignments.Tip, "
        "Items.Tax, Items.Tip, Items.Item, Items.Price, Items.Description, Items.Qty, "
        "[Items.Price]*[Items.Qty] AS Amount, EventRoles.Role, VendorAssignments.WorksheetType "
        "FROM Vendors INNER JOIN ((ExpenseCategories INNER JOIN (SPCategories INNER JOIN "
        "VendorAssignments ON SPCategories.CategoryID = VendorAssignments.CategoryID) ON "
        "ExpenseCategories.CategoryID = SPCategories.CategoryID) INNER JOIN (EventRoles RIGHT "
        "JOIN Items ON EventRoles.RoleID = Items.PaidBy) ON VendorAssignments.VendorAssignmentID = "
        "Items.VendorAssignmentID) ON Vendors.VendorID = VendorAssignments.VendorID " +
        withWorkSheetType() + " ORDER BY Category, Items.Item");
  }

 private:
  // The worksheets print the worksheet they were asked for (the budget worksheet from the
  // catalogue), not the estimates and actual lines of the same categories mixed in; the
  // condition joins the stored clause as the estimates' does.
  std::string withWorkSheetType() const {
    const std::string type = std::to_string(workSheetType_);
    if (vb::upper(sqlWhere()).find("WHERE") != std::string::npos)
      return sqlWhere() + " and VendorAssignments.WorkSheetType = " + type;
    return " WHERE VendorAssignments.WorkSheetType = " + type + " " + sqlWhere();
  }

  void formatTotals() {
    auto& sub = field("txtSubTtl");
    field("txtGrandTtl")
        .setDataValue(Format(Variant::dbl(totals_.grandTotal(sub.value())), "Currency"));
    sub.setDataValue(Format(sub.value(), "Currency"));
    label("lblTaxTtl").setCaption(totals_.taxCaption());
    label("lblTipTtl").setCaption(totals_.tipCaption());
    field("txtTaxTtl").setDataValue(Format(Variant(totals_.tax()), "Currency"));
    field("txtTipTtl").setDataValue(Format(Variant(totals_.tip()), "Currency"));
    totals_.reset();
  }

  std::int16_t workSheetType_ = 0;
  ItemTotals totals_;
};

const frame::DesignerRegistration reg("rptBudgetDetail",
                                      [] { return std::make_unique<RptBudgetDetail>(); });

}  // namespace
}  // namespace galvix::reports
