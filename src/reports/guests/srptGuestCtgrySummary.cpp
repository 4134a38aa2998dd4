#include "reports/guests/srptGuestCtgrySummary.h"

#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptGuestCtgrySummary);

namespace galvix::reports {

SrptGuestCtgrySummary::SrptGuestCtgrySummary()
    : engine::Report(engine::layouts::srptGuestCtgrySummary()) {
  onFormat("Detail", [this] {
    auto& category = field("txtGCategory");
    if (category.text().empty()) category.setText("(Not Categorized)");
  });
}

void SrptGuestCtgrySummary::onReportStart() {
  const std::string id = std::to_string(partyId_);
  const std::string tail =
      attending_ ? "GROUP BY GuestCategories.Category, Invitees.Attending, Invitees.PartyID HAVING "
                   "(((Invitees.Attending)=True) AND ((Invitees.PartyID)= " +
                       id + "))"
                 : "GROUP BY GuestCategories.Category, Invitees.PartyID HAVING "
                   "(((Invitees.PartyID)= " +
                       id + "))";
  data().setSource(
      "SELECT DISTINCTROW IIf([GuestCategories].[Category] Is Null,\"No "
      "Category\",[GuestCategories].[Category]) AS Category, Count(GroupIDs.CategoryID) AS "
      "CountOfCategory FROM ((GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = "
      "GuestNames.GroupID) INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) LEFT JOIN "
      "GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID " +
      tail);
}

}  // namespace galvix::reports
