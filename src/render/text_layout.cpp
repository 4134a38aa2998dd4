#include "render/text_layout.h"

#include <glib.h>

#include <algorithm>
#include <string>

#include "render/fonts.h"

namespace galvix::render {

namespace {

void setAlignment(PangoLayout* l, doc::HAlign a) {
  switch (a) {
    case doc::HAlign::Left:
      pango_layout_set_alignment(l, PANGO_ALIGN_LEFT);
      break;
    case doc::HAlign::Right:
      pango_layout_set_alignment(l, PANGO_ALIGN_RIGHT);
      break;
    case doc::HAlign::Center:
      pango_layout_set_alignment(l, PANGO_ALIGN_CENTER);
      break;
    case doc::HAlign::Justify:
      pango_layout_set_alignment(l, PANGO_ALIGN_LEFT);
      pango_layout_set_justify(l, TRUE);
      break;
  }
}

guint16 channel(doc::Color c, int shift) {
  return static_cast<guint16>(((c >> shift) & 0xFF) * 257);
}

void insert(PangoAttrList* list, PangoAttribute* a, std::size_t start, std::size_t end) {
  a->start_index = static_cast<guint>(start);
  a->end_index = static_cast<guint>(end);
  pango_attr_list_insert(list, a);
}

// A run of more than this many characters without a blank is given places to break.
constexpr std::size_t kLongRun = 64;
bool blank(unsigned char c) {
  return c == ' ' || c == '\n' || c == '\t';
}
bool lead(unsigned char c) {
  return (c & 0xC0) != 0x80;
}

}  // namespace

bool hasLongRun(std::string_view text) {
  std::size_t run = 0;
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (blank(c))
      run = 0;
    else if (lead(c) && ++run > kLongRun)
      return true;
  }
  return false;
}

std::string normalizeText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') {
      out += '\n';
      if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
    } else {
      out += text[i];
    }
  }
  if (!g_utf8_validate(out.data(), static_cast<gssize>(out.size()), nullptr)) {
    gchar* valid = g_utf8_make_valid(out.data(), static_cast<gssize>(out.size()));
    out = valid;
    g_free(valid);
  }
  out.erase(std::remove(out.begin(), out.end(), '\0'), out.end());
  return out;
}

// Pango looks for a break inside a word longer than the line one character at a time, which
// takes time growing with the square of the word. No real word is 64 characters long: in such a
// run a zero-width space every 8 characters gives the line breaker places to break at.
std::string breakableRuns(const std::string& t) {
  constexpr std::size_t kEvery = 8;
  std::string out;
  std::size_t run = 0;
  bool longRun = false;
  for (std::size_t i = 0; i < t.size(); ++i) {
    const auto c = static_cast<unsigned char>(t[i]);
    if (blank(c)) {
      run = 0;
    } else if (lead(c)) {
      if (run == 0) {
        std::size_t n = 0;
        for (std::size_t j = i; j < t.size() && n <= kLongRun && !blank(t[j]); ++j)
          n += lead(static_cast<unsigned char>(t[j]));
        longRun = n > kLongRun;
        if (longRun && out.empty()) out.reserve(t.size() + t.size() / 2);
      }
      if (longRun && run > 0 && run % kEvery == 0) {
        if (out.empty()) out.assign(t, 0, i);
        out += "\u200B";
      }
      ++run;
    }
    if (!out.empty()) out += t[i];
  }
  return out.empty() ? t : out;
}

LayoutPtr textLayout(std::string_view text, const doc::Font& font, std::int32_t wrapTwips,
                     doc::HAlign align) {
  LayoutPtr l(pango_layout_new(pangoContext()));
  pango_layout_set_font_description(l.get(), fontDescription(font));
  const std::string t = wrapTwips > 0 ? breakableRuns(normalizeText(text)) : normalizeText(text);
  pango_layout_set_text(l.get(), t.data(), static_cast<int>(t.size()));
  if (font.underline || font.strikeout) {
    PangoAttrList* attrs = pango_attr_list_new();
    if (font.underline)
      insert(attrs, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE), 0, t.size());
    if (font.strikeout) insert(attrs, pango_attr_strikethrough_new(TRUE), 0, t.size());
    pango_layout_set_attributes(l.get(), attrs);
    pango_attr_list_unref(attrs);
  }
  if (wrapTwips > 0) {
    pango_layout_set_width(l.get(), std::max(1, twipsToPango(wrapTwips)));
    pango_layout_set_wrap(l.get(), PANGO_WRAP_WORD_CHAR);
  }
  setAlignment(l.get(), align);
  return l;
}

RichLayout richLayout(const RtfDocument& doc, std::int32_t widthTwips) {
  RichLayout out;
  int y = 0;
  for (const auto& para : doc.paragraphs) {
    LayoutPtr l(pango_layout_new(pangoContext()));
    doc::Font markFont{para.mark.font, para.mark.size, para.mark.bold, para.mark.italic};
    pango_layout_set_font_description(l.get(), fontDescription(markFont));
    std::string text;
    PangoAttrList* attrs = pango_attr_list_new();
    for (const auto& run : para.runs) {
      const std::string t = normalizeText(run.text);
      const std::size_t start = text.size();
      text += t;
      if (t.empty()) continue;
      doc::Font f{run.font, run.size, run.bold, run.italic};
      insert(attrs, pango_attr_font_desc_new(fontDescription(f)), start, text.size());
      insert(attrs,
             pango_attr_foreground_new(channel(run.color, 0), channel(run.color, 8),
                                       channel(run.color, 16)),
             start, text.size());
      if (run.underline)
        insert(attrs, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE), start, text.size());
      if (run.strikeout) insert(attrs, pango_attr_strikethrough_new(TRUE), start, text.size());
    }
    // Paragraph text holds no paragraph separator of its own: a stray LF is a line break.
    std::replace(text.begin(), text.end(), '\n', ' ');
    pango_layout_set_text(l.get(), text.data(), static_cast<int>(text.size()));
    pango_layout_set_attributes(l.get(), attrs);
    pango_attr_list_unref(attrs);

    // A negative first-line indent hangs the first line left of the others.
    const int first = para.leftIndent + std::min(0, para.firstIndent);
    const int x = std::max(0, first);
    const int width = std::max(20, widthTwips - para.rightIndent - x);
    pango_layout_set_width(l.get(), twipsToPango(width));
    pango_layout_set_wrap(l.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_indent(l.get(), twipsToPango(para.firstIndent));
    setAlignment(l.get(), para.align);

    y += twipsToPango(std::max(0, para.spaceBefore));
    PangoRectangle logical;
    pango_layout_get_extents(l.get(), nullptr, &logical);
    out.blocks.push_back({std::move(l), twipsToPango(x), y});
    y += logical.height + twipsToPango(std::max(0, para.spaceAfter));
  }
  out.height = y;
  return out;
}

}  // namespace galvix::render
