// Mailing labels and envelopes: ready-made address texts laid out on the paper the host
// describes, either as a sheet of labels in columns or one envelope per page, the envelope's
// address placed (and turned) by its measured size.
#include <optional>

#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/labels/frmTextWidth.h"
#include "reports/labels/paper.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptLabels);

namespace galvix::reports {
namespace {

using frame::propBool;
using frame::propLong;
using frame::propString;

class RptLabels : public frame::FrameReport {
 public:
  RptLabels() : FrameReport(engine::layouts::rptLabels(), false) {
    auto single = [](float& to) { return [&to](const Variant& v) { to = paper::single(v); }; };
    auto longInt = [](std::int32_t& to) { return [&to](const Variant& v) { to = propLong(v); }; };
    auto boolean = [](bool& to) { return [&to](const Variant& v) { to = propBool(v); }; };
    addProperty("TimeFormat", [this](const Variant& v) { setTimeFormat(propString(v)); });
    addProperty("DateFormat", [this](const Variant& v) { setDateFormat(propString(v)); });
    addProperty("ConnectionString",
                [this](const Variant& v) { setConnectionString(propString(v)); });
    addProperty("Envelopes", boolean(envelopes_));
    addProperty("PaperSetupID", longInt(paperSetupId_));
    addProperty("PaperWidth", single(paperWidth_));
    addProperty("PaperHeight", single(paperHeight_));
    addProperty("PaperSize", longInt(paperSize_));
    addProperty("Orientation", longInt(orientation_));
    addProperty("PrinterName", [this](const Variant& v) { printerName_ = propString(v); });
    addProperty("TMargin", single(tMargin_));
    addProperty("LMargin", single(lMargin_));
    addProperty("LabelWidth", single(labelWidth_));
    addProperty("LabelHeight", single(labelHeight_));
    addProperty("HPitch", single(hPitch_));
    addProperty("VPitch", single(vPitch_));
    addProperty("NumberAcross", longInt(numberAcross_));
    // Kept in the engine's tenths of a degree.
    addProperty("TextAngle",
                [this](const Variant& v) { textAngle_ = paper::product(propLong(v), 10); });
    addProperty("ReturnAddress", [this](const Variant& v) {
      returnAddress_ = std::string(vb::trimBlanks(propString(v)));
    });
    addProperty("AutoPositionReturn", boolean(autoReturn_));
    addProperty("ReturnTopPosition", single(returnTop_));
    addProperty("ReturnLeftPosition", single(returnLeft_));
    addProperty("AutoPositionContent", boolean(autoContent_));
    addProperty("ContentTopPosition", single(contentTop_));
    addProperty("ContentLeftPosition", single(contentLeft_));
    addProperty("LAlignment", longInt(lAlignment_));
    addProperty("FontName", [this](const Variant& v) { fontName_ = propString(v); });
    addProperty("FontSize", longInt(fontSize_));
    addProperty("FontBold", boolean(fontBold_));
    addProperty("FontItalic", boolean(fontItalic_));
    addProperty("FontColor", longInt(fontColor_));
    addProperty("DisplayBorder",
                [this](const Variant& v) { displayBorder_ = paper::single(v) != 0; });
    addProperty("EventID", [this](const Variant& v) { setEventID(propLong(v)); });

    designFont_ = label("txtLabel").font();
    onFormat("Detail", [this] {
      if (envelopes_)
        formatEnvelope();
      else
        label("txtLabel").setCaption(data().recordset().value(0).toString());
    });
  }

  void onReportStart() override {
    host().setBusy(true);
    if (!measurer())
      throw frame::ReportError(displayName() + ": measuring text needs the run's text measurer");
    form_.emplace(*measurer());
    form_->setFont(labelFont());

    auto& txtLabel = label("txtLabel");
    auto& txtReturn = label("txtReturn");
    if (returnAddress_.empty()) {
      txtReturn.setCaption("");
    } else {
      txtReturn.setFont(labelFont());
      txtReturn.setForeColor(color());
    }

    const float W = paperWidth_, H = paperHeight_;
    auto& detail = section("Detail");
    auto& page = pageSettings();
    if (envelopes_) {
      data().setSource("SELECT Label FROM EnvelopeText WHERE EnvelopeID = " +
                       std::to_string(paperSetupId_) + " AND Print = True " + "Order By Lookup");
      printer().name = printerName_;
      setPrinterOrientation(orientation_);
      page.setPaperSize(paperSize_);
      setPrintWidth(double{W} - 100);
      if (paperSize_ >= 256) {
        page.paperWidth = static_cast<float>(paper::whole(W));
        page.paperHeight = static_cast<float>(paper::whole(H));
      }
      detail.setHeight(double{H} - 10);
      const std::int32_t T = form_->textHeight("T");
      if (autoContent_ && !rotated()) contentTop_ = static_cast<float>(double{H} / 2 - T);
      if (!autoContent_) {
        if (!rotated()) {
          txtLabel.setTop(contentTop_);
          txtLabel.setLeft(contentLeft_);
          txtLabel.setHeight(double{H} - contentTop_ - T - 10);
        } else {
          txtLabel.setLeft(contentTop_);
        }
      }
    } else {
      data().setSource("SELECT Label FROM LabelText WHERE LabelSetupID = " +
                       std::to_string(paperSetupId_) + " AND Print = True " + "Order By Lookup");
      txtLabel.setVerticalAlignment(1);
      page.paperHeight = static_cast<float>(paper::whole(H));
      page.paperWidth = static_cast<float>(paper::whole(W));
      page.topMargin = static_cast<float>(paper::whole(tMargin_));
      page.leftMargin = static_cast<float>(paper::whole(lMargin_));
      page.rightMargin = 0;
      setPrintWidth(double{W} - lMargin_);
      const std::int32_t width = paper::whole(labelWidth_), height = paper::whole(labelHeight_);
      detail.setColumnCount(numberAcross_);
      detail.setColumnSpacing(std::max(0, paper::difference(paper::whole(hPitch_), width)));
      // Columns one pitch apart, whatever is left at the sheet's right edge.
      detail.setColumnWidth(width);
      detail.setHeight(height);
      txtLabel.setLeft(180);
      txtLabel.setTop(0);
      txtLabel.setWidth(paper::difference(width, 180));
      txtLabel.setHeight(height);
      section("gfSpace").setHeight(paper::difference(paper::whole(vPitch_), height));
    }
    txtLabel.setAlignment(lAlignment_);
    txtLabel.setFont(labelFont());
    txtLabel.setForeColor(color());
  }

  void onNoData() override {
    host().message("You have not selected any guests.", "Bridley",
                   engine::MessageIcon::Information);
    cancel();
  }

  void onReportEnd() override {
    host().setBusy(false);
    form_.reset();
  }

 private:
  bool rotated() const { return textAngle_ != 0; }
  std::int16_t engineAngle() const { return checkedInteger(textAngle_); }
  // Turned text stands on the box's bottom when right-aligned, else in its middle.
  int turnedVerticalAlignment() const { return lAlignment_ == 1 ? 2 : 1; }
  doc::Color color() const { return static_cast<doc::Color>(fontColor_) & 0xFFFFFF; }

  doc::Font labelFont() const {
    // The layout's font stands for what the host leaves unset (no name, no size).
    doc::Font f = designFont_;
    if (!fontName_.empty()) f.name = fontName_;
    if (fontSize_ > 0) f.size = fontSize_;
    f.bold = fontBold_;
    f.italic = fontItalic_;
    return f;
  }

  void formatEnvelope() {
    const double W = paperWidth_, H = paperHeight_;
    const double D = section("Detail").height();
    if (!returnAddress_.empty()) {
      auto& ret = label("txtReturn");
      ret.setCaption(returnAddress_);
      const std::int32_t r =
          paper::whole(static_cast<double>(form_->textWidth(returnAddress_)) + 500);
      if (!rotated()) {
        ret.setWidth(r);
        ret.setHeight(autoReturn_ ? D / 2 : D - returnTop_ - 100);
        ret.setTop(autoReturn_ ? 360 : returnTop_);
        ret.setLeft(autoReturn_ ? 360 : returnLeft_);
        ret.setAlignment(lAlignment_);
        ret.setVerticalAlignment(0);
      } else {
        ret.setHeight(r);
        ret.setTop(autoReturn_ ? H - r - 360 : H - returnLeft_ - r);
        ret.setLeft(autoReturn_ ? 300 : returnTop_);
        ret.setAlignment(0);
        ret.setVerticalAlignment(turnedVerticalAlignment());
        ret.setAngle(engineAngle());
      }
    }

    auto& txt = label("txtLabel");
    const std::string text = fieldValue("Label").toString();
    const std::int32_t w = form_->textWidth(text);
    txt.setWidth(static_cast<double>(w) + 500);
    const double centredLeft = paper::whole(W) / 2.0 - w / 2.0;
    if (!rotated()) {
      if (autoContent_) {
        txt.setHeight(D - contentTop_ - 300);
        txt.setTop(contentTop_);
        txt.setLeft(centredLeft);
      }
      txt.setAlignment(lAlignment_);
      txt.setVerticalAlignment(0);
    } else {
      if (autoContent_) {
        const double M = pageSettings().topMargin;
        contentTop_ = static_cast<float>(H / 2 + M - w / 2.0);
        txt.setHeight(static_cast<double>(w) + 300);
        txt.setTop(contentTop_);
        txt.setLeft(centredLeft);
        txt.setAlignment(2);
      } else {
        txt.setHeight(static_cast<double>(w) + 200);
        txt.setTop(H - contentLeft_ - w);
        txt.setAlignment(0);
      }
      txt.setVerticalAlignment(turnedVerticalAlignment());
      txt.setAngle(engineAngle());
    }
    txt.setCaption(text);
  }

  bool envelopes_ = false;
  std::int32_t paperSetupId_ = 0;
  float paperWidth_ = 0, paperHeight_ = 0;
  std::int32_t paperSize_ = 0, orientation_ = 0;
  std::string printerName_;
  float tMargin_ = 0, lMargin_ = 0, labelWidth_ = 0, labelHeight_ = 0, hPitch_ = 0, vPitch_ = 0;
  std::int32_t numberAcross_ = 0;
  std::int32_t textAngle_ = 0;
  std::string returnAddress_;
  bool autoReturn_ = false;
  float returnTop_ = 0, returnLeft_ = 0;
  bool autoContent_ = false;
  float contentTop_ = 0, contentLeft_ = 0;
  std::int32_t lAlignment_ = 0;
  std::string fontName_;
  std::int32_t fontSize_ = 0;
  bool fontBold_ = false, fontItalic_ = false;
  std::int32_t fontColor_ = 0;
  [[maybe_unused]] bool displayBorder_ = false;  // accepted; the labels print no border
  doc::Font designFont_;
  std::optional<FrmTextWidth> form_;
};

const frame::DesignerRegistration reg("rptLabels", [] { return std::make_unique<RptLabels>(); });

}  // namespace
}  // namespace galvix::reports
