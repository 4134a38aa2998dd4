// Demo rows for the budget pie: small budget lines of the wedding, so its pie has slices from
// large to tiny.
#pragma once

#include "data/fixture.h"

namespace galvix::data {

void addSmallBudgetLines(Fixture& f, long weddingEventId);

}  // namespace galvix::data
