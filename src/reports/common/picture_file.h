// Pictures kept in a binary column of the event database, loaded as the image control loads a
// file: the column is copied in fixed-size chunks into a temporary file, the file is read back
// as a picture and removed.
#pragma once

#include <functional>
#include <string_view>

#include "db/connection.h"
#include "engine/controls.h"
#include "galvix/variant.h"

namespace galvix::reports {

inline constexpr long kPictureChunk = 1000;

// Fetches the current row's value of `column` from offset 0 in chunks of kPictureChunk bytes
// (the last one shorter) and hands each to `write` in order. Returns the value's size in bytes.
long copyInChunks(db::Field& column, const std::function<void(const Bytes&)>& write);

// Gives `control` the picture held in `column` of the recordset's current row. Without a row or
// with an empty column it gets `fallback`'s picture, or none. Any failure on the way (a file that
// cannot be written, a value that is no picture) is swallowed and leaves the control as it was.
// The temporary file has a name of its own per load, so reports on several threads never share
// it, and it is gone when the call returns.
void loadPicture(engine::Picture& control, db::Recordset& rs, std::string_view column,
                 const engine::Picture* fallback = nullptr);

// The encoded formats the renderer draws: JPEG, PNG, GIF, BMP.
bool isPictureData(const Bytes& data);

}  // namespace galvix::reports
