// An event's journal: entry date and entry. Placed by the event information report.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptJournal : public engine::Report {
 public:
  SrptJournal();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  void setEventID(std::int32_t id) { eventId_ = id; }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }

  void onReportStart() override;

 private:
  std::int32_t eventId_ = 0;
  std::string sqlOrderBy_;
};

}  // namespace galvix::reports
