// Payment schedule: every scheduled payment above 0 to the event's selected event
// professionals, by due date, with paid date, invoice number and a grand total.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptPayment);

namespace galvix::reports {
namespace {

class RptPayment : public frame::FrameReport {
 public:
  RptPayment() : FrameReport(engine::layouts::rptPayment()) {
    onFormat("Detail", [this] { formatPayment(); });
    onBeforePrint("gfDetail", [this] {
      auto& t = field("txtTotal");
      t.setDataValue(Format(t.value().isNull() || t.value().isEmpty() ? Variant::dbl(0) : t.value(),
                            "Currency"));
    });
    printDateOn("PageHeader");
  }

  void onReportStart() override {
    startFrame(false);
    std::string sql =
        "SELECT Vendors.CompanyName, ExpenseCategories.Category, DefPaymentSchedule.PaymentType, "
        "PaymentSchedule.Amount, PaymentSchedule.DueDate, PaymentSchedule.Paid, "
        "PaymentSchedule.PaymentDate, VendorAssignments.EventID, IIF(Invoices.InvoiceNumber Is "
        "Null, 'N / A', Invoices.InvoiceNumber) as InvoiceNo FROM Invoices RIGHT JOIN (Vendors "
        "INNER JOIN ((VendorAssignments INNER JOIN ExpenseCategories ON "
        "VendorAssignments.CategoryID = ExpenseCategories.CategoryID) INNER JOIN "
        "(DefPaymentSchedule INNER JOIN PaymentSchedule ON DefPaymentSchedule.PaymentTypeID = "
        "PaymentSchedule.PaymentTypeID) ON VendorAssignments.VendorAssignmentID = "
        "PaymentSchedule.VendorAssignmentID) ON Vendors.VendorID = VendorAssignments.VendorID) ON "
        "Invoices.InvoiceID = PaymentSchedule.InvoiceID ";
    sql += sqlWhere().empty() ? "WHERE VendorAssignments.EventID = "
                              : sqlWhere() + "AND VendorAssignments.EventID = ";
    sql += std::to_string(eventId()) + " AND Selected = True " + "AND PaymentSchedule.Amount > 0 " +
           "ORDER BY PaymentSchedule.DueDate";
    data().setSource(sql);
  }

 private:
  void formatPayment() {
    auto& amount = field("txtPaymentAmount");
    amount.setDataValue(Format(amount.value(), "Currency"));
    auto& due = field("txtDate");
    due.setDataValue(Format(due.value(), "General Date"));
    // A paid payment shows the date it was paid beside its box.
    const Variant paidOn = fieldValue("PaymentDate");
    checkBox("chkPaid").setCaption(paidOn.isNull() ? std::string() : paidOn.toString());
  }
};

const frame::DesignerRegistration reg("rptPayment", [] { return std::make_unique<RptPayment>(); });

}  // namespace
}  // namespace galvix::reports
