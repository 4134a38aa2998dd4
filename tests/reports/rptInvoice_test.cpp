// The invoice: item lines with tax and tip, payment lines as stored, the total, and the
// letterhead's logo read through a temporary file on every page.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "db/connection.h"
#include "report_test_util.h"
#include "runtime/format.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A w x h picture of one colour in a format gdk-pixbuf writes (jpeg, png, bmp).
Bytes encode(const char* type, int w = 360, int h = 120) {
  GdkPixbuf* pb = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, w, h);
  gdk_pixbuf_fill(pb, 0x5A3A8BFF);
  gchar* buf = nullptr;
  gsize len = 0;
  EXPECT_TRUE(gdk_pixbuf_save_to_buffer(pb, &buf, &len, type, nullptr, nullptr)) << type;
  g_object_unref(pb);
  Bytes out(reinterpret_cast<std::uint8_t*>(buf), reinterpret_cast<std::uint8_t*>(buf) + len);
  g_free(buf);
  return out;
}

class Invoice : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    // The logo's file goes to the folder the user's settings name.
    folder_ = fs::path(db().path()).parent_path() / "data";
    fs::create_directories(folder_);
    const fs::path config = fs::path(db().path()).parent_path() / "config";
    fs::create_directories(config);
    std::ofstream(config / "GalvoPro5.ini")
        << "[Options]\nDBPathLocation=" << folder_.string() << "\n";
    config_.emplace("XDG_CONFIG_HOME", config.string());

    event_ = db().event({.name = "Smith Wedding"});
    own_ = db().vendor({.company = "Galvix Planning",
                        .address = "1 Main Street",
                        .city = "Chicago",
                        .state = "IL",
                        .postalCode = "60606",
                        .myCompany = true});
    vendor_ = db().vendor({.company = "Bloom Florals"});
    invoice_ = db().invoice(event_, {.number = "A-7",
                                     .note = "Thank you.",
                                     .billToName = "Emily Smith",
                                     .billToAddress = "48 Maple Avenue"});
  }
  // An assignment of the event in `category` (with its budget line) of worksheet `type`.
  long assignment(const std::string& category, int type, double tax = 0, double tip = 0,
                  long vendor = 0) {
    const long cat = db().expenseCategory(category);
    if (!lines_.count(cat)) db().budgetLine(event_, cat);
    lines_.insert(cat);
    return db().assignment(event_, cat, vendor ? vendor : own_,
                           {.worksheetType = type, .tax = tax, .tip = tip});
  }

  doc::Document runInvoice(long invoice = 0) {
    return run("Invoice", {{"EventID", Variant(static_cast<int>(event_))},
                           {"InvoiceID", Variant(static_cast<int>(invoice ? invoice : invoice_))}});
  }

  fs::path folder_;
  std::optional<ScopedEnv> config_;
  long event_ = 0, own_ = 0, vendor_ = 0, invoice_ = 0;
  std::set<long> lines_;
};

TEST_F(Invoice, ItemLinesCarryTaxAndTipPaymentsAsStored) {
  const long a = assignment("Planning", 1, 8, 15);
  db().item(a, {.item = "Coordination",
                .price = data::money(50),
                .qty = 2,
                .tax = true,
                .invoiceId = invoice_});
  db().item(a, {.item = "Favors",
                .description = " (small)",
                .price = data::money(50),
                .qty = 2,
                .invoiceId = invoice_});
  db().item(a, {.item = "Overtime",
                .price = data::money(20),
                .qty = 1,
                .tax = true,
                .tip = true,
                .invoiceId = invoice_});
  const long est = assignment("Flowers", 2, 10, 10, vendor_);
  db().paymentType("Deposit", 1);
  db().payment(est, {.type = "Deposit", .amount = data::money(250.5), .invoiceId = invoice_});
  // Marked with the invoice but of the wrong worksheet type, or of another invoice: left out.
  db().item(est, {.item = "Estimate item", .price = data::money(999), .invoiceId = invoice_});
  db().payment(a, {.type = "Deposit", .amount = data::money(777), .invoiceId = invoice_});
  db().item(a, {.item = "Other invoice", .price = data::money(555), .invoiceId = invoice_ + 1});

  const auto d = runInvoice();
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("Flowers", "Planning", "Planning", "Planning"));
  EXPECT_THAT(texts(d, "txtCompany"),
              ElementsAre("Bloom Florals", "Line Item", "Line Item", "Line Item"));
  EXPECT_THAT(texts(d, "txtPaymentType"),
              ElementsAre("Deposit", "Coordination", "Favors (small)", "Overtime"));
  // 50 x 2 + 8% = 108; no flags: 100; 20 + 8% + 15% = 24.60; the payment as stored.
  EXPECT_THAT(texts(d, "txtAmount"), ElementsAre("$250.50", "$108.00", "$100.00", "$24.60"));
  EXPECT_THAT(texts(d, "txtTotal"), ElementsAre("$483.10"));
  EXPECT_THAT(texts(d, "txtInvoiceNote"), ElementsAre("Thank you."));
  EXPECT_THAT(texts(d, "txtInvoiceNumber"), ElementsAre("A-7"));
  EXPECT_THAT(texts(d, "txtBillTo"), ElementsAre("Emily Smith\r48 Maple Avenue"));
}

TEST_F(Invoice, CompanyBlockAndLogoOnEveryPageThroughAFileThatIsGoneAfterwards) {
  const Bytes jpeg = encode("jpeg");
  db().image(own_, jpeg);
  const long a = assignment("Planning", 1);
  for (int i = 0; i < 80; ++i)
    db().item(a, {.item = "Line " + std::to_string(100 + i),
                  .price = data::money(1),
                  .invoiceId = invoice_});
  // A file left by an earlier run is not what prints.
  std::ofstream(folder_ / "TempPic.jpg") << "stale";

  const auto d = runInvoice();
  ASSERT_GE(d.pages.size(), 2u);
  EXPECT_EQ(texts(d, "txtMyCompany"),
            std::vector<std::string>(d.pages.size(),
                                     "Galvix Planning\r1 Main Street\rChicago, IL  60606"));
  const auto pics = pictures(d, "imgLogo");
  ASSERT_EQ(pics.size(), d.pages.size());
  for (const auto* p : pics) {
    ASSERT_TRUE(p->data);
    EXPECT_EQ(*p->data, jpeg);
    EXPECT_EQ(p->data, pics[0]->data);  // one picture, embedded once
  }
  EXPECT_FALSE(fs::exists(folder_ / "TempPic.jpg"));
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(Invoice, NoPictureOrNoInvoiceRowLeavesTheDesignAndABadPictureFails) {
  // No image library entry: the join gives no row, so no company block either.
  assignment("Planning", 1);
  auto d = runInvoice();
  EXPECT_THAT(texts(d, "txtMyCompany"), ElementsAre(""));
  EXPECT_TRUE(pictures(d, "imgLogo").empty());
  // An empty picture column: the block prints, no picture.
  db().insert("ImageLibrary", {{"VendorID", Variant(static_cast<int>(own_))}});
  d = runInvoice(invoice_ + 50);
  EXPECT_THAT(texts(d, "txtMyCompany"),
              ElementsAre("Galvix Planning\r1 Main Street\rChicago, IL  60606"));
  EXPECT_TRUE(pictures(d, "imgLogo").empty());
  EXPECT_THAT(texts(d, "txtInvoiceNumber"), ElementsAre(""));
  // A picture that cannot be decoded fails, naming the report and the column; no file is left.
  db().exec("UPDATE ImageLibrary SET ImageBLOB = zeroblob(250)");
  EXPECT_THAT(runError([&] { runInvoice(); }), AllOf(HasSubstr("Invoice"), HasSubstr("ImageBLOB")));
  EXPECT_FALSE(fs::exists(folder_ / "TempPic.jpg"));
}

// The demo's invoices: the total printed is the sum of the lines the rules put on them,
// computed here from the rows.
TEST(InvoiceDemo, TotalEqualsTheSumOfItsRows) {
  const DemoDatabase demo("invoice_demo", {.guests = 20, .logo = encode("jpeg")});
  const std::string& path = demo.db;
  db::Connection c;
  c.open(path);
  db::Recordset rs;
  rs.openNative("SELECT InvoiceID, EventID FROM Invoices ORDER BY InvoiceID", c);
  std::vector<std::pair<long, long>> invoices;
  for (; !rs.EOF_(); rs.moveNext())
    invoices.emplace_back(rs.value("InvoiceID").toLong(), rs.value("EventID").toLong());
  rs.close();
  ASSERT_GE(invoices.size(), 2u);
  for (auto [inv, ev] : invoices) {
    SCOPED_TRACE(inv);
    // Items of worksheet type 1 of the event, with tax and tip by their flags.
    double sum = 0;
    int lines = 0;
    rs.openNative(
        "SELECT i.Price, i.Qty, i.Tax, i.Tip, a.Tax, a.Tip FROM Items i JOIN VendorAssignments a "
        "ON a.VendorAssignmentID = i.VendorAssignmentID WHERE a.WorkSheetType = 1 AND "
        "i.InvoiceID = " +
            std::to_string(inv) + " AND a.EventID = " + std::to_string(ev),
        c);
    for (; !rs.EOF_(); rs.moveNext(), ++lines) {
      const double base = rs.fields(0).value().toDouble() * rs.fields(1).value().toDouble();
      sum += base;
      if (rs.fields(2).value().toBool()) sum += base * rs.fields(4).value().toDouble() / 100;
      if (rs.fields(3).value().toBool()) sum += base * rs.fields(5).value().toDouble() / 100;
    }
    rs.close();
    // Payments of worksheet type 2 assignments, as stored.
    rs.openNative(
        "SELECT p.Amount FROM PaymentSchedule p JOIN VendorAssignments a ON "
        "a.VendorAssignmentID = p.VendorAssignmentID WHERE a.WorkSheetType = 2 AND "
        "p.InvoiceID = " +
            std::to_string(inv) + " AND a.EventID = " + std::to_string(ev),
        c);
    for (; !rs.EOF_(); rs.moveNext(), ++lines) sum += rs.fields(0).value().toDouble();
    rs.close();
    EXPECT_GT(lines, 0);

    Report factory;
    auto r = factory.GetNewReport("Invoice");
    r->set("ConnectionString", Variant(path));
    r->set("EventID", Variant(static_cast<int>(ev)));
    r->set("InvoiceID", Variant(static_cast<int>(inv)));
    const auto d = r->run();
    EXPECT_THAT(texts(d, "txtTotal"), ElementsAre(Format(Variant::dbl(sum), "Currency")));
    EXPECT_EQ(texts(d, "txtAmount").size(), static_cast<std::size_t>(lines));
  }
}

}  // namespace
}  // namespace galvix::testing
