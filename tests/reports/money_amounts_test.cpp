// Every amount the six money reports print for the demo events, against the amounts computed
// here straight from the database rows by the reports' rules: line amounts as displayed, tax
// and tip as rate x 0.01 on them, currency totals, the master budget's empty actuals. Nothing
// here calls the reports' own code; the only shared piece is the database's text order.
#include <gmock/gmock.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>

#include "db/connection.h"
#include "galvix/report.h"
#include "report_test_util.h"
#include "runtime/regional.h"
#include "runtime/vb.h"

namespace galvix::testing {
namespace {

using Units = std::int64_t;  // ten-thousandths
using Opt = std::optional<Units>;

bool german = false;

std::string grouped(Units cents) {
  std::string digits = std::to_string(cents / 100);
  std::string out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) out += german ? "." : ",";
    out += digits[i];
  }
  char frac[4];
  std::snprintf(frac, sizeof frac, "%02lld", static_cast<long long>(cents % 100));
  return out + (german ? "," : ".") + frac;
}

// Money as the regional settings show it, rounded to the cent half away from zero.
std::string showCents(Units cents) {
  const bool negative = cents < 0;
  const std::string body = grouped(negative ? -cents : cents);
  if (german) return (negative ? "-" : "") + body + " €";
  return negative ? "($" + body + ")" : "$" + body;
}
std::string show(Units u) {
  const Units a = u < 0 ? -u : u;
  const Units cents = (a + 50) / 100;
  return showCents(u < 0 ? -cents : cents);
}
std::string show(double v) {
  return showCents(static_cast<Units>(std::round(v * 100)));
}
std::string show(const Opt& u) {
  return u ? show(*u) : std::string();
}
// A double kept as currency: to the ten-thousandth, halves to even.
Units toUnits(double v) {
  return static_cast<Units>(std::nearbyint(v * 10000));
}

std::string percentText(float rate) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.7g", static_cast<double>(rate * 100.0f));
  std::string s = buf;
  if (german) std::replace(s.begin(), s.end(), '.', ',');
  return s;
}

bool before(const std::string& a, const std::string& b) {
  return vb::compareTextNoCase(a, b) < 0;
}

struct Rows {
  std::map<long, std::string> categories;
  struct Sp {
    long category, event;
    Opt suggested, budget, actual, payments;
  };
  std::vector<Sp> sp;
  struct Vendor {
    std::string company;
    double tax, tip;
  };
  std::map<long, Vendor> vendors;
  struct Assignment {
    long event, category, vendor;
    int type;
    bool selected;
    double tax, tip;
  };
  std::map<long, Assignment> assignments;
  struct Item {
    long assignment;
    std::string item;
    Units price;
    double qty;
    bool tax, tip;
  };
  std::vector<Item> items;
  struct Payment {
    long assignment;
    Units amount;
    double due;
    long invoice;
  };
  std::vector<Payment> payments;
  std::map<long, std::string> invoices;
};

Opt money(const Variant& v) {
  if (v.isNull()) return std::nullopt;
  return v.toCurrency().units;
}

Rows readRows(const std::string& conn) {
  Rows r;
  db::Connection c;
  c.open(conn);
  auto each = [&](const std::string& sql, const std::function<void(db::Recordset&)>& f) {
    db::Recordset rs;
    rs.open(sql, c);
    for (; !rs.EOF_(); rs.moveNext()) f(rs);
  };
  auto num = [](const Variant& v) { return v.isNull() ? 0.0 : v.toDouble(); };
  auto id = [](const Variant& v) { return v.isNull() ? 0L : static_cast<long>(v.toLong()); };
  each("SELECT * FROM ExpenseCategories", [&](db::Recordset& rs) {
    r.categories[id(rs.value("CategoryID"))] = rs.value("Category").displayText();
  });
  each("SELECT * FROM SPCategories", [&](db::Recordset& rs) {
    r.sp.push_back({id(rs.value("CategoryID")), id(rs.value("EventID")), money(rs.value("ABudget")),
                    money(rs.value("Budget")), money(rs.value("Actual")),
                    money(rs.value("PaymentsMade"))});
  });
  each("SELECT * FROM Vendors", [&](db::Recordset& rs) {
    r.vendors[id(rs.value("VendorID"))] = {rs.value("CompanyName").displayText(),
                                           num(rs.value("Tax")), num(rs.value("Tip"))};
  });
  each("SELECT * FROM VendorAssignments", [&](db::Recordset& rs) {
    r.assignments[id(rs.value("VendorAssignmentID"))] = {
        id(rs.value("EventID")),       id(rs.value("CategoryID")),
        id(rs.value("VendorID")),      static_cast<int>(num(rs.value("WorkSheetType"))),
        rs.value("Selected").toBool(), num(rs.value("Tax")),
        num(rs.value("Tip"))};
  });
  each("SELECT * FROM Items", [&](db::Recordset& rs) {
    r.items.push_back({id(rs.value("VendorAssignmentID")), rs.value("Item").displayText(),
                       money(rs.value("Price")).value_or(0), num(rs.value("Qty")),
                       rs.value("Tax").toBool(), rs.value("Tip").toBool()});
  });
  each("SELECT * FROM PaymentSchedule", [&](db::Recordset& rs) {
    r.payments.push_back({id(rs.value("VendorAssignmentID")), money(rs.value("Amount")).value_or(0),
                          num(rs.value("DueDate")), id(rs.value("InvoiceID"))});
  });
  each("SELECT * FROM Invoices", [&](db::Recordset& rs) {
    r.invoices[id(rs.value("InvoiceID"))] = rs.value("InvoiceNumber").displayText();
  });
  return r;
}

// What one report printed, control by control, in page order.
struct Printed {
  doc::Document d;
  std::vector<std::string> operator[](const std::string& control) const {
    return texts(d, control);
  }
  // The texts of `controls` band instance by band instance (one data row each).
  std::vector<std::vector<std::string>> rows(const std::vector<std::string>& controls) const {
    std::map<std::pair<std::int32_t, std::string>, std::vector<std::string>> byRow;
    std::vector<std::vector<std::string>> out;
    std::map<std::int32_t, size_t> index;
    for (const auto& p : d.pages)
      for (const auto& it : p.items) {
        auto k = std::find(controls.begin(), controls.end(), it.control);
        auto* t = std::get_if<doc::Text>(&it.content);
        if (k == controls.end() || !t || it.row < 0) continue;
        if (!index.count(it.row)) {
          index[it.row] = out.size();
          out.emplace_back(controls.size());
        }
        out[index[it.row]][static_cast<size_t>(k - controls.begin())] = t->text;
      }
    return out;
  }
};

class MoneyAmounts : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() { demo_ = std::make_unique<DemoDatabase>("money"); }
  static void TearDownTestSuite() { demo_.reset(); }
  void SetUp() override {
    setRegional(GetParam());
    german = std::string(GetParam()) == "de-DE";
    rows_ = readRows(demo_->db);
  }
  void TearDown() override {
    setRegional("en-US");
    german = false;
  }

  Printed print(const std::string& name, long event, const std::string& where = "\x01") {
    Report factory;
    auto r = factory.GetNewReport(name);
    r->set("ConnectionString", demo_->db);
    r->set("EventID", Variant(static_cast<int>(event)));
    if (where != "\x01") r->set("SQLWhere", Variant(where));
    bool cancelled = false;
    return {r->run(&cancelled, std::make_shared<frame::RecordingHost>())};
  }
  const std::string& category(long assignment) {
    return rows_.categories[rows_.assignments.at(assignment).category];
  }
  bool hasBudgetLine(long categoryId) const {
    return std::any_of(rows_.sp.begin(), rows_.sp.end(),
                       [&](const Rows::Sp& s) { return s.category == categoryId; });
  }

  // The worksheet or estimate lines of an event, in the reports' order, grouped by `key`.
  struct Group {
    std::string key;
    long firstAssignment = 0;
    std::vector<const Rows::Item*> lines;
  };
  std::vector<Group> groups(long event, int type, bool byCompany) {
    std::vector<const Rows::Item*> lines;
    for (const auto& i : rows_.items) {
      const auto& a = rows_.assignments.at(i.assignment);
      if (a.event == event && a.type == type && hasBudgetLine(a.category)) lines.push_back(&i);
    }
    auto company = [&](const Rows::Item* i) {
      return rows_.vendors.at(rows_.assignments.at(i->assignment).vendor).company;
    };
    std::stable_sort(lines.begin(), lines.end(), [&](auto* x, auto* y) {
      if (int c = vb::compareTextNoCase(category(x->assignment), category(y->assignment)))
        return c < 0;
      if (byCompany)
        if (int c = vb::compareTextNoCase(company(x), company(y))) return c < 0;
      return before(x->item, y->item);
    });
    std::vector<Group> out;
    for (auto* i : lines) {
      const std::string key = byCompany ? company(i) : category(i->assignment);
      if (out.empty() || vb::compareTextNoCase(out.back().key, key) != 0)
        out.push_back({key, i->assignment, {}});
      out.back().lines.push_back(i);
    }
    return out;
  }

  // Each control of the worksheets and the estimates, text by text, for `groups`: line prices
  // and amounts, then per group its sub total, tax and tip (on each line as displayed, the
  // first row's rates), grand total and the rates' captions.
  using Columns = std::map<std::string, std::vector<std::string>>;
  Columns sheets(const std::vector<Group>& groups, const std::string& linePrefix,
                 bool* taxAndTip = nullptr) {
    Columns out;
    for (const auto& g : groups) {
      const auto& first = rows_.assignments.at(g.firstAssignment);
      const float taxRate = static_cast<float>(first.tax / 100),
                  tipRate = static_cast<float>(first.tip / 100);
      double sub = 0;
      Units tax = 0, tip = 0;
      for (auto* i : g.lines) {
        const double amount = static_cast<double>(i->price) / 10000 * i->qty;
        sub += amount;
        out[linePrefix + "Price"].push_back(show(i->price));
        out[linePrefix + "Amount"].push_back(show(amount));
        const double shown = std::round(amount * 100) / 100;
        if (i->tax)
          tax = toUnits(static_cast<double>(tax) / 10000 + shown * static_cast<double>(taxRate));
        if (i->tip)
          tip = toUnits(static_cast<double>(tip) / 10000 + shown * static_cast<double>(tipRate));
      }
      if (taxAndTip) *taxAndTip |= tax > 0 && tip > 0;
      out["txtSubTtl"].push_back(show(sub));
      out["txtTaxTtl"].push_back(show(tax));
      out["txtTipTtl"].push_back(show(tip));
      out["txtGrandTtl"].push_back(show(sub + static_cast<double>(tax + tip) / 10000));
      out["lblTaxTtl"].push_back("Tax (" + percentText(taxRate) + "%):");
      out["lblTipTtl"].push_back("Tip (" + percentText(tipRate) + "%):");
    }
    return out;
  }

  static inline std::unique_ptr<DemoDatabase> demo_;
  Rows rows_;
};

TEST_P(MoneyAmounts, MasterBudget) {
  const long e = demo_->demo.weddingEventId;
  std::vector<const Rows::Sp*> lines;
  for (const auto& s : rows_.sp)
    if (s.event == e) lines.push_back(&s);
  std::stable_sort(lines.begin(), lines.end(), [&](auto* a, auto* b) {
    return before(rows_.categories[a->category], rows_.categories[b->category]);
  });
  Columns want;
  Units tSuggested = 0, tBudget = 0, tActual = 0, tPayments = 0;
  bool emptyActual = false, zeroActual = false;
  for (auto* s : lines) {
    want["txtCategory"].push_back(rows_.categories[s->category]);
    want["cncBudgetSorvik"].push_back(show(s->suggested));
    want["cncBudget"].push_back(show(s->budget));
    want["cncActual"].push_back(show(s->actual));
    want["cncPayments"].push_back(show(s->payments));
    want["cncBalance"].push_back(s->actual ? show(*s->actual - s->payments.value_or(0)) : "");
    want["cncOverUnder"].push_back(s->actual ? show(*s->actual - s->budget.value_or(0)) : "");
    tSuggested += s->suggested.value_or(0);
    tBudget += s->budget.value_or(0);
    tActual += s->actual.value_or(0);
    tPayments += s->payments.value_or(0);
    emptyActual |= !s->actual;
    zeroActual |= s->actual == Units{0};
  }
  // The demo shows both kinds of category.
  EXPECT_TRUE(emptyActual && zeroActual);
  want["cncBudgetSorvikTtl"] = {show(tSuggested)};
  want["cncBudgetTtl"] = {show(tBudget)};
  want["cncActualTtl"] = {show(tActual)};
  want["cncPaymentsTtl"] = {show(tPayments)};
  want["cncOverUnderTtl"] = {show(tActual - tBudget)};
  want["cncBalanceTtl"] = {show(tActual - tPayments)};
  const Printed p = print("Master Budget Summary", e);
  for (const auto& [control, texts] : want) EXPECT_EQ(p[control], texts) << control;
}

TEST_P(MoneyAmounts, PaymentSchedule) {
  const long e = demo_->demo.weddingEventId;
  std::vector<std::pair<double, std::vector<std::string>>> expected;
  Units total = 0;
  for (const auto& p : rows_.payments) {
    const auto& a = rows_.assignments.at(p.assignment);
    if (a.event != e || !a.selected || p.amount <= 0) continue;
    const auto inv = rows_.invoices.find(p.invoice);
    expected.push_back({p.due,
                        {rows_.vendors.at(a.vendor).company, show(p.amount),
                         inv == rows_.invoices.end() ? "N / A" : inv->second}});
    total += p.amount;
  }
  const Printed printed = print("Event Pros - Payment Schedule", e);
  auto got = printed.rows({"txtCompanyName", "txtPaymentAmount", "Field5"});
  // By due date; payments due the same day in any order.
  std::sort(expected.begin(), expected.end());
  ASSERT_EQ(got.size(), expected.size());
  for (size_t i = 0, j = 0; i < got.size(); i = j) {
    while (j < got.size() && expected[j].first == expected[i].first) ++j;
    std::sort(got.begin() + static_cast<long>(i), got.begin() + static_cast<long>(j));
  }
  for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i], expected[i].second) << i;
  EXPECT_EQ(printed["txtTotal"], std::vector{show(total)});
}

// The worksheets by category, the estimates by company: the same arithmetic.
TEST_P(MoneyAmounts, WorksheetsEstimatesAndContactInformation) {
  const long e = demo_->demo.weddingEventId;
  const auto worksheets = groups(e, 0, false), estimates = groups(e, 2, true);
  ASSERT_FALSE(worksheets.empty());
  bool taxAndTip = false;
  Columns sheet = sheets(worksheets, "txt"), estimate = sheets(estimates, "txtA", &taxAndTip);
  EXPECT_TRUE(taxAndTip);
  for (const auto& g : worksheets) sheet["txtCategory"].push_back(g.key);
  for (const auto& g : estimates) {
    estimate["txtProf"].push_back(g.key);
    Units paid = 0;
    for (const auto& pay : rows_.payments)
      if (pay.assignment == g.firstAssignment && pay.amount > 0) paid += pay.amount;
    estimate["txtPayTtl"].push_back(show(paid));
  }
  const Columns contacts{{"txtProf", estimate["txtProf"]}, {"txtPayTtl", estimate["txtPayTtl"]}};
  for (const auto& [name, want] : {std::pair{"Budget Worksheets", sheet},
                                   {"Event Pros - Estimates", estimate},
                                   {"Event Pros - Contact Information", contacts}}) {
    const Printed p = print(name, e, "");
    for (const auto& [control, texts] : want) EXPECT_EQ(p[control], texts) << name << control;
  }
}

TEST_P(MoneyAmounts, QuoteComparison) {
  const long e = demo_->demo.galaEventId;
  std::map<std::string, std::map<std::string, double>> cells;  // column -> item -> amount
  std::map<std::string, std::string> heads;
  for (const auto& i : rows_.items) {
    const auto& a = rows_.assignments.at(i.assignment);
    if (a.event != e || a.type != 2) continue;
    const auto& v = rows_.vendors.at(a.vendor);
    const double amount = i.qty * (static_cast<double>(i.price) / 10000);
    const double tax = i.tax ? amount * v.tax * 0.01 : 0, tip = i.tip ? amount * v.tip * 0.01 : 0;
    const std::string column = std::to_string(a.type) + "-" + v.company;
    cells[column][i.item] += amount + tax + tip;
    heads[column] = v.company;
  }
  std::vector<std::string> columns;
  for (const auto& [c, _] : cells) columns.push_back(c);
  std::stable_sort(columns.begin(), columns.end(), before);
  ASSERT_GE(columns.size(), 7u);  // the demo turns the page
  const Printed p =
      print("Event Pros - Quote Comparison", e, "WHERE VendorAssignments.WorkSheetType = 2 ");
  EXPECT_TRUE(p.d.pages.at(0).landscape);
  for (size_t k = 0; k < columns.size() && k < 8; ++k) {
    SCOPED_TRACE(columns[k]);
    const std::string n = std::to_string(k + 1);
    EXPECT_EQ(p["lblVendor" + n], std::vector{heads[columns[k]]});
    Units total = 0;
    for (const auto& row : p.rows({"fldItem", "txtQuote" + n})) {
      const auto& col = cells[columns[k]];
      const auto it = col.find(row[0]);
      EXPECT_EQ(row[1], it == col.end() ? "" : show(it->second)) << row[0];
      if (it != col.end()) total = toUnits(static_cast<double>(total) / 10000 + it->second);
    }
    EXPECT_EQ(p["txtTotal" + n], std::vector{show(total)});
  }
}

INSTANTIATE_TEST_SUITE_P(Locales, MoneyAmounts, ::testing::Values("en-US", "de-DE"));

}  // namespace
}  // namespace galvix::testing
