// Stationery: a rich-text template printed once per selected guest or guest group, with the
// guest's name, menu, table and seat merged in; one copy per page or several in a grid.
#include "db/connection.h"
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/labels/paper.h"
#include "reports/labels/stationery_merge.h"

GALVIX_USE_LAYOUT(rptStationery);

namespace galvix::reports {
namespace {

using frame::propBool;
using frame::propLong;
using frame::propString;
namespace st = stationery;

class RptStationery : public frame::FrameReport, private st::GuestLookup {
 public:
  RptStationery() : FrameReport(engine::layouts::rptStationery(), false) {
    auto single = [](float& to) { return [&to](const Variant& v) { to = paper::single(v); }; };
    auto text = [](std::string& to) { return [&to](const Variant& v) { to = propString(v); }; };
    addProperty("Text", text(text_));
    addProperty("StationeryID", [this](const Variant& v) { stationeryId_ = propLong(v); });
    addProperty("MultiplePerPage", [this](const Variant& v) { multiple_ = propBool(v); });
    addProperty("PaperWidth", single(paperWidth_));
    addProperty("PaperHeight", single(paperHeight_));
    addProperty("TopMargin", single(topMargin_));
    addProperty("LeftMargin", single(leftMargin_));
    addProperty("BottomMargin", single(bottomMargin_));
    addProperty("RightMargin", single(rightMargin_));
    addProperty("LabelWidth", single(labelWidth_));
    addProperty("LabelHeight", single(labelHeight_));
    addProperty("HPitch", single(hPitch_));
    addProperty("VPitch", single(vPitch_));
    addProperty("NumberAcross", [this](const Variant& v) { numberAcross_ = propLong(v); });
    // Accepted for the host's sake; none of them changes what prints.
    addProperty("NumberDown", [](const Variant& v) { (void)propLong(v); });
    addProperty("SQL", [](const Variant& v) { (void)propString(v); });
    addProperty("PrinterName", [](const Variant& v) { (void)propString(v); });
    addProperty("PaperBin", [](const Variant& v) { (void)propLong(v); });
    addProperty("EventID", [this](const Variant& v) { setEventID(propLong(v)); });
    addProperty("TimeFormat", [this](const Variant& v) { setTimeFormat(propString(v)); });
    addProperty("DateFormat", [this](const Variant& v) { setDateFormat(propString(v)); });
    addProperty("ConnectionString",
                [this](const Variant& v) { setConnectionString(propString(v)); });

    onFormat("Detail", [this] { merge(); });
  }

  void onReportStart() override {
    host().setBusy(false);
    auto& page = pageSettings();
    page.paperWidth = static_cast<float>(paper::whole(paperWidth_));
    page.paperHeight = static_cast<float>(paper::whole(paperHeight_));
    auto& rtf = richText("rtfDocument");
    rtf.setRtf(text_);
    used_ = st::Placeholders::in(text_);
    page.topMargin = static_cast<float>(paper::whole(topMargin_));
    page.leftMargin = static_cast<float>(paper::whole(leftMargin_));
    page.bottomMargin = static_cast<float>(paper::whole(bottomMargin_));
    page.rightMargin = static_cast<float>(paper::whole(rightMargin_));
    auto& detail = section("Detail");
    if (multiple_) {
      const std::int32_t width = paper::whole(labelWidth_), height = paper::whole(labelHeight_);
      rtf.setWidth(width);
      rtf.setHeight(height);
      detail.setHeight(height);
      detail.setColumnCount(numberAcross_);
      section("gfSpace").setHeight(paper::difference(paper::whole(vPitch_), height));
      detail.setColumnSpacing(paper::difference(paper::whole(hPitch_), width));
      // Copies one pitch apart, whatever is left at the sheet's right edge.
      detail.setColumnWidth(width);
    } else {
      detail.setHeight(paper::whole(paperHeight_));
      rtf.setLeft(0);
      rtf.setTop(0);
      rtf.setHeight(paper::whole(double{paperHeight_} - bottomMargin_));
      const double width = double{paperWidth_} - leftMargin_ - rightMargin_;
      rtf.setWidth(width);
      setPrintWidth(width);
      detail.setColumnCount(1);
      detail.setColumnSpacing(0);
      section("gfSpace").setHeight(0);
    }
    rtf.setTop(0);

    startFrame(true);
    const std::string id = std::to_string(stationeryId_);
    sideQuery(
        "SELECT Distinct  StationerySetup.PartyID FROM StationerySetup WHERE "
        "StationerySetup.StationeryID = " +
            id,
        [this](db::Recordset& rs) { partyId_ = rs.fields(0).value(); });
    const std::string rows =
        "SELECT PartyGroupID, GuestID, Label FROM StationeryText WHERE "
        "StationeryID = " +
        id + " " + "and Print = True";
    bool any = false;
    sideQuery(rows, [&](db::Recordset& rs) { any = !rs.EOF_(); });
    if (any) {
      data().setSource(rows);
    } else {
      data().setSource("Select Count(1) from StationerySetup WHERE StationeryID = " + id);
      // That one row has no Label to group on: the whole run is one group.
      section("ghSpace").setDataField("");
    }
  }

  void onReportEnd() override { host().setBusy(false); }

 private:
  // Every statement of the merge runs on its own: a missing column, a null value or a failed
  // side query leaves its text as it was, and the copy still prints.
  void merge() {
    std::string guestIds, label;
    try {
      guestIds = fieldValue("GuestID").toString();
    } catch (const std::exception&) {
    }
    const st::GuestTexts found = st::gatherGuestTexts(guestIds, used_, *this);
    try {
      label = fieldValue("Label").toString();
    } catch (const std::exception&) {
    }
    // The control gives back the text it was given, so replacing placeholder by placeholder in
    // its current text is the merge of the template.
    auto& rtf = richText("rtfDocument");
    rtf.setRtf(text_);
    rtf.setRtf(st::mergeTemplate(rtf.rtf(), label, found));
  }

  std::string forGuest(const std::string& g) const {
    return "WHERE Invitees.GuestID = " + g + " And Invitees.PartyID = " + partyId_.displayText();
  }

  std::optional<TableSeat> tableAndSeat(const std::string& g) override {
    std::optional<TableSeat> row;
    sideQuery(
        "SELECT DISTINCT Tables.TableName, Invitees.Seat FROM Invitees INNER JOIN Tables ON "
        "(Invitees.PartyID = Tables.PartyID) AND (Invitees.TableID = Tables.TableID) " +
            forGuest(g),
        [&](db::Recordset& rs) {
          if (!rs.EOF_()) row = TableSeat{rs.value("TableName"), rs.value("Seat")};
        });
    return row;
  }

  std::optional<Variant> menuItem(const std::string& g) override {
    std::optional<Variant> item;
    sideQuery(
        "SELECT DISTINCT Menu.MenuItem FROM Invitees INNER JOIN Menu ON Invitees.MenuID = "
        "Menu.MenuID " +
            forGuest(g),
        [&](db::Recordset& rs) {
          if (!rs.EOF_()) item = rs.value("MenuItem");
        });
    return item;
  }

  std::string text_;
  std::int32_t stationeryId_ = 0;
  bool multiple_ = false;
  float paperWidth_ = 0, paperHeight_ = 0;
  float topMargin_ = 0, leftMargin_ = 0, bottomMargin_ = 0, rightMargin_ = 0;
  float labelWidth_ = 0, labelHeight_ = 0, hPitch_ = 0, vPitch_ = 0;
  std::int32_t numberAcross_ = 0;
  st::Placeholders used_;
  Variant partyId_;
};

const frame::DesignerRegistration reg("rptStationery",
                                      [] { return std::make_unique<RptStationery>(); });

}  // namespace
}  // namespace galvix::reports
