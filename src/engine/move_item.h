// Moving a page item made relative to something (a subreport's rows, a chart's drawing, a band
// cut across pages) to where it prints.
#pragma once

#include <cstdint>
#include <type_traits>
#include <variant>

#include "galvix/document.h"

namespace galvix::engine {

inline void moveItem(doc::Item& it, std::int32_t dx, std::int32_t dy) {
  std::visit(
      [&](auto& c) {
        using T = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<T, doc::Line>) {
          c.x1 += dx;
          c.x2 += dx;
          c.y1 += dy;
          c.y2 += dy;
        } else {
          c.box.left += dx;
          c.box.top += dy;
        }
      },
      it.content);
}

}  // namespace galvix::engine
