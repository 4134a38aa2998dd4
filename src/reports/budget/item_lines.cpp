#include "reports/budget/item_lines.h"

#include "runtime/format.h"
#include "runtime/vb.h"

namespace galvix::reports {

std::string eventClause(const std::string& where, std::int32_t eventId) {
  const std::string id = std::to_string(eventId);
  if (vb::trimBlanks(where).empty()) return "WHERE VendorAssignments.EventID = " + id;
  return where + "AND VendorAssignments.EventID = " + id;
}

void ItemTotals::takeRates(const Variant& taxPercent, const Variant& tipPercent) {
  taxRate_ = opDiv(taxPercent, Variant(100)).toSingle();
  tipRate_ = opDiv(tipPercent, Variant(100)).toSingle();
}

namespace {
// A running currency total plus a double: the sum is a double, stored back as currency.
Currency addTo(Currency total, double amount) {
  return Currency::fromDouble(total.toDouble() + amount);
}

std::string percentCaption(const char* what, float rate) {
  // A single times an integer stays single: 0.0825 shows as 8.25.
  const float percent = rate * 100.0f;
  return std::string(what) + " (" + generalNumber(static_cast<double>(percent), 7) + "%):";
}
}  // namespace

void ItemTotals::addLine(engine::Report& r, std::string_view priceField,
                         std::string_view amountField) {
  auto& price = r.field(priceField);
  price.setDataValue(Format(price.value(), "Currency"));
  auto& amount = r.field(amountField);
  amount.setDataValue(Format(amount.value(), "Currency"));
  // The line as displayed, read back: tax and tip are reckoned on the rounded amount, and the
  // tip on the amount before tax.
  const Variant shown(amount.text());
  if (r.checkBox("chkTax").checked())
    tax_ = addTo(tax_, shown.toDouble() * static_cast<double>(taxRate_));
  if (r.checkBox("chkTip").checked())
    tip_ = addTo(tip_, shown.toDouble() * static_cast<double>(tipRate_));
}

std::string ItemTotals::taxCaption() const {
  return percentCaption("Tax", taxRate_);
}

std::string ItemTotals::tipCaption() const {
  return percentCaption("Tip", tipRate_);
}

double ItemTotals::grandTotal(const Variant& subTotal) const {
  // A group whose amounts are all Null has no sub total: its lines add nothing.
  const Variant sub = subTotal.isNull() || subTotal.isEmpty() ? Variant::dbl(0) : subTotal;
  return opAdd(opAdd(sub, Variant(tax_)), Variant(tip_)).toDouble();
}

}  // namespace galvix::reports
