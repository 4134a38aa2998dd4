// Guest hotel information: for each party, the primary guest's line of every group staying at a
// hotel, grouped by hotel, with the group's dates, attending head count, note and booked rooms.
#include <algorithm>
#include <cctype>

#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "reports/guests/srptRooms.h"

GALVIX_USE_LAYOUT(rptGuestHotel);

namespace galvix::reports {
namespace {

const char* const kSelect =
    "SELECT [SubEvents.SubEventName], [Parties].[GivenBy], [Parties].[Date], [Parties].[Time], "
    "[Parties].[Address], [Parties].[City], [Parties].[State], [Parties].[PostalCode], "
    "[Parties].[Country], [Parties].[Notes], [PartyDetails].[Hotel], [PartyDetails].[FormalLabel], "
    "[PartyDetails].[CheckInDate], [PartyDetails].[CheckOutDate], [Parties].[PartyID], "
    "[PartyDetails].[RSVPNote], [PartyDetails].[GroupID] FROM SubEvents INNER JOIN (Parties INNER "
    "JOIN (((GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN "
    "PartyDetails ON GroupIDs.GroupID = PartyDetails.GroupID) INNER JOIN Invitees ON "
    "GuestNames.GuestID = Invitees.GuestID) ON (Parties.PartyID = PartyDetails.PartyID) AND "
    "(Parties.PartyID = Invitees.PartyID)) ON SubEvents.SubEventID = Parties.SubEventID ";

std::string upper(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return s;
}

class RptGuestHotel : public frame::FrameReport {
 public:
  RptGuestHotel() : FrameReport(engine::layouts::rptGuestHotel()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] { formatParty(); });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onFormat("Detail", [this] { formatGroup(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    // Only the primary guest's row of each group, and only groups staying at a hotel; the
    // extended clause is kept as the report's where clause.
    std::string& where = mutableSqlWhere();
    where += upper(where).find("WHERE") != std::string::npos ? " and Invitees.Primary = True"
                                                             : " Where Invitees.Primary = True";
    where += " and [PartyDetails].[Hotel] <> \"\" ";
    data().setSource(kSelect + sqlWhere() + sqlOrderBy());
  }

  void onReportEnd() override { subReport("srptRooms").setReport(nullptr); }

 private:
  void formatParty() {
    if (!hasRows()) return;
    partyId_ = completeLocation(field("txtAddress"), data().recordset());
  }

  void formatGroup() {
    if (!hasRows()) return;
    const std::int32_t groupId = data().recordset().value("GroupID").toLong();
    field("txtNumber")
        .setText(sideCount("Select Count(*) as NumRSVPd from GuestNames INNER JOIN Invitees ON "
                           "GuestNames.GuestID = Invitees.GuestID where GroupID = " +
                               std::to_string(groupId) + " and PartyID = " +
                               std::to_string(partyId_) + " and Attending = True",
                           "NumRSVPd"));
    subReport("srptRooms").setReport(roomsFor(data().connectionString(), partyId_, groupId));
    // Each line shows its own note: a line without one does not hide a later line's.
    auto& note = field("txtRSVPNote");
    note.setVisible(!note.text().empty());
  }

  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptGuestHotel",
                                      [] { return std::make_unique<RptGuestHotel>(); });

}  // namespace
}  // namespace galvix::reports
