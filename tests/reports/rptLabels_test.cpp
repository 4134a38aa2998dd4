// Mailing labels and envelopes: label sheets against their published dimensions, the envelope
// cases by the placement rules with a measurer of known sizes, and what must never loop or crash.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdio>

#include "engine/run.h"
#include "frame/catalogue.h"
#include "render/render.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

// `p` with the settings `name, value, ...` added after its own.
Props with(Props p) {
  return p;
}
template <typename V, typename... Rest>
Props with(Props p, const char* name, V value, Rest... rest) {
  p.emplace_back(name, Variant(value));
  return with(std::move(p), rest...);
}

// Every character 100 twips wide, every line 240 high: "T" is 240 high, a 30-character line is
// 3000 wide.
class KnownSizes : public engine::TextMeasurer {
 public:
  engine::TextExtent measure(std::string_view text, const doc::Font&, std::int32_t) override {
    std::int32_t widest = 0, lines = 1, run = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
      if (text[i] != '\r' && text[i] != '\n') {
        widest = std::max(widest, ++run * 100);
      } else {
        i += text.compare(i, 2, "\r\n") == 0;  // "\r\n" is one break
        ++lines;
        run = 0;
      }
    return {widest, lines * 240};
  }
  std::int32_t measureRichHeight(std::string_view, std::int32_t) override { return 0; }
};

class Labels : public ReportTest {
 protected:
  void label(long setup, const std::string& text, const std::string& lookup, bool print = true) {
    db().insert("LabelText", {{"LabelSetupID", Variant(static_cast<int>(setup))},
                              {"Label", Variant(text)},
                              {"Print", Variant(print)},
                              {"Lookup", Variant(lookup)}});
  }
  void envelope(long id, const std::string& text, const std::string& lookup) {
    db().insert("EnvelopeText", {{"EnvelopeID", Variant(static_cast<int>(id))},
                                 {"Label", Variant(text)},
                                 {"Print", Variant(true)},
                                 {"Lookup", Variant(lookup)}});
  }

  doc::Document runLabels(const Props& props) { return run("rptLabels", props); }

  // Runs the report with the measurer of known sizes (through the engine, as the library would
  // with its own measurer).
  engine::RunResult runMeasured(const Props& props) {
    auto r = frame::newReport("rptLabels");
    r->set("ConnectionString", Variant(db().connectionString()));
    for (const auto& [k, v] : props) r->set(k, v);
    host_ = std::make_shared<frame::RecordingHost>();
    engine::RunOptions opt;
    opt.measurer = &sizes_;
    opt.host = host_;
    return engine::runReport(*r, opt);
  }

  KnownSizes sizes_;
};

// A sheet as label makers publish it, in twips.
struct Sheet {
  int paperWidth, paperHeight, top, left, width, height, hPitch, vPitch, across, down;
  Props props() const {
    return with({}, "Envelopes", false, "PaperSetupID", 1, "PaperWidth", paperWidth, "PaperHeight",
                paperHeight, "TMargin", top, "LMargin", left, "LabelWidth", width, "LabelHeight",
                height, "HPitch", hPitch, "VPitch", vPitch, "NumberAcross", across, "FontName",
                "Arial", "FontSize", 9);
  }
};

// 3 x 10 address labels on Letter (2 5/8 x 1 in, 2 3/4 in apart, margins 1/2 and 3/16 in).
const Sheet kLetter{12240, 15840, 720, 270, 3780, 1440, 3960, 1440, 3, 10};

TEST_F(Labels, StandardSheetsLineUpWithTheirPublishedDimensions) {
  auto mm = [](double v) { return static_cast<int>(std::lround(v * 1440 / 25.4)); };
  // Letter, and 2 x 7 on A4 (99.1 x 38.1 mm, 101.6 mm apart, margins 15.1 and 4.65 mm).
  const Sheet sheets[] = {
      kLetter,
      {mm(210), mm(297), mm(15.1), mm(4.65), mm(99.1), mm(38.1), mm(101.6), mm(38.1), 2, 7}};
  for (const Sheet& s : sheets) {
    SCOPED_TRACE(s.across);
    const int perSheet = s.across * s.down;
    for (int i = 0; i < perSheet + 1; ++i) {
      char key[16];
      std::snprintf(key, sizeof key, "%03d", i);
      label(1, "Guest " + std::to_string(i) + "\r\n1 Main Street\r\nSpringfield", key);
    }
    const doc::Document d = runLabels(s.props());
    ASSERT_EQ(d.pages.size(), 2u);
    EXPECT_EQ(d.pages[0].width, s.paperWidth);
    EXPECT_EQ(d.pages[0].height, s.paperHeight);
    int n = 0;
    for (const auto& page : d.pages)
      for (const auto& it : page.items) {
        const auto* t = std::get_if<doc::Text>(&it.content);
        if (!t || it.control != "txtLabel") continue;
        const int k = n % perSheet;
        EXPECT_EQ(t->text, "Guest " + std::to_string(n) + "\r\n1 Main Street\r\nSpringfield");
        // The text starts 180 twips inside the label, which it fills to its right edge.
        EXPECT_EQ(t->box.left, s.left + (k % s.across) * s.hPitch + 180) << n;
        EXPECT_EQ(t->box.top, s.top + (k / s.across) * s.vPitch) << n;
        EXPECT_EQ(t->box.width, s.width - 180);
        EXPECT_EQ(t->box.height, s.height);
        EXPECT_EQ(t->valign, doc::VAlign::Middle);
        ++n;
      }
    EXPECT_EQ(n, perSheet + 1);
    db().exec("DELETE FROM LabelText");
  }
}

TEST_F(Labels, OnlyTheSetupsPrintedTextsInLookupOrderSideBySideWhenThePitchIsShort) {
  for (int i = 3; i >= 0; --i) label(1, "L" + std::to_string(i), std::to_string(i));
  label(1, "Skipped", "1a", false);
  label(2, "Other setup", "0a");
  // Pitches 1000 twips short of the label: spacing 0 across, a negative gap band down.
  const Sheet tight{12240, 15840, 720, 270, 3780, 1440, 2780, 440, 2, 10};
  const doc::Document d = runLabels(tight.props());
  EXPECT_THAT(texts(d, "txtLabel"), ElementsAre("L0", "L1", "L2", "L3"));
  std::vector<std::pair<int, int>> at;
  for (const auto& it : d.pages.at(0).items)
    if (auto* t = std::get_if<doc::Text>(&it.content); t && it.control == "txtLabel")
      at.emplace_back(t->box.left, t->box.top);
  EXPECT_THAT(at, ElementsAre(std::pair{450, 720}, std::pair{450 + 3780, 720},
                              std::pair{450, 720 + 1440}, std::pair{450 + 3780, 720 + 1440}));
}

TEST_F(Labels, OddSheetsEndWithoutLoopingOrCrashingAndOverflowsAreErrors) {
  for (int i = 0; i < 40; ++i) label(1, "L" + std::to_string(i), std::to_string(100 + i));
  struct Case {
    const char* what;
    Sheet sheet;
    std::size_t pages;
  } cases[] = {
      {"labels of no size", {12240, 15840, 720, 270, 0, 0, 0, 0, 3, 10}, 1},
      {"a label taller than the sheet",
       {12240, 15840, 720, 270, 3780, 40000, 3960, 40000, 3, 1},
       14},
      {"more columns than a sheet could hold",
       {12240, 15840, 720, 270, 3780, 1440, 3960, 1440, 2000000000, 10},
       1},
      {"no columns", {12240, 15840, 720, 270, 3780, 1440, 3960, 1440, 0, 10}, 4},
      {"pitches far below the label",
       {12240, 15840, 720, 270, 3780, 1440, -50000, -50000, 3, 10},
       2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const doc::Document d = runLabels(c.sheet.props());
    EXPECT_EQ(d.pages.size(), c.pages);
    EXPECT_EQ(texts(d, "txtLabel").size(), 40u);
  }
  // Sizes beyond the integer range.
  EXPECT_THROW(runLabels(with(kLetter.props(), "HPitch", 3e9)), ReportRunError);
  EXPECT_THROW(runLabels(with(kLetter.props(), "VPitch", 2.0e9, "LabelHeight", -2.0e9)),
               ReportRunError);
}

TEST_F(Labels, NothingSelectedShowsTheMessageAndPrintsNothing) {
  label(1, "Not printed", "a", false);
  for (bool envelopes : {false, true}) {
    auto r = report("rptLabels");
    for (const auto& [k, v] : with({}, "Envelopes", envelopes, "PaperSetupID", 1, "PaperWidth",
                                   12240, "PaperHeight", 15840))
      r->set(k, v);
    host_ = std::make_shared<frame::RecordingHost>();
    bool cancelled = false;
    const doc::Document d = r->run(&cancelled, host_);
    EXPECT_TRUE(cancelled);
    EXPECT_TRUE(d.pages.empty());
    ASSERT_EQ(host_->messages.size(), 1u);
    EXPECT_EQ(host_->messages[0].text, "You have not selected any guests.");
    EXPECT_EQ(host_->messages[0].caption, "Bridley");
    EXPECT_EQ(host_->messages[0].icon, engine::MessageIcon::Information);
  }
}

TEST_F(Labels, LabelModeIgnoresTheEnvelopeSettings) {
  label(1, "Ann Lee\r\n1 Main Street", "a");
  const Props p =
      with(kLetter.props(), "Orientation", 2, "PaperSize", 20, "TextAngle", 90,
           "AutoPositionContent", false, "ContentTopPosition", 5000, "ContentLeftPosition", 6000);
  const doc::Document plain = runLabels(kLetter.props()), set = runLabels(p);
  ASSERT_EQ(set.pages.size(), 1u);
  EXPECT_EQ(set.pages[0].width, plain.pages[0].width);
  EXPECT_EQ(set.pages[0].height, plain.pages[0].height);
  EXPECT_FALSE(set.pages[0].landscape);
  const doc::Text *a = firstText(plain, "txtLabel"), *b = firstText(set, "txtLabel");
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->box, b->box);
  EXPECT_EQ(b->angle, 0);
  // No return address: its label prints nothing.
  EXPECT_THAT(texts(set, "txtReturn"), ElementsAre(""));
}

// 9.5 x 4.125 in, "T" 240 high, the widest line 3000 wide.
const Props kEnvelope = with({}, "Envelopes", true, "PaperSetupID", 7, "PaperSize", 256,
                             "Orientation", 1, "PaperWidth", 13680, "PaperHeight", 5940);

TEST_F(Labels, EveryEnvelopeCase) {
  const std::string address = "Mr. and Mrs. Arthur Pendlebury\r\n12 Oak Street";  // w = 3000
  const std::string from = "Ana Ferreira\r\n12 Rua das Flores";                   // 1700 wide
  envelope(7, address, "a");
  envelope(7, address, "b");
  const double W = 13680, H = 5940, D = H - 10, T = 240, w = 3000, r = 1700 + 500;
  const double RT = 500, RL = 600, CT = 2000, CL = 1000;
  for (int angle : {0, 90})
    for (bool autoReturn : {true, false})
      for (bool autoContent : {true, false})
        for (int align : {0, 1, 2}) {
          SCOPED_TRACE(::testing::Message()
                       << "angle " << angle << ", automatic return " << autoReturn
                       << ", automatic address " << autoContent << ", alignment " << align);
          const Props p =
              with(kEnvelope, "TextAngle", angle, "ReturnAddress", "  " + from + "  ",
                   "AutoPositionReturn", autoReturn, "ReturnTopPosition", RT, "ReturnLeftPosition",
                   RL, "AutoPositionContent", autoContent, "ContentTopPosition", CT,
                   "ContentLeftPosition", CL, "LAlignment", align, "FontName", "Georgia",
                   "FontSize", 13, "FontBold", true, "FontColor", 255);
          const auto res = runMeasured(p);
          ASSERT_EQ(res.document.pages.size(), 2u);
          const doc::Text* ret = firstText(res.document, "txtReturn");
          const doc::Text* txt = firstText(res.document, "txtLabel");
          ASSERT_TRUE(ret && txt);
          auto box = [](double l, double t, double wd, double ht) {
            return doc::Rect{static_cast<int>(l), static_cast<int>(t), static_cast<int>(wd),
                             static_cast<int>(ht)};
          };
          const doc::HAlign given = align == 1   ? doc::HAlign::Right
                                    : align == 2 ? doc::HAlign::Center
                                                 : doc::HAlign::Left;
          const doc::VAlign turned = align == 1 ? doc::VAlign::Bottom : doc::VAlign::Middle;
          EXPECT_EQ(ret->text, from);  // trimmed
          EXPECT_EQ(txt->text, address);
          EXPECT_EQ(txt->font.name, "Georgia");
          EXPECT_EQ(txt->font.size, 13);
          EXPECT_TRUE(ret->font.bold);
          EXPECT_EQ(txt->foreColor, 255u);
          EXPECT_EQ(ret->foreColor, 255u);
          EXPECT_EQ(ret->angle, angle * 10);
          EXPECT_EQ(txt->angle, angle * 10);
          if (angle == 0) {
            EXPECT_EQ(ret->box,
                      autoReturn ? box(360, 360, r, D / 2) : box(RL, RT, r, D - RT - 100));
            EXPECT_EQ(ret->align, given);
            EXPECT_EQ(ret->valign, doc::VAlign::Top);
            EXPECT_EQ(txt->box, autoContent
                                    ? box(W / 2 - w / 2, H / 2 - T, w + 500, D - (H / 2 - T) - 300)
                                    : box(CL, CT, w + 500, H - CT - T - 10));
            EXPECT_EQ(txt->align, given);
            EXPECT_EQ(txt->valign, doc::VAlign::Top);
          } else {
            // Turned, the return address keeps the layout's width.
            EXPECT_EQ(ret->box,
                      autoReturn ? box(300, H - r - 360, 3600, r) : box(RT, H - RL - r, 3600, r));
            EXPECT_EQ(ret->align, doc::HAlign::Left);
            EXPECT_EQ(ret->valign, turned);
            EXPECT_EQ(txt->box, autoContent ? box(W / 2 - w / 2, H / 2 - w / 2, w + 500, w + 300)
                                            : box(CT, H - CL - w, w + 500, w + 200));
            EXPECT_EQ(txt->align, autoContent ? doc::HAlign::Center : doc::HAlign::Left);
            EXPECT_EQ(txt->valign, turned);
          }
        }
}

TEST_F(Labels, EnvelopePaperByCodeOrBySizeAndWhatIsAnError) {
  envelope(7, "Ann Lee", "a");
  // A #10 envelope's code, turned flat: the code's paper, whatever the sizes say.
  auto res = runMeasured(
      with(kEnvelope, "PaperSize", 20, "Orientation", 2, "PaperWidth", 1000, "PaperHeight", 1000));
  ASSERT_EQ(res.document.pages.size(), 1u);
  EXPECT_EQ(res.document.pages[0].width, 13680);
  EXPECT_EQ(res.document.pages[0].height, 5940);
  EXPECT_TRUE(res.document.pages[0].landscape);
  // No return address: empty, where the layout has it.
  const doc::Text* ret = firstText(res.document, "txtReturn");
  ASSERT_TRUE(ret);
  EXPECT_EQ(ret->text, "");
  EXPECT_EQ(ret->box, (doc::Rect{360, 360, 3600, 1000}));
  // A custom size: the sizes given, rounded.
  res = runMeasured(with(kEnvelope, "PaperWidth", 9000.4, "PaperHeight", 6000.6));
  EXPECT_EQ(res.document.pages.at(0).width, 9000);
  EXPECT_EQ(res.document.pages.at(0).height, 6001);
  // Angles beyond the engine's range, and null texts.
  EXPECT_THROW(runMeasured(with(kEnvelope, "TextAngle", 3277)), RuntimeError);  // 32770 tenths
  db().exec("UPDATE EnvelopeText SET Label = NULL");
  EXPECT_THROW(runMeasured(kEnvelope), RuntimeError);
}

// What is measured is what prints: in a real run the address box is the rendered text's
// width plus 500, by the renderer's own measure.
TEST_F(Labels, EnvelopeMeasuresWithTheRenderersTextEngine) {
  const std::string address = "Dr. Zoë Ødegård-Łukaszewicz\r\n1 Lakeshore Drive\r\nChicago, IL";
  envelope(7, address, "a");
  const Props p = with(kEnvelope, "AutoPositionContent", true, "FontName", "Times New Roman",
                       "FontSize", 14, "FontItalic", true);
  const doc::Document d = runLabels(p);
  const doc::Text* t = firstText(d, "txtLabel");
  ASSERT_TRUE(t);
  auto pango = render::makePangoMeasurer();
  doc::Font f = t->font;
  EXPECT_EQ(f.name, "Times New Roman");
  EXPECT_TRUE(f.italic);
  const int w = pango->measure(address, f, 0).width;
  const int T = pango->measure("T", f, 0).height;
  EXPECT_EQ(t->box.width, w + 500);
  EXPECT_EQ(t->box.top, 2970 - T);
  EXPECT_NEAR(t->box.left, 6840 - w / 2.0, 0.5);
  // The whole text fits on one line per line of the address, inside its box.
  EXPECT_LE(pango->measure(address, f, t->box.width).height, t->box.height);
}

}  // namespace
}  // namespace galvix::testing
