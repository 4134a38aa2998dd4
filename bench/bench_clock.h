// Clocks the benches share.
#pragma once

#include <chrono>
#include <ctime>

namespace galvix::bench {

// This process's CPU time (every thread), in milliseconds: on a shared machine the steadier
// figure, as wall time follows the load.
inline double cpuMs() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

inline double msSince(std::chrono::steady_clock::time_point t) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count();
}

}  // namespace galvix::bench
