#include "reports/seating/seating_report.h"

#include "reports/common/party_header.h"
#include "runtime/format.h"
#include "runtime/vb.h"

namespace galvix::reports {

namespace seating_sql {

const char* const kPartyColumns =
    "SELECT DISTINCTROW Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, Parties.Date, "
    "Parties.Time, Parties.Style, IIf(Trim(Parties.Address & "
    "'')='','',Parties.Address+Chr(13))+IIf(Trim(Parties.City & '')='','',Parties.City+', "
    "')+IIf(Trim(Parties.State & '')='','',Parties.State+'  ')+IIf(Trim(Parties.PostalCode & "
    "'')='','',Parties.PostalCode)+IIf(Trim(Parties.Country & '')='','',Chr(13)+Parties.Country) "
    "AS Address, Parties.FoodService, ";
const char* const kGuestColumns =
    "Menu.MenuItem, IIf(Trim(GuestNames.GTitle+'')='','',GuestNames.GTitle+' "
    "')+IIf(Trim(GuestNames.GFName+'')='','',GuestNames.GFName+' "
    "')+IIf(Trim(GuestNames.GLName+'')='','',GuestNames.GLName+' ')+IIf(Trim(GuestNames.GSuffix "
    "& '')='','',GuestNames.GSuffix) AS FullName, GuestCategories.Category, EventRoles.Role, "
    "GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName, GuestNames.Type";
const char* const kGuestJoins =
    "SubEvents INNER JOIN (Parties INNER JOIN (((GuestCategories RIGHT JOIN GroupIDs ON "
    "GuestCategories.CategoryID = GroupIDs.CategoryID) INNER JOIN (EventRoles RIGHT JOIN "
    "GuestNames ON EventRoles.RoleID = GuestNames.RoleID) ON GroupIDs.GroupID = "
    "GuestNames.GroupID) INNER JOIN (Invitees LEFT JOIN Menu ON Invitees.MenuID = Menu.MenuID) "
    "ON GuestNames.GuestID = Invitees.GuestID) ON Parties.PartyID = Invitees.PartyID) ON "
    "SubEvents.SubEventID = Parties.SubEventID";
const char* const kByGuestName =
    "ORDER BY GuestNames.GLName, GuestNames.GSuffix, GuestNames.Type, GuestNames.GFName";
const char* const kSeatedAtTableColumns =
    "SELECT DISTINCTROW Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, Parties.Date, "
    "Parties.Time, Parties.Style, IIF(Trim(Parties.Address & '') = '', '',Parties.Address + "
    "chr(13)) + IIF(Trim(Parties.City & '') = '', '',Parties.City + ', ') + "
    "IIF(Trim(Parties.State & '') = '', '',Parties.State + '  ') + IIF(Trim(Parties.PostalCode & "
    "'') = '', '',Parties.PostalCode) + IIF(Trim(Parties.Country & '') = '', '', chr(13) + "
    "Parties.Country) as Address, Parties.FoodService, Tables.TableName, Tables.NumSeats, "
    "Format(Invitees.Seat, '00') AS FormatSeats, Menu.MenuItem, IIf(Trim(GuestNames.GTitle + "
    "'')='','',GuestNames.GTitle+' ')+IIf(Trim(GuestNames.GFName + '')='','',GuestNames.GFName+' "
    "')+IIf(Trim(GuestNames.GLName + '')='','',GuestNames.GLName+' ')+ "
    "IIf(Trim(GuestNames.GSuffix & '')='','',GuestNames.GSuffix) AS FullName, "
    "GuestCategories.Category, EventRoles.Role";
const char* const kSeatedAtTableFrom =
    " FROM EventRoles RIGHT JOIN (SubEvents INNER JOIN (Parties INNER JOIN (((GuestCategories "
    "RIGHT JOIN GroupIDs ON GuestCategories.CategoryID = GroupIDs.CategoryID) INNER JOIN "
    "GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN ((Invitees LEFT JOIN Tables "
    "ON Invitees.TableID = Tables.TableID) LEFT JOIN Menu ON Invitees.MenuID = Menu.MenuID) ON "
    "GuestNames.GuestID = Invitees.GuestID) ON Parties.PartyID = Invitees.PartyID) ON "
    "SubEvents.SubEventID = Parties.SubEventID) ON EventRoles.RoleID = GuestNames.RoleID ";

std::string roomPlan(const std::string& unseatedColumns, const std::string& seatColumns,
                     const std::string& where, const std::string& orderBy, std::int32_t partyId) {
  const std::string id = std::to_string(partyId);
  return std::string(kPartyColumns) + kGuestColumns + ", " + unseatedColumns + " FROM " +
         kGuestJoins + " WHERE (((Parties.PartyID)= " + id +
         ") AND ((Invitees.Attending)=-1) AND Invitees.GuestID NOT IN (SELECT DISTINCT "
         "RoomObjectChairs.GuestID FROM (Rooms INNER JOIN RoomObjects ON Rooms.RoomID = "
         "RoomObjects.RoomID) INNER JOIN RoomObjectChairs ON RoomObjects.ObjectID = "
         "RoomObjectChairs.ObjectID WHERE (((Rooms.PartyID)= " +
         id + ")))) " + kByGuestName + " UNION " + kPartyColumns + kGuestColumns +
         ", Rooms.RoomName, " + seatColumns + "FROM (((" + kGuestJoins +
         ") INNER JOIN Rooms ON Parties.PartyID = Rooms.PartyID) INNER JOIN RoomObjects ON "
         "Rooms.RoomID = RoomObjects.RoomID) INNER JOIN RoomObjectChairs ON (GuestNames.GuestID = "
         "RoomObjectChairs.GuestID) AND (RoomObjects.ObjectID = RoomObjectChairs.ObjectID) " +
         where + " And Invitees.Attending = -1 " + orderBy;
}

}  // namespace seating_sql

namespace {

// The piece of the clause that should hold the party number, as a 32-bit integer; a piece that
// is not a number says where it came from, since the caller wrote the clause.
std::int32_t partyNumber(const Variant& piece, const std::string& where) {
  try {
    return piece.toLong();
  } catch (const RuntimeError& e) {
    throw RuntimeError(e.number(), std::string(e.what()) +
                                       " (the party number is read from the where clause, "
                                       "right after its first \"=\"; SQLWhere: \"" +
                                       where + "\")");
  }
}

long firstEquals(const std::string& where) {
  return vb::InStr(Variant(where), Variant("=")).toLong();
}

// "WHERE Parties.PartyID = 12 ": everything after the first "=".
std::int32_t partyAfterEquals(const std::string& where) {
  return partyNumber(vb::Mid(Variant(where), firstEquals(where) + 1), where);
}

// "... = 12 AND ...": from the first "=" up to the blank before the first " AND " (exact case).
std::int32_t partyUpToAnd(const std::string& where) {
  const Variant w(where);
  const long eq = firstEquals(where);
  const long andAt = vb::InStr(w, Variant(" AND ")).toLong();
  return partyNumber(andAt > 0 ? vb::Mid(w, eq + 1, andAt - eq) : vb::Mid(w, eq + 1), where);
}

}  // namespace

SeatingReport::SeatingReport(const engine::EmbeddedLayout& layout, PartyClause clause)
    : FrameReport(layout), clause_(clause) {}

void SeatingReport::setSQLWhere(std::string w) {
  partyId_ = clause_ == PartyClause::AfterEquals ? partyAfterEquals(w) : partyUpToAnd(w);
  FrameReport::setSQLWhere(std::move(w));
}

void SeatingReport::startWithPartyFromClause() {
  startFrame(true);
  partyHeaders_ = 0;
  const Variant rest = vb::Mid(Variant(sqlWhere()), firstEquals(sqlWhere()) + 2);
  partyId_ = partyNumber(vb::Left(rest, vb::InStr(rest, Variant(" ")).toLong()), sqlWhere());
}

bool SeatingReport::onPartyRow() {
  return hasRows() && !data().recordset().value("PartyID").isNull();
}

void SeatingReport::fillTimeAndCounts(std::int32_t partyId) {
  auto& t = field("txtTime");
  t.setText(Format(t.value(), timeFormat()));
  for (const auto& c : partyCounts(partyId)) field(c.field).setText(sideCount(c.sql, c.column));
}

bool SeatingReport::firstPartyHeader() {
  if (partyHeaders_ == 0) return true;
  section("ghPartyName").setVisible(false);
  return false;
}

void SeatingReport::fillSeatTotals(const std::string& tablesSql, const char* tablesColumn,
                                   const std::string& seatsSql, const char* seatsColumn,
                                   const std::string& usedSql, const char* usedColumn) {
  field("txtTablesTotal").setText(sideCount(tablesSql, tablesColumn));
  field("txtSeatsTotal").setText(sideCount(seatsSql, seatsColumn));
  field("txtSeatsUsedTotal").setText(sideCount(usedSql, usedColumn));
  field("txtSeatsAvailTotal")
      .setText(seatsLeft(field("txtSeatsTotal").text(), field("txtSeatsUsedTotal").text()));
}

std::string SeatingReport::seatsLeft(const std::string& seats, const std::string& used) {
  return std::to_string(checkedInteger(Variant(seats).toInteger() - Variant(used).toInteger()));
}

GuestSeatingReport::GuestSeatingReport(const engine::EmbeddedLayout& layout)
    : SeatingReport(layout, PartyClause::UpToAnd) {
  addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
  onFormat("ghPartyName", [this] {
    if (onPartyRow()) fillTimeAndCounts(partyId());
  });
  printDateOn("PageFooter");
  // No group header here reads what its details leave: details go out as formatted.
  setHeadersIndependentOfDetails();
}

}  // namespace galvix::reports
