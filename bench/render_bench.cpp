// Pages per second for a text-dense page (about 330 text items) to PDF, PNG and SVG, plus the
// measurer's rate. A plain main printing a table:
//   ./build/<dir>/bench/render_bench [pages [pdf]]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "render/render.h"
#include "render/render_sample.h"

using namespace galvix;
using Clock = std::chrono::steady_clock;

namespace {

double seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

// Processor time of this process: steadier than wall time on a shared machine.
double cpuSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
  const int pages = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
  const doc::Document d = render::testing::denseDocument(pages);
  std::size_t items = 0;
  for (const auto& p : d.pages) items += p.items.size();
  const std::string dir = "/tmp/galvix-render-bench-" + std::to_string(getpid());
  std::string mk = "mkdir -p " + dir;
  if (std::system(mk.c_str()) != 0) return 1;

  // Warm up fonts and caches, as a long-running process would be.
  render::writePdf(render::testing::denseDocument(2), dir + "/warm.pdf");

  std::printf("%-22s %8s %10s %12s %14s\n", "sink", "pages", "seconds", "pages/s", "pages/cpu-s");
  auto t = Clock::now();
  double c = cpuSeconds();
  render::writePdf(d, dir + "/bench.pdf");
  double s = seconds(t);
  c = cpuSeconds() - c;
  std::printf("%-22s %8d %10.3f %12.1f %14.1f\n", "pdf", pages, s, pages / s, pages / c);

  if (argc > 2 && std::string(argv[2]) == "pdf") return 0;  // for profiling the PDF sink alone
  const int rasterPages = std::min(pages, 50);
  doc::Document small = render::testing::denseDocument(rasterPages);
  t = Clock::now();
  render::writeSvg(small, dir + "/bench");
  s = seconds(t);
  std::printf("%-22s %8d %10.3f %12.1f\n", "svg", rasterPages, s, rasterPages / s);
  t = Clock::now();
  render::writePng(small, dir + "/bench", 96);
  s = seconds(t);
  std::printf("%-22s %8d %10.3f %12.1f\n", "png 96 dpi", rasterPages, s, rasterPages / s);

  auto m = render::makePangoMeasurer();
  const doc::Font f{"Arial", 9};
  const int n = 20000;
  t = Clock::now();
  long total = 0;
  for (int i = 0; i < n; ++i)
    total +=
        m->measure("Guest notes number " + std::to_string(i) + " with a few more words", f, 2000)
            .height;
  s = seconds(t);
  std::printf("%-22s %8d %10.3f %12.0f  (texts/s, all distinct)\n", "measure", n, s, n / s);
  std::printf("(%zu items, %.0f per page; checksum %ld)\n", items,
              static_cast<double>(items) / pages, total);
  std::string rm = "rm -rf " + dir;
  return std::system(rm.c_str()) == 0 ? 0 : 1;
}
