#include "render/fonts.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <tuple>
#include <unordered_map>

namespace galvix::render {

namespace {

std::string lower(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

bool contains(const std::string& s, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](const char* w) { return s.find(w) != std::string::npos; });
}

constexpr std::size_t kCacheLimit = 1024;
constexpr const char* kSans = "Liberation Sans";
constexpr const char* kSerif = "Liberation Serif";
constexpr const char* kMono = "Liberation Mono";

// The family fontconfig really has under `name`, or "" when it would only substitute.
std::string installedFamily(const std::string& name) {
  FcPattern* pat = FcPatternCreate();
  FcPatternAddString(pat, FC_FAMILY, reinterpret_cast<const FcChar8*>(name.c_str()));
  FcConfigSubstitute(nullptr, pat, FcMatchPattern);
  FcDefaultSubstitute(pat);
  FcResult res = FcResultNoMatch;
  FcPattern* match = FcFontMatch(nullptr, pat, &res);
  std::string found;
  if (match) {
    FcChar8* fam = nullptr;
    for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &fam) == FcResultMatch; ++i) {
      if (lower(reinterpret_cast<const char*>(fam)) == lower(name)) {
        found = reinterpret_cast<const char*>(fam);
        break;
      }
    }
    FcPatternDestroy(match);
  }
  FcPatternDestroy(pat);
  return found;
}

std::string resolveUncached(std::string_view name) {
  std::string key = lower(name);
  while (!key.empty() && key.back() == ' ') key.pop_back();
  while (!key.empty() && key.front() == ' ') key.erase(key.begin());
  static const std::map<std::string, const char*> kKnown = {{"arial", kSans},
                                                            {"arial narrow", kSans},
                                                            {"helvetica", kSans},
                                                            {"ms sans serif", kSans},
                                                            {"microsoft sans serif", kSans},
                                                            {"ms shell dlg", kSans},
                                                            {"ms shell dlg 2", kSans},
                                                            {"tahoma", kSans},
                                                            {"verdana", kSans},
                                                            {"segoe ui", kSans},
                                                            {"calibri", kSans},
                                                            {"small fonts", kSans},
                                                            {"system", kSans},
                                                            {"times new roman", kSerif},
                                                            {"times", kSerif},
                                                            {"ms serif", kSerif},
                                                            {"georgia", kSerif},
                                                            {"garamond", kSerif},
                                                            {"book antiqua", kSerif},
                                                            {"cambria", kSerif},
                                                            {"century schoolbook", kSerif},
                                                            {"courier new", kMono},
                                                            {"courier", kMono},
                                                            {"lucida console", kMono},
                                                            {"consolas", kMono},
                                                            {"fixedsys", kMono}};
  if (key.empty()) return kSans;
  if (auto it = kKnown.find(key); it != kKnown.end()) return it->second;
  if (std::string fam = installedFamily(std::string(name)); !fam.empty()) return fam;
  if (contains(key, {"mono", "courier", "console", "typewriter"})) return kMono;
  if (contains(key, {"sans", "gothic", "grotesk"})) return kSans;
  // Script, decorative and book faces read best in a serif.
  if (contains(key, {"serif", "times", "roman", "script", "hand", "book", "garamond", "palatino",
                     "century", "bodoni", "brush", "chancery", "calligraph", "old english"}))
    return kSerif;
  return kSans;
}

}  // namespace

std::string resolveFamily(std::string_view name) {
  thread_local std::unordered_map<std::string, std::string> cache;
  auto it = cache.find(std::string(name));
  if (it == cache.end()) {
    if (cache.size() >= kCacheLimit) cache.clear();  // bounded against many odd names
    it = cache.emplace(std::string(name), resolveUncached(name)).first;
  }
  return it->second;
}

// Per thread: pango's font maps and contexts are not to be shared between threads (four threads
// on one map waited on each other for ever inside pangoft2). Each thread's is freed with it.
PangoContext* pangoContext() {
  struct Holder {
    PangoContext* ctx = nullptr;
    ~Holder() {
      if (ctx) g_object_unref(ctx);
    }
  };
  thread_local Holder holder;
  if (!holder.ctx)
    holder.ctx = [] {
      PangoFontMap* map = pango_cairo_font_map_new();
      PangoContext* c = pango_font_map_create_context(map);
      g_object_unref(map);  // the context keeps it
      pango_cairo_context_set_resolution(c, 72.0);
      cairo_font_options_t* opts = cairo_font_options_create();
      cairo_font_options_set_hint_style(opts, CAIRO_HINT_STYLE_NONE);
      cairo_font_options_set_hint_metrics(opts, CAIRO_HINT_METRICS_OFF);
      cairo_font_options_set_antialias(opts, CAIRO_ANTIALIAS_GRAY);
      pango_cairo_context_set_font_options(c, opts);
      cairo_font_options_destroy(opts);
      pango_context_set_round_glyph_positions(c, FALSE);
      pango_context_set_language(c, pango_language_from_string("en-us"));
      return c;
    }();
  return holder.ctx;
}

const PangoFontDescription* fontDescription(const doc::Font& font) {
  using Key = std::tuple<std::string, double, bool, bool>;
  struct Cache : std::map<Key, PangoFontDescription*> {
    ~Cache() {
      for (auto& [k, v] : *this) pango_font_description_free(v);
    }
  };
  thread_local Cache cache;
  Key key{font.name, font.size, font.bold, font.italic};
  auto it = cache.find(key);
  if (it != cache.end()) return it->second;
  // Callers copy the description at once, so dropping the cache here is safe.
  if (cache.size() >= kCacheLimit) {
    for (auto& [k, v] : cache) pango_font_description_free(v);
    cache.clear();
  }
  PangoFontDescription* d = pango_font_description_new();
  pango_font_description_set_family(d, resolveFamily(font.name).c_str());
  const double size = std::isfinite(font.size) ? std::clamp(font.size, 1.0, 1000.0) : 10.0;
  pango_font_description_set_size(d, static_cast<gint>(std::lround(size * PANGO_SCALE)));
  pango_font_description_set_weight(d, font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_font_description_set_style(d, font.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  cache.emplace(std::move(key), d);
  return d;
}

}  // namespace galvix::render
