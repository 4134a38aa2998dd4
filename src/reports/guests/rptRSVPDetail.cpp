// RSVPs detailed: per invited guest group its reply, then its primary guest and the group's
// other invited members, each with an attendance check box, under a party header with the
// party's details and its four counts.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "reports/guests/srptRSVPDetail.h"

GALVIX_USE_LAYOUT(rptRSVPDetail);

namespace galvix::reports {
namespace {

std::string selectText() {
  return std::string(
             "SELECT DISTINCTROW PartyDetails.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
             "Parties.Date, Parties.Time, Parties.Notes, ") +
         kPartyLocationSql +
         "GroupIDs.GroupID,GuestCategories.Category, GuestNames.GLName+\" \"+GuestNames.GSuffix "
         "AS Name, PartyDetails.RSVPd, PartyDetails.RSVPNote, "
         "[GuestNames].[GTitle]+\" \"+[GuestNames].[GFName]+\" \"+[GuestNames].[GLName]+\" "
         "\"+[GuestNames].[GSuffix] AS FullName, Invitees.Attending FROM SubEvents INNER JOIN "
         "((Parties INNER JOIN (((GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = "
         "GuestNames.GroupID) INNER JOIN PartyDetails ON GroupIDs.GroupID = PartyDetails.GroupID) "
         "INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) ON (Parties.PartyID = "
         "PartyDetails.PartyID) AND (Parties.PartyID = Invitees.PartyID)) LEFT JOIN "
         "GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID) ON "
         "SubEvents.SubEventID = Parties.SubEventID ";
}

class RptRSVPDetail : public frame::FrameReport {
 public:
  RptRSVPDetail() : FrameReport(engine::layouts::rptRSVPDetail()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] { formatParty(); });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onFormat("Detail", [this] { formatDetail(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    auto members = std::make_shared<SrptRSVPDetail>();
    members->setConnectionString(data().connectionString());
    members->setSQLWhere(sqlWhere());
    subReport("srptMembers").setReport(members);
    // Only primary guests make rows, so the clause must be a where clause.
    data().setSource(selectText() + sqlWhere() + " and Invitees.Primary = True " + sqlOrderBy());
  }

  void onReportEnd() override {
    subReport("srptMembers").setReport(nullptr);
    side().close();
  }

 private:
  void formatParty() {
    if (!hasRows()) return;
    partyId_ = data().recordset().value("PartyID").toLong();
    for (const auto& c : partyCounts(partyId_)) field(c.field).setText(sideCount(c.sql, c.column));
  }

  void formatDetail() {
    if (!hasRows()) return;
    auto& rs = data().recordset();
    // A name part that is Null leaves the whole name Null: the box then has no caption.
    const Variant name = rs.value("FullName");
    checkBox("chkAttendeesName").setCaption(name.isNull() ? std::string() : name.toString());
    auto& members = subReport("srptMembers").reportAs<SrptRSVPDetail>();
    members.setGroupID(rs.value("GroupID").toLong());
    members.setPartyID(rs.value("PartyID").toLong());
  }

  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptRSVPDetail",
                                      [] { return std::make_unique<RptRSVPDetail>(); });

}  // namespace
}  // namespace galvix::reports
