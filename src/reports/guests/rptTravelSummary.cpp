// Guest travel summary: for each party, every group arriving or checking in, with its arrival,
// its stay (hotel, dates, note, booked rooms) and its departure, under the party's counts.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "reports/guests/srptRooms.h"

GALVIX_USE_LAYOUT(rptTravelSummary);

namespace galvix::reports {
namespace {

const char* const kSelect =
    "SELECT DISTINCTROW PartyDetails.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
    "Parties.Date, Parties.Time, Parties.Address, Parties.City, Parties.State, "
    "Parties.PostalCode, Parties.Notes, PartyDetails.GroupID, PartyDetails.FormalLabel, "
    "PartyDetails.ADate, PartyDetails.ATime, PartyDetails.ALocation, PartyDetails.ACarrier, "
    "PartyDetails.ACarrierNo, PartyDetails.Pickup, PartyDetails.Hotel, PartyDetails.CheckInDate, "
    "PartyDetails.CheckOutDate, PartyDetails.AccNote, PartyDetails.DDate, PartyDetails.DTime, "
    "PartyDetails.DLocation, PartyDetails.DCarrier, PartyDetails.DCarrierNo, PartyDetails.DropOff, "
    "PartyDetails.RSVPNote FROM SubEvents INNER JOIN (Parties INNER JOIN (((GroupIDs INNER JOIN "
    "GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN PartyDetails ON "
    "GroupIDs.GroupID = PartyDetails.GroupID) INNER JOIN Invitees ON GuestNames.GuestID = "
    "Invitees.GuestID) ON (Parties.PartyID = PartyDetails.PartyID) AND (Parties.PartyID = "
    "Invitees.PartyID)) ON SubEvents.SubEventID = Parties.SubEventID ";

// Appended to the caller's clause, which must therefore be a WHERE clause.
const char* const kTravellers =
    " and (Not(IsNull(PartyDetails.ADate)) or Not(IsNull(PartyDetails.CheckInDate))) ORDER BY "
    "GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName";

class RptTravelSummary : public frame::FrameReport {
 public:
  RptTravelSummary() : FrameReport(engine::layouts::rptTravelSummary()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] { formatParty(); });
    onFormat("ghDetail", [this] { formatGroup(); });
    onFormat("Detail", [this] {
      if (hasRows())
        subReport("srptRooms").setReport(roomsFor(data().connectionString(), partyId_, groupId_));
    });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    data().setSource(kSelect + sqlWhere() + kTravellers);
  }

  void onReportEnd() override { subReport("srptRooms").setReport(nullptr); }

 private:
  void formatParty() {
    if (!hasRows()) return;
    partyId_ = completeLocation(field("txtAddress"), data().recordset());
    const std::string invitees =
        "Select Count(1) as NumInvitees from Invitees Where PartyID = " + std::to_string(partyId_);
    field("txtNumInvitations").setText(sideCount(invitationsCountSql(partyId_), "CountOfGroupID"));
    field("txtRSVPs").setText(sideCount(rsvpsCountSql(partyId_), "CountOfRSVPs"));
    field("txtInvitees").setText(sideCount(invitees, "NumInvitees"));
    field("txtAttendees").setText(sideCount(invitees + " and Attending = True", "NumInvitees"));
  }

  void formatGroup() {
    if (!hasRows()) return;
    groupId_ = data().recordset().value("GroupID").toLong();
    field("txtNumber")
        .setText(sideCount("Select Count(1) as NumRSVPd from GuestNames INNER JOIN Invitees ON "
                           "GuestNames.GuestID = Invitees.GuestID where GroupID = " +
                               std::to_string(groupId_) + " and PartyID = " +
                               std::to_string(partyId_) + " and Attending = True",
                           "NumRSVPd"));
    // The note sits in the group's header, which is laid out before its detail: decided here,
    // each group shows its own note, and a group without one hides nothing for later groups.
    auto& note = field("txtRSVPNote");
    note.setVisible(!note.text().empty());
  }

  std::int32_t partyId_ = 0, groupId_ = 0;
};

const frame::DesignerRegistration reg("rptTravelSummary",
                                      [] { return std::make_unique<RptTravelSummary>(); });

}  // namespace
}  // namespace galvix::reports
