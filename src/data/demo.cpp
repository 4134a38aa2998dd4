#include "data/demo.h"
#include "data/demo_money.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "data/demo_budget.h"
#include "data/demo_events.h"
#include "data/demo_rng.h"
#include "data/demo_scale.h"
#include "data/demo_vendors.h"
#include "data/fixture.h"

namespace galvix::data {
namespace {

// The classic demo's stream.
class Rng : public DemoRng {
 public:
  explicit Rng(std::uint32_t seed) : DemoRng(seed, 2654435761u, 0x9E3779B9u) {}
};

const std::array<const char*, 40> kLast = {
    "Smith",    "García",   "Johnson",   "Nguyen",  "Williams", "Brown",    "Müller",   "O'Connor",
    "Kowalski", "Rossi",    "Jones",     "Miller",  "Davis",    "Martínez", "Anderson", "Taylor",
    "Thomas",   "Moore",    "Jackson",   "Martin",  "Lee",      "Pérez",    "Thompson", "White",
    "Harris",   "Sánchez",  "Clark",     "Ramírez", "Lewis",    "Robinson", "Walker",   "Young",
    "Allen",    "Nieminen", "Hernández", "Wright",  "Lopez",    "Hill",     "Scott",    "Green"};
const std::array<const char*, 30> kMale = {
    "James",  "John",    "Robert", "Michael", "William", "David",   "José",   "Søren",
    "Łukasz", "Thomas",  "Daniel", "Matthew", "Anthony", "Mark",    "Paul",   "Steven",
    "Andrew", "Joshua",  "Kevin",  "Brian",   "George",  "Timothy", "Ronald", "Edward",
    "Jason",  "Jeffrey", "Ryan",   "Jacob",   "Gary",    "Nicholas"};
const std::array<const char*, 30> kFemale = {
    "Mary",    "Patricia", "Jennifer",  "Linda", "Elizabeth", "Barbara", "Susan",    "Zoë",
    "Jessica", "Sarah",    "Karen",     "Nancy", "Lisa",      "Betty",   "Margaret", "Sandra",
    "Ashley",  "Kimberly", "Emily",     "Donna", "Michelle",  "Dorothy", "Carol",    "Amanda",
    "Melissa", "Deborah",  "Stephanie", "Renée", "Laura",     "Chloé"};
const std::array<const char*, 10> kKids = {"Emma",  "Liam", "Olivia", "Noah", "Ava",
                                           "Lucas", "Mia",  "Ethan",  "Léa",  "Oscar"};
const std::array<const char*, 12> kStreets = {"Maple Avenue",       "Oak Street", "Lakeshore Drive",
                                              "Elm Court",          "Cedar Lane", "Birch Road",
                                              "Pine Street",        "Willow Way", "Main Street",
                                              "Chestnut Boulevard", "Park Place", "River Road"};
struct City {
  const char *city, *state, *zip, *country;
};
const std::array<City, 10> kCities = {{{"Springfield", "IL", "62701", ""},
                                       {"Chicago", "IL", "60614", ""},
                                       {"Evanston", "IL", "60201", ""},
                                       {"Madison", "WI", "53703", ""},
                                       {"Milwaukee", "WI", "53202", ""},
                                       {"Ann Arbor", "MI", "48104", ""},
                                       {"Toronto", "ON", "M5V 2T6", "Canada"},
                                       {"Guadalajara", "JAL", "44100", "Mexico"},
                                       {"Copenhagen", "", "1050", "Denmark"},
                                       {"Kraków", "", "31-001", "Poland"}}};

std::string phone(Rng& r) {
  char b[40];
  std::snprintf(b, sizeof b, "(%03d) 555-%04d", 200 + r.below(700), r.below(10000));
  return b;
}

std::string lower(std::string s) {
  for (auto& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

// ASCII-only e-mail local part from a name (accents dropped).
std::string mailName(const std::string& name) {
  // "Pérez" gives "perez", "Łukasz" "lukasz".
  gchar* ascii = g_str_to_ascii(name.c_str(), "C");
  const std::string s = ascii;
  g_free(ascii);
  std::string out;
  for (unsigned char c : s)
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) out += static_cast<char>(c);
  return lower(out);
}

struct Party {
  long id;
  std::string name;
};

struct Guest {
  long id;
  int type;
};

struct Group {
  long id;
  std::string label, formal, casual;
  std::vector<Guest> guests;
  bool family, outOfTown;
};

class Builder {
 public:
  Builder(Fixture& f, const DemoOptions& o) : f_(f), o_(o), r_(o.seed) {
    if (scaleShape(o)) scale_ = std::make_unique<ScaleWedding>(f, o.seed, o.guests);
  }

  DemoSummary build() {
    wedding();
    gala();
    vendorsAndBudget();
    addMoneyDemo(f_, sum_);
    addSmallBudgetLines(f_, sum_.weddingEventId);
    labelsAndStationery();
    addLabelsDemo(f_, sum_.receptionPartyId);
    addEventSummaries(f_, sum_.weddingEventId, sum_.galaEventId);
    // A guest who has not chosen a meal has no menu at all (a table of 0 means "not seated").
    f_.exec("UPDATE Invitees SET MenuID = NULL WHERE MenuID = 0");
    // The planning application stores a blank suffix, not Null, for a guest without one.
    f_.exec("UPDATE GuestNames SET GSuffix = '' WHERE GSuffix IS NULL");
    return sum_;
  }

 private:
  // ---- Guests ----
  Group makeGroup(long eventId, const std::string& category, bool family) {
    Group g{};
    g.family = family;
    std::string last = r_.pick(kLast);
    int kind = r_.below(10);  // couple, single, family with children, plus-one
    std::string he = r_.pick(kMale), she = r_.pick(kFemale);
    std::vector<std::pair<std::string, int>> people;
    std::vector<ScalePerson> named;  // the scale shape's names, each a name of its own
    if (scale_) {
      const bool single = kind >= 4 && kind < 6, family = kind >= 6 && kind < 8;
      const bool plusOne = kind >= 8;  // she invites him; each keeps their own surname
      const bool manFirst = single ? r_.chance(50) : !plusOne;
      named =
          scale_->names().group(single ? 1 : 2, manFirst, family ? 1 + r_.below(2) : 0, plusOne);
      last = named[0].last;
      auto full = [](const ScalePerson& p) {
        return p.title + " " + p.first + " " + p.last + (p.suffix.empty() ? "" : " " + p.suffix);
      };
      for (const auto& p : named) people.push_back({p.first, p.type});
      if (kind < 4) {
        g.formal = named[0].title == "Mr." && named[1].title == "Ms."
                       ? "Mr. and Mrs. " + named[0].first + " " + last
                       : full(named[0]) + " and " + full(named[1]);
        g.casual = named[0].first + " and " + named[1].first;
      } else if (kind < 6) {
        g.formal = full(named[0]);
        g.casual = named[0].first;
      } else if (kind < 8) {
        g.formal = "The " + last + " Family";
        g.casual = named[0].first + ", " + named[1].first;
        for (size_t i = 2; i < named.size(); ++i) g.casual += ", " + named[i].first;
      } else {
        g.formal = full(named[0]) + " and " + full(named[1]);
        g.casual = named[0].first + " and " + named[1].first;
      }
    } else if (kind < 4) {
      people = {{he, 0}, {she, 0}};
      g.formal = "Mr. and Mrs. " + he + " " + last;
      g.casual = he + " and " + she;
    } else if (kind < 6) {
      bool male = r_.chance(50);
      people = {{male ? he : she, 0}};
      g.formal = std::string(male ? "Mr. " : "Ms. ") + people[0].first + " " + last;
      g.casual = people[0].first;
    } else if (kind < 8) {
      people = {{he, 0}, {she, 0}};
      int kids = 1 + r_.below(2);
      std::string names;
      for (int i = 0; i < kids; ++i) {
        std::string k = r_.pick(kKids);
        while (i > 0 && k == people.back().first) k = r_.pick(kKids);  // no twins of one name
        people.push_back({k, 2});
        names += ", " + k;
      }
      g.formal = "The " + last + " Family";
      g.casual = he + ", " + she + names;
    } else {
      std::string guestLast = r_.pick(kLast);
      people = {{she, 0}, {he, 0}};
      g.formal = "Ms. " + she + " " + last + " and Mr. " + he + " " + guestLast;
      g.casual = she + " and " + he;
    }
    g.label = last;
    const City& c = r_.pick(kCities);
    g.outOfTown = std::string(c.city) != "Chicago" && std::string(c.city) != "Evanston";
    GroupSpec s;
    s.label = g.formal;
    s.category = category;
    s.address = std::to_string(100 + r_.below(9800)) + " " + r_.pick(kStreets);
    s.city = c.city;
    s.state = c.state;
    s.postalCode = c.zip;
    s.country = c.country;
    if (r_.chance(80)) s.hPhone = phone(r_);
    if (r_.chance(35)) s.wPhone = phone(r_);
    if (r_.chance(60)) s.mPhone = phone(r_);
    if (r_.chance(8)) s.fPhone = phone(r_);
    if (r_.chance(70)) s.email = mailName(people[0].first) + "." + mailName(last) + "@example.com";
    if (r_.chance(15))
      s.notes = r_.chance(50) ? "Vegetarian; prefers a table away from the speakers."
                              : "Send the invitation to the work address.";
    g.id = f_.group(eventId, s);
    for (size_t i = 0; i < people.size(); ++i) {
      GuestSpec gs;
      gs.first = people[i].first;
      gs.last = scale_ ? named[i].last : (kind >= 8 && i == 1) ? r_.pick(kLast) : last;
      gs.type = people[i].second;
      gs.age = people[i].second == 2 ? 3 + r_.below(10) : 0;
      const bool man = std::find(std::begin(kMale), std::end(kMale), gs.first) != std::end(kMale);
      gs.title = people[i].second == 2 ? "" : (man ? "Mr." : "Ms.");
      if (scale_) {
        gs.title = named[i].title;
        gs.suffix = named[i].suffix;
      }
      long guestId = f_.guest(g.id, gs);
      // The planning application stores a blank title, not Null, for children.
      if (gs.title.empty()) f_.set("GuestNames", guestId, "GTitle", Variant(""));
      g.guests.push_back({guestId, gs.type});
    }
    sum_.guests += static_cast<int>(people.size());
    ++sum_.groups;
    return g;
  }

  // The awkward groups every demo holds whatever the seed.
  void awkwardGroups(long eventId, std::vector<Group>& groups) {
    using Person = std::tuple<std::string, std::string, std::string>;  // title, first, last
    auto add = [&](const GroupSpec& s, const std::vector<Person>& p, const std::string& casual) {
      Group g{};
      g.id = f_.group(eventId, s);
      g.formal = s.label;
      g.casual = casual;
      g.family = false;
      g.outOfTown = true;
      for (const auto& [title, first, last] : p) {
        if (scale_) scale_->names().reserve(first, last);
        g.guests.push_back({f_.guest(g.id, {.first = first, .last = last, .title = title}), 0});
      }
      sum_.guests += static_cast<int>(p.size());
      ++sum_.groups;
      groups.push_back(g);
      return g.id;
    };
    // Only an e-mail address, no category.
    add({.label = "Dr. Zoë Ødegård-Łukaszewicz", .category = "", .email = "zoe.odegard@example.no"},
        {{"Dr.", "Zoë", "Ødegård-Łukaszewicz"}}, "Zoë");
    // A long name that wraps, blank address parts, a phone of blanks and one with leading blanks.
    long id = add({.label = "The Honorable Maximilian Alexander Fitzgerald-Worthington III and "
                            "Dr. Anastasia Konstantinovna Worthington",
                   .category = "Groom's Family",
                   .address = "1 Lakeshore Drive",
                   .hPhone = "x",
                   .mPhone = "  (312) 555-0100"},
                  {{"The Honorable", "Maximilian", "Fitzgerald-Worthington"},
                   {"Dr.", "Anastasia", "Worthington"}},
                  "Max and Ana");
    f_.set("GroupIDs", id, "HPhone", Variant("   "));
    f_.set("GroupIDs", id, "City", Variant("  "));
    // Accents throughout.
    add({.label = "Señor José Núñez and Señora Renée Núñez",
         .category = "Bride's Family",
         .address = "Avenida Chapultepec 480",
         .city = "Guadalajara",
         .postalCode = "44100",
         .country = "Mexico",
         .hPhone = "+52 33 5555 0123",
         .notes = "Speaks Spanish; seat near the García family."},
        {{"Señor", "José", "Núñez"}, {"Señora", "Renée", "Núñez"}}, "José and Renée");
  }

  void invite(const Group& g, const Party& p, bool rsvpd, bool attending, long menuParty = 0) {
    InvitationSpec inv;
    inv.formalLabel = g.formal;
    inv.casualLabel = g.casual;
    inv.rsvpd = rsvpd;
    if (rsvpd && !attending) inv.rsvpNote = "Regrets: travelling that weekend.";
    if (g.outOfTown && p.name != "Farewell Brunch" && (!scale_ || scale_->travels(p.id))) {
      inv.hotel = r_.chance(70) ? "Lakeview Grand Hotel" : "Hotel Ambassador";
      inv.checkIn = date(2027, 6, 11);
      inv.checkOut = date(2027, 6, 13 + r_.below(2));
      if (r_.chance(30)) inv.accNote = "Late check-in requested.";
      inv.aDate = date(2027, 6, 10 + r_.below(2));
      inv.aTime = time(8 + r_.below(12), r_.chance(50) ? 0 : 30);
      inv.aLocation = r_.chance(60) ? "O'Hare International (ORD)" : "Union Station";
      inv.aCarrier = r_.chance(60) ? "United Airlines" : "Amtrak";
      inv.aCarrierNo = std::to_string(100 + r_.below(2900));
      inv.pickup = r_.chance(50);
      inv.dDate = date(2027, 6, 13 + r_.below(2));
      inv.dTime = time(9 + r_.below(10), r_.chance(50) ? 15 : 45);
      inv.dLocation = inv.aLocation;
      inv.dCarrier = inv.aCarrier;
      inv.dCarrierNo = std::to_string(100 + r_.below(2900));
      inv.dropOff = r_.chance(50);
    }
    long pg = f_.invitation(p.id, g.id, inv);
    if (!inv.hotel.empty()) {
      f_.hotelRoom(pg, g.guests.size() > 2 ? "Double Queen Suite" : "King Room", 1 + r_.below(3),
                   !r_.chance(10));
      if (g.guests.size() > 3) f_.hotelRoom(pg, "Adjoining Twin", 2, true);
    }
    partyGroups_.push_back({p.id, pg, g});
    for (size_t i = 0; i < g.guests.size(); ++i) {
      InviteeSpec s;
      s.primary = i == 0;
      s.attending = rsvpd ? attending && !(i > 0 && r_.chance(5)) : r_.chance(50);
      if (menuParty == p.id && s.attending && !menus_.empty()) {
        // Children get the children's plate; about one guest in ten has not chosen.
        if (g.guests[i].type == 2)
          s.menuId = menus_.back();
        else if (!r_.chance(10))
          s.menuId = menus_[static_cast<size_t>(r_.below(static_cast<int>(menus_.size()) - 1))];
      }
      if (scale_) scale_->place(p.id, g.guests[i].type == 2, s);
      f_.invite(g.guests[i].id, p.id, s);
      if (s.attending) attendees_[p.id].push_back(g.guests[i].id);
    }
  }

  void wedding() {
    long e = f_.event({.name = "The Smith - García Wedding",
                       .type = "Wedding",
                       .status = "Contracted",
                       .budget = money(48500),
                       .start = date(2027, 6, 11),
                       .end = date(2027, 6, 13),
                       .printJournal = true});
    sum_.weddingEventId = e;
    Party rehearsal{f_.party(e, {.name = "Rehearsal Dinner",
                                 .date = date(2027, 6, 11),
                                 .time = time(19, 0),
                                 .givenBy = "Mr. and Mrs. Robert García",
                                 .address = "Trattoria Roma, 1220 Wells Street",
                                 .city = "Chicago",
                                 .state = "IL",
                                 .postalCode = "60610",
                                 .notes = "Private room upstairs. Family-style menu.",
                                 .style = "Casual",
                                 .foodService = "Family style",
                                 .estGuests = 40}),
                    "Rehearsal Dinner"};
    Party ceremony{f_.party(e, {.name = "Ceremony",
                                .date = date(2027, 6, 12),
                                .time = time(15, 30),
                                .givenBy = "The Smith and García Families",
                                .address = "St. Clement Church, 642 W. Deming Place",
                                .city = "Chicago",
                                .state = "IL",
                                .postalCode = "60614",
                                .style = "Formal",
                                .estGuests = 150}),
                   "Ceremony"};
    Party reception{f_.party(e, {.name = "Reception",
                                 .date = date(2027, 6, 12),
                                 .time = time(18, 0),
                                 .givenBy = "Mr. and Mrs. James Smith",
                                 .address = "Lakeview Grand Ballroom, 1 Lakeshore Drive",
                                 .city = "Chicago",
                                 .state = "IL",
                                 .postalCode = "60611",
                                 .country = "USA",
                                 .notes = "Cocktails on the terrace at 6, dinner at 7:30. "
                                          "Valet parking at the north entrance.",
                                 .style = "Black tie optional",
                                 .theme = "Garden romance",
                                 .colors = "Ivory, sage and gold",
                                 .foodService = "Plated dinner",
                                 .estGuests = 150,
                                 .menuSelectionRequired = true}),
                    "Reception"};
    Party brunch{f_.party(e, {.name = "Farewell Brunch",
                              .date = date(2027, 6, 13),
                              .time = time(10, 30),
                              .givenBy = "Ms. Linda Smith",
                              .address = "Smith residence",
                              .estGuests = 60}),
                 "Farewell Brunch"};
    sum_.receptionPartyId = reception.id;
    sum_.parties += 4;

    for (const char* m : {"Filet Mignon", "Grilled Salmon", "Wild Mushroom Risotto"})
      menus_.push_back(f_.menu(reception.id, m));
    menus_.push_back(f_.menu(reception.id, "Children's Plate"));
    if (scale_)
      sum_.parties +=
          scale_->addParties(e, rehearsal.id, ceremony.id, reception.id, brunch.id, menus_);

    const std::array<const char*, 5> cats = {"Bride's Family", "Groom's Family", "Bride's Friends",
                                             "Groom's Friends", "Coworkers"};
    std::vector<Group> groups;
    awkwardGroups(e, groups);
    int target = std::max(10, o_.guests);
    for (int i = 0; sum_.guests < target; ++i) {
      std::string cat = cats[static_cast<size_t>(i % 5)];
      groups.push_back(makeGroup(e, cat, cat.find("Family") != std::string::npos));
    }
    // Roles for the wedding party.
    const std::array<const char*, 6> roles = {"Maid of Honor", "Best Man",    "Bridesmaid",
                                              "Groomsman",     "Flower Girl", "Officiant"};
    for (size_t i = 0; i < roles.size() && i + 3 < groups.size(); ++i) {
      const Group& g = groups[i + 3];
      long role = f_.insert("EventRoles", {{"Role", Variant(roles[i])}});
      f_.set("GuestNames", g.guests[0].id, "RoleID", Variant(static_cast<int>(role)));
    }
    // A reader from the group with neither a category nor a street address.
    const long reader = f_.insert("EventRoles", {{"Role", Variant("Reader")}});
    f_.set("GuestNames", groups[0].guests[0].id, "RoleID", Variant(static_cast<int>(reader)));

    for (size_t i = 0; scale_ && i < groups.size(); ++i) {
      const bool rsvpd = !r_.chance(12), attending = !r_.chance(10);
      for (const auto& p : scale_->partiesFor(groups[i].family))
        invite(groups[i], {p.id, p.name}, rsvpd, attending && !r_.chance(5), reception.id);
    }
    for (size_t i = 0; !scale_ && i < groups.size(); ++i) {
      const Group& g = groups[i];
      bool rsvpd = !r_.chance(12);
      bool attending = !r_.chance(10);
      if (g.family || i < 3) invite(g, rehearsal, true, true);
      invite(g, ceremony, rsvpd, attending);
      invite(g, reception, rsvpd, attending, reception.id);
      if (g.outOfTown && r_.chance(60)) invite(g, brunch, r_.chance(70), true);
    }
    travelVariety(reception, groups);
    if (!scale_) seatReception(reception);
    roomPlan(rehearsal);
    timelines(ceremony, reception);
    journal(e);
    checklist(e);
    (void)brunch;
  }

  // Travel that is not the usual arrival, hotel and departure, on the three awkward groups'
  // reception invitations: an arrival without a hotel or a departure, a group that drives in
  // (hotel and departure, no arrival), and a hotel stay with no rooms booked yet.
  void travelVariety(const Party& reception, const std::vector<Group>& groups) {
    auto invitation = [&](const Group& g) {
      for (const auto& pg : partyGroups_)
        if (pg.partyId == reception.id && pg.group.id == g.id)
          return std::to_string(pg.partyGroupId);
      throw std::logic_error("demo: group not invited to the reception");
    };
    const std::string arrivalOnly = invitation(groups[0]);
    f_.exec(
        "UPDATE PartyDetails SET Hotel = NULL, CheckInDate = NULL, CheckOutDate = NULL, "
        "AccNote = NULL, DDate = NULL, DTime = NULL, DLocation = NULL, DCarrier = NULL, "
        "DCarrierNo = NULL, DropOff = 0, Pickup = -1 WHERE PartyGroupID = " +
        arrivalOnly);
    f_.exec("DELETE FROM HotelRooms WHERE PartyGroupID = " + arrivalOnly);
    const std::string noRooms = invitation(groups[1]);
    f_.exec(
        "UPDATE PartyDetails SET AccNote = 'Suite on hold until the block is confirmed; "
        "rooms to be booked by the couple.' WHERE PartyGroupID = " +
        noRooms);
    f_.exec("DELETE FROM HotelRooms WHERE PartyGroupID = " + noRooms);
    f_.exec(
        "UPDATE PartyDetails SET ADate = NULL, ATime = NULL, ALocation = NULL, ACarrier = "
        "NULL, ACarrierNo = NULL, Pickup = 0, DLocation = 'By car', DCarrier = NULL, "
        "DCarrierNo = NULL, DropOff = 0 WHERE PartyGroupID = " +
        invitation(groups[2]));
  }

  // Tables of ten; some attending guests stay unseated and the last table stays empty.
  void seatReception(const Party& p) {
    const auto& people = attendees_[p.id];
    int tables = std::max(2, static_cast<int>(people.size() / 9) + 1);
    std::vector<long> ids;
    ids.push_back(f_.table(p.id, "Head Table", 12));
    for (int t = 1; t < tables; ++t)
      ids.push_back(f_.table(p.id, "Table " + std::to_string(t), 10));
    f_.table(p.id, "Table " + std::to_string(tables) + " (overflow)", 8);
    size_t seatIdx = 0;
    for (size_t i = 0; i < people.size(); ++i) {
      if (i % 17 == 16) continue;  // left unseated
      long table = ids[std::min(seatIdx / 9, ids.size() - 1)];
      int seat = static_cast<int>(seatIdx % 9) + 1;
      f_.exec("UPDATE Invitees SET TableID = " + std::to_string(table) +
              ", Seat = " + std::to_string(seat) + " WHERE GuestID = " + std::to_string(people[i]) +
              " AND +PartyID = " + std::to_string(p.id));  // by the guest's index
      ++seatIdx;
    }
  }

  // Two rooms: a long family table and round tables upstairs, a high-top and a long table on
  // the terrace. The last chair of each round table stays free, every ninth attending guest has
  // no chair, and the first guest also holds a chair at the high-top (on the plan twice).
  void roomPlan(const Party& p) {
    const auto& people = attendees_[p.id];
    std::vector<long> menus;
    for (const char* m : {"Osso Buco", "Chicken Piccata", "Eggplant Parmigiana"})
      menus.push_back(f_.menu(p.id, m));
    std::vector<long> seated;
    for (size_t i = 0; i < people.size(); ++i) {
      f_.exec("UPDATE Invitees SET MenuID = " + std::to_string(menus[i % menus.size()]) +
              " WHERE GuestID = " + std::to_string(people[i]) +
              " AND +PartyID = " + std::to_string(p.id));
      if (i % 9 != 8) seated.push_back(people[i]);
    }
    size_t k = 0;
    auto next = [&] { return k < seated.size() ? seated[k++] : 0L; };
    long upstairs = f_.room(p.id, "Upstairs Dining Room");
    long family = f_.roomObject(upstairs, "Family Table", 1, 10);
    for (int c = 1; c <= 10; ++c) f_.chair(family, c, next());
    // Enough rounds that the long table takes the rest (up to its twelve chairs).
    const int rest = static_cast<int>(seated.size()) - 10 - 12;
    const int rounds = std::max(2, (rest + 6) / 7);
    for (int o = 1; o <= rounds; ++o) {
      long round = f_.roomObject(upstairs, "Round " + std::to_string(o), o + 1, 8);
      for (int c = 1; c <= 8; ++c) f_.chair(round, c, c < 8 ? next() : 0);
    }
    long terrace = f_.room(p.id, "Terrace");
    long highTop = f_.roomObject(terrace, "High-top", 1, 4);
    for (int c = 1; c <= 4; ++c) f_.chair(highTop, c, c == 1 && !seated.empty() ? seated[0] : 0);
    long longTable = f_.roomObject(terrace, "Long Table", 2, 12);
    for (int c = 1; c <= 12; ++c) f_.chair(longTable, c, next());
  }

  void timelines(const Party& ceremony, const Party& reception) {
    f_.stage(ceremony.id, 1, time(15, 0), "Prelude", "Canon in D", "String Quartet");
    f_.stage(ceremony.id, 2, time(15, 30), "Processional", "A Thousand Years", "String Quartet");
    f_.stage(ceremony.id, 3, time(15, 35), "Readings", "", "Zoë Ødegård",
             "1 Corinthians 13 and a poem by Pablo Neruda");
    f_.stage(ceremony.id, 4, time(16, 0), "Recessional", "Signed, Sealed, Delivered",
             "String Quartet");
    f_.stage(reception.id, 1, time(18, 0), "Cocktail hour", "", "Jazz trio");
    f_.stage(reception.id, 2, time(19, 15), "Grand entrance", "September", "DJ Marco");
    f_.stage(reception.id, 3, time(19, 30), "Dinner served");
    f_.stage(reception.id, 4, time(20, 30), "Toasts", "", "Best Man, Maid of Honor",
             "Keep each toast under five minutes.");
    f_.stage(reception.id, 5, time(20, 45), "First dance", "At Last", "Etta James (recording)");
    f_.stage(reception.id, 6, time(21, 0), "Cake cutting");
    f_.stage(reception.id, 7, time(23, 30), "Last dance", "Don't Stop Believin'", "DJ Marco");
  }

  void journal(long e) {
    f_.journal(e, dateTime(2026, 9, 3, 10, 15),
               "First meeting with the couple. Budget agreed at $48,500.");
    f_.journal(e, dateTime(2026, 10, 12, 14, 0),
               "Site visit at the Lakeview Grand. Ballroom holds 180 seated; terrace for "
               "cocktails if the weather holds.");
    f_.journal(e, date(2026, 11, 20), "Deposits paid to the venue and the caterer.");
    f_.journal(e, date(2027, 1, 8),
               "Tasting at Bella Cucina: salmon preferred over chicken; risotto for the "
               "vegetarian option.");
  }

  void checklist(long e) {
    long c = f_.checklist(e, "Wedding planning");
    f_.checklistItem(c, "Book the venue", true, date(2026, 10, 1), Variant::null(), "Ana");
    f_.checklistItem(c, "Send save-the-dates", true, date(2026, 12, 1), Variant::null(), "Couple");
    f_.checklistItem(c, "Final menu tasting", false, date(2027, 3, 15), time(13, 0), "Ana");
    f_.checklistItem(c, "Confirm seating plan", false, date(2027, 6, 1), Variant::null(), "Ana");
    f_.checklistItem(c, "Pick up the dress", false, date(2027, 6, 5), time(11, 30), "Bride");
  }

  void gala() {
    long e = f_.event({.name = "Northwind Annual Gala",
                       .type = "Corporate",
                       .status = "Planning",
                       .budget = money(30000),
                       .start = date(2027, 11, 5),
                       .end = date(2027, 11, 5)});
    sum_.galaEventId = e;
    Party cocktails{f_.party(e, {.name = "Cocktail Hour",
                                 .date = date(2027, 11, 5),
                                 .time = time(18, 0),
                                 .givenBy = "Northwind Traders",
                                 .address = "Museum of Science, 5700 S. Lake Shore Drive",
                                 .city = "Chicago",
                                 .state = "IL",
                                 .postalCode = "60637"}),
                    "Cocktail Hour"};
    Party dinner{f_.party(e, {.name = "Gala Dinner",
                              .date = date(2027, 11, 5),
                              .time = time(19, 30),
                              .givenBy = "Northwind Traders",
                              .address = "Museum of Science, Rotunda"}),
                 "Gala Dinner"};
    sum_.parties += 2;
    menus_.clear();
    for (const char* m : {"Beef Wellington", "Sea Bass", "Vegan Wellington", "Kids' Menu"})
      menus_.push_back(f_.menu(dinner.id, m));
    int n = std::max(4, o_.guests / 3);
    for (int i = 0, guests = 0; guests < n; ++i) {
      Group g = makeGroup(e, i % 2 ? "Clients" : "Employees", false);
      guests += static_cast<int>(g.guests.size());
      invite(g, cocktails, true, !r_.chance(10));
      invite(g, dinner, !r_.chance(15), !r_.chance(10), dinner.id);
    }
  }

  // ---- Vendors, budget, invoices ----
  void vendorsAndBudget() {
    long e = sum_.weddingEventId;
    long own = f_.vendor({.company = "Galvix Events & Planning",
                          .address = "200 W. Madison Street, Suite 1400",
                          .city = "Chicago",
                          .state = "IL",
                          .postalCode = "60606",
                          .phone = "(312) 555-0142",
                          .fax = "(312) 555-0143",
                          .www = "www.galvix-events.example",
                          .system = 1,
                          .myCompany = true,
                          .reportFooter = "Galvix Events & Planning  ·  (312) 555-0142",
                          .fontName = "Brush Script MT",
                          .fontColor = 0x5A3A8B,  // a deep plum (red in the low byte)
                          .fontItalic = true,
                          .fontBold = false,
                          .fontSize = 11});
    f_.contact(own, {.first = "Ana",
                     .last = "Kowalski",
                     .jobTitle = "Lead Planner",
                     .email = "ana@galvix-events.example",
                     .phone = "(312) 555-0142",
                     .mobile = "(312) 555-0199",
                     .reportOrder = 1});
    if (!o_.logo.empty()) f_.image(own, o_.logo);

    struct Cat {
      const char* name;
      double budget, actual, paid;
      bool vendor;
    };
    const std::array<Cat, 10> cats = {{{"Reception Site", 12000, 12500, 6000, true},
                                       {"Catering", 14000, 15230.5, 5000, true},
                                       {"Flowers", 3500, 0, 0, true},
                                       {"Photography", 4000, 3850, 1000, true},
                                       {"Music", 2500, 2200, 500, true},
                                       {"Cake", 900, 875.25, 200, true},
                                       {"Attire", 4500, 4120, 4120, false},
                                       {"Stationery", 800, 742.8, 742.8, false},
                                       {"Transportation", 1200, 0, 0, true},
                                       {"Favors & Gifts", 600, 0, 0, false}}};
    std::vector<long> catIds;
    for (const auto& c : cats) {
      long id = f_.expenseCategory(c.name);
      catIds.push_back(id);
      f_.budgetLine(e, id,
                    {.suggested = money(c.budget * 1.05),
                     .budget = money(c.budget),
                     .actual = c.actual > 0 ? money(c.actual) : Variant::null(),
                     .paymentsMade = money(c.paid),
                     .vendorRequired = c.vendor});
    }
    long gala = sum_.galaEventId;
    for (size_t i = 0; i < 4; ++i)
      f_.budgetLine(gala, catIds[i],
                    {.budget = money(cats[i].budget * 0.6),
                     .actual = money(cats[i].actual * 0.55),
                     .paymentsMade = money(cats[i].paid * 0.5),
                     .vendorRequired = true});

    for (const char* t : {"Deposit", "Second payment", "Final payment"})
      f_.paymentType(t, t[0] == 'D' ? 1 : t[0] == 'S' ? 2 : 3);

    // The venue: budget worksheet, actual items and an estimate, a schedule and an invoice.
    long venue = vendor("Lakeview Grand Hotel", "Reception Site", catIds[0], 8.25, 18,
                        {"Grace", "Okafor", "Director of Catering"});
    long a = assign(e, catIds[0], venue, 2, true, 8.25, 18);
    f_.item(a, {.item = "Ballroom rental",
                .description = "Saturday evening, 6 pm to midnight",
                .price = money(6500),
                .qty = 1,
                .tax = true});
    f_.item(a, {.item = "Terrace cocktail setup",
                .price = money(1250),
                .qty = 1,
                .tax = true,
                .tip = true});
    f_.item(a, {.item = "Chiavari chairs", .price = money(7.5), .qty = 160, .tax = true});
    schedule(a, {{"Deposit", 6000, date(2026, 11, 15), true},
                 {"Second payment", 3000, date(2027, 3, 1), false},
                 {"Final payment", 3500, date(2027, 6, 1), false}});
    // The budget worksheet: one budgeted line per category.
    for (size_t i = 0; i < cats.size(); ++i) {
      long b = assign(e, catIds[i], own, 0, true, 0, 0);
      f_.item(b, {.item = std::string(cats[i].name) + " (budgeted)",
                  .price = money(cats[i].budget),
                  .qty = 1});
    }

    // Catering: several quotes for the same category (the quote comparison), one selected.
    const std::array<std::pair<const char*, double>, 3> caterers = {
        {{"Bella Cucina Catering", 78.5},
         {"Gourmet Gatherings", 82},
         {"Windy City Feasts", 71.25}}};
    for (size_t i = 0; i < caterers.size(); ++i) {
      long v = vendor(caterers[i].first, "Catering", catIds[1], 10.25, 20,
                      {i == 0 ? "Marco" : "Priya", i == 0 ? "Bellini" : "Shah", "Owner"});
      // The gala compares three catering quotes; the wedding holds the chosen caterer's only.
      long q = assign(i == 0 ? e : sum_.galaEventId, catIds[1], v, 2, i == 0, 10.25, 20);
      if (i == 0) {
        long galaQuote = assign(sum_.galaEventId, catIds[1], v, 2, true, 10.25, 20);
        f_.item(galaQuote, {.item = "Plated dinner",
                            .price = money(caterers[i].second),
                            .qty = 50,
                            .tax = true,
                            .tip = true});
      }
      f_.item(q, {.item = "Plated dinner",
                  .price = money(caterers[i].second),
                  .qty = 150,
                  .tax = true,
                  .tip = true});
      f_.item(q, {.item = "Hors d'oeuvres",
                  .price = money(14 + 2.0 * static_cast<double>(i)),
                  .qty = 150,
                  .tax = true,
                  .tip = true});
      if (i != 2)
        f_.item(q, {.item = "Late-night snack", .price = money(6.5), .qty = 120, .tax = true});
      if (i == 0) {
        long actual = assign(e, catIds[1], v, 1, true, 10.25, 20);
        f_.item(actual, {.item = "Plated dinner",
                         .price = money(78.5),
                         .qty = 148,
                         .tax = true,
                         .tip = true,
                         .paidBy = "Bride's parents"});
        schedule(actual, {{"Deposit", 5000, date(2026, 12, 1), true},
                          {"Final payment", 10230.5, date(2027, 6, 5), false}});
      }
    }
    // Flowers: two florists quoting.
    for (const char* fl : {"Petals & Stems", "Bloom Room Florals"}) {
      long v = vendor(fl, "Flowers", catIds[2], 10.25, 0, {"Lucía", "Fernández", "Designer"});
      long q = assign(fl[0] == 'P' ? e : sum_.galaEventId, catIds[2], v, 2, fl[0] == 'P', 10.25, 0);
      f_.item(q, {.item = "Bridal bouquet",
                  .price = money(fl[0] == 'P' ? 285 : 310),
                  .qty = 1,
                  .tax = true});
      f_.item(
          q,
          {.item = "Centerpieces", .price = money(fl[0] == 'P' ? 95 : 88), .qty = 16, .tax = true});
      f_.item(q, {.item = "Boutonnieres", .price = money(18), .qty = 8, .tax = true});
    }
    long photo = vendor("Søren Lindqvist Photography", "Photography", catIds[3], 0, 0,
                        {"Søren", "Lindqvist", "Photographer"});
    long ph = assign(e, catIds[3], photo, 2, true, 0, 0);
    f_.item(ph, {.item = "Full-day coverage", .price = money(3200), .qty = 1});
    f_.item(ph, {.item = "Engagement session", .price = money(650), .qty = 1});
    schedule(ph, {{"Deposit", 1000, date(2026, 10, 20), true},
                  {"Final payment", 2850, date(2027, 6, 12), false}});
    long dj = vendor("DJ Marco Entertainment", "Music", catIds[4], 0, 15, {"Marco", "Ruiz", "DJ"});
    long dja = assign(e, catIds[4], dj, 2, true, 0, 15);
    f_.item(dja, {.item = "DJ and MC, five hours", .price = money(1900), .qty = 1, .tip = true});
    long cake = vendor("Sweet Layers Bakery", "Cake", catIds[5], 10.25, 0,
                       {"Chloé", "Dubois", "Pastry chef"});
    long ca = assign(e, catIds[5], cake, 2, true, 10.25, 0);
    f_.item(ca, {.item = "Four-tier cake", .price = money(5.25), .qty = 150, .tax = true});
    // Categories without an event professional keep their actual amounts as worksheet lines.
    long boutique = vendor("Maison Blanche Bridal", "Attire", catIds[6], 10.25, 0,
                           {"Renée", "Laurent", "Stylist"});
    long at = assign(e, catIds[6], boutique, 1, true, 10.25, 0);
    f_.item(
        at,
        {.item = "Wedding gown", .price = money(3400), .qty = 1, .tax = true, .paidBy = "Bride"});
    f_.item(at, {.item = "Alterations", .price = money(320), .qty = 1});
    long inv1 = assign(e, catIds[7], own, 1, true, 10.25, 0);
    f_.item(inv1,
            {.item = "Invitations and RSVP cards", .price = money(4.6), .qty = 140, .tax = true});
    vendor("Lakeshore Limousine", "Transportation", catIds[8], 0, 18,
           {"Tom", "Baker", "Dispatcher"});

    // An invoice from the own company to the couple, with its lines and a payment.
    long inv = f_.invoice(e, {.number = "2027-0042",
                              .description = "Planning services, Smith - García Wedding",
                              .note = "Thank you for letting us plan your day!",
                              .createdBy = "Ana Kowalski",
                              .paymentTerms = "Net 30",
                              .billToName = "Emily Smith and Daniel García",
                              .billToAddress = "48 Maple Avenue\r\nEvanston, IL 60201",
                              .billToPhone = "(847) 555-0110",
                              .billToEmail = "emily.daniel@example.com",
                              .date = date(2027, 5, 1),
                              .due = date(2027, 5, 31),
                              .amount = money(5235.3)});
    long ownA = assign(e, catIds[0], own, 1, true, 8.25, 0);
    f_.item(ownA, {.item = "Full planning package",
                   .price = money(4500),
                   .qty = 1,
                   .tax = true,
                   .invoiceId = inv});
    f_.item(ownA, {.item = "Day-of assistant",
                   .description = "Ten hours",
                   .price = money(35),
                   .qty = 10,
                   .invoiceId = inv});
    f_.payment(ownA, {.type = "Deposit",
                      .amount = money(1500),
                      .due = date(2027, 5, 1),
                      .paidOn = date(2027, 5, 3),
                      .paid = true,
                      .invoiceId = inv});
    addVendorDirectory(f_, e, own);
  }

  long vendor(const char* name, const char* category, long catId, double tax, double tip,
              std::array<const char*, 3> person) {
    long v = f_.vendor({.company = name,
                        .address = std::to_string(100 + r_.below(4000)) + " " + r_.pick(kStreets),
                        .city = "Chicago",
                        .state = "IL",
                        .postalCode = "606" + std::to_string(10 + r_.below(80)),
                        .phone = phone(r_),
                        .fax = r_.chance(40) ? phone(r_) : "",
                        .www = "www." + mailName(name) + ".example",
                        .tax = tax,
                        .tip = tip});
    f_.vendorCategory(v, catId);
    long c = f_.contact(v, {.first = person[0],
                            .last = person[1],
                            .jobTitle = person[2],
                            .email = mailName(person[0]) + "@" + mailName(name) + ".example",
                            .phone = phone(r_),
                            .mobile = phone(r_),
                            .reportOrder = 1});
    if (r_.chance(50))
      f_.contact(v, {.first = "Sam",
                     .last = "Reyes",
                     .jobTitle = "Assistant",
                     .phone = phone(r_),
                     .reportOrder = 2});
    contacts_[v] = c;
    (void)category;
    return v;
  }

  long assign(long e, long cat, long vendor, int type, bool selected, double tax, double tip) {
    long c = contacts_.count(vendor) ? contacts_[vendor] : 0;
    return f_.assignment(e, cat, vendor,
                         {.worksheetType = type,
                          .selected = selected,
                          .tax = tax,
                          .tip = tip,
                          .deliveryDate = date(2027, 6, 12),
                          .deliveryTime = time(14, 0),
                          .deliveryAddress = "Lakeview Grand, loading dock B",
                          .notes = "Confirm final count two weeks ahead.",
                          .cancellationPolicy = "Deposit is non-refundable. 50% "
                                                "of the balance is due if "
                                                "cancelled within 60 days.",
                          .primaryContactId = c});
  }

  struct Pay {
    const char* type;
    double amount;
    Variant due;
    bool paid;
  };
  void schedule(long assignment, std::initializer_list<Pay> pays) {
    for (const auto& p : pays)
      f_.payment(assignment, {.type = p.type,
                              .amount = money(p.amount),
                              .due = p.due,
                              .paidOn = p.paid ? p.due : Variant::null(),
                              .paid = p.paid});
  }

  // ---- Labels and stationery ----
  void labelsAndStationery() {
    int n = 0;
    for (const auto& pg : partyGroups_) {
      if (pg.partyId != sum_.receptionPartyId) continue;
      std::string label = pg.group.formal + "\r\n123 Example Street\r\nChicago, IL 60614";
      f_.insert("LabelText", {{"LabelSetupID", Variant(1)},
                              {"Label", Variant(label)},
                              {"Print", Variant(true)},
                              {"Lookup", Variant(pg.group.formal)}});
      f_.insert("EnvelopeText", {{"EnvelopeID", Variant(1)},
                                 {"Label", Variant(label)},
                                 {"Print", Variant(n % 9 != 8)},
                                 {"Lookup", Variant(pg.group.formal)}});
      if (++n >= 24) break;
    }
    long st = f_.insert("StationerySetup",
                        {{"PartyID", Variant(static_cast<int>(sum_.receptionPartyId))}});
    int k = 0;
    for (const auto& pg : partyGroups_) {
      if (pg.partyId != sum_.receptionPartyId) continue;
      std::string ids;
      for (const auto& g : pg.group.guests) ids += (ids.empty() ? "" : ";") + std::to_string(g.id);
      std::string rtf =
          "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Times New Roman;}}{\\colortbl;\\red90\\green58"
          "\\blue139;}\\qc\\f0\\fs36\\cf1 Dear " +
          pg.group.casual +
          ",\\par\\fs24\\cf0 Thank you for celebrating with us.\\par Your table is waiting.}";
      f_.insert("StationeryText", {{"StationeryID", Variant(static_cast<int>(st))},
                                   {"PartyGroupID", Variant(static_cast<int>(pg.partyGroupId))},
                                   {"GuestID", Variant(ids)},
                                   {"Label", Variant(rtf)},
                                   {"Print", Variant(true)}});
      if (++k >= 12) break;
    }
  }

  struct PartyGroup {
    long partyId, partyGroupId;
    Group group;
  };

  Fixture& f_;
  const DemoOptions& o_;
  Rng r_;
  std::unique_ptr<ScaleWedding> scale_;  // null: the classic demo
  DemoSummary sum_;
  std::vector<long> menus_;
  std::map<long, std::vector<long>> attendees_;
  std::map<long, long> contacts_;
  std::vector<PartyGroup> partyGroups_;
};

}  // namespace

DemoSummary writeDemoDatabase(const std::string& path, const DemoOptions& options) {
  namespace fs = std::filesystem;
  fs::path target(path);
  fs::path tmp = target;
  tmp += ".tmp" + std::to_string(::getpid());
  DemoSummary s;
  try {
    Fixture f(tmp.string());
    // A fresh temporary file renamed into place when whole: no journal needed, and a page cache
    // that holds the invitations' indexes keeps the scale database's inserts fast.
    f.exec("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -262144");
    f.exec("BEGIN");
    s = Builder(f, options).build();
    f.exec("COMMIT");
    // Statistics let SQLite pick the selective index for the per-row side queries (a group's
    // guests, not a whole party's invitees); without them large events slow down quadratically.
    f.exec("ANALYZE");
  } catch (...) {
    std::error_code ec;
    fs::remove(tmp, ec);
    throw;
  }
  fs::rename(tmp, target);
  return s;
}

}  // namespace galvix::data
