#include "reports/common/picture_file.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "frame/host.h"

namespace galvix::reports {
namespace {

// A file created for one load, removed however the load ends.
class TempPicture {
 public:
  TempPicture() {
    std::string pattern = frame::tempFolder() + "/TempPic-XXXXXX.jpg";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    const int fd = ::mkstemps(buf.data(), 4);
    if (fd < 0) throw std::runtime_error("cannot create a temporary picture file");
    path_ = buf.data();
    file_ = ::fdopen(fd, "wb");
    if (!file_) {
      ::close(fd);
      throw std::runtime_error("cannot write " + path_);
    }
  }
  ~TempPicture() {
    if (file_) std::fclose(file_);
    std::remove(path_.c_str());
  }
  TempPicture(const TempPicture&) = delete;
  TempPicture& operator=(const TempPicture&) = delete;

  void append(const Bytes& b) {
    if (!b.empty() && std::fwrite(b.data(), 1, b.size(), file_) != b.size())
      throw std::runtime_error("cannot write " + path_);
  }
  void close() {
    const int rc = std::fclose(file_);
    file_ = nullptr;
    if (rc != 0) throw std::runtime_error("cannot write " + path_);
  }
  Bytes read() const {
    std::ifstream in(path_, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path_);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::string path_;
  std::FILE* file_ = nullptr;
};

bool startsWith(const Bytes& d, std::initializer_list<std::uint8_t> magic) {
  if (d.size() < magic.size()) return false;
  return std::equal(magic.begin(), magic.end(), d.begin());
}

}  // namespace

bool isPictureData(const Bytes& d) {
  return startsWith(d, {0xFF, 0xD8, 0xFF}) ||                             // JPEG
         startsWith(d, {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}) ||  // PNG
         startsWith(d, {'G', 'I', 'F', '8'}) ||                           // GIF
         startsWith(d, {'B', 'M'});                                       // BMP
}

long copyInChunks(db::Field& column, const std::function<void(const Bytes&)>& write) {
  const long size = column.actualSize();
  for (long offset = 0; offset < size; offset += kPictureChunk)
    write(column.getChunk(kPictureChunk));
  return size;
}

void loadPicture(engine::Picture& control, db::Recordset& rs, std::string_view column,
                 const engine::Picture* fallback) {
  try {
    std::unique_ptr<TempPicture> file;
    long size = 0;
    if (!rs.BOF() && !rs.EOF_()) {
      file = std::make_unique<TempPicture>();
      size = copyInChunks(rs.fields(column), [&](const Bytes& b) { file->append(b); });
      file->close();
    }
    if (size > 0) {
      Bytes data = file->read();
      // What the image control would refuse to load is an error like any other here.
      if (!isPictureData(data)) return;
      control.setPicture(std::move(data));
    } else {
      control.setPicture(fallback ? fallback->picture() : nullptr);
    }
  } catch (const std::exception&) {
    // The procedure ends quietly: a contact without a readable picture prints without one.
  }
}

}  // namespace galvix::reports
