// galvix render, run as a user runs it. Skipped when the command is not built.
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "data/fixture.h"

namespace galvix {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CliRender : public ::testing::Test {
 protected:
  void SetUp() override {
    exe_ = fs::path(GALVIX_BINARY_DIR) / "galvix";
    if (!fs::exists(exe_)) GTEST_SKIP() << "galvix is not built";
    dir_ = fs::temp_directory_path() / ("galvix_cli_render_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    data::Fixture f((dir_ / "events.db").string());
    long e = f.event({.name = "Lee - Park Wedding"});
    party_ = f.party(e, {.name = "Dinner"});
    long g = f.group(e, {.label = "Lee"});
    f.invitation(party_, g, {.formalLabel = "The Lee Family", .rsvpd = true});
    f.invite(f.guest(g, {.first = "Ann", .last = "Lee"}), party_, {.primary = true});
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  // Runs galvix with `args`; returns the exit status and fills err_.
  int run(const std::string& args) {
    const std::string err = (dir_ / "err.txt").string();
    const std::string cmd = exe_.string() + " " + args + " >/dev/null 2>" + err;
    const int st = std::system(cmd.c_str());
    std::ifstream in(err);
    std::stringstream ss;
    ss << in.rdbuf();
    err_ = ss.str();
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }
  std::string db() const { return "--db '" + (dir_ / "events.db").string() + "'"; }
  fs::path exe_, dir_;
  long party_ = 0;
  std::string err_;
};

TEST_F(CliRender, WritesThePdfWithTheEventAsTitle) {
  const fs::path out = dir_ / "rsvp.pdf";
  ASSERT_EQ(run("render \"RSVPs - One-line\" " + db() + " --set \"SQLWhere=WHERE " +
                "Parties.PartyID = " + std::to_string(party_) + "\" -o '" + out.string() + "'"),
            0)
      << err_;
  ASSERT_TRUE(fs::exists(out));
  ASSERT_EQ(
      std::system(("pdftotext '" + out.string() + "' '" + (dir_ / "t.txt").string() + "'").c_str()),
      0);
  std::ifstream in(dir_ / "t.txt");
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_THAT(text.str(), HasSubstr("Lee - Park Wedding"));
  EXPECT_THAT(text.str(), HasSubstr("The Lee Family"));
}

TEST_F(CliRender, UnknownNameSuggestsAndAFailedRunLeavesNoFile) {
  EXPECT_EQ(run("render \"RSVPs - one-line\" " + db()), 2);
  EXPECT_THAT(err_, HasSubstr("did you mean \"RSVPs - One-line\""));

  const fs::path out = dir_ / "broken.pdf";
  EXPECT_NE(run("render \"RSVPs - One-line\" " + db() + " --set \"SQLWhere=WHERE Nope = 1\" -o '" +
                out.string() + "'"),
            0);
  EXPECT_THAT(err_, HasSubstr("RSVPs - One-line"));
  EXPECT_THAT(err_, HasSubstr("SQL as written"));
  EXPECT_FALSE(fs::exists(out));
  for (const auto& entry : fs::directory_iterator(dir_))
    EXPECT_THAT(entry.path().filename().string(), ::testing::Not(HasSubstr("broken")));
}

TEST_F(CliRender, OutputsNeverReplaceTheirInputsOrExistingFilesUnasked) {
  const fs::path events = dir_ / "events.db";
  const auto size = fs::file_size(events);
  const std::string where =
      " --set \"SQLWhere=WHERE Parties.PartyID = " + std::to_string(party_) + "\"";
  // The database as the output, by its own name or through a link.
  fs::create_symlink(events, dir_ / "alias.pdf");
  for (const fs::path& out : {events, dir_ / "alias.pdf"}) {
    EXPECT_EQ(run("render \"RSVPs - One-line\" " + db() + where + " -o '" + out.string() + "'"), 2)
        << out;
    EXPECT_THAT(err_, HasSubstr("nothing was written"));
    EXPECT_EQ(fs::file_size(events), size);
    EXPECT_TRUE(fs::is_symlink(dir_ / "alias.pdf"));
  }
  // import onto its own source, and over an existing file without --force.
  EXPECT_EQ(run("import '" + events.string() + "' '" + events.string() + "'"), 2);
  EXPECT_EQ(fs::file_size(events), size);
  EXPECT_EQ(run("import missing.mdb '" + events.string() + "'"), 2);
  EXPECT_THAT(err_, HasSubstr("--force"));
  // demo-db over an existing file only with --force.
  EXPECT_EQ(run("demo-db '" + events.string() + "'"), 2);
  EXPECT_EQ(fs::file_size(events), size);
  EXPECT_EQ(run("demo-db --force '" + events.string() + "'"), 0) << err_;
  EXPECT_NE(fs::file_size(events), size);
}

}  // namespace
}  // namespace galvix
