// Guests with roles: one contact block per guest of the event who holds a role, with the
// group's category in parentheses and the role.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"

GALVIX_USE_LAYOUT(rptWeddingParty);

namespace galvix::reports {
namespace {

class RptWeddingParty : public frame::FrameReport {
 public:
  RptWeddingParty() : FrameReport(engine::layouts::rptWeddingParty()) { printDateOn("PageHeader"); }

  // Any order the host asks for means the fixed one; never asking leaves the database's order.
  void setSQLOrderBy(std::string) override {
    FrameReport::setSQLOrderBy("ORDER BY Role, GLname, GSuffix, GFName");
  }

  void onReportStart() override {
    startFrame(false);
    data().setSource(
        "SELECT IIf(Trim(GuestNames.GTitle+'')='','',GuestNames.GTitle+' ')+ "
        "IIf(Trim(GuestNames.GFName+'')='','',GuestNames.GFName+' ') + "
        "IIf(Trim(GuestNames.GLName+'')='','',GuestNames.GLName+' ') + "
        "IIf(Trim(GuestNames.GSuffix & '')='','',GuestNames.GSuffix) + "
        "IIf(Trim(GroupIDs.Address & '')='',Chr(13),Chr(13) + GroupIDs.Address + Chr(13)) + "
        "IIf(Trim(GroupIDs.City & '')='','',GroupIDs.City+', ') + "
        "IIf(Trim(GroupIDs.State & '')='','',GroupIDs.State+'  ') + "
        "IIf(Trim(GroupIDs.PostalCode & '')='','',GroupIDs.PostalCode) + "
        "IIf(Trim(GroupIDs.Country & '')='','',Chr(13)+GroupIDs.Country) + "
        "IIf(Trim(GroupIDs.HPhone & '')='','',Chr(13)+GroupIDs.HPhone + ' (H)') + "
        "IIf(Trim(GroupIDs.WPhone & '')='','',Chr(13)+GroupIDs.WPhone + ' (W)') + "
        "IIf(Trim(GroupIDs.MPhone & '')='','',Chr(13)+GroupIDs.MPhone + ' (M)') + "
        "IIf(Trim(GroupIDs.FPhone & '')='','',Chr(13)+GroupIDs.FPhone + ' (FAX)')+ "
        "IIf(Trim(GroupIDs.[E-Mail] & '')='','',Chr(13)+ GroupIDs.[E-Mail] + ' (E-Mail)') AS "
        "FullName, '(' + IIF(IsNull(GuestCategories.Category),'No Category', "
        "GuestCategories.Category)  + ')' as Category , EventRoles.Role FROM (GuestCategories "
        "RIGHT JOIN GroupIDs ON GuestCategories.CategoryID = GroupIDs.CategoryID) INNER JOIN "
        "(EventRoles INNER JOIN GuestNames ON EventRoles.RoleID = GuestNames.RoleID) ON "
        "GroupIDs.GroupID = GuestNames.GroupID WHERE EventID = " +
        std::to_string(eventId()) + " " + sqlOrderBy());
  }
};

const frame::DesignerRegistration reg("rptWeddingParty",
                                      [] { return std::make_unique<RptWeddingParty>(); });

}  // namespace
}  // namespace galvix::reports
