#include "data/fixture.h"

#include <cstdio>
#include <filesystem>

#include "data/schema.h"
#include "db/connection_impl.h"
#include "db/sqlite_util.h"

namespace galvix::data {

namespace {

using Values = std::initializer_list<std::pair<std::string_view, Variant>>;

long daysFromCivil(int y, int m, int d) {
  y -= m <= 2;
  long era = (y >= 0 ? y : y - 399) / 400;
  long yoe = y - era * 400;
  long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + 25569;
}

// Unset text is Null, as in a freshly made row; tests that need a blank use set().
Variant text(const std::string& s) {
  return s.empty() ? Variant::null() : Variant::string(s);
}
Variant text(std::string_view s) {
  return text(std::string(s));
}
Variant truth(bool b) {
  return Variant::boolean(b);
}
Variant num(long v) {
  return Variant::longInt(static_cast<std::int32_t>(v));
}
Variant idOrNull(long v) {
  return v ? num(v) : Variant::null();
}

std::string bracket(std::string_view name) {
  return "[" + std::string(name) + "]";
}

}  // namespace

Variant date(int year, int month, int day) {
  return Variant::date(static_cast<double>(daysFromCivil(year, month, day)));
}

Variant time(int hour, int minute, int second) {
  return Variant::date((hour * 3600 + minute * 60 + second) / 86400.0);
}

Variant dateTime(int year, int month, int day, int hour, int minute, int second) {
  return Variant::date(static_cast<double>(daysFromCivil(year, month, day)) +
                       (hour * 3600 + minute * 60 + second) / 86400.0);
}

Variant money(double amount) {
  return Variant::currency(Currency::fromDouble(amount));
}

Fixture::Fixture(std::string path) : path_(std::move(path)) {
  std::error_code ec;
  std::filesystem::remove(path_, ec);
  db_ = db::openSqliteFile(path_, /*create=*/true);
  createEventSchema(db_.get());
}

Fixture::~Fixture() {
  for (auto& [sql, st] : inserts_) sqlite3_finalize(st);
}

std::string Fixture::connectionString() const {
  return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ + ";Persist Security Info=False";
}

void Fixture::exec(std::string_view sql) {
  db::execSql(db_.get(), sql);
}

long Fixture::insert(std::string_view table, Values values) {
  std::string cols, marks;
  for (const auto& [name, v] : values) {
    if (!cols.empty()) {
      cols += ", ";
      marks += ", ";
    }
    cols += bracket(name);
    marks += '?';
  }
  std::string sql =
      cols.empty() ? "INSERT INTO " + bracket(table) + " DEFAULT VALUES"
                   : "INSERT INTO " + bracket(table) + " (" + cols + ") VALUES (" + marks + ")";
  sqlite3_stmt*& st = inserts_[sql];
  int rc = SQLITE_OK;
  if (!st) {
    rc = sqlite3_prepare_v2(db_.get(), sql.c_str(), -1, &st, nullptr);
    if (rc != SQLITE_OK) {
      inserts_.erase(sql);
      throw db::sqliteError(db_.get(), rc, sql, sql, false);
    }
  }
  std::vector<Variant> params;
  for (const auto& [name, v] : values) params.push_back(v);
  db::bindParams(st, params);
  rc = sqlite3_step(st);
  if (rc != SQLITE_DONE) {
    db::DbError e = db::sqliteError(db_.get(), rc, sql, sql, false);
    sqlite3_reset(st);
    throw e;
  }
  sqlite3_reset(st);
  sqlite3_clear_bindings(st);
  return static_cast<long>(sqlite3_last_insert_rowid(db_.get()));
}

void Fixture::set(std::string_view table, long key, std::string_view column, const Variant& value) {
  const TableDef* t = findTable(table);
  std::string keyCol = t && !t->key.empty() ? std::string(t->key) : "rowid";
  std::string sql = "UPDATE " + bracket(table) + " SET " + bracket(column) + " = ? WHERE " +
                    bracket(keyCol) + " = ?";
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db_.get(), sql.c_str(), -1, &st, nullptr);
  if (rc != SQLITE_OK) throw db::sqliteError(db_.get(), rc, sql, sql, false);
  db::bindParams(st, {value, num(key)});
  rc = sqlite3_step(st);
  sqlite3_finalize(st);
  if (rc != SQLITE_DONE) throw db::sqliteError(db_.get(), rc, sql, sql, false);
}

long Fixture::lookup(std::string_view table, std::string_view keyColumn,
                     std::string_view nameColumn, std::string_view name, Values extra) {
  std::string sql = "SELECT " + bracket(keyColumn) + " FROM " + bracket(table) + " WHERE " +
                    bracket(nameColumn) + " = ?";
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db_.get(), sql.c_str(), -1, &st, nullptr);
  sqlite3_bind_text(st, 1, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  long id = sqlite3_step(st) == SQLITE_ROW ? static_cast<long>(sqlite3_column_int64(st, 0)) : 0;
  sqlite3_finalize(st);
  if (id) return id;
  // An initializer_list cannot be built at run time: insert the name, then the extra columns.
  long key = insert(table, {{nameColumn, text(name)}});
  for (const auto& [col, v] : extra) set(table, key, col, v);
  return key;
}

long Fixture::event(const EventSpec& s) {
  long type = s.type.empty() ? 0 : lookup("EventTypes", "EventTypeID", "EventType", s.type);
  long status = s.status.empty() ? 0 : lookup("EventStatuses", "EventStatusID", "Status", s.status);
  return insert("Events", {{"EventName", text(s.name)},
                           {"EventTypeID", idOrNull(type)},
                           {"EventStatusID", idOrNull(status)},
                           {"Budget", s.budget},
                           {"EventStartDate", s.start},
                           {"EventEndDate", s.end},
                           {"PrintJournal", truth(s.printJournal)}});
}

long Fixture::subEvent(long eventId, std::string_view name) {
  std::string sql = "SELECT SubEventID FROM SubEvents WHERE EventID = ? AND SubEventName = ?";
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db_.get(), sql.c_str(), -1, &st, nullptr);
  sqlite3_bind_int64(st, 1, eventId);
  sqlite3_bind_text(st, 2, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  long id = sqlite3_step(st) == SQLITE_ROW ? static_cast<long>(sqlite3_column_int64(st, 0)) : 0;
  sqlite3_finalize(st);
  if (id) return id;
  return insert("SubEvents", {{"EventID", num(eventId)}, {"SubEventName", text(name)}});
}

long Fixture::party(long eventId, const PartySpec& s) {
  long sub = s.name.empty() ? 0 : subEvent(eventId, s.name);
  return insert("Parties", {{"SubEventID", idOrNull(sub)},
                            {"EventID", num(eventId)},
                            {"GivenBy", text(s.givenBy)},
                            {"Date", s.date},
                            {"Time", s.time},
                            {"Address", text(s.address)},
                            {"City", text(s.city)},
                            {"State", text(s.state)},
                            {"PostalCode", text(s.postalCode)},
                            {"Country", text(s.country)},
                            {"Notes", text(s.notes)},
                            {"Style", text(s.style)},
                            {"Theme", text(s.theme)},
                            {"Colors", text(s.colors)},
                            {"FoodService", text(s.foodService)},
                            {"EstGuests", num(s.estGuests)},
                            {"MenuSelectionRequired", truth(s.menuSelectionRequired)}});
}

long Fixture::category(std::string_view name) {
  return lookup("GuestCategories", "CategoryID", "Category", name);
}

long Fixture::group(long eventId, const GroupSpec& s) {
  long cat = s.category.empty() ? 0 : category(s.category);
  return insert("GroupIDs", {{"EventID", num(eventId)},
                             {"CategoryID", idOrNull(cat)},
                             {"Label", text(s.label)},
                             {"Address", text(s.address)},
                             {"City", text(s.city)},
                             {"State", text(s.state)},
                             {"PostalCode", text(s.postalCode)},
                             {"Country", text(s.country)},
                             {"HPhone", text(s.hPhone)},
                             {"WPhone", text(s.wPhone)},
                             {"MPhone", text(s.mPhone)},
                             {"FPhone", text(s.fPhone)},
                             {"E-Mail", text(s.email)},
                             {"Notes", text(s.notes)},
                             {"ContactNumber", num(s.contactNumber)}});
}

long Fixture::guest(long groupId, const GuestSpec& s) {
  long role = s.role.empty() ? 0 : lookup("EventRoles", "RoleID", "Role", s.role);
  return insert("GuestNames", {{"GroupID", num(groupId)},
                               {"GTitle", text(s.title)},
                               {"GFName", text(s.first)},
                               {"GLName", text(s.last)},
                               {"GSuffix", text(s.suffix)},
                               {"Type", num(s.type)},
                               {"Age", num(s.age)},
                               {"RoleID", num(role)},
                               {"ContactPic", s.picture}});
}

long Fixture::invitation(long partyId, long groupId, const InvitationSpec& s) {
  return insert("PartyDetails", {{"PartyID", num(partyId)},
                                 {"GroupID", num(groupId)},
                                 {"FormalLabel", text(s.formalLabel)},
                                 {"CasualLabel", text(s.casualLabel)},
                                 {"RSVPd", truth(s.rsvpd)},
                                 {"RSVPNote", text(s.rsvpNote)},
                                 {"Hotel", text(s.hotel)},
                                 {"CheckInDate", s.checkIn},
                                 {"CheckOutDate", s.checkOut},
                                 {"AccNote", text(s.accNote)},
                                 {"ADate", s.aDate},
                                 {"ATime", s.aTime},
                                 {"ALocation", text(s.aLocation)},
                                 {"ACarrier", text(s.aCarrier)},
                                 {"ACarrierNo", text(s.aCarrierNo)},
                                 {"Pickup", truth(s.pickup)},
                                 {"DDate", s.dDate},
                                 {"DTime", s.dTime},
                                 {"DLocation", text(s.dLocation)},
                                 {"DCarrier", text(s.dCarrier)},
                                 {"DCarrierNo", text(s.dCarrierNo)},
                                 {"DropOff", truth(s.dropOff)}});
}

void Fixture::invite(long guestId, long partyId, const InviteeSpec& s) {
  insert("Invitees", {{"GuestID", num(guestId)},
                      {"PartyID", num(partyId)},
                      {"Attending", truth(s.attending)},
                      {"Primary", truth(s.primary)},
                      {"MenuID", num(s.menuId)},
                      {"TableID", num(s.tableId)},
                      {"Seat", num(s.seat)}});
}

long Fixture::menu(long partyId, std::string_view item) {
  return insert("Menu", {{"PartyID", num(partyId)}, {"MenuItem", text(item)}});
}

long Fixture::table(long partyId, std::string_view name, int seats) {
  return insert("Tables",
                {{"PartyID", num(partyId)}, {"TableName", text(name)}, {"NumSeats", num(seats)}});
}

long Fixture::room(long partyId, std::string_view name) {
  return insert("Rooms", {{"PartyID", num(partyId)}, {"RoomName", text(name)}});
}

long Fixture::roomObject(long roomId, std::string_view label, int itemNumber, int chairs) {
  return insert("RoomObjects", {{"RoomID", num(roomId)},
                                {"ObjectLabel", text(label)},
                                {"ItemNumber", num(itemNumber)},
                                {"NumOfChairs", num(chairs)}});
}

void Fixture::chair(long objectId, int number, long guestId) {
  insert("RoomObjectChairs",
         {{"ObjectID", num(objectId)}, {"ChairNumber", num(number)}, {"GuestID", num(guestId)}});
}

long Fixture::hotelRoom(long partyGroupId, std::string_view roomType, int nights, bool nonSmoking) {
  return insert("HotelRooms", {{"PartyGroupID", num(partyGroupId)},
                               {"RoomType", text(roomType)},
                               {"NumNights", num(nights)},
                               {"NonSmoking", truth(nonSmoking)}});
}

long Fixture::stage(long partyId, int order, const Variant& time, std::string_view stage,
                    std::string_view song, std::string_view sungBy, std::string_view notes) {
  return insert("StageOfEvents", {{"PartyID", num(partyId)},
                                  {"EventOrder", num(order)},
                                  {"EventTime", time},
                                  {"StageOfEvent", text(stage)},
                                  {"Song", text(song)},
                                  {"SungBy", text(sungBy)},
                                  {"Notes", text(notes)}});
}

long Fixture::journal(long eventId, const Variant& entryDate, std::string_view entry) {
  return insert("Journal",
                {{"EventID", num(eventId)}, {"EntryDate", entryDate}, {"Entry", text(entry)}});
}

long Fixture::expenseCategory(std::string_view name) {
  return lookup("ExpenseCategories", "CategoryID", "Category", name);
}

long Fixture::budgetLine(long eventId, long categoryId, const BudgetSpec& s) {
  return insert("SPCategories", {{"CategoryID", num(categoryId)},
                                 {"EventID", num(eventId)},
                                 {"ABudget", s.suggested},
                                 {"Budget", s.budget},
                                 {"Actual", s.actual},
                                 {"PaymentsMade", s.paymentsMade},
                                 {"VendorRequired", truth(s.vendorRequired)}});
}

long Fixture::vendor(const VendorSpec& s) {
  return insert("Vendors", {{"CompanyName", text(s.company)},
                            {"Address", text(s.address)},
                            {"City", text(s.city)},
                            {"State", text(s.state)},
                            {"PostalCode", text(s.postalCode)},
                            {"Country", text(s.country)},
                            {"MainBusinessLine", text(s.phone)},
                            {"MainFaxLine", text(s.fax)},
                            {"WWW", text(s.www)},
                            {"Tax", Variant::dbl(s.tax)},
                            {"Tip", Variant::dbl(s.tip)},
                            {"System", num(s.system)},
                            {"MyCompany", truth(s.myCompany)},
                            {"ReportFooter", text(s.reportFooter)},
                            {"FontName", text(s.fontName)},
                            {"FontColor", num(s.fontColor)},
                            {"FontItalic", truth(s.fontItalic)},
                            {"FontBold", truth(s.fontBold)},
                            {"FontSize", num(s.fontSize)}});
}

void Fixture::vendorCategory(long vendorId, long categoryId) {
  insert("CategoriesToVendors", {{"VendorID", num(vendorId)}, {"CategoryID", num(categoryId)}});
}

long Fixture::contact(long vendorId, const ContactSpec& s) {
  return insert("VendorContacts", {{"VendorID", num(vendorId)},
                                   {"Title", text(s.title)},
                                   {"FirstName", text(s.first)},
                                   {"LastName", text(s.last)},
                                   {"Suffix", text(s.suffix)},
                                   {"NickName", text(s.nickName)},
                                   {"JobTitle", text(s.jobTitle)},
                                   {"EMail", text(s.email)},
                                   {"Phone", text(s.phone)},
                                   {"Fax", text(s.fax)},
                                   {"Mobile", text(s.mobile)},
                                   {"Pager", text(s.pager)},
                                   {"ReportOrder", num(s.reportOrder)}});
}

long Fixture::assignment(long eventId, long categoryId, long vendorId, const AssignmentSpec& s) {
  return insert("VendorAssignments", {{"EventID", num(eventId)},
                                      {"CategoryID", num(categoryId)},
                                      {"VendorID", num(vendorId)},
                                      {"WorkSheetType", num(s.worksheetType)},
                                      {"Selected", truth(s.selected)},
                                      {"Tax", Variant::dbl(s.tax)},
                                      {"Tip", Variant::dbl(s.tip)},
                                      {"DeliveryDate", s.deliveryDate},
                                      {"DeliveryTime", s.deliveryTime},
                                      {"DeliveryAddress", text(s.deliveryAddress)},
                                      {"Notes", text(s.notes)},
                                      {"CancellationPolicy", text(s.cancellationPolicy)},
                                      {"PrimaryContactID", num(s.primaryContactId)},
                                      {"SecondaryContactID", num(s.secondaryContactId)}});
}

long Fixture::item(long assignmentId, const ItemSpec& s) {
  return insert("Items", {{"VendorAssignmentID", num(assignmentId)},
                          {"InvoiceID", num(s.invoiceId)},
                          {"Item", text(s.item)},
                          {"Description", text(s.description)},
                          {"Price", s.price},
                          {"Qty", Variant::dbl(s.qty)},
                          {"Tax", truth(s.tax)},
                          {"Tip", truth(s.tip)},
                          // Who pays is a role of the event, by its key (Null: nobody named).
                          {"PaidBy", s.paidBy.empty()
                                         ? Variant::null()
                                         : num(lookup("EventRoles", "RoleID", "Role", s.paidBy))}});
}

long Fixture::paymentType(std::string_view name, int sortOrder) {
  return lookup("DefPaymentSchedule", "PaymentTypeID", "PaymentType", name,
                {{"SortOrder", num(sortOrder)}});
}

long Fixture::payment(long assignmentId, const PaymentSpec& s) {
  long type = s.type.empty() ? 0 : paymentType(s.type);
  return insert("PaymentSchedule", {{"VendorAssignmentID", num(assignmentId)},
                                    {"PaymentTypeID", num(type)},
                                    {"InvoiceID", num(s.invoiceId)},
                                    {"Amount", s.amount},
                                    {"DueDate", s.due},
                                    {"PaymentDate", s.paidOn},
                                    {"Paid", truth(s.paid)}});
}

long Fixture::invoice(long eventId, const InvoiceSpec& s) {
  return insert("Invoices", {{"EventID", num(eventId)},
                             {"InvoiceNumber", text(s.number)},
                             {"InvoiceDescription", text(s.description)},
                             {"InvoiceNote", text(s.note)},
                             {"CreatedBy", text(s.createdBy)},
                             {"PaymentTerms", text(s.paymentTerms)},
                             {"BillToName", text(s.billToName)},
                             {"BillToAddress", text(s.billToAddress)},
                             {"BillToPhone", text(s.billToPhone)},
                             {"BillToFax", text(s.billToFax)},
                             {"BillToEMail", text(s.billToEmail)},
                             {"InvoiceDate", s.date},
                             {"DueDate", s.due},
                             {"Amount", s.amount}});
}

long Fixture::image(long vendorId, const Bytes& picture) {
  return insert("ImageLibrary",
                {{"VendorID", num(vendorId)}, {"ImageBLOB", Variant::binary(picture)}});
}

long Fixture::checklist(long eventId, std::string_view name) {
  return insert("Checklists", {{"EventID", num(eventId)}, {"ChecklistName", text(name)}});
}

long Fixture::checklistItem(long checklistId, std::string_view item, bool done, const Variant& due,
                            const Variant& time, std::string_view assignedTo) {
  return insert("ChecklistItems", {{"ChecklistID", num(checklistId)},
                                   {"Item", text(item)},
                                   {"Done", truth(done)},
                                   {"DueDate", due},
                                   {"Time", time},
                                   {"AssignedTo", text(assignedTo)}});
}

}  // namespace galvix::data
