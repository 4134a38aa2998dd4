#include "reports/labels/stationery_merge.h"

#include "runtime/vb.h"

namespace galvix::reports::stationery {
namespace {
bool blank(std::string_view s) {
  return vb::trimBlanks(s).empty();
}

// Runs one step; a step that fails leaves what it would have changed as it was.
template <class F>
void step(F&& f) {
  try {
    f();
  } catch (const std::exception&) {
  }
}
}  // namespace

Placeholders Placeholders::in(std::string_view text) {
  auto has = [&](std::string_view p) { return text.find(p) != std::string_view::npos; };
  return {has(kGuestName), has(kMenuSelection), has(kTable), has(kSeat)};
}

GuestTexts gatherGuestTexts(std::string_view guestIds, const Placeholders& used,
                            GuestLookup& lookup) {
  GuestTexts out;
  if (guestIds.empty() || !(used.table || used.seat || used.menu)) return out;
  std::size_t from = 0;
  while (true) {
    const std::size_t semi = guestIds.find(';', from);
    const std::string g(guestIds.substr(from, semi == std::string_view::npos ? semi : semi - from));
    if (used.table || used.seat) {
      step([&] {
        auto row = lookup.tableAndSeat(g);
        if (!row) return;
        step([&] {
          const std::string name = row->tableName.toString();
          if (blank(out.table))
            out.table += name;
          else if (name != out.table)
            out.table += ", " + name;
        });
        step([&] {
          const std::string seat = row->seat.toString();
          out.seat += blank(out.seat) ? seat : ", " + seat;
        });
      });
    }
    if (used.menu) {
      step([&] {
        auto item = lookup.menuItem(g);
        if (!item) return;
        const std::string text = item->toString();
        out.menu += blank(out.menu) ? text : ", " + text;
      });
    }
    if (semi == std::string_view::npos) break;
    from = semi + 1;
  }
  return out;
}

std::string replaceAll(std::string_view text, std::string_view find, std::string_view with) {
  if (find.empty()) return std::string(text);
  std::string out;
  std::size_t from = 0;
  for (std::size_t at = text.find(find); at != std::string_view::npos; at = text.find(find, from)) {
    out.append(text.substr(from, at - from));
    out.append(with);
    from = at + find.size();
  }
  out.append(text.substr(from));
  return out;
}

std::string labelAsRtf(std::string_view label) {
  return replaceAll(label, "\r\n", " \\par ");
}

std::string mergeTemplate(std::string_view rtfTemplate, std::string_view label,
                          const GuestTexts& texts) {
  std::string rtf = replaceAll(rtfTemplate, kGuestName, labelAsRtf(label));
  rtf = replaceAll(rtf, kMenuSelection, texts.menu);
  rtf = replaceAll(rtf, kTable, texts.table);
  return replaceAll(rtf, kSeat, texts.seat);
}

}  // namespace galvix::reports::stationery
