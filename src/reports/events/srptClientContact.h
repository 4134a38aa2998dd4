// An event's primary and secondary client contacts side by side: name, then phone numbers and
// e-mail; the picture variant adds each contact's picture. Placed by the summary of events.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"

namespace galvix::reports {

class SrptClientContact : public engine::Report {
 public:
  // srptClientContact, or srptClientContactWithPic when `withPictures`.
  explicit SrptClientContact(bool withPictures);
  void setConnectionString(std::string s) { connectionString_ = std::move(s); }
  void setEventID(std::int32_t id) { eventId_ = id; }
  bool withPictures() const { return withPictures_; }

  void onDataInitialize() override;

  // The two statements for an event, picture column included when `withPictures`.
  static std::string primarySql(std::int32_t eventId, bool withPictures);
  static std::string secondarySql(std::int32_t eventId, bool withPictures);

 private:
  void fill(db::Recordset& rs, int n);

  bool withPictures_;
  std::string connectionString_;
  std::int32_t eventId_ = 0;
};

}  // namespace galvix::reports
