// Feeds arbitrary bytes to the RTF reader, then lays the result out as the renderer would.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "render/rtf_reader.h"
#include "render/text_layout.h"

// fontconfig keeps pattern caches for the life of the process that leak checking cannot see.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view in(reinterpret_cast<const char*>(data), size);
  const auto doc = galvix::render::readRtf(in);
  // Layout is slow; keep it to inputs small enough for many runs per second.
  if (size < 2048) (void)galvix::render::richLayout(doc, 4000);
  return 0;
}
