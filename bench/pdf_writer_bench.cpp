// How much of a report's PDF time is cairo's: a prototype that writes the same text another way
// (bench only; the library writes PDFs through cairo). It runs a report, writes it with
// `writePdf` as the command does, then writes its plain texts alone with a minimal writer: the
// glyphs shaped as the renderer shapes them, one content stream per page (numbers printed with
// std::to_chars, deflated with zlib), fonts subset by HarfBuzz's subsetter and embedded as
// CIDFontType2 with a ToUnicode map. Shapes, lines, pictures and texts that need pango are left
// out, so the prototype's time is a lower bound for a writer of our own and cairo's is measured
// on the whole page.
//
//   ./build-release/bench/pdf_writer_bench DB [--report NAME] [--set Prop=Value ...] [--runs N]
//   (default: "Guest List - without notes" of party 3, the reception of `demo-db --guests N`)
#include <hb-subset.h>
#include <hb.h>
#include <pango/pangocairo.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench_clock.h"
#include "galvix/report.h"
#include "render/render.h"
#include "render/simple_line.h"
#include "render/text_layout.h"

using namespace galvix;
using bench::cpuMs;

namespace {

void num(std::string& out, double v) {
  char buf[32];
  // Three decimals are a thousandth of a point: finer than any printer.
  auto r =
      std::to_chars(buf, buf + sizeof buf, std::round(v * 1000) / 1000, std::chars_format::fixed);
  std::string_view s(buf, static_cast<std::size_t>(r.ptr - buf));
  if (s.find('.') != std::string_view::npos) {
    while (s.back() == '0') s.remove_suffix(1);
    if (s.back() == '.') s.remove_suffix(1);
  }
  out += s;
  out += ' ';
}

void hex4(std::string& out, unsigned v) {
  static const char* d = "0123456789ABCDEF";
  out += d[(v >> 12) & 15];
  out += d[(v >> 8) & 15];
  out += d[(v >> 4) & 15];
  out += d[v & 15];
}

struct FontUse {
  PangoFont* font = nullptr;
  int index = 0;
  std::map<unsigned, unsigned> unicode;  // glyph -> character (first seen)
  std::set<unsigned> glyphs;
};

class Writer {
 public:
  explicit Writer(const std::string& path) : out_(path, std::ios::binary) {
    out_ << "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n";
  }

  void page(const doc::Page& p) {
    std::string c = "1 0 0 -1 0 ";
    num(c, p.height / 20.0);
    c += "cm\n";
    for (const auto& item : p.items) {
      const auto* t = std::get_if<doc::Text>(&item.content);
      if (!t || t->text.empty() || t->angle != 0) continue;
      const int wrap = t->wordWrap ? std::max(1, render::twipsToPango(t->box.width)) : 0;
      if (!render::shapeSimpleLine(t->text, t->font, line_, wrap)) continue;
      FontUse& f = use(line_.font);
      hb_font_t* hb = pango_font_get_hb_font(line_.font);
      const double size = t->font.size;
      c += "BT\n/F";
      c += std::to_string(f.index);
      c += " 1 Tf\n";
      for (std::size_t k = 0; k < line_.lines.size(); ++k) {
        const auto& ln = line_.lines[k];
        if (ln.glyphCount == 0) continue;
        int offset = 0;
        if (t->align == doc::HAlign::Right) offset = wrap - ln.width;
        if (t->align == doc::HAlign::Center) offset = (wrap - ln.width) / 2;
        const double x = t->box.left / 20.0 + static_cast<double>(offset) / PANGO_SCALE;
        const double y =
            t->box.top / 20.0 + static_cast<double>(ln.top + line_.baseline) / PANGO_SCALE;
        num(c, size);
        c += "0 0 ";
        num(c, -size);
        num(c, x);
        num(c, y);
        c += "Tm [<";
        int expected = 0;  // pango units: where the text cursor stands
        std::size_t cluster = ln.firstCluster;
        std::size_t inCluster = 0, byte = ln.offset;
        for (std::size_t g = ln.firstGlyph; g < ln.firstGlyph + ln.glyphCount; ++g) {
          const unsigned gid = line_.glyphs[g];
          // The character a one-glyph cluster of one character stands for.
          const auto& cl = line_.clusters[cluster];
          if (cl.num_glyphs == 1 && inCluster == 0) {
            const gunichar u = g_utf8_get_char(line_.text.data() + byte);
            if (g_utf8_next_char(line_.text.data() + byte) ==
                line_.text.data() + byte + cl.num_bytes)
              f.unicode.emplace(gid, u);
          }
          if (++inCluster >= static_cast<std::size_t>(std::max(1, cl.num_glyphs))) {
            byte += static_cast<std::size_t>(cl.num_bytes);
            ++cluster;
            inCluster = 0;
          }
          if (gid == PANGO_GLYPH_EMPTY) continue;
          const int adjust = line_.x[g] - expected;
          if (adjust != 0) {
            c += ">";
            c += std::to_string(static_cast<int>(
                std::lround(-static_cast<double>(adjust) * 1000.0 / (size * PANGO_SCALE))));
            c += "<";
          }
          hex4(c, gid);
          f.glyphs.insert(gid);
          expected = line_.x[g] + hb_font_get_glyph_h_advance(hb, gid);
        }
        c += ">]TJ\n";
      }
      c += "ET\n";
      ++texts_;
    }
    pages_.push_back({object(stream(c)), p.width, p.height});
  }

  void finish() {
    std::vector<int> fontObjects(fonts_.size());
    for (auto& [font, f] : fonts_) fontObjects[static_cast<std::size_t>(f.index)] = embed(f);
    const int pagesId = next_++;
    std::string kids;
    std::vector<int> pageIds;
    for (const auto& pg : pages_) {
      std::string d = "<< /Type /Page /Parent " + std::to_string(pagesId) + " 0 R /MediaBox [0 0 ";
      num(d, pg.width / 20.0);
      num(d, pg.height / 20.0);
      d += "] /Resources << /Font <<";
      for (std::size_t i = 0; i < fontObjects.size(); ++i)
        d += " /F" + std::to_string(i) + " " + std::to_string(fontObjects[i]) + " 0 R";
      d += " >> >> /Contents " + std::to_string(pg.content) + " 0 R >>";
      pageIds.push_back(object(d));
    }
    for (int id : pageIds) kids += std::to_string(id) + " 0 R ";
    objectAt(pagesId, "<< /Type /Pages /Kids [" + kids + "] /Count " +
                          std::to_string(pageIds.size()) + " >>");
    const int catalog = object("<< /Type /Catalog /Pages " + std::to_string(pagesId) + " 0 R >>");
    const auto xref = static_cast<long>(out_.tellp());
    out_ << "xref\n0 " << next_ << "\n0000000000 65535 f \n";
    for (int i = 1; i < next_; ++i) {
      char line[24];
      std::snprintf(line, sizeof line, "%010ld 00000 n \n", offsets_[i]);
      out_ << line;
    }
    out_ << "trailer\n<< /Size " << next_ << " /Root " << catalog << " 0 R >>\nstartxref\n"
         << xref << "\n%%EOF\n";
  }

  long texts() const { return texts_; }

 private:
  struct PageOut {
    int content;
    std::int32_t width, height;
  };

  FontUse& use(PangoFont* font) {
    auto it = fonts_.find(font);
    if (it != fonts_.end()) return it->second;
    FontUse f;
    f.font = font;
    f.index = static_cast<int>(fonts_.size());
    g_object_ref(font);
    return fonts_.emplace(font, std::move(f)).first->second;
  }

  std::string stream(const std::string& data) {
    uLongf size = compressBound(data.size());
    std::string z(size, '\0');
    compress2(reinterpret_cast<Bytef*>(z.data()), &size,
              reinterpret_cast<const Bytef*>(data.data()), data.size(), Z_BEST_SPEED);
    z.resize(size);
    return "<< /Length " + std::to_string(z.size()) + " /Filter /FlateDecode >>\nstream\n" + z +
           "\nendstream";
  }

  int object(const std::string& body) {
    const int id = next_++;
    objectAt(id, body);
    return id;
  }

  void objectAt(int id, const std::string& body) {
    if (offsets_.size() <= static_cast<std::size_t>(id)) offsets_.resize(id + 1);
    offsets_[id] = static_cast<long>(out_.tellp());
    out_ << id << " 0 obj\n" << body << "\nendobj\n";
  }

  // The font subset to the glyphs used (their numbers kept, so glyph = CID), its widths and the
  // characters they stand for.
  int embed(FontUse& f) {
    hb_font_t* hb = pango_font_get_hb_font(f.font);
    hb_face_t* face = hb_font_get_face(hb);
    hb_subset_input_t* input = hb_subset_input_create_or_fail();
    hb_set_t* gids = hb_subset_input_glyph_set(input);
    for (unsigned g : f.glyphs) hb_set_add(gids, g);
    hb_subset_input_set_flags(input, HB_SUBSET_FLAGS_RETAIN_GIDS);
    hb_face_t* sub = hb_subset_or_fail(face, input);
    hb_subset_input_destroy(input);
    hb_blob_t* blob = sub ? hb_face_reference_blob(sub) : hb_blob_get_empty();
    unsigned length = 0;
    const char* data = hb_blob_get_data(blob, &length);
    const int file = object(stream(std::string(data, length)));
    hb_blob_destroy(blob);
    if (sub) hb_face_destroy(sub);
    // Widths in thousandths of an em, from the face's own units.
    const unsigned upem = hb_face_get_upem(face);
    hb_font_t* unscaled = hb_font_create(face);
    std::string widths = "[";
    for (unsigned g : f.glyphs) {
      widths += std::to_string(g) + " [";
      num(widths, static_cast<double>(hb_font_get_glyph_h_advance(unscaled, g)) * 1000.0 / upem);
      widths += "] ";
    }
    widths += "]";
    hb_font_destroy(unscaled);
    std::string cmap =
        "/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /Galvix def "
        "1 begincodespacerange <0000> <FFFF> endcodespacerange\n";
    std::size_t inBlock = 0;
    for (auto it = f.unicode.begin(); it != f.unicode.end(); ++it) {
      if (inBlock == 0) {
        const auto left = static_cast<std::size_t>(std::distance(it, f.unicode.end()));
        cmap += std::to_string(std::min<std::size_t>(100, left)) + " beginbfchar\n";
      }
      cmap += "<";
      hex4(cmap, it->first);
      cmap += "> <";
      hex4(cmap, it->second);
      cmap += ">\n";
      if (++inBlock == 100) {
        cmap += "endbfchar\n";
        inBlock = 0;
      }
    }
    if (inBlock) cmap += "endbfchar\n";
    cmap += "endcmap CMapName currentdict /CMap defineresource pop end end";
    const int toUnicode = object(stream(cmap));
    const std::string name = "GLX" + std::to_string(f.index) + "+Font";
    const int descriptor = object(
        "<< /Type /FontDescriptor /FontName /" + name +
        " /Flags 32 /FontBBox [-1000 -300 2000 1000] /ItalicAngle 0 /Ascent 900 /Descent -200"
        " /CapHeight 700 /StemV 80 /FontFile2 " +
        std::to_string(file) + " 0 R >>");
    const int cid =
        object("<< /Type /Font /Subtype /CIDFontType2 /BaseFont /" + name +
               " /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity)"
               " /Supplement 0 >> /FontDescriptor " +
               std::to_string(descriptor) + " 0 R /CIDToGIDMap /Identity /W " + widths + " >>");
    return object("<< /Type /Font /Subtype /Type0 /BaseFont /" + name +
                  " /Encoding /Identity-H /DescendantFonts [" + std::to_string(cid) +
                  " 0 R] /ToUnicode " + std::to_string(toUnicode) + " 0 R >>");
  }

  std::ofstream out_;
  int next_ = 1;
  std::vector<long> offsets_{0};
  std::vector<PageOut> pages_;
  std::map<PangoFont*, FontUse> fonts_;
  render::SimpleLine line_;
  long texts_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s DB [--report NAME] [--set Prop=Value ...] [--runs N]\n",
                 argv[0]);
    return 2;
  }
  std::string report = "Guest List - without notes";
  std::vector<std::pair<std::string, std::string>> sets = {
      {"SQLWhere", "WHERE Parties.PartyID = 3"},
      {"SQLOrderBy", "ORDER BY Parties.PartyID, PartyDetails.FormalLabel"},
      {"Criteria", "Party: Reception"}};
  int runs = 3;
  bool ownSets = false;
  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--report" && i + 1 < argc) {
      report = argv[++i];
    } else if (a == "--runs" && i + 1 < argc) {
      runs = std::max(1, std::atoi(argv[++i]));
    } else if (a == "--set" && i + 1 < argc) {
      if (!ownSets) sets.clear();
      ownSets = true;
      const std::string kv = argv[++i];
      const auto eq = kv.find('=');
      sets.emplace_back(kv.substr(0, eq), eq == std::string::npos ? "" : kv.substr(eq + 1));
    }
  }
  Report factory;
  auto r = factory.GetNewReport(report);
  r->setPackPages(true);
  r->set("ConnectionString", Variant(std::string(argv[1])));
  for (const auto& [k, v] : sets) r->set(k, Variant(v));
  const doc::Document d = r->run();
  // Font setup is paid once per process: a one-page PDF first.
  {
    doc::Document one;
    doc::Page p;
    p.items.push_back({.content = doc::Text{.box = {0, 0, 2000, 300}, .text = "x"}});
    one.pages.push_back(p);
    writePdf(one, "/tmp/pdf_writer_bench_warm.pdf");
  }
  std::vector<double> viaCairo, viaOwn, shapingOnly;
  long texts = 0;
  doc::Page scratch;
  for (int run = 0; run < runs; ++run) {
    double c = cpuMs();
    writePdf(d, "/tmp/pdf_writer_bench_cairo.pdf");
    viaCairo.push_back(cpuMs() - c);
    c = cpuMs();
    Writer w("/tmp/pdf_writer_bench_own.pdf");
    for (std::size_t i = 0; i < d.pageCount(); ++i) w.page(d.page(i, scratch));
    w.finish();
    viaOwn.push_back(cpuMs() - c);
    texts = w.texts();
    // What both spend shaping the same texts, for reference.
    c = cpuMs();
    render::SimpleLine line;
    for (std::size_t i = 0; i < d.pageCount(); ++i)
      for (const auto& item : d.page(i, scratch).items)
        if (const auto* t = std::get_if<doc::Text>(&item.content); t && t->angle == 0)
          (void)render::shapeSimpleLine(
              t->text, t->font, line,
              t->wordWrap ? std::max(1, render::twipsToPango(t->box.width)) : 0);
    shapingOnly.push_back(cpuMs() - c);
  }
  std::sort(viaCairo.begin(), viaCairo.end());
  std::sort(viaOwn.begin(), viaOwn.end());
  std::sort(shapingOnly.begin(), shapingOnly.end());
  std::printf("%s: %zu pages, %ld plain texts; median of %d, CPU ms\n", report.c_str(),
              d.pageCount(), texts, runs);
  std::printf("  cairo, whole pages (writePdf)      %8.0f  /tmp/pdf_writer_bench_cairo.pdf\n",
              viaCairo[viaCairo.size() / 2]);
  std::printf("  own writer, plain texts only       %8.0f  /tmp/pdf_writer_bench_own.pdf\n",
              viaOwn[viaOwn.size() / 2]);
  std::printf("  of which both spend shaping        %8.0f  (the texts shaped again, cached)\n",
              shapingOnly[shapingOnly.size() / 2]);
  return 0;
}
