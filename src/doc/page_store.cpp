#include "doc/page_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace galvix::doc {

namespace {

// Each item's fields, in the order they are packed: one list for packing and unpacking, so the
// two cannot disagree. `A` is a Packer (fields read) or an Unpacker (fields written).
template <class A, class T>
void fields(A& a, T& t) {
  using V = std::remove_const_t<T>;
  if constexpr (std::is_same_v<V, Text>) {
    a(t.box), a(t.text), a(t.font), a(t.foreColor), a(t.backColor), a(t.align), a(t.valign),
        a(t.angle), a(t.wordWrap), a(t.border);
  } else if constexpr (std::is_same_v<V, RichText>) {
    a(t.box), a(t.rtf), a(t.backColor), a(t.border);
  } else if constexpr (std::is_same_v<V, Line>) {
    a(t.x1), a(t.y1), a(t.x2), a(t.y2), a(t.style), a(t.weight), a(t.color);
  } else if constexpr (std::is_same_v<V, Box>) {
    a(t.box), a(t.shape), a(t.fill), a(t.style), a(t.weight), a(t.lineColor);
  } else if constexpr (std::is_same_v<V, CheckBox>) {
    a(t.box), a(t.checked), a(t.caption), a(t.font), a(t.foreColor), a(t.align);
  } else if constexpr (std::is_same_v<V, Picture>) {
    a(t.box), a(t.data), a(t.sizeMode), a(t.border);
  } else if constexpr (std::is_same_v<V, Path>) {
    a(t.box), a(t.ops), a(t.points), a(t.fill), a(t.fillTo), a(t.style), a(t.weight),
        a(t.lineColor);
  } else if constexpr (std::is_same_v<V, Rect>) {
    a(t.left), a(t.top), a(t.width), a(t.height);
  } else if constexpr (std::is_same_v<V, Border>) {
    a(t.left), a(t.top), a(t.right), a(t.bottom), a(t.color), a(t.weight);
  } else if constexpr (std::is_same_v<V, PathPoint>) {
    a(t.x), a(t.y);
  }
}

// An empty item content of the variant's alternative `kind` (as packed by its index).
template <std::size_t... K>
decltype(Item::content) contentOf(std::size_t kind, std::index_sequence<K...>) {
  decltype(Item::content) c;
  if (!((kind == K ? (c.emplace<K>(), true) : false) || ...))
    throw std::runtime_error("a packed page holds an unknown item");
  return c;
}
decltype(Item::content) contentOfKind(std::size_t kind) {
  return contentOf(kind, std::make_index_sequence<std::variant_size_v<decltype(Item::content)>>{});
}

}  // namespace

// Fixed-size fields in host byte order (the bytes never leave the process); fonts and pictures
// by their index in the store's tables.
class PageStore::Packer {
 public:
  Packer(PageStore& store, std::string& out) : store_(store), out_(out) {}
  template <class T>
  void operator()(const T& v) {
    if constexpr (std::is_enum_v<T> || std::is_same_v<T, bool>) {
      raw(static_cast<std::uint8_t>(v));
    } else if constexpr (std::is_arithmetic_v<T>) {
      raw(v);
    } else if constexpr (std::is_same_v<T, std::string>) {
      raw(static_cast<std::uint32_t>(v.size()));
      out_.append(v);
    } else if constexpr (std::is_same_v<T, Font>) {
      raw(store_.intern(v));
    } else if constexpr (std::is_same_v<T, std::shared_ptr<const std::vector<std::uint8_t>>>) {
      raw(store_.intern(v));
    } else if constexpr (std::is_same_v<T, std::optional<Color>>) {
      raw(static_cast<std::uint8_t>(v.has_value()));
      if (v) raw(*v);
    } else if constexpr (requires {
                           v.size();
                           v.begin();
                         }) {  // ops, points
      raw(static_cast<std::uint32_t>(v.size()));
      for (const auto& e : v) (*this)(e);
    } else {
      fields(*this, v);
    }
  }
  template <class T>
  void raw(T v) {
    out_.append(reinterpret_cast<const char*>(&v), sizeof v);
  }

 private:
  PageStore& store_;
  std::string& out_;
};

class PageStore::Unpacker {
 public:
  Unpacker(const PageStore& store, const char* p, std::size_t n)
      : store_(store), p_(p), end_(p + n) {}
  template <class T>
  void operator()(T& v) {
    if constexpr (std::is_enum_v<T>) {
      v = static_cast<T>(raw<std::uint8_t>());
    } else if constexpr (std::is_same_v<T, bool>) {
      v = raw<std::uint8_t>() != 0;
    } else if constexpr (std::is_arithmetic_v<T>) {
      v = raw<T>();
    } else if constexpr (std::is_same_v<T, std::string>) {
      const auto n = raw<std::uint32_t>();
      need(n);
      v.assign(p_, n);
      p_ += n;
    } else if constexpr (std::is_same_v<T, Font>) {
      v = store_.fonts_.at(raw<std::uint32_t>());
    } else if constexpr (std::is_same_v<T, std::shared_ptr<const std::vector<std::uint8_t>>>) {
      v = store_.pictures_.at(raw<std::uint32_t>());
    } else if constexpr (std::is_same_v<T, std::optional<Color>>) {
      v.reset();
      if (raw<std::uint8_t>()) v = raw<Color>();
    } else if constexpr (requires { v.resize(0); }) {  // ops, points
      v.resize(raw<std::uint32_t>());
      for (auto& e : v) (*this)(e);
    } else {
      fields(*this, v);
    }
  }
  template <class T>
  T raw() {
    need(sizeof(T));
    T v;
    std::memcpy(&v, p_, sizeof v);
    p_ += sizeof v;
    return v;
  }

 private:
  void need(std::size_t n) const {
    if (static_cast<std::size_t>(end_ - p_) < n)
      throw std::runtime_error("a packed page is cut short");
  }
  const PageStore& store_;
  const char* p_;
  const char* end_;
};

PageStore::PageStore(std::string tempFolder) : tempFolder_(std::move(tempFolder)) {}

PageStore::~PageStore() {
  if (fd_ >= 0) ::close(fd_);
}

std::uint32_t PageStore::intern(const std::string& s) {
  auto it = stringIndex_.find(s);
  if (it != stringIndex_.end()) return it->second;
  const auto i = static_cast<std::uint32_t>(strings_.size());
  strings_.push_back(s);
  stringIndex_.emplace(s, i);
  return i;
}

std::uint32_t PageStore::intern(const Font& f) {
  for (std::size_t i = fonts_.size(); i-- > 0;)
    if (fonts_[i] == f) return static_cast<std::uint32_t>(i);
  fonts_.push_back(f);
  return static_cast<std::uint32_t>(fonts_.size() - 1);
}

std::uint32_t PageStore::intern(const std::shared_ptr<const std::vector<std::uint8_t>>& data) {
  auto [it, added] =
      pictureIndex_.emplace(data.get(), static_cast<std::uint32_t>(pictures_.size()));
  if (added) pictures_.push_back(data);
  return it->second;
}

void PageStore::add(const Page& page) {
  const std::uint64_t start = fileSize_ + buffer_.size();
  Packer w(*this, buffer_);
  w(page.width), w(page.height), w(page.landscape);
  w.raw(static_cast<std::uint32_t>(page.items.size()));
  for (const Item& item : page.items) {
    w.raw(static_cast<std::uint8_t>(item.content.index()));
    w.raw(intern(item.section));
    w.raw(intern(item.control));
    w(item.row);
    std::visit([&](const auto& c) { fields(w, c); }, item.content);
  }
  pages_.push_back({start, fileSize_ + buffer_.size() - start});
  if (buffer_.size() >= kSpillBytes) spill();
}

// Moves the packed bytes to the spill file, made on first use and unlinked at once: it goes
// with the store, or with the process however it ends. Without a file, pages stay in memory.
void PageStore::spill() {
  if (noFile_) return;
  if (fd_ < 0) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path dir = tempFolder_.empty() ? fs::temp_directory_path(ec) : fs::path(tempFolder_);
    std::string name = (dir / "galvix-pages-XXXXXX").string();
    fd_ = ::mkstemp(name.data());
    if (fd_ < 0) {
      noFile_ = true;
      return;
    }
    ::unlink(name.c_str());
  }
  std::size_t done = 0;
  while (done < buffer_.size()) {
    const ssize_t n = ::pwrite(fd_, buffer_.data() + done, buffer_.size() - done,
                               static_cast<off_t>(fileSize_ + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {  // a full disk: what is written stays, the rest stays here
      noFile_ = true;
      break;
    }
    done += static_cast<std::size_t>(n);
  }
  fileSize_ += done;
  buffer_.erase(0, done);
  buffer_.shrink_to_fit();
}

void PageStore::seal() {
  if (fd_ >= 0 && !buffer_.empty()) spill();
  buffer_.shrink_to_fit();
}

void PageStore::setText(std::size_t page, std::size_t item, std::string text) {
  texts_[{page, item}] = std::move(text);
}

void PageStore::read(std::size_t i, Page& out) const {
  const Span& s = pages_.at(i);
  std::string fromFile;
  const char* data = nullptr;
  if (s.offset < fileSize_) {
    fromFile.resize(s.length);
    std::size_t done = 0;
    while (done < s.length) {
      const ssize_t n = ::pread(fd_, fromFile.data() + done, s.length - done,
                                static_cast<off_t>(s.offset + done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0)
        throw std::runtime_error("cannot read page " + std::to_string(i + 1) +
                                 " back from its temporary file: " + std::strerror(errno));
      done += static_cast<std::size_t>(n);
    }
    data = fromFile.data();
  } else {
    data = buffer_.data() + (s.offset - fileSize_);
  }
  Unpacker r(*this, data, s.length);
  r(out.width), r(out.height), r(out.landscape);
  const auto n = r.raw<std::uint32_t>();
  out.items.clear();
  out.items.reserve(n);
  for (std::uint32_t k = 0; k < n; ++k) {
    Item item;
    const auto kind = r.raw<std::uint8_t>();
    item.section = strings_.at(r.raw<std::uint32_t>());
    item.control = strings_.at(r.raw<std::uint32_t>());
    r(item.row);
    item.content = contentOfKind(kind);
    std::visit([&](auto& c) { fields(r, c); }, item.content);
    if (auto* t = std::get_if<Text>(&item.content))
      if (auto it = texts_.find({i, k}); it != texts_.end()) t->text = it->second;
    out.items.push_back(std::move(item));
  }
}

std::size_t Document::pageCount() const {
  std::size_t n = pages.size();
  for (const auto& s : stores) n += s->size();
  return n;
}

const Page& Document::page(std::size_t i, Page& scratch) const {
  if (i < pages.size()) return pages[i];
  i -= pages.size();
  for (const auto& s : stores) {
    if (i < s->size()) {
      s->read(i, scratch);
      return scratch;
    }
    i -= s->size();
  }
  throw std::out_of_range("page " + std::to_string(i + 1) + " is past the document's end");
}

}  // namespace galvix::doc
