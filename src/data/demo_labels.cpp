// Demo rows for the labels, envelopes and stationery reports: address texts built from the
// reception's guest groups (as the planning application writes them: name, street, town, each
// on its own line), and a stationery selection of place cards.
#include <string>

#include "data/demo.h"
#include "data/fixture.h"

namespace galvix::data {

void addLabelsDemo(Fixture& f, long receptionPartyId) {
  const std::string party = std::to_string(receptionPartyId);
  // Name, street, "City, ST  ZIP" and country, blank parts left out; CR LF between lines.
  const std::string address =
      "PartyDetails.FormalLabel"
      " || CASE WHEN trim(coalesce(GroupIDs.Address, '')) = '' THEN ''"
      "    ELSE char(13, 10) || GroupIDs.Address END"
      " || CASE WHEN trim(coalesce(GroupIDs.City, '')) = '' THEN '' ELSE char(13, 10) ||"
      "    GroupIDs.City || coalesce(', ' || nullif(GroupIDs.State, ''), '') ||"
      "    coalesce('  ' || nullif(GroupIDs.PostalCode, ''), '') END"
      " || CASE WHEN trim(coalesce(GroupIDs.Country, '')) = '' THEN ''"
      "    ELSE char(13, 10) || GroupIDs.Country END";
  const std::string groups =
      " FROM PartyDetails JOIN GroupIDs ON GroupIDs.GroupID = PartyDetails.GroupID"
      " WHERE PartyDetails.PartyID = " +
      party + " AND trim(coalesce(PartyDetails.FormalLabel, '')) <> ''";
  // Label setup 2: every invited group of the reception, in name order.
  f.exec("INSERT INTO LabelText (LabelSetupID, Label, Print, Lookup) SELECT 2, " + address +
         ", -1, PartyDetails.FormalLabel" + groups);
  // Envelope 2: the first eight groups.
  f.exec("INSERT INTO EnvelopeText (EnvelopeID, Label, Print, Lookup) SELECT 2, " + address +
         ", -1, PartyDetails.FormalLabel" + groups + " ORDER BY PartyDetails.PartyGroupID LIMIT 8");

  // Place cards: one per seated group, its guests' identifiers joined by ";" so that the card
  // lists each guest's table, seat and meal.
  const long st =
      f.insert("StationerySetup", {{"PartyID", Variant(static_cast<int>(receptionPartyId))}});
  f.exec(
      "INSERT INTO StationeryText (StationeryID, PartyGroupID, GuestID, Label, Print)"
      " SELECT " +
      std::to_string(st) +
      ", PartyDetails.PartyGroupID,"
      " (SELECT group_concat(GuestNames.GuestID, ';') FROM GuestNames JOIN Invitees ON"
      "   Invitees.GuestID = GuestNames.GuestID AND Invitees.PartyID = PartyDetails.PartyID"
      "   WHERE GuestNames.GroupID = PartyDetails.GroupID),"
      " PartyDetails.FormalLabel, -1" +
      groups +
      " AND EXISTS (SELECT 1 FROM Invitees JOIN GuestNames ON GuestNames.GuestID ="
      "   Invitees.GuestID WHERE GuestNames.GroupID = PartyDetails.GroupID AND"
      "   Invitees.PartyID = PartyDetails.PartyID AND Invitees.TableID > 0)"
      " ORDER BY PartyDetails.PartyGroupID LIMIT 11");
  // A card whose name runs over two lines, as a couple's card is often written.
  f.insert("StationeryText",
           {{"StationeryID", Variant(static_cast<int>(st))},
            {"PartyGroupID", Variant(0)},
            {"GuestID", Variant(std::string())},
            {"Label", Variant(std::string("Dr. Zoë Ødegård\r\nand Señor José Núñez"))},
            {"Print", Variant(true)}});
  // Not chosen for printing.
  f.insert("StationeryText", {{"StationeryID", Variant(static_cast<int>(st))},
                              {"PartyGroupID", Variant(0)},
                              {"Label", Variant(std::string("Not printed"))},
                              {"Print", Variant(false)}});
}

}  // namespace galvix::data
