// Reports run and written on several threads of one process at once (a host's server): each
// gives the pages it gives alone, and none waits for ever on another. A host's progress display
// is told each page on the run's own thread.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <numeric>
#include <regex>
#include <thread>

#include "data/demo.h"
#include "galvix/report.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;

// Every text item of a document with its place, in order: what a reader would see, where.
std::vector<std::string> allText(const doc::Document& d) {
  std::vector<std::string> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* t = std::get_if<doc::Text>(&it.content))
        out.push_back(std::to_string(t->box.left) + "," + std::to_string(t->box.top) + "," +
                      std::to_string(t->box.width) + "," + std::to_string(t->box.height) + " " +
                      t->text);
  return out;
}

std::string withoutDates(const std::string& s) {
  return std::regex_replace(s, std::regex(R"(/(CreationDate|ModDate) \(D:[^)]*\))"), "");
}

// The PDF without its creation and modification dates, the only bytes that differ between runs.
std::string pdfWithoutDates(const doc::Document& d) {
  const auto bytes = pdfBytes(d);
  return withoutDates(std::string(bytes.begin(), bytes.end()));
}

// A report written to `path` while it runs (its pages drawn on the stream's thread), read back.
std::string streamedWithoutDates(ReportObject& r, const std::string& path) {
  {
    PdfStream pdf(path);
    r.setPageSink(&pdf);
    const doc::Document d = r.run();
    r.setPageSink(nullptr);
    pdf.commit(d.title);
  }
  std::ifstream in(path, std::ios::binary);
  return withoutDates(std::string(std::istreambuf_iterator<char>(in), {}));
}

TEST(Threads, FourReportsAtOnceEachAsAloneAndWritten) {
  const fs::path dir = fs::temp_directory_path() / ("galvix_threads_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string db = (dir / "demo.sqlite").string();
  data::writeDemoDatabase(db);
  // Text with seats and counts, a work table of its own, a drawn chart and rich text with
  // pictures of fonts: each kind of work a report does, one per thread.
  struct Run {
    std::string name;
    std::vector<std::pair<std::string, Variant>> props;
    std::string locale;
  };
  const std::vector<Run> reports = {
      {"Guest List - with notes", {{"SQLWhere", "WHERE Parties.PartyID = 3"}}, ""},
      {"Table Assignments By Table", {{"SQLWhere", "WHERE Parties.PartyID = 3 "}}, "de-DE"},
      {"Budget Summary", {{"EventID", 1}}, "en-GB"},
      {"PieChart", {{"EventID", 1}, {"SQLWhere", "3"}}, ""}};
  auto make = [&](std::size_t i) {
    Report factory;
    auto r = factory.GetNewReport(reports[i].name);
    r->set("ConnectionString", Variant(db));
    for (const auto& [k, v] : reports[i].props) r->set(k, v);
    r->setLocale(reports[i].locale);
    return r;
  };
  auto runOne = [&](std::size_t i) { return make(i)->run(); };
  auto streamOne = [&](std::size_t i) {
    return streamedWithoutDates(*make(i), (dir / ("s" + std::to_string(i) + ".pdf")).string());
  };
  std::vector<std::vector<std::string>> alone;
  std::vector<std::string> alonePdf, aloneStreamed;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    const doc::Document d = runOne(i);
    ASSERT_FALSE(d.pages.empty()) << reports[i].name;
    alone.push_back(allText(d));
    alonePdf.push_back(pdfWithoutDates(d));
    aloneStreamed.push_back(streamOne(i));
  }

  std::vector<std::vector<std::string>> together(reports.size());
  std::vector<std::string> togetherPdf(reports.size()), togetherStreamed(reports.size());
  std::vector<std::string> errors(reports.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < reports.size(); ++i)
    threads.emplace_back([&, i] {
      try {
        for (int round = 0; round < 3; ++round) {
          doc::Document d = runOne(i);
          writePdf(d, (dir / ("r" + std::to_string(i) + ".pdf")).string());
          together[i] = allText(d);
          togetherPdf[i] = pdfWithoutDates(d);
          togetherStreamed[i] = streamOne(i);
        }
      } catch (const std::exception& e) {
        errors[i] = e.what();
      }
    });
  for (auto& t : threads) t.join();
  for (std::size_t i = 0; i < reports.size(); ++i) {
    EXPECT_EQ(errors[i], "") << reports[i].name;
    EXPECT_EQ(together[i], alone[i]) << reports[i].name;
    EXPECT_TRUE(togetherPdf[i] == alonePdf[i]) << reports[i].name << ": the PDF differs";
    EXPECT_TRUE(togetherStreamed[i] == aloneStreamed[i])
        << reports[i].name << ": the streamed PDF differs";
    EXPECT_GT(fs::file_size(dir / ("r" + std::to_string(i) + ".pdf")), 1000u);
  }
  fs::remove_all(dir);
}

TEST(Progress, EveryPageIsToldInOrderOnTheRunsThread) {
  const fs::path db =
      fs::temp_directory_path() / ("galvix_progress_" + std::to_string(::getpid()) + ".sqlite");
  const auto sum = data::writeDemoDatabase(db.string(), {.guests = 400});  // several pages
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
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(told, expected);
  EXPECT_FALSE(otherThread);
  fs::remove(db);
}

}  // namespace
}  // namespace galvix::testing
