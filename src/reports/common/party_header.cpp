#include "reports/common/party_header.h"

#include "runtime/vb.h"

namespace galvix::reports {

const char* const kPartyLocationSql =
    "IIF(Trim(Parties.Address & '') = '', '',Parties.Address + chr(13)) + "
    "IIF(Trim(Parties.City & '') = '', '',Parties.City + ', ') + IIF(Trim(Parties.State & '') = "
    "'', '',Parties.State + '  ') + IIF(Trim(Parties.PostalCode & '') = '', "
    "'',Parties.PostalCode) + IIF(Trim(Parties.Country & '') = '', '', chr(13) + "
    "Parties.Country) as Address, ";

std::string invitationsCountSql(std::int32_t partyId) {
  return "SELECT DISTINCTROW Count(PartyDetails.GroupID) AS CountOfGroupID From PartyDetails "
         "GROUP BY PartyDetails.PartyID HAVING (((PartyDetails.PartyID)= " +
         std::to_string(partyId) + "))";
}

std::string rsvpsCountSql(std::int32_t partyId) {
  return "SELECT DISTINCTROW Count(PartyDetails.GroupID) AS CountOfRSVPs From PartyDetails "
         "GROUP BY PartyDetails.PartyID, PartyDetails.RSVPd HAVING (((PartyDetails.PartyID)= " +
         std::to_string(partyId) + ") AND ((PartyDetails.RSVPd)=True))";
}

std::array<PartyCount, 4> partyCounts(std::int32_t partyId) {
  const std::string id = std::to_string(partyId);
  return {{
      {"txtNumInvitations", invitationsCountSql(partyId), "CountOfGroupID"},
      {"txtNumInvitees", "Select Count(*) as NumInvitees from Invitees Where PartyID = " + id,
       "NumInvitees"},
      {"txtNumAttendees",
       "Select Count(*) as NumInvitees from Invitees Where PartyID = " + id +
           " and Attending = True",
       "NumInvitees"},
      {"txtRSVPs", rsvpsCountSql(partyId), "CountOfRSVPs"},
  }};
}

std::string streetCityStatePostal(const std::string& street, const Variant& city,
                                  const Variant& state, const Variant& postalCode) {
  if (city.isNull() && state.isNull() && postalCode.isNull()) return street;
  // Present parts (blank ones too) keep their separators as composed; a Null one is left out
  // with the separator that would follow it.
  std::string line;
  const char* sep = "";
  if (!city.isNull()) {
    line += vb::Trim(city).toString();
    sep = ", ";
  }
  if (!state.isNull()) {
    line += sep + vb::Trim(state).toString();
    sep = " ";
  }
  if (!postalCode.isNull()) line += sep + vb::Trim(postalCode).toString();
  return street + "\r\n" + line;
}

std::int32_t completeLocation(engine::Field& address, engine::RowView& row) {
  address.setText(streetCityStatePostal(address.text(), row.value("City"), row.value("State"),
                                        row.value("PostalCode")));
  return row.value("PartyID").toLong();
}

}  // namespace galvix::reports
