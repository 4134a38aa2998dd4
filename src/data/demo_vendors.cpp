#include "data/demo_vendors.h"

namespace galvix::data {

void addVendorDirectory(Fixture& f, long e, long own) {
  const long music = f.expenseCategory("Music");
  const long site = f.expenseCategory("Reception Site");
  const long stationery = f.expenseCategory("Stationery");
  const long transport = f.expenseCategory("Transportation");

  // Four contacts, in two categories: the phone book lists it under both.
  long aurora = f.vendor({.company = "Aurora Lighting & Sound",
                          .address = "1735 N. Paulina Street",
                          .city = "Chicago",
                          .state = "IL",
                          .postalCode = "60622",
                          .phone = "(773) 555-0187",
                          .fax = "(773) 555-0188",
                          .www = "www.auroralighting.example",
                          .tip = 15});
  f.vendorCategory(aurora, music);
  f.vendorCategory(aurora, site);
  long nadia = f.contact(aurora, {.first = "Nadia",
                                  .last = "Petrović",
                                  .nickName = "Nadi",
                                  .jobTitle = "Production Manager",
                                  .email = "nadia@auroralighting.example",
                                  .phone = "(773) 555-0190",
                                  .fax = "(773) 555-0188",
                                  .mobile = "(312) 555-0191",
                                  .pager = "(312) 555-0192",
                                  .reportOrder = 1});
  long jb = f.contact(aurora, {.first = "Jean-Baptiste",
                               .last = "Okonkwo",
                               .title = "Mr.",
                               .nickName = "JB",
                               .fax = "(773) 555-0188",
                               .mobile = "(312) 555-0193",
                               .reportOrder = 2});
  f.contact(aurora, {.first = "Maya",
                     .last = "Lindgren",
                     .jobTitle = "Lighting Designer",
                     .email = "maya@auroralighting.example",
                     .mobile = "(312) 555-0194",
                     .reportOrder = 3});
  // Office staff: not in the phone book.
  f.contact(aurora, {.first = "Ed", .last = "Kim", .jobTitle = "Bookkeeper", .reportOrder = 0});

  // No contacts at all.
  long rentals = f.vendor({.company = "Northside Party Rentals",
                           .address = "4410 W. Belmont Avenue",
                           .city = "Chicago",
                           .state = "IL",
                           .postalCode = "60641",
                           .phone = "(773) 555-0140",
                           .www = "www.northsiderentals.example"});
  f.vendorCategory(rentals, site);
  // A vendor without a street: its address is the city line alone.
  long zephyr = f.vendor({.company = "Zephyr Valet",
                          .city = "Evanston",
                          .state = "IL",
                          .postalCode = "60201",
                          .phone = "(847) 555-0166"});
  f.vendorCategory(zephyr, transport);
  f.contact(zephyr,
            {.first = "Íñigo", .last = "Álvarez", .phone = "(847) 555-0167", .reportOrder = 1});
  // The application's own placeholder vendor: never in the directory.
  long tbd = f.vendor({.company = "(To be decided)", .system = 1});
  f.vendorCategory(tbd, music);

  // On the wedding's one-line report: two contacts, and no contact at all.
  long show = f.assignment(e, music, aurora,
                           {.worksheetType = 2,
                            .selected = true,
                            .tip = 15,
                            .deliveryDate = date(2027, 6, 12),
                            .deliveryTime = time(16, 30),
                            .deliveryAddress = "Lakeview Grand, ballroom",
                            .primaryContactId = nadia,
                            .secondaryContactId = jb});
  f.item(show, {.item = "Uplighting, 24 fixtures", .price = money(1150), .qty = 1, .tip = true});
  f.assignment(e, site, rentals,
               {.worksheetType = 2,
                .selected = true,
                .deliveryDate = date(2027, 6, 11),
                .deliveryTime = time(9, 0),
                .deliveryAddress = "Lakeview Grand, loading dock B"});

  // A second invoice: items of the planner (with tax and tip) and a lighting deposit; an
  // estimate item and a planner's payment marked with it stay off the invoice.
  long inv = f.invoice(e, {.number = "2027-0043",
                           .description = "Stationery and lighting, Smith - García Wedding",
                           .note = "Payable by check or bank transfer.",
                           .createdBy = "Ana Kowalski",
                           .paymentTerms = "Due on receipt",
                           .billToName = "Emily Smith and Daniel García",
                           .billToAddress = "48 Maple Avenue\r\nEvanston, IL 60201",
                           .date = date(2027, 5, 20),
                           .due = date(2027, 5, 20)});
  long paper = f.assignment(e, stationery, own,
                            {.worksheetType = 1, .selected = true, .tax = 10.25, .tip = 15});
  f.item(paper, {.item = "Calligraphy",
                 .description = ", place cards and escort cards",
                 .price = money(2.5),
                 .qty = 140,
                 .tax = true,
                 .invoiceId = inv});
  f.item(paper, {.item = "Coordinator overtime",
                 .price = money(50),
                 .qty = 2,
                 .tax = true,
                 .tip = true,
                 .invoiceId = inv});
  f.item(show, {.item = "Haze machine", .price = money(200), .qty = 1, .invoiceId = inv});
  f.payment(show,
            {.type = "Deposit", .amount = money(400), .due = date(2027, 5, 20), .invoiceId = inv});
  f.payment(show, {.type = "Final payment", .amount = money(750), .due = date(2027, 6, 12)});
  f.payment(paper, {.type = "Deposit", .amount = money(100), .invoiceId = inv});
  f.set("Invoices", inv, "Amount", money(2.5 * 140 * 1.1025 + 50 * 2 * (1 + 0.1025 + 0.15) + 400));

  // The planning application keeps a blank name part as empty text; the contact statements
  // join the parts with "+", which a Null would blank out.
  for (const char* c : {"Title", "FirstName", "LastName", "Suffix", "NickName", "JobTitle"})
    f.exec(std::string("UPDATE VendorContacts SET ") + c + " = '' WHERE " + c + " IS NULL");
}

}  // namespace galvix::data
