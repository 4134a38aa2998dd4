// Quote comparison: one row per item, one column per event professional and worksheet (added
// at run time, up to eight, landscape from six on), each cell the vendor's total for the item
// with tax and tip, and a totals row. The amounts come from a work table, VENDOR_SUMMARY,
// which stays in the database after the run.
#include <cstdio>

#include "db/connection.h"
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptVendorSummary);

namespace galvix::reports {
namespace {

constexpr int kMaxColumns = 8;     // vendor columns that fit across a landscape page
constexpr int kLandscapeFrom = 6;  // this many vendor columns turn the page
constexpr int kFirstQuote = 2;     // Detail: fldItem and datRpt come first
constexpr int kFirstTotal = 1;     // gfDetail: lblTotal comes first
constexpr const char* kProduct = "Galvo Pro Reports";

std::string hex(std::uint32_t n) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%X", n);
  return buf;
}

class RptVendorSummary : public frame::FrameReport {
 public:
  RptVendorSummary() : FrameReport(engine::layouts::rptVendorSummary()) {
    addProperty("Mode", [this](const Variant& v) { mode_ = frame::propInteger(v); });
    onBeforePrint("Detail", [this] { addToTotals(); });
    onBeforePrint("gfDetail", [this] { printTotals(); });
    onBeforePrint("PageFooter", [this] { placeCompanyFooter(); });
    printDateOn("PageFooter");
  }

  // Each run makes its own: two comparisons at once never read each other's amounts. The
  // finished table is then copied into the database, where it stays until the next one.
  std::vector<std::string> workTables() const override { return {"VENDOR_SUMMARY"}; }

  void onReportStart() override {
    startFrame(false);
    std::string sql;  // the statement built last
    try {
      db::Connection conn;
      conn.open(data().connectionString());
      sql =
          "SELECT Vendors.VendorID, VendorAssignments.Selected, VendorAssignments.WorksheetType, "
          "Vendors.CompanyName, Items.Item, [Items].[Qty]*[Items].[Price] AS Amount, Vendors.Tax "
          "AS TaxRate, Vendors.Tip AS TipRate, IIf([Items.Tax]=True,[Amount]*[TaxRate]*0.01,0) AS "
          "TotalTax, IIf([Items.Tip]=True,[Amount]*[TipRate]*0.01,0) AS TotalTip, "
          "[Amount]+[TotalTax]+[TotalTip] AS GrandTotal INTO VENDOR_SUMMARY FROM Vendors INNER "
          "JOIN (VendorAssignments INNER JOIN Items ON VendorAssignments.VendorAssignmentID = "
          "Items.VendorAssignmentID) ON Vendors.VendorID = VendorAssignments.VendorID " +
          sqlWhere() + "And VendorAssignments.EventID = " + std::to_string(eventId()) +
          " ORDER BY VendorAssignments.WorksheetType DESC, Vendors.CompanyName, Items.Item";
      // Dropping the kept table, making this run's and keeping it again happen under the
      // database's write lock: a comparison running beside this one never finds a table another
      // has just kept between its drop and its make.
      conn.beginTrans();
      try {
        makeWorkTable(conn, sql);
        conn.keepWorkTable("VENDOR_SUMMARY");
        conn.commitTrans();
      } catch (...) {
        conn.rollbackTrans();
        throw;
      }
      conn.close();
      sql =
          "TRANSFORM Sum(VENDOR_SUMMARY.GrandTotal) AS [The Value] SELECT VENDOR_SUMMARY.Item AS "
          "Item From VENDOR_SUMMARY GROUP BY VENDOR_SUMMARY.Item ORDER BY [WorksheetType] & \"-\" "
          "& [CompanyName] PIVOT [WorksheetType] & \"-\" & [CompanyName]";
      data().setSource(sql);
      addVendorColumns(data().recordset());
    } catch (const db::DbError& e) {
      unexpected(hex(e.number()), e.description(), sql);
    } catch (const RuntimeError& e) {
      unexpected(hex(static_cast<std::uint32_t>(e.number())), e.what(), sql);
    }
  }

 private:
  // A work table left by an earlier comparison makes the make-table fail ("already exists",
  // 0x80040E14): drop it and make it again. Any other failure, or a failing drop, is reported
  // as the make-table's own error.
  static void makeWorkTable(db::Connection& conn, const std::string& sql) {
    for (int attempt = 0;; ++attempt) {
      try {
        conn.execute(sql);
        return;
      } catch (const db::DbError& first) {
        const bool exists = first.description().find("already exists") != std::string::npos;
        if (first.number() != db::kErrSyntax || !exists || attempt == 3) throw;
        try {
          conn.execute("DROP TABLE VENDOR_SUMMARY");
        } catch (const db::DbError& drop) {
          // Another comparison dropped it first: what the drop was for is done.
          if (drop.number() == db::kErrNoSuchObject) continue;
          throw db::DbError(first.number(),
                            first.description() + " (then dropping the work table to try again: " +
                                drop.description() + ")",
                            first.sqlWritten(), first.sqlExecuted(), first.position());
        }
      }
    }
  }

  void unexpected(const std::string& number, const std::string& description,
                  const std::string& sql) {
    host().message("An unexpected error has occured: \r\nError Number: " + number +
                       "\r\nError Description: " + description,
                   kProduct, engine::MessageIcon::Exclamation);
    data().setSource(sql);
  }

  void addVendorColumns(engine::RowView& rs) {
    const int fields = rs.fieldCount();
    if (fields <= 1) return;  // no item lines: only the item column prints
    const int n = fields - 1;
    if (n >= kLandscapeFrom) {
      if (n > kMaxColumns)
        host().message(
            "You have more wedding profesionals than can be displyed on the report.  Some "
            "wedding proffesionals will not be shown.",
            kProduct, engine::MessageIcon::Information);
      totals_.assign(static_cast<size_t>(std::min(n, kMaxColumns)), Currency{});
      setPrinterOrientation(2);
      for (const char* l : {"lblTitle", "lblReportName", "lblCriteria"}) label(l).setWidth(14400);
    } else {
      totals_.assign(static_cast<size_t>(n), Currency{});
      setPrinterOrientation(1);
    }
    float x = 2970;
    for (int i = 1; i <= n && i <= kMaxColumns; ++i) {
      const std::string f = rs.fieldName(i);
      const std::string suffix = std::to_string(i);
      auto& head = section("ghDetail").add("DDActiveReports2.Label", "lblVendor" + suffix);
      head.setLeft(x);
      head.setTop(10);
      head.setHeight(1620);
      head.setWidth(1200);
      head.setAngle(900);
      head.setVerticalAlignment(2);
      head.setAlignment(2);
      // The worksheet type ends at the first "-"; a company name may hold more of them.
      const auto dash = f.find('-');
      head.as<engine::Label>()->setCaption(dash == std::string::npos ? f : f.substr(dash + 1));
      head.border().bottom = engine::lineStyleFromCode(6);
      head.font().size = 8;  // long company names need the room
      head.font().bold = true;

      auto& quote = section("Detail").add("DDActiveReports2.Field", "txtQuote" + suffix);
      quote.setLeft(x);
      quote.setTop(90);
      quote.setWidth(1200);
      quote.setHeight(255);
      quote.setAlignment(1);
      quote.as<engine::Field>()->setDataField(f);
      quote.as<engine::Field>()->setOutputFormat("Currency");

      auto& total = section("gfDetail").add("DDActiveReports2.Field", "txtTotal" + suffix);
      auto* t = total.as<engine::Field>();
      total.setLeft(x);
      total.setTop(90);
      total.setWidth(1200);
      total.setHeight(255);
      t->setSummaryType(engine::SummaryType::SubTotal);
      t->setSummaryGroup("ghDetail");
      t->setSummaryRunning(engine::SummaryRunning::Group);
      t->setDataField(f);
      total.border().top = engine::lineStyleFromCode(6);
      total.setAlignment(1);
      t->setOutputFormat("Currency");
      total.font().bold = true;
      x = total.left() + 1400;
    }
  }

  // Each quote of the row adds to its column's total (an empty cell adds 0).
  void addToTotals() {
    auto& detail = section("Detail");
    for (int i = kFirstQuote; i < detail.count(); ++i) {
      auto* f = detail.item(i).as<engine::Field>();
      const size_t col = static_cast<size_t>(i - kFirstQuote);
      if (!f || col >= totals_.size()) continue;
      const Variant& v = f->value();
      if (v.isNull() || v.isEmpty()) continue;
      totals_[col] = Currency::fromDouble(totals_[col].toDouble() + v.toDouble());
    }
  }

  void printTotals() {
    auto& footer = section("gfDetail");
    for (int i = kFirstTotal; i < footer.count(); ++i) {
      auto* f = footer.item(i).as<engine::Field>();
      const size_t col = static_cast<size_t>(i - kFirstTotal);
      if (!f || col >= totals_.size()) continue;
      f->setDataValue(Format(Variant(totals_[col]), "Currency"));
    }
  }

  // In landscape the footer ends 50 twips inside the right margin.
  void placeCompanyFooter() {
    if (printerOrientation() != 2) return;
    auto& f = field("txtCompanyFooter");
    const auto& ps = pageSettings();
    f.setLeft(pageWidth() - ps.leftMargin - ps.rightMargin - f.width() - 50);
  }

  std::int16_t mode_ = 0;
  std::vector<Currency> totals_;
};

const frame::DesignerRegistration reg("rptVendorSummary",
                                      [] { return std::make_unique<RptVendorSummary>(); });

}  // namespace
}  // namespace galvix::reports
