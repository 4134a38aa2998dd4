#include "doc/page_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <type_traits>

namespace galvix::doc {

namespace {

// Fixed-size fields in host byte order (the bytes never leave the process).
class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}
  template <class T>
  void put(T v) {
    static_assert(std::is_trivially_copyable_v<T>);
    out_.append(reinterpret_cast<const char*>(&v), sizeof v);
  }
  void str(const std::string& s) {
    put(static_cast<std::uint32_t>(s.size()));
    out_.append(s);
  }
  void rect(const Rect& r) {
    put(r.left);
    put(r.top);
    put(r.width);
    put(r.height);
  }
  void color(const std::optional<Color>& c) {
    put(static_cast<std::uint8_t>(c.has_value()));
    if (c) put(*c);
  }
  void border(const Border& b) {
    put(static_cast<std::uint8_t>(b.left));
    put(static_cast<std::uint8_t>(b.top));
    put(static_cast<std::uint8_t>(b.right));
    put(static_cast<std::uint8_t>(b.bottom));
    put(b.color);
    put(b.weight);
  }

 private:
  std::string& out_;
};

class Reader {
 public:
  Reader(const char* p, std::size_t n) : p_(p), end_(p + n) {}
  template <class T>
  T get() {
    need(sizeof(T));
    T v;
    std::memcpy(&v, p_, sizeof v);
    p_ += sizeof v;
    return v;
  }
  template <class E>
  E e() {
    return static_cast<E>(get<std::uint8_t>());
  }
  std::string str() {
    const auto n = get<std::uint32_t>();
    need(n);
    std::string s(p_, n);
    p_ += n;
    return s;
  }
  Rect rect() {
    Rect r;
    r.left = get<std::int32_t>();
    r.top = get<std::int32_t>();
    r.width = get<std::int32_t>();
    r.height = get<std::int32_t>();
    return r;
  }
  std::optional<Color> color() {
    if (!get<std::uint8_t>()) return std::nullopt;
    return get<Color>();
  }
  Border border() {
    Border b;
    b.left = e<LineStyle>();
    b.top = e<LineStyle>();
    b.right = e<LineStyle>();
    b.bottom = e<LineStyle>();
    b.color = get<Color>();
    b.weight = get<int>();
    return b;
  }

 private:
  void need(std::size_t n) const {
    if (static_cast<std::size_t>(end_ - p_) < n)
      throw std::runtime_error("a packed page is cut short");
  }
  const char* p_;
  const char* end_;
};

}  // namespace

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
  Writer w(buffer_);
  w.put(page.width);
  w.put(page.height);
  w.put(static_cast<std::uint8_t>(page.landscape));
  w.put(static_cast<std::uint32_t>(page.items.size()));
  for (const Item& item : page.items) {
    w.put(static_cast<std::uint8_t>(item.content.index()));
    w.put(intern(item.section));
    w.put(intern(item.control));
    w.put(item.row);
    std::visit(
        [&](const auto& c) {
          using T = std::decay_t<decltype(c)>;
          if constexpr (std::is_same_v<T, Text>) {
            w.rect(c.box);
            w.str(c.text);
            w.put(intern(c.font));
            w.put(c.foreColor);
            w.color(c.backColor);
            w.put(static_cast<std::uint8_t>(c.align));
            w.put(static_cast<std::uint8_t>(c.valign));
            w.put(c.angle);
            w.put(static_cast<std::uint8_t>(c.wordWrap));
            w.border(c.border);
          } else if constexpr (std::is_same_v<T, RichText>) {
            w.rect(c.box);
            w.str(c.rtf);
            w.color(c.backColor);
            w.border(c.border);
          } else if constexpr (std::is_same_v<T, Line>) {
            w.put(c.x1);
            w.put(c.y1);
            w.put(c.x2);
            w.put(c.y2);
            w.put(static_cast<std::uint8_t>(c.style));
            w.put(c.weight);
            w.put(c.color);
          } else if constexpr (std::is_same_v<T, Box>) {
            w.rect(c.box);
            w.put(static_cast<std::uint8_t>(c.shape));
            w.color(c.fill);
            w.put(static_cast<std::uint8_t>(c.style));
            w.put(c.weight);
            w.put(c.lineColor);
          } else if constexpr (std::is_same_v<T, CheckBox>) {
            w.rect(c.box);
            w.put(static_cast<std::uint8_t>(c.checked));
            w.str(c.caption);
            w.put(intern(c.font));
            w.put(c.foreColor);
            w.put(static_cast<std::uint8_t>(c.align));
          } else if constexpr (std::is_same_v<T, Picture>) {
            w.rect(c.box);
            w.put(intern(c.data));
            w.put(static_cast<std::uint8_t>(c.sizeMode));
            w.border(c.border);
          } else if constexpr (std::is_same_v<T, Path>) {
            w.rect(c.box);
            w.put(static_cast<std::uint32_t>(c.ops.size()));
            for (PathOp op : c.ops) w.put(static_cast<std::uint8_t>(op));
            w.put(static_cast<std::uint32_t>(c.points.size()));
            for (const PathPoint& pt : c.points) {
              w.put(pt.x);
              w.put(pt.y);
            }
            w.color(c.fill);
            w.color(c.fillTo);
            w.put(static_cast<std::uint8_t>(c.style));
            w.put(c.weight);
            w.put(c.lineColor);
          }
        },
        item.content);
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
  Reader r(data, s.length);
  out.width = r.get<std::int32_t>();
  out.height = r.get<std::int32_t>();
  out.landscape = r.get<std::uint8_t>() != 0;
  const auto n = r.get<std::uint32_t>();
  out.items.clear();
  out.items.reserve(n);
  for (std::uint32_t k = 0; k < n; ++k) {
    Item item;
    const auto kind = r.get<std::uint8_t>();
    item.section = strings_.at(r.get<std::uint32_t>());
    item.control = strings_.at(r.get<std::uint32_t>());
    item.row = r.get<std::int32_t>();
    switch (kind) {
      case 0: {
        Text t;
        t.box = r.rect();
        t.text = r.str();
        t.font = fonts_.at(r.get<std::uint32_t>());
        t.foreColor = r.get<Color>();
        t.backColor = r.color();
        t.align = r.e<HAlign>();
        t.valign = r.e<VAlign>();
        t.angle = r.get<int>();
        t.wordWrap = r.get<std::uint8_t>() != 0;
        t.border = r.border();
        if (auto it = texts_.find({i, k}); it != texts_.end()) t.text = it->second;
        item.content = std::move(t);
        break;
      }
      case 1: {
        RichText t;
        t.box = r.rect();
        t.rtf = r.str();
        t.backColor = r.color();
        t.border = r.border();
        item.content = std::move(t);
        break;
      }
      case 2: {
        Line l;
        l.x1 = r.get<std::int32_t>();
        l.y1 = r.get<std::int32_t>();
        l.x2 = r.get<std::int32_t>();
        l.y2 = r.get<std::int32_t>();
        l.style = r.e<LineStyle>();
        l.weight = r.get<int>();
        l.color = r.get<Color>();
        item.content = l;
        break;
      }
      case 3: {
        Box b;
        b.box = r.rect();
        b.shape = r.e<ShapeKind>();
        b.fill = r.color();
        b.style = r.e<LineStyle>();
        b.weight = r.get<int>();
        b.lineColor = r.get<Color>();
        item.content = b;
        break;
      }
      case 4: {
        CheckBox c;
        c.box = r.rect();
        c.checked = r.get<std::uint8_t>() != 0;
        c.caption = r.str();
        c.font = fonts_.at(r.get<std::uint32_t>());
        c.foreColor = r.get<Color>();
        c.align = r.e<HAlign>();
        item.content = std::move(c);
        break;
      }
      case 5: {
        Picture p;
        p.box = r.rect();
        p.data = pictures_.at(r.get<std::uint32_t>());
        p.sizeMode = r.e<SizeMode>();
        p.border = r.border();
        item.content = std::move(p);
        break;
      }
      case 6: {
        Path p;
        p.box = r.rect();
        p.ops.resize(r.get<std::uint32_t>());
        for (auto& op : p.ops) op = r.e<PathOp>();
        p.points.resize(r.get<std::uint32_t>());
        for (auto& pt : p.points) {
          pt.x = r.get<std::int32_t>();
          pt.y = r.get<std::int32_t>();
        }
        p.fill = r.color();
        p.fillTo = r.color();
        p.style = r.e<LineStyle>();
        p.weight = r.get<int>();
        p.lineColor = r.get<Color>();
        item.content = std::move(p);
        break;
      }
      default:
        throw std::runtime_error("a packed page holds an unknown item");
    }
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
