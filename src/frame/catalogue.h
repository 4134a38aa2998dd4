// The catalogue: the names the host asks for, the designer each maps to, and the presets that
// turn one designer into several entries.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/frame_report.h"

namespace galvix::frame {

using DesignerFactory = std::function<std::unique_ptr<FrameReport>()>;

// Designers register themselves (one static DesignerRegistration in each designer's source).
void registerDesigner(std::string designer, DesignerFactory make);
struct DesignerRegistration {
  DesignerRegistration(std::string designer, DesignerFactory make) {
    registerDesigner(std::move(designer), std::move(make));
  }
};
bool designerBuilt(std::string_view designer);

struct CatalogueEntry {
  std::string name;                           // as the host asks for it
  std::string designer;                       // "" for a name that maps to no designer
  std::string about;                          // one line for `galvix list`
  std::function<void(FrameReport&)> presets;  // may be empty
  // Useful property settings, for `galvix render --help` and the demo run. "{EventID}" and
  // "{PartyID}" stand for an event and one of its parties.
  std::vector<std::pair<std::string, std::string>> example = {};
  // Further property sets worth seeing (envelopes beside labels), each with a name that the
  // demo run adds to the file name.
  std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>>
      moreExamples = {};
  bool built() const { return !designer.empty() && designerBuilt(designer); }
};

const std::vector<CatalogueEntry>& catalogue();

// Exact, case-sensitive, whole-name match; the first match decides. No object for an unknown
// name, for a name without a designer, or for a designer not built yet.
std::unique_ptr<FrameReport> newReport(std::string_view name);

// Catalogue names closest to `name` (for "did you mean"), best first.
std::vector<std::string> closeNames(std::string_view name, size_t max = 3);

}  // namespace galvix::frame
