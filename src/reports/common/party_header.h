// What the party headers of the guest and seating reports share: the party counts (invitations
// sent, invitees, attendees, RSVPs received) and the location text.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "engine/controls.h"
#include "engine/data_control.h"
#include "galvix/variant.h"

namespace galvix::reports {

struct PartyCount {
  const char* field;   // the unbound field that shows it
  std::string sql;     // the count query for the party
  const char* column;  // the count column of its result
};

// In the order the reports run them: invitations, invitees, attendees, RSVPs.
std::array<PartyCount, 4> partyCounts(std::int32_t partyId);

// The two PartyDetails counts on their own (invitations sent, RSVPs received).
std::string invitationsCountSql(std::int32_t partyId);
std::string rsvpsCountSql(std::int32_t partyId);

// The party's location on up to three lines (street; city, state and postal code; country),
// as a select-list term ending in "as Address, ".
extern const char* const kPartyLocationSql;

// The header location completed in code: the street as printed, a line break, then
// "City, State PostalCode" with each part trimmed. A Null part is left out with its separator
// (no ", " after a missing city); with all three Null the street stands alone.
std::string streetCityStatePostal(const std::string& street, const Variant& city,
                                  const Variant& state, const Variant& postalCode);

// The party header's location field completed from the row's City, State and PostalCode by the
// rule above; returns the row's PartyID.
std::int32_t completeLocation(engine::Field& address, engine::RowView& row);

}  // namespace galvix::reports
