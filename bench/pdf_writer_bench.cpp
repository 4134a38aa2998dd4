// A report's PDF written by the library's own writer and by cairo's PDF surface, side by side:
// it runs a report once, then writes its document both ways (medians of N rounds), and how long
// shaping the same texts alone takes (both writers draw from the same shaped glyphs).
//
//   ./build-release/bench/pdf_writer_bench DB [--report NAME] [--set Prop=Value ...] [--runs N]
//   (default: "Guest List - without notes" of party 3, the reception of `demo-db --guests N`)
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench_clock.h"
#include "galvix/report.h"
#include "render/render.h"
#include "render/simple_line.h"
#include "render/text_layout.h"

using namespace galvix;
using bench::cpuMs;

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s DB [--report NAME] [--set Prop=Value ...] [--runs N]\n",
                 argv[0]);
    return 2;
  }
  std::string report = "Guest List - without notes";
  std::vector<std::pair<std::string, std::string>> sets = {
      {"SQLWhere", "WHERE Parties.PartyID = 3"},
      {"SQLOrderBy", "ORDER BY Parties.PartyID, PartyDetails.FormalLabel"},
      {"Criteria", "Party: Reception"}};
  int runs = 3;
  bool ownSets = false;
  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--report" && i + 1 < argc) {
      report = argv[++i];
    } else if (a == "--runs" && i + 1 < argc) {
      runs = std::max(1, std::atoi(argv[++i]));
    } else if (a == "--set" && i + 1 < argc) {
      if (!ownSets) sets.clear();
      ownSets = true;
      const std::string kv = argv[++i];
      const auto eq = kv.find('=');
      sets.emplace_back(kv.substr(0, eq), eq == std::string::npos ? "" : kv.substr(eq + 1));
    }
  }
  Report factory;
  auto r = factory.GetNewReport(report);
  r->setPackPages(true);
  r->set("ConnectionString", Variant(std::string(argv[1])));
  for (const auto& [k, v] : sets) r->set(k, Variant(v));
  const doc::Document d = r->run();
  // Font setup is paid once per process: a one-page PDF first.
  {
    doc::Document one;
    doc::Page p;
    p.items.push_back({.content = doc::Text{.box = {0, 0, 2000, 300}, .text = "x"}});
    one.pages.push_back(p);
    writePdf(one, "/tmp/pdf_writer_bench_warm.pdf");
  }
  std::vector<double> viaCairo, viaOwn, shapingOnly;
  long texts = 0;
  doc::Page scratch;
  for (int run = 0; run < runs; ++run) {
    double c = cpuMs();
    render::setCairoPdf(true);
    writePdf(d, "/tmp/pdf_writer_bench_cairo.pdf");
    render::setCairoPdf(false);
    viaCairo.push_back(cpuMs() - c);
    c = cpuMs();
    writePdf(d, "/tmp/pdf_writer_bench_own.pdf");
    viaOwn.push_back(cpuMs() - c);
    // What both spend shaping the same texts, for reference.
    c = cpuMs();
    render::SimpleLine line;
    texts = 0;
    for (std::size_t i = 0; i < d.pageCount(); ++i)
      for (const auto& item : d.page(i, scratch).items)
        if (const auto* t = std::get_if<doc::Text>(&item.content); t && t->angle == 0)
          texts += render::simpleLine(t->text, t->font, line,
                                      t->wordWrap ? std::max(1, render::twipsToPango(t->box.width))
                                                  : 0) != nullptr;
    shapingOnly.push_back(cpuMs() - c);
  }
  std::sort(viaCairo.begin(), viaCairo.end());
  std::sort(viaOwn.begin(), viaOwn.end());
  std::sort(shapingOnly.begin(), shapingOnly.end());
  std::printf("%s: %zu pages, %ld plain texts; median of %d, CPU ms\n", report.c_str(),
              d.pageCount(), texts, runs);
  std::printf("  cairo's PDF surface                %8.0f  /tmp/pdf_writer_bench_cairo.pdf\n",
              viaCairo[viaCairo.size() / 2]);
  std::printf("  the library's writer (writePdf)    %8.0f  /tmp/pdf_writer_bench_own.pdf\n",
              viaOwn[viaOwn.size() / 2]);
  std::printf("  of which both spend shaping        %8.0f  (the plain texts shaped again)\n",
              shapingOnly[shapingOnly.size() / 2]);
  return 0;
}
