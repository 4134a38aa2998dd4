// The demo event database: a realistic wedding and a corporate gala, deterministic for a seed,
// with awkward data on purpose (blank and null parts, long and accented names). With a large
// guest count it is the scale database the benchmarks use.
#pragma once

#include <cstdint>
#include <string>

#include "galvix/variant.h"

namespace galvix::data {

struct DemoOptions {
  int guests = 150;  // wedding guests (the gala adds about a third more)
  std::uint32_t seed = 1;
  Bytes logo;  // the own company's logo (JPEG or PNG); empty: none
};

struct DemoSummary {
  long weddingEventId = 0, galaEventId = 0;
  long receptionPartyId = 0;
  int guests = 0, groups = 0, parties = 0;
};

class Fixture;
// The labels, envelopes and stationery rows (label setup 2, envelope 2, stationery selection 2)
// for the reception's invited groups.
void addLabelsDemo(Fixture& f, long receptionPartyId);

// Writes the database to `path` atomically (a temporary file beside it, then a rename).
DemoSummary writeDemoDatabase(const std::string& path, const DemoOptions& options = {});

}  // namespace galvix::data
