// Checklist: the host's task query laid out as a table. Any of four columns can be dropped; the
// freed width goes to the neighbouring columns so the table still spans the page.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptChecklist);

namespace galvix::reports {
namespace {

class RptChecklist : public frame::FrameReport {
 public:
  RptChecklist() : FrameReport(engine::layouts::rptChecklist()) {
    addProperty("HideEventName", [this](const Variant& v) { hideEventName_ = frame::propBool(v); });
    addProperty("HideChecklistName",
                [this](const Variant& v) { hideChecklistName_ = frame::propBool(v); });
    addProperty("HideTime", [this](const Variant& v) { hideTime_ = frame::propBool(v); });
    addProperty("HideAssignedTo",
                [this](const Variant& v) { hideAssignedTo_ = frame::propBool(v); });
    onFormat("Detail", [this] {
      auto& date = field("txtDate");
      date.setDataValue(Variant(Format(date.value(), "General Date")));
      auto& time = field("txtTime");
      time.setDataValue(Variant(Format(time.value(), timeFormat())));
    });
    printDateOn("PageHeader");
  }

  void onReportStart() override {
    startFrame(false);
    if (hideEventName_) hideEventName();
    if (hideChecklistName_) hideChecklistName();
    if (hideTime_) hideTime();
    if (hideAssignedTo_) hideAssignedTo();
    // The host writes the whole statement.
    data().setSource(sqlWhere());
  }

  void onNoData() override {
    host().message("Nothing to Print!", "Bridley Pro", engine::MessageIcon::Information);
    cancel();
  }

 private:
  // Each block reads the positions as the blocks before it left them.
  void hideEventName() {
    auto &lblEvent = control("lblEventName"), &txtEvent = control("txtEventName");
    auto &lblList = control("lblCheckList"), &txtList = control("txtChecklist");
    auto &done = control("chkDone"), &lblItem = control("lblitem"), &txtItem = control("txtItem");
    lblEvent.setVisible(false);
    txtEvent.setVisible(false);
    lblList.setLeft(lblEvent.left());
    txtList.setLeft(txtEvent.left());
    const double half = lblEvent.width() / 2.0;
    lblList.setWidth(lblList.width() + half);
    txtList.setWidth(txtList.width() + half);
    done.setLeft(txtList.left() + txtList.width() + 80);
    lblItem.setLeft(lblList.left() + lblList.width());
    lblItem.setWidth(lblItem.width() + half);
    txtItem.setLeft(done.left() + done.width());
    txtItem.setWidth(txtItem.width() + half);
  }

  void hideChecklistName() {
    auto &lblList = control("lblCheckList"), &txtList = control("txtChecklist");
    auto &done = control("chkDone"), &lblItem = control("lblitem"), &txtItem = control("txtItem");
    lblList.setVisible(false);
    txtList.setVisible(false);
    done.setLeft(txtList.left());
    lblItem.setLeft(lblList.left());
    lblItem.setWidth(lblItem.width() + lblList.width());
    txtItem.setLeft(done.left() + done.width());
    txtItem.setWidth(txtItem.width() + lblList.width());
  }

  void hideTime() {
    auto &lblTime = control("lblTime"), &txtTime = control("txtTime");
    auto &lblDate = control("lblDate"), &txtDate = control("txtDate");
    auto &lblTo = control("lblAssignedTo"), &txtTo = control("txtAssignedTo");
    lblTime.setVisible(false);
    txtTime.setVisible(false);
    lblTo.setLeft(lblDate.left() + lblDate.width());
    lblTo.setWidth(lblTo.width() + txtTime.width());
    txtTo.setLeft(txtDate.left() + txtDate.width() + 40);
    txtTo.setWidth(txtTo.width() + txtTime.width());
  }

  void hideAssignedTo() {
    auto &lblTo = control("lblAssignedTo"), &txtTo = control("txtAssignedTo");
    auto &lblTime = control("lblTime"), &txtTime = control("txtTime");
    auto &lblDate = control("lblDate"), &txtDate = control("txtDate");
    auto &lblItem = control("lblitem"), &txtItem = control("txtItem");
    lblTo.setVisible(false);
    txtTo.setVisible(false);
    if (hideTime_) {
      // The date column ends where the assigned-to column ended.
      lblDate.setLeft(lblTo.left() + lblTo.width() - lblDate.width());
      txtDate.setLeft(txtTo.left() + txtTo.width() - txtDate.width());
    } else {
      lblTime.setLeft(lblTo.left() + lblTo.width() - lblTime.width());
      txtTime.setLeft(txtTo.left() + txtTo.width() - txtTime.width());
      lblDate.setLeft(lblTime.left() - lblDate.width());
      txtDate.setLeft(txtTime.left() - txtDate.width());
    }
    // The item column widens up to the date column.
    lblItem.setWidth(lblDate.left() - lblItem.left());
    txtItem.setWidth(txtDate.left() - txtItem.left());
  }

  bool hideEventName_ = false, hideChecklistName_ = false, hideTime_ = false,
       hideAssignedTo_ = false;
};

const frame::DesignerRegistration reg("rptChecklist",
                                      [] { return std::make_unique<RptChecklist>(); });

}  // namespace
}  // namespace galvix::reports
