// Table assignments on a room plan: room by room and table by table, the guests on each
// table's chairs with their meal, each table closed by its seats used and available.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "reports/seating/seating_report.h"

GALVIX_USE_LAYOUT(rptTableAssign2);

namespace galvix::reports {
namespace {

// This order heads each table by its label and groups tables by label; any other order heads
// them by number.
const char* const kByLabel = "ORDER BY RoomName, ObjectLabel, ChairNumber";
const char* const kRoomsFrom =
    "FROM Parties INNER JOIN ((Rooms INNER JOIN RoomObjects ON Rooms.RoomID = "
    "RoomObjects.RoomID) INNER JOIN RoomObjectChairs ON RoomObjects.ObjectID = "
    "RoomObjectChairs.ObjectID) ON Parties.PartyID = Rooms.PartyID ";

class RptTableAssign2 : public SeatingReport {
 public:
  RptTableAssign2() : SeatingReport(engine::layouts::rptTableAssign2(), PartyClause::AfterEquals) {
    onFormat("ghPartyName", [this] { formatParty(); });
    onBeforePrint("ghTable", [this] { printTable(); });
    onBeforePrint("gfTable", [this] { printTableFooter(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startWithPartyFromClause();
    std::string tableSum;
    if (sqlOrderBy() == kByLabel) {
      section("ghTable").setDataField("ObjectLabel");
      tableSum =
          "ObjectLabel, ItemNumber, RoomObjects.ObjectLabel + ' (#' + "
          "CStr(RoomObjects.ItemNumber) + ')' as TableSum, RoomObjectChairs.GuestID, ChairNumber, "
          "NumOfChairs ";
    } else {
      section("ghTable").setDataField("ItemNumber");
      tableSum =
          "ObjectLabel, ItemNumber, '#' + CStr(RoomObjects.ItemNumber) + ' (' + "
          "RoomObjects.ObjectLabel+ ')' as TableSum, RoomObjectChairs.GuestID, ChairNumber, "
          "NumOfChairs ";
    }
    data().setSource(seating_sql::roomPlan(
        " '' as RoomName, '' as ObjectLabel, 0 as ItemNumber,'Not Seated' AS TableSum, 0 as "
        "GuestID, 0 as ChairNumber, 0 as NumOfChairs",
        tableSum, sqlWhere(), sqlOrderBy(), partyId()));
  }

 private:
  // The party's counts and seat totals, on the first party header of the run only.
  void formatParty() {
    if (!onPartyRow() || !firstPartyHeader()) return;
    setPartyId(data().recordset().value("PartyID").toLong());
    fillTimeAndCounts(partyId());
    fillSeatTotals(
        "SELECT Count(1) AS TotalTables FROM Parties INNER JOIN (Rooms INNER JOIN RoomObjects ON "
        "Rooms.RoomID = RoomObjects.RoomID) ON Parties.PartyID = Rooms.PartyID " +
            sqlWhere() + " AND RoomObjects.NumOfChairs>0",
        "TotalTables", "SELECT Count(1) AS TotalChairs " + std::string(kRoomsFrom) + sqlWhere(),
        "TotalChairs",
        "SELECT Count(1) AS TotalChairsUsed " + std::string(kRoomsFrom) + sqlWhere() +
            " AND RoomObjectChairs.GuestID <> 0",
        "TotalChairsUsed");
    notePartyHeaderFilled();
  }

  // A table whose label is Null has a Null seat text.
  void printTable() {
    auto& name = field("txtTableName");
    if (name.text().empty()) name.setText("Unseated");
  }

  // Fewer chairs than guests on them shows a negative number.
  void printTableFooter() {
    field("txtSeatsAvail")
        .setText(seatsLeft(field("txtNumSeats").text(), field("txtSeatsUsed").text()));
  }
};

const frame::DesignerRegistration reg("rptTableAssign2",
                                      [] { return std::make_unique<RptTableAssign2>(); });

}  // namespace
}  // namespace galvix::reports
