// A host's progress display is told each page as it opens, in order, on the run's thread.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "data/demo.h"
#include "galvix/report.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;

TEST(Progress, EveryPageIsToldInOrderOnTheRunsThread) {
  const fs::path db =
      fs::temp_directory_path() / ("galvix_progress_" + std::to_string(::getpid()) + ".sqlite");
  data::DemoOptions opt;
  opt.guests = 400;  // enough for several pages
  const auto sum = data::writeDemoDatabase(db.string(), opt);
  auto r = Report().GetNewReport("Guest List - with notes");
  r->set("ConnectionString", db.string());
  r->set("SQLWhere", "WHERE Parties.PartyID = " + std::to_string(sum.receptionPartyId));
  std::vector<int> told;
  const auto runThread = std::this_thread::get_id();
  bool otherThread = false;
  r->setPageProgress([&](int page) {
    told.push_back(page);
    otherThread |= std::this_thread::get_id() != runThread;
  });
  const doc::Document d = r->run();
  ASSERT_GT(d.pages.size(), 2u);
  std::vector<int> expected(d.pages.size());
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<int>(i + 1);
  EXPECT_EQ(told, expected);
  EXPECT_FALSE(otherThread);
  fs::remove(db);
}

}  // namespace
}  // namespace galvix::testing
