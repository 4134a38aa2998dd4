// Pictures kept in a binary column, read the way the planning application reads them: copied in
// fixed-size chunks into a temporary file, loaded from that file, and the file removed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "db/connection.h"
#include "engine/controls.h"
#include "galvix/variant.h"

namespace galvix::reports {

// A picture that could not be written, read back or decoded; the message names the column
// and the file, and the run adds the report's name.
class PictureFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// "<folder>/TempPic.jpg"; an empty folder means the temporary folder ($TMPDIR or /tmp).
std::string tempPicturePath(std::string_view folder);

// Copies the current row's value of `column` into the file `path` in chunks of `chunkSize`
// bytes (a file already there is removed first), reads the file back and removes it. Returns
// the bytes, empty when the value is Null or empty. `onChunk`, when given, sees each chunk's
// size while the file is still there.
//
// Runs on several threads or processes may share the one file name: each reads back through
// its own descriptor what it wrote, and removes the name only while it is still its own file.
Bytes readPictureThroughFile(db::Field& column, const std::string& path, long chunkSize,
                             const std::function<void(std::size_t)>& onChunk = {});

// The picture as a control takes it. Empty bytes give null (no picture); bytes that are not a
// whole JPEG, PNG, GIF or BMP image raise PictureFileError naming `column`. The same bytes as
// `previous` give `previous` back, so a logo printed on every page is one picture in the file.
std::shared_ptr<const Bytes> loadPicture(Bytes bytes, std::string_view column,
                                         const std::shared_ptr<const Bytes>& previous = {});

// The client contacts' picture load, whose errors end it quietly. The current row's `column` is
// read through tempPicturePath("") in chunks of kContactPictureChunk bytes and, when there are
// bytes, set on `control` through loadPicture. Without a row, or with an empty column, the
// control gets `fallback`'s picture, or none. Any failure (a file that cannot be written, bytes
// that are no picture) leaves the control as it was. `onChunk` is as for readPictureThroughFile.
inline constexpr long kContactPictureChunk = 1000;
void loadPictureOrKeep(engine::Picture& control, db::Recordset& rs, std::string_view column,
                       const engine::Picture* fallback = nullptr,
                       const std::function<void(std::size_t)>& onChunk = {});

}  // namespace galvix::reports
