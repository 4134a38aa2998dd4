// Small text helpers shared inside the engine.
#pragma once

#include <algorithm>
#include <cstdint>
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

// The part of `text` a box of `width` by `height` twips can show at most, cut at a character
// boundary, so that a value of megabytes never reaches the shaper whole. No glyph is narrower
// than a fifth of the font size and no line lower than the size; four times the characters that
// estimate allows still fill the box, marks that combine with a letter included.
inline std::string_view cutToBox(std::string_view text, double fontSize, std::int32_t width,
                                 std::int32_t height) {
  const double em = std::max(1.0, fontSize) * 20;
  const double perLine = std::max(0, width) / (0.2 * em) + 2;
  const double lines = std::max(0, height) / em + 2;
  const double most = 4 * perLine * lines;
  if (static_cast<double>(text.size()) <= most) return text;
  std::size_t chars = 0, i = 0;
  for (; i < text.size(); ++i)
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && static_cast<double>(++chars) > most)
      break;
  return text.substr(0, i);
}

}  // namespace galvix::engine
