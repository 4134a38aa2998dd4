// Guest party attendance: one line per guest, one check box column per party, the party
// columns created at run time from the crosstab's pivot columns.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"

GALVIX_USE_LAYOUT(rptPartyAttendance);

namespace galvix::reports {
namespace {

constexpr int kFirstPivot = 3;      // Category, Name, TotalOfAttending come first
constexpr int kMaxColumns = 14;     // party columns that fit across a landscape page
constexpr int kLandscapeFrom = 10;  // this many party columns turn the page

class RptPartyAttendance : public frame::FrameReport {
 public:
  RptPartyAttendance() : FrameReport(engine::layouts::rptPartyAttendance()) {
    addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
    onBeforePrint("PageFooter", [this] { placeCompanyFooter(); });
    printDateOn("PageFooter");
  }

  // The event's clause is composed when the where clause is set, from the EventID set before.
  void setSQLWhere(std::string w) override {
    std::string id = std::to_string(eventId());
    where_ = w.empty() ? "Where GuestPartyAttendance.EventID = " + id + " "
                       : w + "AND GuestPartyAttendance.EventID = " + id + " ";
    FrameReport::setSQLWhere(std::move(w));
  }

  void onReportStart() override {
    startFrame(false);
    data().setSource(
        "TRANSFORM IIF(IsNull(Count(GuestPartyAttendance.Attending)),0,1) AS [The Value] SELECT "
        "GuestPartyAttendance.Category, GuestPartyAttendance.Name, "
        "Count(GuestPartyAttendance.Attending) AS TotalOfAttending From GuestPartyAttendance " +
        where_ +
        "GROUP BY GuestPartyAttendance.Category, GuestPartyAttendance.Name ORDER BY "
        "GuestPartyAttendance.Name PIVOT GuestPartyAttendance.SubEventName");
    auto& rs = data().recordset();
    const int columns = rs.fieldCount();
    if (columns <= kFirstPivot) return;
    const int n = columns - kFirstPivot;
    if (n < kLandscapeFrom) {
      setPrinterOrientation(1);
    } else {
      // Parties beyond the last column that fits are left out: say so once.
      if (n > kMaxColumns)
        host().message(
            "You have more parties than can be displyed on the report.  Some parties will not be "
            "shown.",
            "Galvo Pro Reports", engine::MessageIcon::Information);
      setPrinterOrientation(2);
      for (const char* l : {"lblTitle", "lblReportName", "lblCriteria"}) label(l).setWidth(14400);
    }
    const int first = rs.fieldName(kFirstPivot) == "<>" ? 1 : 0;
    float x = 2970;
    for (int i = first; i < n && i < kMaxColumns; ++i) {
      const std::string& party = rs.fieldName(kFirstPivot + i);
      auto& lbl = section("PageHeader").addLabel(std::to_string(i) + "lblPartyName");
      lbl.setLeft(x);
      lbl.setTop(1170);
      lbl.setHeight(1530);
      lbl.setWidth(540);
      lbl.setAngle(900);
      lbl.setVerticalAlignment(2);
      lbl.setAlignment(2);
      lbl.setCaption(party);
      lbl.font().size = 8;
      lbl.font().bold = true;
      auto& chk = section("Detail").addCheckBox(std::to_string(i) + "chkAttendance");
      chk.setValue(Variant::integer(0));
      chk.setLeft(x + 150);
      chk.setTop(90);
      chk.setWidth(270);
      chk.setHeight(270);
      chk.setCaption("");
      chk.setDataField(party);
      x = chk.left() + 640;
    }
    auto& rule = line("Line1");
    rule.setWidth(std::max(rule.width(), x));
  }

 private:
  // In landscape the footer's right edge follows the wider page.
  void placeCompanyFooter() {
    if (printerOrientation() != 2) return;
    auto& f = field("txtCompanyFooter");
    const auto& ps = pageSettings();
    float right = ps.paperHeight - ps.rightMargin - ps.leftMargin;  // landscape: height is width
    f.setLeft(right - f.width());
  }

  std::string where_;
  std::int16_t mode_ = 0;
};

const frame::DesignerRegistration reg("rptPartyAttendance",
                                      [] { return std::make_unique<RptPartyAttendance>(); });

}  // namespace
}  // namespace galvix::reports
