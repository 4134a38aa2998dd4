// Master guest list: the event's guest groups as a directory, one entry per adult guest name in
// last-name order under letter headings, with the first and last surname of each page on top.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"

GALVIX_USE_LAYOUT(rptFamilyAndFriends);

namespace galvix::reports {
namespace {

class RptFamilyAndFriends : public frame::FrameReport {
 public:
  RptFamilyAndFriends() : FrameReport(engine::layouts::rptFamilyAndFriends()) {
    // Its group headers' BeforePrint read only their own band: details go out as formatted.
    setHeadersIndependentOfDetails();
    onBeforePrint("Detail", [this] { label("lblTo").setCaption(field("txtGLName").text()); });
    printDateOn("PageFooter");
  }

  void onReportStart() override {
    startFrame(false);
    std::string sql =
        "SELECT GroupIDs.Label, GuestCategories.Category, GroupIDs.HPhone, GroupIDs.WPhone, "
        "GroupIDs.MPhone, GroupIDs.FPhone, GroupIDs.[E-Mail] as EMail, GuestNames.GLName FROM "
        "(GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) Left JOIN "
        "GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID " +
        sqlWhere();
    // The keyword test is exact: a clause spelled "WHERE" gets a second one and fails.
    sql += sql.find("Where") != std::string::npos
               ? " and GuestNames.Type = 0 and GroupIDs.EventID = "
               : " Where GuestNames.Type = 0 and GroupIDs.EventID = ";
    sql += std::to_string(eventId()) + " ORDER BY GuestNames.GLName, GuestNames.GFName";
    data().setSource(sql);
  }

  // The surname of the row that opens the page.
  void onPageStart() override { label("lblFrom").setCaption(field("txtGLName").text()); }
};

const frame::DesignerRegistration reg("rptFamilyAndFriends",
                                      [] { return std::make_unique<RptFamilyAndFriends>(); });

}  // namespace
}  // namespace galvix::reports
