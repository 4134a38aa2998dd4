#include "data/schema.h"

#include "db/sqlite_util.h"

namespace galvix::data {

namespace {

using K = Kind;

std::vector<TableDef> makeTables() {
  return {
      // Parties and guests.
      {"Events",
       "EventID",
       {{"EventID", K::Id},
        {"EventName", K::Text},
        {"EventTypeID", K::Id},
        {"EventStatusID", K::Id},
        {"Budget", K::Currency},
        {"EventStartDate", K::Date},
        {"EventEndDate", K::Date},
        {"PrintJournal", K::Truth}},
       {"EventTypeID", "EventStatusID"}},
      {"EventTypes", "EventTypeID", {{"EventTypeID", K::Id}, {"EventType", K::Text}}, {}},
      {"EventStatuses", "EventStatusID", {{"EventStatusID", K::Id}, {"Status", K::Text}}, {}},
      {"SubEvents",
       "SubEventID",
       {{"SubEventID", K::Id}, {"EventID", K::Id}, {"SubEventName", K::Text}},
       {"EventID"}},
      {"Parties",
       "PartyID",
       {{"PartyID", K::Id},
        {"SubEventID", K::Id},
        {"EventID", K::Id},
        {"GivenBy", K::Text},
        {"Date", K::Date},
        {"Time", K::Time},
        {"Address", K::Text},
        {"City", K::Text},
        {"State", K::Text},
        {"PostalCode", K::Text},
        {"Country", K::Text},
        {"Notes", K::Memo},
        {"Style", K::Text},
        {"Theme", K::Text},
        {"Colors", K::Text},
        {"FoodService", K::Text},
        {"EstGuests", K::Long},
        {"MenuSelectionRequired", K::Truth},
        {"UseTavlo5", K::Truth}},
       {"SubEventID", "EventID"}},
      {"GroupIDs",
       "GroupID",
       {{"GroupID", K::Id},
        {"EventID", K::Id},
        {"CategoryID", K::Id},
        {"Label", K::Text},
        {"Address", K::Text},
        {"City", K::Text},
        {"State", K::Text},
        {"PostalCode", K::Text},
        {"Country", K::Text},
        {"HPhone", K::Text},
        {"WPhone", K::Text},
        {"MPhone", K::Text},
        {"FPhone", K::Text},
        {"E-Mail", K::Text},
        {"Notes", K::Memo},
        {"ContactNumber", K::Short}},
       {"EventID", "CategoryID"}},
      {"GuestNames",
       "GuestID",
       {{"GuestID", K::Id},
        {"GroupID", K::Id},
        {"GTitle", K::Text},
        {"GFName", K::Text},
        {"GLName", K::Text},
        {"GSuffix", K::Text},
        {"Type", K::Short},
        {"Age", K::Short},
        {"RoleID", K::Id},
        {"ContactPic", K::Picture}},
       {"GroupID", "RoleID"}},
      {"GuestCategories", "CategoryID", {{"CategoryID", K::Id}, {"Category", K::Text}}, {}},
      {"EventRoles", "RoleID", {{"RoleID", K::Id}, {"Role", K::Text}}, {}},
      {"PartyDetails",
       "PartyGroupID",
       {{"PartyGroupID", K::Id},   {"PartyID", K::Id},       {"GroupID", K::Id},
        {"FormalLabel", K::Text},  {"CasualLabel", K::Text}, {"RSVPd", K::Truth},
        {"RSVPNote", K::Text},     {"Hotel", K::Text},       {"CheckInDate", K::Date},
        {"CheckOutDate", K::Date}, {"AccNote", K::Text},     {"ADate", K::Date},
        {"ATime", K::Time},        {"ALocation", K::Text},   {"ACarrier", K::Text},
        {"ACarrierNo", K::Text},   {"Pickup", K::Truth},     {"DDate", K::Date},
        {"DTime", K::Time},        {"DLocation", K::Text},   {"DCarrier", K::Text},
        {"DCarrierNo", K::Text},   {"DropOff", K::Truth}},
       {"PartyID", "GroupID"}},
      {"Invitees",
       "",
       {{"GuestID", K::Id},
        {"PartyID", K::Id},
        {"Attending", K::Truth},
        {"Primary", K::Truth},
        {"MenuID", K::Id},
        {"TableID", K::Id},
        {"Seat", K::Short}},
       // No index on TableID: most invitations have table 0 ("not seated"), and without value
       // statistics SQLite took `TableID = 0` for a selective key and walked that index once per
       // guest group (minutes for the seating reports at 20,000 guests; 1.5 s without it).
       {"GuestID", "PartyID", "MenuID"}},
      {"Menu",
       "MenuID",
       {{"MenuID", K::Id}, {"PartyID", K::Id}, {"MenuItem", K::Text}},
       {"PartyID"}},
      {"HotelRooms",
       "",
       {{"PartyGroupID", K::Id},
        {"RoomType", K::Text},
        {"NumNights", K::Short},
        {"NonSmoking", K::Truth}},
       {"PartyGroupID"}},
      // Seating.
      {"Tables",
       "TableID",
       {{"TableID", K::Id}, {"PartyID", K::Id}, {"TableName", K::Text}, {"NumSeats", K::Short}},
       {"PartyID"}},
      {"Rooms",
       "RoomID",
       {{"RoomID", K::Id}, {"PartyID", K::Id}, {"RoomName", K::Text}},
       {"PartyID"}},
      {"RoomObjects",
       "ObjectID",
       {{"ObjectID", K::Id},
        {"RoomID", K::Id},
        {"ObjectLabel", K::Text},
        {"ItemNumber", K::Short},
        {"NumOfChairs", K::Short}},
       {"RoomID"}},
      {"RoomObjectChairs",
       "",
       {{"ObjectID", K::Id}, {"ChairNumber", K::Short}, {"GuestID", K::Id}},
       {"ObjectID", "GuestID"}},
      {"StageOfEvents",
       "StageID",
       {{"StageID", K::Id},
        {"PartyID", K::Id},
        {"EventOrder", K::Short},
        {"EventTime", K::Time},
        {"StageOfEvent", K::Text},
        {"Song", K::Text},
        {"SungBy", K::Text},
        {"Notes", K::Memo}},
       {"PartyID"}},
      {"Journal",
       "JournalID",
       {{"JournalID", K::Id}, {"EventID", K::Id}, {"EntryDate", K::Date}, {"Entry", K::Memo}},
       {"EventID"}},
      // Budget and event professionals.
      {"ExpenseCategories", "CategoryID", {{"CategoryID", K::Id}, {"Category", K::Text}}, {}},
      {"SPCategories",
       "SPCategoryID",
       {{"SPCategoryID", K::Id},
        {"CategoryID", K::Id},
        {"EventID", K::Id},
        {"ABudget", K::Currency},
        {"Budget", K::Currency},
        {"Actual", K::Currency},
        {"PaymentsMade", K::Currency},
        {"VendorRequired", K::Truth}},
       {"CategoryID", "EventID"}},
      {"Vendors",
       "VendorID",
       {{"VendorID", K::Id},       {"CompanyName", K::Text},
        {"Address", K::Text},      {"City", K::Text},
        {"State", K::Text},        {"PostalCode", K::Text},
        {"Country", K::Text},      {"MainBusinessLine", K::Text},
        {"MainFaxLine", K::Text},  {"WWW", K::Text},
        {"Tax", K::Double},        {"Tip", K::Double},
        {"System", K::Short},      {"MyCompany", K::Truth},
        {"ReportFooter", K::Text}, {"FontName", K::Text},
        {"FontColor", K::Long},    {"FontItalic", K::Truth},
        {"FontBold", K::Truth},    {"FontSize", K::Short}},
       {}},
      {"CategoriesToVendors",
       "",
       {{"VendorID", K::Id}, {"CategoryID", K::Id}},
       {"VendorID", "CategoryID"}},
      {"VendorContacts",
       "ContactID",
       {{"ContactID", K::Id},
        {"VendorID", K::Id},
        {"Title", K::Text},
        {"FirstName", K::Text},
        {"LastName", K::Text},
        {"Suffix", K::Text},
        {"NickName", K::Text},
        {"JobTitle", K::Text},
        {"EMail", K::Text},
        {"Phone", K::Text},
        {"Fax", K::Text},
        {"Mobile", K::Text},
        {"Pager", K::Text},
        {"ReportOrder", K::Short}},
       {"VendorID"}},
      {"VendorAssignments",
       "VendorAssignmentID",
       {{"VendorAssignmentID", K::Id},
        {"EventID", K::Id},
        {"CategoryID", K::Id},
        {"VendorID", K::Id},
        {"WorkSheetType", K::Short},
        {"Selected", K::Truth},
        {"Tax", K::Double},
        {"Tip", K::Double},
        {"DeliveryDate", K::Date},
        {"DeliveryTime", K::Time},
        {"DeliveryAddress", K::Text},
        {"Notes", K::Memo},
        {"CancellationPolicy", K::Memo},
        {"PrimaryContactID", K::Id},
        {"SecondaryContactID", K::Id}},
       {"EventID", "CategoryID", "VendorID"}},
      {"Items",
       "ItemID",
       {{"ItemID", K::Id},
        {"VendorAssignmentID", K::Id},
        {"InvoiceID", K::Id},
        {"Item", K::Text},
        {"Description", K::Text},
        {"Price", K::Currency},
        {"Qty", K::Double},
        {"Tax", K::Truth},
        {"Tip", K::Truth},
        {"PaidBy", K::Id}},
       {"VendorAssignmentID", "InvoiceID"}},
      {"DefPaymentSchedule",
       "PaymentTypeID",
       {{"PaymentTypeID", K::Id}, {"PaymentType", K::Text}, {"SortOrder", K::Short}},
       {}},
      {"PaymentSchedule",
       "PaymentID",
       {{"PaymentID", K::Id},
        {"VendorAssignmentID", K::Id},
        {"PaymentTypeID", K::Id},
        {"InvoiceID", K::Id},
        {"Amount", K::Currency},
        {"DueDate", K::Date},
        {"PaymentDate", K::Date},
        {"Paid", K::Truth}},
       {"VendorAssignmentID", "PaymentTypeID", "InvoiceID"}},
      {"Invoices",
       "InvoiceID",
       {{"InvoiceID", K::Id},
        {"EventID", K::Id},
        {"InvoiceNumber", K::Text},
        {"InvoiceDescription", K::Text},
        {"InvoiceNote", K::Text},
        {"CreatedBy", K::Text},
        {"PaymentTerms", K::Text},
        {"BillToName", K::Text},
        {"BillToAddress", K::Text},
        {"BillToPhone", K::Text},
        {"BillToFax", K::Text},
        {"BillToEMail", K::Text},
        {"InvoiceDate", K::Date},
        {"DueDate", K::Date},
        {"Amount", K::Currency}},
       {"EventID"}},
      {"ImageLibrary",
       "ImageID",
       {{"ImageID", K::Id}, {"VendorID", K::Id}, {"ImageBLOB", K::Picture}},
       {"VendorID"}},
      // Labels and stationery.
      {"LabelText",
       "",
       {{"LabelSetupID", K::Id}, {"Label", K::Text}, {"Print", K::Truth}, {"Lookup", K::Text}},
       {"LabelSetupID"}},
      {"EnvelopeText",
       "",
       {{"EnvelopeID", K::Id}, {"Label", K::Text}, {"Print", K::Truth}, {"Lookup", K::Text}},
       {"EnvelopeID"}},
      {"StationerySetup",
       "StationeryID",
       {{"StationeryID", K::Id}, {"PartyID", K::Id}},
       {"PartyID"}},
      {"StationeryText",
       "",
       {{"StationeryID", K::Id},
        {"PartyGroupID", K::Id},
        {"GuestID", K::Text},
        {"Label", K::Text},
        {"Print", K::Truth}},
       {"StationeryID", "PartyGroupID"}},
      // Checklists (the host's checklist query reads these).
      {"Checklists",
       "ChecklistID",
       {{"ChecklistID", K::Id}, {"EventID", K::Id}, {"ChecklistName", K::Text}},
       {"EventID"}},
      {"ChecklistItems",
       "ChecklistItemID",
       {{"ChecklistItemID", K::Id},
        {"ChecklistID", K::Id},
        {"Item", K::Text},
        {"Done", K::Truth},
        {"DueDate", K::Date},
        {"Time", K::Time},
        {"AssignedTo", K::Text}},
       {"ChecklistID"}},
  };
}

// One row per guest attending a party: the attendance grid counts these, so parties nobody
// attends and guests who attend nothing do not appear.
constexpr const char* kAttendanceView = R"(CREATE VIEW GuestPartyAttendance AS
SELECT Parties.EventID AS EventID,
       GuestCategories.Category AS Category,
       trim(coalesce(GuestNames.GFName, '') || ' ' || coalesce(GuestNames.GLName, ''))
         COLLATE JETTEXT AS Name,
       SubEvents.SubEventName AS SubEventName,
       Invitees.Attending AS Attending
FROM Invitees
JOIN GuestNames ON GuestNames.GuestID = Invitees.GuestID
JOIN Parties ON Parties.PartyID = Invitees.PartyID
LEFT JOIN SubEvents ON SubEvents.SubEventID = Parties.SubEventID
LEFT JOIN GroupIDs ON GroupIDs.GroupID = GuestNames.GroupID
LEFT JOIN GuestCategories ON GuestCategories.CategoryID = GroupIDs.CategoryID
WHERE Invitees.Attending <> 0;
)";

std::string quoted(std::string_view name) {
  return "[" + std::string(name) + "]";
}

}  // namespace

const std::vector<TableDef>& eventTables() {
  static const std::vector<TableDef> tables = makeTables();
  return tables;
}

const TableDef* findTable(std::string_view name) {
  for (const auto& t : eventTables())
    if (db::compareTextNoCase(t.name, name) == 0) return &t;
  return nullptr;
}

std::string_view declaredType(Kind kind) {
  switch (kind) {
    case Kind::Id:
    case Kind::Long:
      return "INTEGER";
    case Kind::Text:
      return "TEXT COLLATE JETTEXT";
    case Kind::Memo:
      // LONGTEXT, not MEMO: the name must say TEXT for SQLite to keep digits as text.
      return "LONGTEXT COLLATE JETTEXT";
    case Kind::Truth:
      return "BIT";
    case Kind::Date:
    case Kind::Time:
      return "DATETIME";
    case Kind::Short:
      return "SMALLINT";
    case Kind::Double:
      return "DOUBLE";
    case Kind::Currency:
      return "CURRENCY";
    case Kind::Picture:
      return "BLOB";
  }
  return "";
}

std::string eventSchemaSql() {
  std::string sql;
  for (const auto& t : eventTables()) {
    sql += "CREATE TABLE " + quoted(t.name) + " (";
    bool first = true;
    for (const auto& c : t.columns) {
      if (!first) sql += ", ";
      first = false;
      sql += quoted(c.name);
      sql += ' ';
      sql += declaredType(c.kind);
      if (c.name == t.key) sql += " PRIMARY KEY";
      if (c.kind == Kind::Truth) sql += " NOT NULL DEFAULT 0";
    }
    sql += ");\n";
    for (auto col : t.indexed) {
      sql += "CREATE INDEX " + quoted("ix_" + std::string(t.name) + "_" + std::string(col)) +
             " ON " + quoted(t.name) + " (" + quoted(col) + ");\n";
    }
  }
  sql += kAttendanceView;
  return sql;
}

void createEventSchema(sqlite3* db) {
  try {
    db::execSql(db, "BEGIN;\n" + eventSchemaSql() + "COMMIT;");
  } catch (...) {
    if (!sqlite3_get_autocommit(db)) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

}  // namespace galvix::data
