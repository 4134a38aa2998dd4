// Demo rows for the money reports: quotes from many caterers on the same items, payments on
// and off invoices, paid and unpaid, and a budget line whose actual is 0.
#pragma once

#include "data/demo.h"
#include "data/fixture.h"

namespace galvix::data {

void addMoneyDemo(Fixture& f, const DemoSummary& s);

}  // namespace galvix::data
