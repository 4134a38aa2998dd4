#include "reports/guests/srptRSVPDetail.h"

#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptRSVPDetail);

namespace galvix::reports {

SrptRSVPDetail::SrptRSVPDetail() : engine::Report(engine::layouts::srptRSVPDetail()) {
  onFormat("Detail", [this] {
    auto& rs = data().recordset();
    if (rs.BOF() && rs.EOF_()) return;
    // A name part that is Null leaves the whole name Null: the box then has no caption.
    const Variant name = rs.value("FullName");
    checkBox("chkAttending").setCaption(name.isNull() ? std::string() : name.toString());
  });
}

void SrptRSVPDetail::setSQLWhere(const std::string& s) {
  std::string out;
  const std::string from = "Parties";
  std::size_t at = 0;
  for (std::size_t hit; (hit = s.find(from, at)) != std::string::npos; at = hit + from.size())
    out.append(s, at, hit - at).append("PartyDetails");
  sqlWhere_ = out.append(s, at);
}

void SrptRSVPDetail::onReportStart() {
  // The caller's clause must end in a blank: "and" follows it directly.
  data().setSource(
      "SELECT DISTINCTROW PartyDetails.RSVPd, IIF(Trim(GuestNames.GTitle & '') = '', "
      "'',GuestNames.GTitle + ' ') + IIF(Trim(GuestNames.GFName & '') = '', '',GuestNames.GFName "
      "+ ' ') + IIF(Trim(GuestNames.GLName & '') = '', '',GuestNames.GLName + ' ') + "
      "IIF(Trim(GuestNames.GSuffix & '') = '', '',GuestNames.GSuffix) AS FullName, "
      "Invitees.Attending FROM (((GroupIDs LEFT JOIN GuestCategories ON GroupIDs.CategoryID = "
      "GuestCategories.CategoryID) INNER JOIN GuestNames ON GroupIDs.GroupID = "
      "GuestNames.GroupID) INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID) INNER "
      "JOIN PartyDetails ON GroupIDs.GroupID = PartyDetails.GroupID " +
      sqlWhere_ + "and GuestNames.GroupID = " + std::to_string(groupId_) +
      " and Invitees.PartyID = " + std::to_string(partyId_) +
      " and Invitees.Primary = 0 ORDER BY GuestNames.Type, GuestNames.Age");
}

}  // namespace galvix::reports
