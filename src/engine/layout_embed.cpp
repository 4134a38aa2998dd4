#include "engine/layout_embed.h"

#include <map>
#include <mutex>

#include "engine/text_util.h"

namespace galvix::engine {

namespace {
struct Registry {
  std::mutex mu;
  std::map<std::string, const EmbeddedLayout*> byName;  // lower-case name
  std::map<const EmbeddedLayout*, std::shared_ptr<const Layout>> parsed;
};
Registry& registry() {
  static Registry r;
  return r;
}
}  // namespace

bool registerEmbeddedLayout(const EmbeddedLayout& l) {
  auto& r = registry();
  std::lock_guard lock(r.mu);
  r.byName[lowerAscii(l.name)] = &l;
  return true;
}

const EmbeddedLayout* findEmbeddedLayout(std::string_view name) {
  auto& r = registry();
  std::lock_guard lock(r.mu);
  auto it = r.byName.find(lowerAscii(name));
  return it == r.byName.end() ? nullptr : it->second;
}

std::vector<std::string> embeddedLayoutNames() {
  auto& r = registry();
  std::lock_guard lock(r.mu);
  std::vector<std::string> names;
  for (auto& [k, l] : r.byName) names.emplace_back(l->name);
  return names;
}

std::shared_ptr<const Layout> EmbeddedLayout::layout() const {
  auto& r = registry();
  {
    std::lock_guard lock(r.mu);
    if (auto it = r.parsed.find(this); it != r.parsed.end()) return it->second;
  }
  auto parsed = loadLayout(text(), file);  // outside the lock: may throw LayoutError
  std::lock_guard lock(r.mu);
  return r.parsed.emplace(this, std::move(parsed)).first->second;
}

}  // namespace galvix::engine
