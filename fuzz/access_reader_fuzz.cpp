// Feeds arbitrary bytes to the Access reader as a file, read in this process (the library reads
// in a child process, so that a crash of the reader cannot take the host with it; here the
// fuzzer is to see it). A refusal (DbError) is expected; a crash or a hang is a bug.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "db/access/access_backend.h"
#include "db/connection.h"

// libmdb leaks the strings of its error messages on damaged files; the library reads in a child
// process that exits, so those leaks never reach a host. Crashes and hangs are what count here.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}

namespace {
const std::string& inputPath() {
  static const std::string path = "/tmp/galvix-access-fuzz-" + std::to_string(::getpid()) + ".mdb";
  return path;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = inputPath();
  // The input file goes when the fuzzer ends normally (a crash leaves it: the crashing input).
  static const bool cleanup = [] {
    return std::atexit([] { ::unlink(inputPath().c_str()); }) == 0;
  }();
  (void)cleanup;
  setenv("GALVIX_ACCESS_IN_PROCESS", "1", 1);
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  try {
    (void)galvix::db::access::load(path);
  } catch (const galvix::db::DbError&) {
  }
  return 0;
}
