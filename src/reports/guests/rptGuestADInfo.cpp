// Guest arrival and departure information: for a party, one line per guest group that has
// travel details (arrivals with Mode 0, departures otherwise), with its attending members and a
// total.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptGuestADInfo);

namespace galvix::reports {
namespace {

// Listed when the group has a date or a time, or a carrier, carrier number or location.
const char* const kArrivals =
    "and (Not([PartyDetails].[ADate] Is Null) or Not([PartyDetails].[ATime] Is Null) or "
    "([PartyDetails].[ACarrier] <> \"\") or ([PartyDetails].[ACarrierNo] <> \"\") or "
    "([PartyDetails].[ALocation] <> \"\"))";
const char* const kDepartures =
    "and (Not([PartyDetails].[DDate] Is Null) or Not([PartyDetails].[DTime] Is Null) or "
    "([PartyDetails].[DCarrier] <> \"\") or ([PartyDetails].[DCarrierNo] <> \"\") or "
    "([PartyDetails].[DLocation] <> \"\"))";

std::string travelColumns(char t, const char* ride) {
  const std::string p = std::string("[PartyDetails].[") + t;
  return "[PartyDetails].[FormalLabel], " + p + "Date] as TDate, " + p + "Time] as TTime, " + p +
         "Location] as TLocation," + p + "Carrier] as TCarrier, " + p +
         "CarrierNo] as TCarrierNo, [PartyDetails].[Hotel], [PartyDetails].[" + ride +
         "] as Ride, [Parties].[PartyID], [PartyDetails].[GroupID] ";
}

class RptGuestADInfo : public frame::FrameReport {
 public:
  RptGuestADInfo() : FrameReport(engine::layouts::rptGuestADInfo()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
    onFormat("ghPartyName", [this] { formatParty(); });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onFormat("ghDetail", [this] {
      if (mode_ == 1) label("lblRide").setCaption("Dropoff?");
    });
    onFormat("Detail", [this] { formatDetail(); });
    onFormat("gfDetail", [this] { field("txtTotal").setText(std::to_string(total_)); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    // The clause is extended to primary guests with travel details and kept that way.
    std::string& where = mutableSqlWhere();
    where += vb::UCase(Variant(where)).toString().find("WHERE") != std::string::npos
                 ? " and Invitees.Primary = True "
                 : " Where ((Invitees.Primary) = True) ";
    where += mode_ == 0 ? kArrivals : kDepartures;
    data().setSource(
        "SELECT [SubEvents.SubEventName], [Parties].[GivenBy], [Parties].[Date], "
        "[Parties].[Time], [Parties].[Address], [Parties].[City], [Parties].[State], "
        "[Parties].[PostalCode], [Parties].[Country], [Parties].[Notes], " +
        (mode_ == 0 ? travelColumns('A', "Pickup") : travelColumns('D', "DropOff")) +
        "FROM SubEvents INNER JOIN (Parties INNER JOIN (((GroupIDs INNER JOIN GuestNames ON "
        "GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN PartyDetails ON GroupIDs.GroupID = "
        "PartyDetails.GroupID) INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) ON "
        "(Parties.PartyID = PartyDetails.PartyID) AND (Parties.PartyID = Invitees.PartyID)) ON "
        "SubEvents.SubEventID = Parties.SubEventID " +
        where + sqlOrderBy());
  }

 private:
  // The location gets its city line (a Null city counts as empty; a Null state or postal code
  // is left out with its separator rather than failing the header).
  void formatParty() {
    if (!hasRows()) return;
    auto& rs = data().recordset();
    const Variant city = rs.value("City");
    auto& address = field("txtAddress");
    address.setText(streetCityStatePostal(address.text(),
                                          city.isNull() ? Variant(std::string()) : city,
                                          rs.value("State"), rs.value("PostalCode")));
    partyId_ = rs.value("PartyID").toLong();
  }

  void formatDetail() {
    if (!hasRows()) return;
    const std::int32_t group = data().recordset().value("GroupID").toLong();
    sideQuery(
        "Select Count(1) as NumRSVPd from GuestNames INNER JOIN Invitees ON "
        "GuestNames.GuestID = Invitees.GuestID where GroupID = " +
            std::to_string(group) + " and PartyID = " + std::to_string(partyId_) +
            " and Attending = True",
        [this](db::Recordset& rs) {
          if (rs.EOF_()) return;
          const Variant n = rs.value("NumRSVPd");
          field("txtNumber").setText(n.displayText());
          total_ = checkedInteger(static_cast<long long>(total_) + n.toLong());
        });
    auto& date = field("txtTDate");
    date.setText(Format(date.value(), dateFormat()));
    auto& time = field("txtTTime");
    time.setText(Format(time.value(), timeFormat()));
  }

  std::int16_t mode_ = 0;
  std::int32_t partyId_ = 0;
  std::int16_t total_ = 0;  // across the report object's life, as the platform kept it
};

const frame::DesignerRegistration reg("rptGuestADInfo",
                                      [] { return std::make_unique<RptGuestADInfo>(); });

}  // namespace
}  // namespace galvix::reports
