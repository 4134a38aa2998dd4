// The designer shown in docs/engine.md, compiled and run as written.
#include <gtest/gtest.h>

#include "engine/layout_embed.h"
#include "engine_test_util.h"

GALVIX_USE_LAYOUT(rptExample);

namespace galvix::reports {
using namespace galvix::engine;

class RptExample : public Report {
 public:
  RptExample() : Report(layouts::rptExample()) {
    onFormat("ghPartyName", [this] { partyCount_ = 0; });
    onFormat("Detail", [this] {
      ++partyCount_;
      auto phone = data().recordset().value("HPhone");  // the row being formatted
      field("txtContact").setText(phone.isNull() ? "" : "(H) " + phone.toString());
    });
    // Runs after the group's details were formatted: the count is complete.
    onBeforePrint("ghPartyName",
                  [this] { field("txtCount").setText(std::to_string(partyCount_)); });
  }
  void setTitle(std::string t) { label("lblTitle").setCaption(std::move(t)); }
  void setConnectionString(std::string c) { data().setConnectionString(std::move(c)); }

  void onReportStart() override {
    data().setSource("SELECT * FROM Guests " + where_);
    section("Detail").addLabel("lblRuntime").setCaption("added at run time");
  }
  void onNoData() override {
    host().message("Nothing to print.", "Galvo Pro Reports", MessageIcon::Information);
    cancel();
  }
  void onPageStart() override {  // sees the row of the page's first band
    label("lblFrom").setCaption(data().recordset().value("LastName").displayText());
  }

 private:
  std::string where_;
  int partyCount_ = 0;
};

}  // namespace galvix::reports

namespace galvix::reports {
namespace {

TEST(ExampleDesigner, RunsAsDocumented) {
  RptExample r;
  r.setTitle("Smith - Jones");
  r.data().setRows({"PartyID", "Party", "LastName", "HPhone"},
                   {{1, "Dinner", "Adams", "555-1"},
                    {1, "Dinner", "Baker", Variant::null()},
                    {2, "Brunch", "Cole", "555-3"}});
  auto res = engine::test::run(r);
  ASSERT_FALSE(res.cancelled);
  using engine::test::allTexts, engine::test::Strings;
  EXPECT_EQ(allTexts(res.document, "lblTitle"), Strings{"Smith - Jones"});
  EXPECT_EQ(allTexts(res.document, "lblFrom"), Strings{"Adams"});
  EXPECT_EQ(allTexts(res.document, "txtCount"), (Strings{"2", "1"}));
  EXPECT_EQ(allTexts(res.document, "txtContact"), (Strings{"(H) 555-1", "", "(H) 555-3"}));
  EXPECT_EQ(allTexts(res.document, "lblRuntime").size(), 3u);
}

}  // namespace
}  // namespace galvix::reports
