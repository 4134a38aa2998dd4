// The hotel rooms a guest group booked for one party: room type, nights, non-smoking. Placed by
// the hotel information and travel summary reports, which give it its statement.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptRooms : public engine::Report {
 public:
  SrptRooms();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }

 private:
  std::string sqlWhere_, sqlOrderBy_;  // kept for the host; the parent sets the statement
};

// A new rooms subreport for the group's invitation to the party, on `connectionString`.
std::shared_ptr<SrptRooms> roomsFor(const std::string& connectionString, std::int32_t partyId,
                                    std::int32_t groupId);

}  // namespace galvix::reports
