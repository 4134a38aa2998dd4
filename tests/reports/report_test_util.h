// Running catalogue reports on fixture databases and reading what they printed.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "data/fixture.h"
#include "frame/host.h"
#include "galvix/document.h"
#include "galvix/report.h"

namespace galvix::testing {

// A fresh database file per test, removed afterwards.
class ReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("galvix_reports_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
    db_ = std::make_unique<data::Fixture>((dir_ / "events.db").string());
    // Printed dates do not depend on the day the tests run.
    frame::setClock([] { return 45444.75; });  // 2024-06-01 18:00
  }
  void TearDown() override {
    frame::setClock({});
    db_.reset();
    std::filesystem::remove_all(dir_);
  }

  data::Fixture& db() { return *db_; }

  std::unique_ptr<ReportObject> report(const std::string& name) {
    Report factory;
    auto r = factory.GetNewReport(name);
    EXPECT_TRUE(r) << name;
    if (r) r->set("ConnectionString", db_->connectionString());
    return r;
  }

  doc::Document run(ReportObject& r) {
    host_ = std::make_shared<frame::RecordingHost>();
    bool cancelled = false;
    doc::Document d = r.run(&cancelled, host_);
    EXPECT_FALSE(cancelled);
    return d;
  }

  std::shared_ptr<frame::RecordingHost> host_;

 private:
  std::filesystem::path dir_;
  std::unique_ptr<data::Fixture> db_;
};

// One event with a party "Dinner" and a guest group, for the reports that print one party.
class PartyReportTest : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    party_ = db().party(event_, {.name = "Dinner"});
    group_ = db().group(event_);
  }
  long event_ = 0, party_ = 0, group_ = 0;
};

// Texts printed by one control, in page order.
inline std::vector<std::string> texts(const doc::Document& d, const std::string& control) {
  std::vector<std::string> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (it.control == control)
        if (auto* t = std::get_if<doc::Text>(&it.content)) out.push_back(t->text);
  return out;
}

inline const doc::Text* firstText(const doc::Document& d, const std::string& control) {
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (it.control == control)
        if (auto* t = std::get_if<doc::Text>(&it.content)) return t;
  return nullptr;
}

}  // namespace galvix::testing
