// The event schema and the fixture builder, read back through the data access layer.
#include <unistd.h>

#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "data/schema.h"
#include "db/connection.h"
#include "db/sqlite_util.h"

namespace galvix::data {
namespace {

namespace fs = std::filesystem;

std::string tempDb(const char* name) {
  auto dir = fs::temp_directory_path() / ("galvix_data_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  return (dir / name).string();
}

class Schema : public ::testing::Test {
 protected:
  Schema() : f(tempDb("s.db")) {}
  ~Schema() override { fs::remove_all(fs::path(f.path()).parent_path()); }
  db::Recordset& query(const std::string& sql) {
    if (!conn.isOpen()) conn.open(f.connectionString());
    rs.openNative(sql, conn, db::CursorType::Static);
    return rs;
  }
  Fixture f;
  db::Connection conn;
  db::Recordset rs;
};

TEST_F(Schema, EveryColumnReadsBackWithTheTypeOfItsKind) {
  for (const auto& t : eventTables()) {
    auto& r = query("SELECT * FROM [" + std::string(t.name) + "]");
    ASSERT_EQ(r.fieldCount(), static_cast<int>(t.columns.size())) << t.name;
    for (std::size_t i = 0; i < t.columns.size(); ++i) {
      const auto& c = t.columns[i];
      auto& field = r.fields(static_cast<int>(i));
      EXPECT_EQ(field.name(), c.name) << t.name;
      VarType want = c.kind == Kind::Id || c.kind == Kind::Long     ? VarType::Long
                     : c.kind == Kind::Short                        ? VarType::Integer
                     : c.kind == Kind::Truth                        ? VarType::Boolean
                     : c.kind == Kind::Date || c.kind == Kind::Time ? VarType::Date
                     : c.kind == Kind::Double                       ? VarType::Double
                     : c.kind == Kind::Currency                     ? VarType::Currency
                     : c.kind == Kind::Picture                      ? VarType::Binary
                                                                    : VarType::String;
      EXPECT_EQ(field.type(), want) << t.name << "." << c.name;
    }
  }
}

TEST_F(Schema, TextComparesGroupsAndSortsWithoutCase) {
  long e = f.event();
  long g = f.group(e);
  f.guest(g, {.first = "élodie", .last = "smith"});
  f.guest(g, {.first = "Élodie", .last = "SMITH"});
  f.guest(g, {.first = "bob", .last = "Adams"});
  f.guest(g, {.first = "Carl", .last = "adams"});
  EXPECT_EQ(query("SELECT GuestID FROM GuestNames WHERE GLName = 'Smith'").recordCount(), 2);
  EXPECT_EQ(query("SELECT DISTINCT GFName FROM GuestNames").recordCount(), 3);
  auto& r = query("SELECT GFName FROM GuestNames ORDER BY GFName");
  std::string order;
  for (; !r.EOF_(); r.moveNext()) order += r.value("GFName").rawString().substr(0, 1);
  EXPECT_EQ(order.substr(0, 2), "bC");

  EXPECT_LT(db::compareTextNoCase("apple", "Banana"), 0);
  EXPECT_EQ(db::compareTextNoCase("ÄRGER", "ärger"), 0);
  EXPECT_LT(db::compareTextNoCase("abc", "abcd"), 0);
  EXPECT_EQ(db::compareTextNoCase("ЖУК", "жук"), 0);
  EXPECT_NE(db::compareTextNoCase("\xff\xfe", "\xff"), 0);  // malformed bytes compare as bytes
}

TEST_F(Schema, AttendanceViewHasOneRowPerAttendingGuestAndParty) {
  long e = f.event();
  long other = f.event({.name = "Other"});
  long dinner = f.party(e, {.name = "Dinner"});
  long brunch = f.party(e, {.name = "Brunch"});
  long nobody = f.party(e, {.name = "Picnic"});
  long unnamed = f.party(e, {.name = ""});
  long g = f.group(e, {.category = "Friends"});
  long ann = f.guest(g, {.first = "Ann", .last = "Lee"});
  long bo = f.guest(g, {.first = "", .last = "Bo"});
  long cy = f.guest(g, {.first = "Cy", .last = "Diaz"});
  f.invite(ann, dinner);
  f.invite(ann, brunch);
  f.invite(ann, unnamed);
  f.invite(bo, dinner);
  f.invite(bo, nobody, {.attending = false});
  f.invite(cy, nobody, {.attending = false});
  f.invite(f.guest(f.group(other)), f.party(other));

  auto& r = query(
      "SELECT EventID, Category, Name, SubEventName, Attending FROM GuestPartyAttendance "
      "WHERE EventID = " +
      std::to_string(e) + " ORDER BY Name, SubEventName");
  std::vector<std::string> rows;
  for (; !r.EOF_(); r.moveNext()) {
    Variant party = r.value("SubEventName");
    rows.push_back(r.value("Name").rawString() + "/" +
                   (party.isNull() ? "<null>" : party.rawString()) + "/" +
                   r.value("Category").rawString());
    EXPECT_EQ(r.value("Attending").type(), VarType::Boolean);
    EXPECT_TRUE(r.value("Attending").rawBool());
  }
  EXPECT_EQ(rows, (std::vector<std::string>{"Ann Lee/<null>/Friends", "Ann Lee/Brunch/Friends",
                                            "Ann Lee/Dinner/Friends", "Bo/Dinner/Friends"}));
}

TEST_F(Schema, FixtureReusesLookupsAndLeavesUnsetValuesAtTheirDefaults) {
  long e = f.event();
  EXPECT_EQ(f.category("Family"), f.category("family"));
  long sub = f.subEvent(e, "Dinner");
  f.party(e, {.name = "Dinner"});
  EXPECT_EQ(f.subEvent(e, "dinner"), sub);
  long g = f.group(e, {.label = "The Lees"});
  f.set("GroupIDs", g, "City", Variant::string(""));
  long p = f.paymentType("Final", 3);
  EXPECT_EQ(f.paymentType("Final"), p);

  auto& r = query("SELECT Label, City, State, [E-Mail], ContactNumber FROM GroupIDs");
  EXPECT_EQ(r.value("Label").rawString(), "The Lees");
  EXPECT_EQ(r.value("City").rawString(), "");  // blank, set on purpose
  EXPECT_TRUE(r.value("State").isNull());      // never set
  auto& t = query("SELECT SortOrder FROM DefPaymentSchedule");
  EXPECT_EQ(t.value("SortOrder").rawInt(), 3);
  auto& i = query("SELECT RSVPd FROM PartyDetails");
  EXPECT_TRUE(i.EOF_());
  f.insert("PartyDetails", {{"PartyID", 1}});  // truth columns default to false, not Null
  auto& d = query("SELECT RSVPd, Pickup FROM PartyDetails");
  EXPECT_FALSE(d.value("RSVPd").rawBool());
  EXPECT_FALSE(d.value("Pickup").isNull());
}

// Each helper writes its values to the columns the reports read them from.
TEST_F(Schema, BudgetAndVendorRowsJoinAsTheReportsJoinThem) {
  long e = f.event({.name = "Gala", .budget = money(5000)});
  long cat = f.expenseCategory("Flowers");
  f.budgetLine(e, cat, {.budget = money(800), .actual = money(750.25), .vendorRequired = true});
  long v = f.vendor({.company = "Blooms", .phone = "555-0100", .tax = 8.25, .myCompany = false});
  f.vendorCategory(v, cat);
  long c = f.contact(v, {.first = "Iris", .last = "Petal", .reportOrder = 1});
  long a = f.assignment(e, cat, v, {.worksheetType = 1, .selected = true, .primaryContactId = c});
  long inv = f.invoice(e, {.number = "INV-7", .date = date(2024, 5, 1), .amount = money(99.5)});
  f.item(a, {.item = "Roses", .price = money(2.5), .qty = 12, .tax = true, .invoiceId = inv});
  f.payment(a, {.type = "Deposit", .amount = money(100), .due = date(2024, 4, 1), .paid = true});

  auto& r = query(
      "SELECT Events.EventName, ExpenseCategories.Category, SPCategories.Budget, "
      "SPCategories.Actual, SPCategories.VendorRequired, Vendors.CompanyName, "
      "Vendors.MainBusinessLine, Vendors.Tax AS Rate, VendorContacts.FirstName, "
      "VendorAssignments.WorkSheetType, Items.Item, Items.Price, Items.Qty, Items.Tax, "
      "Invoices.InvoiceNumber, PaymentSchedule.Amount, DefPaymentSchedule.PaymentType "
      "FROM Events JOIN SPCategories ON SPCategories.EventID = Events.EventID "
      "JOIN ExpenseCategories ON ExpenseCategories.CategoryID = SPCategories.CategoryID "
      "JOIN VendorAssignments ON VendorAssignments.EventID = Events.EventID "
      "AND VendorAssignments.CategoryID = SPCategories.CategoryID "
      "JOIN CategoriesToVendors ON CategoriesToVendors.VendorID = VendorAssignments.VendorID "
      "JOIN Vendors ON Vendors.VendorID = VendorAssignments.VendorID "
      "JOIN VendorContacts ON VendorContacts.ContactID = VendorAssignments.PrimaryContactID "
      "JOIN Items ON Items.VendorAssignmentID = VendorAssignments.VendorAssignmentID "
      "JOIN Invoices ON Invoices.InvoiceID = Items.InvoiceID "
      "JOIN PaymentSchedule ON PaymentSchedule.VendorAssignmentID = "
      "VendorAssignments.VendorAssignmentID "
      "JOIN DefPaymentSchedule ON DefPaymentSchedule.PaymentTypeID = "
      "PaymentSchedule.PaymentTypeID");
  ASSERT_EQ(r.recordCount(), 1);
  EXPECT_EQ(r.value("Category").rawString(), "Flowers");
  EXPECT_EQ(r.value("Budget").rawCurrency(), Currency::fromUnits(8000000));
  EXPECT_EQ(r.value("Actual").rawCurrency(), Currency::fromUnits(7502500));
  EXPECT_TRUE(r.value("VendorRequired").rawBool());
  EXPECT_EQ(r.value("MainBusinessLine").rawString(), "555-0100");
  EXPECT_DOUBLE_EQ(r.value("Rate").rawDouble(), 8.25);
  EXPECT_EQ(r.value("FirstName").rawString(), "Iris");
  EXPECT_EQ(r.value("WorkSheetType").rawInt(), 1);
  EXPECT_EQ(r.value("Price").rawCurrency(), Currency::fromUnits(25000));
  EXPECT_EQ(r.value("Qty").rawDouble(), 12);
  EXPECT_EQ(r.fields("Tax").type(), VarType::Boolean);
  EXPECT_EQ(r.value("InvoiceNumber").rawString(), "INV-7");
  EXPECT_EQ(r.value("Amount").rawCurrency(), Currency::fromUnits(1000000));
  EXPECT_EQ(r.value("PaymentType").rawString(), "Deposit");
}

TEST_F(Schema, SeatingAndTravelRowsLinkUp) {
  long e = f.event();
  long p = f.party(e, {.name = "Dinner", .date = date(2024, 6, 1), .time = time(18, 0)});
  long g = f.group(e, {.label = "Lees"});
  long ann = f.guest(g, {.first = "Ann", .last = "Lee", .role = "Bride"});
  long pg = f.invitation(p, g, {.rsvpd = true, .hotel = "Inn", .aTime = time(9, 15)});
  f.hotelRoom(pg, "Double", 2);
  long fish = f.menu(p, "Fish");
  long t1 = f.table(p, "Table 1", 10);
  f.invite(ann, p, {.primary = true, .menuId = fish, .tableId = t1, .seat = 3});
  long room = f.room(p, "Hall");
  long obj = f.roomObject(room, "Round 1", 1, 8);
  f.chair(obj, 3, ann);

  auto& r = query(
      "SELECT GuestNames.GFName, EventRoles.Role, PartyDetails.Hotel, PartyDetails.ATime, "
      "HotelRooms.NumNights, Menu.MenuItem, Tables.TableName, Invitees.Seat, Invitees.[Primary], "
      "RoomObjects.ObjectLabel, Parties.Time "
      "FROM Invitees JOIN GuestNames ON GuestNames.GuestID = Invitees.GuestID "
      "JOIN EventRoles ON EventRoles.RoleID = GuestNames.RoleID "
      "JOIN Parties ON Parties.PartyID = Invitees.PartyID "
      "JOIN PartyDetails ON PartyDetails.PartyID = Parties.PartyID "
      "AND PartyDetails.GroupID = GuestNames.GroupID "
      "JOIN HotelRooms ON HotelRooms.PartyGroupID = PartyDetails.PartyGroupID "
      "JOIN Menu ON Menu.MenuID = Invitees.MenuID JOIN Tables ON Tables.TableID = Invitees.TableID "
      "JOIN RoomObjectChairs ON RoomObjectChairs.GuestID = Invitees.GuestID "
      "JOIN RoomObjects ON RoomObjects.ObjectID = RoomObjectChairs.ObjectID");
  ASSERT_EQ(r.recordCount(), 1);
  EXPECT_EQ(r.value("Role").rawString(), "Bride");
  EXPECT_EQ(r.value("Hotel").rawString(), "Inn");
  EXPECT_DOUBLE_EQ(r.value("ATime").rawDouble(), 9.25 / 24);
  EXPECT_EQ(r.value("NumNights").rawInt(), 2);
  EXPECT_EQ(r.value("MenuItem").rawString(), "Fish");
  EXPECT_EQ(r.value("TableName").rawString(), "Table 1");
  EXPECT_EQ(r.value("Seat").rawInt(), 3);
  EXPECT_TRUE(r.value("Primary").rawBool());
  EXPECT_EQ(r.value("ObjectLabel").rawString(), "Round 1");
  EXPECT_DOUBLE_EQ(r.value("Time").rawDouble(), 0.75);
}

TEST(SchemaSql, CreatesInAnEmptyDatabaseAndRefusesTwice) {
  std::string path = tempDb("raw.db");
  fs::remove(path);
  auto db = db::openSqliteFile(path, true);
  createEventSchema(db.get());
  EXPECT_THROW(createEventSchema(db.get()), db::DbError);
  db.reset();
  fs::remove_all(fs::path(path).parent_path());
}

}  // namespace
}  // namespace galvix::data
