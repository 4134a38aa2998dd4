// Small text helpers shared inside the engine.
#pragma once

#include <string>
#include <string_view>

namespace galvix::engine {

inline char asciiLower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

inline bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  return true;
}

inline std::string lowerAscii(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = asciiLower(c);
  return r;
}

}  // namespace galvix::engine
