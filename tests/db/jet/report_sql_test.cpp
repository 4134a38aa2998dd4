// The reports' own statements, with typical caller clauses spliced in, run on one small event
// whose rows are chosen so each statement's answer is known.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "data/fixture.h"
#include "db/connection.h"
#include "db/db_test_util.h"
#include "db/jet/rows.h"

namespace galvix::db {
namespace {
using ::testing::ElementsAre;
namespace fs = std::filesystem;

// The reports' statements with typical caller clauses spliced in, as the parser fuzzer's seeds
// keep them (one file per statement, every id 1); the event built below has those ids.
const fs::path kStatements = GALVIX_SOURCE_DIR "/fuzz/corpus/jet_parser_fuzz";

std::string statement(const std::string& name) {
  std::string file = name;
  std::replace(file.begin(), file.end(), '.', '_');
  std::ifstream in(kStatements / file);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class ReportSql : public ::testing::Test {
 protected:
  void SetUp() override {
    build();
    c_.open(f_->connectionString());
  }

  // Two parties, two guest groups (one with three people), tables, a room plan, vendors with
  // items in all three worksheets.
  void build() {
    data::Fixture& f = *f_;
    f.exec("BEGIN");
    e_ = f.event({.name = "Lee Wedding"});
    f.event({.name = "other event"});
    rec_ = f.party(e_, {.name = "Reception", .city = "Oslo", .country = "Norway"});
    cer_ = f.party(e_, {.name = "Ceremony", .address = "1 Church Rd", .state = "OS"});
    long lees = f.group(e_, {.label = "Lees", .category = "Family", .email = "lee@x"});
    long moe = f.group(e_, {.label = "Moe", .category = ""});
    ann_ = f.guest(lees, {.first = "Ann", .last = "Lee", .role = "Bride"});
    bob_ = f.guest(lees, {.first = "bob", .last = "lee"});
    cid_ = f.guest(lees, {.first = "Cid", .last = "Lee", .type = 2, .age = 6});
    dee_ = f.guest(moe, {.first = "Dee", .last = "Moe", .role = "Usher"});
    f.exec("UPDATE GuestNames SET GTitle = '', GSuffix = ''");  // as the application stores them
    long pg = f.invitation(rec_, lees,
                           {.formalLabel = "The Lees",
                            .rsvpd = true,
                            .hotel = "Grand",
                            .aDate = data::date(2024, 6, 1),
                            .aCarrier = "SAS"});
    f.hotelRoom(pg, "Double", 2);
    f.invitation(rec_, moe, {.formalLabel = "Mr Moe"});
    f.invitation(cer_, lees, {.formalLabel = "The Lees"});
    long head = f.table(rec_, "Head Table", 4);
    long t2 = f.table(rec_, "table 2", 6);
    f.table(rec_, "Table 3", 8);
    long fish = f.menu(rec_, "Fish");
    f.invite(ann_, rec_, {.primary = true, .menuId = fish, .tableId = head, .seat = 1});
    f.invite(bob_, rec_, {.tableId = t2, .seat = 2});
    f.invite(cid_, rec_, {});
    f.invite(dee_, rec_, {.attending = false, .primary = true});
    f.invite(ann_, cer_, {.primary = true});
    long room = f.room(rec_, "Hall");
    long obj = f.roomObject(room, "Round", 1, 2);
    f.chair(obj, 1, ann_);
    f.chair(obj, 2, 0);
    f.stage(rec_, 1, data::time(18, 0), "Toast");
    f.journal(e_, data::date(2024, 1, 2), "Booked");

    long flowers = f.expenseCategory("Flowers"), music = f.expenseCategory("Music");
    f.budgetLine(e_, flowers, {.vendorRequired = true});
    f.budgetLine(e_, music, {});
    long shop = f.vendor({.company = "Flower Shop", .tax = 8, .tip = 15});
    long band = f.vendor({.company = "Band", .city = "Oslo"});
    f.vendorCategory(shop, flowers);
    long pat = f.contact(shop, {.reportOrder = 1});
    long est = f.assignment(
        e_, flowers, shop,
        {.worksheetType = 2, .selected = true, .tax = 8, .tip = 15, .primaryContactId = pat});
    f.item(est, {.item = "Roses", .price = data::money(100), .qty = 2, .tax = true, .tip = true});
    long actual = f.assignment(e_, flowers, shop, {.worksheetType = 1});
    long inv = f.invoice(e_, {});
    f.item(actual, {.item = "Lilies", .price = data::money(50), .qty = 1, .invoiceId = inv});
    long budget = f.assignment(e_, music, band, {.worksheetType = 0});
    f.item(budget, {.item = "Roses", .price = data::money(30), .qty = 1});
    long gig = f.assignment(e_, music, band, {.worksheetType = 1});
    f.item(gig, {.item = "Drums", .price = data::money(20), .qty = 1});
    f.payment(est, {.amount = data::money(40), .due = data::date(2024, 5, 1), .invoiceId = inv});
    f.exec("COMMIT");
    for (long id : {e_, rec_, lees, ann_, shop, pat, est, inv}) ASSERT_EQ(id, 1);
  }

  // The named statement, with `from` (if given) replaced by `to`.
  static std::string sql(const std::string& name, const std::string& from = {},
                         const std::string& to = {}) {
    std::string s = statement(name);
    if (!from.empty()) s.replace(s.find(from), from.size(), to);
    return s;
  }

  std::vector<std::string> rows(const std::string& text,
                                std::vector<std::string>* names = nullptr) {
    return rowsOf(c_, text, names);
  }
  // The named columns of every row, as "a|b".
  std::vector<std::string> columns(const std::string& text, const std::vector<std::string>& cols) {
    return rowsOf(c_, text, nullptr, &cols);
  }
  std::vector<std::string> column(const std::string& text, const std::string& col) {
    return columns(text, {col});
  }

  std::unique_ptr<data::Fixture> f_ = std::make_unique<data::Fixture>(testing::testDb("jetsql"));
  Connection c_;
  long e_ = 0, rec_ = 0, cer_ = 0, ann_ = 0, bob_ = 0, cid_ = 0, dee_ = 0;
};

// Every seed (but the one refused on purpose) runs on the event: the work tables made first,
// dropped last.
TEST_F(ReportSql, EveryStatementRuns) {
  std::vector<fs::path> makes, selects, drops;
  for (const auto& f : fs::directory_iterator(kStatements)) {
    const std::string n = f.path().filename().string();
    // Inputs a fuzzing run adds to the folder are named by their SHA-1: not report statements.
    const bool fuzzerMade =
        n.size() == 40 && n.find_first_not_of("0123456789abcdef") == std::string::npos;
    if (n == "alias_reuse" || fuzzerMade) continue;
    (n.ends_with("_make") ? makes : n.ends_with("_drop") ? drops : selects).push_back(f.path());
  }
  ASSERT_GT(selects.size(), 80u);
  std::vector<std::string> failed;
  for (const auto* group : {&makes, &selects, &drops})
    for (const auto& p : *group) try {
        const std::string s = statement(p.filename().string());
        if (group != &selects) {
          c_.execute(s);
          continue;
        }
        Recordset rs;
        rs.open(s, c_);
        for (; !rs.EOF_(); rs.moveNext())
          for (int i = 0; i < rs.fieldCount(); ++i) (void)rs.fields(i).value();
      } catch (const std::exception& e) {
        failed.push_back(p.filename().string() + ": " + e.what());
      }
  EXPECT_THAT(failed, ElementsAre());
}

TEST_F(ReportSql, RsvpListsGiveOneRowPerInvitedGroupAndTheirCounts) {
  // The Lees have three invitees at the reception, still one line.
  EXPECT_THAT(column(sql("rsvp.rows"), "FormalLabel"), ElementsAre("The Lees", "Mr Moe"));
  EXPECT_THAT(column(sql("rsvp.rows"), "Address"), ElementsAre("Oslo, \rNorway", "Oslo, \rNorway"));
  // A location without city, postal code and country keeps only the parts it has.
  EXPECT_THAT(
      column(sql("rsvp.rows", "WHERE Parties.PartyID = 1", "WHERE Parties.PartyID = 2"), "Address"),
      ElementsAre("1 Church Rd\rOS  "));
  for (auto [name, n] : {std::pair{"rsvp.invitations", "2"},
                         {"rsvp.attendees", "3"},
                         {"rsvp.rsvps", "1"},
                         {"rsvp.attending", "3"},
                         {"guestlist.adults", "3"},
                         {"guestlist.children", "1"},
                         {"stats.attendingAdults", "2"},
                         {"stats.attendingChildren", "1"},
                         {"tables.seats", "18"},
                         {"tables.seatsUsed", "2"},
                         {"roomplan.chairsUsed", "1"}})
    EXPECT_THAT(rows(sql(name)), ElementsAre(n)) << name;
  // A count of a party nobody answered has no row at all.
  EXPECT_THAT(rows(sql("rsvp.rsvps", "PartyID)= 1", "PartyID)= 102")), ElementsAre());
  // Primary invitees only, in the caller's order.
  EXPECT_THAT(column(sql("guestlist.rows"), "FormalLabel"), ElementsAre("Mr Moe", "The Lees"));
}

TEST_F(ReportSql, CrosstabsNameOrderAndFillTheirColumns) {
  long none = f_->party(e_, {.name = ""});
  f_->invite(dee_, none);
  std::vector<std::string> names;
  auto r = rows(sql("attendance.crosstab"), &names);
  EXPECT_THAT(names,
              ElementsAre("Category", "Name", "TotalOfAttending", "<>", "Ceremony", "Reception"));
  // Names sort without regard to case: "bob lee" between "Ann Lee" and "Cid Lee".
  EXPECT_THAT(r,
              ElementsAre("Family|Ann Lee|2|<null>|1|1", "Family|bob lee|1|<null>|<null>|1",
                          "Family|Cid Lee|1|<null>|<null>|1", "<null>|Dee Moe|1|1|<null>|<null>"));

  c_.execute(sql("budget.make"));
  r = rows(sql("budget.crosstab"), &names);
  EXPECT_THAT(names,
              ElementsAre("VendorRequired", "Category", "Total Of GrandTotal", "0", "1", "2"));
  EXPECT_THAT(r, ElementsAre("True|Flowers|246|<null>|<null>|246", "False|Music|50|30|20|<null>"));
  c_.execute(sql("budget.drop"));

  c_.execute(sql("quote.make"));
  EXPECT_THAT(rows("SELECT Item, Amount, TotalTax, TotalTip, GrandTotal FROM VENDOR_SUMMARY"),
              ElementsAre("Roses|200|16|30|246", "Drums|20|0|0|20", "Lilies|50|0|0|50"));
  // The copy compares text without case, as the source did.
  EXPECT_THAT(rows("SELECT Count(*) FROM VENDOR_SUMMARY WHERE Item = 'ROSES'"), ElementsAre("1"));
  r = rows(sql("quote.crosstab"), &names);
  EXPECT_THAT(names, ElementsAre("Item", "1-Band", "1-Flower Shop", "2-Flower Shop"));
  EXPECT_THAT(r, ElementsAre("Drums|20|<null>|<null>", "Lilies|<null>|50|<null>",
                             "Roses|<null>|<null>|246"));
  c_.execute(sql("quote.drop"));
}

TEST_F(ReportSql, SeatingUnionsAreOrderedAsAWhole) {
  EXPECT_THAT(columns(sql("tables.byTable"), {"TableName", "FormatSeats", "FullName"}),
              ElementsAre(" Not Seated|<null>|Cid Lee ", "Head Table|01|Ann Lee ",
                          "table 2|02|bob lee ", "Table 3|<null>|<null>"));
  EXPECT_THAT(
      columns(sql("tables.byGuest"), {"TableName", "FormatSeats", "FullName"}),
      ElementsAre("Head Table|01|Ann Lee ", "table 2|02|bob lee ", "Not Seated|00|Cid Lee "));
  EXPECT_THAT(
      columns(sql("roomplan.guests"), {"FullName", "RoomName", "TableSum"}),
      ElementsAre("Ann Lee |Hall|#1: Round / 1", "bob lee ||Not Seated", "Cid Lee ||Not Seated"));
  // A chair whose guest is unknown (imported data) leaves the unseated guests listed.
  f_->exec("UPDATE RoomObjectChairs SET GuestID = NULL WHERE ChairNumber = 2");
  EXPECT_THAT(column(sql("roomplan.guests"), "TableSum"),
              ElementsAre("#1: Round / 1", "Not Seated", "Not Seated"));
  auto byLabel = columns(sql("roomplan.byLabel"), {"RoomName", "TableSum", "ChairNumber"});
  EXPECT_THAT(byLabel, ElementsAre("|Not Seated|0", "|Not Seated|0", "Hall|Round (#1)|1"));
  EXPECT_THAT(column(sql("roomplan.byNumber"), "TableSum"),
              ElementsAre("Not Seated", "Not Seated", "#1 (Round)"));
}

TEST_F(ReportSql, BracketedNamesAndCallerClausesWithoutCase) {
  // [SubEvents.SubEventName] is the column SubEventName.
  EXPECT_THAT(columns(sql("hotel.rows"), {"SubEventName", "Hotel", "FormalLabel"}),
              ElementsAre("Reception|Grand|The Lees"));
  EXPECT_THAT(columns(sql("arrival.rows"), {"SubEventName", "TCarrier", "Ride"}),
              ElementsAre("Reception|SAS|False"));
  EXPECT_THAT(rows(sql("departure.rows")), ElementsAre());
  // Clauses a caller adds compare text without regard to case.
  EXPECT_THAT(rows(sql("guestlist.invitees") + " and GuestNames.GLName = 'LEE'"), ElementsAre("3"));
  EXPECT_THAT(column(sql("masterlist.rows"), "GLName"), ElementsAre("Lee", "lee", "Moe"));
  EXPECT_THAT(column(sql("roles.rows"), "Category"), ElementsAre("(Family)", "(No Category)"));
}

TEST_F(ReportSql, SummariesAndVendorStatements) {
  // Groups without a category count under "No Category", with nothing to count.
  EXPECT_THAT(rows(sql("stats.categoriesInvited")), ElementsAre("No Category|0", "Family|3"));
  EXPECT_THAT(rows(sql("stats.categoriesAttending")), ElementsAre("Family|3"));
  EXPECT_THAT(rows(sql("menu.summary")), ElementsAre("Fish|1"));
  EXPECT_THAT(columns(sql("menu.rows"), {"GuestName", "MenuItem"}),
              ElementsAre("Ann Lee |Fish", "bob lee |Undecided", "Cid Lee |Undecided"));
  // Items and payments in one list; a due date beside the items' blank ones reads as a date.
  f_->paymentType("Balance", 2);
  f_->payment(1, {.type = "Balance", .amount = data::money(5), .invoiceId = 1});
  EXPECT_THAT(columns(sql("invoice.lines"), {"CompanyName", "PaymentType", "Amount", "DueDate"}),
              ElementsAre("Flower Shop|Deposit|40|5/1/2024", "Flower Shop|Balance|5|<null>",
                          "Line Item|Lilies|50|"));
  std::vector<std::string> names;
  EXPECT_THAT(rows(sql("pie.rows"), &names), ::testing::SizeIs(2));
  EXPECT_THAT(names,
              ElementsAre("Category", "Suggested Budget", "Actual Budget", "Actual Expenses"));
  EXPECT_THAT(
      columns(sql("estimates.rows"), {"Item", "VendorAssignments.Tax", "Items.Tax", "Amount"}),
      ElementsAre("Roses|8|True|200"));
  EXPECT_THAT(column(sql("worksheets.rows"), "Address"), ElementsAre("", "", "Oslo, ", "Oslo, "));
}

TEST_F(ReportSql, CallerClausesOnAnyColumn) {
  f_->set("Parties", rec_, "Date", data::date(2024, 6, 1));
  const std::string base = sql("rsvp.rows");
  const std::string partyClause = "WHERE Parties.PartyID = " + std::to_string(rec_);
  auto with = [&](const std::string& clause) {
    std::string s = base;
    s.replace(s.find(partyClause), partyClause.size(), clause);
    return column(s, "FormalLabel");
  };
  const std::string p = std::to_string(rec_);
  EXPECT_THAT(
      with("WHERE Parties.PartyID IN (" + p + ", 999) AND GuestCategories.Category Is Null"),
      ElementsAre("Mr Moe"));
  EXPECT_THAT(with(partyClause + " AND NOT (PartyDetails.FormalLabel Like 'the%')"),
              ElementsAre("Mr Moe"));
  EXPECT_THAT(with("WHERE SubEvents.SubEventName = 'RECEPTION' AND PartyDetails.RSVPd = True"),
              ElementsAre("The Lees"));
  EXPECT_THAT(with("WHERE Parties.Date BETWEEN #5/1/2024# AND #6/30/2024#"),
              ElementsAre("The Lees", "Mr Moe"));
  EXPECT_THAT(with(partyClause + " AND GuestNames.GFName In ('ANN', \"dee\")"),
              ElementsAre("The Lees", "Mr Moe"));
  EXPECT_THAT(with(partyClause + " AND Not Invitees.Attending"), ElementsAre("Mr Moe"));
}

}  // namespace
}  // namespace galvix::db
