// A report's stored layout: page settings, sections in order, their controls. Loaded from a JSON
// layout file (docs/layout-format.md), validated at load, never changed during a run: each
// report object copies what it needs.
#pragma once

#include "galvix/error.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "engine/controls.h"
#include "engine/section.h"

namespace galvix::engine {

enum class Orientation { Portrait = 1, Landscape = 2 };

struct PageSettings {
  Orientation orientation = Orientation::Portrait;
  int paperSize = 1;         // the platform's paper code (1 letter, 5 legal, 9 A4, 256 custom)
  float paperWidth = 12240;  // twips, portrait sense
  float paperHeight = 15840;
  float leftMargin = 1440, rightMargin = 1440, topMargin = 1440, bottomMargin = 1440;

  // Sets the paper code and, for the common codes (letter, legal, tabloid, executive, A3-A5,
  // B5, envelopes #9, #10, DL, C5, B5, Monarch), the paper's width and height. Other codes
  // (custom sizes are 256 and up) keep the width and height, which code then sets.
  void setPaperSize(int code);
};

struct LayoutSection {
  SectionState state;
  std::vector<ControlState> controls;
};

struct Layout {
  std::string name;  // the designer's name, "rptGuestList"
  std::string file;  // where it was loaded from, for messages
  PageSettings page;
  float printWidth = 0;                // twips; 0: paper width minus margins
  std::string dataControl = "datRpt";  // empty: the report has no data control
  std::string connectionString;
  std::string source;
  std::vector<LayoutSection> sections;  // in print order (see docs/layout-format.md)
};

// A layout file that cannot be used: names the file, the JSON path of the element, the reason.
class LayoutError : public galvix::Error {
 public:
  LayoutError(std::string file, std::string path, std::string reason);
  const std::string& file() const { return file_; }
  const std::string& path() const { return path_; }  // e.g. "/sections/2/controls/0/height"
  const std::string& reason() const { return reason_; }

 private:
  std::string file_, path_, reason_;
};

// Parses and validates. `file` is used only in messages.
std::shared_ptr<const Layout> loadLayout(std::string_view json, std::string file);
std::shared_ptr<const Layout> loadLayoutFile(const std::string& path);

}  // namespace galvix::engine
