// The demo's event summaries: client contacts (with and without pictures), further events of
// other types and statuses, journals, checklists and party timelines.
#pragma once

#include "data/fixture.h"
#include "galvix/variant.h"

namespace galvix::data {

void addEventSummaries(Fixture& f, long weddingEventId, long galaEventId);

// A head-and-shoulders placeholder portrait as a 24-bit BMP (deterministic, no image library).
// Colours are 0xRRGGBB.
Bytes demoPortrait(std::uint32_t background, std::uint32_t hair, std::uint32_t clothes);

}  // namespace galvix::data
