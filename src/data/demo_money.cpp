#include "data/demo_money.h"

#include <array>
#include <string>

namespace galvix::data {

namespace {
// Rows written with a key found by `subquery` (the demo's earlier rows are known by name).
void setKey(Fixture& f, const char* table, const char* keyColumn, long key, const char* column,
            const std::string& subquery) {
  f.exec(std::string("UPDATE ") + table + " SET " + column + " = (" + subquery + ") WHERE " +
         keyColumn + " = " + std::to_string(key));
}

const std::string kInvoice = "SELECT InvoiceID FROM Invoices WHERE InvoiceNumber = '2027-0042'";
const std::string kVenue =
    "SELECT VendorID FROM Vendors WHERE CompanyName = 'Lakeview Grand Hotel'";
const std::string kDj =
    "SELECT VendorAssignmentID FROM VendorAssignments WHERE WorkSheetType = 2 AND VendorID = "
    "(SELECT VendorID FROM Vendors WHERE CompanyName = 'DJ Marco Entertainment')";
}  // namespace

void addMoneyDemo(Fixture& f, const DemoSummary& s) {
  const long wedding = s.weddingEventId, gala = s.galaEventId;

  // A category whose actual is known to be 0 (the officiant waived the fee): not the same as a
  // category with no actual yet.
  const long officiant = f.expenseCategory("Officiant");
  f.budgetLine(wedding, officiant,
               {.suggested = money(367.5),
                .budget = money(350),
                .actual = money(0),
                .paymentsMade = money(0)});

  // The gala's catering goes out to more caterers, all quoting the same dishes: seven columns
  // in the quote comparison turn its page.
  const long catering = f.expenseCategory("Catering");
  struct Quote {
    const char* company;
    double tax, tip, dinner, starters;
  };
  const std::array<Quote, 3> quotes = {{{"Chez Laurent - Traiteur Français", 9.5, 18, 88.75, 17},
                                        {"Smokehouse & Co.", 10.25, 15, 64.4, 12.5},
                                        {"Ōmakase Kitchen Collective", 10.25, 20, 96, 21.25}}};
  for (const auto& q : quotes) {
    const long v = f.vendor({.company = q.company,
                             .address = "18 Fulton Market",
                             .city = "Chicago",
                             .state = "IL",
                             .postalCode = "60607",
                             .phone = "(312) 555-0177",
                             .tax = q.tax,
                             .tip = q.tip});
    f.vendorCategory(v, catering);
    const long c = f.contact(
        v, {.first = "Jordan", .last = "Lee", .title = "Chef", .phone = "(312) 555-0178"});
    const long a = f.assignment(gala, catering, v,
                                {.worksheetType = 2,
                                 .tax = q.tax,
                                 .tip = q.tip,
                                 .notes = "Quote valid for 60 days.",
                                 .primaryContactId = c});
    f.item(
        a,
        {.item = "Plated dinner", .price = money(q.dinner), .qty = 50, .tax = true, .tip = true});
    f.item(a, {.item = "Hors d'oeuvres", .price = money(q.starters), .qty = 50, .tax = true});
  }

  // Payments: the rest of the planning invoice, due and unpaid; the DJ's deposit paid off any
  // invoice, his balance open, and a zero line that no schedule lists.
  const std::string planning =
      "SELECT min(VendorAssignmentID) FROM Items WHERE InvoiceID = (" + kInvoice + ")";
  const long rest =
      f.payment(0, {.type = "Final payment", .amount = money(3735.3), .due = date(2027, 5, 31)});
  setKey(f, "PaymentSchedule", "PaymentID", rest, "VendorAssignmentID", planning);
  setKey(f, "PaymentSchedule", "PaymentID", rest, "InvoiceID", kInvoice);
  for (const long p :
       {f.payment(0, {.type = "Deposit",
                     .amount = money(500),
                     .due = date(2026, 9, 1),
                     .paidOn = date(2026, 8, 28),
                     .paid = true}),
        f.payment(0, {.type = "Final payment", .amount = money(1685), .due = date(2027, 6, 12)}),
        f.payment(0, {.type = "Second payment", .amount = money(0), .due = date(2027, 1, 15)})})
    setKey(f, "PaymentSchedule", "PaymentID", p, "VendorAssignmentID", kDj);

  // The venue's estimate names a second contact, with a title.
  const long second = f.contact(0, {.first = "Helen",
                                    .last = "Brandt",
                                    .title = "Ms.",
                                    .jobTitle = "Events Manager",
                                    .email = "helen.brandt@lakeviewgrand.example",
                                    .phone = "(312) 555-0190",
                                    .fax = "(312) 555-0191",
                                    .pager = "(312) 555-0192",
                                    .reportOrder = 3});
  setKey(f, "VendorContacts", "ContactID", second, "VendorID", kVenue);
  f.exec("UPDATE VendorAssignments SET SecondaryContactID = " + std::to_string(second) +
         " WHERE WorkSheetType = 2 AND VendorID = (" + kVenue + ")");
  // The planning application stores a blank title, not Null, for a contact without one (the
  // estimates join the name with "+", which a Null would empty).
  f.exec("UPDATE VendorContacts SET Title = '' WHERE Title IS NULL");
}

}  // namespace galvix::data
