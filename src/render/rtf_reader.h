// Reads the rich text that stationery templates and rich-text controls hold into paragraphs of
// formatted runs. Tolerant by design: malformed input yields what could be read, never an error.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "galvix/document.h"

namespace galvix::render {

struct RtfRun {
  std::string text;  // UTF-8; U+2028 for a line break inside the paragraph
  std::string font = "Times New Roman";
  double size = 12.0;  // points
  bool bold = false, italic = false, underline = false, strikeout = false;
  doc::Color color = doc::kBlack;
  friend bool operator==(const RtfRun&, const RtfRun&) = default;
};

struct RtfParagraph {
  std::vector<RtfRun> runs;
  doc::HAlign align = doc::HAlign::Left;
  int leftIndent = 0, rightIndent = 0, firstIndent = 0;  // twips
  int spaceBefore = 0, spaceAfter = 0;                   // twips
  RtfRun mark;  // character format at the paragraph mark: sizes an empty paragraph
};

struct RtfDocument {
  std::vector<RtfParagraph> paragraphs;
  // All text, paragraphs joined by '\n' (for tests and diagnostics).
  std::string plainText() const;
};

// Text that does not start with "{\rtf" is read as plain text, CR/LF/CR LF ending paragraphs.
RtfDocument readRtf(std::string_view rtf);

}  // namespace galvix::render
