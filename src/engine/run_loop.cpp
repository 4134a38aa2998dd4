#include "engine/run_loop.h"

#include "engine/move_item.h"
#include "engine/text_util.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "db/connection.h"
#include "engine/paginator.h"

namespace galvix::engine {

namespace {

// To whole twips. Sizes a host gives can be anything a single holds: beyond a billion twips
// (about 11 miles) they saturate, and not-a-number is 0, rather than wrapping.
std::int32_t rnd(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<std::int32_t>(std::clamp(std::nearbyint(v), -1073741824.0, 1073741824.0));
}

bool sameKey(const Variant& a, const Variant& b) {
  if (a.isNull() || b.isNull()) return a.isNull() == b.isNull();
  if (a.isEmpty() || b.isEmpty()) return a.isEmpty() == b.isEmpty();
  try {
    return compareValues(a, b, true) == 0;
  } catch (const RuntimeError&) {
    return false;
  }
}

bool isText(ControlKind k) {
  return k == ControlKind::Label || k == ControlKind::Field;
}

// A check box's caption wraps beside its square: the platform's 13 pixels (195 twips) and a
// 60-twip gap, as the renderer draws them.
constexpr std::int32_t kCheckBoxAside = 255;

// The text a growing or shrinking control is measured by, and the width it wraps in (0: none).
std::pair<const std::string*, std::int32_t> measuredText(const ControlState& st,
                                                         std::int32_t width) {
  if (st.kind == ControlKind::CheckBox)
    return {&st.caption, st.wordWrap ? std::max(1, width - kCheckBoxAside) : 0};
  return {st.kind == ControlKind::Label ? &st.caption : &st.text, st.wordWrap ? width : 0};
}

// Clears the data control's run flag however the run ends.
struct RunningGuard {
  DataControl& d;
  explicit RunningGuard(DataControl& dc) : d(dc) {}
  ~RunningGuard() { d.endRun(); }
};

}  // namespace

void Accumulator::add(const Variant& v) {
  if (v.isNull() || v.isEmpty()) return;
  ++count;
  sum = sum.isEmpty() ? v : opAdd(sum, v);
  if (min.isEmpty() || compareValues(v, min) < 0) min = v;
  if (max.isEmpty() || compareValues(v, max) > 0) max = v;
}

Variant Accumulator::result(SummaryFunc f) const {
  switch (f) {
    case SummaryFunc::Sum:
      return sum.isEmpty() ? Variant::longInt(0) : sum;
    case SummaryFunc::Count:
      return Variant::longInt(static_cast<std::int32_t>(count));
    case SummaryFunc::Avg:
      return count ? opDiv(sum, Variant::longInt(static_cast<std::int32_t>(count)))
                   : Variant::null();
    case SummaryFunc::Min:
      return min.isEmpty() ? Variant::null() : min;
    case SummaryFunc::Max:
      return max.isEmpty() ? Variant::null() : max;
  }
  return {};
}

RunLoop::RunLoop(Report& report, const RunOptions& options, bool embedded)
    : report_(report), options_(options), embedded_(embedded) {}

std::uint64_t RunLoop::latestSeq(const Section* s) const {
  auto it = latest_.find(s);
  return it == latest_.end() ? 0 : it->second;
}

void RunLoop::setViewRow(const RowPtr& row, long index) {
  auto& v = report_.data_.view_;
  if (row)
    v.setRow(row, index);
  else if (index == -2)
    v.setRow(nullptr, -1);  // after the last row
}

static void fire(Report& r, const std::function<void()>& f) {
  f();
  if (r.cancelled()) throw RunCancelled{};
}

bool RunLoop::begin() {
  fire(report_, [&] { report_.onReportStart(); });
  return true;
}

const Expression& RunLoop::expressionFor(const std::string& dataField) {
  auto it = exprCache_.find(dataField);
  if (it != exprCache_.end()) return it->second;
  static const Columns kNone;
  return exprCache_.emplace(dataField, Expression::compile(dataField, columns_ ? *columns_ : kNone))
      .first->second;
}

void RunLoop::prepare() {
  for (auto& s : report_.sections_) {
    switch (s->kind()) {
      case SectionKind::GroupHeader:
        groupHeaders_.push_back(s.get());
        break;
      case SectionKind::GroupFooter:
        groupFooters_.push_back(s.get());
        break;
      case SectionKind::Detail:
        detail_ = s.get();
        break;
      case SectionKind::ReportHeader:
        reportHeader_ = s.get();
        break;
      case SectionKind::ReportFooter:
        reportFooter_ = s.get();
        break;
      default:
        break;
    }
  }
  // Footers are stored inner first; pair them with headers outer first.
  std::reverse(groupFooters_.begin(), groupFooters_.end());
  static const Columns kNone;
  const Columns& cols = columns_ ? *columns_ : kNone;
  for (Section* gh : groupHeaders_) {
    const auto& st = gh->state();
    if (!columns_) {  // no rows to group
      groupKeys_.emplace_back();
      continue;
    }
    Expression e = Expression::compile(st.dataField, cols);
    if (e.isMissingColumn()) {
      if (st.breakOn.empty())
        throw EngineError("group '" + st.name + "': key '" + st.dataField +
                          "' names no column of the row source, and the layout gives no "
                          "'breakOn' column");
      e = Expression::compile(st.breakOn, cols);
      if (e.isMissingColumn())
        throw EngineError("group '" + st.name + "': neither its key '" + st.dataField +
                          "' nor its breakOn column '" + st.breakOn +
                          "' is a column of the row source");
    }
    groupKeys_.push_back(std::move(e));
  }
  // Summarised fields, wherever they are.
  for (auto& s : report_.sections_)
    for (auto& c : s->controls())
      if (c->kind() == ControlKind::Field && c->state().summary.active() &&
          c->state().summary.type != SummaryType::PageCount) {
        SummaryField f{c.get(), Expression::compile(c->state().dataField, cols), -1, s.get()};
        const auto& sm = c->state().summary;
        if (!sm.group.empty()) {
          for (std::size_t l = 0; l < groupHeaders_.size(); ++l)
            if (groupHeaders_[l]->name() == sm.group) f.groupLevel = static_cast<int>(l);
        } else {
          for (std::size_t l = 0; l < groupHeaders_.size(); ++l)
            if (groupHeaders_[l] == s.get() || groupFooters_[l] == s.get())
              f.groupLevel = static_cast<int>(l);
          if (f.groupLevel < 0) f.groupLevel = static_cast<int>(groupHeaders_.size()) - 1;
        }
        summaries_.push_back(std::move(f));
      }
  all_.assign(summaries_.size(), {});
  openGroups_.assign(groupHeaders_.size(), nullptr);
  // A group is held until its end when its header must see the group whole: kept together, a
  // subtotal of its own group printed in its header, or (unless the designer says otherwise) the
  // innermost group, whose header's BeforePrint follows its details' Format.
  const std::size_t G = groupHeaders_.size();
  holdGroup_.assign(G, false);
  for (std::size_t l = 0; l < G; ++l)
    if (groupHeaders_[l]->groupKeepTogether() == GroupKeepTogether::All) holdGroup_[l] = true;
  if (G > 0 && !report_.headersIndependent_) holdGroup_[G - 1] = true;
  for (const auto& sf : summaries_)
    for (std::size_t l = 0; l < G; ++l)
      if (sf.section == groupHeaders_[l] && sf.groupLevel >= static_cast<int>(l))
        holdGroup_[static_cast<std::size_t>(sf.groupLevel)] = true;
}

void RunLoop::bindControls(Section& s, const RowValues& row) {
  for (auto& c : s.controls_) {
    auto& st = c->state();
    if (st.dataField.empty() || st.summary.active()) continue;
    if (st.kind != ControlKind::Field && st.kind != ControlKind::CheckBox) continue;
    const Expression& e = expressionFor(st.dataField);
    if (e.empty() || e.isMissingColumn()) continue;  // filled by code
    Variant v = e.eval(row);
    if (st.kind == ControlKind::Field)
      static_cast<Field&>(*c).setDataValue(std::move(v));
    else
      st.value = std::move(v);
  }
}

std::vector<RunLoop::BoundValue> RunLoop::bindBodySections(const Section* except,
                                                           const RowValues& row) {
  std::vector<BoundValue> saved;
  for (auto& s : report_.sections_) {
    const auto k = s->kind();
    if (s.get() == except || (k != SectionKind::GroupHeader && k != SectionKind::Detail &&
                              k != SectionKind::GroupFooter))
      continue;
    for (auto& c : s->controls_) {
      auto& st = c->state();
      if (st.dataField.empty() || st.summary.active()) continue;
      if (st.kind != ControlKind::Field && st.kind != ControlKind::CheckBox) continue;
      saved.push_back({&st, st.value, st.text});
    }
    bindControls(*s, row);
  }
  return saved;
}

void RunLoop::unbind(std::vector<BoundValue>& saved) {
  for (auto& b : saved) {
    b.state->value = std::move(b.value);
    b.state->text = std::move(b.text);
  }
}

void RunLoop::computeSummaries(BandInstance& inst, bool atCommit,
                               const std::vector<Accumulator>* page) {
  Section& s = *inst.section;
  for (auto& c : s.controls_) {
    if (c->kind() != ControlKind::Field) continue;
    const Summary& sm = c->state().summary;
    if (!sm.active()) continue;
    auto& f = static_cast<Field&>(*c);
    if (sm.type == SummaryType::PageCount) {
      if (sm.running == SummaryRunning::All)
        f.setDataValue(Variant::longInt(std::max(1, report_.pageNumber_)));
      continue;
    }
    std::size_t i = 0;
    while (i < summaries_.size() && summaries_[i].control != c.get()) ++i;
    if (i == summaries_.size()) continue;  // added after the run started
    const SummaryField& sf = summaries_[i];
    if (sm.type == SummaryType::PageTotal) {
      if (atCommit && page) f.setDataValue((*page)[i].result(sm.func));
      continue;
    }
    const Accumulator* acc = &all_[i];
    const bool groupRange =
        sm.running == SummaryRunning::Group ||
        (sm.running == SummaryRunning::None && sm.type == SummaryType::SubTotal);
    if (groupRange && sf.groupLevel >= 0 &&
        static_cast<std::size_t>(sf.groupLevel) < inst.groups.size() &&
        inst.groups[static_cast<std::size_t>(sf.groupLevel)])
      acc = &(*inst.groups[static_cast<std::size_t>(sf.groupLevel)])[i];
    // At commit only a group header's subtotal changes: its group has been read to the end.
    if (atCommit &&
        !(s.kind() == SectionKind::GroupHeader && groupRange && sm.running == SummaryRunning::None))
      continue;
    f.setDataValue(acc->result(sm.func));
  }
}

void RunLoop::refreshSummaries(BandInstance& inst, const std::vector<Accumulator>* page) {
  computeSummaries(inst, true, page);
}

void RunLoop::snapshot(BandInstance& inst) {
  Section& s = *inst.section;
  inst.sectionState = s.st_;
  inst.measured.clear();
  inst.controls.clear();
  inst.controls.reserve(s.controls_.size());
  for (auto& c : s.controls_) inst.controls.push_back(c->state());
}

void RunLoop::restore(BandInstance& inst) {
  Section& s = *inst.section;
  s.st_ = inst.sectionState;
  const std::size_t n = std::min(inst.controls.size(), s.controls_.size());
  for (std::size_t i = 0; i < n; ++i) s.controls_[i]->state() = inst.controls[i];
}

void RunLoop::runSubreports(BandInstance& inst) {
  Section& s = *inst.section;
  for (std::size_t i = 0; i < s.controls_.size(); ++i) {
    auto& st = s.controls_[i]->state();
    if (st.kind != ControlKind::SubReport || !st.visible || !st.report) {
      inst.fragments.erase(i);
      continue;
    }
    auto it = inst.fragments.find(i);
    if (it != inst.fragments.end() && it->second.report == st.report.get()) continue;
    Report& child = *st.report;
    child.setHost(report_.hostPtr());
    auto& pd = report_.data_;
    auto& cd = child.data_;
    if (cd.connectionString().empty()) cd.setConnectionString(pd.connectionString());
    if (!cd.connection() && pd.connection() && cd.connectionString() == pd.connectionString())
      cd.setConnection(pd.connection());
    cd.running_ = false;
    cd.close();
    RunLoop sub(child, options_, true);
    Fragment f = sub.runEmbedded(std::max(0, rnd(st.width)));
    f.report = &child;
    inst.fragments[i] = std::move(f);
  }
}

// How tall text may grow: a page header or footer to a third of the page body, so the page
// keeps room for its bands; any other band to what a page leaves below its header and above its
// footer, so it fits on one page. The rest of the text is cut and ends in an ellipsis.
std::int32_t RunLoop::growthLimit(const Section& s) const {
  if (s.kind() == SectionKind::PageHeader || s.kind() == SectionKind::PageFooter)
    return bodyHeight() / 3;
  std::int32_t free = bodyHeight();
  for (const auto& p : report_.sections_)
    if ((p->kind() == SectionKind::PageHeader || p->kind() == SectionKind::PageFooter) &&
        p->visible())
      free -= rnd(p->height());
  return std::max(free, bodyHeight() / 3);
}

std::int32_t RunLoop::bodyHeight() const {
  const auto& ps = report_.pageSettings();
  return std::max(0, rnd(report_.pageHeight() - ps.topMargin - ps.bottomMargin));
}

std::int32_t RunLoop::textHeight(BandInstance& inst, std::size_t control, std::string_view text,
                                 const doc::Font& font, std::int32_t wrap) {
  // The snapshot's text, when it is what is measured now.
  const ControlState* snap = control < inst.controls.size() ? &inst.controls[control] : nullptr;
  const bool asSnapshot =
      snap && snap->font == font &&
      std::string_view(*measuredText(*snap, 0).first).substr(0, text.size()) == text;
  auto it = std::find_if(inst.measured.begin(), inst.measured.end(),
                         [&](const MeasuredText& m) { return m.control == control; });
  if (asSnapshot && it != inst.measured.end() && it->wrap == wrap && it->length == text.size())
    return it->height;
  const std::int32_t h = options_.measurer->measureHeight(text, font, wrap);
  if (!asSnapshot) return h;
  if (it == inst.measured.end()) it = inst.measured.insert(inst.measured.end(), MeasuredText{});
  *it = MeasuredText{control, text.size(), wrap, h};
  return h;
}

std::int32_t RunLoop::measure(BandInstance& inst) {
  Section& s = *inst.section;
  inst.shifts.clear();
  if (!s.visible()) return 0;
  std::int32_t h = rnd(s.height());
  struct Box {
    std::int32_t top, height, grown, left, right;
    bool visible;
  };
  std::vector<Box> boxes(s.controls_.size(), Box{0, 0, 0, 0, 0, false});
  for (std::size_t i = 0; i < s.controls_.size(); ++i) {
    const auto& st = s.controls_[i]->state();
    if (!st.visible) continue;
    std::int32_t ch = rnd(st.height);
    std::int32_t nh = ch;
    if (st.kind == ControlKind::SubReport) {
      auto it = inst.fragments.find(i);
      std::int32_t fh = it == inst.fragments.end() ? 0 : it->second.height;
      nh = st.canShrink ? fh : std::max(ch, fh);
    } else if ((st.canGrow || st.canShrink) &&
               (isText(st.kind) || st.kind == ControlKind::RichText ||
                st.kind == ControlKind::CheckBox)) {
      if (!options_.measurer)
        throw EngineError("control '" + st.name +
                          "' can grow or shrink, but the run has no text measurer");
      std::int32_t m = 0;
      if (st.kind == ControlKind::RichText) {
        m = options_.measurer->measureRichHeight(st.rtf, rnd(st.width));
      } else {
        const auto [t, wrap] = measuredText(st, rnd(st.width));
        const std::string_view shown =
            cutToBox(*t, st.font.size, rnd(st.width), std::min(growthLimit(s), bodyHeight()));
        m = t->empty() ? 0 : textHeight(inst, i, shown, st.font, wrap);
      }
      if (st.canGrow) nh = std::max(nh, m);
      if (st.canShrink) nh = std::min(nh, m);
      // The band keeps the room its design gives below this control.
      nh = std::min(nh, std::max(ch, growthLimit(s) - (rnd(s.height()) - ch)));
    }
    const bool line = st.kind == ControlKind::Line;
    const std::int32_t top = line ? rnd(std::min(st.top, st.top + st.height)) : rnd(st.top);
    boxes[i] = {top,
                line ? rnd(std::abs(st.height)) : ch,
                line ? rnd(std::abs(st.height)) : nh,
                rnd(st.left),
                rnd(st.left + st.width),
                true};
  }
  // With pushDown, a control that starts lower than a control that grew (or moved) and shares
  // some of its width moves down by that growth (and by what moved the grown one). Controls
  // beside it are another column and stay; a label moves with the control it labels, the
  // nearest one to its right on its row.
  std::vector<std::int32_t> shift(boxes.size(), 0);
  if (s.pushDown()) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < boxes.size(); ++i)
      if (boxes[i].visible) order.push_back(i);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return boxes[a].top < boxes[b].top; });
    constexpr std::int32_t kSameRow = 30;  // twips: tops this close are one row
    for (std::size_t k = 0; k < order.size(); ++k) {
      const Box& me = boxes[order[k]];
      for (std::size_t j = 0; j < k; ++j) {
        const Box& above = boxes[order[j]];
        const std::int32_t moved = shift[order[j]] + std::max(0, above.grown - above.height);
        if (moved == 0 || above.top >= me.top) continue;
        if (me.left < above.right && above.left < me.right)
          shift[order[k]] = std::max(shift[order[k]], moved);
      }
    }
    for (std::size_t k = 0; k < order.size(); ++k) {
      const std::size_t i = order[k];
      if (s.controls_[i]->kind() != ControlKind::Label) continue;
      std::optional<std::size_t> field;
      for (std::size_t j : order)
        if (j != i && std::abs(boxes[j].top - boxes[i].top) <= kSameRow &&
            boxes[j].left >= boxes[i].right - kSameRow &&
            (!field || boxes[j].left < boxes[*field].left))
          field = j;
      if (field) shift[i] = std::max(shift[i], shift[*field]);
    }
    inst.shifts = shift;
  }
  std::int32_t grownBottom = 0, bottom = 0, designBottom = 0;
  bool grew = false;
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    if (!boxes[i].visible) continue;
    const std::int32_t top = boxes[i].top + shift[i];
    bottom = std::max(bottom, top + boxes[i].grown);
    designBottom = std::max(designBottom, boxes[i].top + boxes[i].height);
    if (boxes[i].grown > boxes[i].height || shift[i] > 0) {
      grew = true;
      grownBottom = std::max(grownBottom, top + std::max(boxes[i].grown, boxes[i].height));
    }
  }
  // A band that grows keeps the space its design leaves below its lowest control, so a grown
  // row does not touch the next one.
  if (grew && s.canGrow()) h = std::max(h, grownBottom + std::max(0, h - designBottom));
  // A band that can shrink ends below its lowest visible control.
  if (s.canShrink()) h = std::min(h, bottom);
  return std::max(0, h);
}

std::vector<doc::Item> RunLoop::buildItems(BandInstance& inst,
                                           std::vector<std::pair<std::size_t, int>>& deferred) {
  Section& s = *inst.section;
  std::vector<doc::Item> items;
  for (std::size_t i = 0; i < s.controls_.size(); ++i) {
    const auto& st = s.controls_[i]->state();
    if (!st.visible) continue;
    const std::int32_t dy = i < inst.shifts.size() ? inst.shifts[i] : 0;
    doc::Rect box{rnd(st.left), rnd(st.top) + dy, rnd(st.width), rnd(st.height)};
    auto grownHeight = [&] {
      if (!(st.canGrow || st.canShrink) || !options_.measurer) return box.height;
      const auto [t, wrap] = measuredText(st, box.width);
      const std::string_view shown =
          cutToBox(*t, st.font.size, box.width, std::min(growthLimit(s), bodyHeight()));
      std::int32_t m = t->empty() ? 0 : textHeight(inst, i, shown, st.font, wrap);
      std::int32_t nh = box.height;
      if (st.canGrow) nh = std::max(nh, m);
      if (st.canShrink) nh = std::min(nh, m);
      return std::min(nh, std::max(box.height, growthLimit(s) - (rnd(s.height()) - box.height)));
    };
    doc::Item item;
    item.section = s.name();
    item.control = st.name;
    item.row = static_cast<std::int32_t>(inst.rowIndex);
    switch (st.kind) {
      case ControlKind::Label:
      case ControlKind::Field: {
        doc::Text t;
        t.text = st.kind == ControlKind::Label ? st.caption : st.text;
        box.height = grownHeight();
        t.box = box;
        t.font = st.font;
        t.foreColor = st.foreColor;
        t.backColor = st.backColor;
        t.align = st.alignment;
        t.valign = st.verticalAlignment;
        t.angle = st.angle;
        t.wordWrap = st.wordWrap;
        t.border = st.border;
        if (st.kind == ControlKind::Field && st.summary.type == SummaryType::PageCount &&
            st.summary.running != SummaryRunning::All)
          deferred.emplace_back(items.size(), static_cast<int>(i));
        item.content = std::move(t);
        break;
      }
      case ControlKind::CheckBox: {
        doc::CheckBox c;
        box.height = grownHeight();
        c.box = box;
        c.checked = static_cast<const CheckBox&>(*s.controls_[i]).checked();
        c.caption = st.caption;
        c.font = st.font;
        c.foreColor = st.foreColor;
        c.align = st.alignment;
        item.content = std::move(c);
        break;
      }
      case ControlKind::Line: {
        doc::Line l;
        l.x1 = rnd(st.left);
        l.y1 = rnd(st.top) + dy;
        l.x2 = rnd(st.left + st.width);
        l.y2 = rnd(st.top + st.height) + dy;
        l.style = st.lineStyle;
        l.weight = st.lineWeight;
        l.color = st.foreColor;
        item.content = l;
        break;
      }
      case ControlKind::Shape: {
        doc::Box b;
        b.box = box;
        b.shape = st.shape;
        b.fill = st.backColor;
        b.style = st.lineStyle;
        b.weight = st.lineWeight;
        b.lineColor = st.foreColor;
        item.content = b;
        break;
      }
      case ControlKind::Picture: {
        if (!st.picture) continue;
        doc::Picture p;
        p.box = box;
        p.data = st.picture;
        p.sizeMode = st.sizeMode;
        p.border = st.border;
        item.content = std::move(p);
        break;
      }
      case ControlKind::RichText: {
        doc::RichText r;
        if ((st.canGrow || st.canShrink) && options_.measurer) {
          std::int32_t m = options_.measurer->measureRichHeight(st.rtf, box.width);
          if (st.canGrow) box.height = std::max(box.height, m);
          if (st.canShrink) box.height = std::min(box.height, m);
        }
        r.box = box;
        r.rtf = st.rtf;
        r.backColor = st.backColor;
        r.border = st.border;
        item.content = std::move(r);
        break;
      }
      case ControlKind::Chart: {
        if (!st.chart) continue;
        for (doc::Item& drawn : st.chart->draw(box.width, box.height, options_.measurer)) {
          drawn.section = item.section;
          drawn.control = item.control;
          drawn.row = item.row;
          moveItem(drawn, box.left, box.top);
          items.push_back(std::move(drawn));
        }
        continue;
      }
      case ControlKind::SubReport: {
        auto it = inst.fragments.find(i);
        if (it == inst.fragments.end()) continue;
        for (const auto& fi : it->second.items) {
          doc::Item moved = fi;
          moveItem(moved, box.left, box.top);
          items.push_back(std::move(moved));
        }
        continue;
      }
      case ControlKind::PageBreak:
      case ControlKind::DataControl:
        continue;
    }
    items.push_back(std::move(item));
  }
  return items;
}

BandInstance RunLoop::formatSection(Section& s, const RowPtr& row, long rowIndex) {
  if (options_.stopRequested && options_.stopRequested()) throw RunStopped("the run was stopped");
  setViewRow(row, rowIndex);
  if (row) bindControls(s, *row);
  BandInstance inst;
  inst.section = &s;
  inst.row = row;
  inst.rowIndex = row ? rowIndex : -1;
  inst.groups = openGroups_;
  computeSummaries(inst, false, nullptr);
  inst.seq = ++seq_;
  latest_[&s] = inst.seq;
  fire(report_, [&] { report_.onBandEvent(s, BandEvent::Format); });
  snapshot(inst);
  if (s.visible()) {
    runSubreports(inst);
    inst.height = measure(inst);
  }
  return inst;
}

void RunLoop::flush() {
  if (queue_.empty()) return;
  pager_->place(queue_);
  queue_.clear();
}

void RunLoop::body() {
  DataControl& dc = report_.data_;
  const bool hasData = !dc.name().empty() && (dc.memRows_ || !dc.source().empty());
  RowPtr first;
  bool unbound = !hasData;
  if (hasData) {
    RowSource& src = dc.open();
    columns_ = src.columns();
    const bool hadPeek = dc.peekedValid_;
    first = dc.peeked_;
    dc.peekedValid_ = false;
    dc.peeked_.reset();
    dc.running_ = true;
    dc.view_.setBeforeFirst();
    fire(report_, [&] { report_.onDataInitialize(); });
    if (!hadPeek) first = src.next();
  } else {
    dc.running_ = true;
    fire(report_, [&] { report_.onDataInitialize(); });
  }
  prepare();
  if (hasData && !first) {
    dc.view_.setEmpty();
    report_.noRows_ = true;
    fire(report_, [&] { report_.onNoData(); });
  }

  if (reportHeader_) {
    queue_.push_back(formatSection(*reportHeader_, first, 0));
    flush();
  }
  const std::size_t G = groupHeaders_.size();
  std::vector<Variant> prevKeys(G), keys(G), nextKeys(G);
  std::vector<std::size_t> headerAt(G, 0);
  std::vector<bool> firstDetailPending(G, false);
  auto evalKeys = [&](const RowValues& row, std::vector<Variant>& out) {
    for (std::size_t l = 0; l < G; ++l) out[l] = groupKeys_[l].eval(row);
  };
  if (unbound && detail_) {
    // No data control: the detail prints once.
    queue_.push_back(formatSection(*detail_, nullptr, -1));
    flush();
  }
  RowPtr cur = first, last;
  long idx = 0;
  RowSource* src = hasData ? &dc.open() : nullptr;
  if (cur) evalKeys(*cur, keys);
  std::vector<bool> start(G), end(G);
  while (cur) {
    RowPtr next = src->next();
    if (next) evalKeys(*next, nextKeys);
    for (std::size_t l = 0; l < G; ++l) {
      const bool every = groupHeaders_[l]->state().everyRow;
      start[l] = idx == 0 || every || (l > 0 && start[l - 1]) || !sameKey(prevKeys[l], keys[l]);
      end[l] = !next || every || (l > 0 && end[l - 1]) || !sameKey(keys[l], nextKeys[l]);
    }
    for (std::size_t l = 0; l < G; ++l)
      if (start[l]) openGroups_[l] = std::make_shared<std::vector<Accumulator>>(summaries_.size());
    for (std::size_t i = 0; i < summaries_.size(); ++i) {
      const auto& sf = summaries_[i];
      if (sf.expr.empty() || sf.expr.isMissingColumn()) continue;
      Variant v = sf.expr.eval(*cur);
      all_[i].add(v);
      for (auto& g : openGroups_)
        if (g) (*g)[i].add(v);
    }
    for (std::size_t l = 0; l < G; ++l) {
      if (!start[l]) continue;
      BandInstance inst = formatSection(*groupHeaders_[l], cur, idx);
      inst.ownGroup = static_cast<int>(l);
      headerAt[l] = queue_.size();
      firstDetailPending[l] = true;
      inst.column = groupHeaders_[l]->state().columnLayout && detail_ && detail_->columnCount() > 1;
      queue_.push_back(std::move(inst));
    }
    if (detail_) {
      BandInstance inst = formatSection(*detail_, cur, idx);
      inst.column = detail_->columnCount() > 1;
      queue_.push_back(std::move(inst));
      for (std::size_t l = 0; l < G; ++l)
        if (firstDetailPending[l]) {
          firstDetailPending[l] = false;
          if (groupHeaders_[l]->groupKeepTogether() == GroupKeepTogether::FirstDetail)
            queue_[headerAt[l]].keepUntil =
                std::max(queue_[headerAt[l]].keepUntil, static_cast<int>(queue_.size()) - 1);
        }
    }
    for (std::size_t k = G; k-- > 0;) {
      if (!end[k]) continue;
      BandInstance inst = formatSection(*groupFooters_[k], cur, idx);
      inst.ownGroup = static_cast<int>(k);
      inst.column = groupFooters_[k]->state().columnLayout && detail_ && detail_->columnCount() > 1;
      queue_.push_back(std::move(inst));
      if (groupHeaders_[k]->groupKeepTogether() == GroupKeepTogether::All)
        queue_[headerAt[k]].keepUntil = static_cast<int>(queue_.size()) - 1;
    }
    // Placing bands fires their BeforePrint. A held group's bands go out when it ends, so its
    // header's BeforePrint sees the state its details left, not the next group's; the others go
    // out row by row.
    bool heldOpen = false;
    for (std::size_t l = 0; l < G; ++l)
      if (!end[l] && holdGroup_[l]) heldOpen = true;
    if (!heldOpen) flush();
    prevKeys.swap(keys);
    keys.swap(nextKeys);
    last = cur;
    cur = std::move(next);
    ++idx;
  }
  flush();
  if (hasData) dc.view_.setRow(nullptr, -1);
  if (reportFooter_) {
    // The recordset is past the end; bound controls keep the last row's values.
    if (last) bindControls(*reportFooter_, *last);
    queue_.push_back(formatSection(*reportFooter_, nullptr, -1));
    flush();
  }
}

RunResult RunLoop::run() {
  RunResult res;
  report_.cancelled_ = false;
  report_.noRows_ = false;
  report_.pageNumber_ = 0;
  report_.measurer_ = options_.measurer;
  const std::unique_ptr<Report, void (*)(Report*)> forgetMeasurer(
      &report_, [](Report* r) { r->measurer_ = nullptr; });
  if (options_.host) report_.setHost(options_.host);
  RunningGuard guard(report_.data_);
  try {
    begin();
    pager_ = std::make_unique<Paginator>(*this, false, 0);
    if (options_.sink)
      pager_->streamTo(options_.sink);
    else if (options_.packPages)
      pager_->packInto(std::make_shared<doc::PageStore>(report_.host().tempFolder()));
    body();
    pager_->finish(res.document);
    fire(report_, [&] { report_.onReportEnd(); });
  } catch (const RunCancelled&) {
    if (options_.sink && pager_ && pager_->pagesGiven() > 0) options_.sink->runCancelled();
    res.cancelled = true;
    res.document = {};
    return res;
  }
  res.document.title = report_.name();
  return res;
}

Fragment RunLoop::runEmbedded(std::int32_t width) {
  report_.cancelled_ = false;
  report_.measurer_ = options_.measurer;
  const std::unique_ptr<Report, void (*)(Report*)> forgetMeasurer(
      &report_, [](Report* r) { r->measurer_ = nullptr; });
  RunningGuard guard(report_.data_);
  try {
    begin();
    pager_ = std::make_unique<Paginator>(*this, true, width);
    body();
    doc::Document unused;
    pager_->finish(unused);
    fire(report_, [&] { report_.onReportEnd(); });
  } catch (const RunCancelled&) {
    return {};
  }
  return pager_->takeFragment();
}

RunResult runReport(Report& report, const RunOptions& options) {
  RunLoop loop(report, options, false);
  return loop.run();
}

RunResult runReportCountingPages(const std::function<std::unique_ptr<Report>()>& make,
                                 const RunOptions& options) {
  int pages = 0;
  {
    auto first = make();
    RunOptions counting = options;  // the counting run's pages are not the document's
    counting.sink = nullptr;
    counting.packPages = true;
    auto res = runReport(*first, counting);
    if (res.cancelled) return res;
    pages = static_cast<int>(res.document.pageCount());
  }
  auto second = make();
  second->totalPages_ = pages;
  return runReport(*second, options);
}

}  // namespace galvix::engine
