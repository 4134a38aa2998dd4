// Table assignments by table: each table of a party with its seats used and available and the
// attending guests seated at it; guests without a table under " Not Seated".
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptTableAssign);

namespace galvix::reports {
namespace {

const char* const kFullName =
    "IIf(Trim(GuestNames.GTitle + '')='','',GuestNames.GTitle+' ')+IIf(Trim(GuestNames.GFName + "
    "'')='','',GuestNames.GFName+' ')+";
const char* const kFrom =
    "FROM EventRoles RIGHT JOIN (SubEvents INNER JOIN (Parties INNER JOIN (((GuestCategories "
    "RIGHT JOIN GroupIDs ON GuestCategories.CategoryID = GroupIDs.CategoryID) INNER JOIN "
    "GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN ((Invitees LEFT JOIN Tables "
    "ON Invitees.TableID = Tables.TableID) LEFT JOIN Menu ON Invitees.MenuID = Menu.MenuID) ON "
    "GuestNames.GuestID = Invitees.GuestID) ON Parties.PartyID = Invitees.PartyID) ON "
    "SubEvents.SubEventID = Parties.SubEventID) ON EventRoles.RoleID = GuestNames.RoleID ";

std::string partyColumns(const char* beforeStyle) {
  return std::string(
             "SELECT DISTINCTROW Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, "
             "Parties.Date, Parties.Time,") +
         beforeStyle + "Parties.Style, " + kPartyLocationSql + "Parties.FoodService, ";
}

// The seated guests, the tables nobody is assigned to, and the attending guests without a
// table, ordered as a whole by table name.
std::string selectText(const std::string& where, const std::string& id) {
  return partyColumns(" ") +
         "Tables.TableName, Tables.NumSeats, Format(Invitees.Seat, '00') AS FormatSeats, "
         "Menu.MenuItem, " +
         kFullName +
         "IIf(Trim(GuestNames.GLName + '')='','',GuestNames.GLName+' ')+ "
         "IIf(Trim(GuestNames.GSuffix "
         "& '')='','',GuestNames.GSuffix) AS FullName, GuestCategories.Category, EventRoles.Role " +
         kFrom + where + " And Invitees.Attending = -1 AND Tables.PartyID = " + id +
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
         "GuestCategories.Category, EventRoles.Role " +
         kFrom + " Where Parties.PartyID = " + id +
         " And Invitees.Attending = -1 AND Invitees.TableID = 0 ORDER BY Tables.TableName";
}

class RptTableAssign : public frame::FrameReport {
 public:
  RptTableAssign() : FrameReport(engine::layouts::rptTableAssign()) {
    onFormat("ghPartyName", [this] { formatParty(); });
    onFormat("ghTable", [this] { formatTable(); });
    onBeforePrint("ghTable", [this] { printTable(); });
    onFormat("Detail", [this] { formatDetail(); });
    printDateOn("PageFooter");
  }

  // The clause carries the party: "... = 12 ".
  void setSQLWhere(std::string w) override {
    Variant after = vb::Mid(Variant(w), vb::InStr(Variant(w), Variant("=")).toLong() + 1);
    partyId_ = after.toLong();
    FrameReport::setSQLWhere(std::move(w));
  }

  void onReportStart() override {
    startFrame(true);
    seatsUsed_ = 0;
    partyHeaders_ = 0;
    // Again from the text: two characters after "=", up to and including the next blank.
    const Variant w(sqlWhere());
    Variant rest = vb::Mid(w, vb::InStr(w, Variant("=")).toLong() + 2);
    partyId_ = vb::Left(rest, vb::InStr(rest, Variant(" ")).toLong()).toLong();
    data().setSource(selectText(sqlWhere(), std::to_string(partyId_)));
  }

 private:
  void formatParty() {
    auto& rs = data().recordset();
    if (!hasRows() || rs.value("PartyID").isNull()) return;
    if (partyHeaders_ > 0) {
      section("ghPartyName").setVisible(false);
      return;
    }
    auto& t = field("txtTime");
    t.setText(Format(t.value(), timeFormat()));
    partyId_ = rs.value("PartyID").toLong();
    for (const auto& c : partyCounts(partyId_)) field(c.field).setText(sideCount(c.sql, c.column));
    const std::string id = std::to_string(partyId_);
    // A party without tables has no seat sum; it shows 0 seats.
    field("txtTablesTotal")
        .setText(sideCount("SELECT Count(1) As NumTables FROM Tables WHERE PartyID = " + id,
                           "NumTables"));
    field("txtSeatsTotal")
        .setText(sideCount("SELECT Sum(NumSeats) AS TotalSeats FROM Tables WHERE PartyID = " + id,
                           "TotalSeats"));
    field("txtSeatsUsedTotal")
        .setText(sideCount("SELECT Count(1) AS TotalSeatsUsed FROM Invitees WHERE PartyID = " + id +
                               " AND Seat > 0",
                           "TotalSeatsUsed"));
    const auto seats = Variant(field("txtSeatsTotal").text()).toInteger();
    const auto used = Variant(field("txtSeatsUsedTotal").text()).toInteger();
    field("txtSeatsAvailTotal").setText(std::to_string(checkedInteger(seats - used)));
    ++partyHeaders_;
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
      field("txtSeatsAvail")
          .setText(std::to_string(checkedInteger(Variant(seats).toInteger() - seatsUsed_)));
  }

  std::int32_t partyId_ = 0;
  std::int16_t partyHeaders_ = 0;
  std::int32_t seatsUsed_ = 0;
};

const frame::DesignerRegistration reg("rptTableAssign",
                                      [] { return std::make_unique<RptTableAssign>(); });

}  // namespace
}  // namespace galvix::reports
