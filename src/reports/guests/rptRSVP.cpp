// RSVPs one-line: one line per invited guest group with how many of its invitees attend, under a
// party header with the party's details and its four counts.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"

GALVIX_USE_LAYOUT(rptRSVP);

namespace galvix::reports {
namespace {

std::string selectText() {
  return std::string(
             "SELECT DISTINCTROW PartyDetails.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
             "Parties.Date, Parties.Time, ") +
         kPartyLocationSql +
         // The location term ends in ", "; the original text has no blank before "Parties.Notes".
         "Parties.Notes , PartyDetails.GroupID, PartyDetails.FormalLabel, PartyDetails.RSVPd, "
         "PartyDetails.RSVPNote, GuestCategories.Category, PartyDetails.GroupID FROM (SubEvents "
         "INNER JOIN (Parties INNER JOIN (((GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = "
         "GuestNames.GroupID) INNER JOIN PartyDetails ON GroupIDs.GroupID = PartyDetails.GroupID) "
         "INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) ON (Parties.PartyID = "
         "PartyDetails.PartyID) AND (Parties.PartyID = Invitees.PartyID)) ON "
         "SubEvents.SubEventID = Parties.SubEventID) LEFT JOIN GuestCategories ON "
         "GroupIDs.CategoryID = GuestCategories.CategoryID ";
}

class RptRSVP : public frame::FrameReport {
 public:
  RptRSVP() : FrameReport(engine::layouts::rptRSVP()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] { formatParty(); });
    onFormat("Detail", [this] { formatDetail(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    data().setSource(selectText() + sqlWhere() + " " +
                     "ORDER BY GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName");
  }

 private:
  void formatParty() {
    if (!hasRows()) return;
    partyId_ = data().recordset().value("PartyID").toLong();
    for (const auto& c : partyCounts(partyId_)) field(c.field).setText(sideCount(c.sql, c.column));
  }

  void formatDetail() {
    if (!hasRows()) return;
    const std::int32_t groupId = fieldLong("txtGroupID");
    field("txtNumber")
        .setText(sideCount(
            "SELECT Count(Invitees.Attending) AS CountOfAttending FROM GuestNames INNER JOIN "
            "Invitees ON GuestNames.GuestID = Invitees.GuestID WHERE (((Invitees.Attending)=True) "
            "AND ((Invitees.PartyID)= " +
                std::to_string(partyId_) +
                ") AND ((GuestNames.GroupID)= " + std::to_string(groupId) + "))",
            "CountOfAttending"));
  }

  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptRSVP", [] { return std::make_unique<RptRSVP>(); });

}  // namespace
}  // namespace galvix::reports
