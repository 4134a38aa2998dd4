#include "reports/events/srptSubEvents.h"

#include "engine/layout_embed.h"
#include "runtime/format.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(srptSubEvents);

namespace galvix::reports {

SrptSubEvents::SrptSubEvents() : engine::Report(engine::layouts::srptSubEvents()) {
  onFormat("Detail", [this] {
    auto& date = field("txtSubEventDate");
    date.setText(Format(date.value(), "General Date"));
    auto& time = field("txtSubEventTime");
    time.setText(Format(time.value(), timeFormat_));
  });
}

void SrptSubEvents::setTimeFormat(const std::string& f) {
  timeFormat_ = vb::Replace(Variant(f), Variant("AP"), Variant("AMPM")).toString();
}

void SrptSubEvents::onReportStart() {
  data().setSource(
      "SELECT SubEvents.SubEventName, Parties.Date, Parties.Time FROM SubEvents INNER JOIN "
      "Parties ON SubEvents.SubEventID = Parties.SubEventID WHERE Parties.EventID = " +
      std::to_string(eventId_));
}

}  // namespace galvix::reports
