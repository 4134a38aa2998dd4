// Every built catalogue report on an event whose values are long, blank or accented: no text
// prints over another, and no growing text is cut short.
#include <gmock/gmock.h>

#include <regex>

#include "data/demo_events.h"
#include "frame/catalogue.h"
#include "render/render.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {

const std::string kLong120 =
    "Mr. and Mrs. Bartholomew Alexander Fitzgerald-Montgomery III of Saint-Rémy-de-Provence, "
    "together with their families";
const std::string kName60 = "Maximiliana Theodora Constance";  // with the last name: 60 chars
const std::string kLast30 = "Wolfeschlegelsteinhausen-Bergé";

class LongValues : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event({.name = "The Ashworth–Delacroix Wedding Weekend"});
    party_ = db().party(
        event_, {.name = "Rehearsal Dinner and Welcome Reception on the Terrace of the Château",
                 .date = data::date(2025, 6, 14),
                 .time = data::time(18, 30),
                 .givenBy = kLong120,
                 .address = "The Old Orangery, Upper Terrace\nChâteau de la Motte-Fénelon\n"
                            "1200 Route des Vignes Anciennes\nBuilding C, Entrance 4",
                 .city = "Saint-Rémy-de-Provence",
                 .notes = "Shuttle from the hotel at 17:45; valet parking is not available on "
                          "the upper terrace, guests walk the last two hundred metres.",
                 .style = "Long family-style tables with shared platters and candles",
                 .theme = "Provençal summer evening among the lavender fields",
                 .colors = "Lavender, sage, ivory, champagne and a little dusty rose",
                 .foodService = "Family-style service with a seated three-course dinner and a "
                                "dessert buffet",
                 .menuSelectionRequired = true});
    const long other = db().party(event_, {.name = "Brunch"});
    const long menu = db().menu(party_,
                                "Slow-roasted lamb shoulder with rosemary, garlic "
                                "confit and a ragout of spring vegetables");
    const long table =
        db().table(party_, "The Long Table by the Fountain under the Plane Trees", 10);
    const long room = db().room(party_, "The Grand Orangery Pavilion on the Upper Terrace");
    const long roundTable =
        db().roomObject(room, "Round table beside the fountain under the plane trees", 12, 12);
    const char* categories[] = {"Family of the Bride and her Grandparents' Friends", "", "Work"};
    for (int g = 0; g < 6; ++g) {
      const long group =
          db().group(event_, {.label = "Group " + std::to_string(g),
                              .category = categories[g % 3],
                              .hPhone = "+33 4 90 92 00 00 ext. 12345",
                              .email = "bartholomew.fitzgerald-montgomery@example-family-mail.fr",
                              .notes = g % 2 ? kLong120 : ""});
      const long stay = db().invitation(
          party_, group,
          {.formalLabel = "Mr. and Mrs. " + kName60 + " " + kLast30,
           .casualLabel = kName60 + " & Family",
           .rsvpd = g % 2 == 0,
           .rsvpNote = g % 2 ? "Will arrive late after the ceremony, please keep "
                               "two seats near the door"
                             : "",
           .hotel = "Hôtel du Château de la Motte-Fénelon et Spa des Vignes Anciennes",
           .accNote = "Ground-floor room requested, close to the lift; late check-in after "
                      "midnight confirmed by the front desk",
           .checkIn = data::date(2025, 6, 13),
           .checkOut = data::date(2025, 6, 16),
           .aDate = data::date(2025, 6, 13),
           .aTime = data::time(23, 45),
           .aLocation = "Aéroport Marseille Provence, Terminal 1, Hall A arrivals",
           .aCarrier = "Compagnie Aérienne Intercontinentale du Sud",
           .aCarrierNo = "AF 123456789",
           .pickup = true,
           .dDate = data::date(2025, 6, 16),
           .dTime = data::time(6, 5),
           .dLocation = "Gare d'Avignon TGV, voie 3, near the Eurostar lounge",
           .dCarrier = "Société Nationale des Chemins de fer Français",
           .dCarrierNo = "TGV 6102 / EST 9015"});
      for (int n = 0; n < g % 3; ++n)
        db().hotelRoom(stay, "Junior suite with terrace over the lavender fields", 1200, n == 0);
      for (int i = 0; i < 2; ++i) {
        const long guest =
            db().guest(group, {.first = kName60,
                               .last = kLast30,
                               .title = "Dr.",
                               .role = i == 0 && g % 2 == 0 ? "Witness to the Civil Ceremony and "
                                                              "Keeper of the Rings"
                                                            : ""});
        // As the planning application stores it: a blank suffix, not Null.
        db().set("GuestNames", guest, "GSuffix", Variant(""));
        db().invite(guest, party_,
                    {.attending = true,
                     .primary = i == 0,
                     .menuId = menu,
                     .tableId = table,
                     .seat = 2 * g + i + 1});
        db().invite(guest, other, {.attending = true, .primary = i == 0});
        if (g < 5) db().chair(roundTable, 2 * g + i + 1, guest);
      }
    }
    // Client contacts, journal, checklist and timeline of the event summaries.
    for (int n = 1; n <= 2; ++n) {
      const long contact = db().group(
          event_, {.label = "Contact " + std::to_string(n),
                   .address = "The Old Orangery, Upper Terrace, Château de la Motte-Fénelon",
                   .city = "Saint-Rémy-de-Provence",
                   .state = "Bouches-du-Rhône",
                   .postalCode = "13210",
                   .country = "France",
                   .hPhone = "+33 4 90 92 00 00 ext. 12345",
                   .wPhone = "+33 4 90 92 11 11 ext. 67890",
                   .mPhone = "+33 6 12 34 56 78",
                   .fPhone = "+33 4 90 92 22 22",
                   .email = "bartholomew.fitzgerald-montgomery@example-family-mail.fr",
                   .notes = kLong120,
                   .contactNumber = n});
      const long who = db().guest(
          contact, {.first = kName60, .last = kLast30, .title = "The Honourable", .suffix = "III"});
      db().set("GuestNames", who, "ContactPic",
               Variant::binary(data::demoPortrait(0xB9D4E8, 0x8A5A2B, 0xF4F1EA)));
    }
    db().set("Events", event_, "PrintJournal", Variant(true));
    db().journal(event_, data::dateTime(2025, 1, 31, 23, 59), kLong120 + " " + kLong120);
    const long list = db().checklist(event_, "Rehearsal dinner, welcome drinks and the terrace");
    db().checklistItem(list, "Confirm the shuttle timetable from the hotel with " + kLong120, false,
                       data::dateTime(2025, 6, 13, 23, 45), data::time(23, 45),
                       "Maximiliana Theodora and the wedding planner's assistant");
    db().stage(party_, 1, data::time(18, 30), "Welcome drinks on the upper terrace by the fountain",
               "Les Quatre Saisons, L'Été, first movement (Allegro non molto)",
               "The Provence Chamber Orchestra with soloists", kLong120);
    // Labels (setup 2), envelopes (2) and place cards (selection 2) of the party's groups.
    const std::string address = "Mr. and Mrs. " + kName60 + " " + kLast30 +
                                "\r\nThe Old Orangery, Upper Terrace, Building C\r\n"
                                "Saint-Rémy-de-Provence, Bouches-du-Rhône  13210\r\nFrance";
    for (int i = 0; i < 4; ++i) {
      db().insert("LabelText", {{"LabelSetupID", Variant(2)},
                                {"Label", Variant(address)},
                                {"Print", Variant(true)},
                                {"Lookup", Variant(std::to_string(i))}});
      db().insert("EnvelopeText", {{"EnvelopeID", Variant(i % 2 + 1)},
                                   {"Label", Variant(address)},
                                   {"Print", Variant(true)},
                                   {"Lookup", Variant(std::to_string(i))}});
    }
    db().exec("INSERT INTO StationerySetup (StationeryID, PartyID) VALUES (2, " +
              std::to_string(party_) + ")");
    db().exec(
        "INSERT INTO StationeryText (StationeryID, PartyGroupID, GuestID, Label, Print) "
        "SELECT 2, PartyDetails.PartyGroupID, (SELECT group_concat(GuestID, ';') FROM GuestNames "
        "WHERE GuestNames.GroupID = PartyDetails.GroupID), PartyDetails.FormalLabel, -1 "
        "FROM PartyDetails");
    const long cat = db().expenseCategory(
        "Flowers, floral arrangements, boutonnières and the ceremony arch decoration");
    db().budgetLine(event_, cat, {.budget = data::money(1234.5), .actual = data::money(99.99)});
    // The pie chart's slices: a long name with a large amount, a tiny one and one not known yet.
    db().budgetLine(event_,
                    db().expenseCategory("Photography and videography of the ceremony, the "
                                         "dinner on the terrace and the late-night party"),
                    {.budget = data::money(4200), .actual = data::money(3987.65)});
    db().budgetLine(event_, db().expenseCategory("Pourboires"),
                    {.budget = data::money(5), .actual = data::money(0.5)});
    db().budgetLine(event_, db().expenseCategory("Coiffure et maquillage de la mariée"),
                    {.budget = data::money(650)});
    const long vendor = db().vendor({.company = "Fleurs de Provence et Jardins du Luberon SARL"});
    for (int type : {0, 1})
      db().item(db().assignment(event_, cat, vendor, {.worksheetType = type}),
                {.item = "Ceremony arch", .price = data::money(type ? 1987654.32 : 1234567.89)});

    // The estimates, payments and quotes: a company with every part of its block long.
    data::VendorSpec caterer =
        longVendor("Traiteur des Alpilles et du Pays d'Arles - Réceptions, Banquets et Mariages");
    caterer.tax = 20;
    caterer.tip = 12.5;
    const long pro = db().vendor(caterer);
    const long chef = db().contact(pro, longContact(1));
    const long estimate = db().assignment(
        event_, cat, pro,
        {.worksheetType = 2,
         .selected = true,
         .tax = 20,
         .tip = 12.5,
         .deliveryDate = data::date(2025, 6, 14),
         .deliveryTime = data::time(11, 30),
         .deliveryAddress = "Service entrance behind the Orangery, via the gravel lane along "
                            "the vineyard wall, gate code 4711",
         .notes = kLong120,
         .cancellationPolicy = "The deposit is not refundable. Half of the balance is due when "
                               "cancelled within sixty days of the event, all of it within "
                               "thirty days, unless the date can be moved within the season.",
         .primaryContactId = chef,
         .secondaryContactId = chef});
    db().item(estimate, {.item = "Seven-course tasting menu with wine pairings from the Luberon",
                         .description = kLong120,
                         .price = data::money(189.5),
                         .qty = 120,
                         .tax = true,
                         .tip = true,
                         .paidBy = "Witness to the Civil Ceremony and Keeper of the Rings"});
    db().item(estimate, {.item = "Ceremony arch", .price = data::money(980), .tax = true});
    db().payment(estimate, {.type = "Deposit",
                            .amount = data::money(12345.67),
                            .due = data::date(2025, 1, 15),
                            .paidOn = data::date(2025, 1, 14),
                            .paid = true});
    db().payment(
        estimate,
        {.type = "Final payment", .amount = data::money(19876.54), .due = data::date(2025, 6, 1)});
    vendorDirectoryAndInvoice();
  }

  // The planner's own company with a logo, professionals with long contacts in two categories,
  // and an invoice of long lines.
  void vendorDirectoryAndInvoice() {
    const long own = db().vendor({.company = "Maison Ashworth Événements et Conciergerie de Luxe",
                                  .address = "Bâtiment des Anciennes Écuries, 14 Chemin du Moulin",
                                  .city = "Saint-Rémy-de-Provence",
                                  .postalCode = "13210",
                                  .country = "France",
                                  .system = 1,
                                  .myCompany = true});
    // 4x2 pixels of one colour.
    db().image(own,
               {'G', 'I', 'F', '8', '9', 'a', 4, 0, 2, 0, 0x80, 0, 0, 0x20, 0x40, 0xC0, 0, 0,
                0,   ',', 0,   0,   0,   0,   4, 0, 2, 0, 0,    2, 3, 0x84, 0x8F, 0x05, 0, ';'});
    const long required = db().expenseCategory(
        "Lighting, sound reinforcement, staging and the evening's special effects");
    db().budgetLine(event_, required, {.vendorRequired = true});
    const long other = db().expenseCategory("Transport");
    const long v = db().vendor(longVendor("Lumières et Sonorisation du Grand Luberon SARL"));
    db().vendorCategory(v, required);
    db().vendorCategory(v, other);
    const long contacts[] = {db().contact(v, longContact(1)), db().contact(v, longContact(2))};
    const long show = db().assignment(event_, required, v,
                                      {.worksheetType = 2,
                                       .tip = 15,
                                       .deliveryTime = data::time(16, 30),
                                       .primaryContactId = contacts[0],
                                       .secondaryContactId = contacts[1]});
    // A running head holds two lines: the longest company name a directory heads with.
    db().assignment(event_, required,
                    db().vendor({.company = kName60 + " " + kLast30, .phone = "+33 4"}),
                    {.worksheetType = 2});
    for (const char* c : {"Title", "FirstName", "LastName", "Suffix", "NickName", "JobTitle"})
      db().exec(std::string("UPDATE VendorContacts SET ") + c + " = '' WHERE " + c + " IS NULL");

    invoice_ = db().invoice(event_, {.number = "2025-000012345-PROVENCE-ASHWORTH",
                                     .description = kLong120,
                                     .note = kLong120 + " " + kLong120,
                                     .createdBy = kName60 + " " + kLast30,
                                     .paymentTerms = "Half on signature, half thirty days "
                                                     "before the wedding",
                                     .billToName = "Mr. and Mrs. " + kName60 + " " + kLast30,
                                     .billToAddress = "The Old Orangery, Upper Terrace\r\n"
                                                      "Château de la Motte-Fénelon\r\n"
                                                      "1200 Route des Vignes Anciennes",
                                     .date = data::date(2025, 5, 1),
                                     .due = data::date(2025, 5, 31)});
    const long items = db().assignment(event_, required, own, {.worksheetType = 1, .tax = 20});
    db().item(items, {.item = "Planning and coordination of the whole wedding weekend",
                      .description = " including the rehearsal dinner and the Sunday brunch",
                      .price = data::money(1987654.32),
                      .qty = 3,
                      .tax = true,
                      .invoiceId = invoice_});
    db().paymentType("Deposit on signature of the contract, non-refundable", 1);
    db().payment(show, {.type = "Deposit on signature of the contract, non-refundable",
                        .amount = data::money(1234567.89),
                        .invoiceId = invoice_});
  }

  static data::VendorSpec longVendor(const std::string& company) {
    return {.company = company,
            .address = "Domaine de la Grande Bastide, Chemin des Oliviers Centenaires, Bâtiment B",
            .city = "Saint-Rémy-de-Provence",
            .state = "Provence-Alpes-Côte d'Azur",
            .postalCode = "13210 CEDEX 04",
            .country = "France métropolitaine",
            .phone = "+33 4 90 92 00 00 ext. 12345",
            .fax = "+33 4 90 92 00 01 ext. 67890",
            .www = "www.traiteur-des-alpilles-et-du-pays-darles-receptions.example.fr"};
  }
  static data::ContactSpec longContact(int order) {
    return {.first = kName60,
            .last = kLast30,
            .title = "Dr.",
            .suffix = "",
            .nickName = "Maximiliana the Magnificent",
            .jobTitle = "Directrice Technique et Responsable de la Sécurité",
            .email = "maximiliana.wolfeschlegelsteinhausen@lumieres-luberon.example.fr",
            .phone = "+33 4 90 71 00 00 poste 1234",
            .fax = "+33 4 90 71 00 01 poste 5678",
            .mobile = "+33 6 12 34 56 78 (weekends only)",
            .pager = "+33 6 98 76 54 32 (emergencies)",
            .reportOrder = order};
  }

  // Catalogue examples name an event and a party by placeholders.
  std::string expand(std::string v) const {
    v = std::regex_replace(v, std::regex("\\{(Quote)?EventID\\}"), std::to_string(event_));
    v = std::regex_replace(v, std::regex("\\{QuoteEventName\\}"), "The Ashworth Wedding");
    v = std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyID\\}"), std::to_string(party_));
    v = std::regex_replace(v, std::regex("\\{InvoiceID\\}"), std::to_string(invoice_));
    return std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyName\\}"), "Rehearsal Dinner");
  }

  long event_ = 0, party_ = 0, invoice_ = 0;
};

bool overlap(const doc::Rect& a, const doc::Rect& b) {
  return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
         b.top < a.top + a.height;
}

TEST_F(LongValues, NoTextPrintsOverAnotherAndNoneIsCutShort) {
  auto measurer = render::makePangoMeasurer();
  int checked = 0;
  for (const auto& entry : frame::catalogue()) {
    if (!entry.built()) continue;
    SCOPED_TRACE(entry.name);
    auto variants = entry.moreExamples;
    variants.insert(variants.begin(), {"", entry.example});
    for (const auto& [variant, example] : variants) {
      SCOPED_TRACE(variant);
      auto r = report(entry.name);
      for (const auto& [prop, value] : example) r->set(prop, Variant(expand(value)));
      if (r->hasProperty("Title"))
        r->set("Title", Variant("The Ashworth–Delacroix Wedding Weekend at the Château"));
      const doc::Document d = run(*r);
      ++checked;
      ASSERT_FALSE(d.pages.empty());
      for (std::size_t p = 0; p < d.pages.size(); ++p) {
        std::vector<const doc::Item*> shown;
        for (const auto& it : d.pages[p].items)
          if (auto* t = std::get_if<doc::Text>(&it.content); t && !t->text.empty())
            shown.push_back(&it);
        // What a text covers: a top-aligned text ends where its lines end; a text turned a
        // quarter is a block of its lines placed in its box by its alignment on the page.
        auto drawn = [&](const doc::Text& t) {
          doc::Rect r = t.box;
          if (t.angle == 0 && t.valign == doc::VAlign::Top)
            r.height = std::min(r.height, measurer->measure(t.text, t.font, t.box.width).height);
          if (t.angle == 900 || t.angle == 2700) {
            const auto e = measurer->measure(t.text, t.font, t.box.height);
            const int along = std::min(t.box.height, e.width);
            const int across = std::min(t.box.width, e.height);
            r.left += t.align == doc::HAlign::Center  ? (t.box.width - across) / 2
                      : t.align == doc::HAlign::Right ? t.box.width - across
                                                      : 0;
            r.top += t.valign == doc::VAlign::Middle   ? (t.box.height - along) / 2
                     : t.valign == doc::VAlign::Bottom ? t.box.height - along
                                                       : 0;
            r.width = across;
            r.height = along;
          }
          return r;
        };
        // A label on a sheet is the label's size, whatever its text: what does not fit ends in
        // an ellipsis rather than pushing the next label off its place on the sheet.
        auto onASheet = [&](const doc::Item& it) {
          return entry.designer == "rptLabels" && it.control == "txtLabel" &&
                 std::get<doc::Text>(it.content).valign == doc::VAlign::Middle;
        };
        for (std::size_t i = 0; i < shown.size(); ++i) {
          const auto& a = std::get<doc::Text>(shown[i]->content);
          // A wrapping text shows all its lines: its box is at least as tall as the text.
          if (a.wordWrap && a.angle == 0 && !onASheet(*shown[i])) {
            EXPECT_GE(a.box.height + 15, measurer->measure(a.text, a.font, a.box.width).height)
                << "page " << p + 1 << ": " << shown[i]->control << " cut short: " << a.text;
          }
          for (std::size_t k = i + 1; k < shown.size(); ++k) {
            const auto& b = std::get<doc::Text>(shown[k]->content);
            EXPECT_FALSE(overlap(drawn(a), drawn(b)))
                << "page " << p + 1 << ": " << shown[i]->control << " (" << a.text << ") and "
                << shown[k]->control << " (" << b.text << ")";
          }
        }
      }
    }
  }
  EXPECT_GE(checked, 8);
}

// Values far beyond any page: a title of 100,000 characters without a space and a group label
// of 20,000. Each is cut to its page (a header to a third of it), the report keeps its few
// pages, and nothing is drawn outside the page body or over the footer.
TEST_F(LongValues, ValuesLongerThanAPageAreCutToIt) {
  db().set("PartyDetails", 1, "FormalLabel", Variant(std::string(20000, 'x')));
  auto r = report("RSVPs - One-line");
  r->set("SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party_)));
  r->set("Title", Variant(std::string(100000, 'W')));
  const doc::Document d = run(*r);
  ASSERT_FALSE(d.pages.empty());
  EXPECT_LE(d.pages.size(), 3u);
  for (const auto& page : d.pages) {
    std::int32_t footerTop = page.height;
    for (const auto& it : page.items)
      if (it.section == "PageFooter")
        if (auto* t = std::get_if<doc::Text>(&it.content))
          footerTop = std::min(footerTop, t->box.top);
    for (const auto& it : page.items) {
      auto* t = std::get_if<doc::Text>(&it.content);
      if (!t || it.section == "PageFooter") continue;
      EXPECT_LE(t->box.top + t->box.height, footerTop) << it.control;
      if (it.control == "lblTitle") {
        EXPECT_LE(t->box.height, page.height / 3);
      }
    }
  }
}

}  // namespace
}  // namespace galvix::testing
