// Event pro one-line report: the professionals engaged for an event, one line each with the
// service, the delivery time and the assignment's contacts.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/budget/srptEventContacts.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptVendorOneLine);

namespace galvix::reports {
namespace {

class RptVendorOneLine : public frame::FrameReport {
 public:
  RptVendorOneLine() : FrameReport(engine::layouts::rptVendorOneLine()) {
    addProperty("DisplayNotes", [this](const Variant& v) { displayNotes_ = frame::propBool(v); });
    onFormat("Detail", [this] { formatLine(); });
  }

  void onReportStart() override {
    startFrame(false);
    std::string sql =
        "SELECT DISTINCTROW Vendors.CompanyName, ExpenseCategories.Category, "
        "Vendors.MainBusinessLine, VendorAssignments.VendorAssignmentID, "
        "VendorAssignments.DeliveryDate, VendorAssignments.DeliveryTime, "
        "VendorAssignments.DeliveryAddress, VendorAssignments.Notes, "
        "VendorAssignments.PrimaryContactID, VendorAssignments.SecondaryContactID FROM Vendors "
        "INNER JOIN (ExpenseCategories INNER JOIN (SPCategories INNER JOIN VendorAssignments ON "
        "SPCategories.CategoryID = VendorAssignments.CategoryID) ON ExpenseCategories.CategoryID "
        "= SPCategories.CategoryID) ON Vendors.VendorID = VendorAssignments.VendorID WHERE "
        "VendorAssignments.WorksheetType =2 AND VendorAssignments.EventID= " +
        std::to_string(eventId()) + " AND SPCategories.VendorRequired=True ";
    // The caller's clause extends the fixed condition: upper-cased, its WHERE becomes AND.
    if (!sqlWhere().empty()) {
      mutableSqlWhere() =
          vb::Replace(Variant(vb::upper(sqlWhere())), Variant("WHERE"), Variant("AND")).toString();
      sql += sqlWhere() + " ";
    }
    sql += sqlOrderBy();
    subReport("srptContacts").setReport(std::make_shared<SrptEventContacts>());
    data().setSource(sql);
  }

  void onReportEnd() override { subReport("srptContacts").setReport(nullptr); }

 private:
  void formatLine() {
    auto& time = field("txtDeliveryTime");
    time.setText(Format(Variant(time.text()), timeFormat()));
    auto& contacts = subReport("srptContacts").reportAs<SrptEventContacts>();
    contacts.setConnectionString(data().connectionString());
    if (hasRows()) contacts.setSQLWhere(data().recordset().value("VendorAssignmentID").toString());
  }

  bool displayNotes_ = false;  // stored for the host; the line has no notes
};

const frame::DesignerRegistration reg("rptVendorOneLine",
                                      [] { return std::make_unique<RptVendorOneLine>(); });

}  // namespace
}  // namespace galvix::reports
