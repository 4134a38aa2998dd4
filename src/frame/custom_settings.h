// Dresses a report's footer field with the company footer of the user's own business: the
// text, font and colour kept in the Vendors row that marks the user's company.
#pragma once

#include <string_view>

#include "engine/controls.h"

namespace galvix::frame {

class CCustomSettings {
 public:
  // Opens its own connection, reads the first own-company row and applies it to `field`;
  // with no such row the field keeps its design. Errors propagate to the caller.
  void SetCompanyFooter(std::string_view connectionString, engine::Field& field);
};

}  // namespace galvix::frame
