#include "cli/selection.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>

#include "cli/command.h"
#include "db/connection.h"
#include "frame/catalogue.h"
#include "runtime/regional.h"

namespace galvix::cli {
namespace {

const char* const kEventKeys[] = {"{EventID}", "{EventName}", "{QuoteEventID}", "{QuoteEventName}"};
const char* const kPartyKeys[] = {"{PartyID}", "{PartyName}", "{RoomPlanPartyID}",
                                  "{RoomPlanPartyName}"};

bool mentions(const std::string& v, const char* const* keys, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (v.find(keys[i]) != std::string::npos) return true;
  return false;
}
bool mentionsEvent(const std::string& v) {
  return mentions(v, kEventKeys, 4);
}
bool mentionsParty(const std::string& v) {
  return mentions(v, kPartyKeys, 4);
}
bool mentionsInvoice(const std::string& v) {
  return v.find("{InvoiceID}") != std::string::npos;
}

std::string lower(std::string s) {
  for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

bool isId(const std::string& s) {
  return !s.empty() &&
         std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

struct Row {
  std::string id, name, eventId;
};

std::vector<Row> rows(const std::string& conn, const std::string& sql) {
  db::Connection c;
  c.open(conn);
  db::Recordset rs;
  rs.open(sql, c);
  std::vector<Row> out;
  for (; !rs.EOF_(); rs.moveNext())
    out.push_back({rs.fields(0).value().toString(), rs.fields(1).value().displayText(),
                   rs.fields(2).value().toString()});
  rs.close();
  return out;
}

std::string listed(const std::vector<Row>& rs) {
  std::string s;
  for (const auto& r : rs) s += "\n  \"" + r.name + "\" (id " + r.id + ")";
  return s;
}

// By id, else by exact name, else by name ignoring case.
Row pick(const std::vector<Row>& candidates, const std::string& wanted, const std::string& what,
         const std::string& option) {
  std::vector<Row> hits;
  if (isId(wanted))
    for (const auto& r : candidates)
      if (r.id == wanted) hits.push_back(r);
  if (hits.empty())
    for (const auto& r : candidates)
      if (r.name == wanted) hits.push_back(r);
  if (hits.empty())
    for (const auto& r : candidates)
      if (lower(r.name) == lower(wanted)) hits.push_back(r);
  if (hits.size() == 1) return hits[0];
  if (hits.empty())
    throw Exit{2, "galvix: " + option + " \"" + wanted + "\": no " + what +
                      " has that name or id; the " + what +
                      " candidates are:" + listed(candidates)};
  throw Exit{2, "galvix: " + option + " \"" + wanted + "\" names " + std::to_string(hits.size()) +
                    " " + what + " records; give the id of one:" + listed(hits)};
}

std::string substitute(std::string v, const std::map<std::string, std::string>& vars) {
  for (const auto& [k, val] : vars)
    for (size_t p = v.find(k); p != std::string::npos; p = v.find(k, p + val.size()))
      v.replace(p, k.size(), val);
  return v;
}

const char* kEvents =
    "SELECT Events.EventID, Events.EventName, Events.EventID FROM Events ORDER BY "
    "Events.EventID";
std::string partiesSql(const std::string& eventId) {
  return "SELECT Parties.PartyID, SubEvents.SubEventName, Parties.EventID FROM Parties INNER "
         "JOIN SubEvents ON Parties.SubEventID = SubEvents.SubEventID" +
         (eventId.empty() ? std::string() : " WHERE Parties.EventID = " + eventId) +
         " ORDER BY Parties.PartyID";
}

}  // namespace

Needs needsOf(const PropertyList& example) {
  Needs n;
  for (const auto& [k, v] : example) {
    n.event = n.event || mentionsEvent(v);
    n.party = n.party || mentionsParty(v);
    n.invoice = n.invoice || mentionsInvoice(v);
  }
  return n;
}

std::string needsText(const Needs& n) {
  std::string s;
  for (auto [on, word] : {std::pair{n.event, "event"}, {n.party, "party"}, {n.invoice, "invoice"}})
    if (on) s += (s.empty() ? "" : ", ") + std::string(word);
  return s;
}

std::vector<std::pair<std::string, std::string>> partiesOf(const std::string& connection,
                                                           const std::string& eventId) {
  std::vector<std::pair<std::string, std::string>> out;
  for (const auto& r : rows(connection, partiesSql(eventId))) out.emplace_back(r.id, r.name);
  return out;
}

std::string eventIdOf(const std::string& connection, const std::string& wanted) {
  const auto events = rows(connection, kEvents);
  if (!wanted.empty()) return pick(events, wanted, "event", "--event").id;
  if (events.size() == 1) return events[0].id;
  throw Exit{2, "galvix: the database holds " + std::to_string(events.size()) +
                    " events; choose one with --event NAME|ID:" + listed(events)};
}

Selection select(const std::string& conn, const frame::CatalogueEntry& entry,
                 const PropertyList& example, const Choices& choices, const PropertyList& sets) {
  auto userSets = [&](const std::string& key) {
    return std::any_of(sets.begin(), sets.end(),
                       [&](const auto& s) { return lower(s.first) == lower(key); });
  };
  // The example's settings the user does not set; what they need chosen.
  PropertyList wanted;
  for (const auto& p : example)
    if (!userSets(p.first)) wanted.push_back(p);
  Needs needs = needsOf(wanted);
  Selection sel;
  const std::string quoted = "\"" + entry.name + "\"";

  // A party clause the user wrote replaces the party choice; the caption naming it goes too.
  if (needs.party && choices.party.empty() && userSets("SQLWhere")) {
    std::erase_if(wanted, [](const auto& p) { return mentionsParty(p.second); });
    needs = needsOf(wanted);
  }
  const Needs asDesigned = needsOf(example);
  if (!asDesigned.event && !asDesigned.party && !asDesigned.invoice) {
    for (const auto& [given, option] : {std::pair{choices.event, "--event"},
                                        {choices.party, "--party"},
                                        {choices.invoice, "--invoice"}})
      if (!given.empty()) sel.notes.push_back("galvix: " + quoted + " does not use " + option);
  }

  std::map<std::string, std::string> vars;
  std::optional<Row> event, party;
  const auto events = rows(conn, kEvents);
  if (!choices.event.empty()) event = pick(events, choices.event, "event", "--event");
  if (!choices.party.empty() && (needs.party || needs.event)) {
    party = pick(rows(conn, partiesSql(event ? event->id : "")), choices.party,
                 event ? "party of \"" + event->name + "\"" : "party", "--party");
    if (!event)
      for (const auto& e : events)
        if (e.id == party->eventId) event = e;
  }
  if (!event && events.size() == 1) event = events[0];
  if (needs.party && !party) {
    std::string list;
    for (const auto& p : rows(conn, partiesSql(event ? event->id : ""))) {
      list += "\n  \"" + p.name + "\" (id " + p.id + ")";
      if (!event)
        for (const auto& e : events)
          if (e.id == p.eventId) list += " of \"" + e.name + "\"";
    }
    throw Exit{2,
               "galvix: " + quoted + " prints one party; choose it with --party NAME|ID:" + list};
  }
  if (needs.event || needs.party || needs.invoice) {
    if (!event)
      throw Exit{2, "galvix: " + quoted + " prints one event's data and the database holds " +
                        std::to_string(events.size()) +
                        "; choose one with --event NAME|ID:" + listed(events)};
  }
  if (event) {
    sel.eventName = event->name;
    for (const char* k : {"{EventID}", "{QuoteEventID}"}) vars[k] = event->id;
    for (const char* k : {"{EventName}", "{QuoteEventName}"}) vars[k] = event->name;
  }
  if (party) {
    for (const char* k : {"{PartyID}", "{RoomPlanPartyID}"}) vars[k] = party->id;
    for (const char* k : {"{PartyName}", "{RoomPlanPartyName}"}) vars[k] = party->name;
  }
  if (needs.invoice) {
    auto invoices = rows(conn,
                         "SELECT Invoices.InvoiceID, Invoices.InvoiceID, Invoices.EventID FROM "
                         "Invoices WHERE Invoices.EventID = " +
                             event->id + " ORDER BY Invoices.InvoiceID");
    if (!choices.invoice.empty()) {
      vars["{InvoiceID}"] =
          pick(invoices, choices.invoice, "invoice of \"" + event->name + "\"", "--invoice").id;
    } else if (invoices.empty()) {
      throw Exit{2, "galvix: \"" + event->name + "\" has no invoices to print"};
    } else {
      vars["{InvoiceID}"] = invoices[0].id;
      if (invoices.size() > 1)
        sel.notes.push_back("galvix: printing invoice " + invoices[0].id + " of " +
                            std::to_string(invoices.size()) + " (choose one with --invoice ID)");
    }
  }

  // The example's order, the user's value in place of the example's; then the user's others.
  for (const auto& p : example) {
    auto s = std::find_if(sets.begin(), sets.end(),
                          [&](const auto& u) { return lower(u.first) == lower(p.first); });
    if (s != sets.end()) {
      sel.properties.push_back(*s);
    } else if (std::find(wanted.begin(), wanted.end(), p) != wanted.end()) {
      sel.properties.emplace_back(p.first, substitute(p.second, vars));
    }
  }
  for (const auto& s : sets)
    if (std::none_of(sel.properties.begin(), sel.properties.end(),
                     [&](const auto& q) { return lower(q.first) == lower(s.first); }))
      sel.properties.push_back(s);
  return sel;
}

// Chooses the regional settings; a name we do not know is the user's mistake, said as such.
void chooseLocale(const std::string& locale) {
  static const std::vector<std::string> known = {"en-US", "en-GB", "de-DE"};
  const char* env = std::getenv("GALVIX_LOCALE");
  const std::string name = !locale.empty() ? locale : env ? env : "";
  if (name.empty()) return;
  try {
    setRegional(name);
  } catch (const std::exception&) {
    throw Exit{2, std::string("galvix: ") + (locale.empty() ? "GALVIX_LOCALE" : "--locale") +
                      " \"" + name + "\" is not a locale galvix knows" + didYouMean(name, known) +
                      "\n(known: en-US, en-GB, de-DE)"};
  }
}

}  // namespace galvix::cli
