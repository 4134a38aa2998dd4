#include "engine/paginator.h"

#include "engine/move_item.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace galvix::engine {

namespace {

// To whole twips. Sizes a host gives can be anything a single holds: beyond a billion twips
// (about 11 miles) they saturate, and not-a-number is 0, rather than wrapping.
std::int32_t rnd(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<std::int32_t>(std::clamp(std::nearbyint(v), -1073741824.0, 1073741824.0));
}

constexpr std::int32_t kUnbounded = INT32_MAX / 4;

// Vertical extent of an item relative to its band.
std::pair<std::int32_t, std::int32_t> extent(const doc::Item& it) {
  return std::visit(
      [](const auto& c) -> std::pair<std::int32_t, std::int32_t> {
        using T = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<T, doc::Line>) {
          return {std::min(c.y1, c.y2), std::max(c.y1, c.y2)};
        } else {
          return {c.box.top, c.box.top + c.box.height};
        }
      },
      it.content);
}

bool hasPageBreak(const Section& s) {
  for (const auto& c : s.controls())
    if (c->kind() == ControlKind::PageBreak && c->visible()) return true;
  return false;
}

}  // namespace

Paginator::Paginator(RunLoop& loop, bool embedded, std::int32_t embeddedWidth)
    : loop_(loop), report_(loop.report()), embedded_(embedded), embeddedWidth_(embeddedWidth) {
  if (embedded_) {
    pages_.emplace_back();
    open_ = true;
    left_ = bodyTop_ = bodyStart_ = y_ = 0;
    bodyBottom_ = footerTop_ = kUnbounded;
    width_ = embeddedWidth_;
  } else {
    for (auto& s : report_.sections())
      if (s->kind() == SectionKind::PageHeader)
        pageHeader_ = s.get();
      else if (s->kind() == SectionKind::PageFooter)
        pageFooter_ = s.get();
  }
  pageTotals_.assign(loop_.summaries().size(), {});
}

void Paginator::openPage(BandInstance* first) {
  if (embedded_) return;
  doc::Page pg;
  pg.width = rnd(report_.pageWidth());
  pg.height = rnd(report_.pageHeight());
  pg.landscape = report_.orientation() == Orientation::Landscape;
  pages_.push_back(std::move(pg));
  open_ = true;
  report_.pageNumber_ = static_cast<int>(pages_.size());
  if (const auto& told = loop_.options().pageOpened) told(report_.pageNumber_);
  const auto& ps = report_.pageSettings();
  left_ = rnd(ps.leftMargin);
  bodyTop_ = rnd(ps.topMargin);
  width_ = rnd(report_.printWidth());
  // The footer's space is reserved now, with the height it has when the page opens.
  std::int32_t fh = pageFooter_ && pageFooter_->visible() ? rnd(pageFooter_->height()) : 0;
  footerTop_ = pages_.back().height - rnd(ps.bottomMargin) - fh;
  bodyBottom_ = footerTop_;
  y_ = bodyStart_ = bodyTop_;
  colsUsed_ = false;
  pageTotals_.assign(loop_.summaries().size(), {});

  // PageStart sees the row of the page's first band, and that band's own control values.
  if (first) {
    Section& s = *first->section;
    const bool latest = first->seq == loop_.latestSeq(&s);
    BandInstance saved;
    saved.section = &s;
    if (!latest) loop_.snapshot(saved);
    loop_.restore(*first);
    loop_.setViewRow(first->row, first->rowIndex);
    std::vector<RunLoop::BoundValue> bound;
    if (first->row) bound = loop_.bindBodySections(&s, *first->row);
    report_.onPageStart();
    RunLoop::unbind(bound);
    checkCancel();
    if (!latest) loop_.restore(saved);
  } else {
    loop_.setViewRow(lastRow_, lastRowIndex_);
    report_.onPageStart();
    checkCancel();
  }
  reportHeaderPlacedAtOpen_ = false;
  if (first && first->section->kind() == SectionKind::ReportHeader) {
    // The report header prints above the first page's header.
    commit(*first, false);
    reportHeaderPlacedAtOpen_ = true;
  }
  if (pageHeader_) {
    RowPtr row = first ? first->row : lastRow_;
    long idx = first ? first->rowIndex : lastRowIndex_;
    BandInstance ph = loop_.formatSection(*pageHeader_, row, idx);
    const std::size_t before = pages_.back().items.size();
    if (ph.sectionState.visible) commit(ph, false);
    for (std::size_t i = before; i < pages_.back().items.size(); ++i)
      for (const auto& c : pageHeader_->controls_)
        if (c->state().runningHead && c->state().name == pages_.back().items[i].control)
          runningHeads_.emplace_back(i, c.get());
  }
  // Headers of groups that continue on this page, where the layout asks for them again.
  for (auto& h : openHeaders_) {
    if (!h || (first && first->seq == h->seq)) continue;
    BandInstance again = *h;
    again.column = false;
    again.repeated = true;
    commit(again, false);
  }
  bodyStart_ = y_;
}

void Paginator::closePage() {
  if (embedded_ || !open_) return;
  endColumns();
  for (const auto& [i, c] : runningHeads_)
    if (auto* t = std::get_if<doc::Text>(&pages_.back().items[i].content))
      t->text = c->kind() == ControlKind::Label ? c->state().caption : c->state().text;
  runningHeads_.clear();
  if (pageFooter_) {
    BandInstance pf = loop_.formatSection(*pageFooter_, lastRow_, lastRowIndex_);
    if (pf.sectionState.visible) {
      y_ = footerTop_;
      commit(pf, false);
    }
  }
  loop_.setViewRow(lastRow_, lastRowIndex_);
  report_.onPageEnd();
  open_ = false;
  if (sink_) {
    // Its page totals (recorded last, in page order) are filled in when the run ends.
    const std::size_t index = pages_.size() - 1;
    std::vector<std::size_t> later;
    for (auto d = deferred_.rbegin(); d != deferred_.rend() && d->page == index; ++d)
      later.push_back(d->item);
    doc::Page given;
    given.width = pages_.back().width;
    given.height = pages_.back().height;
    given.landscape = pages_.back().landscape;
    std::swap(given.items, pages_.back().items);
    sink_->page(std::move(given), std::move(later));
    ++given_;
  } else if (store_) {
    store_->add(pages_.back());
    std::vector<doc::Item>().swap(pages_.back().items);  // `= {}` would keep the capacity
  }
  checkCancel();
}

void Paginator::endColumns() {
  if (!colsUsed_) return;
  std::int32_t bottom = rowBottom_;
  for (auto y : colY_) bottom = std::max(bottom, y);
  y_ = std::max(y_, bottom);
  colsUsed_ = false;
}

// Emits the items whose top lies in [cut0, cut1) at page position (x, y + top - cut0).
void Paginator::emit(const std::vector<doc::Item>& items, std::int32_t x, std::int32_t y,
                     std::int32_t cut0, std::int32_t cut1, const BandInstance& inst) {
  auto& page = pages_.back();
  const auto& st = inst.section->state();
  if (st.backColor && cut1 > cut0) {
    doc::Item bg;
    bg.section = st.name;
    bg.row = static_cast<std::int32_t>(inst.rowIndex);
    doc::Box b;
    b.box = {x, y, inst.column ? colWidth_ : width_, std::min(cut1, inst.height) - cut0};
    b.fill = st.backColor;
    b.style = doc::LineStyle::Transparent;
    bg.content = b;
    page.items.push_back(std::move(bg));
  }
  for (auto& it : items) {
    const std::int32_t top = extent(it).first;
    // An item above the band's top goes with its first part.
    if ((top < cut0 || top >= cut1) && !(cut0 == 0 && top < 0)) continue;
    doc::Item moved = it;
    moveItem(moved, x, y - cut0);
    page.items.push_back(std::move(moved));
  }
}

void Paginator::commit(BandInstance& inst, bool flow) {
  Section& s = *inst.section;
  const bool latest = inst.seq == loop_.latestSeq(&s);
  BandInstance saved;
  saved.section = &s;
  if (!latest) loop_.snapshot(saved);
  loop_.restore(inst);
  loop_.setViewRow(inst.row, inst.rowIndex);
  if (s.kind() == SectionKind::Detail && inst.row) {
    for (std::size_t i = 0; i < loop_.summaries().size(); ++i) {
      const auto& sf = loop_.summaries()[i];
      if (sf.control->state().summary.type == SummaryType::PageTotal && !sf.expr.empty() &&
          !sf.expr.isMissingColumn())
        pageTotals_[i].add(sf.expr.eval(*inst.row));
    }
  }
  loop_.refreshSummaries(inst, &pageTotals_);
  report_.onBandEvent(s, BandEvent::BeforePrint);
  checkCancel();

  // A handler may have replaced a subreport or changed texts: measure again.
  loop_.runSubreports(inst);
  inst.height = loop_.measure(inst);
  std::vector<std::pair<std::size_t, int>> deferred;
  auto items = loop_.buildItems(inst, deferred);

  const std::int32_t x = inst.column ? cellX_ : left_;
  std::int32_t y = inst.column ? cellY_ : y_;
  // Moving on to a new page keeps the state BeforePrint left for AfterPrint.
  auto moveToNewPage = [&] {
    BandInstance printed;
    printed.section = &s;
    loop_.snapshot(printed);
    closePage();
    openPage(&inst);
    loop_.restore(printed);
    loop_.setViewRow(inst.row, inst.rowIndex);
    y = y_;
  };
  auto emitAll = [&](std::int32_t cut0, std::int32_t cut1, std::int32_t atY) {
    const std::size_t base = pages_.back().items.size();
    // Map which of our items land on this page, to record deferred page counts.
    std::vector<std::size_t> landed;
    for (std::size_t k = 0; k < items.size(); ++k) {
      const std::int32_t top = extent(items[k]).first;
      if ((top >= cut0 && top < cut1) || (cut0 == 0 && top < 0)) landed.push_back(k);
    }
    emit(items, x, atY, cut0, cut1, inst);
    const std::size_t bgCount = (inst.section->state().backColor && cut1 > cut0) ? 1 : 0;
    for (auto& [itemIdx, ctl] : deferred) {
      auto pos = std::find(landed.begin(), landed.end(), itemIdx);
      if (pos == landed.end()) continue;
      std::size_t at = base + bgCount + static_cast<std::size_t>(pos - landed.begin());
      deferred_.push_back({pages_.size() - 1, at,
                           s.controls()[static_cast<std::size_t>(ctl)]->state().outputFormat});
    }
  };

  const std::int32_t h = inst.height;
  bool placed = false;
  if (flow && !embedded_ && y + h > bodyBottom_) {
    // Does not fit (perhaps only since BeforePrint): split it if it cannot fit on any page or
    // holds a subreport, else move it whole to a new page.
    const bool splittable =
        h > bodyHeight() || (!inst.fragments.empty() && !inst.sectionState.keepTogether);
    if (!splittable && !pageEmpty()) {
      moveToNewPage();
    }
    if (splittable) {
      std::int32_t cut0 = 0;
      while (cut0 < h) {
        bool clipped = false;
        std::int32_t room = bodyBottom_ - y;
        std::int32_t limit = cut0 + room;
        std::int32_t cut1 = h;
        if (limit < h) {
          // The lowest cut at or above the limit that no item straddles.
          cut1 = cut0;
          std::vector<std::int32_t> cands{limit};
          for (auto& it : items) cands.push_back(extent(it).first);
          for (auto c : cands) {
            if (c <= cut0 || c > limit || c <= cut1) continue;
            bool ok = true;
            for (auto& it : items) {
              auto [t, b] = extent(it);
              if (t < c && b > c) ok = false;
            }
            if (ok) cut1 = c;
          }
          if (cut1 <= cut0) {
            if (y > bodyStart_) {  // try again on a fresh page
              moveToNewPage();
              continue;
            }
            // No clean cut: what straddles the page end is clipped; the band goes on only
            // if it has items below.
            cut1 = std::max(cut0 + 1, limit);
            clipped = true;
            report_.host().warning("band '" + s.name() + "' is taller than the page; clipped");
          }
          // Only empty space below the cut: the band ends on this page.
          bool more = false;
          for (auto& it : items) more = more || extent(it).first >= cut1;
          if (!more) cut1 = h;
        }
        const std::size_t first = pages_.back().items.size();
        emitAll(cut0, cut1, y);
        // Text that runs past the page end stops there (the renderer ends plain text with an
        // ellipsis and clips rich text to its box) rather than printing over the footer.
        auto stopAtPageEnd = [&](doc::Rect& box) {
          if (box.top + box.height > bodyBottom_) box.height = std::max(0, bodyBottom_ - box.top);
        };
        if (clipped)
          for (std::size_t k = first; k < pages_.back().items.size(); ++k) {
            auto& content = pages_.back().items[k].content;
            if (auto* t = std::get_if<doc::Text>(&content)) stopAtPageEnd(t->box);
            if (auto* r = std::get_if<doc::RichText>(&content)) stopAtPageEnd(r->box);
          }
        y += std::min(cut1 - cut0, bodyBottom_ - y);
        y_ = y;
        cut0 = cut1;
        // A stretch of the band a page long or more that holds nothing gives no blank pages:
        // the band goes on with its next item (a host's absurd height ends in a few pages).
        if (cut0 < h) {
          std::int32_t next = h;
          for (auto& it : items)
            if (const std::int32_t t = extent(it).first; t >= cut0) next = std::min(next, t);
          if (next - cut0 >= bodyHeight()) cut0 = next;
        }
        if (cut0 < h) {
          moveToNewPage();
        }
      }
      placed = true;
    }
  }
  if (!placed) {
    emitAll(0, std::max(h, 1), y);
    if (!inst.column) y_ = y + h;
  }
  if (inst.row) {
    lastRow_ = inst.row;
    lastRowIndex_ = inst.rowIndex;
  }
  report_.onBandEvent(s, BandEvent::AfterPrint);
  checkCancel();
  if (inst.ownGroup >= 0 && !embedded_) {
    const auto level = static_cast<std::size_t>(inst.ownGroup);
    if (openHeaders_.size() <= level) openHeaders_.resize(level + 1);
    if (s.kind() == SectionKind::GroupHeader && inst.sectionState.repeatHeader) {
      openHeaders_[level] = inst;
    } else if (s.kind() == SectionKind::GroupFooter) {
      for (std::size_t l = level; l < openHeaders_.size(); ++l) openHeaders_[l].reset();
    }
  }
  if (!latest) loop_.restore(saved);
  const bool body = s.kind() != SectionKind::PageHeader && s.kind() != SectionKind::PageFooter;
  if (!embedded_ && body && !inst.repeated &&
      (hasPageBreak(s) || inst.sectionState.newPage == NewPage::After ||
       inst.sectionState.newPage == NewPage::BeforeAfter))
    breakPending_ = true;
}

void Paginator::place(std::vector<BandInstance>& queue) {
  Section* detail = nullptr;
  for (auto& s : report_.sections())
    if (s->kind() == SectionKind::Detail) detail = s.get();
  for (std::size_t i = 0; i < queue.size(); ++i) {
    BandInstance& inst = queue[i];
    if (!inst.sectionState.visible) continue;
    if (inst.column && detail) {
      // A cell: the group headers that open before a detail, the detail, the group footers
      // that close after it.
      std::size_t j = i;
      bool sawDetail = false;
      std::int32_t ch = 0;
      while (j < queue.size() && queue[j].column) {
        const bool isDetail = queue[j].section->kind() == SectionKind::Detail;
        const bool isHeader = queue[j].section->kind() == SectionKind::GroupHeader;
        if (j > i && (isHeader || (isDetail && sawDetail))) break;
        if (isDetail) sawDetail = true;
        if (queue[j].sectionState.visible) ch += queue[j].height;
        ++j;
      }
      placeCell(queue, i, j, ch, *detail);
      i = j - 1;
      continue;
    }
    endColumns();
    if (!embedded_) {
      const auto np = inst.sectionState.newPage;
      if (open_ && !pageEmpty() &&
          (breakPending_ || np == NewPage::Before || np == NewPage::BeforeAfter))
        closePage();
      breakPending_ = false;
      if (open_) {
        std::int32_t unitH = inst.height;
        if (inst.keepUntil > static_cast<int>(i)) {
          unitH = 0;
          for (std::size_t k = i; k <= static_cast<std::size_t>(inst.keepUntil); ++k)
            if (queue[k].sectionState.visible) unitH += queue[k].height;
        }
        const bool splittable = inst.height > bodyHeight() ||
                                (!inst.fragments.empty() && !inst.sectionState.keepTogether);
        if (unitH > remaining() && !pageEmpty() &&
            (unitH <= bodyHeight() || inst.keepUntil <= static_cast<int>(i)) && !splittable)
          closePage();
        else if (inst.keepUntil > static_cast<int>(i) && unitH > remaining() && !pageEmpty() &&
                 unitH <= bodyHeight())
          closePage();
      }
      if (!open_) {
        openPage(&inst);
        if (reportHeaderPlacedAtOpen_ && &inst == &queue[i] &&
            inst.section->kind() == SectionKind::ReportHeader) {
          reportHeaderPlacedAtOpen_ = false;
          continue;
        }
      }
    }
    commit(inst, true);
  }
}

void Paginator::placeCell(std::vector<BandInstance>& queue, std::size_t from, std::size_t to,
                          std::int32_t ch, Section& detail) {
  const int n = std::max(1, detail.columnCount());
  const std::int32_t sp = std::max(0, rnd(detail.columnSpacing()));
  const std::int64_t given = rnd(detail.columnWidth());
  const std::int64_t derived = (std::int64_t{width_} - std::int64_t{n - 1} * sp) / n;
  colWidth_ = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(given > 0 ? given : derived, 0, std::int64_t{1} << 30));
  auto startColumns = [&] {
    colsUsed_ = true;
    colIndex_ = 0;
    colTop_ = rowTop_ = rowBottom_ = y_;
    colY_.assign(static_cast<std::size_t>(n), y_);
  };
  auto newPage = [&] {
    closePage();
    openPage(&queue[from]);
    startColumns();
  };
  const auto np = queue[from].sectionState.newPage;
  if (!embedded_ && open_ && !pageEmpty() &&
      (breakPending_ || np == NewPage::Before || np == NewPage::BeforeAfter))
    closePage();
  breakPending_ = false;
  if (!open_) {
    openPage(&queue[from]);
  }
  if (!colsUsed_) startColumns();
  const bool down = detail.columnDirection() == ColumnDirection::DownAcross;
  if (down) {
    // Next column when this one is full; a new page after the last column, or when the
    // columns began below the top of the page and even an empty column has no room.
    while (colY_[static_cast<std::size_t>(colIndex_)] + ch > bodyBottom_) {
      const bool emptyColumn = colY_[static_cast<std::size_t>(colIndex_)] == colTop_;
      if (emptyColumn && colTop_ == bodyStart_) break;  // taller than a column: place anyway
      if (!emptyColumn && colIndex_ + 1 < n) {
        ++colIndex_;
        continue;
      }
      newPage();
    }
    cellY_ = colY_[static_cast<std::size_t>(colIndex_)];
  } else {
    if (colIndex_ >= n) {
      colIndex_ = 0;
      rowTop_ = rowBottom_;
    }
    if (rowTop_ + ch > bodyBottom_ && rowTop_ > bodyStart_) {
      newPage();
    }
    cellY_ = rowTop_;
  }
  cellX_ = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(left_ + std::int64_t{colIndex_} * (std::int64_t{colWidth_} + sp),
                               -(std::int64_t{1} << 30), std::int64_t{1} << 30));
  for (std::size_t k = from; k < to; ++k) {
    if (!queue[k].sectionState.visible) continue;
    commit(queue[k], false);
    cellY_ += queue[k].height;
  }
  if (down) {
    colY_[static_cast<std::size_t>(colIndex_)] = cellY_;
  } else {
    rowBottom_ = std::max(rowBottom_, cellY_);
    ++colIndex_;
  }
}

void Paginator::finish(doc::Document& doc) {
  endColumns();
  if (!embedded_) {
    if (pages_.empty()) openPage(nullptr);
    if (open_) closePage();
    const Variant total = Variant::longInt(static_cast<std::int32_t>(pages_.size()));
    for (const auto& d : deferred_) {
      if (sink_) {
        sink_->fill(d.page, d.item, formatValue(total, d.format));
        continue;
      }
      if (store_) {
        store_->setText(d.page, d.item, formatValue(total, d.format));
        continue;
      }
      auto& item = pages_[d.page].items[d.item];
      if (auto* t = std::get_if<doc::Text>(&item.content)) t->text = formatValue(total, d.format);
    }
  } else {
    const Variant one = Variant::longInt(1);
    for (const auto& d : deferred_) {
      auto& item = pages_[d.page].items[d.item];
      if (auto* t = std::get_if<doc::Text>(&item.content)) t->text = formatValue(one, d.format);
    }
  }
  if (!embedded_ && sink_) {
    sink_->runEnded();
    doc.streamed = pages_.size();
    pages_.clear();
  } else if (!embedded_ && store_) {
    store_->seal();
    doc.stores.push_back(std::move(store_));
    pages_.clear();
  } else if (!embedded_) {
    doc.pages = std::move(pages_);
    pages_.clear();
  }
}

Fragment Paginator::takeFragment() {
  Fragment f;
  endColumns();
  if (!pages_.empty()) f.items = std::move(pages_.front().items);
  f.height = y_;
  return f;
}

}  // namespace galvix::engine
