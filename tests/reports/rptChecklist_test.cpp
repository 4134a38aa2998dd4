#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

constexpr std::int32_t kMargin = 720;  // the layout's left margin

const std::string kQuery =
    "SELECT Events.EventName, Checklists.ChecklistName, ChecklistItems.Done, ChecklistItems.Item, "
    "ChecklistItems.DueDate, ChecklistItems.[Time], ChecklistItems.AssignedTo FROM (Events INNER "
    "JOIN Checklists ON Events.EventID = Checklists.EventID) INNER JOIN ChecklistItems ON "
    "Checklists.ChecklistID = ChecklistItems.ChecklistID ";

class Checklist : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    const long e = db().event({.name = "Lee Wedding"});
    const long list = db().checklist(e, "Planning");
    db().checklistItem(list, "Book the venue", true, data::date(2024, 7, 1), data::time(9, 5),
                       "Ann");
    db().checklistItem(list, "Cake tasting", false, data::dateTime(2024, 7, 2, 13, 30),
                       data::time(13, 30), "Bob");
  }

  struct Run {
    doc::Document doc;
    bool cancelled = false;
  };
  Run runChecklist(const std::string& sql, std::array<bool, 4> hide = {},
                   const std::string& timeFormat = "") {
    auto r = report("Checklist - Tabular");
    const char* names[] = {"HideEventName", "HideChecklistName", "HideTime", "HideAssignedTo"};
    for (int i = 0; i < 4; ++i) r->set(names[i], Variant(hide[static_cast<size_t>(i)]));
    r->set("TimeFormat", Variant(timeFormat));
    r->set("SQLWhere", Variant(sql));
    host_ = std::make_shared<frame::RecordingHost>();
    Run out;
    out.doc = r->run(&out.cancelled, host_);
    return out;
  }
};

struct Span {
  std::int32_t left, width;
  friend bool operator==(const Span&, const Span&) = default;
};

// Left and width of every item a control printed (relative to the band), empty when hidden.
std::vector<Span> spans(const doc::Document& d, const std::string& control) {
  std::vector<Span> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items) {
      if (it.control != control) continue;
      doc::Rect box;
      if (auto* t = std::get_if<doc::Text>(&it.content)) box = t->box;
      if (auto* c = std::get_if<doc::CheckBox>(&it.content)) box = c->box;
      out.push_back({box.left - kMargin, box.width});
    }
  return out;
}

// Every combination of the four hide properties against positions worked out by hand from the
// stored layout (twips). The left-hand columns depend on the first two properties, the date,
// time and assigned-to columns on the last two; hiding assigned-to also widens the item column
// up to wherever the date column then starts.
TEST_F(Checklist, EachHideCombinationMovesAndWidensTheColumns) {
  using Layout = std::map<std::string, Span>;  // absent: hidden
  // "control left width ..." for each combination.
  auto layout = [](const std::string& text) {
    Layout out;
    std::istringstream in(text);
    std::string c;
    for (Span s; in >> c >> s.left >> s.width;) out[c] = s;
    return out;
  };
  const char* left[4] = {
      "lblEventName 160 1760 txtEventName 160 1680 lblCheckList 1920 1920 "
      "txtChecklist 1920 1840 chkDone 3920 240 lblitem 3840 3200 txtItem 4160 2800",
      // event name hidden
      "lblCheckList 160 2800 txtChecklist 160 2720 chkDone 2960 240 lblitem 2960 4080 "
      "txtItem 3200 3680",
      // checklist name hidden
      "lblEventName 160 1760 txtEventName 160 1680 chkDone 1920 240 lblitem 1920 5120 "
      "txtItem 2160 4720",
      // both
      "chkDone 160 240 lblitem 160 6880 txtItem 400 6480"};
  const char* right[4] = {
      "lblDate 7040 1040 txtDate 7040 1040 lblTime 8080 1040 txtTime 8080 1040 "
      "lblAssignedTo 9120 1600 txtAssignedTo 9120 1600",
      // time hidden
      "lblDate 7040 1040 txtDate 7040 1040 lblAssignedTo 8080 2640 txtAssignedTo 8120 2640",
      // assigned-to hidden: time, then date, slide right to end at 10720
      "lblDate 8640 1040 txtDate 8640 1040 lblTime 9680 1040 txtTime 9680 1040",
      // both: the date column ends where the widened assigned-to column ended
      "lblDate 9680 1040 txtDate 9720 1040"};
  const char* controls[] = {"lblEventName", "txtEventName", "lblCheckList", "txtChecklist",
                            "chkDone",      "lblitem",      "txtItem",      "lblDate",
                            "txtDate",      "lblTime",      "txtTime",      "lblAssignedTo",
                            "txtAssignedTo"};
  for (int l = 0; l < 4; ++l)
    for (int r = 0; r < 4; ++r) {
      const bool hideAssigned = r >= 2;
      SCOPED_TRACE("hide event name " + std::to_string(l & 1) + ", checklist " +
                   std::to_string(l >> 1) + ", time " + std::to_string(r & 1) + ", assigned " +
                   std::to_string(hideAssigned));
      Layout want = layout(std::string(left[l]) + " " + right[r]);
      if (hideAssigned) {
        want["lblitem"].width = want["lblDate"].left - want["lblitem"].left;
        want["txtItem"].width = want["txtDate"].left - want["txtItem"].left;
      }
      const auto run =
          runChecklist(kQuery, {(l & 1) != 0, (l & 2) != 0, (r & 1) != 0, hideAssigned});
      ASSERT_FALSE(run.cancelled);
      for (const char* c : controls) {
        const auto it = want.find(c);
        const std::size_t printed = std::string(c).rfind("lbl", 0) == 0 ? 1 : 2;  // per row
        if (it == want.end())
          EXPECT_TRUE(spans(run.doc, c).empty()) << c;
        else
          EXPECT_EQ(spans(run.doc, c), std::vector<Span>(printed, it->second)) << c;
      }
    }
}

TEST_F(Checklist, TheHostsQueryRunsAsWrittenDateShowsTimeOnlyWhenItHasOne) {
  const auto run = runChecklist(kQuery + "ORDER BY ChecklistItems.DueDate", {}, "h:mm AP");
  EXPECT_THAT(texts(run.doc, "txtDate"), ElementsAre("7/1/2024", "7/2/2024 1:30:00 PM"));
  EXPECT_THAT(texts(run.doc, "txtTime"), ElementsAre("9:05 AM", "1:30 PM"));
  EXPECT_THAT(texts(run.doc, "txtItem"), ElementsAre("Book the venue", "Cake tasting"));
  EXPECT_TRUE(host_->messages.empty());
  const auto open = runChecklist(kQuery + "WHERE ChecklistItems.Done = 0 ORDER BY Item DESC");
  EXPECT_THAT(texts(open.doc, "txtItem"), ElementsAre("Cake tasting"));
  const auto all = runChecklist(kQuery + "ORDER BY Item DESC");
  EXPECT_THAT(texts(all.doc, "txtItem"), ElementsAre("Cake tasting", "Book the venue"));
}

TEST_F(Checklist, NoRowsShowsTheMessageOnceAndPrintsNothing) {
  const auto run = runChecklist(kQuery + "WHERE ChecklistItems.Item = 'none'");
  EXPECT_TRUE(run.cancelled);
  EXPECT_TRUE(run.doc.pages.empty());
  ASSERT_EQ(host_->messages.size(), 1u);
  EXPECT_EQ(host_->messages[0].text, "Nothing to Print!");
  EXPECT_EQ(host_->messages[0].caption, "Bridley Pro");
  EXPECT_EQ(host_->messages[0].icon, engine::MessageIcon::Information);
}

}  // namespace
}  // namespace galvix::testing
