#include "data/demo_scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "data/demo.h"
#include "data/fixture.h"

namespace galvix::data {
namespace {

// Common surnames first (a family is given one of these while it has free first names), with
// accents and a few long ones as real guest lists have.
// clang-format off
const std::array<const char*, 160> kSurnames = {
    "Smith", "García", "Johnson", "Nguyen", "Williams", "Brown", "Müller", "O'Connor", "Kowalski",
    "Rossi", "Jones", "Miller", "Davis", "Martínez", "Anderson", "Taylor", "Thomas", "Moore",
    "Jackson", "Martin", "Lee", "Pérez", "Thompson", "White", "Harris", "Sánchez", "Clark",
    "Ramírez", "Lewis", "Robinson", "Walker", "Young", "Allen", "Nieminen", "Hernández", "Wright",
    "Lopez", "Hill", "Scott", "Green", "Adams", "Baker", "González", "Nelson", "Carter",
    "Mitchell", "Roberts", "Turner", "Phillips", "Campbell", "Parker", "Evans", "Edwards",
    "Collins", "Stewart", "Morris", "Rogers", "Reed", "Cook", "Morgan", "Bell", "Murphy",
    "Bailey", "Rivera", "Cooper", "Richardson", "Cox", "Howard", "Ward", "Torres", "Peterson",
    "Gray", "Ramos", "James", "Watson", "Brooks", "Kelly", "Sanders", "Price", "Bennett", "Wood",
    "Barnes", "Ross", "Henderson", "Coleman", "Jenkins", "Perry", "Powell", "Long", "Patterson",
    "Hughes", "Flores", "Washington", "Butler", "Simmons", "Foster", "Bryant", "Alexander",
    "Russell", "Griffin", "Díaz", "Hayes", "Schmidt", "Schneider", "Fischer", "Weber", "Wagner",
    "Becker", "Hoffmann", "Schäfer", "Koch", "Richter", "Dubois", "Lefèvre", "Moreau", "Laurent",
    "Girard", "Bonnet", "Fontaine", "Rousseau", "Bianchi", "Romano", "Colombo", "Ricci", "Marino",
    "Greco", "Nowak", "Wiśniewski", "Wójcik", "Kamiński", "Lewandowski", "Zieliński", "Jensen",
    "Nielsen", "Hansen", "Pedersen", "Andersen", "Sørensen", "Lindqvist", "Johansson", "Karlsson",
    "Virtanen", "Korhonen", "Mäkinen", "Tanaka", "Suzuki", "Kim", "Park", "Chen", "Wang", "Singh",
    "Patel", "Kumar", "Okafor", "Mensah", "Papadopoulos", "Fitzgerald-Worthington", "Ødegård",
    "Núñez", "Van der Berg"};
const std::array<const char*, 60> kMen = {
    "James", "John", "Robert", "Michael", "William", "David", "José", "Søren", "Łukasz", "Thomas",
    "Daniel", "Matthew", "Anthony", "Mark", "Paul", "Steven", "Andrew", "Joshua", "Kevin",
    "Brian", "George", "Timothy", "Ronald", "Edward", "Jason", "Jeffrey", "Ryan", "Jacob", "Gary",
    "Nicholas", "Eric", "Jonathan", "Stephen", "Larry", "Justin", "Scott", "Brandon", "Benjamin",
    "Samuel", "Gregory", "Alexander", "Patrick", "Frank", "Raymond", "Jack", "Dennis", "Jerry",
    "Tyler", "Aaron", "Henrik", "Matthias", "François", "Giuseppe", "Mateusz", "Kenji", "Rahul",
    "Chinedu", "Nikolaos", "Maximilian Alexander", "Bartholomew"};
const std::array<const char*, 60> kWomen = {
    "Mary", "Patricia", "Jennifer", "Linda", "Elizabeth", "Barbara", "Susan", "Zoë", "Jessica",
    "Sarah", "Karen", "Nancy", "Lisa", "Betty", "Margaret", "Sandra", "Ashley", "Kimberly",
    "Emily", "Donna", "Michelle", "Dorothy", "Carol", "Amanda", "Melissa", "Deborah", "Stephanie",
    "Renée", "Laura", "Chloé", "Rebecca", "Sharon", "Cynthia", "Kathleen", "Amy", "Angela",
    "Helen", "Anna", "Brenda", "Pamela", "Nicole", "Samantha", "Katherine", "Christine", "Rachel",
    "Catherine", "Janet", "Maria", "Heather", "Ingrid", "Annika", "Agnieszka", "Giulia", "Hélène",
    "Yuki", "Priya", "Adaeze", "Eleni", "Anastasia Konstantinovna", "Guadalupe"};
const std::array<const char*, 40> kChildren = {
    "Emma", "Liam", "Olivia", "Noah", "Ava", "Lucas", "Mia", "Ethan", "Léa", "Oscar", "Sophia",
    "Mason", "Isabella", "Logan", "Amelia", "Elijah", "Harper", "Aiden", "Evelyn", "Jackson",
    "Abigail", "Sebastian", "Ella", "Mateo", "Chloe", "Leo", "Aria", "Henry", "Luna", "Owen",
    "Nora", "Felix", "Maëlle", "Jonas", "Freya", "Hugo", "Ines", "Kai", "Zofia", "Théo"};
// clang-format on

template <size_t N>
const char* pick(ScaleRng& r, const std::array<const char*, N>& a) {
  return a[static_cast<size_t>(r.below(static_cast<int>(N)))];
}

std::string key(const std::string& first, const std::string& last) {
  return first + '\x1f' + last;
}

struct PartyPlan {
  const char* name;
  int month, day, hour, minute;
  int share;  // percent of broadly invited groups
  bool seats;
  const char* address;
  std::array<const char*, 4> menus;  // "" ends the list
  bool kids;                         // the last menu is the children's
};

// The further parties, in the order they join as the event grows.
// clang-format off
const std::array<PartyPlan, 7> kExtra = {{
    {"Cocktail Hour", 6, 12, 17, 0, 97, false, "Lakeview Grand Terrace",
     {"Passed hors d'oeuvres", "Raw bar", "Vegetarian crudités", ""}, false},
    {"Welcome Dinner", 6, 10, 19, 0, 95, true, "Harborview Pavilion, 600 E. Grand Avenue",
     {"Braised short rib", "Cedar-plank salmon", "Stuffed portobello", "Kids' pasta"}, true},
    {"After-party", 6, 12, 23, 30, 90, false, "The Violet Hour, 1520 N. Damen Avenue",
     {"Late-night sliders", "Tacos al pastor", "Churros", ""}, false},
    {"Garden Luncheon", 6, 11, 12, 30, 95, true, "Lincoln Park Conservatory",
     {"Niçoise salad", "Chicken paillard", "Spring vegetable tart", "Kids' sandwich"}, true},
    {"Music Night", 6, 10, 21, 30, 93, false, "Harborview Pavilion, upper deck",
     {"Street food stations", "Dessert bar", "", ""}, false},
    {"Beach Bonfire", 6, 11, 21, 0, 90, false, "North Avenue Beach",
     {"S'mores", "Grilled corn", "Hot cider", ""}, false},
    {"Family Picnic", 6, 13, 14, 0, 90, true, "Grant Park, Butler Field",
     {"Barbecue plate", "Grilled vegetables", "Kids' hot dog", ""}, true},
}};
// clang-format on

}  // namespace

bool scaleShape(const DemoOptions& o) {
  return o.guests >= kScaleGuests;
}

NameBook::NameBook(std::uint32_t seed) : r_(seed ^ 0x5EED5EEDu) {}

void NameBook::reserve(const std::string& first, const std::string& last) {
  taken_.insert(key(first, last));
}

std::string NameBook::surname() {
  std::string a = pick(r_, kSurnames), b = pick(r_, kSurnames);
  while (b == a) b = pick(r_, kSurnames);
  return a + "-" + b;
}

// Gives people[from..] first names free with `last` (none repeated within the group); false
// when a few tries find none, leaving the caller to try another surname.
bool NameBook::place(const std::string& last, std::vector<ScalePerson>& people, std::size_t from) {
  std::vector<std::string> chosen;
  for (std::size_t i = from; i < people.size(); ++i) {
    ScalePerson& p = people[i];
    bool found = false;
    for (int attempt = 0; attempt < 8 && !found; ++attempt) {
      const char* first = p.type == 2 ? pick(r_, kChildren)
                          : p.man     ? pick(r_, kMen)
                                      : pick(r_, kWomen);
      const std::string k = key(first, last);
      if (taken_.count(k) || std::find(chosen.begin(), chosen.end(), k) != chosen.end()) continue;
      chosen.push_back(k);
      p.first = first;
      p.last = last;
      found = true;
    }
    if (!found) return false;
  }
  for (auto& k : chosen) taken_.insert(std::move(k));
  return true;
}

std::vector<ScalePerson> NameBook::group(int adults, bool manFirst, int children,
                                         bool ownSurnames) {
  std::vector<ScalePerson> people;
  for (int i = 0; i < adults; ++i) {
    ScalePerson p;
    p.man = (i == 0) == manFirst;
    people.push_back(p);
  }
  for (int i = 0; i < children; ++i) {
    ScalePerson p;
    p.type = 2;
    people.push_back(p);
  }
  auto settle = [&](std::size_t from, std::size_t to) {
    std::vector<ScalePerson> part(people.begin() + static_cast<long>(from),
                                  people.begin() + static_cast<long>(to));
    for (int attempt = 0;; ++attempt) {
      const std::string last = attempt < 4 ? std::string(pick(r_, kSurnames)) : surname();
      if (place(last, part, 0)) break;
    }
    std::copy(part.begin(), part.end(), people.begin() + static_cast<long>(from));
  };
  if (ownSurnames) {
    for (std::size_t i = 0; i < people.size(); ++i) settle(i, i + 1);
  } else {
    settle(0, people.size());
  }
  for (auto& p : people) {
    if (p.type == 2) continue;
    const int t = r_.below(1000);
    p.title = t < 3 ? "The Honorable" : t < 30 ? "Dr." : p.man ? "Mr." : "Ms.";
    if (p.man && r_.chance(3)) p.suffix = r_.chance(50) ? "Jr." : "III";
  }
  return people;
}

ScaleWedding::ScaleWedding(Fixture& f, std::uint32_t seed, int guests)
    : f_(f), r_(seed ^ 0xA11CE5u), names_(seed), guests_(guests) {
  // The client contacts the demo's event summaries add afterwards.
  for (const auto& [first, last] : {std::pair{"Emily", "Smith"},
                                    {"Carlos", "García"},
                                    {"Linda", "Smith"},
                                    {"Daniel", "Okafor"},
                                    {"Olivia", "Harper"},
                                    {"Ben", "Harper"}})
    names_.reserve(first, last);
}

ScaleWedding::~ScaleWedding() = default;

int ScaleWedding::addParties(long eventId, long rehearsal, long ceremony, long reception,
                             long brunch, const std::vector<long>& receptionMenus) {
  // One further party at a thousand guests, two more each time the event doubles.
  const int doublings = static_cast<int>(std::floor(std::log2(guests_ / double(kScaleGuests))));
  const int extra = std::clamp(1 + 2 * doublings, 1, static_cast<int>(kExtra.size()));
  parties_.push_back({.id = rehearsal,
                      .name = "Rehearsal Dinner",
                      .seats = true,
                      .travel = true,
                      .broad = false,
                      .tablePrefix = "Table"});
  // Even the ceremony serves something: the toast after the vows.
  Party cer{.id = ceremony, .name = "Ceremony", .share = 100, .travel = true, .kids = true};
  for (const char* m : {"Champagne toast", "Sparkling cider", "Lemonade"})
    cer.menus.push_back(f_.menu(ceremony, m));
  parties_.push_back(cer);
  parties_.push_back({.id = reception,
                      .name = "Reception",
                      .share = 100,
                      .seats = true,
                      .travel = true,
                      .menus = receptionMenus,
                      .kids = true,
                      .tablePrefix = "Table"});
  Party br{.id = brunch,
           .name = "Farewell Brunch",
           .share = 92,
           .seats = true,
           .kids = true,
           .tablePrefix = "Brunch Table"};
  for (const char* m : {"Eggs Benedict", "Belgian waffles", "Fruit and yogurt", "Kids' pancakes"})
    br.menus.push_back(f_.menu(brunch, m));
  parties_.push_back(br);
  for (int i = 0; i < extra; ++i) {
    const PartyPlan& pp = kExtra[static_cast<size_t>(i)];
    Party p;
    p.id = f_.party(eventId, {.name = pp.name,
                              .date = date(2027, pp.month, pp.day),
                              .time = time(pp.hour, pp.minute),
                              .givenBy = "The Smith and García Families",
                              .address = pp.address,
                              .city = "Chicago",
                              .state = "IL",
                              .estGuests = guests_ * pp.share / 100});
    p.name = pp.name;
    p.share = pp.share;
    p.seats = pp.seats;
    p.kids = pp.kids;
    p.tablePrefix =
        std::string(pp.name).find("Picnic") != std::string::npos ? "Picnic Table" : "Table";
    for (const char* m : pp.menus)
      if (*m) p.menus.push_back(f_.menu(p.id, m));
    parties_.push_back(std::move(p));
  }
  return extra;
}

std::vector<ScaleParty> ScaleWedding::partiesFor(bool family) {
  std::vector<ScaleParty> out;
  // Most groups come to most of the parties; about one in eight only to the ceremony and the
  // reception, and perhaps one more.
  const bool broad = !r_.chance(12);
  const int oneMore = 3 + r_.below(static_cast<int>(parties_.size()) - 3);
  for (size_t i = 0; i < parties_.size(); ++i) {
    const Party& p = parties_[i];
    bool asked;
    if (!p.broad)
      asked = family && r_.chance(25);  // the rehearsal dinner: close family
    else if (p.share >= 100)
      asked = true;
    else
      asked = broad ? r_.chance(p.share) : static_cast<int>(i) == oneMore && r_.chance(50);
    if (asked) out.push_back({p.id, p.name});
  }
  return out;
}

ScaleWedding::Party* ScaleWedding::find(long partyId) {
  for (auto& p : parties_)
    if (p.id == partyId) return &p;
  return nullptr;
}

bool ScaleWedding::travels(long partyId) const {
  for (const auto& p : parties_)
    if (p.id == partyId) return p.travel;
  return false;
}

void ScaleWedding::place(long partyId, bool child, InviteeSpec& s) {
  Party* p = find(partyId);
  if (!p) return;  // the gala's: the classic demo's own
  s.menuId = 0;
  s.tableId = 0;
  s.seat = 0;
  if (!s.attending) return;
  if (!p->menus.empty()) {
    const int adultMenus = static_cast<int>(p->menus.size()) - (p->kids ? 1 : 0);
    if (child && p->kids)
      s.menuId = p->menus.back();
    else if (!r_.chance(4))  // a few have not chosen yet
      s.menuId = p->menus[static_cast<size_t>(r_.below(adultMenus))];
  }
  if (!p->seats) return;
  if (p->seat == p->seatsAtTable) {
    // The reception's first table is the head table; the others seat ten.
    const bool head = p->tableNo == 0 && p->name == "Reception";
    ++p->tableNo;
    p->seatsAtTable = head ? 12 : p->tablePrefix == "Picnic Table" ? 8 : 10;
    p->table = f_.table(
        partyId,
        head ? std::string("Head Table")
             : p->tablePrefix + " " + std::to_string(p->tableNo - (p->name == "Reception")),
        p->seatsAtTable);
    p->seat = 0;
  }
  s.tableId = p->table;
  s.seat = ++p->seat;
}

}  // namespace galvix::data
