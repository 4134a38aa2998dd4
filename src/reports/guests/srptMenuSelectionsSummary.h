// Meal selection summary of one party: each chosen menu item with how many attending guests
// chose it. Placed by the menu selections and party statistics reports.
#pragma once

#include <memory>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptMenuSelectionsSummary : public engine::Report {
 public:
  SrptMenuSelectionsSummary();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  void setPartyID(std::int32_t id) { partyId_ = id; }
  void onReportStart() override;

 private:
  std::string sqlWhere_, sqlOrderBy_;
  std::int32_t partyId_ = 0;
};

}  // namespace galvix::reports
