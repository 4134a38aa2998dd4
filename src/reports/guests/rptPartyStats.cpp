// Party statistics: one party's details, invitations and replies, and side by side the invited
// and attending guests per category and the meals chosen, each with its totals.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "reports/guests/srptGuestCtgrySummary.h"
#include "reports/guests/srptMenuSelectionsSummary.h"

GALVIX_USE_LAYOUT(rptPartyStats);

namespace galvix::reports {
namespace {

class RptPartyStats : public frame::FrameReport {
 public:
  RptPartyStats() : FrameReport(engine::layouts::rptPartyStats()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] {
      if (hasRows()) partyId_ = data().recordset().value("PartyID").toLong();
    });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onFormat("ghDetail", [this] { formatReplies(); });
    onFormat("Detail", [this] { bindSummaries(); });
    onFormat("gfDetail", [this] { formatTotals(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    data().setSource(
        std::string("SELECT DISTINCTROW Parties.PartyID, SubEvents.SubEventName, "
                    "Parties.GivenBy, Parties.Date, Parties.Time, ") +
        kPartyLocationSql +
        "Parties.Style, Parties.Theme, Parties.Colors, Parties.FoodService, "
        "Parties.MenuSelectionRequired, Parties.Notes FROM SubEvents INNER JOIN Parties ON "
        "SubEvents.SubEventID = Parties.SubEventID " +
        sqlWhere());
  }

  void onReportEnd() override {
    for (const char* s : {"srptInvitedSummary", "srptAttendingSummary", "srptMealSummary"})
      subReport(s).setReport(nullptr);
  }

 private:
  void formatReplies() {
    if (!hasRows()) return;
    field("txtNumInvitations").setText(sideCount(invitationsCountSql(partyId_), "CountOfGroupID"));
    field("txtNumRSVPs").setText(sideCount(rsvpsCountSql(partyId_), "CountOfRSVPs"));
  }

  // Fresh subreports for every party, so each runs its own query.
  void bindSummaries() {
    const std::string& cs = data().connectionString();
    auto invited = std::make_shared<SrptGuestCtgrySummary>();
    invited->setPartyID(partyId_);
    invited->setAttending(false);
    invited->setConnectionString(cs);
    subReport("srptInvitedSummary").setReport(invited);
    auto attending = std::make_shared<SrptGuestCtgrySummary>();
    attending->setPartyID(partyId_);
    attending->setAttending(true);
    attending->setConnectionString(cs);
    subReport("srptAttendingSummary").setReport(attending);
    auto meals = std::make_shared<SrptMenuSelectionsSummary>();
    meals->setPartyID(partyId_);
    meals->setConnectionString(cs);
    subReport("srptMealSummary").setReport(meals);
  }

  void formatTotals() {
    const std::string id = std::to_string(partyId_);
    long invited = 0, attending = 0;
    auto count = [&](const char* fieldName, const std::string& sql, const char* column,
                     long* total) {
      const std::string text = sideCount(sql, column);
      field(fieldName).setText(text);
      if (total) *total += Variant(text).toLong();
    };
    const std::string invitedFrom =
        " FROM GuestNames INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID Where "
        "(((Invitees.PartyID)= " +
        id + ") AND ((GuestNames.Type)";
    count("txtIAdults", "SELECT DISTINCTROW Count(1) AS NumAdults" + invitedFrom + "<2))",
          "NumAdults", &invited);
    count("txtIChildren", "SELECT DISTINCTROW Count(1) AS NumChildren" + invitedFrom + "=2))",
          "NumChildren", &invited);
    count("txtAAdults",
          "SELECT DISTINCTROW Count(Invitees.Attending) AS NumAdults FROM GuestNames INNER JOIN "
          "Invitees ON GuestNames.GuestID = Invitees.GuestID WHERE (((GuestNames.Type)<2)) GROUP "
          "BY Invitees.PartyID,Invitees.Attending HAVING (((Invitees.PartyID)= " +
              id + "))and Invitees.Attending=True ",
          "NumAdults", &attending);
    count("txtAChildren",
          "SELECT DISTINCTROW Count(Invitees.Attending) AS NumChildren FROM GuestNames INNER JOIN "
          "Invitees ON GuestNames.GuestID = Invitees.GuestID GROUP BY Invitees.PartyID,"
          "Invitees.Attending, GuestNames.Type HAVING (((Invitees.PartyID)= " +
              id + ") AND ((GuestNames.Type)=2))and Invitees.Attending=True ",
          "NumChildren", &attending);
    count("txtMTtl",
          "SELECT DISTINCTROW Count(Invitees.MenuID) AS CountOfMenu From Invitees GROUP BY "
          "Invitees.PartyID, Invitees.Attending HAVING (((Invitees.PartyID)= " +
              id + "))and Invitees.Attending=True ",
          "CountOfMenu", nullptr);
    field("txtITtl").setText(std::to_string(invited));
    field("txtATtl").setText(std::to_string(attending));
  }

  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptPartyStats",
                                      [] { return std::make_unique<RptPartyStats>(); });

}  // namespace
}  // namespace galvix::reports
