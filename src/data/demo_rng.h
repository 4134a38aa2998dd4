// A small random generator of our own (xorshift): the same seed gives the same database on every
// platform. Each part of the demo mixes the seed with its own constants, so the classic demo and
// the scale shape draw independent streams.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace galvix::data {

class DemoRng {
 public:
  DemoRng(std::uint32_t seed, std::uint32_t mul, std::uint32_t add) : s_(seed * mul + add) {}
  std::uint32_t next() {
    s_ ^= s_ << 13;
    s_ ^= s_ >> 17;
    s_ ^= s_ << 5;
    return s_;
  }
  int below(int n) { return static_cast<int>(next() % static_cast<std::uint32_t>(n)); }
  bool chance(int percent) { return below(100) < percent; }
  template <class T, std::size_t N>
  const T& pick(const std::array<T, N>& a) {
    return a[static_cast<std::size_t>(below(static_cast<int>(N)))];
  }

 private:
  std::uint32_t s_;
};

}  // namespace galvix::data
