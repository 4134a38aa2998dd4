#include <gmock/gmock.h>
#include <string>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class PartyAttendance : public ReportTest {
 protected:
  // `parties` parties, each attended by one guest of one group; `unnamed` adds a party with no
  // sub-event (its column is "<>").
  doc::Document grid(int parties, bool unnamed = false) {
    long e = db().event();
    long g = db().group(e, {.label = "G", .category = "Family"});
    long ann = db().guest(g, {.first = "Ann", .last = "Lee"});
    for (int i = 0; i < parties; ++i) {
      std::string name = (i + 1 < 10 ? "P0" : "P") + std::to_string(i + 1);
      db().invite(ann, db().party(e, {.name = name}));
    }
    if (unnamed) db().invite(ann, db().party(e, {.name = ""}));
    db().party(e, {.name = "Nobody comes"});
    return run("Guest Party Attendance",
               {{"EventID", Variant(static_cast<int>(e))}, {"SQLWhere", Variant("")}});
  }
  static std::vector<int> labelLefts(const doc::Document& d) {
    std::vector<int> out;
    for (const auto& it : d.pages[0].items)
      if (it.control.find("lblPartyName") != std::string::npos)
        out.push_back(std::get<doc::Text>(it.content).box.left);
    return out;
  }
  static const doc::Text& item(const doc::Document& d, const std::string& name) {
    return *firstText(d, name);
  }
};

TEST_F(PartyAttendance, ColumnsPerAttendedPartyTurnTheLandscapeAtTenAndStopAtFourteen) {
  // Nine columns stay portrait.
  auto d = grid(9);
  EXPECT_FALSE(d.pages[0].landscape);
  auto lefts = labelLefts(d);
  ASSERT_EQ(lefts.size(), 9u);
  // Columns start beside the count column and are 790 twips apart.
  for (size_t i = 0; i < lefts.size(); ++i)
    EXPECT_EQ(lefts[i] - lefts[0], 790 * static_cast<int>(i));
  EXPECT_TRUE(host_->messages.empty());
  EXPECT_THAT(texts(d, "0lblPartyName"), ElementsAre("P01"));  // parties nobody attends: no column

  // Ten turn the page to landscape without a message.
  d = grid(10);
  EXPECT_TRUE(d.pages[0].landscape);
  EXPECT_EQ(item(d, "lblTitle").box.width, 14400);
  EXPECT_EQ(labelLefts(d).size(), 10u);
  EXPECT_TRUE(host_->messages.empty());
  // Header and footer span the landscape body: 15840 wide, 720 margins.
  for (const char* rule : {"Line1", "Line2"}) {
    const doc::Line* l = nullptr;
    for (const auto& it : d.pages[0].items)
      if (it.control == rule) l = std::get_if<doc::Line>(&it.content);
    ASSERT_TRUE(l) << rule;
    EXPECT_EQ(l->x1, 720) << rule;
    EXPECT_GE(l->x2, 720 + 14400) << rule;
  }
  const auto& footer = item(d, "txtCompanyFooter").box;
  EXPECT_EQ(footer.left + footer.width, 720 + 14400);
  // The page number stays in the middle of the page.
  const int middle = (item(d, "Field3").box.left + item(d, "txtPageTtl").box.left +
                      item(d, "txtPageTtl").box.width) /
                     2;
  EXPECT_NEAR(middle, 15840 / 2, 100);

  // Sixteen show fourteen and warn once.
  d = grid(16);
  EXPECT_EQ(labelLefts(d).size(), 14u);
  ASSERT_EQ(host_->messages.size(), 1u);
  EXPECT_EQ(host_->messages[0].text,
            "You have more parties than can be displyed on the report.  Some parties will not "
            "be shown.");
  EXPECT_EQ(host_->messages[0].caption, "Galvo Pro Reports");

  // An unnamed party's column gets no check box.
  d = grid(2, true);
  EXPECT_THAT(texts(d, "0lblPartyName"), ElementsAre());
  EXPECT_THAT(texts(d, "1lblPartyName"), ElementsAre("P01"));
  EXPECT_THAT(texts(d, "txtTotalAttending"), ElementsAre("3"));
}

}  // namespace
}  // namespace galvix::testing
