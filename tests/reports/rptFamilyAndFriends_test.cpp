#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class MasterGuestList : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
  }
  // A group labelled after its adult's surname, so entries can be traced back to the surname.
  long group(const std::string& last, int adults = 1, long event = 0) {
    const long g = db().group(event ? event : event_, {.label = "The " + last + "s"});
    for (int i = 0; i < adults; ++i)
      db().guest(g, {.first = "A" + std::to_string(i), .last = last});
    return g;
  }
  doc::Document list(const std::string& where = "") {
    return run("Master Guest List", {{"EventID", Variant(static_cast<std::int32_t>(event_))},
                                     {"SQLWhere", Variant(where)}});
  }
  long event_ = 0;
};

TEST_F(MasterGuestList, OneEntryPerAdultNameOfTheEventUnderItsInitial) {
  group("Baker");
  const long twice = group("Brown", 2);                             // two adult names: listed twice
  db().guest(twice, {.first = "Kid", .last = "Brown", .type = 2});  // children are not listed
  db().guest(group("Young", 0), {.first = "Teen", .last = "Young", .type = 1});
  const long adams = group("Adams");
  group("Other", 1, db().event({.name = "Another event"}));

  auto d = list();
  EXPECT_THAT(texts(d, "txtLabel"),
              ElementsAre("The Adamss", "The Bakers", "The Browns", "The Browns"));
  EXPECT_THAT(texts(d, "txtNameChar"), ElementsAre("A", "B"));
  EXPECT_THAT(texts(d, "lblFrom"), ElementsAre("Adams"));
  EXPECT_THAT(texts(d, "lblTo"), ElementsAre("Brown"));
  // The standard footer names its page number Field4 here; Field3 is the category.
  EXPECT_THAT(texts(d, "Field4"), ElementsAre("1"));
  EXPECT_THAT(texts(d, "Field3"), ElementsAre("Family", "Family", "Family", "Family"));
  // The caller's clause must spell "Where" as the report tests it.
  const std::string clause = "GroupIDs.GroupID = " + std::to_string(adams);
  EXPECT_THAT(texts(list("Where " + clause), "txtLabel"), ElementsAre("The Adamss"));
  EXPECT_THAT(runError([&] { list("WHERE " + clause); }),
              AllOf(HasSubstr("Master Guest List"),
                    HasSubstr(" Where GuestNames.Type = 0 and GroupIDs.EventID = ")));
}

TEST_F(MasterGuestList, EachPageIsHeadedByItsFirstAndLastSurname) {
  for (char c = 'A'; c <= 'Z'; ++c)
    for (int i = 0; i < 3; ++i) group(std::string(1, c) + "ster" + std::to_string(i));
  auto d = list();
  ASSERT_GT(d.pages.size(), 2u);
  for (const auto& page : d.pages) {
    std::vector<std::string> labels, from, to;
    for (const auto& it : page.items)
      if (auto* t = std::get_if<doc::Text>(&it.content)) {
        if (it.control == "txtLabel") labels.push_back(t->text.substr(4, t->text.size() - 5));
        if (it.control == "lblFrom") from.push_back(t->text);
        if (it.control == "lblTo") to.push_back(t->text);
      }
    ASSERT_FALSE(labels.empty());
    EXPECT_THAT(from, ElementsAre(labels.front()));
    EXPECT_THAT(to, ElementsAre(labels.back()));
  }
}

}  // namespace
}  // namespace galvix::testing
