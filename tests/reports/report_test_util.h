// Running catalogue reports on fixture databases and reading what they printed.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data/demo.h"
#include "data/fixture.h"
#include "frame/host.h"
#include "galvix/document.h"
#include "galvix/report.h"

namespace galvix::testing {

using Props = std::vector<std::pair<std::string, Variant>>;

// A folder of its own under the temporary directory, removed with the object.
struct TempDir {
  explicit TempDir(const std::string& tag)
      : path(std::filesystem::temp_directory_path() /
             ("galvix_" + tag + "_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path);
  }
  ~TempDir() { std::filesystem::remove_all(path); }
  std::string file(const std::string& name) const { return (path / name).string(); }
  std::filesystem::path path;
};

// An environment variable set for the object's life, then put back as it was.
struct ScopedEnv {
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    ::setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }
  const char* name_;
  std::optional<std::string> old_;
};

// The clause that picks one party.
inline std::string partyClause(long party) {
  return "WHERE Parties.PartyID = " + std::to_string(party);
}

// A demo database written into a folder of its own.
struct DemoDatabase : TempDir {
  explicit DemoDatabase(const std::string& tag, const data::DemoOptions& options = {})
      : TempDir(tag), db(file("demo.sqlite")), demo(data::writeDemoDatabase(db, options)) {}
  std::string db;
  data::DemoSummary demo;
};

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

  // A client contact of `event`, numbered 1 (primary) or 2 (secondary); without a title, the
  // title is blank rather than Null, as the planning application stores it.
  long contact(long event, int number, data::GroupSpec g, const data::GuestSpec& who) {
    g.contactNumber = number;
    const long guest = db().guest(db().group(event, g), who);
    if (who.title.empty()) db().set("GuestNames", guest, "GTitle", Variant(""));
    return guest;
  }

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

  // The report made by `name` with `props` set in order, run.
  doc::Document run(const std::string& name, const Props& props) {
    auto r = report(name);
    for (const auto& [k, v] : props) r->set(k, v);
    return run(*r);
  }

  // The message of the ReportRunError `f` fails with; "no error" when it does not.
  static std::string runError(const std::function<void()>& f) {
    try {
      f();
    } catch (const ReportRunError& e) {
      return e.what();
    }
    return "no error";
  }
  std::string runError(ReportObject& r) {
    return runError([&] { run(r); });
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

// What one control printed of kind T (doc::Text, doc::CheckBox, doc::Picture), in page order.
template <class T>
std::vector<const T*> contentsOf(const doc::Document& d, const std::string& control) {
  std::vector<const T*> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* c = std::get_if<T>(&it.content); c && it.control == control) out.push_back(c);
  return out;
}

// Texts printed by one control, in page order.
inline std::vector<std::string> texts(const doc::Document& d, const std::string& control) {
  std::vector<std::string> out;
  for (const auto* t : contentsOf<doc::Text>(d, control)) out.push_back(t->text);
  return out;
}

// Check boxes printed by one control, in page order: ticked or not.
inline std::vector<bool> ticks(const doc::Document& d, const std::string& control) {
  std::vector<bool> out;
  for (const auto* c : contentsOf<doc::CheckBox>(d, control)) out.push_back(c->checked);
  return out;
}

// Pictures printed by one control, in page order.
inline std::vector<const doc::Picture*> pictures(const doc::Document& d,
                                                 const std::string& control) {
  return contentsOf<doc::Picture>(d, control);
}

// Calls `ok` `runs` times in a child process, which exits 0 when every call answered true.
inline pid_t inChild(int runs, const std::function<bool()>& ok) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  int bad = 0;
  for (int i = 0; i < runs; ++i) {
    try {
      bad += !ok();
    } catch (...) {
      ++bad;
    }
  }
  ::_exit(bad == 0 ? 0 : 1);
}

inline bool exitedCleanly(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Kills runs of `run` in a child process at ten different moments; `check` after each kill.
inline void killRunsMidway(const std::function<bool()>& run,
                           const std::function<void(int)>& check) {
  for (int k = 0; k < 10; ++k) {
    const pid_t p = inChild(1000, run);
    ::usleep(static_cast<useconds_t>(2000 + 7919 * k % 40000));
    ::kill(p, SIGKILL);
    ::waitpid(p, nullptr, 0);
    check(k);
  }
}

inline const doc::Text* firstText(const doc::Document& d, const std::string& control) {
  const auto all = contentsOf<doc::Text>(d, control);
  return all.empty() ? nullptr : all.front();
}

}  // namespace galvix::testing
