// galvix describe NAME: what a report prints, its properties and how to run it.
#include <iostream>
#include <map>

#include "cli/command.h"
#include "cli/selection.h"
#include "frame/catalogue.h"
#include "galvix/report.h"

namespace galvix::cli {
namespace {

struct Meaning {
  const char* type;
  const char* text;
};

// What each property means to a person running the report; types as the report converts them.
const std::map<std::string, Meaning>& meanings() {
  static const std::map<std::string, Meaning> m = {
      {"TimeFormat", {"text", "pattern for times, e.g. \"h:mm AP\" (AP: the AM/PM designator)"}},
      {"DateFormat", {"text", "pattern for dates, e.g. \"mmmm d, yyyy\"; empty: the short form"}},
      {"ConnectionString", {"text", "the database; set from --db"}},
      {"SQLWhere",
       {"text",
        "where clause choosing the rows, keyword included; set from --party "
        "or --event in the report's own shape"}},
      {"SQLOrderBy", {"text", "order-by clause, keyword included"}},
      {"SQLGroupBy", {"text", "\"CompanyName\" groups by company; anything else by category"}},
      {"Title", {"text", "first heading line; default: the event's name"}},
      {"ReportName", {"text", "second heading line; default: the catalogue name"}},
      {"Criteria", {"text", "third heading line, e.g. the party's name"}},
      {"EventID", {"whole number", "the event; set from --event"}},
      {"DisplayNotes", {"true/false", "print each group's notes"}},
      {"HideEventName", {"true/false", "leave out the event name column (the others widen)"}},
      {"HideChecklistName", {"true/false", "leave out the checklist name column"}},
      {"HideTime", {"true/false", "leave out the time column"}},
      {"HideAssignedTo", {"true/false", "leave out the assigned-to column"}},
      {"PrintSubEvents", {"true/false", "accepted; the sub-event blocks always print"}},
      {"PrintJournal",
       {"true/false",
        "print the journal; the event's own setting wins when it has a primary "
        "contact"}},
      {"Mode", {"whole number", "0 arrivals, 1 departures"}},
      {"WorkSheetType", {"whole number", "0 budget worksheet, 2 estimates"}},
      {"InvoiceID", {"whole number", "the invoice; set from --invoice"}},
      {"Envelopes", {"true/false", "true: envelopes; false: sheets of labels"}},
      {"PaperSetupID", {"whole number", "the label setup (labels) or envelope whose texts print"}},
      {"PaperWidth", {"twips", "sheet or envelope width (1440 twips = 1 inch)"}},
      {"PaperHeight", {"twips", "sheet or envelope height"}},
      {"PaperSize", {"whole number", "paper size code (envelopes); 256 and up: custom size"}},
      {"Orientation", {"whole number", "1 portrait, 2 landscape (envelopes)"}},
      {"PrinterName", {"text", "accepted; galvix prints to files"}},
      {"PaperBin", {"text", "accepted; galvix prints to files"}},
      {"TMargin", {"twips", "top margin of the label sheet"}},
      {"LMargin", {"twips", "left margin of the label sheet"}},
      {"TopMargin", {"twips", "top page margin"}},
      {"LeftMargin", {"twips", "left page margin"}},
      {"BottomMargin", {"twips", "bottom page margin"}},
      {"RightMargin", {"twips", "right page margin"}},
      {"LabelWidth", {"twips", "width of one label or copy"}},
      {"LabelHeight", {"twips", "height of one label or copy"}},
      {"HPitch", {"twips", "from one label's left edge to the next one's"}},
      {"VPitch", {"twips", "from one label's top edge to the next one's"}},
      {"NumberAcross", {"whole number", "labels or copies per row"}},
      {"NumberDown", {"whole number", "accepted; the page height decides the rows"}},
      {"TextAngle", {"whole number", "text rotation in degrees (envelopes)"}},
      {"ReturnAddress", {"text", "return address printed on envelopes"}},
      {"AutoPositionReturn", {"true/false", "place the return address automatically"}},
      {"ReturnTopPosition", {"twips", "return address top, when not automatic"}},
      {"ReturnLeftPosition", {"twips", "return address left, when not automatic"}},
      {"AutoPositionContent", {"true/false", "place the address automatically"}},
      {"ContentTopPosition", {"twips", "address top, when not automatic"}},
      {"ContentLeftPosition", {"twips", "address left, when not automatic"}},
      {"LAlignment", {"whole number", "text alignment: 0 left, 1 right, 2 centre"}},
      {"FontName", {"text", "font of the texts"}},
      {"FontSize", {"whole number", "font size in points"}},
      {"FontBold", {"true/false", "bold texts"}},
      {"FontItalic", {"true/false", "italic texts"}},
      {"FontColor", {"colour number", "text colour as red + 256 * green + 65536 * blue"}},
      {"DisplayBorder", {"number", "accepted; not used"}},
      {"Text",
       {"rich text",
        "the stationery template with <Guest's Name Here>, <Menu Selection>, "
        "<Table#> and <Seat#>"}},
      {"StationeryID", {"whole number", "the stationery selection to print"}},
      {"MultiplePerPage", {"true/false", "several copies per page in a grid, else one per page"}},
      {"SQL", {"text", "accepted; not used"}},
  };
  return m;
}

std::string quoteArg(const std::string& s) {
  return "\"" + s + "\"";
}

}  // namespace

int describe(const std::string& name, std::ostream& out) {
  const frame::CatalogueEntry* entry = nullptr;
  for (const auto& e : frame::catalogue())
    if (e.name == name) entry = &e;
  std::vector<std::string> names;
  for (const auto& e : frame::catalogue()) names.push_back(e.name);
  if (!entry) {
    std::cerr << "galvix: no report named \"" << name << "\"" << didYouMean(name, names)
              << "\n(`galvix list` shows the catalogue)\n";
    return 2;
  }
  out << quoteArg(entry->name) << ": " << entry->about << "\n";
  if (!entry->built()) {
    out << "This catalogue name has no report design: nothing can be printed for it.\n";
    return 0;
  }
  Report factory;
  auto r = factory.GetNewReport(entry->name);
  const Needs needs = needsOf(entry->example);
  out << "Designer: " << entry->designer << "\n";
  out << "Choose: "
      << (needsText(needs).empty() ? "nothing (the example settings below are applied)"
                                   : needsText(needs))
      << "\n\nProperties (set with --set Property=Value, in this order):\n";
  std::map<std::string, std::string> preset;
  for (const auto& [k, v] : entry->example) preset[k] = v;
  for (const auto& p : r->properties()) {
    auto m = meanings().find(p);
    out << "  " << p << std::string(p.size() < 22 ? 22 - p.size() : 1, ' ');
    if (m != meanings().end()) {
      out << m->second.type << "; " << m->second.text;
    } else {
      out << "see the report's documentation";
    }
    // Needed for a useful run: the database, and whatever names the event, party or invoice.
    const auto it = preset.find(p);
    const bool needed = p == "ConnectionString" ||
                        (it != preset.end() && it->second.find("ID}") != std::string::npos);
    if (needed) out << "  [needed]";
    if (it != preset.end())
      out << "\n" << std::string(24, ' ') << "run sets: " << quoteArg(it->second);
    out << "\n";
  }
  out << "\nRun it:\n  galvix render " << quoteArg(entry->name) << " --db events.sqlite";
  if (needs.event || needs.party || needs.invoice) out << " --event \"Event name\"";
  if (needs.party) out << " --party \"Reception\"";
  if (needs.invoice) out << " --invoice 1";
  out << " -o out.pdf\n";
  if (needs.event || needs.party || needs.invoice)
    out << "({...} in the settings above is filled from --event, --party and --invoice.)\n";
  return 0;
}

namespace {
Registration reg([](CLI::App& app) {
  auto* cmd = app.add_subcommand("describe", "A report's properties and how to run it");
  auto name = std::make_shared<std::string>();
  cmd->add_option("name", *name, "Catalogue name")->required();
  cmd->callback([=] {
    if (int rc = describe(*name, std::cout); rc != 0) throw Exit{rc, ""};
  });
});
}  // namespace

}  // namespace galvix::cli
