// The sample Access files live outside the repository (GALVIX_SHARED_TESTDATA/access). A local
// run without them skips the tests that read them; a run that is meant to have them
// (GALVIX_REQUIRE_ACCESS_SAMPLES=1, as CI sets when they are beside the clone) fails instead, so
// a lost folder cannot turn into a green run that tested nothing.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace galvix::testing {

inline std::filesystem::path accessSamples() {
  if (const char* d = std::getenv("GALVIX_SHARED_TESTDATA"); d && *d)
    return std::filesystem::path(d) / "access";
  return std::filesystem::path(GALVIX_SHARED_TESTDATA) / "access";
}

inline bool accessSamplesRequired() {
  const char* r = std::getenv("GALVIX_REQUIRE_ACCESS_SAMPLES");
  return r && *r && std::strcmp(r, "0") != 0;
}

}  // namespace galvix::testing

// Ends the test: a failure when the samples are required, a skip otherwise.
#define GALVIX_MISSING_ACCESS_SAMPLE(what)                              \
  do {                                                                  \
    if (::galvix::testing::accessSamplesRequired())                     \
      FAIL() << "sample Access files required but missing: " << (what); \
    GTEST_SKIP() << "sample Access files not present: " << (what);      \
  } while (0)
