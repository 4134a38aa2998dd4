// The scale shape of the demo wedding: the event a large real one looks like (about ten parties
// over four days, most guests invited to most of them, seating and menus everywhere, every guest
// a name of their own). The demo generator uses it from kScaleGuests wedding guests up.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "data/demo_rng.h"

namespace galvix::data {

class Fixture;
struct DemoOptions;
struct InviteeSpec;

// Below this many wedding guests the demo keeps its classic shape (four parties, names that
// repeat), which tests and sample pages are written against.
inline constexpr int kScaleGuests = 1000;
bool scaleShape(const DemoOptions& options);

// The scale shape's own stream of random numbers.
class ScaleRng : public DemoRng {
 public:
  explicit ScaleRng(std::uint32_t seed) : DemoRng(seed, 2246822519u, 0x85EBCA6Bu) {}
};

struct ScalePerson {
  std::string title, first, last, suffix;
  bool man = false;
  int type = 0;  // 2: a child
};

// Names no other guest of the database has: first and last name together are never repeated
// (so neither is title, first, last and suffix). Common surnames come first; when a surname has
// no free first names left a family takes a double-barrelled one, so large events hold a fair
// share of long names, as the demo's awkward groups do on purpose.
class NameBook {
 public:
  explicit NameBook(std::uint32_t seed);
  // A name given out elsewhere (the demo's fixed groups).
  void reserve(const std::string& first, const std::string& last);
  // The people of one group: `adults` (the first a man when `manFirst`, the second of the other
  // sex), then `children`; all share one surname unless `ownSurnames` (a guest and their plus-one).
  std::vector<ScalePerson> group(int adults, bool manFirst, int children, bool ownSurnames);

 private:
  bool place(const std::string& last, std::vector<ScalePerson>& people, std::size_t from);
  std::string surname();
  ScaleRng r_;
  std::unordered_set<std::string> taken_;  // "first\x1flast"
};

struct ScaleParty {
  long id;
  std::string name;
};

// The wedding's parties beyond the classic four, who is invited to which, and where each
// attending invitee sits and what they eat.
class ScaleWedding {
 public:
  ScaleWedding(Fixture& f, std::uint32_t seed, int guests);
  ~ScaleWedding();

  NameBook& names() { return names_; }

  // Registers the classic parties (made by the demo) and adds the further ones; returns how
  // many it added. `menus` of a party already made are kept (the reception's).
  int addParties(long eventId, long rehearsal, long ceremony, long reception, long brunch,
                 const std::vector<long>& receptionMenus);
  // The parties a group is invited to (the classic four first, then the further ones); some
  // `family` groups come to the rehearsal dinner.
  std::vector<ScaleParty> partiesFor(bool family);
  // Whether an invitation to the party books travel and lodging (the classic parties do).
  bool travels(long partyId) const;
  // Fills in the menu, table and seat of one invitee of a wedding party; children get the
  // children's menu. Leaves other parties' invitees as they are.
  void place(long partyId, bool child, InviteeSpec& s);

 private:
  struct Party {
    long id = 0;
    std::string name;
    int share = 100;  // percent of the broadly invited groups asked
    bool seats = false, travel = false, broad = true;
    std::vector<long> menus;  // the last one the children's, when `kids`
    bool kids = false;
    std::string tablePrefix;
    long table = 0;
    int tableNo = 0, seat = 0, seatsAtTable = 0;
  };
  Party* find(long partyId);
  Fixture& f_;
  ScaleRng r_;
  NameBook names_;
  int guests_;
  std::vector<Party> parties_;  // the classic four, then the further ones
};

}  // namespace galvix::data
