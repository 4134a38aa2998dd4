// The sub-events of one event with their dates and times. Placed by the summary of events.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptSubEvents : public engine::Report {
 public:
  SrptSubEvents();
  // Stored with every "AP" replaced by "AMPM", as the top-level reports store it.
  void setTimeFormat(const std::string& f);
  void setDateFormat(std::string f) { dateFormat_ = std::move(f); }
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  void setEventID(std::int32_t id) { eventId_ = id; }
  const std::string& timeFormat() const { return timeFormat_; }

  void onReportStart() override;

 private:
  std::string timeFormat_, dateFormat_;  // the date format is kept for the host, not used
  std::int32_t eventId_ = 0;
};

}  // namespace galvix::reports
