#include "data/demo_budget.h"

namespace galvix::data {

void addSmallBudgetLines(Fixture& f, long weddingEventId) {
  struct Line {
    const char* category;
    double suggested, budget, actual;
  };
  // Against a budget of about $45,000: a guest book is a tenth of a percent, the licence two
  // tenths. The valet service's actual amount is not known yet (Null).
  const Line lines[] = {{"Guest Book & Pens", 45, 40, 38.5},
                        {"Hair & Makeup", 750, 700, 680},
                        {"Marriage License", 90, 85, 85},
                        {"Valet Parking", 500, 450, -1}};
  for (const Line& l : lines)
    f.budgetLine(weddingEventId, f.expenseCategory(l.category),
                 {.suggested = money(l.suggested),
                  .budget = money(l.budget),
                  .actual = l.actual < 0 ? Variant::null() : money(l.actual),
                  .paymentsMade = money(0)});
}

}  // namespace galvix::data
