// The stationery merge on arbitrary templates, names and guest identifiers: the placeholders
// replaced, the guests' texts gathered through a lookup that answers, finds nothing or fails by
// the identifier, and the merged rich text read and laid out as the renderer would.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "render/rtf_reader.h"
#include "render/text_layout.h"
#include "reports/labels/stationery_merge.h"

extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace {
namespace st = galvix::reports::stationery;
using galvix::Variant;

// Answers by the identifier's length: a row, a row with nulls, no row, or a failing query.
class Lookup : public st::GuestLookup {
 public:
  std::optional<TableSeat> tableAndSeat(const std::string& g) override {
    switch (g.size() % 4) {
      case 0:
        return TableSeat{Variant(g), Variant(static_cast<int>(g.size()))};
      case 1:
        return TableSeat{Variant::null(), Variant::null()};
      case 2:
        return std::nullopt;
      default:
        throw std::runtime_error("no such column");
    }
  }
  std::optional<Variant> menuItem(const std::string& g) override {
    if (g.size() % 3 == 0) return Variant(g);
    if (g.size() % 3 == 1) return Variant::null();
    throw std::runtime_error("syntax error");
  }
};
}  // namespace

// Input: template, name and guest identifiers, separated by NUL bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view in(reinterpret_cast<const char*>(data), size);
  std::vector<std::string_view> parts;
  std::size_t from = 0;
  while (parts.size() < 2) {
    const std::size_t nul = in.find('\0', from);
    if (nul == std::string_view::npos) break;
    parts.push_back(in.substr(from, nul - from));
    from = nul + 1;
  }
  parts.push_back(in.substr(from));
  while (parts.size() < 3) parts.emplace_back();
  const std::string_view tmpl = parts[0], label = parts[1], ids = parts[2];

  Lookup lookup;
  const auto used = st::Placeholders::in(tmpl);
  const auto texts = st::gatherGuestTexts(ids, used, lookup);
  const std::string merged = st::mergeTemplate(tmpl, label, texts);
  const auto doc = galvix::render::readRtf(merged);
  if (merged.size() < 2048) (void)galvix::render::richLayout(doc, 4000);
  return 0;
}
