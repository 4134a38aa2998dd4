// The C API called in-process: what a C host relies on beyond rendering (which capi_dlopen.c
// checks through dlopen): the catalogue, messages reaching the host's handler, the regional
// settings of one report, the company footer on a field.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "data/demo.h"
#include "galvix/galvix.h"
#include "galvix/report.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CApi : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    db_ = (fs::temp_directory_path() / ("galvix_capi_" + std::to_string(::getpid()) + ".sqlite"))
              .string();
    data::writeDemoDatabase(db_);
  }
  static void TearDownTestSuite() { fs::remove(db_); }
  static std::string db_;
};
std::string CApi::db_;

TEST_F(CApi, CatalogueListsEveryNameAndWhichAreAvailable) {
  const int n = galvix_catalogue_count();
  ASSERT_EQ(n, static_cast<int>(Report::catalogue().size()));
  int guestList = -1;
  for (int i = 0; i < n; ++i) {
    ASSERT_NE(galvix_catalogue_name(i), nullptr);
    if (std::string(galvix_catalogue_name(i)) == "Guest List - with notes") guestList = i;
  }
  ASSERT_GE(guestList, 0);
  EXPECT_EQ(galvix_catalogue_available(guestList), 1);
  EXPECT_EQ(galvix_catalogue_name(n), nullptr);
  EXPECT_EQ(galvix_catalogue_name(-1), nullptr);
}

struct Seen {
  std::vector<std::string> texts;
  std::vector<int> icons;
};
void record(void* user, const char* text, const char*, int icon) {
  auto* s = static_cast<Seen*>(user);
  s->texts.emplace_back(text);
  s->icons.push_back(icon);
}

TEST_F(CApi, MessagesReachTheHostsHandlerAndAnEndedRunSaysSo) {
  galvix_report* r = galvix_report_new("rptLabels");
  ASSERT_NE(r, nullptr) << galvix_last_error();
  Seen seen;
  ASSERT_EQ(galvix_report_set_message_handler(r, &record, &seen), GALVIX_OK);
  ASSERT_EQ(galvix_report_set_string(r, "ConnectionString", db_.c_str()), GALVIX_OK);
  // An event with no guest selected for labels.
  ASSERT_EQ(galvix_report_set_long(r, "EventID", 987654), GALVIX_OK) << galvix_last_error();
  EXPECT_EQ(galvix_report_run(r), GALVIX_ERROR_CANCELLED);
  EXPECT_EQ(galvix_report_page_count(r), 0);
  ASSERT_EQ(seen.texts.size(), 1u);
  EXPECT_EQ(seen.texts[0], "You have not selected any guests.");
  EXPECT_EQ(seen.icons[0], GALVIX_ICON_INFORMATION);
  galvix_report_free(r);
}

TEST_F(CApi, LocaleIsTheReportsOwnAndAnUnknownOneIsAPropertyError) {
  // Money on the pages: the report's own locale, and the process's again afterwards.
  auto texts = [&](const std::string& locale) {
    auto r = Report().GetNewReport("Budget Summary");
    r->set("ConnectionString", db_);
    r->set("EventID", 1);
    r->setLocale(locale);
    std::string all;
    for (const auto& p : r->run().pages)
      for (const auto& it : p.items)
        if (auto* t = std::get_if<doc::Text>(&it.content)) all += t->text + "\n";
    return all;
  };
  EXPECT_THAT(texts("en-US"), HasSubstr("$"));
  EXPECT_THAT(texts("de-DE"), HasSubstr(" €"));
  EXPECT_THAT(texts(""), HasSubstr("$"));  // the process's, untouched by the run before

  galvix_report* r = galvix_report_new("Budget Summary");
  EXPECT_EQ(galvix_report_set_locale(r, "xx-XX"), GALVIX_ERROR_PROPERTY);
  EXPECT_THAT(galvix_last_error(), HasSubstr("xx-XX"));
  galvix_report_free(r);
}

TEST_F(CApi, CompanyFooterFillsANamedFieldAndRefusesAnUnknownOne) {
  galvix_report* r = galvix_report_new("Guest List - with notes");
  EXPECT_EQ(galvix_set_company_footer(db_.c_str(), r, "txtCompanyFooter"), GALVIX_OK)
      << galvix_last_error();
  EXPECT_EQ(galvix_set_company_footer(db_.c_str(), r, "txtNoSuchField"), GALVIX_ERROR_ARGUMENT);
  EXPECT_THAT(galvix_last_error(), HasSubstr("txtNoSuchField"));
  EXPECT_EQ(galvix_set_company_footer("/nonexistent/x.sqlite", r, "txtCompanyFooter"),
            GALVIX_ERROR_DATABASE);
  galvix_report_free(r);
}

// Written while it runs: the same pages as a run then a write, and nothing when it fails.
TEST_F(CApi, RunToPdfWritesWhatRunAndWriteWrite) {
  const fs::path dir =
      fs::temp_directory_path() / ("galvix_capi_pdf_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  auto make = [&] {
    galvix_report* r = galvix_report_new("Guest List - with notes");
    EXPECT_EQ(galvix_report_set_string(r, "ConnectionString", db_.c_str()), GALVIX_OK);
    EXPECT_EQ(galvix_report_set_string(r, "SQLWhere", "WHERE Parties.PartyID = 3"), GALVIX_OK);
    return r;
  };
  galvix_report* a = make();
  ASSERT_EQ(galvix_report_run(a), GALVIX_OK);
  ASSERT_EQ(galvix_report_write(a, "pdf", (dir / "after.pdf").c_str()), GALVIX_OK);
  galvix_report* b = make();
  ASSERT_EQ(galvix_report_run_to_pdf(b, (dir / "streamed.pdf").c_str()), GALVIX_OK)
      << galvix_last_error();
  EXPECT_EQ(galvix_report_page_count(b), galvix_report_page_count(a));
  EXPECT_GT(galvix_report_page_count(b), 1);
  EXPECT_EQ(galvix_report_write(b, "pdf", (dir / "x.pdf").c_str()), GALVIX_ERROR_NOT_RUN);
  const auto text = [&](const char* name) {
    std::string out;
    std::FILE* p = popen(("pdftotext -layout '" + (dir / name).string() + "' -").c_str(), "r");
    char buf[4096];
    for (std::size_t n; p && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    if (p) pclose(p);
    return out;
  };
  EXPECT_EQ(text("streamed.pdf"), text("after.pdf"));
  // A run that fails leaves no file, and says why.
  galvix_report* c = make();
  EXPECT_EQ(galvix_report_set_string(c, "SQLWhere", "WHERE NoSuchColumn = 1"), GALVIX_OK);
  EXPECT_NE(galvix_report_run_to_pdf(c, (dir / "failed.pdf").c_str()), GALVIX_OK);
  EXPECT_THAT(galvix_last_error(), HasSubstr("NoSuchColumn"));
  EXPECT_FALSE(fs::exists(dir / "failed.pdf"));
  EXPECT_EQ(galvix_report_run_to_pdf(c, nullptr), GALVIX_ERROR_ARGUMENT);
  for (galvix_report* r : {a, b, c}) galvix_report_free(r);
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir)) ++files;
  EXPECT_EQ(files, 2u);  // no temporary file left
  fs::remove_all(dir);
}

TEST_F(CApi, NullArgumentsAreErrorsNotCrashes) {
  EXPECT_EQ(galvix_report_new(nullptr), nullptr);
  EXPECT_EQ(galvix_report_set_string(nullptr, "Title", "x"), GALVIX_ERROR_ARGUMENT);
  galvix_report* r = galvix_report_new("Guest List - with notes");
  EXPECT_EQ(galvix_report_set_string(r, nullptr, "x"), GALVIX_ERROR_ARGUMENT);
  EXPECT_EQ(galvix_report_set_string(r, "Title", nullptr), GALVIX_ERROR_ARGUMENT);
  EXPECT_EQ(galvix_report_write(r, "pdf", "/tmp/never.pdf"), GALVIX_ERROR_NOT_RUN);
  EXPECT_EQ(galvix_report_set_time_limit(r, -1), GALVIX_ERROR_ARGUMENT);
  galvix_report_free(r);
  galvix_report_free(nullptr);
}

}  // namespace
}  // namespace galvix::testing
