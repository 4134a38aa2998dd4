// Inside the engine: places formatted band instances on pages.
//
// For each instance it decides where it goes from its measured height, then commits it:
// restore the instance's state, BeforePrint, emit items, AfterPrint. Pages open lazily when
// the first instance needs one (PageStart sees that instance's row) and close with the page
// footer and PageEnd. In embedded mode (subreports) there is one unbounded page and no page
// sections or page events.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>
#include "doc/page_store.h"

#include "engine/run_loop.h"

namespace galvix::engine {

class Paginator {
 public:
  Paginator(RunLoop& loop, bool embedded, std::int32_t embeddedWidth);

  // Places the instances of a flushed queue, honouring keep-together ranges.
  void place(std::vector<BandInstance>& queue);
  // Closes the last page (opening one if nothing was printed), resolves page counts.
  void finish(doc::Document& doc);
  Fragment takeFragment();
  int pageCount() const { return static_cast<int>(pages_.size()); }
  // Each page packed into `store` once closed (its items then freed); finish() hands the store
  // to the document.
  void packInto(std::shared_ptr<doc::PageStore> store) { store_ = std::move(store); }
  void streamTo(doc::PageSink* sink) { sink_ = sink; }
  // Pages given to the sink so far.
  std::size_t pagesGiven() const { return given_; }

 private:
  struct Deferred {
    std::size_t page, item;
    std::string format;
  };
  void checkCancel() const {
    if (report_.cancelled()) throw RunCancelled{};
  }
  void openPage(BandInstance* first);
  void closePage();
  void commit(BandInstance& inst, bool allowNewPage);
  void emit(const std::vector<doc::Item>& items, std::int32_t x, std::int32_t y, std::int32_t cut0,
            std::int32_t cut1, const BandInstance& inst);
  void placeCell(std::vector<BandInstance>& queue, std::size_t from, std::size_t to,
                 std::int32_t height, Section& detail);
  void endColumns();
  std::int32_t remaining() const { return bodyBottom_ - y_; }
  // Room on a fresh page below its page header (and repeated group headers).
  std::int32_t bodyHeight() const { return bodyBottom_ - bodyStart_; }
  bool pageEmpty() const { return y_ == bodyStart_ && !colsUsed_; }

  RunLoop& loop_;
  Report& report_;
  bool embedded_;
  std::int32_t embeddedWidth_;
  std::vector<doc::Page> pages_;  // packed pages keep their place here, without items
  std::shared_ptr<doc::PageStore> store_;
  doc::PageSink* sink_ = nullptr;
  std::size_t given_ = 0;
  // Items of the open page's header whose text is taken when the page closes.
  std::vector<std::pair<std::size_t, const Control*>> runningHeads_;
  bool open_ = false;
  bool breakPending_ = false;
  std::int32_t left_ = 0, bodyTop_ = 0, bodyStart_ = 0, bodyBottom_ = 0, footerTop_ = 0, y_ = 0;
  std::int32_t width_ = 0;  // print width
  // Columns of the detail band on the current page.
  bool colsUsed_ = false;
  int colIndex_ = 0;
  std::int32_t colTop_ = 0, rowTop_ = 0, rowBottom_ = 0;
  std::vector<std::int32_t> colY_;
  std::int32_t colWidth_ = 0, cellX_ = 0, cellY_ = 0;
  std::vector<Accumulator> pageTotals_;
  std::vector<Deferred> deferred_;
  RowPtr lastRow_;
  long lastRowIndex_ = -1;
  Section* pageHeader_ = nullptr;
  Section* pageFooter_ = nullptr;
  bool reportHeaderPlacedAtOpen_ = false;
  std::vector<std::optional<BandInstance>> openHeaders_;  // by group level, to repeat
};

}  // namespace galvix::engine
