#include "engine/document_dump.h"

#include <sstream>

namespace galvix::engine {

namespace {
const char* alignName(doc::HAlign a) {
  switch (a) {
    case doc::HAlign::Left:
      return "L";
    case doc::HAlign::Right:
      return "R";
    case doc::HAlign::Center:
      return "C";
    case doc::HAlign::Justify:
      return "J";
  }
  return "?";
}
void box(std::ostringstream& o, const doc::Rect& r) {
  o << ' ' << r.left << ',' << r.top << ' ' << r.width << 'x' << r.height;
}
void quoted(std::ostringstream& o, const std::string& s) {
  o << " \"";
  for (char c : s) {
    if (c == '\n')
      o << "\\n";
    else if (c == '\r')
      o << "\\r";
    else if (c == '"')
      o << "\\\"";
    else
      o << c;
  }
  o << '"';
}
}  // namespace

std::string dumpItem(const doc::Item& item, int pageNumber) {
  std::ostringstream o;
  o << 'p' << pageNumber << ' ' << item.section << '/' << item.control;
  std::visit(
      [&](const auto& c) {
        using T = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<T, doc::Text>) {
          o << " text";
          box(o, c.box);
          o << " align=" << alignName(c.align);
          if (c.angle) o << " angle=" << c.angle;
          quoted(o, c.text);
        } else if constexpr (std::is_same_v<T, doc::RichText>) {
          o << " rtf";
          box(o, c.box);
        } else if constexpr (std::is_same_v<T, doc::Line>) {
          o << " line " << c.x1 << ',' << c.y1 << ' ' << c.x2 << ',' << c.y2;
        } else if constexpr (std::is_same_v<T, doc::Box>) {
          o << " box";
          box(o, c.box);
        } else if constexpr (std::is_same_v<T, doc::CheckBox>) {
          o << " check";
          box(o, c.box);
          o << (c.checked ? " [x]" : " [ ]");
          quoted(o, c.caption);
        } else if constexpr (std::is_same_v<T, doc::Picture>) {
          o << " picture";
          box(o, c.box);
        } else if constexpr (std::is_same_v<T, doc::Path>) {
          o << " path";
          box(o, c.box);
          o << " ops=" << c.ops.size();
          if (c.fill) o << " fill=" << std::hex << *c.fill << std::dec;
        }
      },
      item.content);
  o << " row=" << item.row;
  return o.str();
}

std::string dumpDocument(const doc::Document& d) {
  std::ostringstream o;
  doc::Page scratch;
  for (std::size_t p = 0; p < d.pageCount(); ++p) {
    const auto& pg = d.page(p, scratch);
    o << "page " << (p + 1) << ' ' << pg.width << 'x' << pg.height
      << (pg.landscape ? " landscape" : "") << '\n';
    for (const auto& it : pg.items) o << dumpItem(it, static_cast<int>(p + 1)) << '\n';
  }
  return o.str();
}

}  // namespace galvix::engine
