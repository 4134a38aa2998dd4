// What the four seating reports share: the party read back out of the caller's where clause,
// the party header filled once per run, the party's counts, and seat totals reckoned in 16-bit
// arithmetic (available seats may go negative; beyond the 16-bit range is an overflow).
#pragma once

#include <cstdint>
#include <string>

#include "frame/frame_report.h"

namespace galvix::reports {

// Statement fragments the seating reports have in common.
namespace seating_sql {
// The party's columns of the room-plan statements, up to "Parties.FoodService, ".
extern const char* const kPartyColumns;
// A guest's columns: menu, full name, category, role and the name parts that order the list.
extern const char* const kGuestColumns;
// Guests of the party with their category, role and menu (no FROM).
extern const char* const kGuestJoins;
extern const char* const kByGuestName;
// The guest columns and joins of the simple-table statements, seated at a table.
extern const char* const kSeatedAtTableColumns;
extern const char* const kSeatedAtTableFrom;

// The room plan: the party's attending guests who hold no chair in its rooms, with
// `unseatedColumns` after the guest columns, then the guests on chairs with the room name and
// `seatColumns`, restricted by the caller's clause and ordered by `orderBy`.
std::string roomPlan(const std::string& unseatedColumns, const std::string& seatColumns,
                     const std::string& where, const std::string& orderBy, std::int32_t partyId);
}  // namespace seating_sql

class SeatingReport : public frame::FrameReport {
 public:
  // How setting the where clause reads the party number out of it.
  enum class PartyClause {
    AfterEquals,  // "WHERE Parties.PartyID = 12 ": everything after the first "="
    UpToAnd,      // "... = 12 AND ...": up to the blank before the first " AND ", or the end
  };

  SeatingReport(const engine::EmbeddedLayout& layout, PartyClause clause);

  void setSQLWhere(std::string w) override;

 protected:
  std::int32_t partyId() const { return partyId_; }
  void setPartyId(std::int32_t id) { partyId_ = id; }

  // Report start for the table-by-table reports: the frame with its side connection, the party
  // header counter back to 0, and the party read again from the clause: from two characters
  // after the first "=" up to and including the next blank, so a number with nothing after it
  // fails.
  void startWithPartyFromClause();

  // The row being formatted is a party's: the source has rows and this one a PartyID.
  bool onPartyRow();
  // The party header's time in TimeFormat, then its invitations, invitees, attendees and
  // RSVPs into their fields.
  void fillTimeAndCounts(std::int32_t partyId);

  // The party header prints once per run: true the first time; later it hides the band.
  bool firstPartyHeader();
  void notePartyHeaderFilled() { ++partyHeaders_; }

  // Tables, seats and seats used of the party into their header fields, each the first column
  // of its query ("0" when there is no row or it is Null), then available = seats - used.
  void fillSeatTotals(const std::string& tablesSql, const char* tablesColumn,
                      const std::string& seatsSql, const char* seatsColumn,
                      const std::string& usedSql, const char* usedColumn);

  // The difference of two texts read as 16-bit integers, as text.
  static std::string seatsLeft(const std::string& seats, const std::string& used);

 private:
  PartyClause clause_;
  std::int32_t partyId_ = 0;
  std::int16_t partyHeaders_ = 0;
};

// The guest-by-guest lists: a `Mode` property kept and not used, and a party header filled on
// every formatting with the party of the clause.
class GuestSeatingReport : public SeatingReport {
 public:
  explicit GuestSeatingReport(const engine::EmbeddedLayout& layout);

 private:
  std::int16_t mode_ = 0;
};

}  // namespace galvix::reports
