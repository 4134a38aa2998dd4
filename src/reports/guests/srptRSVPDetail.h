// The other invited members of one guest group at one party, each with an attendance check box
// captioned with the member's name. Placed by the detailed RSVP report under each primary guest.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptRSVPDetail : public engine::Report {
 public:
  SrptRSVPDetail();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  // The parent's clause names Parties; this report's joins reach the party through PartyDetails.
  void setSQLWhere(const std::string& s);
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  void setGroupID(std::int32_t id) { groupId_ = id; }
  void setPartyID(std::int32_t id) { partyId_ = id; }
  void onReportStart() override;

 private:
  std::string sqlWhere_, sqlOrderBy_;
  std::int32_t groupId_ = 0, partyId_ = 0;
};

}  // namespace galvix::reports
