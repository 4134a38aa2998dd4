#include "reports/budget/srptEmployees.h"

#include "engine/layout_embed.h"
#include "reports/budget/srptEventContacts.h"

GALVIX_USE_LAYOUT(srptEmployees);

namespace galvix::reports {

SrptEmployees::SrptEmployees() : engine::Report(engine::layouts::srptEmployees()) {
  onFormat("Detail", [this] {
    auto& job = field("txtJobTitle");
    job.setText(job.text().empty() ? std::string("Name:") : job.text() + ":");
    auto& rs = data().recordset();
    if (rs.EOF_()) return;
    field("txtPhone")
        .setText(contactNumbers(rs.value("Phone"), rs.value("Fax"), rs.value("Mobile"),
                                rs.value("Pager")));
  });
}

void SrptEmployees::onReportStart() {
  data().setSource(
      "SELECT Trim(IIF(Title= '', '',Title) + ' ' + IIF(FirstName= '', '',FirstName) + ' '+ IIF( "
      "LastName= '','',LastName) + '  ' + IIF(NickName='','','(' + NickName + ')')) as "
      "ContactName,  JobTitle, EMail, Phone, Fax, Mobile, Pager FROM VendorContacts WHERE "
      "VendorID = " +
      sqlWhere_ + " AND ReportOrder > 0 ORDER BY ReportOrder, LastName, FirstName");
}

}  // namespace galvix::reports
