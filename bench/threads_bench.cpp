// Reports per second when a host renders on 1, 2 and 4 threads at once: each thread runs the same
// mix of reports (run + PDF in memory) over and over on one demo database. Rounds alternate the
// thread counts so the machine's noise falls on all of them; medians are printed.
//   ./build/bench/threads_bench [seconds per round, default 2] [rounds, default 5]
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "data/demo.h"
#include "galvix/report.h"

using namespace galvix;
namespace fs = std::filesystem;

namespace {

struct Job {
  const char* name;
  std::vector<std::pair<std::string, Variant>> props;
};

double reportsPerSecond(const std::string& db, const std::vector<Job>& jobs, int threads,
                        double seconds) {
  std::atomic<long> done{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> pool;
  const auto start = std::chrono::steady_clock::now();
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      for (std::size_t i = static_cast<std::size_t>(t); !stop.load(); ++i) {
        const Job& j = jobs[i % jobs.size()];
        auto r = Report().GetNewReport(j.name);
        r->set("ConnectionString", Variant(db));
        for (const auto& [k, v] : j.props) r->set(k, v);
        (void)pdfBytes(r->run());
        done.fetch_add(1);
      }
    });
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  stop = true;
  for (auto& th : pool) th.join();
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return static_cast<double>(done.load()) / elapsed;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 2.0;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const fs::path dir =
      fs::temp_directory_path() / ("galvix_threads_bench_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string db = (dir / "events.sqlite").string();
  const data::DemoSummary sum = data::writeDemoDatabase(db);
  const std::int32_t event = static_cast<std::int32_t>(sum.weddingEventId);
  const std::string party = "WHERE Parties.PartyID = " + std::to_string(sum.receptionPartyId);
  const std::vector<Job> jobs = {{"Guest List - with notes", {{"SQLWhere", party}}},
                                 {"Table Assignments By Table", {{"SQLWhere", party + " "}}},
                                 {"Budget Summary", {{"EventID", event}}},
                                 {"PieChart", {{"EventID", event}, {"SQLWhere", "3"}}}};
  const std::vector<int> counts = {1, 2, 4};
  std::map<int, std::vector<double>> rates;
  for (int round = 0; round < rounds; ++round)
    for (int n : counts) rates[n].push_back(reportsPerSecond(db, jobs, n, seconds));
  std::printf("%u hardware threads; %d rounds of %.1f s; demo database, 4 reports in turn\n",
              std::thread::hardware_concurrency(), rounds, seconds);
  std::printf("%8s %14s %12s\n", "threads", "reports/s", "vs 1 thread");
  const double one = median(rates[1]);
  for (int n : counts)
    std::printf("%8d %14.1f %11.2fx\n", n, median(rates[n]), median(rates[n]) / one);
  fs::remove_all(dir);
  return 0;
}
