// Checks on the parts of an Access file that libmdb reads without bounds, made before libmdb
// reads them. Internal to the Access backend; a failed check raises ReadError.
#pragma once

#include <cstddef>

namespace galvix::db::access {

// The property value of a catalog object (the object table's LvProp column, pages joined) as
// libmdb's property parser receives it: "KKD" or "MR2", then blocks that each declare their
// length, holding a list of names (type 0x80) or properties (types 0 to 2) that declare theirs.
// Raises when a length lies outside its block or is too small for the parser to move on (a
// zero length made it loop for ever). `pageSize` bounds where a currency property may lie: the
// parser reads those through the page buffer, not the value. Values that are not KKD or MR2 are
// left alone (libmdb ignores them).
void checkPropertyValue(const unsigned char* p, std::size_t n, std::size_t pageSize);

}  // namespace galvix::db::access
