// The contact block of a vendor assignment: its primary and secondary contact, each a name line
// and a line or two of numbers, or the company's own numbers when the assignment names no
// contact. Placed by the one-line report on every line.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report.h"
#include "galvix/variant.h"

namespace galvix::reports {

// Phone, fax, mobile and pager, each present one followed by " (W)", " (F)", " (M)" or " (P)":
// two to a line, four blanks between them, the third starting a new line. A Null number counts
// as empty; blanks count as a number.
std::string contactNumbers(const Variant& phone, const Variant& fax, const Variant& mobile,
                           const Variant& pager);

class SrptEventContacts : public engine::Report {
 public:
  SrptEventContacts();
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  // The vendor assignment whose contacts are shown.
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  void setPartyID(std::int32_t id) { partyId_ = id; }
  void onReportStart() override;

 private:
  std::string sqlWhere_, sqlOrderBy_;  // the order is kept for the host, not used
  std::int32_t partyId_ = 0;           // kept for the host, not used
};

}  // namespace galvix::reports
