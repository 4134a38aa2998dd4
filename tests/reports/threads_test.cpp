// Reports run and written on several threads of one process at once (a host's server): each
// gives the pages it gives alone, and none waits for ever on another.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "data/demo.h"
#include "galvix/report.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;

// Every text item of a document, in order: what a reader would see.
std::vector<std::string> allText(const doc::Document& d) {
  std::vector<std::string> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* t = std::get_if<doc::Text>(&it.content)) out.push_back(t->text);
  return out;
}

TEST(Threads, FourReportsAtOnceEachAsAloneAndWritten) {
  const fs::path dir = fs::temp_directory_path() / ("galvix_threads_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string db = (dir / "demo.sqlite").string();
  data::writeDemoDatabase(db);
  const std::vector<std::pair<std::string, std::string>> reports = {
      {"Guest List - with notes", "WHERE Parties.PartyID = 3"},
      {"Table Assignments By Table", "WHERE Parties.PartyID = 3 "},
      {"RSVPs - Detailed", "WHERE Parties.PartyID = 3 "},
      {"Party Statistics", "WHERE Parties.PartyID = 3"}};
  auto runOne = [&](std::size_t i) {
    Report factory;
    auto r = factory.GetNewReport(reports[i].first);
    r->set("ConnectionString", Variant(db));
    r->set("SQLWhere", Variant(reports[i].second));
    return r->run();
  };
  std::vector<std::vector<std::string>> alone;
  for (std::size_t i = 0; i < reports.size(); ++i) alone.push_back(allText(runOne(i)));

  std::vector<std::vector<std::string>> together(reports.size());
  std::vector<std::string> errors(reports.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < reports.size(); ++i)
    threads.emplace_back([&, i] {
      try {
        for (int round = 0; round < 3; ++round) {
          doc::Document d = runOne(i);
          writePdf(d, (dir / ("r" + std::to_string(i) + ".pdf")).string());
          together[i] = allText(d);
        }
      } catch (const std::exception& e) {
        errors[i] = e.what();
      }
    });
  for (auto& t : threads) t.join();
  for (std::size_t i = 0; i < reports.size(); ++i) {
    EXPECT_EQ(errors[i], "") << reports[i].first;
    EXPECT_EQ(together[i], alone[i]) << reports[i].first;
    EXPECT_GT(fs::file_size(dir / ("r" + std::to_string(i) + ".pdf")), 1000u);
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace galvix::testing
