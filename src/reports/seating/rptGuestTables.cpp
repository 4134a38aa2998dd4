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

class RptGuestTables : public SeatingReport {
 public:
  RptGuestTables() : SeatingReport(engine::layouts::rptGuestTables()) {
    addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
    onFormat("ghPartyName", [this] { formatParty(); });
    printDateOn("PageFooter");
  }

  // "WHERE Parties.PartyID = 12" or "WHERE Parties.PartyID = 12 AND ...".
  void setSQLWhere(std::string w) override {
    partyId_ = partyUpToAnd(w);
    FrameReport::setSQLWhere(std::move(w));
  }

  void onReportStart() override {
    startFrame(true);
    data().setSource(selectText(sqlWhere(), partyId_));
  }

 private:
  // Filled on every formatting, with the party of the clause.
  void formatParty() {
    if (onPartyRow()) fillTimeAndCounts(partyId_);
  }

  std::int32_t partyId_ = 0;
  std::int16_t mode_ = 0;
};

const frame::DesignerRegistration reg("rptGuestTables",
                                      [] { return std::make_unique<RptGuestTables>(); });

}  // namespace
}  // namespace galvix::reports
