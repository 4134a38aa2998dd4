// The contacts a vendor lists in the phone book (those with a positive report order): name,
// job title, e-mail and numbers. Placed by the phone book under every entry.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptEmployees : public engine::Report {
 public:
  SrptEmployees();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  // The vendor whose contacts are shown.
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  void setPartyID(std::int32_t id) { partyId_ = id; }
  void onReportStart() override;

 private:
  std::string sqlWhere_, sqlOrderBy_;  // the order is kept for the host, not used
  std::int32_t partyId_ = 0;           // kept for the host, not used
};

}  // namespace galvix::reports
