// Pages packed into a compact byte form as a run finishes them, and unpacked one at a time to be
// drawn. A packed page takes a fifth of its objects' memory or less; past kSpillBytes the packed
// bytes go to an unlinked temporary file, so a run of 20,000 pages holds a few megabytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "galvix/document.h"

namespace galvix::doc {

class PageStore {
 public:
  static constexpr std::size_t kSpillBytes = 8u << 20;

  // `tempFolder`: where the spill file is made (it is unlinked at once); empty: the system's.
  explicit PageStore(std::string tempFolder = {});
  ~PageStore();
  PageStore(const PageStore&) = delete;
  PageStore& operator=(const PageStore&) = delete;

  void add(const Page& page);
  // No more pages: what remains in memory goes to the file too once there is one, and the memory
  // buffer is trimmed (a document joined from many runs keeps many stores).
  void seal();
  std::size_t size() const { return pages_.size(); }
  // A text known only once the run ends (a page total): replaces item `item`'s text on `page`.
  void setText(std::size_t page, std::size_t item, std::string text);
  // Unpacks page `i` into `out`.
  void read(std::size_t i, Page& out) const;
  std::size_t bytesInMemory() const { return buffer_.size(); }
  bool spilled() const { return fd_ >= 0 && fileSize_ > 0; }

 private:
  class Packer;
  class Unpacker;
  std::uint32_t intern(const std::string& s);
  std::uint32_t intern(const Font& f);
  std::uint32_t intern(const std::shared_ptr<const std::vector<std::uint8_t>>& data);
  void spill();

  std::string tempFolder_;
  struct Span {
    std::uint64_t offset = 0, length = 0;
  };
  std::vector<Span> pages_;
  std::string buffer_;  // packed bytes not yet in the file: they start at fileSize_
  std::uint64_t fileSize_ = 0;
  int fd_ = -1;
  bool noFile_ = false;  // making the file failed once: keep everything in memory
  std::vector<std::string> strings_;
  std::map<std::string, std::uint32_t, std::less<>> stringIndex_;
  std::vector<Font> fonts_;
  std::vector<std::shared_ptr<const std::vector<std::uint8_t>>> pictures_;
  std::map<const void*, std::uint32_t> pictureIndex_;
  std::map<std::pair<std::size_t, std::size_t>, std::string> texts_;
};

}  // namespace galvix::doc
