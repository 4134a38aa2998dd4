#include "reports/common/picture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame/host.h"
#include "render/pictures.h"

namespace galvix::reports {
namespace {

std::string why(int err) {
  return std::strerror(err);
}

PictureFileError fileError(const std::string& what, const std::string& path, int err) {
  return PictureFileError(what + " the temporary picture file \"" + path + "\": " + why(err));
}

// Removes `path`, which may not exist.
void removeStale(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) throw fileError("cannot remove", path, errno);
}

// A new file of that name, ours alone: another run that creates it between our removal and our
// creation has its file removed in turn (it reads through its own descriptor).
int createFresh(const std::string& path) {
  for (int attempt = 0;; ++attempt) {
    removeStale(path);
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) return fd;
    if (errno != EEXIST || attempt >= 8) throw fileError("cannot create", path, errno);
  }
}

void writeAll(int fd, const Bytes& b, const std::string& path) {
  std::size_t done = 0;
  while (done < b.size()) {
    ssize_t n = ::write(fd, b.data() + done, b.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw fileError("cannot write", path, errno);
    }
    done += static_cast<std::size_t>(n);
  }
}

Bytes readAll(int fd, const std::string& path) {
  struct stat st {};
  if (::fstat(fd, &st) != 0) throw fileError("cannot read", path, errno);
  Bytes out(static_cast<std::size_t>(st.st_size));
  std::size_t done = 0;
  while (done < out.size()) {
    ssize_t n = ::pread(fd, out.data() + done, out.size() - done, static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw fileError("cannot read", path, errno);
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  out.resize(done);
  return out;
}

// Removes the name only while it is still the file behind `fd`.
void removeOwn(int fd, const std::string& path) {
  struct stat mine {
  }, named{};
  if (::fstat(fd, &mine) == 0 && ::stat(path.c_str(), &named) == 0 && mine.st_dev == named.st_dev &&
      mine.st_ino == named.st_ino)
    ::unlink(path.c_str());
}

}  // namespace

std::string tempPicturePath(std::string_view folder) {
  std::string dir = folder.empty() ? frame::tempFolder() : std::string(folder);
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  if (dir == "/") dir.clear();
  return dir + "/TempPic.jpg";
}

Bytes readPictureThroughFile(db::Field& column, const std::string& path, long chunkSize,
                             const std::function<void(std::size_t)>& onChunk) {
  if (chunkSize <= 0) chunkSize = 1;
  const int fd = createFresh(path);
  try {
    const long size = column.actualSize();
    for (long offset = 0; offset < size; offset += chunkSize) {
      Bytes chunk = column.getChunk(chunkSize);
      writeAll(fd, chunk, path);
      if (onChunk) onChunk(chunk.size());
    }
    Bytes out = size > 0 ? readAll(fd, path) : Bytes{};
    removeOwn(fd, path);
    ::close(fd);
    return out;
  } catch (...) {
    removeOwn(fd, path);
    ::close(fd);
    throw;
  }
}

std::shared_ptr<const Bytes> loadPicture(Bytes bytes, std::string_view column,
                                         const std::shared_ptr<const Bytes>& previous) {
  if (bytes.empty()) return nullptr;
  if (previous && *previous == bytes) return previous;
  if (render::pictureFormat(bytes).empty())
    throw PictureFileError("the picture in column " + std::string(column) + " (" +
                           std::to_string(bytes.size()) +
                           " bytes) is not a JPEG, PNG, GIF or BMP image that can be read");
  return std::make_shared<const Bytes>(std::move(bytes));
}

void loadPictureOrKeep(engine::Picture& control, db::Recordset& rs, std::string_view column,
                       const engine::Picture* fallback,
                       const std::function<void(std::size_t)>& onChunk) {
  try {
    Bytes bytes;
    if (!rs.BOF() && !rs.EOF_())
      bytes = readPictureThroughFile(rs.fields(column), tempPicturePath(""), kContactPictureChunk,
                                     onChunk);
    if (!bytes.empty())
      control.setPicture(loadPicture(std::move(bytes), column));
    else
      control.setPicture(fallback ? fallback->picture() : nullptr);
  } catch (const std::exception&) {
    // A contact without a readable picture prints without one.
  }
}

}  // namespace galvix::reports
