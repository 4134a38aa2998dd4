// Table assignments by guest: the party's attending guests alphabetically with their table,
// seat, meal and category; attending guests without a table under "Not Seated".
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "reports/seating/seating_report.h"

GALVIX_USE_LAYOUT(rptGuestTables);

namespace galvix::reports {
namespace {

// Guests at one of the party's tables, then attending guests whose table is 0.
std::string selectText(const std::string& where, std::int32_t partyId) {
  using namespace seating_sql;
  return std::string(kSeatedAtTableColumns) +
         ", GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName, GuestNames.Type" +
         kSeatedAtTableFrom + where +
         " And Invitees.Attending = -1 AND Tables.PartyID = " + std::to_string(partyId) + " " +
         kByGuestName + " UNION " + kPartyColumns +
         "'Not Seated' AS NotSeated, 0 AS NumSeats, Format(Invitees.Seat,'00') AS FormatSeats, " +
         kGuestColumns + " FROM " + kGuestJoins + " " + where +
         " And ((Invitees.Attending) = -1) And ((Invitees.TableId) = 0) ORDER BY "
         "GuestNames.GLName, GuestNames.GSuffix,  GuestNames.Type, GuestNames.GFName";
}

class RptGuestTables : public GuestSeatingReport {
 public:
  RptGuestTables() : GuestSeatingReport(engine::layouts::rptGuestTables()) {}

  void onReportStart() override {
    startFrame(true);
    data().setSource(selectText(sqlWhere(), partyId()));
  }
};

const frame::DesignerRegistration reg("rptGuestTables",
                                      [] { return std::make_unique<RptGuestTables>(); });

}  // namespace
}  // namespace galvix::reports
