// Demo rows for the vendor directory and invoices: vendors with no, one and four contacts, nick
// names and job titles, system vendors, a vendor in two categories, an assignment without
// contacts and one with two, and a second invoice with item and payment lines.
#pragma once

#include "data/fixture.h"

namespace galvix::data {

// `eventId` is the wedding, `ownCompany` the planner's own vendor row.
void addVendorDirectory(Fixture& f, long eventId, long ownCompany);

}  // namespace galvix::data
