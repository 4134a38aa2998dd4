#include <list>
#include <unordered_map>

#include "render/render.h"
#include "render/text_layout.h"

namespace galvix::render {

namespace {

// Results are cached (bounded, least recently used dropped first): reports measure the same
// few texts over and over (captions, repeated values).
class PangoMeasurer : public engine::TextMeasurer {
 public:
  engine::TextExtent measure(std::string_view text, const doc::Font& font,
                             std::int32_t wrapWidth) override {
    std::string key = keyFor(text, font, wrapWidth);
    if (auto it = cache_.find(key); it != cache_.end()) {
      order_.splice(order_.begin(), order_, it->second.pos);
      return it->second.extent;
    }
    LayoutPtr l = textLayout(text, font, wrapWidth, doc::HAlign::Left);
    PangoRectangle logical;
    pango_layout_get_extents(l.get(), nullptr, &logical);
    engine::TextExtent e{pangoToTwipsCeil(logical.width), pangoToTwipsCeil(logical.height)};
    remember(std::move(key), e);
    return e;
  }

  std::int32_t measureRichHeight(std::string_view rtf, std::int32_t wrapWidth) override {
    return pangoToTwipsCeil(richLayout(readRtf(rtf), wrapWidth).height);
  }

 private:
  static constexpr std::size_t kCapacity = 8192;

  static std::string keyFor(std::string_view text, const doc::Font& f, std::int32_t wrap) {
    std::string k = f.name;
    k += '\x1f';
    k += std::to_string(f.size);
    k += static_cast<char>('0' + (f.bold | f.italic << 1 | f.underline << 2 | f.strikeout << 3));
    k += std::to_string(std::max(0, wrap));
    k += '\x1f';
    k += text;
    return k;
  }

  void remember(std::string key, engine::TextExtent e) {
    if (cache_.size() >= kCapacity) {
      cache_.erase(order_.back());
      order_.pop_back();
    }
    order_.push_front(key);
    cache_.emplace(std::move(key), Entry{e, order_.begin()});
  }

  struct Entry {
    engine::TextExtent extent;
    std::list<std::string>::iterator pos;
  };
  std::list<std::string> order_;
  std::unordered_map<std::string, Entry> cache_;
};

}  // namespace

std::unique_ptr<engine::TextMeasurer> makePangoMeasurer() {
  return std::make_unique<PangoMeasurer>();
}

}  // namespace galvix::render
