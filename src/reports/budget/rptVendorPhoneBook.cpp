// Event pro phone book: every vendor but the application's own entries, with address, numbers,
// web address and contacts, in two columns under the first letter of the company name or under
// each expense category it serves, with the page's first and last key on top.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/budget/srptEmployees.h"

GALVIX_USE_LAYOUT(rptVendorPhoneBook);

namespace galvix::reports {
namespace {

class RptVendorPhoneBook : public frame::FrameReport {
 public:
  RptVendorPhoneBook() : FrameReport(engine::layouts::rptVendorPhoneBook()) {
    addProperty("SQLGroupBy", [this](const Variant& v) { groupBy_ = frame::propString(v); });
    onFormat("Detail", [this] {
      auto& contacts = subReport("srptContacts").reportAs<SrptEmployees>();
      contacts.setConnectionString(data().connectionString());
      if (hasRows()) contacts.setSQLWhere(data().recordset().value("VendorID").toString());
    });
    onBeforePrint("Detail", [this] {
      if (byCompany_) {
        label("lblTo").setCaption(field("txtCompany").text());
      } else if (!data().recordset().EOF_()) {
        label("lblTo").setCaption(text(data().recordset().value("Category")));
      }
    });
  }

  void onReportStart() override {
    startFrame(false);
    label("lblTitle").setCaption(field("txtCompanyFooter").text());
    // Exactly "CompanyName": any other spelling groups by category.
    byCompany_ = groupBy_ == "CompanyName";
    std::string sql;
    auto& key = field("txtNameChar");
    if (byCompany_) {
      sql =
          "SELECT VendorID, CompanyName, [Address]+Chr$(13) & Chr$(10)+[City]+ ', ' +[State]+'  "
          "'+[PostalCode] AS VendorAddress, MainBusinessLine, MainFaxLine, WWW From Vendors WHERE "
          "System = 0 ORDER BY Vendors.CompanyName";
      key.setDataField("=left(CompanyName, 1)");
      section("ghNameChar").setDataField("=left(CompanyName, 1)");
      label("lblCriteria").setCaption("Vendor Phonebook by Company Name");
    } else {
      sql =
          "SELECT Vendors.VendorID, Category, CompanyName, [Address]+Chr$(13) & "
          "Chr$(10)+[City]+ ', ' +[State]+'  '+[PostalCode] AS VendorAddress, MainBusinessLine, "
          "MainFaxLine, WWW FROM ExpenseCategories INNER JOIN (Vendors INNER JOIN "
          "CategoriesToVendors ON Vendors.VendorID = CategoriesToVendors.VendorID) ON "
          "ExpenseCategories.CategoryID = CategoriesToVendors.CategoryID WHERE System = 0 ORDER BY "
          "ExpenseCategories.Category, Vendors.CompanyName";
      const auto& p = pageSettings();
      key.setWidth((p.paperWidth - p.leftMargin - p.rightMargin) / section("Detail").columnCount());
      key.setDataField("Category");
      section("ghNameChar").setDataField("Category");
      label("lblCriteria").setCaption("Vendor Phonebook by Expense Category");
      section("ghNameChar").setBackColor(doc::Color{0xFFFFFF});
    }
    subReport("srptContacts").setReport(std::make_shared<SrptEmployees>());
    data().setSource(sql);
  }

  void onReportEnd() override { subReport("srptContacts").setReport(nullptr); }

  // The key of the entry that opens the page.
  void onPageStart() override {
    if (byCompany_)
      label("lblFrom").setCaption(field("txtCompany").text());
    else
      label("lblFrom").setCaption(text(data().recordset().value("Category")));
  }

 private:
  static std::string text(const Variant& v) { return v.isNull() ? std::string() : v.toString(); }

  std::string groupBy_;
  bool byCompany_ = false;
};

const frame::DesignerRegistration reg("rptVendorPhoneBook",
                                      [] { return std::make_unique<RptVendorPhoneBook>(); });

}  // namespace
}  // namespace galvix::reports
