#include <gtest/gtest.h>

#include "engine/layout.h"
#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(tstEmbedded);

namespace galvix::engine {
namespace {

struct BadLayout {
  const char* json;
  const char* message;
};

class MalformedLayout : public ::testing::TestWithParam<BadLayout> {};

TEST_P(MalformedLayout, FailsWithFilePathAndReason) {
  try {
    loadLayout(GetParam().json, "rptBad.json");
    FAIL() << "loaded";
  } catch (const LayoutError& e) {
    EXPECT_EQ(std::string(e.what()), GetParam().message);
    EXPECT_EQ(e.file(), "rptBad.json");
  }
}

#define SECTIONS(x) "{\"version\":1,\"name\":\"r\",\"sections\":[" x "]}"

INSTANTIATE_TEST_SUITE_P(
    Cases, MalformedLayout,
    ::testing::Values(
        BadLayout{"{\"name\":\"r\",\"sections\":[]}",
                  "rptBad.json: /: missing required key 'version'"},
        BadLayout{SECTIONS("{\"kind\":\"detail\",\"name\":\"Detail\",\"heigth\":20}"),
                  "rptBad.json: /sections/0: unknown key 'heigth'"},
        BadLayout{SECTIONS("{\"kind\":\"pageHeader\",\"name\":\"PH\",\"controls\":[{\"kind\":"
                           "\"label\",\"name\":\"lblA\"}]},{\"kind\":\"detail\",\"name\":"
                           "\"Detail\",\"controls\":[{\"kind\":\"field\",\"name\":\"LBLA\"}]}"),
                  "rptBad.json: /sections/1/controls/0/name: duplicate name 'LBLA'"},
        BadLayout{SECTIONS("{\"kind\":\"detail\",\"name\":\"Detail\",\"controls\":[{\"kind\":"
                           "\"field\",\"name\":\"f\",\"height\":-5}]}"),
                  "rptBad.json: /sections/0/controls/0/height: must not be negative (got -5)"},
        BadLayout{SECTIONS("{\"kind\":\"detail\",\"name\":\"Detail\"},{\"kind\":\"pageHeader\","
                           "\"name\":\"PH\"}"),
                  "rptBad.json: /sections/1: a pageHeader cannot follow the sections before it "
                  "(order: reportHeader, pageHeader, groupHeader..., detail, groupFooter..., "
                  "pageFooter, reportFooter)"},
        BadLayout{SECTIONS("{\"kind\":\"groupHeader\",\"name\":\"gh\",\"dataField\":\"A\"},{"
                           "\"kind\":\"detail\",\"name\":\"Detail\"}"),
                  "rptBad.json: /sections: each group header needs a group footer (1 headers, 0 "
                  "footers)"},
        BadLayout{SECTIONS("{\"kind\":\"detail\",\"name\":\"Detail\",\"controls\":[{\"kind\":"
                           "\"field\",\"name\":\"f\",\"summary\":{\"type\":\"subTotal\",\"group\":"
                           "\"ghNone\"}}]}"),
                  "rptBad.json: /sections/0/controls/0/summary/group: no group header named "
                  "'ghNone'"},
        BadLayout{SECTIONS("{\"kind\":\"detail\",\"name\":\"Detail\",\"dataField\":\"A\"}"),
                  "rptBad.json: /sections/0/dataField: only group headers have 'dataField'"}));

TEST(MalformedLayout, NotJsonNamesTheFile) {
  // Cut short, and a number no type holds (found by fuzzing: it escaped as another exception).
  for (const char* bad : {"{\"version\":1,", "{\"version\": 66577E77777777777777777777770}"}) {
    try {
      loadLayout(bad, "rptBad.json");
      ADD_FAILURE() << bad;
    } catch (const LayoutError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("rptBad.json: /: not valid JSON", 0), 0u) << e.what();
    }
  }
}

TEST(Layout, LoadsSectionsControlsAndPageAndFindsEmbeddedOnes) {
  auto l = loadLayout(R"({
    "version": 1, "name": "rptX",
    "page": {"orientation": "landscape", "paperWidth": 12240, "paperHeight": 15840,
             "margins": {"left": 720, "right": 720, "top": 360, "bottom": 360}},
    "data": {"source": "SELECT 1"},
    "sections": [
      {"kind": "groupHeader", "name": "ghParty", "dataField": "PartyName", "breakOn": "PartyID",
       "groupKeepTogether": "firstDetail", "height": 400},
      {"kind": "detail", "name": "Detail", "height": 270,
       "columns": {"count": 3, "spacing": 180, "direction": "acrossDown"},
       "controls": [
         {"kind": "field", "name": "txtA", "left": 10, "top": 20, "width": 300, "height": 270,
          "dataField": "=Left(Name, 1) ", "font": {"name": "Times New Roman", "size": 12, "bold": true},
          "alignment": "right", "foreColor": "#FF0000", "border": {"all": "solid"}, "canGrow": true},
         {"kind": "line", "name": "ln", "x1": 0, "y1": 10, "x2": 500, "y2": 10}]},
      {"kind": "groupFooter", "name": "gfParty", "height": 0, "visible": false}
    ]})",
                      "x.json");
  EXPECT_EQ(l->page.orientation, Orientation::Landscape);
  EXPECT_EQ(l->source, "SELECT 1");
  ASSERT_EQ(l->sections.size(), 3u);
  EXPECT_EQ(l->sections[0].state.breakOn, "PartyID");
  EXPECT_EQ(l->sections[0].state.groupKeepTogether, GroupKeepTogether::FirstDetail);
  const auto& d = l->sections[1];
  EXPECT_EQ(d.state.columnCount, 3);
  EXPECT_EQ(d.state.columnDirection, ColumnDirection::AcrossDown);
  const auto& f = d.controls[0];
  EXPECT_EQ(f.font.name, "Times New Roman");
  EXPECT_TRUE(f.font.bold);
  EXPECT_EQ(f.alignment, doc::HAlign::Right);
  EXPECT_EQ(f.foreColor, doc::rgb(255, 0, 0));
  EXPECT_EQ(f.border.bottom, doc::LineStyle::Solid);
  EXPECT_EQ(d.controls[1].width, 500);
  EXPECT_FALSE(l->sections[2].state.visible);

  // Layouts linked into the program are found by name and parsed once.
  const EmbeddedLayout& e = layouts::tstEmbedded();
  EXPECT_EQ(findEmbeddedLayout("TSTEMBEDDED"), &e);
  EXPECT_EQ(e.layout()->name, "tstEmbedded");
  EXPECT_EQ(e.layout().get(), e.layout().get());
}

}  // namespace
}  // namespace galvix::engine
