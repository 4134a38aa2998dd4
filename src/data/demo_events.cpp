#include "data/demo_events.h"

#include <cmath>
#include <string>

namespace galvix::data {
namespace {

void put16(Bytes& b, unsigned v) {
  b.push_back(static_cast<std::uint8_t>(v));
  b.push_back(static_cast<std::uint8_t>(v >> 8));
}
void put32(Bytes& b, std::uint32_t v) {
  put16(b, v & 0xFFFF);
  put16(b, v >> 16);
}

struct Rgb {
  double r, g, b;
};
Rgb rgb(std::uint32_t c) {
  return {static_cast<double>((c >> 16) & 0xFF), static_cast<double>((c >> 8) & 0xFF),
          static_cast<double>(c & 0xFF)};
}

// Which part of the portrait a point (in a 0..1 wide, 0..1.25 high frame) falls on.
Rgb shade(double x, double y, const Rgb& bg, const Rgb& hair, const Rgb& clothes) {
  const Rgb skin{233, 196, 168};
  auto inEllipse = [](double x, double y, double cx, double cy, double rx, double ry) {
    const double dx = (x - cx) / rx, dy = (y - cy) / ry;
    return dx * dx + dy * dy <= 1.0;
  };
  if (inEllipse(x, y, 0.5, 1.28, 0.46, 0.36)) return clothes;  // shoulders
  if (inEllipse(x, y, 0.5, 0.88, 0.09, 0.12)) return skin;     // neck
  const bool head = inEllipse(x, y, 0.5, 0.52, 0.22, 0.27);
  if (inEllipse(x, y, 0.5, 0.44, 0.25, 0.26) && (!head || y < 0.38)) return hair;
  if (head) return skin;
  return bg;
}

}  // namespace

Bytes demoPortrait(std::uint32_t background, std::uint32_t hair, std::uint32_t clothes) {
  const int w = 96, h = 120, ss = 3;  // 3x3 samples a pixel for smooth edges
  const int row = (w * 3 + 3) & ~3;
  const std::uint32_t pixels = static_cast<std::uint32_t>(row * h);
  Bytes b;
  b.reserve(54 + pixels);
  b.push_back('B');
  b.push_back('M');
  put32(b, 54 + pixels);
  put32(b, 0);
  put32(b, 54);
  put32(b, 40);
  put32(b, w);
  put32(b, h);
  put16(b, 1);
  put16(b, 24);
  put32(b, 0);
  put32(b, pixels);
  put32(b, 3780);  // 96 dpi
  put32(b, 3780);
  put32(b, 0);
  put32(b, 0);
  const Rgb bg = rgb(background), hr = rgb(hair), cl = rgb(clothes);
  for (int py = h - 1; py >= 0; --py) {  // bottom row first
    int written = 0;
    for (int px = 0; px < w; ++px) {
      Rgb sum{0, 0, 0};
      for (int sy = 0; sy < ss; ++sy)
        for (int sx = 0; sx < ss; ++sx) {
          const double x = (px + (sx + 0.5) / ss) / w;
          const double y = (py + (sy + 0.5) / ss) / w;
          const Rgb c = shade(x, y, bg, hr, cl);
          sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        }
      const double n = ss * ss;
      b.push_back(static_cast<std::uint8_t>(std::lround(sum.b / n)));
      b.push_back(static_cast<std::uint8_t>(std::lround(sum.g / n)));
      b.push_back(static_cast<std::uint8_t>(std::lround(sum.r / n)));
      written += 3;
    }
    for (; written < row; ++written) b.push_back(0);
  }
  return b;
}

namespace {

// A one-person contact group of the event; returns the guest's id.
long contact(Fixture& f, long eventId, int number, const GroupSpec& group, const GuestSpec& who) {
  GroupSpec g = group;
  g.contactNumber = number;
  g.category = "Clients";
  const long groupId = f.group(eventId, g);
  const long guest = f.guest(groupId, who);
  // As the planning application stores them: a blank title or suffix, not Null.
  if (who.title.empty()) f.set("GuestNames", guest, "GTitle", Variant(""));
  if (who.suffix.empty()) f.set("GuestNames", guest, "GSuffix", Variant(""));
  return guest;
}

void weddingContacts(Fixture& f, long e) {
  contact(f, e, 1,
          {.label = "Ms. Emily Smith",
           .address = "2150 N. Lincoln Park West, Apt 4B",
           .city = "Chicago",
           .state = "IL",
           .postalCode = "60614",
           .hPhone = "(312) 555-0187",
           .mPhone = "(312) 555-0114",
           .email = "emily.smith@example.com",
           .notes = "The bride. Prefers e-mail; reachable by phone after 6 pm on weekdays."},
          {.first = "Emily",
           .last = "Smith",
           .title = "Ms.",
           .picture = Variant::binary(demoPortrait(0xB9D4E8, 0x8A5A2B, 0xF4F1EA))});
  // Only a work phone and an e-mail.
  contact(f, e, 2,
          {.label = "Mr. Carlos García Jr.",
           .address = "1801 W. Division Street",
           .city = "Chicago",
           .state = "IL",
           .postalCode = "60622",
           .wPhone = "(312) 555-0166",
           .email = "carlos.garcia@example.com",
           .notes = "The groom."},
          {.first = "Carlos",
           .last = "García",
           .title = "Mr.",
           .suffix = "Jr.",
           .picture = Variant::binary(demoPortrait(0xCFE3C8, 0x2B2016, 0x2F3B55))});
  // Tasks due at a set hour carry the time in their due date too.
  const long dayOf = f.checklist(e, "Wedding day");
  f.checklistItem(dayOf, "Deliver the welcome bags to the hotel", false,
                  dateTime(2027, 6, 11, 10, 0), time(10, 0), "Couple");
  f.checklistItem(dayOf, "Boutonnières and bouquets to the church", false,
                  dateTime(2027, 6, 12, 13, 30), time(13, 30), "Florist");
  f.checklistItem(dayOf, "Collect the rings from the best man", false, date(2027, 6, 12));
  // A third contact, which the contact blocks leave out.
  contact(f, e, 3,
          {.label = "Ms. Linda Smith",
           .city = "Evanston",
           .state = "IL",
           .hPhone = "(847) 555-0120",
           .notes = "Mother of the bride; hosts the farewell brunch."},
          {.first = "Linda", .last = "Smith", .title = "Ms."});
}

void galaExtras(Fixture& f, long e) {
  // A primary contact without a picture, and no secondary contact.
  contact(f, e, 1,
          {.label = "Northwind Traders",
           .address = "One Northwind Plaza",
           .city = "Chicago",
           .state = "IL",
           .postalCode = "60601",
           .wPhone = "(312) 555-0300",
           .fPhone = "(312) 555-0301",
           .email = "events@northwind.example",
           .notes = "Invoices to accounts payable, PO required."},
          {.first = "Daniel", .last = "Okafor", .title = "Mr."});
  // The gala's journal exists but the event is set not to print it.
  f.journal(e, date(2027, 2, 14), "Kick-off call with Northwind's events committee.");
  f.journal(e, date(2027, 4, 2), "Museum confirmed the Rotunda for the dinner.");
  const long list = f.checklist(e, "Gala logistics");
  f.checklistItem(list, "Sign the museum contract", true, date(2027, 4, 15), Variant::null(),
                  "Ana");
  f.checklistItem(list, "Walk-through with the caterer", false, dateTime(2027, 10, 20, 9, 30),
                  time(9, 30), "Ana");
  f.checklistItem(list, "Print the seating cards", false, date(2027, 11, 1));
  f.checklistItem(list, "Load-in and sound check", false, dateTime(2027, 11, 5, 14, 0), time(14, 0),
                  "Production crew");
}

}  // namespace

void addEventSummaries(Fixture& f, long weddingEventId, long galaEventId) {
  weddingContacts(f, weddingEventId);
  galaExtras(f, galaEventId);

  // A birthday at the inquiry stage: no budget, no end date, no sub-events yet.
  const long birthday = f.event({.name = "Olivia Harper's 40th Birthday",
                                 .type = "Birthday",
                                 .status = "Inquiry",
                                 .start = date(2027, 8, 21),
                                 .printJournal = true});
  // No title or suffix; a home phone of blanks only.
  contact(f, birthday, 1,
          {.label = "Olivia Harper",
           .city = "Oak Park",
           .state = "IL",
           .hPhone = "  ",
           .mPhone = "(708) 555-0142",
           .email = "olivia.harper@example.com"},
          {.first = "Olivia",
           .last = "Harper",
           .picture = Variant::binary(demoPortrait(0xF2D7D9, 0xC2733E, 0x7A3E6B))});
  contact(f, birthday, 2, {.label = "Ben Harper"}, {.first = "Ben", .last = "Harper"});
  f.journal(birthday, dateTime(2027, 3, 2, 16, 45),
            "First call: a surprise party for about 60, somewhere with a dance floor.");

  // A completed anniversary dinner without client contacts.
  const long anniversary = f.event({.name = "Chen 25th Anniversary Dinner",
                                    .type = "Anniversary",
                                    .status = "Completed",
                                    .budget = money(6500),
                                    .start = date(2026, 9, 19),
                                    .end = date(2026, 9, 19)});
  const long dinner = f.party(anniversary, {.name = "Anniversary Dinner",
                                            .date = date(2026, 9, 19),
                                            .time = time(19, 0),
                                            .givenBy = "Grace and Wei Chen",
                                            .address = "The Signature Room, 875 N. Michigan Ave",
                                            .city = "Chicago",
                                            .state = "IL",
                                            .postalCode = "60611",
                                            .style = "Cocktail attire",
                                            .foodService = "Plated dinner",
                                            .estGuests = 40});
  // Stages with and without a time.
  f.stage(dinner, 1, time(19, 0), "Welcome toast", "", "Daughter Mei Chen");
  f.stage(dinner, 2, Variant::null(), "Slide show", "Moon River", "Piano trio",
          "Starts when the main course is cleared.");
  f.stage(dinner, 3, time(21, 15), "Anniversary dance", "Can't Help Falling in Love", "Piano trio");
}

}  // namespace galvix::data
