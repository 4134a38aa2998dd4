// Guests of one party counted per guest category: every invited guest, or the attending ones
// only. Placed twice by the party statistics report.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptGuestCtgrySummary : public engine::Report {
 public:
  SrptGuestCtgrySummary();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  void setPartyID(std::int32_t id) { partyId_ = id; }
  void setAttending(bool a) { attending_ = a; }
  void onReportStart() override;

 private:
  std::string sqlWhere_, sqlOrderBy_;
  std::int32_t partyId_ = 0;
  bool attending_ = false;
};

}  // namespace galvix::reports
