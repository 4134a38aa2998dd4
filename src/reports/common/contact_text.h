// Contact text: phone numbers and e-mail joined with their prefixes and line breaks.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "engine/data_control.h"
#include "galvix/variant.h"

namespace galvix::reports {

// Present: the value joined to "" and trimmed of blanks is not empty. The value itself is used
// untrimmed.
bool present(const Variant& v);

// Each present phone column as prefix + value + CR LF, then the present e-mail as prefix +
// value with no line break. Columns are read from the current row.
std::string contactText(const engine::RowView& row,
                        const std::vector<std::pair<std::string, std::string>>& phones,
                        const std::pair<std::string, std::string>& email);

}  // namespace galvix::reports
