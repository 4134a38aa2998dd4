// Feeds arbitrary bytes to the layout loader; a layout that loads is run on a few rows, so the
// engine meets every shape the loader lets through. The loader may only refuse with LayoutError;
// a run may fail with an error, but neither may crash or hang.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engine/fixed_metric_measurer.h"
#include "engine/layout.h"
#include "engine/run.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace galvix;
  const std::string_view in(reinterpret_cast<const char*>(data), size);
  std::shared_ptr<const engine::Layout> layout;
  try {
    layout = engine::loadLayout(in, "fuzz.json");
  } catch (const engine::LayoutError&) {
    return 0;
  }
  try {
    engine::Report r(layout);
    r.data().setRows({"Name", "Note"}, {{Variant("Ann"), Variant("a note that wraps around")},
                                        {Variant("Bob"), Variant::null()},
                                        {Variant(""), Variant(std::string(300, 'x'))}});
    static engine::FixedMetricMeasurer m;
    engine::RunOptions o;
    o.measurer = &m;
    (void)engine::runReport(r, o);
  } catch (const std::exception&) {
    // A run may fail (an expression's type mismatch, an engine error): never crash or hang.
  }
  return 0;
}
