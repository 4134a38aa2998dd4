// Event pro estimates: per event professional of an event, the company block (address,
// numbers, two contacts, delivery, payment schedule, notes), the estimate's item lines with
// sub, tax, tip and grand totals, and the cancellation policy, one company per page. With its
// item bands hidden it is the event pros' contact information.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/budget/item_lines.h"
#include "runtime/dates.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptWPDetail);

namespace galvix::reports {
namespace {

class RptWPDetail : public frame::FrameReport {
 public:
  RptWPDetail() : FrameReport(engine::layouts::rptWPDetail()) {
    addProperty("WorkSheetType",
                [this](const Variant& v) { workSheetType_ = frame::propInteger(v); });
    onFormat("ghCompanyInfo", [this] { formatCompany(); });
    onFormat("Detail", [this] { formatItem(); });
    onBeforePrint("gfDetail", [this] {
      auto& sub = field("txtSubTtl");
      field("txtGrandTtl")
          .setDataValue(Format(Variant::dbl(totals_.grandTotal(sub.value())), "Currency"));
      sub.setDataValue(Format(sub.value(), "Currency"));
    });
    printDateOn("PageHeader");
  }

  // The event's clause is composed when the where clause is set, from the EventID set before.
  void setSQLWhere(std::string w) override { FrameReport::setSQLWhere(eventClause(w, eventId())); }

  void onReportStart() override {
    startFrame(true);
    // Always the estimates, whatever the caller set.
    workSheetType_ = 2;
    const std::string type = std::to_string(workSheetType_);
    std::string tail = vb::upper(sqlWhere()).find("WHERE") != std::string::npos
                           ? sqlWhere() + " and VendorAssignments.WorkSheetType = " + type
                           : " WHERE VendorAssignments.WorkSheetType = " + type + " " + sqlWhere();
    data().setSource(
        "SELECT DISTINCTROW ExpenseCategories.Category, Vendors.CompanyName, "
        "Vendors.MainBusinessLine, Vendors.MainFaxLine, Vendors.WWW, IIF(Trim(Vendors.Address & "
        "'') = '', '',Vendors.Address + chr$(13) & chr$(10)) + IIF(Trim(Vendors.City & '') = '', "
        "'',Vendors.City + ', ') + IIF(Trim(Vendors.State & '') = '', '',Vendors.State + '  ') + "
        "IIF(Trim(Vendors.PostalCode & '') = '', '',Vendors.PostalCode) + "
        "IIF(Trim(Vendors.Country & '') = '', '', chr(13)& chr$(10) + Vendors.Country) as "
        "Address, VendorAssignments.VendorAssignmentID, VendorAssignments.DeliveryDate, "
        "VendorAssignments.DeliveryTime,VendorAssignments.DeliveryAddress, "
        "VendorAssignments.CancellationPolicy, VendorAssignments.Notes, "
        "VendorAssignments.PrimaryContactID, VendorAssignments.SecondaryContactID, "
        "VendorAssignments.Tax, VendorAssignments.Tip, Items.Tax, Items.Tip, Items.Item, "
        "Items.Price, Items.Description, Items.Qty, [Items.Price]*[Items.Qty] AS Amount, "
        "EventRoles.Role, VendorAssignments.WorksheetType FROM (Vendors INNER JOIN "
        "((ExpenseCategories INNER JOIN (SPCategories INNER JOIN VendorAssignments ON "
        "SPCategories.CategoryID = VendorAssignments.CategoryID) ON ExpenseCategories.CategoryID "
        "= SPCategories.CategoryID) INNER JOIN Items ON VendorAssignments.VendorAssignmentID = "
        "Items.VendorAssignmentID) ON Vendors.VendorID = VendorAssignments.VendorID) LEFT JOIN "
        "EventRoles ON Items.PaidBy = EventRoles.RoleID " +
        tail + " Order By ExpenseCategories.Category, Vendors.CompanyName, Items.Item");
  }

 private:
  void formatCompany() {
    if (!hasRows()) return;
    totals_.reset();
    totals_.takeRates(fieldValue("VendorAssignments.Tax"), fieldValue("VendorAssignments.Tip"));
    const std::int32_t assignment = fieldValue("VendorAssignmentID").toLong();
    auto& delivery = field("txtDeliveryDate");
    delivery.setText(Format(delivery.value(), "General Date"));
    fillContact("1", fieldValue("PrimaryContactID"));
    fillContact("2", fieldValue("SecondaryContactID"));
    fillPayments(assignment);
  }

  void fillContact(const std::string& n, const Variant& contactId) {
    static const char* const kFields[] = {"txtContact", "txtPhone", "txtMobile",
                                          "txtFax",     "txtPager", "txtEMail"};
    static const char* const kColumns[] = {"ContactName", "Phone", "Mobile",
                                           "Fax",         "Pager", "EMail"};
    sideQuery(
        "SELECT IIf(Trim(VendorContacts.Title+'')='','',VendorContacts.Title+' ')+ "
        "IIf(Trim(VendorContacts.FirstName+'')='','',VendorContacts.FirstName+' ') + "
        "IIf(Trim(VendorContacts.LastName+'')='','',VendorContacts.LastName+' ') + "
        "IIf(Trim(VendorContacts.Suffix & '')='','',VendorContacts.Suffix) As ContactName, "
        "VendorContacts.Phone, VendorContacts.Fax, VendorContacts.Mobile, VendorContacts.Pager, "
        "VendorContacts.EMail FROM VendorContacts WHERE VendorContacts.ContactID = " +
            (contactId.isNull() ? std::string() : contactId.toString()),
        [&](db::Recordset& rs) {
          const bool none = rs.BOF() && rs.EOF_();
          for (size_t i = 0; i < std::size(kFields); ++i) {
            Variant v = none ? Variant::null() : rs.value(kColumns[i]);
            field(kFields[i] + n).setText(v.isNull() ? std::string() : v.toString());
          }
        });
  }

  void fillPayments(std::int32_t assignment) {
    std::string types, amounts, dues, paid;
    Currency total{};
    sideQuery(
        "SELECT DefPaymentSchedule.PaymentType, PaymentSchedule.Amount, PaymentSchedule.DueDate, "
        "PaymentSchedule.Paid FROM DefPaymentSchedule INNER JOIN PaymentSchedule ON "
        "DefPaymentSchedule.PaymentTypeID = PaymentSchedule.PaymentTypeID Where "
        "PaymentSchedule.VendorAssignmentID = " +
            std::to_string(assignment) +
            " AND PaymentSchedule.Amount > 0 ORDER BY DefPaymentSchedule.SortOrder",
        [&](db::Recordset& rs) {
          for (; !rs.EOF_(); rs.moveNext()) {
            const Variant amount = rs.value("Amount");
            const Variant due = rs.value("DueDate");
            types += rs.value("PaymentType").displayText() + "\r";
            amounts += Format(amount, "Currency") + "\r";
            dues += (due.isNull() ? std::string() : shortDate(due)) + "\r";
            paid += Format(rs.value("Paid"), "Yes/No") + "\r";
            total = total + amount.toCurrency();
          }
        });
    field("txtPaymentType").setText(types);
    field("txtAmount").setText(amounts);
    field("txtDueDate").setText(dues);
    field("txtPaid").setText(paid);
    field("txtPayTtl").setText(Format(Variant(total), "Currency"));
  }

  // The date part in the regional short date form.
  static std::string shortDate(const Variant& d) { return Format(d, "Short Date"); }

  void formatItem() {
    totals_.addLine(*this, "txtAPrice", "txtAAmount");
    label("lblTaxTtl").setCaption(totals_.taxCaption());
    label("lblTipTtl").setCaption(totals_.tipCaption());
    field("txtTaxTtl").setDataValue(Format(Variant(totals_.tax()), "Currency"));
    field("txtTipTtl").setDataValue(Format(Variant(totals_.tip()), "Currency"));
  }

  std::int16_t workSheetType_ = 0;
  ItemTotals totals_;
};

const frame::DesignerRegistration reg("rptWPDetail",
                                      [] { return std::make_unique<RptWPDetail>(); });

}  // namespace
}  // namespace galvix::reports
