// Layout files embedded into the library at build time (cmake/GalvixLayouts.cmake).
//
// In CMake:   galvix_embed_layouts(galvix_reports src/reports/guests/rptGuestList.json ...)
// In C++:     GALVIX_USE_LAYOUT(rptGuestList);              // at namespace scope
//             RptGuestList() : Report(layouts::rptGuestList()) {}
// Referring to the layout by its symbol guarantees the linker keeps it; lookup by name then
// works for every layout a program links.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/layout.h"

namespace galvix::engine {

struct EmbeddedLayout {
  const char* name;  // file stem: "rptGuestList"
  const char* file;  // path relative to the source tree, for messages
  const unsigned char* data;
  std::size_t size;
  std::string_view text() const { return {reinterpret_cast<const char*>(data), size}; }
  // Parsed and validated once, then shared (thread-safe).
  std::shared_ptr<const Layout> layout() const;
};

// Registration runs from the generated sources; returns true.
bool registerEmbeddedLayout(const EmbeddedLayout& l);
const EmbeddedLayout* findEmbeddedLayout(std::string_view name);  // nullptr if not linked in
std::vector<std::string> embeddedLayoutNames();

}  // namespace galvix::engine

#define GALVIX_USE_LAYOUT(id)                   \
  namespace galvix::engine::layouts {           \
  const ::galvix::engine::EmbeddedLayout& id(); \
  }                                             \
  static_assert(true, "")
