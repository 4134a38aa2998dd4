// What to print, the way a person names it: an event and a party by name or id, turned into the
// property values each report expects (its own clause shape, in its own order).
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace galvix::frame {
struct CatalogueEntry;
}

namespace galvix::cli {

using PropertyList = std::vector<std::pair<std::string, std::string>>;

// What a report's run needs chosen; read from the catalogue's example settings.
struct Needs {
  bool event = false, party = false, invoice = false;
};
Needs needsOf(const PropertyList& example);
// "event", "event, party", ... or "" (for `galvix list`).
std::string needsText(const Needs& n);

struct Choices {
  std::string event, party, invoice;  // as the user typed them; empty: not given
};

struct Selection {
  PropertyList properties;  // in the order they are to be set
  std::optional<std::string> eventName;
  std::vector<std::string> notes;  // said on stderr (a default that was taken)
};

// The example's settings with the user's choices put in, merged with `sets` (the user's --set,
// which win and keep the example's position, so EventID still comes before SQLWhere). Throws Exit
// 2 when a needed choice is missing, matches nothing or matches more than one thing.
Selection select(const std::string& connection, const frame::CatalogueEntry& entry,
                 const PropertyList& example, const Choices& choices, const PropertyList& sets);

// The event's id: `wanted` by name or id, or the only event when empty; Exit 2 otherwise.
std::string eventIdOf(const std::string& connection, const std::string& wanted);

// The parties of an event (or of every event when `eventId` is empty): id and name.
std::vector<std::pair<std::string, std::string>> partiesOf(const std::string& connection,
                                                           const std::string& eventId);

}  // namespace galvix::cli
