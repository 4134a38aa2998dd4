// The page model a report run produces: plain data, in twips, that renderers draw.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace galvix::doc {

// The platform's packed colour number: red in the low byte, then green, then blue.
using Color = std::uint32_t;
inline constexpr Color kBlack = 0x000000;
inline constexpr Color kWhite = 0xFFFFFF;
inline constexpr Color rgb(unsigned r, unsigned g, unsigned b) {
  return r | (g << 8) | (b << 16);
}

struct Rect {
  std::int32_t left = 0, top = 0, width = 0, height = 0;  // twips
  friend bool operator==(const Rect&, const Rect&) = default;
};

struct Font {
  std::string name = "Arial";
  double size = 10.0;  // points
  bool bold = false;
  bool italic = false;
  bool underline = false;
  bool strikeout = false;
  friend bool operator==(const Font&, const Font&) = default;
};

enum class HAlign { Left, Right, Center, Justify };
enum class VAlign { Top, Middle, Bottom };

enum class LineStyle { Transparent, Solid, Dash, Dot, DashDot, DashDotDot };

struct Border {
  LineStyle left = LineStyle::Transparent, top = LineStyle::Transparent,
            right = LineStyle::Transparent, bottom = LineStyle::Transparent;
  Color color = kBlack;
  int weight = 1;  // pixels at 96 dpi, as layout designers give it
  bool any() const {
    return left != LineStyle::Transparent || top != LineStyle::Transparent ||
           right != LineStyle::Transparent || bottom != LineStyle::Transparent;
  }
};

struct Text {
  Rect box;
  std::string text;  // UTF-8; CR, LF and CR LF are line breaks
  Font font;
  Color foreColor = kBlack;
  std::optional<Color> backColor;  // none: transparent
  HAlign align = HAlign::Left;
  VAlign valign = VAlign::Top;
  int angle = 0;  // tenths of a degree, counter-clockwise
  bool wordWrap = true;
  Border border;
};

struct RichText {
  Rect box;
  std::string rtf;
  std::optional<Color> backColor;
  Border border;
};

struct Line {
  std::int32_t x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  LineStyle style = LineStyle::Solid;
  int weight = 1;  // pixels at 96 dpi
  Color color = kBlack;
};

enum class ShapeKind { Rectangle, RoundRect, Ellipse };

struct Box {
  Rect box;
  ShapeKind shape = ShapeKind::Rectangle;
  std::optional<Color> fill;
  LineStyle style = LineStyle::Solid;
  int weight = 1;
  Color lineColor = kBlack;
};

struct CheckBox {
  Rect box;
  bool checked = false;
  std::string caption;
  Font font;
  Color foreColor = kBlack;
  HAlign align = HAlign::Left;
};

enum class SizeMode { Clip, Stretch, Zoom };

struct Picture {
  Rect box;
  std::shared_ptr<const std::vector<std::uint8_t>> data;  // encoded image: JPEG, PNG, BMP, GIF
  SizeMode sizeMode = SizeMode::Zoom;
  Border border;
};

// A figure of straight and curved segments, filled and/or outlined: vector drawing (chart
// slices). Points are twips from the box's top-left corner, so moving the box moves the figure.
struct PathPoint {
  std::int32_t x = 0, y = 0;
  friend bool operator==(const PathPoint&, const PathPoint&) = default;
};
// CurveTo takes three points (two control points, then the end); Close none; the others one.
enum class PathOp : std::uint8_t { MoveTo, LineTo, CurveTo, Close };

struct Path {
  Rect box;  // encloses the figure
  std::vector<PathOp> ops;
  std::vector<PathPoint> points;
  std::optional<Color> fill;  // none: not filled
  std::optional<Color>
      fillTo;  // with fill: shaded from fill at the box's top to this at its bottom
  LineStyle style = LineStyle::Transparent;
  int weight = 1;  // pixels at 96 dpi
  Color lineColor = kBlack;
};

struct Item {
  std::variant<Text, RichText, Line, Box, CheckBox, Picture, Path> content;
  std::string section;    // section (band) name
  std::string control;    // control name
  std::int32_t row = -1;  // data row index the band instance was formatted from, -1 if none
};

struct Page {
  std::int32_t width = 12240;   // twips (8.5 in)
  std::int32_t height = 15840;  // twips (11 in)
  bool landscape = false;
  std::vector<Item> items;
};

// Pages kept packed (a few kilobytes each, in memory and past a size in an unlinked temporary
// file), so that a run's memory does not grow with its page count. Runs made with
// RunOptions::packPages fill one; read pages through Document::pageCount() and page().
class PageStore;

// Where a run's pages go as they are finished, instead of into its Document (RunOptions::sink,
// ReportObject::setPageSink): render::PdfStream writes each to a PDF as the run goes.
class PageSink {
 public:
  virtual ~PageSink() = default;
  // The run's next page. Its items numbered in `later` (page totals) are completed by fill()
  // before the run ends.
  virtual void page(Page&& page, std::vector<std::size_t> later) = 0;
  // Item `item` of the run's page `page` (both from 0) reads `text`.
  virtual void fill(std::size_t page, std::size_t item, std::string text) = 0;
  // The run has given all its pages and fills.
  virtual void runEnded() = 0;
  // A handler cancelled the run after it had given pages: they must not print.
  virtual void runCancelled() = 0;
};

struct Document {
  std::string title;
  std::string creator = "Galvix Reports";
  std::vector<Page> pages;
  // Packed pages, after those in `pages` (several when runs are joined into one document).
  std::vector<std::shared_ptr<const PageStore>> stores;
  // Pages the run gave to a PageSink (not counted by pageCount(), not readable here).
  std::size_t streamed = 0;

  std::size_t pageCount() const;
  // Page `i` (from 0): the page itself, or a packed one unpacked into `scratch`.
  const Page& page(std::size_t i, Page& scratch) const;
};

}  // namespace galvix::doc
