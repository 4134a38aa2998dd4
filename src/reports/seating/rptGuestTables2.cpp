// Guest tables on a room plan: the party's attending guests alphabetically under letter
// headings, each with the room and the table and chair the room plan gives them.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "reports/seating/seating_report.h"

GALVIX_USE_LAYOUT(rptGuestTables2);

namespace galvix::reports {
namespace {

class RptGuestTables2 : public GuestSeatingReport {
 public:
  RptGuestTables2() : GuestSeatingReport(engine::layouts::rptGuestTables2()) {}

  void onReportStart() override {
    startFrame(true);
    // A guest's seat reads "#3: Family Table / 5": table number, label, chair.
    data().setSource(seating_sql::roomPlan(
        "'' as RoomName, 'Not Seated' AS TableSum",
        "'#' + CStr(RoomObjects.ItemNumber) +': ' + RoomObjects.ObjectLabel + ' / ' + "
        "CStr(RoomObjectChairs.ChairNumber) as TableSum ",
        sqlWhere(), seating_sql::kByGuestName, partyId()));
  }
};

const frame::DesignerRegistration reg("rptGuestTables2",
                                      [] { return std::make_unique<RptGuestTables2>(); });

}  // namespace
}  // namespace galvix::reports
