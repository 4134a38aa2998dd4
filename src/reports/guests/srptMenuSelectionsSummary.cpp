#include "reports/guests/srptMenuSelectionsSummary.h"

#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptMenuSelectionsSummary);

namespace galvix::reports {

SrptMenuSelectionsSummary::SrptMenuSelectionsSummary()
    : engine::Report(engine::layouts::srptMenuSelectionsSummary()) {}

void SrptMenuSelectionsSummary::onReportStart() {
  data().setSource(
      "SELECT Menu.MenuItem, Count(Invitees.MenuID) AS CountOfMenu FROM Invitees INNER JOIN "
      "Menu ON (Invitees.PartyID = Menu.PartyID) AND (Invitees.MenuID = Menu.MenuID) GROUP BY "
      "Menu.MenuItem, Invitees.Attending, Invitees.PartyID HAVING (((Invitees.PartyID)= " +
      std::to_string(partyId_) + "))and Invitees.Attending=True ");
}

}  // namespace galvix::reports
