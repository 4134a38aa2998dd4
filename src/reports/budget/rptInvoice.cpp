// Invoice: one stored invoice of an event under the planner's letterhead (own company block and
// logo, read again for every page), with its item lines (tax and tip included) and the
// professionals' payments billed on it, and the total.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "frame/host.h"
#include "reports/common/picture_file.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptInvoice);

namespace galvix::reports {
namespace {

// The logo goes through a file in the database folder the planning application records.
std::string logoFilePath() {
  return tempPicturePath(frame::getSetting("GalvoPro5", "Options", "DBPathLocation").value_or(""));
}

std::string text(const Variant& v) {
  return v.isNull() ? std::string() : v.toString();
}

class RptInvoice : public frame::FrameReport {
 public:
  RptInvoice() : FrameReport(engine::layouts::rptInvoice()) {
    addProperty("InvoiceID", [this](const Variant& v) { invoiceId_ = frame::propLong(v); });
    addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
    onFormat("PageHeader", [this] { letterhead(); });
    onFormat("Detail", [this] {
      auto& amount = field("txtAmount");
      amount.setText(Format(amount.value(), "Currency"));
    });
    onBeforePrint("GroupFooter1", [this] {
      // The footer was formatted with its group, before the first page header read the note.
      field("txtInvoiceNote").setText(note_);
      auto& total = field("txtTotal");
      total.setText(Format(Variant(total.text()), "Currency"));
    });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    const std::string inv = std::to_string(invoiceId_), ev = std::to_string(eventId());
    data().setSource(
        "SELECT Items.ItemID, \"0\" AS SortOrder, 0 as Payment, ExpenseCategories.Category, "
        "\"Line Item\" AS CompanyName, [Item]+IIf(IsNull([Description]),\"\", [Description]) AS "
        "PaymentType, [Price]*[Qty]+IIf([Items.Tax], "
        "[VendorAssignments].[Tax]*0.01*([Price]*[Qty]),0)+IIf([Items.Tip], "
        "[VendorAssignments].[Tip]*0.01*([Price]*[Qty]),0) AS Amount,  \"\" as DueDate FROM "
        "((ExpenseCategories INNER JOIN VendorAssignments ON ExpenseCategories.CategoryID = "
        "VendorAssignments.CategoryID) INNER JOIN SPCategories ON ExpenseCategories.CategoryID = "
        "SPCategories.CategoryID) INNER JOIN Items ON VendorAssignments.VendorAssignmentID = "
        "Items.VendorAssignmentID WHERE VendorAssignments.WorksheetType = 1 And Items.InvoiceID "
        "= " +
        inv + " And VendorAssignments.EventID = " + ev + " AND SPCategories.EventID = " + ev +
        " ORDER BY ExpenseCategories.Category,Items.Item, \"0\" Union SELECT "
        "PaymentSchedule.PaymentID, DefPaymentSchedule.SortOrder, -1 as Payment, "
        "ExpenseCategories.Category, Vendors.CompanyName, DefPaymentSchedule.PaymentType, "
        "PaymentSchedule.Amount, DueDate FROM (DefPaymentSchedule INNER JOIN (Vendors INNER JOIN "
        "((VendorAssignments INNER JOIN PaymentSchedule ON VendorAssignments.VendorAssignmentID = "
        "PaymentSchedule.VendorAssignmentID) INNER JOIN ExpenseCategories ON "
        "VendorAssignments.CategoryID = ExpenseCategories.CategoryID) ON Vendors.VendorID = "
        "VendorAssignments.VendorID) ON DefPaymentSchedule.PaymentTypeID = "
        "PaymentSchedule.PaymentTypeID) INNER JOIN SPCategories ON ExpenseCategories.CategoryID "
        "= SPCategories.CategoryID WHERE VendorAssignments.WorksheetType = 2 And "
        "PaymentSchedule.InvoiceID = " +
        inv + " And VendorAssignments.EventID = " + ev + " AND SPCategories.EventID = " + ev +
        " ORDER BY ExpenseCategories.Category, CompanyName, SortOrder");
  }

 private:
  // Every page: the own company block and logo, then the invoice's header fields.
  void letterhead() {
    sideQuery(
        "SELECT IIF(Trim(Vendors.CompanyName & '') = '', '',Vendors.CompanyName + chr(13)) + "
        "IIF(Trim(Vendors.Address & '') = '', '',Vendors.Address + chr(13)) + "
        "IIF(Trim(Vendors.City & '') = '', '',Vendors.City + ', ') + IIF(Trim(Vendors.State & "
        "'') = '', '',Vendors.State + '  ') + IIF(Trim(Vendors.PostalCode & '') = '', "
        "'',Vendors.PostalCode) + IIF(Trim(Vendors.Country & '') = '', '', chr(13) + "
        "Vendors.Country) as MyCompanyInfo, ImageLibrary.ImageBLOB FROM Vendors INNER JOIN "
        "ImageLibrary ON Vendors.VendorID = ImageLibrary.VendorID WHERE MyCompany = -1 ",
        [this](db::Recordset& rs) {
          if (rs.EOF_()) return;
          field("txtMyCompany").setText(rs.value("MyCompanyInfo").toString());
          Bytes image = readPictureThroughFile(rs.fields("ImageBLOB"), logoFilePath(), 100);
          // An empty column leaves the logo as it was.
          if (!image.empty()) {
            logo_ = loadPicture(std::move(image), "ImageBLOB", logo_);
            picture("imgLogo").setPicture(logo_);
          }
        });
    const std::string inv = std::to_string(invoiceId_), ev = std::to_string(eventId());
    sideQuery(
        "SELECT Events.EventName, Invoices.InvoiceNumber, Invoices.InvoiceDate, "
        "Invoices.DueDate, Invoices.CreatedBy, Invoices.PaymentTerms, "
        "Invoices.InvoiceDescription, Invoices.Amount, IIF(Trim(Invoices.BillToName+ '') = '' , "
        "'', Invoices.BillToName + chr(13)) + IIF(Trim(Invoices.BillToAddress+ '') = '' , '', "
        "Invoices.BillToAddress) AS BillTo, Invoices.BillToPhone, Invoices.BillToFax, "
        "Invoices.BillToEMail, Invoices.InvoiceNote FROM Events INNER JOIN Invoices ON "
        "Events.EventID = Invoices.EventID WHERE Events.EventID = " +
            ev + " AND Invoices.InvoiceID = " + inv,
        [this](db::Recordset& rs) {
          if (rs.EOF_()) return;
          field("txtBillTo").setText(text(rs.value("BillTo")));
          field("txtDateCreated").setText(text(rs.value("InvoiceDate")));
          field("txtInvoiceNumber").setText(text(rs.value("InvoiceNumber")));
          field("txtTerms").setText(text(rs.value("PaymentTerms")));
          field("txtDueDate").setText(text(rs.value("DueDate")));
          field("txtCreatedBy").setText(text(rs.value("CreatedBy")));
          field("txtEventName").setText(text(rs.value("EventName")));
          note_ = text(rs.value("InvoiceNote"));
          field("txtInvoiceNote").setText(note_);
          field("txtInvoiceDescription").setText(text(rs.value("InvoiceDescription")));
        });
  }

  std::int32_t invoiceId_ = 0;
  std::int16_t mode_ = 0;  // stored for the host; the invoice has one form
  std::shared_ptr<const Bytes> logo_;
  std::string note_;
};

const frame::DesignerRegistration reg("rptInvoice", [] { return std::make_unique<RptInvoice>(); });

}  // namespace
}  // namespace galvix::reports
