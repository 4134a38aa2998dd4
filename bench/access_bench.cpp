// Loading Access files: import time and the reading process's peak memory for each sample (the
// largest first), in a child process and in-process, and what a second connection to a file
// already loaded costs (the cache).
//   ./build/<dir>/bench/access_bench [repetitions]
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "db/access/access_backend.h"
#include "db/connection.h"

using namespace galvix;
namespace fs = std::filesystem;

namespace {

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  int reps = argc > 1 ? std::atoi(argv[1]) : 7;
  fs::path dir = fs::path(GALVIX_SHARED_TESTDATA) / "access";
  if (!fs::exists(dir)) {
    std::printf("no sample Access files at %s\n", dir.c_str());
    return 0;
  }
  std::vector<fs::path> files;
  for (const auto& e : fs::directory_iterator(dir))
    if (e.path().extension() == ".mdb" || e.path().extension() == ".accdb")
      files.push_back(e.path());
  std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) {
    return fs::file_size(a) > fs::file_size(b);
  });

  std::printf("%-28s %9s %7s %6s %11s %11s %12s\n", "file", "KiB", "rows", "views", "child ms",
              "in-proc ms", "reader peak");
  for (const auto& f : files) {
    std::vector<double> child, inproc;
    db::access::LoadInfo info;
    for (int i = 0; i < reps; ++i) {
      ::unsetenv("GALVIX_ACCESS_IN_PROCESS");
      db::access::load(f.string(), &info);
      child.push_back(info.seconds * 1000);
      ::setenv("GALVIX_ACCESS_IN_PROCESS", "1", 1);
      db::access::LoadInfo in;
      db::access::load(f.string(), &in);
      inproc.push_back(in.seconds * 1000);
    }
    ::unsetenv("GALVIX_ACCESS_IN_PROCESS");
    std::printf("%-28s %9ju %7lld %6zu %11.2f %11.2f %9ld KiB\n", f.filename().c_str(),
                fs::file_size(f) / 1024, static_cast<long long>(info.rows), info.views.size(),
                median(child), median(inproc), info.readerPeakKb);
  }

  // A report opens several connections on one connection string: the first loads the file,
  // the others find it in the cache.
  const fs::path largest = files.front();
  db::access::clearCache();
  auto t0 = std::chrono::steady_clock::now();
  {
    db::Connection c;
    c.open(largest.string());
  }
  auto t1 = std::chrono::steady_clock::now();
  const int opens = 1000;
  for (int i = 0; i < opens; ++i) {
    db::Connection c;
    c.open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + largest.string() + ";");
  }
  auto t2 = std::chrono::steady_clock::now();
  rusage self{};
  getrusage(RUSAGE_SELF, &self);
  std::printf("\n%s: first connection %.2f ms, each further connection %.1f us\n",
              largest.filename().c_str(),
              std::chrono::duration<double, std::milli>(t1 - t0).count(),
              std::chrono::duration<double, std::micro>(t2 - t1).count() / opens);
  std::printf("peak resident memory of this process: %ld KiB\n", self.ru_maxrss);
  return 0;
}
