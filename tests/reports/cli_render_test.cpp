// galvix render, run as a user runs it. Skipped when the command is not built.
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "data/fixture.h"
#include "frame/catalogue.h"

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
    more(f);
  }
  virtual void more(data::Fixture&) {}
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  // Runs galvix with `args` in dir_; returns the exit status and fills out_ and err_.
  int run(const std::string& args, const std::string& env = "") {
    const std::string err = (dir_ / "err.txt").string(), out = (dir_ / "out.txt").string();
    const std::string cmd = "cd '" + dir_.string() + "' && " + env + " " + exe_.string() + " " +
                            args + " >" + out + " 2>" + err;
    const int st = std::system(cmd.c_str());
    err_ = slurp(err);
    out_ = slurp(out);
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }
  static std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }
  std::string pdfText(const fs::path& pdf) {
    const fs::path txt = dir_ / "t.txt";
    if (std::system(("pdftotext '" + pdf.string() + "' '" + txt.string() + "'").c_str()) != 0)
      return {};
    return slurp(txt);
  }
  std::string db() const { return "--db '" + (dir_ / "events.db").string() + "'"; }
  // The one-line replies of the first party, picked by the user's own clause.
  std::string rsvpRender() const {
    return "render \"RSVPs - One-line\" " + db() +
           " --set \"SQLWhere=WHERE Parties.PartyID = " + std::to_string(party_) + "\"";
  }
  fs::path exe_, dir_;
  long party_ = 0;
  std::string out_, err_;
};

TEST_F(CliRender, OutputsNeverReplaceTheirInputsOrExistingFilesUnasked) {
  const fs::path events = dir_ / "events.db";
  const auto size = fs::file_size(events);
  // The database as the output, by its own name or through a link.
  fs::create_symlink(events, dir_ / "alias.pdf");
  for (const fs::path& out : {events, dir_ / "alias.pdf"}) {
    EXPECT_EQ(run(rsvpRender() + " -o '" + out.string() + "'"), 2) << out;
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

class CliChoose : public CliRender {
 protected:
  // A second event with a party of the same name, so a name alone can be ambiguous.
  void more(data::Fixture& f) override {
    long e = f.event({.name = "Gala"});
    otherParty_ = f.party(e, {.name = "Dinner"});
    f.party(e, {.name = "Cocktails"});
  }
  long otherParty_ = 0;
};

TEST_F(CliChoose, PartyAndEventByNameInEachReportsClauseShape) {
  // The table plan reads the party back from its clause, which needs a trailing blank; the
  // detailed replies append to it. By name, in any case, and by id.
  for (const std::string report : {"RSVPs - One-line", "Table Assignments By Table",
                                   "RSVPs - Detailed", "Guest List - with notes"}) {
    const fs::path out = dir_ / "by-name.pdf";
    ASSERT_EQ(run("render \"" + report + "\" " + db() +
                  " --event 'lee - park wedding' --party Dinner -o '" + out.string() + "'"),
              0)
        << report << ": " << err_;
    const std::string text = pdfText(out);
    EXPECT_THAT(text, HasSubstr("Lee - Park Wedding")) << report;
    if (report != "Table Assignments By Table") {
      EXPECT_THAT(text, HasSubstr("Lee")) << report;
    }
  }
  ASSERT_EQ(run("render \"RSVPs - One-line\" " + db() + " --party " + std::to_string(party_) +
                " -o id.pdf"),
            0)
      << err_;
  EXPECT_THAT(pdfText(dir_ / "id.pdf"), HasSubstr("The Lee Family"));
  // The other event's party of the same name prints nothing of the Lees.
  ASSERT_EQ(run("render \"RSVPs - One-line\" " + db() + " --event Gala --party Dinner -o g.pdf"), 0)
      << err_;
  EXPECT_THAT(pdfText(dir_ / "g.pdf"), ::testing::Not(HasSubstr("The Lee Family")));
}

TEST_F(CliChoose, AllPartiesInOneFileOrOneFilePerParty) {
  const std::string rsvp = "render \"RSVPs - One-line\" " + db() + " --event Gala --all-parties";
  ASSERT_EQ(run(rsvp + " -o all.pdf"), 0) << err_;
  const std::string text = pdfText(dir_ / "all.pdf");
  EXPECT_THAT(text, HasSubstr("Party: Dinner"));
  EXPECT_THAT(text, HasSubstr("Party: Cocktails"));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("The Lee Family")));
  ASSERT_EQ(run(rsvp + " --split -o each.pdf"), 0) << err_;
  EXPECT_THAT(pdfText(dir_ / "each-Dinner.pdf"), HasSubstr("Party: Dinner"));
  EXPECT_THAT(pdfText(dir_ / "each-Cocktails.pdf"), HasSubstr("Party: Cocktails"));
  // Not with --party, nor for a report that prints no single party.
  EXPECT_EQ(run(rsvp + " --party Dinner -o x.pdf"), 2);
  EXPECT_EQ(run("render \"Budget Summary\" " + db() + " --event Gala --all-parties -o x.pdf"), 2);
  EXPECT_FALSE(fs::exists(dir_ / "x.pdf"));
}

TEST_F(CliChoose, MissingUnknownAndAmbiguousChoicesAreUsageErrorsListingCandidates) {
  // Two events hold a "Dinner": the name alone is ambiguous.
  EXPECT_EQ(run("render \"RSVPs - One-line\" " + db() + " --party Dinner -o x.pdf"), 2);
  EXPECT_THAT(err_, HasSubstr("(id " + std::to_string(party_) + ")"));
  EXPECT_THAT(err_, HasSubstr("(id " + std::to_string(otherParty_) + ")"));
  // A party that does not exist is an error, not an empty PDF.
  EXPECT_EQ(run("render \"RSVPs - One-line\" " + db() + " --event Gala --party Dinnr -o x.pdf"), 2);
  EXPECT_THAT(err_, HasSubstr("\"Cocktails\""));
  EXPECT_EQ(run("render \"RSVPs - One-line\" " + db() + " --party 9999 -o x.pdf"), 2);
  // A party report without a party, an event report with two events and none chosen.
  EXPECT_EQ(run("render \"Guest List - with notes\" " + db() + " -o x.pdf"), 2);
  EXPECT_THAT(err_, HasSubstr("--party"));
  EXPECT_EQ(run("render \"Budget Summary\" " + db() + " -o x.pdf"), 2);
  EXPECT_THAT(err_, HasSubstr("--event"));
  EXPECT_THAT(err_, HasSubstr("\"Gala\""));
  EXPECT_EQ(run("render \"Budget Summary\" " + db() + " --event Nope -o x.pdf"), 2);
  EXPECT_FALSE(fs::exists(dir_ / "x.pdf"));
  // The user's own clause still works without --party.
  EXPECT_EQ(run(rsvpRender() + " -o x.pdf"), 0) << err_;
}

// The demo database holds two events; a user names the wedding, and "Reception" for the reports
// that print one party. Nothing else.
TEST_F(CliRender, EveryAvailableReportRunsWithOnlyTheEventAndPartyNames) {
  ASSERT_EQ(run("demo-db demo.sqlite"), 0) << err_;
  int rendered = 0;
  for (const auto& e : frame::catalogue()) {
    if (!e.built()) continue;
    bool onePart = false;
    for (const auto& [k, v] : e.example)
      onePart = onePart || v.find("PartyID}") != std::string::npos;
    const fs::path out = dir_ / ("demo-" + std::to_string(rendered++) + ".pdf");
    ASSERT_EQ(
        run("render \"" + e.name + "\" --db demo.sqlite --event 'The Smith - García Wedding'" +
            (onePart ? " --party Reception" : "") + " -q -o '" + out.string() + "'"),
        0)
        << e.name << ": " << err_;
    EXPECT_GT(fs::file_size(out), 0u) << e.name;
    if (onePart) {
      EXPECT_THAT(pdfText(out), HasSubstr("Reception")) << e.name;
    }
  }
  EXPECT_GE(rendered, 30);
}

TEST_F(CliRender, OutputFollowsTheExtensionOrStandardOutput) {
  const std::string rsvp = rsvpRender();
  ASSERT_EQ(run(rsvp + " -o -"), 0) << err_;
  EXPECT_EQ(out_.substr(0, 5), "%PDF-");
  EXPECT_FALSE(fs::exists(dir_ / "-"));
  ASSERT_EQ(run(rsvp + " -o - --format svg"), 0) << err_;
  EXPECT_THAT(out_, HasSubstr("<svg"));
  // Page files beside the given path, named from it.
  ASSERT_EQ(run(rsvp + " -o ps.png"), 0) << err_;
  EXPECT_TRUE(fs::exists(dir_ / "ps-1.png"));
  EXPECT_FALSE(fs::exists(dir_ / "ps.png-1.png"));
  EXPECT_FALSE(fs::exists(dir_ / "ps.png"));
  ASSERT_EQ(run(rsvp + " --format png"), 0) << err_;
  EXPECT_TRUE(fs::exists(dir_ / "RSVPs_-_One-line-1.png"));
  // A format the output's name contradicts, or one galvix does not write, is refused.
  EXPECT_EQ(run(rsvp + " -o ps.html"), 2);
  EXPECT_THAT(err_, HasSubstr(".html"));
  EXPECT_EQ(run(rsvp + " -o ps.pdf --format svg"), 2);
  EXPECT_FALSE(fs::exists(dir_ / "ps.html"));
  EXPECT_FALSE(fs::exists(dir_ / "ps.pdf"));
}

TEST_F(CliRender, MessagesNameWhatIsWrongAndSuggest) {
  const std::string rsvp = rsvpRender() + " -o x.pdf";
  EXPECT_EQ(run("render \"RSVPs - one-line\" " + db()), 2);
  EXPECT_THAT(err_, HasSubstr("did you mean \"RSVPs - One-line\""));
  EXPECT_EQ(run("rendr"), 2);
  EXPECT_THAT(err_, HasSubstr("did you mean \"render\""));
  EXPECT_EQ(run(rsvp + " --set \"Critera=Mine\""), 2);
  EXPECT_THAT(err_, HasSubstr("'Critera'"));
  EXPECT_THAT(err_, HasSubstr("did you mean \"Criteria\""));
  EXPECT_EQ(run(rsvp + " --locale en-UK"), 2);
  EXPECT_THAT(err_, HasSubstr("--locale \"en-UK\""));
  EXPECT_THAT(err_, ::testing::Not(HasSubstr("ConnectionString")));
  EXPECT_EQ(run(rsvp, "GALVIX_LOCALE=xx-YY"), 2);
  EXPECT_THAT(err_, HasSubstr("GALVIX_LOCALE"));
  // A catalogue name without a design says so and does not suggest itself.
  EXPECT_EQ(run("render \"Checklist - Calendar\" " + db()), 2);
  EXPECT_THAT(err_, HasSubstr("no report design"));
  EXPECT_THAT(err_, ::testing::Not(HasSubstr("did you mean \"Checklist - Calendar\"")));
  EXPECT_FALSE(fs::exists(dir_ / "x.pdf"));
  // A run that fails names the report and its statement, and leaves no file at all.
  EXPECT_NE(run("render \"RSVPs - One-line\" " + db() +
                " --set \"SQLWhere=WHERE Nope = 1\" -o broken.pdf"),
            0);
  EXPECT_THAT(err_, HasSubstr("RSVPs - One-line"));
  EXPECT_THAT(err_, HasSubstr("SQL as written"));
  for (const auto& entry : fs::directory_iterator(dir_))
    EXPECT_THAT(entry.path().filename().string(), ::testing::Not(HasSubstr("broken")));
  // A clause that picks no rows still writes its (empty) report, and says so.
  EXPECT_EQ(run("render \"RSVPs - One-line\" " + db() +
                " --set \"SQLWhere=WHERE Parties.PartyID = 9999\" -o empty.pdf"),
            0);
  EXPECT_THAT(err_, HasSubstr("no rows"));
  EXPECT_TRUE(fs::exists(dir_ / "empty.pdf"));
  EXPECT_EQ(run(rsvp), 0);
  EXPECT_THAT(err_, ::testing::Not(HasSubstr("no rows")));
  EXPECT_EQ(run("--version"), 0);
  EXPECT_THAT(out_, ::testing::MatchesRegex("galvix [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CliRender, DescribeExplainsEveryPropertyOfEveryCatalogueName) {
  ASSERT_EQ(run("list"), 0);
  std::istringstream lines(out_);
  int names = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::string name = line.substr(1, line.find('"', 1) - 1);
    ++names;
    ASSERT_EQ(run("describe \"" + name + "\""), 0) << name << ": " << err_;
    EXPECT_THAT(out_, HasSubstr("\"" + name + "\"")) << name;
    EXPECT_THAT(out_, ::testing::Not(HasSubstr("see the report's documentation"))) << name;
    if (line.find("(not available") == std::string::npos &&
        line.find("(no report design") == std::string::npos) {
      EXPECT_THAT(out_, HasSubstr("ConnectionString")) << name;
      EXPECT_THAT(out_, HasSubstr("galvix render \"" + name + "\"")) << name;
      const std::string described = out_;
      ASSERT_EQ(run("render \"" + name + "\" --help"), 0) << name;
      EXPECT_EQ(out_, described) << name;
    }
  }
  EXPECT_EQ(names, 36);
  EXPECT_EQ(run("describe \"Guest List\""), 2);
}

}  // namespace
}  // namespace galvix
