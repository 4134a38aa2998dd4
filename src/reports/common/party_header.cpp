#include "reports/common/party_header.h"

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

}  // namespace galvix::reports
