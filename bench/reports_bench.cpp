// Runs every built catalogue report on demo databases of growing size and prints, per report,
// pages, run time (queries and layout), PDF time, and the process's peak memory. Each size runs
// in its own process so peak memory is its own.
//   ./build/<dir>/bench/reports_bench [guests...]      (default: 2000 20000)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "data/demo.h"
#include "frame/catalogue.h"
#include "galvix/report.h"

using namespace galvix;
namespace fs = std::filesystem;

namespace {

double msSince(std::chrono::steady_clock::time_point t) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count();
}

std::string substitute(std::string s, const std::map<std::string, std::string>& ids) {
  for (const auto& [k, v] : ids)
    for (size_t p = s.find(k); p != std::string::npos; p = s.find(k, p + v.size()))
      s.replace(p, k.size(), v);
  return s;
}

void runSize(int guests) {
  const fs::path dir =
      fs::temp_directory_path() / ("galvix_reports_bench_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string db = (dir / "events.sqlite").string();
  auto t = std::chrono::steady_clock::now();
  data::DemoOptions opt;
  opt.guests = guests;
  const data::DemoSummary sum = data::writeDemoDatabase(db, opt);
  std::printf("\n%d wedding guests (%d in all, %d groups): database written in %.0f ms\n", guests,
              sum.guests, sum.groups, msSince(t));
  std::printf("%-34s %7s %10s %10s\n", "report", "pages", "run ms", "pdf ms");
  const std::map<std::string, std::string> ids = {
      {"{EventID}", std::to_string(sum.weddingEventId)},
      {"{PartyID}", std::to_string(sum.receptionPartyId)},
      {"{PartyName}", "Reception"}};
  Report factory;
  for (const auto& e : frame::catalogue()) {
    if (!e.built()) continue;
    auto r = factory.GetNewReport(e.name);
    r->set("ConnectionString", Variant(db));
    for (const auto& [k, v] : e.example) r->set(k, Variant(substitute(v, ids)));
    try {
      t = std::chrono::steady_clock::now();
      doc::Document d = r->run();
      const double run = msSince(t);
      t = std::chrono::steady_clock::now();
      writePdf(d, (dir / "out.pdf").string());
      std::printf("%-34s %7zu %10.0f %10.0f\n", e.name.c_str(), d.pages.size(), run, msSince(t));
    } catch (const std::exception& ex) {
      std::printf("%-34s failed: %s\n", e.name.c_str(), ex.what());
    }
    std::fflush(stdout);
  }
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  std::printf("peak memory: %.0f MB\n", static_cast<double>(ru.ru_maxrss) / 1024.0);
  fs::remove_all(dir);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {2000, 20000};
  for (int n : sizes) {
    std::fflush(stdout);
    pid_t pid = ::fork();
    if (pid == 0) {
      runSize(n);
      std::fflush(stdout);
      std::_Exit(0);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
  }
  return 0;
}
