// Table assignments by table: each table of a party with its seats used and available and the
// attending guests seated at it; guests without a table under " Not Seated".
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "reports/common/party_header.h"
#include "reports/seating/seating_report.h"

GALVIX_USE_LAYOUT(rptTableAssign);

namespace galvix::reports {
namespace {

const char* const kFullName =
    "IIf(Trim(GuestNames.GTitle + '')='','',GuestNames.GTitle+' ')+IIf(Trim(GuestNames.GFName + "
    "'')='','',GuestNames.GFName+' ')+";

std::string partyColumns(const char* beforeStyle) {
  return std::string(
             "SELECT DISTINCTROW Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
             "Parties.Date, Parties.Time,") +
         beforeStyle + "Parties.Style, " + kPartyLocationSql + "Parties.FoodService, ";
}

// The seated guests, the tables nobody is assigned to, and the attending guests without a
// table, ordered as a whole by table name.
std::string selectText(const std::string& where, const std::string& id) {
  using namespace seating_sql;
  return std::string(kSeatedAtTableColumns) + kSeatedAtTableFrom + where +
         " And Invitees.Attending = -1 AND Tables.PartyID = " + id +
         " AND Invitees.Seat > 0 ORDER BY Tables.TableName Union " + partyColumns("  ") +
         "Tables.TableName, Tables.NumSeats, Null AS FormatSeats, Null AS MenuItem, Null AS "
         "FullName, Null as Category, Null as Role FROM SubEvents INNER JOIN (Parties INNER JOIN "
         "Tables ON Parties.PartyID = Tables.PartyID) ON SubEvents.SubEventID = "
         "Parties.SubEventID " +
         where +
         " AND Tables.TableName Not In (SELECT DISTINCTROW Tables.TableName FROM Parties INNER "
         "JOIN (Tables INNER JOIN Invitees ON (Tables.PartyID = Invitees.PartyID) AND "
         "(Tables.TableID = Invitees.TableID)) ON Parties.PartyID = Tables.PartyID  Where "
         "Parties.PartyID = " +
         id + ") ORDER BY Tables.TableName UNION " + partyColumns(" ") +
         "' Not Seated' , Tables.NumSeats, Null AS FormatSeats, Menu.MenuItem, " + kFullName +
         " IIf(Trim(GuestNames.GLName + '')='','',GuestNames.GLName+' ')+ "
         "IIf(Trim(GuestNames.GSuffix & '')='','',GuestNames.GSuffix) AS FullName, "
         "GuestCategories.Category, EventRoles.Role" +
         kSeatedAtTableFrom + " Where Parties.PartyID = " + id +
         " And Invitees.Attending = -1 AND Invitees.TableID = 0 ORDER BY Tables.TableName";
}

class RptTableAssign : public SeatingReport {
 public:
  RptTableAssign() : SeatingReport(engine::layouts::rptTableAssign(), PartyClause::AfterEquals) {
    onFormat("ghPartyName", [this] { formatParty(); });
    onFormat("ghTable", [this] { formatTable(); });
    onBeforePrint("ghTable", [this] { printTable(); });
    onFormat("Detail", [this] { formatDetail(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startWithPartyFromClause();
    seatsUsed_ = 0;
    data().setSource(selectText(sqlWhere(), std::to_string(partyId())));
  }

 private:
  void formatParty() {
    if (!onPartyRow() || !firstPartyHeader()) return;
    setPartyId(data().recordset().value("PartyID").toLong());
    fillTimeAndCounts(partyId());
    const std::string id = std::to_string(partyId());
    // A party without tables has no seat sum; it shows 0 seats.
    fillSeatTotals(
        "SELECT Count(1) As NumTables FROM Tables WHERE PartyID = " + id, "NumTables",
        "SELECT Sum(NumSeats) AS TotalSeats FROM Tables WHERE PartyID = " + id, "TotalSeats",
        "SELECT Count(1) AS TotalSeatsUsed FROM Invitees WHERE PartyID = " + id + " AND Seat > 0",
        "TotalSeatsUsed");
    notePartyHeaderFilled();
  }

  void formatTable() {
    seatsUsed_ = 0;
    auto& name = field("txtTableName");
    if (name.text().empty()) name.setText("Unseated");
  }

  void formatDetail() {
    const Variant seat = data().recordset().value("FormatSeats");
    if (!seat.isNull() && !seat.displayText().empty()) ++seatsUsed_;
  }

  void printTable() {
    field("txtSeatsUsed").setText(std::to_string(seatsUsed_));
    const std::string& seats = field("txtNumSeats").text();
    if (!seats.empty())
      field("txtSeatsAvail").setText(seatsLeft(seats, std::to_string(seatsUsed_)));
  }

  std::int32_t seatsUsed_ = 0;
};

const frame::DesignerRegistration reg("rptTableAssign",
                                      [] { return std::make_unique<RptTableAssign>(); });

}  // namespace
}  // namespace galvix::reports
