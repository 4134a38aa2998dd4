// Guest menu selections: every attending guest of a party with the meal chosen, under a party
// header with its head counts and a meal selection summary subreport.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/common/party_header.h"
#include "reports/guests/srptMenuSelectionsSummary.h"

GALVIX_USE_LAYOUT(rptMenuSelections);

namespace galvix::reports {
namespace {

std::string selectText() {
  return std::string(
             "SELECT Parties.PartyID, SubEvents.SubEventName, Parties.Date, Parties.Time, "
             "Parties.GivenBy, ") +
         kPartyLocationSql +
         "Parties.Style, Parties.FoodService, Parties.Notes, "
         "IIF(Trim(GuestNames.GTitle & '') = '', '',GuestNames.GTitle + ' ') + "
         "IIF(Trim(GuestNames.GFName & '') = '', '',GuestNames.GFName + ' ') + "
         "IIF(Trim(GuestNames.GLName & '') = '', '',GuestNames.GLName + ' ') + "
         "IIF(Trim(GuestNames.GSuffix & '') = '', '',GuestNames.GSuffix) as GuestName, + "
         "IIF(Trim(Menu.MenuItem & '') = '', 'Undecided',Menu.MenuItem) as MenuItem FROM "
         "SubEvents INNER JOIN (Parties INNER JOIN (GuestNames INNER JOIN (Invitees LEFT JOIN "
         "Menu ON (Invitees.MenuID = Menu.MenuID) AND (Invitees.PartyID = Menu.PartyID)) ON "
         "GuestNames.GuestID = Invitees.GuestID) ON Parties.PartyID = Invitees.PartyID) ON "
         "SubEvents.SubEventID = Parties.SubEventID ";
}

class RptMenuSelections : public frame::FrameReport {
 public:
  RptMenuSelections() : FrameReport(engine::layouts::rptMenuSelections()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onFormat("ghPartyName", [this] { formatParty(); });
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(true);
    summary_ = std::make_shared<SrptMenuSelectionsSummary>();
    subReport("srptSummary").setReport(summary_);
    data().setSource(selectText() + sqlWhere() + " and Invitees.Attending=True " +
                     "Order By GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName");
  }

  void onReportEnd() override { subReport("srptSummary").setReport(nullptr); }

 private:
  void formatParty() {
    if (hasRows()) {
      partyId_ = data().recordset().value("PartyID").toLong();
      const std::string id = std::to_string(partyId_);
      field("txtNumInvitees")
          .setText(sideCount("Select Count(1) as NumInvitees from Invitees Where PartyID = " + id +
                                 " and Invitees.Attending=True ",
                             "NumInvitees"));
      const std::string counted =
          " FROM GuestNames INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID WHERE "
          "Invitees.PartyID= " +
          id;
      field("txtAdults")
          .setText(sideCount("SELECT DISTINCTROW Count(Invitees.Attending) AS NumAdults" + counted +
                                 " AND GuestNames.Type<2 and Invitees.Attending=True ",
                             "NumAdults"));
      field("txtChildren")
          .setText(sideCount("SELECT DISTINCTROW Count(Invitees.Attending) AS NumChildren" +
                                 counted + " AND GuestNames.Type=2 and Invitees.Attending=True ",
                             "NumChildren"));
    }
    summary_->setConnectionString(data().connectionString());
    summary_->setPartyID(partyId_);
  }

  std::shared_ptr<SrptMenuSelectionsSummary> summary_;
  std::int32_t partyId_ = 0;
};

const frame::DesignerRegistration reg("rptMenuSelections",
                                      [] { return std::make_unique<RptMenuSelections>(); });

}  // namespace
}  // namespace galvix::reports
