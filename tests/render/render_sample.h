// Hand-built Documents for the renderer's tests and benchmark: a dense guest-list-like report.
#pragma once

#include <string>
#include <vector>

#include "galvix/document.h"

namespace galvix::render::testing {

inline doc::Text text(doc::Rect box, std::string s, doc::Font font = {},
                      doc::HAlign align = doc::HAlign::Left) {
  doc::Text t;
  t.box = box;
  t.text = std::move(s);
  t.font = std::move(font);
  t.align = align;
  return t;
}

inline doc::Item item(auto content, std::string section = "Detail") {
  doc::Item i;
  i.content = std::move(content);
  i.section = std::move(section);
  return i;
}

// A document of one page holding `items`.
inline doc::Document onePage(std::vector<doc::Item> items, std::int32_t w = 2880,
                             std::int32_t h = 2880) {
  doc::Document d;
  d.title = "Test";
  doc::Page p;
  p.width = w;
  p.height = h;
  p.items = std::move(items);
  d.pages.push_back(std::move(p));
  return d;
}

// A letter page with a title, column heads, `rows` detail rows of six columns, rules and a footer.
inline doc::Page densePage(int pageNo, int pages, int rows = 50) {
  static const char* kLast[] = {"Anderson", "Bélanger", "Chen",    "Dubois", "Eriksson", "Fischer",
                                "García",   "Hoffmann", "Ivanova", "Jansen", "Kowalski", "Łukasz"};
  static const char* kFirst[] = {"Amelia", "Bruno", "Chloé", "David", "Elif", "Frank", "Greta"};
  doc::Page p;
  const int left = 720, width = 10800;
  const doc::Font head{"Arial", 9, true};
  const doc::Font body{"Arial", 9};
  p.items.push_back(item(text({left, 720, width, 480}, "Guest List - with notes",
                              doc::Font{"Times New Roman", 18, true}, doc::HAlign::Center),
                         "PageHeader"));
  p.items.push_back(item(text({left, 1200, width, 260}, "Smith - Jones Wedding, June 14, 2027",
                              doc::Font{"Arial", 10, false, true}, doc::HAlign::Center),
                         "PageHeader"));
  const int colX[] = {0, 2200, 4000, 6600, 8200, 9500};
  const int colW[] = {2150, 1750, 2550, 1550, 1250, 1300};
  const char* heads[] = {"Guest", "Party", "Contact", "Reply", "Table", "Amount"};
  for (int c = 0; c < 6; ++c) {
    auto t = text({left + colX[c], 1600, colW[c], 240}, heads[c], head,
                  c == 5 ? doc::HAlign::Right : doc::HAlign::Left);
    p.items.push_back(item(t, "PageHeader"));
  }
  p.items.push_back(
      item(doc::Line{left, 1860, left + width, 1860, doc::LineStyle::Solid, 2}, "PageHeader"));
  for (int r = 0; r < rows; ++r) {
    const int y = 1920 + r * 250;
    const int n = (pageNo * rows + r);
    // Mostly distinct values, as in a real list (the renderer caches repeated texts).
    const std::string name = std::string(kLast[n % 12]) + ", " + kFirst[n / 12 % 7] + " " +
                             static_cast<char>('A' + n / 84 % 26) + ".";
    const std::string cols[] = {
        name,
        "Party " + std::to_string(n % 9 + 1),
        "(H) 555-" + std::to_string(1000 + n % 9000),
        n % 3 ? "Attending" : "Declined",
        "Table " + std::to_string(n % 17 + 1),
        "$" + std::to_string(100 + n * 37 % 9000) + "." + std::to_string(10 + n % 90)};
    for (int c = 0; c < 6; ++c)
      p.items.push_back(item(text({left + colX[c], y, colW[c], 240}, cols[c], body,
                                  c == 5 ? doc::HAlign::Right : doc::HAlign::Left)));
    if (r % 5 == 4)
      p.items.push_back(
          item(doc::Line{left, y + 230, left + width, y + 230, doc::LineStyle::Dot, 1}));
  }
  const int fy = 15840 - 1080;
  p.items.push_back(item(doc::Line{left, fy - 60, left + width, fy - 60, doc::LineStyle::Solid, 1},
                         "PageFooter"));
  p.items.push_back(
      item(text({left, fy, 4000, 240}, "Date Printed: 11/23/2026", body), "PageFooter"));
  doc::Text company = text({left + 3600, fy, 3600, 300}, "Bridley Event Planning",
                           doc::Font{"Brush Script MT", 12, false, true}, doc::HAlign::Center);
  company.foreColor = doc::rgb(0, 0, 128);
  p.items.push_back(item(company, "PageFooter"));
  p.items.push_back(item(text({left + 7200, fy, 3600, 240},
                              "Page " + std::to_string(pageNo) + " of " + std::to_string(pages),
                              body, doc::HAlign::Right),
                         "PageFooter"));
  return p;
}

inline doc::Document denseDocument(int pages) {
  doc::Document d;
  d.title = "Guest List - with notes";
  for (int i = 1; i <= pages; ++i) d.pages.push_back(densePage(i, pages));
  return d;
}

}  // namespace galvix::render::testing
