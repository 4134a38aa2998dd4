// Sub-event timelines: for each party its running order of stages, with time, song, performer
// and notes, under a header with host, date, time, location and notes.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptMusic);

namespace galvix::reports {
namespace {

class RptMusic : public frame::FrameReport {
 public:
  RptMusic() : FrameReport(engine::layouts::rptMusic()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onBeforePrint("ghPartyName", [this] { formatPartyDateTime(); });
    onBeforePrint("Detail", [this] {
      auto& time = field("txtETime");
      time.setDataValue(Variant(Format(Variant(time.text()), timeFormat())));
    });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(false);
    // The caller's clauses follow the fixed text directly, with no blank between them.
    data().setSource(
        "SELECT DISTINCTROW SubEvents.SubEventName, Parties.GivenBy, Parties.Date, Parties.Time, "
        "+ IIF(Trim(Parties.Address & '') = '', '',Parties.Address + chr(13)) + "
        "IIF(Trim(Parties.City & '') = '', '',Parties.City + ', ') + IIF(Trim(Parties.State & "
        "'') = '', '',Parties.State + '  ') + IIF(Trim(Parties.PostalCode & '') = '', "
        "'',Parties.PostalCode) + IIF(Trim(Parties.Country & '') = '', '', chr(13) + "
        "Parties.Country) as Address, Parties.Notes, StageOfEvents.EventOrder, "
        "StageOfEvents.EventTime, StageOfEvents.StageOfEvent, StageOfEvents.Song, "
        "StageOfEvents.SungBy, StageOfEvents.Notes FROM (SubEvents INNER JOIN Parties ON "
        "SubEvents.SubEventID = Parties.SubEventID) INNER JOIN StageOfEvents ON Parties.PartyID "
        "= StageOfEvents.PartyID " +
        sqlWhere() + sqlOrderBy());
  }
};

const frame::DesignerRegistration reg("rptMusic", [] { return std::make_unique<RptMusic>(); });

}  // namespace
}  // namespace galvix::reports
