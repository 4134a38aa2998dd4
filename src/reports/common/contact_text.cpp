#include "reports/common/contact_text.h"

#include "runtime/vb.h"

namespace galvix::reports {

bool present(const Variant& v) {
  return !vb::Trim(opConcat(v, Variant(std::string()))).toString().empty();
}

std::string contactText(const engine::RowView& row,
                        const std::vector<std::pair<std::string, std::string>>& phones,
                        const std::pair<std::string, std::string>& email) {
  std::string out;
  for (const auto& [column, prefix] : phones) {
    Variant v = row.value(column);
    if (present(v)) out += prefix + v.toString() + "\r\n";
  }
  Variant e = row.value(email.first);
  if (present(e)) out += email.second + e.toString();
  return out;
}

}  // namespace galvix::reports
