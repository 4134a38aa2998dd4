// Summary of events: one block per event with its type, budget, dates and status, its client
// contacts and its sub-events. rptEvents and rptEventsWithPic are one designer on one layout;
// the second shows the contacts' pictures.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/events/srptClientContact.h"
#include "reports/events/srptSubEvents.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptEvents);

namespace galvix::reports {
namespace {

// rptEvents' layout under the picture variant's name, so its errors name the right designer.
std::shared_ptr<const engine::Layout> layoutFor(bool withPictures) {
  if (!withPictures) return engine::layouts::rptEvents().layout();
  static const std::shared_ptr<const engine::Layout> renamed = [] {
    auto l = std::make_shared<engine::Layout>(*engine::layouts::rptEvents().layout());
    l->name = "rptEventsWithPic";
    return l;
  }();
  return renamed;
}

class RptEvents : public frame::FrameReport {
 public:
  explicit RptEvents(bool withPictures)
      : FrameReport(layoutFor(withPictures)), withPictures_(withPictures) {
    onFormat("Detail", [this] { formatEvent(); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(false);
    const std::string& cs = data().connectionString();
    contacts_ = std::make_shared<SrptClientContact>(withPictures_);
    subReport("srptContact").setReport(contacts_);
    contacts_->setConnectionString(cs);
    subEvents_ = std::make_shared<SrptSubEvents>();
    subReport("srptSubEvt").setReport(subEvents_);
    subEvents_->setTimeFormat(timeFormat());
    subEvents_->setConnectionString(cs);
    data().setSource(
        "SELECT Events.EventID, Events.EventName, EventTypes.EventType, Events.Budget, "
        "Events.EventStartDate, Events.EventEndDate, EventStatuses.Status FROM EventStatuses "
        "INNER JOIN (EventTypes INNER JOIN Events ON EventTypes.EventTypeID = "
        "Events.EventTypeID) ON EventStatuses.EventStatusID = Events.EventStatusID  " +
        sqlWhere() + " " + sqlOrderBy());
  }

 private:
  void formatEvent() {
    auto& budget = field("txtBudget");
    budget.setText(Format(Variant(budget.text()), "Currency"));
    auto& rs = data().recordset();
    if (!rs.EOF_()) {
      const std::int32_t id = rs.value("EventID").toLong();
      contacts_->setEventID(id);
      subEvents_->setEventID(id);
    }
  }

  bool withPictures_;
  std::shared_ptr<SrptClientContact> contacts_;
  std::shared_ptr<SrptSubEvents> subEvents_;
};

const frame::DesignerRegistration reg("rptEvents",
                                      [] { return std::make_unique<RptEvents>(false); });
const frame::DesignerRegistration regWithPic("rptEventsWithPic",
                                             [] { return std::make_unique<RptEvents>(true); });

}  // namespace
}  // namespace galvix::reports
