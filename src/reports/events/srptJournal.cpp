#include "reports/events/srptJournal.h"

#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptJournal);

namespace galvix::reports {

SrptJournal::SrptJournal() : engine::Report(engine::layouts::srptJournal()) {}

void SrptJournal::onReportStart() {
  data().setSource("SELECT EntryDate, Entry FROM Journal WHERE EventID = " +
                   std::to_string(eventId_) + " " + sqlOrderBy_);
}

}  // namespace galvix::reports
