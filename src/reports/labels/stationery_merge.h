// Merging guest data into a stationery template: which placeholders the template holds, the
// table, seat and menu texts gathered over a row's guests, and the replacement of the
// placeholders in the template's rich text. The database side is behind `GuestLookup`, so the
// merge runs (and is tested and fuzzed) without one.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "galvix/variant.h"

namespace galvix::reports::stationery {

inline constexpr std::string_view kGuestName = "<Guest's Name Here>";
inline constexpr std::string_view kMenuSelection = "<Menu Selection>";
inline constexpr std::string_view kTable = "<Table#>";
inline constexpr std::string_view kSeat = "<Seat#>";

// Which placeholders a template holds (exact, case-sensitive).
struct Placeholders {
  bool guestName = false, menu = false, table = false, seat = false;
  static Placeholders in(std::string_view text);
};

struct GuestTexts {
  std::string table, seat, menu;
};

// The first row of each side query for one guest identifier (as written in the row, spliced
// into the SQL unchanged). No row: nullopt. A failing query throws.
class GuestLookup {
 public:
  struct TableSeat {
    Variant tableName, seat;
  };
  virtual ~GuestLookup() = default;
  virtual std::optional<TableSeat> tableAndSeat(const std::string& guestId) = 0;
  virtual std::optional<Variant> menuItem(const std::string& guestId) = 0;
};

// The table, seat and menu texts of the guests in `guestIds` (identifiers separated by ";"),
// asking `lookup` only for what the template uses. Each step that fails (a failing query, a
// null value) is skipped and the next one runs, so what could be gathered still prints.
GuestTexts gatherGuestTexts(std::string_view guestIds, const Placeholders& used,
                            GuestLookup& lookup);

// Every occurrence of `find` replaced by `with`, left to right; the replacement is not searched.
std::string replaceAll(std::string_view text, std::string_view find, std::string_view with);

// A label's line breaks (CR LF) as rich-text paragraph breaks.
std::string labelAsRtf(std::string_view label);

// The template with its placeholders replaced, in this order: the guest's name (`label`, its
// line breaks made paragraph breaks), the menu, the table, the seat. Each replacement works on
// the result of the one before, so a name that itself holds "<Table#>" gets the table text.
// Texts are spliced in as they are: rich-text control words in them take effect.
std::string mergeTemplate(std::string_view rtfTemplate, std::string_view label,
                          const GuestTexts& texts);

}  // namespace galvix::reports::stationery
