// Guest lists: party by party, every invited guest group with its labels, head count,
// category, contact text and (in the "with notes" entry) its notes.
#include <algorithm>
#include <cctype>

#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/contact_text.h"
#include "reports/common/party_header.h"

GALVIX_USE_LAYOUT(rptGuestList);

namespace galvix::reports {
namespace {

std::string selectText() {
  return std::string(
             "SELECT Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, Parties.Date, "
             "Parties.Time, ") +
         kPartyLocationSql +
         "Parties.Notes, PartyDetails.FormalLabel, PartyDetails.CasualLabel, GroupIDs.HPhone, "
         "GroupIDs.WPhone, GroupIDs.MPhone, GroupIDs.FPhone, GroupIDs.[E-Mail], GroupIDs.Notes, "
         "GuestCategories.Category, PartyDetails.GroupID FROM (SubEvents INNER JOIN (Parties "
         "INNER JOIN (((GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) "
         "INNER JOIN PartyDetails ON GroupIDs.GroupID = PartyDetails.GroupID) INNER JOIN Invitees "
         "ON GuestNames.GuestID = Invitees.GuestID) ON (Parties.PartyID = PartyDetails.PartyID) "
         "AND (Parties.PartyID = Invitees.PartyID)) ON SubEvents.SubEventID = Parties.SubEventID) "
         "LEFT JOIN GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID ";
}

const char* const kCountFrom =
    "FROM (GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) INNER JOIN "
    "Invitees ON GuestNames.GuestID = Invitees.GuestID ";

bool containsNoCase(std::string_view hay, std::string_view needle) {
  auto it = std::search(hay.begin(), hay.end(), needle.begin(), needle.end(), [](char a, char b) {
    return std::toupper(static_cast<unsigned char>(a)) ==
           std::toupper(static_cast<unsigned char>(b));
  });
  return it != hay.end();
}

std::string removeAll(std::string s, std::string_view what) {
  for (size_t p = s.find(what); p != std::string::npos; p = s.find(what, p))
    s.erase(p, what.size());
  return s;
}

class RptGuestList : public frame::FrameReport {
 public:
  RptGuestList() : FrameReport(engine::layouts::rptGuestList()) {
    addProperty("DisplayNotes", [this](const Variant& v) { displayNotes_ = frame::propBool(v); });

    onFormat("ghPartyName", [this] { countParty(); });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onFormat("Detail", [this] { formatGroup(); });
    printDateOn("PageFooter");
    // The party header's BeforePrint formats its own date and time only.
    setHeadersIndependentOfDetails();
  }

  void setDisplayNotes(bool v) { displayNotes_ = v; }

  void onReportStart() override {
    startFrame(true);
    std::string where = sqlWhere();
    where += containsNoCase(where, "WHERE") ? " and Invitees.Primary = True"
                                            : " Where Invitees.Primary = True";
    data().setSource(selectText() + where + " " + sqlOrderBy());
    // The counts run without the parties table, so its prefix goes from the caller's clause.
    mutableSqlWhere() = removeAll(sqlWhere(), "Parties.");
  }

 private:
  void countParty() {
    partyId_ = fieldLong("txtPartyID");
    field("txtNumInvitees")
        .setText(sideCount(std::string("Select Count(1) as NumGuests ") + kCountFrom + sqlWhere(),
                           "NumGuests"));
    field("txtAdults")
        .setText(
            sideCount(std::string("SELECT DISTINCTROW Count(Invitees.Attending) AS NumAdults ") +
                          kCountFrom + sqlWhere() + " and GuestNames.Type < 2",
                      "NumAdults"));
    field("txtChildren")
        .setText(
            sideCount(std::string("SELECT DISTINCTROW Count(Invitees.Attending) AS NumChildren ") +
                          kCountFrom + sqlWhere() + " and GuestNames.Type = 2",
                      "NumChildren"));
  }

  void formatGroup() {
    auto& rs = data().recordset();
    if (!hasRows()) return;
    field("txtNumber")
        .setText(sideCount("Select Count(1) as NumGuests from GuestNames INNER JOIN Invitees ON "
                           "GuestNames.GuestID = Invitees.GuestID where GroupID = " +
                               std::to_string(fieldLong("txtGroupID")) + " and " +
                               "PartyID = " + std::to_string(partyId_),
                           "NumGuests"));
    field("txtContact")
        .setText(contactText(
            rs, {{"HPhone", "(H) "}, {"WPhone", "(W) "}, {"MPhone", "(M) "}, {"FPhone", "(F) "}},
            {"E-Mail", "(E) "}));
    field("txtGNote").setVisible(displayNotes_);
  }

  bool displayNotes_ = false;
  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptGuestList",
                                      [] { return std::make_unique<RptGuestList>(); });

}  // namespace
}  // namespace galvix::reports
