// Layouts that name a frame: the frame's header and footer merged in, the layout's differences
// applied, and anchored controls following a page turned at run time.
#include <gtest/gtest.h>

#include "engine/layout_embed.h"
#include "engine_test_util.h"

GALVIX_USE_LAYOUT(tstFrame);

namespace galvix::engine {
namespace {

using test::layoutOf;
using test::texts;

std::string framed(const std::string& frame, const std::string& sections = {}) {
  (void)layouts::tstFrame();
  return R"({"version": 1, "name": "rptFramed", "frame": )" + frame +
         R"(, "page": {"paperWidth": 6000, "paperHeight": 8000,
             "margins": {"left": 500, "right": 500, "top": 500, "bottom": 500}},
           "sections": [)" +
         (sections.empty() ? std::string() : sections + ",") +
         R"({"kind": "detail", "name": "Detail", "height": 300, "controls": [
               {"kind": "field", "name": "txtName", "dataField": "Name", "width": 2000, "height": 240}]}]})";
}

std::vector<std::string> controlNames(const LayoutSection& s) {
  std::vector<std::string> out;
  for (const auto& c : s.controls) out.push_back(c.name);
  return out;
}

TEST(Frame, MergesItsSectionsAroundTheLayoutsOwnWithItsDifferences) {
  auto l = layoutOf(framed(R"("tstFrame")", R"({"kind": "pageHeader", "name": "PageHeader",
      "controls": [{"kind": "label", "name": "lblColumn", "top": 800, "width": 900, "height": 240}]})"));
  ASSERT_EQ(l->sections.size(), 3u);
  EXPECT_EQ(l->sections[0].state.kind, SectionKind::PageHeader);
  EXPECT_EQ(l->sections[0].state.height, 800);  // the frame's, as the layout gives none
  EXPECT_EQ(controlNames(l->sections[0]), (test::Strings{"lblTitle", "Line1", "lblColumn"}));
  EXPECT_EQ(l->sections[1].state.kind, SectionKind::Detail);
  EXPECT_EQ(l->sections[2].state.kind, SectionKind::PageFooter);
  EXPECT_EQ(controlNames(l->sections[2]), (test::Strings{"Field3", "txtCompanyFooter"}));

  // The layout states only how it differs.
  l = layoutOf(framed(R"({"name": "tstFrame", "header": "reportHeader", "omit": ["Line1"],
      "rename": {"Field3": "Field4"},
      "set": {"txtCompanyFooter": {"width": 1000, "left": 4000}, "lblTitle": {"caption": null}}})",
                      R"({"kind": "pageHeader", "name": "PageHeader", "height": 300})"));
  ASSERT_EQ(l->sections.size(), 4u);
  EXPECT_EQ(l->sections[0].state.kind, SectionKind::ReportHeader);
  EXPECT_EQ(l->sections[0].state.height, 800);
  EXPECT_EQ(controlNames(l->sections[0]), (test::Strings{"lblTitle"}));
  EXPECT_EQ(l->sections[0].controls[0].caption, "");  // null removes a key: back to its default
  EXPECT_EQ(l->sections[1].state.kind, SectionKind::PageHeader);
  EXPECT_EQ(l->sections[1].state.height, 300);
  EXPECT_TRUE(l->sections[1].controls.empty());
  EXPECT_EQ(controlNames(l->sections[3]), (test::Strings{"Field4", "txtCompanyFooter"}));
  const auto& footer = l->sections[3].controls[1];
  EXPECT_EQ(footer.left, 4000);
  EXPECT_EQ(footer.width, 1000);
  EXPECT_EQ(footer.anchor, Anchor::Right);  // what is not set stays the frame's
}

TEST(Frame, MistakesNameWhereTheyAre) {
  struct Case {
    std::string frame, message;
  } cases[] = {
      {R"("noSuchFrame")", "test.json: /frame: no frame named 'noSuchFrame' is linked in"},
      {R"({"name": "tstFrame", "omit": ["lblTitel"]})",
       "test.json: /frame/omit/0: frame 'tstFrame' has no control 'lblTitel'"},
      {R"({"name": "tstFrame", "set": {"Field3": {"name": "Field4"}}})",
       "test.json: /frame/set/Field3/name: a frame control's name cannot be set (use \"rename\")"},
      {R"({"name": "tstFrame", "set": {"Field3": {"heigth": 5}}})",
       "test.json: /frame/set/Field3: unknown key 'heigth'"},
  };
  for (const auto& c : cases) {
    try {
      layoutOf(framed(c.frame));
      ADD_FAILURE() << "loaded: " << c.frame;
    } catch (const LayoutError& e) {
      EXPECT_EQ(std::string(e.what()), c.message);
    }
  }
  // A layout control named like a frame control is a duplicate, as within one layout.
  EXPECT_THROW(layoutOf(framed(R"("tstFrame")", R"({"kind": "reportHeader", "name": "RH",
      "controls": [{"kind": "label", "name": "LBLTITLE"}]})")),
               LayoutError);
}

TEST(Frame, AnchoredControlsFollowAPageTurnedAtRunTime) {
  class R : public Report {
   public:
    explicit R(int orientation)
        : Report(layoutOf(framed(R"("tstFrame")"))), orientation_(orientation) {
      data().setRows({"Name"}, {{"a"}});
    }
    void onReportStart() override {
      setPrinterOrientation(orientation_);
      // Set after the turn, a handler's own width wins over the anchor.
      if (orientation_ == 2) line("Line1").setWidth(line("Line1").width() + 100);
    }
    int orientation_;
  };
  R portrait(1), landscape(2);
  const auto p = test::run(portrait).document, l = test::run(landscape).document;
  const std::int32_t delta = 8000 - 6000;  // the body is this much wider on its side
  EXPECT_EQ(texts(p, 1, "lblTitle")[0]->box.width, 5000);
  EXPECT_EQ(texts(l, 1, "lblTitle")[0]->box.width, 5000 + delta);
  EXPECT_EQ(texts(l, 1, "Field3")[0]->box.left, texts(p, 1, "Field3")[0]->box.left + delta / 2);
  EXPECT_EQ(texts(l, 1, "txtCompanyFooter")[0]->box.left,
            texts(p, 1, "txtCompanyFooter")[0]->box.left + delta);
  EXPECT_EQ(texts(l, 1, "txtName")[0]->box.left, texts(p, 1, "txtName")[0]->box.left);
  for (const auto& it : l.pages[0].items)
    if (it.control == "Line1") {
      const auto& line = std::get<doc::Line>(it.content);
      EXPECT_EQ(line.x2 - line.x1, 5000 + delta + 100);
    }
}

TEST(Growth, GrownBandKeepsItsBottomSpaceAndMovesLinesBelow) {
  Report r(layoutOf(R"J({"version": 1, "name": "rptPad", "sections": [
    {"kind": "detail", "name": "Detail", "height": 400, "pushDown": true, "controls": [
      {"kind": "field", "name": "txtName", "dataField": "Name", "top": 30, "width": 1000,
       "height": 240, "canGrow": true},
      {"kind": "line", "name": "lnUnder", "x1": 0, "y1": 300, "x2": 1000, "y2": 300}]}]})J"));
  r.data().setRows({"Name"}, {{Variant::string("a\nb\nc")}, {"d"}});
  auto res = test::run(r);
  const std::int32_t growth = test::threeLineGrowth();
  auto names = texts(res.document, 1, "txtName");
  ASSERT_EQ(names.size(), 2u);
  // 30 + grown text + the line, then the 100 twips the design leaves under the line.
  EXPECT_EQ(names[1]->box.top - names[0]->box.top, 400 + growth);
  std::vector<std::int32_t> ys;
  for (const auto& it : res.document.pages[0].items)
    if (auto* l = std::get_if<doc::Line>(&it.content)) ys.push_back(l->y1);
  ASSERT_EQ(ys.size(), 2u);
  EXPECT_EQ(ys[0] - names[0]->box.top, 270 + growth);
}

}  // namespace
}  // namespace galvix::engine
