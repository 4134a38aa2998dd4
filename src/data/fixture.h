// Test databases in a few lines: a fresh SQLite file with the event schema, and helpers that
// insert rows with sensible defaults so a test states only what it cares about.
//
//   Fixture f(dir / "t.db");
//   long e = f.event({.name = "Smith Wedding"});
//   long p = f.party(e, {.name = "Reception", .date = date(2024, 6, 1)});
//   long g = f.group(e, {.label = "The Smiths"});
//   long ann = f.guest(g, {.first = "Ann", .last = "Smith"});
//   f.invite(ann, p, {.attending = true});
//   galvix::db::Connection c; c.open(f.connectionString());
#pragma once

#include <sqlite3.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "galvix/variant.h"

namespace galvix::data {

// Values for date and time columns (serial days since 1899-12-30; time is the day's fraction).
Variant date(int year, int month, int day);
Variant time(int hour, int minute, int second = 0);
Variant dateTime(int year, int month, int day, int hour, int minute, int second = 0);
Variant money(double amount);  // a Currency value

struct EventSpec {
  std::string name = "Test Event";
  std::string type = "Wedding";  // looked up or added in EventTypes; "" for none
  std::string status = "Planning";
  Variant budget = Variant::null();
  Variant start = Variant::null();
  Variant end = Variant::null();
  bool printJournal = false;
};

// A party of a sub-event (a sub-event of that name is made, or reused, for the party).
struct PartySpec {
  std::string name = "Reception";
  Variant date = Variant::null();
  Variant time = Variant::null();
  std::string givenBy, address, city, state, postalCode, country, notes;
  std::string style, theme, colors, foodService;
  long estGuests = 0;
  bool menuSelectionRequired = false;
};

struct GroupSpec {
  std::string label = "Test Group";
  std::string category = "Family";  // looked up or added in GuestCategories; "" for none
  std::string address, city, state, postalCode, country;
  std::string hPhone, wPhone, mPhone, fPhone, email, notes;
  int contactNumber = 0;  // 1, 2: the event's primary and secondary client contacts
};

struct GuestSpec {
  std::string first = "Guest";
  std::string last = "Test";
  std::string title, suffix;
  int type = 0;  // below 2 adult, 2 child
  int age = 0;
  std::string role;  // looked up or added in EventRoles; "" for none
  Variant picture = Variant::null();
};

// A group's invitation to a party (PartyDetails): labels, reply, lodging and travel.
struct InvitationSpec {
  std::string formalLabel, casualLabel;
  bool rsvpd = false;
  std::string rsvpNote, hotel, accNote;
  Variant checkIn = Variant::null(), checkOut = Variant::null();
  Variant aDate = Variant::null(), aTime = Variant::null();
  std::string aLocation, aCarrier, aCarrierNo;
  bool pickup = false;
  Variant dDate = Variant::null(), dTime = Variant::null();
  std::string dLocation, dCarrier, dCarrierNo;
  bool dropOff = false;
};

// One person's invitation to a party (Invitees).
struct InviteeSpec {
  bool attending = true;
  bool primary = false;
  long menuId = 0;
  long tableId = 0;
  int seat = 0;
};

struct VendorSpec {
  std::string company = "Test Vendor";
  std::string address, city, state, postalCode, country, phone, fax, www;
  double tax = 0, tip = 0;
  int system = 0;
  bool myCompany = false;
  std::string reportFooter, fontName;
  long fontColor = 0;
  bool fontItalic = false, fontBold = false;
  int fontSize = 0;
};

struct ContactSpec {
  std::string first = "Pat", last = "Contact";
  std::string title, suffix, nickName, jobTitle, email, phone, fax, mobile, pager;
  int reportOrder = 0;
};

struct AssignmentSpec {
  int worksheetType = 0;  // 0 budget, 1 actual items and invoice lines, 2 estimates
  bool selected = false;
  double tax = 0, tip = 0;
  Variant deliveryDate = Variant::null(), deliveryTime = Variant::null();
  std::string deliveryAddress, notes, cancellationPolicy;
  long primaryContactId = 0, secondaryContactId = 0;
};

struct ItemSpec {
  std::string item = "Item";
  std::string description;
  Variant price = Variant::null();
  double qty = 1;
  bool tax = false, tip = false;
  std::string paidBy;  // a role of the event, by name; stored as its RoleID
  long invoiceId = 0;
};

struct PaymentSpec {
  std::string type = "Deposit";  // looked up or added in DefPaymentSchedule
  Variant amount = Variant::null();
  Variant due = Variant::null(), paidOn = Variant::null();
  bool paid = false;
  long invoiceId = 0;
};

struct InvoiceSpec {
  std::string number = "1001";
  std::string description, note, createdBy, paymentTerms;
  std::string billToName, billToAddress, billToPhone, billToFax, billToEmail;
  Variant date = Variant::null(), due = Variant::null();
  Variant amount = Variant::null();
};

struct BudgetSpec {
  Variant suggested = Variant::null(), budget = Variant::null();
  Variant actual = Variant::null(), paymentsMade = Variant::null();
  bool vendorRequired = false;
};

class Fixture {
 public:
  // Creates `path` afresh (an existing file is replaced) with the event schema.
  explicit Fixture(std::string path);
  ~Fixture();
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;

  const std::string& path() const { return path_; }
  // A Jet style connection string for the file, as a host passes it.
  std::string connectionString() const;
  sqlite3* db() const { return db_.get(); }

  // Any table: the named columns get the values, the others their defaults (truth false,
  // the rest Null). Returns the new row's key (its rowid when the table has no id).
  long insert(std::string_view table,
              std::initializer_list<std::pair<std::string_view, Variant>> values);
  void exec(std::string_view sql);
  // Sets one column of one row, for the odd value the helpers do not cover.
  void set(std::string_view table, long key, std::string_view column, const Variant& value);

  long event(const EventSpec& s = {});
  long party(long eventId, const PartySpec& s = {});
  long subEvent(long eventId, std::string_view name);  // reuses one of the same name
  long category(std::string_view name);                // guest category, reused by name
  long group(long eventId, const GroupSpec& s = {});
  long guest(long groupId, const GuestSpec& s = {});
  long invitation(long partyId, long groupId, const InvitationSpec& s = {});  // PartyDetails
  void invite(long guestId, long partyId, const InviteeSpec& s = {});         // Invitees
  long menu(long partyId, std::string_view item);
  long table(long partyId, std::string_view name, int seats = 8);
  long room(long partyId, std::string_view name);
  long roomObject(long roomId, std::string_view label, int itemNumber, int chairs);
  void chair(long objectId, int number, long guestId);
  long hotelRoom(long partyGroupId, std::string_view roomType, int nights, bool nonSmoking = true);
  long stage(long partyId, int order, const Variant& time, std::string_view stage,
             std::string_view song = {}, std::string_view sungBy = {}, std::string_view notes = {});
  long journal(long eventId, const Variant& entryDate, std::string_view entry);

  long expenseCategory(std::string_view name);                               // reused by name
  long budgetLine(long eventId, long categoryId, const BudgetSpec& s = {});  // SPCategories
  long vendor(const VendorSpec& s = {});
  void vendorCategory(long vendorId, long categoryId);  // CategoriesToVendors
  long contact(long vendorId, const ContactSpec& s = {});
  long assignment(long eventId, long categoryId, long vendorId, const AssignmentSpec& s = {});
  long item(long assignmentId, const ItemSpec& s = {});
  long paymentType(std::string_view name, int sortOrder = 0);  // reused by name
  long payment(long assignmentId, const PaymentSpec& s = {});
  long invoice(long eventId, const InvoiceSpec& s = {});
  long image(long vendorId, const Bytes& picture);

  long checklist(long eventId, std::string_view name);
  long checklistItem(long checklistId, std::string_view item, bool done = false,
                     const Variant& due = Variant::null(), const Variant& time = Variant::null(),
                     std::string_view assignedTo = {});

 private:
  long lookup(std::string_view table, std::string_view keyColumn, std::string_view nameColumn,
              std::string_view name,
              std::initializer_list<std::pair<std::string_view, Variant>> extra = {});
  std::string path_;
  std::shared_ptr<sqlite3> db_;
  // Inserts by their SQL: preparing each row's statement anew dominated the scale generator.
  std::unordered_map<std::string, sqlite3_stmt*> inserts_;
};

}  // namespace galvix::data
