// Guest tables on a room plan: the party's attending guests alphabetically under letter
// headings, each with the room and the table and chair the room plan gives them.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "reports/seating/seating_report.h"

GALVIX_USE_LAYOUT(rptGuestTables2);

namespace galvix::reports {
namespace {

class RptGuestTables2 : public SeatingReport {
 public:
  RptGuestTables2() : SeatingReport(engine::layouts::rptGuestTables2()) {
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
    // A guest's seat reads "#3: Family Table / 5": table number, label, chair.
    data().setSource(seating_sql::roomPlan(
        "'' as RoomName, 'Not Seated' AS TableSum",
        "'#' + CStr(RoomObjects.ItemNumber) +': ' + RoomObjects.ObjectLabel + ' / ' + "
        "CStr(RoomObjectChairs.ChairNumber) as TableSum ",
        sqlWhere(), seating_sql::kByGuestName, partyId_));
  }

 private:
  // Filled on every formatting, with the party of the clause; the date stays as stored.
  void formatParty() {
    if (onPartyRow()) fillTimeAndCounts(partyId_);
  }

  std::int32_t partyId_ = 0;
  std::int16_t mode_ = 0;
};

const frame::DesignerRegistration reg("rptGuestTables2",
                                      [] { return std::make_unique<RptGuestTables2>(); });

}  // namespace
}  // namespace galvix::reports
