#include "engine/fixed_metric_measurer.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace galvix::engine {

std::int32_t FixedMetricMeasurer::charWidth(const doc::Font& f) {
  return static_cast<std::int32_t>(std::lround(f.size * 10));
}
std::int32_t FixedMetricMeasurer::lineHeight(const doc::Font& f) {
  return static_cast<std::int32_t>(std::lround(f.size * 24));
}

namespace {
long chars(std::string_view s) {
  long n = 0;
  for (unsigned char c : s)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

// Line widths (in characters) of one paragraph wrapped at `cols` characters (0: no wrap).
void wrapParagraph(std::string_view p, long cols, std::vector<long>& lines) {
  if (cols <= 0) {
    lines.push_back(chars(p));
    return;
  }
  long cur = 0;
  bool any = false;
  std::size_t i = 0;
  while (i <= p.size()) {
    std::size_t e = p.find(' ', i);
    if (e == std::string_view::npos) e = p.size();
    long w = chars(p.substr(i, e - i));
    if (any && cur + 1 + w > cols) {
      lines.push_back(cur);
      cur = 0;
      any = false;
    }
    if (any) cur += 1;
    cur += w;
    any = true;
    while (cur > cols) {  // a word wider than the line
      lines.push_back(cols);
      cur -= cols;
    }
    i = e + 1;
  }
  lines.push_back(cur);
}
}  // namespace

TextExtent FixedMetricMeasurer::measure(std::string_view text, const doc::Font& font,
                                        std::int32_t wrapWidth) {
  const std::int32_t cw = std::max<std::int32_t>(1, charWidth(font));
  const long cols = wrapWidth > 0 ? std::max<long>(1, wrapWidth / cw) : 0;
  std::vector<long> lines;
  std::size_t i = 0;
  while (true) {
    std::size_t e = text.find_first_of("\r\n", i);
    wrapParagraph(text.substr(i, e == std::string_view::npos ? std::string_view::npos : e - i),
                  cols, lines);
    if (e == std::string_view::npos) break;
    i = e + 1;
    if (text[e] == '\r' && i < text.size() && text[i] == '\n') ++i;
  }
  long widest = *std::max_element(lines.begin(), lines.end());
  return {static_cast<std::int32_t>(widest * cw),
          static_cast<std::int32_t>(lines.size()) * lineHeight(font)};
}

std::int32_t FixedMetricMeasurer::measureRichHeight(std::string_view rtf, std::int32_t wrapWidth) {
  std::string plain;
  for (std::size_t i = 0; i < rtf.size(); ++i) {
    char c = rtf[i];
    if (c == '{' || c == '}') continue;
    if (c == '\\') {
      if (rtf.compare(i, 4, "\\par") == 0 && (i + 4 >= rtf.size() || rtf[i + 4] < 'a')) {
        plain += '\n';
      }
      ++i;
      while (i < rtf.size() && ((rtf[i] >= 'a' && rtf[i] <= 'z') || rtf[i] == '-' ||
                                (rtf[i] >= '0' && rtf[i] <= '9')))
        ++i;
      if (i < rtf.size() && rtf[i] != ' ') --i;
      continue;
    }
    plain += c;
  }
  while (!plain.empty() && plain.back() == '\n') plain.pop_back();
  return measure(plain, doc::Font{}, wrapWidth).height;
}

}  // namespace galvix::engine
