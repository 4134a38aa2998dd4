// The RTF reader: formatting, tables, characters, the merge's " \par ", and damaged input.
#include <gtest/gtest.h>

#include <array>

#include "render/render.h"
#include "render/rtf_reader.h"

namespace galvix::render {
namespace {

const char* kTemplate =
    R"({\rtf1\ansi\ansicpg1252\deff0{\fonttbl{\f0\fswiss\fcharset0 Arial;}{\f1\froman Times New Roman;}}
{\colortbl ;\red255\green0\blue0;\red0\green0\blue128;}
{\*\generator Msftedit 5.41.21.2510;}\viewkind4\uc1\pard\qc\f1\fs36 Dear <Guest's Name Here>,\par
\pard\li720\ri360\fi-360\sa120\f0\fs20 You sit at \b <Table#>\b0 , seat \i <Seat#>\i0 .\par
\qr\cf1 R\'e9sum\'e9 \u8364? 10\cf0\par
\qj\cf2\ul Justified\ulnone  text.\par
})";

TEST(Rtf, FormattingParagraphsAndAlignment) {
  RtfDocument d = readRtf(kTemplate);
  ASSERT_EQ(d.paragraphs.size(), 4u);
  EXPECT_EQ(d.plainText(),
            "Dear <Guest's Name Here>,\nYou sit at <Table#>, seat <Seat#>.\nRésumé € 10\n"
            "Justified text.");

  std::vector<doc::HAlign> aligns;  // \pard resets the centring
  for (const auto& p : d.paragraphs) aligns.push_back(p.align);
  using enum doc::HAlign;
  EXPECT_EQ(aligns, (std::vector{Center, Left, Right, Justify}));

  const auto& p0 = d.paragraphs[0];
  ASSERT_EQ(p0.runs.size(), 1u);
  EXPECT_EQ(p0.runs[0].font, "Times New Roman");
  EXPECT_EQ(p0.runs[0].size, 18.0);

  const auto& p1 = d.paragraphs[1];
  EXPECT_EQ((std::array{p1.leftIndent, p1.rightIndent, p1.firstIndent, p1.spaceAfter}),
            (std::array{720, 360, -360, 120}));
  ASSERT_EQ(p1.runs.size(), 5u);
  EXPECT_EQ(p1.runs[0].font, "Arial");
  EXPECT_EQ(p1.runs[0].size, 10.0);
  EXPECT_FALSE(p1.runs[0].bold);
  EXPECT_TRUE(p1.runs[1].bold);
  EXPECT_EQ(p1.runs[1].text, "<Table#>");
  EXPECT_TRUE(p1.runs[3].italic);
  EXPECT_FALSE(p1.runs[4].italic);

  const auto& p2 = d.paragraphs[2];
  EXPECT_EQ(p2.runs[0].color, doc::rgb(255, 0, 0));

  const auto& p3 = d.paragraphs[3];
  EXPECT_EQ(p3.runs[0].color, doc::rgb(0, 0, 128));
  EXPECT_TRUE(p3.runs[0].underline);
  EXPECT_FALSE(p3.runs[1].underline);
}

// Escapes, skipped destinations and unknown words, plain text, merged labels, and damaged input:
// read what can be read.
TEST(Rtf, PlainTextOfEscapesDestinationsAndDamagedInput) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({\rtf1\uc1\u-3913?\u946?\uc2\u8364\'80\'80 end})",
       "\xEF\x82\xB7"
       "β€ end"},
      {R"({\rtf1 \u-10179?\u-8704? x})", "\xF0\x9F\x98\x80 x"},
      {R"({\rtf1 a\~b\{c\}\\d\emdash\line e\tab f})",
       "a\xC2\xA0"
       "b{c}\\d\xE2\x80\x94\xE2\x80\xA8"
       "e\tf"},
      {R"({\rtf1{\info{\title Secret}{\author Me}}{\stylesheet{\s0 Normal;}}{\*\unknowndest hidden})"
       R"({\pict\wmetafile8 0102abcd}\foo12\barbaz Visible {\field{\*\fldinst HYPERLINK "x"}{\fldrslt link}}})",
       "Visible link"},
      {"line one\r\nline two\rthree\n", "line one\nline two\nthree\n"},
      {R"({\rtf1 {\b bold} tail}}} more)", "bold tail more"},
      {R"({\rtf1 unclosed {\i group)", "unclosed group"},
      {R"({\rtf1 x\'4)", "x\x04"},
      {R"({\rtf1 \fs99999999999999 big\li-99999999999 \)", "big"},
      // The stationery merge splices a label with CR LF replaced by " \par ", raw UTF-8 included;
      // a cp1252 byte (not UTF-8) still reads as its character.
      {R"({\rtf1\ansi{\fonttbl{\f0 Arial;}}\f0\fs24 To: Zoë Brontë \par 12 Rue de l'Église \par Québec\par})",
       "To: Zoë Brontë \n12 Rue de l'Église \nQuébec"},
      {"{\\rtf1 caf\xe9 \x93ok\x94}", "café “ok”"}};
  for (const auto& [rtf, text] : cases) EXPECT_EQ(readRtf(rtf).plainText(), text) << rtf;
  EXPECT_NO_THROW(readRtf(std::string(100000, '{') + "{\\rtf1 deep"));
  EXPECT_NO_THROW(readRtf("{\\rtf1 \\bin999999 ab"));
}

TEST(Rtf, MeasuredHeightFollowsParagraphsSizesAndWidth) {
  auto m = makePangoMeasurer();
  const std::string one = R"({\rtf1{\fonttbl{\f0 Arial;}}\f0\fs24 One line\par})";
  const std::string two = R"({\rtf1{\fonttbl{\f0 Arial;}}\f0\fs24 One line\par Two\par})";
  const std::string big = R"({\rtf1{\fonttbl{\f0 Arial;}}\f0\fs48 One line\par})";
  const std::int32_t h1 = m->measureRichHeight(one, 5000);
  EXPECT_GT(h1, 240);  // a 12 pt line is more than 12 pt high
  EXPECT_LT(h1, 360);
  EXPECT_NEAR(m->measureRichHeight(two, 5000), 2 * h1, 2);
  EXPECT_NEAR(m->measureRichHeight(big, 5000), 2 * h1, 4);
  // Narrow enough to wrap "One line" onto two lines.
  EXPECT_NEAR(m->measureRichHeight(one, 700), 2 * h1, 2);
  // Space after a paragraph counts.
  EXPECT_NEAR(
      m->measureRichHeight(R"({\rtf1{\fonttbl{\f0 Arial;}}\f0\fs24\sa240 One line\par})", 5000),
      h1 + 240, 2);
}

}  // namespace
}  // namespace galvix::render
