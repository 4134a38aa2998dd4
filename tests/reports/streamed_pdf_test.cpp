// Every catalogue report written while it runs (PdfStream) prints what the same report's
// document written afterwards prints: the same pages, the same text where it stands, page
// totals included.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "catalogue_runs.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {

std::string textOf(const std::string& pdf) {
  std::string out;
  if (std::FILE* p = popen(("pdftotext -layout '" + pdf + "' - 2>&1").c_str(), "r")) {
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    pclose(p);
  }
  return out;
}

TEST(StreamedPdf, EveryReportPrintsAsItsDocumentWrittenAfterwards) {
  const DemoDatabase demo("streamed");
  const std::string& db = demo.db;
  // Each report made twice (a run changes its report object): written afterwards, then as it runs.
  std::vector<std::string> names, after;
  const std::string pdf = demo.file("out.pdf");
  forEachCatalogueReport(db, demo.demo, [&](const frame::CatalogueEntry& e, ReportObject& r) {
    names.push_back(e.name);
    bool cancelled = false;
    const doc::Document d = r.run(&cancelled, std::make_shared<frame::RecordingHost>());
    writePdf(d, pdf);
    after.push_back(cancelled ? "" : textOf(pdf));
  });
  std::size_t k = 0;
  int reports = 0, withTotals = 0;
  forEachCatalogueReport(db, demo.demo, [&](const frame::CatalogueEntry& e, ReportObject& r) {
    ASSERT_LT(k, names.size());
    ASSERT_EQ(names[k], e.name);
    const std::string& text = after[k++];
    if (text.empty()) return;
    PdfStream stream(pdf);
    r.setPageSink(&stream);
    bool cancelled = false;
    const doc::Document s = r.run(&cancelled, std::make_shared<frame::RecordingHost>());
    r.setPageSink(nullptr);
    ASSERT_FALSE(cancelled) << e.name;
    EXPECT_EQ(s.pageCount(), 0u) << e.name;
    EXPECT_EQ(s.streamed, stream.pageCount()) << e.name;
    stream.commit(s.title);
    ++reports;
    if (text.find(" of ") != std::string::npos) ++withTotals;
    EXPECT_EQ(textOf(pdf), text) << e.name;
  });
  EXPECT_GE(reports, 30);
  EXPECT_GE(withTotals, 10);  // "Page N of M" footers among them
}

}  // namespace
}  // namespace galvix::testing
