#include "frame/catalogue.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace galvix::frame {
namespace {
std::map<std::string, DesignerFactory, std::less<>>& designers() {
  static std::map<std::string, DesignerFactory, std::less<>> d;
  return d;
}

std::function<void(FrameReport&)> setProp(std::string name, Variant v) {
  return [name, v](FrameReport& r) { r.set(name, v); };
}

// The guest list's counts drop "Parties." from the clause, so it names one party.
const std::vector<std::pair<std::string, std::string>> kGuestListExample = {
    {"SQLWhere", "WHERE Parties.PartyID = {PartyID}"},
    {"SQLOrderBy", "ORDER BY Parties.PartyID, PartyDetails.FormalLabel"},
    {"Criteria", "Party: {PartyName}"}};

const std::vector<std::pair<std::string, std::string>> kTravelExample = {
    {"SQLWhere", "WHERE Parties.PartyID = {PartyID}"},
    {"SQLOrderBy", "ORDER BY PartyDetails.FormalLabel"},
    {"TimeFormat", "h:mm AP"},
    {"Criteria", "Party: {PartyName}"}};

// Every event, earliest first.
const std::vector<std::pair<std::string, std::string>> kEventsExample = {
    {"SQLWhere", ""},
    {"SQLOrderBy", "ORDER BY Events.EventStartDate"},
    {"TimeFormat", "h:mm AP"},
    {"Title", "Summary of Events"},
    {"ReportName", "All events by start date"}};

// Thirty address labels (3 x 10) on a Letter sheet: 2.625 x 1 in, 2.75 in apart, margins
// 0.5 in at the top and 0.1875 in at the left.
const std::vector<std::pair<std::string, std::string>> kLetterLabels = {
    {"Envelopes", "False"},   {"PaperSetupID", "2"},   {"PaperWidth", "12240"},
    {"PaperHeight", "15840"}, {"TMargin", "720"},      {"LMargin", "270"},
    {"LabelWidth", "3780"},   {"LabelHeight", "1440"}, {"HPitch", "3960"},
    {"VPitch", "1440"},       {"NumberAcross", "3"},   {"LAlignment", "0"},
    {"FontName", "Arial"},    {"FontSize", "10"},      {"FontColor", "0"}};

// Fourteen labels (2 x 7) on A4: 99.1 x 38.1 mm, 101.6 mm apart, margins 15.1 mm at the top
// and 4.65 mm at the left.
const std::vector<std::pair<std::string, std::string>> kA4Labels = {
    {"Envelopes", "False"},   {"PaperSetupID", "2"},   {"PaperWidth", "11906"},
    {"PaperHeight", "16838"}, {"TMargin", "856"},      {"LMargin", "264"},
    {"LabelWidth", "5618"},   {"LabelHeight", "2160"}, {"HPitch", "5760"},
    {"VPitch", "2160"},       {"NumberAcross", "2"},   {"LAlignment", "0"},
    {"FontName", "Georgia"},  {"FontSize", "11"},      {"FontColor", "6697728"}};

// A #10 envelope fed flat (landscape), the address centred, a return address at the top left.
const std::vector<std::pair<std::string, std::string>> kEnvelope = {
    {"Envelopes", "True"},
    {"PaperSetupID", "2"},
    {"PaperSize", "20"},
    {"Orientation", "2"},
    {"PaperWidth", "13680"},
    {"PaperHeight", "5940"},
    {"ReturnAddress", "Ana & Luís Ferreira\r\n12 Rua das Flores\r\nChicago, IL 60614"},
    {"AutoPositionReturn", "True"},
    {"AutoPositionContent", "True"},
    {"LAlignment", "0"},
    {"FontName", "Times New Roman"},
    {"FontSize", "12"},
    {"FontColor", "0"}};

// The same envelope fed upright (a custom size), its texts turned a quarter.
const std::vector<std::pair<std::string, std::string>> kEnvelopeTurned = {
    {"Envelopes", "True"},
    {"PaperSetupID", "2"},
    {"PaperSize", "256"},
    {"Orientation", "1"},
    {"PaperWidth", "5940"},
    {"PaperHeight", "13680"},
    {"TextAngle", "90"},
    {"ReturnAddress", "Ana & Luís Ferreira\r\n12 Rua das Flores\r\nChicago, IL 60614"},
    {"AutoPositionReturn", "True"},
    {"AutoPositionContent", "True"},
    {"LAlignment", "0"},
    {"FontName", "Arial"},
    {"FontSize", "11"},
    {"FontColor", "8388608"}};

// Envelopes without a return address, the address placed by hand.
const std::vector<std::pair<std::string, std::string>> kEnvelopePlain = {
    {"Envelopes", "True"},
    {"PaperSetupID", "1"},
    {"PaperSize", "20"},
    {"Orientation", "2"},
    {"PaperWidth", "13680"},
    {"PaperHeight", "5940"},
    {"AutoPositionContent", "False"},
    {"ContentTopPosition", "2600"},
    {"ContentLeftPosition", "5200"},
    {"FontName", "Arial"},
    {"FontSize", "11"}};

// Place cards, two across on Letter: a name, the table and seat, the meal.
const std::vector<std::pair<std::string, std::string>> kPlaceCards = {
    {"Text",
     "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\froman Times New Roman;}{\\f1\\fswiss "
     "Arial;}}{\\colortbl;\\red128\\green0\\blue64;\\red90\\green90\\blue90;}\n"
     "\\pard\\qc\\sb360\\f0\\fs36\\cf1\\b <Guest's Name Here>\\b0\\par\n"
     "\\pard\\qc\\sb160\\f1\\fs22\\cf2 <Table#> \\'b7 Seat <Seat#>\\par\n"
     "\\pard\\qc\\sb120\\f1\\fs20\\i\\cf0 <Menu Selection>\\i0\\par\n"
     "\\pard\\qc\\sb160\\f0\\fs18\\cf2 Soir\\'e9e de r\\'e9ception \\'97 bon app\\'e9tit\\par}"},
    {"StationeryID", "2"},
    {"MultiplePerPage", "True"},
    {"PaperWidth", "12240"},
    {"PaperHeight", "15840"},
    {"TopMargin", "720"},
    {"LeftMargin", "720"},
    {"BottomMargin", "0"},
    {"RightMargin", "0"},
    {"LabelWidth", "5040"},
    {"LabelHeight", "3240"},
    {"HPitch", "5400"},
    {"VPitch", "3600"},
    {"NumberAcross", "2"},
    {"NumberDown", "4"}};

// The event is set first: the where clause is composed with it when it is set.
const std::vector<std::pair<std::string, std::string>> kEventClauseExample = {
    {"EventID", "{EventID}"}, {"SQLWhere", ""}};

std::vector<CatalogueEntry> makeCatalogue() {
  std::vector<CatalogueEntry> c = {
      {"Master Budget Summary",
       "rptMasterBudget",
       "amounts kept per expense category",
       {},
       {{"EventID", "{EventID}"}}},
      {"Budget Summary",
       "rptBudgetSummary",
       "budget, actual and difference per category",
       {},
       {{"EventID", "{EventID}"}}},
      // The event comes first: setting the where clause composes it with the event.
      {"Budget Worksheets", "rptBudgetDetail", "worksheet items by expense category",
       setProp("WorkSheetType", Variant(std::int16_t{0})), kEventClauseExample},
      {"Checklist - Calendar", "", "(not available)", {}},
      // The host writes the whole statement; the report takes SQLWhere as its row source.
      {"Checklist - Tabular",
       "rptChecklist",
       "the host's task query as a table",
       {},
       {{"SQLWhere",
         "SELECT Events.EventName, Checklists.ChecklistName, ChecklistItems.Done, "
         "ChecklistItems.Item, ChecklistItems.DueDate, ChecklistItems.[Time], "
         "ChecklistItems.AssignedTo FROM (Events INNER JOIN Checklists ON Events.EventID = "
         "Checklists.EventID) INNER JOIN ChecklistItems ON Checklists.ChecklistID = "
         "ChecklistItems.ChecklistID WHERE Events.EventID = {EventID} ORDER BY "
         "Checklists.ChecklistName, ChecklistItems.DueDate, ChecklistItems.Item"},
        {"TimeFormat", "h:mm AP"},
        {"ReportName", "Checklist"},
        {"Criteria", "All tasks of the event"}}},
      {"Master Guest List",
       "rptFamilyAndFriends",
       "directory of the event's guest groups",
       {},
       {{"EventID", "{EventID}"}}},
      {"Guest Arrival Information", "rptGuestADInfo", "arrivals per party",
       setProp("Mode", Variant(std::int16_t{0})), kTravelExample},
      {"Guest Departure Information", "rptGuestADInfo", "departures per party",
       setProp("Mode", Variant(std::int16_t{1})), kTravelExample},
      {"Guest Hotel Information",
       "rptGuestHotel",
       "lodging per guest group",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"},
        {"SQLOrderBy", "ORDER BY PartyDetails.Hotel, PartyDetails.FormalLabel"},
        {"Criteria", "Party: {PartyName}"}}},
      {"Guest List - with notes", "rptGuestList", "guest groups per party, with notes",
       setProp("DisplayNotes", Variant(true)), kGuestListExample},
      {"Guest List - without notes", "rptGuestList", "guest groups per party",
       setProp("DisplayNotes", Variant(false)), kGuestListExample},
      {"Guest Party Attendance",
       "rptPartyAttendance",
       "who attends which party (crosstab)",
       {},
       // The event comes first: setting the where clause composes it with the event.
       {{"EventID", "{EventID}"}, {"SQLWhere", ""}}},
      {"Guest Menu Selections",
       "rptMenuSelections",
       "meal choices per party",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"}, {"Criteria", "Party: {PartyName}"}}},
      {"Table Assignments By Guest",
       "rptGuestTables",
       "each attending guest's table and seat",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"}, {"Criteria", "Party: {PartyName}"}}},
      // The party is read back from the clause: the number must be followed by a blank.
      {"Table Assignments By Table",
       "rptTableAssign",
       "guests per table with seat counts",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID} "}, {"Criteria", "Party: {PartyName}"}}},
      // The report appends its own "and ..." condition: the clause must be a WHERE clause.
      {"Guest Travel Summary",
       "rptTravelSummary",
       "arrival, stay and departure per group",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"}, {"Criteria", "Party: {PartyName}"}}},
      // The clauses are joined to the statement without blanks: the where clause ends in one.
      {"Sub-Event Timelines",
       "rptMusic",
       "each party's timeline",
       {},
       {{"SQLWhere", "WHERE Parties.EventID = {EventID} "},
        {"SQLOrderBy", "ORDER BY Parties.Date, Parties.Time, StageOfEvents.EventOrder"},
        {"TimeFormat", "h:mm AP"}}},
      {"Party Statistics",
       "rptPartyStats",
       "one party's counts and summaries",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"}, {"Criteria", "Party: {PartyName}"}}},
      {"RSVPs - One-line",
       "rptRSVP",
       "one line per invited group with its reply",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID}"}, {"Criteria", "Party: {PartyName}"}}},
      // The members' subreport appends "and" to the clause directly: it must end in a blank.
      {"RSVPs - Detailed",
       "rptRSVPDetail",
       "each group's reply with its guests",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {PartyID} "},
        {"SQLOrderBy", "ORDER BY GuestNames.GLName, GuestNames.GSuffix, GuestNames.GFName"},
        {"Criteria", "Party: {PartyName}"}}},
      {"Stationery", "rptStationery", "rich-text stationery merged per guest", {}, kPlaceCards},
      // Setting the order at all sorts by role and name; the text given is not used.
      {"Guests with Roles",
       "rptWeddingParty",
       "guests who hold a role",
       {},
       {{"EventID", "{EventID}"}, {"SQLOrderBy", "ORDER BY Role"}}},
      {"Event Pros - Estimates", "rptWPDetail", "vendor estimates with contacts and items",
       setProp("WorkSheetType", Variant(std::int16_t{2})), kEventClauseExample},
      {"Event Pros - Contact Information", "rptWPDetail", "vendor contact information",
       [](FrameReport& r) {
         for (const char* s : {"ghDetail", "Detail", "gfDetail", "gfCompanyInfo"})
           r.section(s).setVisible(false);
       },
       kEventClauseExample},
      {"Event Pros - Payment Schedule",
       "rptPayment",
       "scheduled payments by due date",
       {},
       {{"EventID", "{EventID}"}}},
      // The clause ends in a blank: the report appends "And ..." to it directly.
      {"Event Pros - Quote Comparison",
       "rptVendorSummary",
       "items against vendor quotes",
       {},
       {{"EventID", "{QuoteEventID}"},
        {"SQLWhere", "WHERE VendorAssignments.WorkSheetType = 2 "},
        {"Title", "{QuoteEventName}"},
        {"Criteria", "Estimates"}}},
      {"rptLabels",
       "rptLabels",
       "mailing labels and envelopes",
       {},
       kLetterLabels,
       {{"a4", kA4Labels},
        {"envelope", kEnvelope},
        {"envelope-turned", kEnvelopeTurned},
        {"envelope-plain", kEnvelopePlain}}},
      {"Invoice",
       "rptInvoice",
       "an invoice with items and payments",
       {},
       {{"EventID", "{EventID}"}, {"InvoiceID", "{InvoiceID}"}}},
      {"SummaryOfEventsWithOutPics",
       "rptEvents",
       "events with sub-events and contacts",
       {},
       kEventsExample},
      {"SummaryOfEventsWithPics",
       "rptEventsWithPic",
       "events with contacts and pictures",
       {},
       kEventsExample},
      {"EventInfo",
       "rptEventInfo",
       "one event with contacts, parties and journal",
       {},
       {{"EventID", "{EventID}"},
        {"SQLOrderBy", "ORDER BY EntryDate"},
        {"ReportName", "Event Information"}}},
      // The last character of SQLWhere picks the column: 1 suggested, 2 budget, 3 actual.
      {"PieChart",
       "rptPieChart",
       "the event budget as a pie",
       {},
       {{"EventID", "{EventID}"},
        {"SQLWhere", "3"},
        {"Criteria", "Actual expenses by expense category"}}},
      // Any SQLGroupBy but "CompanyName" (exactly so) groups by expense category.
      {"VendorPhoneBook",
       "rptVendorPhoneBook",
       "vendor phone book",
       {},
       {{"SQLGroupBy", "CompanyName"}}},
      {"Event Pros - One Line Report",
       "rptVendorOneLine",
       "one line per vendor",
       {},
       {{"EventID", "{EventID}"},
        {"TimeFormat", "h:mm AP"},
        {"SQLOrderBy", "ORDER BY ExpenseCategories.Category, Vendors.CompanyName"}}},
      {"GuestTables2",
       "rptGuestTables2",
       "guests with room-plan seats",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {RoomPlanPartyID}"},
        {"Criteria", "Party: {RoomPlanPartyName}"}}},
      // The party is read back from the clause: the number must be followed by a blank.
      {"TableAssign2",
       "rptTableAssign2",
       "the room plan table by table",
       {},
       {{"SQLWhere", "WHERE Parties.PartyID = {RoomPlanPartyID} "},
        {"SQLOrderBy", "ORDER BY RoomName, ItemNumber, ChairNumber"},
        {"Criteria", "Party: {RoomPlanPartyName}"}}},
  };
  return c;
}

size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> prev(b.size() + 1), cur(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) prev[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    cur[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                  std::tolower(static_cast<unsigned char>(b[j - 1]));
      cur[j] = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (same ? 0 : 1)});
    }
    std::swap(prev, cur);
  }
  return prev[b.size()];
}
}  // namespace

void registerDesigner(std::string designer, DesignerFactory make) {
  designers()[std::move(designer)] = std::move(make);
}

bool designerBuilt(std::string_view designer) {
  return designers().find(designer) != designers().end();
}

const std::vector<CatalogueEntry>& catalogue() {
  static const std::vector<CatalogueEntry> c = makeCatalogue();
  return c;
}

std::unique_ptr<FrameReport> newReport(std::string_view name) {
  for (const auto& e : catalogue()) {
    if (e.name != name) continue;
    if (e.designer.empty()) return nullptr;
    auto it = designers().find(e.designer);
    if (it == designers().end()) return nullptr;
    auto r = it->second();
    r->setCatalogueName(e.name);
    if (e.presets) e.presets(*r);
    return r;
  }
  return nullptr;
}

std::vector<std::string> closeNames(std::string_view name, size_t max) {
  std::vector<std::pair<size_t, std::string>> scored;
  for (const auto& e : catalogue()) {
    size_t d = editDistance(name, e.name);
    // Substring matches ("guest list") count as close whatever their length difference.
    std::string lowName(name), lowEntry(e.name);
    for (auto& ch : lowName) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    for (auto& ch : lowEntry) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (!lowName.empty() && lowEntry.find(lowName) != std::string::npos) d = std::min<size_t>(d, 2);
    if (d <= std::max<size_t>(3, e.name.size() / 3)) scored.emplace_back(d, e.name);
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](auto& a, auto& b) { return a.first < b.first; });
  std::vector<std::string> out;
  for (auto& s : scored) {
    if (out.size() >= max) break;
    out.push_back(s.second);
  }
  return out;
}

}  // namespace galvix::frame
