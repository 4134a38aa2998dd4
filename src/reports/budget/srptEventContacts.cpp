#include "reports/budget/srptEventContacts.h"

#include "db/connection.h"
#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptEventContacts);

namespace galvix::reports {
namespace {
std::string textOf(const Variant& v) {
  return v.isNull() ? std::string() : v.toString();
}
}  // namespace

std::string contactNumbers(const Variant& phone, const Variant& fax, const Variant& mobile,
                           const Variant& pager) {
  std::string out;
  int count = 0;
  if (std::string p = textOf(phone); !p.empty()) {
    out += p + " (W)";
    count = 1;
  }
  if (std::string f = textOf(fax); !f.empty()) {
    if (count != 0) out += "    ";
    out += f + " (F)";
    ++count;
  }
  if (std::string m = textOf(mobile); !m.empty()) {
    out += count == 1 ? "    " : count == 2 ? "\r\n" : "";
    out += m + " (M)";
    ++count;
  }
  if (std::string g = textOf(pager); !g.empty()) {
    out += count == 1 ? "    " : count == 2 ? "\r\n" : count == 3 ? "    " : "";
    out += g + " (P)";
  }
  return out;
}

SrptEventContacts::SrptEventContacts() : engine::Report(engine::layouts::srptEventContacts()) {
  onFormat("Detail", [this] {
    auto& rs = data().recordset();
    std::string numbers;
    if (!rs.EOF_())
      numbers =
          contactNumbers(rs.value("Phone"), rs.value("Fax"), rs.value("Mobile"), rs.value("Pager"));
    field("txtPhone").setText(numbers);
  });
}

void SrptEventContacts::onReportStart() {
  const std::string& id = sqlWhere_;
  const std::string name =
      "SELECT IIF(JobTitle= '', 'Name:',JobTitle + ': ') + Trim(IIF(Title= '', '',Title) + ' ' + "
      "IIF(FirstName= '', '',FirstName) + ' '+ IIF( LastName= '','',LastName) + '  ' + "
      "IIF(NickName='','','(' + NickName + ')')) as ContactName, ";
  std::string sql =
      name +
      "1 as ReportOrder,Phone, Fax, Mobile, Pager FROM VendorAssignments INNER JOIN "
      "VendorContacts ON (VendorAssignments.PrimaryContactID = VendorContacts.ContactID) AND "
      "(VendorAssignments.VendorID = VendorContacts.VendorID) WHERE "
      "VendorAssignments.VendorAssignmentID = " +
      id + " Union " + name +
      "2 as ReportOrder, Phone, Fax, Mobile, Pager FROM VendorAssignments INNER JOIN "
      "VendorContacts ON (VendorAssignments.SecondaryContactID = VendorContacts.ContactID) AND "
      "(VendorAssignments.VendorID = VendorContacts.VendorID) WHERE "
      "VendorAssignments.VendorAssignmentID = " +
      id + " ORDER BY ReportOrder";
  // An assignment that names no contact shows the company's own numbers instead.
  db::Connection conn;
  conn.open(data().connectionString());
  db::Recordset rs;
  rs.open(sql, conn);
  const bool none = rs.BOF() && rs.EOF_();
  rs.close();
  conn.close();
  if (none)
    sql =
        "SELECT '(No Contact Name Specified)' as ContactName, MainBusinessLine as Phone, "
        "MainFaxLine as Fax, '' as Mobile, '' as Pager FROM Vendors INNER JOIN VendorAssignments "
        "ON Vendors.VendorID = VendorAssignments.VendorID WHERE "
        "VendorAssignments.VendorAssignmentID = " +
        id;
  data().setSource(sql);
}

}  // namespace galvix::reports
