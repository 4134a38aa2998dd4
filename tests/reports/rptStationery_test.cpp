// Stationery: guest texts gathered over a row's guests, the merge into the template, the copy
// printed per row in a grid or one per page, and the one-copy fallback.
#include <gmock/gmock.h>

#include "render/rtf_reader.h"
#include "report_test_util.h"
#include "reports/labels/stationery_merge.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
namespace st = reports::stationery;

const std::string kAll =
    "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 <Guest's Name Here>|<Table#>|<Seat#>|<Menu "
    "Selection>}";

std::vector<std::string> rtfs(const doc::Document& d) {
  std::vector<std::string> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* r = std::get_if<doc::RichText>(&it.content); r && it.control == "rtfDocument")
        out.push_back(r->rtf);
  return out;
}

std::vector<doc::Rect> boxes(const doc::Document& d, std::size_t page) {
  std::vector<doc::Rect> out;
  for (const auto& it : d.pages.at(page).items)
    if (auto* r = std::get_if<doc::RichText>(&it.content); r && it.control == "rtfDocument")
      out.push_back(r->box);
  return out;
}

class Stationery : public PartyReportTest {
 protected:
  long guest(const std::string& first) { return db().guest(group_, {.first = first}); }
  long selection(long partyId) {
    return db().insert("StationerySetup", {{"PartyID", Variant(static_cast<int>(partyId))}});
  }
  void card(long st, const Variant& guestIds, const Variant& label, bool print = true) {
    db().insert("StationeryText", {{"StationeryID", Variant(static_cast<int>(st))},
                                   {"PartyGroupID", Variant(1)},
                                   {"GuestID", guestIds},
                                   {"Label", label},
                                   {"Print", Variant(print)}});
  }
  // Letter paper, copies 3600 x 2000 three across; `more` set after these.
  doc::Document runCards(long st, const std::string& tmpl, bool multiple = true,
                         const std::vector<std::pair<const char*, int>>& more = {}) {
    Props p{{"Text", Variant(tmpl)},
            {"StationeryID", Variant(static_cast<int>(st))},
            {"MultiplePerPage", Variant(multiple)}};
    const char* names[] = {"PaperWidth",   "PaperHeight", "TopMargin",   "LeftMargin",
                           "BottomMargin", "RightMargin", "LabelWidth",  "LabelHeight",
                           "HPitch",       "VPitch",      "NumberAcross"};
    const int values[] = {12240, 15840, 720, 540, 360, 300, 3600, 2000, 3800, 2200, 3};
    for (int i = 0; i < 11; ++i) p.emplace_back(names[i], Variant(values[i]));
    for (auto [k, v] : more) p.emplace_back(k, Variant(v));
    return run("Stationery", p);
  }
};

TEST_F(Stationery, TwoGuestsOfARowGatherTheirTablesSeatsAndMenus) {
  const long rose = db().table(party_, "Rose"), lily = db().table(party_, "Lily");
  const long fish = db().menu(party_, "Fish"), beef = db().menu(party_, "Beef");
  const long ann = guest("Ann"), bob = guest("Bob"), cy = guest("Cy"), di = guest("Di");
  db().invite(ann, party_, {.menuId = fish, .tableId = rose, .seat = 4});
  db().invite(bob, party_, {.menuId = beef, .tableId = rose, .seat = 5});
  db().invite(cy, party_, {.menuId = fish, .tableId = lily, .seat = 1});
  // Di is invited to another party only: nothing of hers is found for this one.
  const long other = db().party(event_, {.name = "Brunch"});
  db().invite(di, other,
              {.menuId = db().menu(other, "Eggs"), .tableId = db().table(other, "Oak"), .seat = 9});
  const long st = selection(party_);
  card(st, Variant(std::to_string(ann) + ";" + std::to_string(bob)), Variant("The Lees"));
  card(st, Variant(std::to_string(ann) + ";" + std::to_string(cy) + ";" + std::to_string(bob)),
       Variant("Three"));
  card(st, Variant(std::to_string(di)), Variant("Di"));
  EXPECT_THAT(
      rtfs(runCards(st, kAll)),
      ElementsAre("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 The Lees|Rose|4, 5|Fish, Beef}",
                  // A table is left out only when it is the whole text so far.
                  "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 Three|Rose, Lily, Rose|4, 1, "
                  "5|Fish, Fish, Beef}",
                  "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 Di|||}"));
}

TEST_F(Stationery, NoRowsGiveOneCopyWithoutPlaceholdersAndATemplateWithoutThemPrintsAsItIs) {
  const long st = selection(party_);
  card(st, Variant(""), Variant("Not chosen"), false);
  const doc::Document d = runCards(st, kAll);
  EXPECT_THAT(rtfs(d), ElementsAre("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 |||}"));
  EXPECT_EQ(d.pages.size(), 1u);
  // A selection without its setup row.
  EXPECT_THROW(runCards(99, kAll), ReportRunError);
  // A template without placeholders prints unchanged per row.
  const long ann = guest("Ann");
  db().invite(ann, party_, {.tableId = db().table(party_, "Rose"), .seat = 1});
  const long two = selection(party_);
  card(two, Variant(std::to_string(ann)), Variant("Ann"));
  card(two, Variant("not a number"), Variant("Bob"));
  const std::string plain = "{\\rtf1 Welcome to the <Party>}";
  EXPECT_THAT(rtfs(runCards(two, plain)), ElementsAre(plain, plain));
}

// Answers the merge's lookups, recording what it asks.
class Recorder : public st::GuestLookup {
 public:
  std::optional<TableSeat> tableAndSeat(const std::string& g) override {
    asked.push_back("table " + g);
    if (g == "bad") throw std::runtime_error("syntax error");
    if (g == "none") return std::nullopt;
    if (g == "null") return TableSeat{Variant::null(), Variant(3)};
    return TableSeat{Variant("T" + g), Variant(g)};
  }
  std::optional<Variant> menuItem(const std::string& g) override {
    asked.push_back("menu " + g);
    if (g == "bad") throw std::runtime_error("syntax error");
    if (g == "null") return Variant::null();
    return Variant("M" + g);
  }
  std::vector<std::string> asked;
};

TEST(StationeryMerge, AFailingStepIsSkippedAndTheNextOneRuns) {
  Recorder r;
  // A failing query, no row, a null table name and menu (the seat still counts), an empty
  // identifier (its row answers blank names), then a good one.
  const auto t = st::gatherGuestTexts("bad;none;null;;7", st::Placeholders::in(kAll), r);
  EXPECT_THAT(r.asked, ElementsAre("table bad", "menu bad", "table none", "menu none", "table null",
                                   "menu null", "table ", "menu ", "table 7", "menu 7"));
  EXPECT_EQ(t.table, "T, T7");
  EXPECT_EQ(t.seat, "3, , 7");
  EXPECT_EQ(t.menu, "Mnone, M, M7");
}

TEST(StationeryMerge, PlaceholdersReplacedInOrderAndTextsSplicedAsTheyAre) {
  const st::GuestTexts texts{"Rose", "4", "Fish"};
  // The name comes first, so a name holding another placeholder gets its text.
  EXPECT_EQ(
      st::mergeTemplate("<Guest's Name Here>/<Seat#>", "Seat <Seat#>\r\nTable <Table#>", texts),
      "Seat 4 \\par Table Rose/4");
  EXPECT_EQ(st::mergeTemplate("<Table#><Table#><Table#", "", texts), "RoseRose<Table#");
  // Replacements are not searched again.
  EXPECT_EQ(st::mergeTemplate("<Menu Selection>", "", {"", "", "<Menu Selection>"}),
            "<Menu Selection>");
  EXPECT_EQ(st::mergeTemplate("<Guest's Name Here>", "{\\b Zoë}", texts), "{\\b Zoë}");
}

TEST_F(Stationery, NullsFailedQueriesAndLineBreaksInTheRowsTexts) {
  const long ann = guest("Ann");
  db().invite(
      ann, party_,
      {.menuId = db().menu(party_, "Fish"), .tableId = db().table(party_, "Rose"), .seat = 2});
  const long st = selection(party_);
  card(st, Variant("x y;" + std::to_string(ann) + ";"), Variant::null());
  card(st, Variant::null(), Variant("Bob"));
  card(st, Variant(""), Variant("Ann Lee\r\nand Bob Lee"));
  const auto out = rtfs(runCards(st, kAll));
  ASSERT_EQ(out.size(), 3u);
  EXPECT_EQ(out[0], "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 |Rose|2|Fish}");
  EXPECT_EQ(out[1], "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 Bob|||}");
  // A multi-line name keeps its line breaks: the blank after the control word ends it; the one
  // before it stays.
  const auto doc = render::readRtf(out[2]);
  EXPECT_EQ(doc.paragraphs.size(), 2u);
  EXPECT_EQ(doc.plainText(), "Ann Lee \nand Bob Lee|||");
}

TEST_F(Stationery, CopiesInAGridOnePitchApartOrOnePerPage) {
  const long st = selection(party_);
  for (int i = 0; i < 8; ++i) card(st, Variant(""), Variant("Card " + std::to_string(i)));
  const doc::Document d =
      runCards(st, kAll, true,
               {{"PaperHeight", 7000}, {"BottomMargin", 0}, {"RightMargin", 0}, {"NumberDown", 7}});
  // Rows 2200 apart from 720: two rows (the second ends at 5120 + 2000 plus its gap) fit.
  ASSERT_EQ(d.pages.size(), 2u);
  EXPECT_THAT(boxes(d, 0),
              ElementsAre(doc::Rect{540, 720, 3600, 2000}, doc::Rect{4340, 720, 3600, 2000},
                          doc::Rect{8140, 720, 3600, 2000}, doc::Rect{540, 2920, 3600, 2000},
                          doc::Rect{4340, 2920, 3600, 2000}, doc::Rect{8140, 2920, 3600, 2000}));
  EXPECT_THAT(boxes(d, 1),
              ElementsAre(doc::Rect{540, 720, 3600, 2000}, doc::Rect{4340, 720, 3600, 2000}));
  // One per page, each filling the paper within its margins; its height (paper less the bottom
  // margin) runs past the page body: it stops there.
  const doc::Document one = runCards(st, kAll, false);
  ASSERT_EQ(one.pages.size(), 8u);
  for (std::size_t p = 0; p < 8; ++p)
    EXPECT_THAT(boxes(one, p),
                ElementsAre(doc::Rect{540, 720, 12240 - 540 - 300, 15840 - 360 - 720}));
}

}  // namespace
}  // namespace galvix::testing
