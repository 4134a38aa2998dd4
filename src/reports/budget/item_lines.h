// What the budget worksheets and the event-pro estimates share: their where clause (composed
// with the event when it is set), and the item lines' tax and tip arithmetic.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/report.h"
#include "galvix/variant.h"

namespace galvix::reports {

// The clause stored when SQLWhere is set: the event condition alone for a blank clause, else
// the caller's clause followed directly by the event condition (so it must end in a blank).
std::string eventClause(const std::string& where, std::int32_t eventId);

// Tax and tip of a group of item lines. The rates are the assignment's percentages divided by
// 100 in single precision; each line adds its amount as displayed (rounded to the currency's
// decimals) times the rate, kept as currency.
class ItemTotals {
 public:
  // From the current row's VendorAssignments.Tax and .Tip; a Null percentage raises.
  void takeRates(const Variant& taxPercent, const Variant& tipPercent);
  void reset() { tax_ = {}, tip_ = {}; }

  // An item line: the price and amount fields shown as currency, then the line's tax and tip
  // added when its check boxes are ticked.
  void addLine(engine::Report& r, std::string_view priceField, std::string_view amountField);

  // "Tax (8.25%):" and "Tip (18%):".
  std::string taxCaption() const;
  std::string tipCaption() const;
  Currency tax() const { return tax_; }
  Currency tip() const { return tip_; }
  // Sub total (the group's sum of the amounts) plus the tax and tip totals, as a number.
  double grandTotal(const Variant& subTotal) const;

 private:
  float taxRate_ = 0, tipRate_ = 0;
  Currency tax_{}, tip_{};
};

}  // namespace galvix::reports
