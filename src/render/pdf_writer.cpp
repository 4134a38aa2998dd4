#include "render/pdf_writer.h"

#include <hb-ot.h>
#include <hb-subset.h>
#include <hb.h>
#include <libdeflate.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numbers>
#include <string>
#include <unordered_map>
#include <vector>

namespace galvix::render {

namespace {

// Rounded to the nearest whole number, halves away from zero (libm's round is a call; this
// compiles to a conversion). `v` is within a long long's range.
long long nearest(double v) {
  return static_cast<long long>(v < 0 ? v - 0.5 : v + 0.5);
}

// Numbers to a thousandth: finer than any printer, and what keeps the content short.
void num(std::string& out, double v) {
  if (!(std::abs(v) < 1e12)) v = 0;  // not finite, or no page's
  long long m = nearest(v * 1000);
  if (m < 0) {
    out += '-';
    m = -m;
  }
  char buf[24];
  out.append(buf, std::to_chars(buf, buf + sizeof buf, m / 1000).ptr);
  if (const long long f = m % 1000) {
    const char d[3] = {static_cast<char>('0' + f / 100), static_cast<char>('0' + f / 10 % 10),
                       static_cast<char>('0' + f % 10)};
    out += '.';
    out.append(d, d[2] != '0' ? 3 : d[1] != '0' ? 2 : 1);
  }
}

void nums(std::string& out, std::initializer_list<double> vs) {
  for (double v : vs) {
    num(out, v);
    out += ' ';
  }
}

// A packed colour as three numbers from 0 to 1, red first.
void rgb(std::string& out, doc::Color c) {
  nums(out, {(c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0});
}

void integer(std::string& out, long long v) {
  char buf[24];
  out.append(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
}

void hex4(std::string& out, unsigned v) {
  static constexpr char d[] = "0123456789ABCDEF";
  const char h[4] = {d[(v >> 12) & 15], d[(v >> 8) & 15], d[(v >> 4) & 15], d[v & 15]};
  out.append(h, 4);
}

std::string ref(int id) {
  return std::to_string(id) + " 0 R";
}

// UTF-16 in hex, between angle brackets.
std::string utf16Hex(const std::string& utf8, bool byteOrderMark) {
  std::string out = byteOrderMark ? "<FEFF" : "<";
  for (const char* p = utf8.c_str(); *p;) {
    gunichar u = g_utf8_get_char_validated(p, -1);
    if (u == static_cast<gunichar>(-1) || u == static_cast<gunichar>(-2)) {
      u = 0xFFFD;
      ++p;
    } else {
      p = g_utf8_next_char(p);
    }
    if (u >= 0x10000) {
      hex4(out, 0xD800 + ((u - 0x10000) >> 10));
      hex4(out, 0xDC00 + ((u - 0x10000) & 0x3FF));
    } else {
      hex4(out, u);
    }
  }
  return out + ">";
}

// A PDF text string: literal when it is plain ASCII, else UTF-16 with its byte order mark.
std::string textString(const std::string& utf8) {
  const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F;
  });
  if (!ascii) return utf16Hex(utf8, true);
  std::string out = "(";
  for (char c : utf8) {
    if (c == '(' || c == ')' || c == '\\') out += '\\';
    out += c;
  }
  return out + ")";
}

// Deflated in zlib's format by libdeflate (whole buffers, as a page's content is), at its fastest
// level: on report pages faster than zlib's fastest and a tenth smaller; its level 6 takes a
// quarter longer for a fifth less.
std::string deflate(const std::string& data) {
  struct Compressor {
    libdeflate_compressor* c = libdeflate_alloc_compressor(1);
    ~Compressor() { libdeflate_free_compressor(c); }
  };
  thread_local Compressor compressor;
  std::string z(libdeflate_zlib_compress_bound(compressor.c, data.size()), '\0');
  z.resize(libdeflate_zlib_compress(compressor.c, data.data(), data.size(), z.data(), z.size()));
  return z;
}

std::uint32_t be16(const char* p) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(p[0]) << 8 |
                                    static_cast<unsigned char>(p[1]));
}
std::int32_t sbe16(const char* p) {
  return static_cast<std::int16_t>(be16(p));
}

// A table of `face`'s, or empty.
std::string table(hb_face_t* face, const char* tag) {
  hb_blob_t* blob = hb_face_reference_table(face, hb_tag_from_string(tag, 4));
  unsigned n = 0;
  const char* d = hb_blob_get_data(blob, &n);
  std::string t(d ? d : "", d ? n : 0);
  hb_blob_destroy(blob);
  return t;
}

// Components of a baseline or progressive JPEG (1 gray, 3 colour, 4 CMYK), or 0.
int jpegComponents(const unsigned char* d, unsigned long n) {
  for (unsigned long i = 2; i + 9 < n;) {
    if (d[i] != 0xFF) return 0;
    const unsigned marker = d[i + 1];
    if (marker == 0xFF) {
      ++i;
      continue;
    }
    const unsigned long len = static_cast<unsigned long>(d[i + 2] << 8 | d[i + 3]);
    if ((marker >= 0xC0 && marker <= 0xC3) || (marker >= 0xC5 && marker <= 0xC7) ||
        (marker >= 0xC9 && marker <= 0xCB) || (marker >= 0xCD && marker <= 0xCF))
      return d[i + 9];
    i += 2 + len;
  }
  return 0;
}

struct Affine {
  double xx = 1, yx = 0, xy = 0, yy = 1, x0 = 0, y0 = 0;
  void apply(double& x, double& y) const {
    const double nx = xx * x + xy * y + x0;
    y = yx * x + yy * y + y0;
    x = nx;
  }
  // `m` first, then this.
  Affine after(const Affine& m) const {
    return {m.xx * xx + m.yx * xy, m.xx * yx + m.yx * yy,      m.xy * xx + m.yy * xy,
            m.xy * yx + m.yy * yy, m.x0 * xx + m.y0 * xy + x0, m.x0 * yx + m.y0 * yy + y0};
  }
};

// A font face as embedded: the glyphs used, the text each stands for, their widths.
struct FontUse {
  int index = 0;
  int object = 0;  // the Type0 font, written at the end
  hb_face_t* face = nullptr;
  unsigned upem = 1000;
  std::vector<std::int32_t> advance;  // per glyph, font units; -1 not yet known
  std::vector<std::uint8_t> used, mapped;
  std::unordered_map<unsigned, std::string> text;  // glyph -> characters (first seen)
  hb_font_t* unscaled = nullptr;
  double width(unsigned gid) {  // thousandths of an em, as written to the font's widths
    if (gid >= advance.size()) advance.resize(gid + 1, -1);
    if (advance[gid] < 0)
      advance[gid] = static_cast<std::int32_t>(hb_font_get_glyph_h_advance(unscaled, gid));
    return static_cast<double>(nearest(advance[gid] * 1000.0 / upem * 1000)) / 1000;
  }
};

// A font as pango uses it: its face and size.
struct FontRef {
  FontUse* use = nullptr;
  double size = 0;  // points
  // An em's square in user space, y down: the size, and a slant where fontconfig slants a face
  // that has no italic of its own.
  double xx = 0, yx = 0, xy = 0, yy = 0;
};

class PdfCanvas;

// Pango's renderer drawing a layout's glyphs and lines onto a PdfCanvas.
struct GlxRenderer {
  PangoRenderer parent;
  PdfCanvas* canvas;
};
struct GlxRendererClass {
  PangoRendererClass parent;
};
GType glxRendererType();

}  // namespace

struct PdfWriter::Impl {
  cairo_write_func_t write;
  void* closure;
  cairo_status_t status = CAIRO_STATUS_SUCCESS;
  std::string out;  // bytes not yet given to `write`
  std::uint64_t written = 0;
  std::vector<std::uint64_t> offsets{0};
  std::string title, creator;
  int pagesId = 0, resourcesId = 0;
  double pageWidth = 0, pageHeight = 0;
  std::vector<int> pageIds;
  std::vector<std::unique_ptr<FontUse>> fonts;
  std::unordered_map<hb_face_t*, FontUse*> byFace;
  std::unordered_map<PangoFont*, FontRef> byFont;
  struct Image {
    int object;
    std::string name;
  };
  std::unordered_map<cairo_surface_t*, Image> images;
  std::vector<std::pair<std::string, int>> shadings;
  std::unique_ptr<PdfCanvas> canvas;

  Impl(cairo_write_func_t w, void* c) : write(w), closure(c) {}
  ~Impl();

  std::uint64_t offset() const { return written + out.size(); }
  void flush() {
    if (status == CAIRO_STATUS_SUCCESS && !out.empty())
      status = write(closure, reinterpret_cast<const unsigned char*>(out.data()),
                     static_cast<unsigned>(out.size()));
    written += out.size();
    out.clear();
  }
  void maybeFlush() {
    if (out.size() >= (1u << 18)) flush();
  }
  int reserve() {
    offsets.push_back(0);
    return static_cast<int>(offsets.size() - 1);
  }
  void begin(int id) {
    offsets[static_cast<std::size_t>(id)] = offset();
    integer(out, id);
    out += " 0 obj\n";
  }
  void end() {
    out += "\nendobj\n";
    maybeFlush();
  }
  int object(const std::string& body, int id = 0) {
    if (id == 0) id = reserve();
    begin(id);
    out += body;
    end();
    return id;
  }
  int stream(const std::string& dict, const std::string& data, bool compress = true, int id = 0) {
    const std::string z = compress ? deflate(data) : std::string();
    const std::string& body = compress ? z : data;
    if (id == 0) id = reserve();
    begin(id);
    out += "<< /Length ";
    integer(out, static_cast<long long>(body.size()));
    if (compress) out += " /Filter /FlateDecode";
    if (!dict.empty()) out += ' ';
    out += dict;
    out += " >>\nstream\n";
    out += body;
    out += "\nendstream";
    end();
    return id;
  }

  FontRef& font(PangoFont* f);
  const Image& image(cairo_surface_t* s);
  std::string shading(double x0, double y0, double x1, double y1, doc::Color a, doc::Color b);
  void embed(FontUse& f);
};

namespace {

// One page's content. Paths are kept in page space as they are made (the current matrix applied
// to each point), so fills and clips need no matrix in the content; strokes are drawn in page
// space too, at the width the renderer gives (it strokes only where no scaling applies).
class PdfCanvas final : public Canvas {
 public:
  explicit PdfCanvas(PdfWriter::Impl& w) : w_(w) {
    renderer_ = static_cast<GlxRenderer*>(g_object_new(glxRendererType(), nullptr));
    renderer_->canvas = this;
  }
  ~PdfCanvas() override { g_object_unref(renderer_); }
  PdfCanvas(const PdfCanvas&) = delete;
  PdfCanvas& operator=(const PdfCanvas&) = delete;

  // Each stream of a page keeps its state to itself (a page's later stream starts afresh).
  void begin(double height) {
    content_.clear();
    content_ += "q 1 0 0 -1 0 ";
    num(content_, height);
    content_ += " cm\n";
    state_ = State{};
    stack_.clear();
    pdf_ = Emitted{};
    path_.clear();
    hasPoint_ = false;
  }
  const std::string& content() {
    while (!stack_.empty()) restore();
    content_ += "Q\n";
    return content_;
  }

  void save() override { stack_.push_back({state_, pdf_, false}); }
  void restore() override {
    if (stack_.empty()) return;
    Saved s = std::move(stack_.back());
    stack_.pop_back();
    state_ = std::move(s.state);
    if (s.pushed) {
      content_ += "Q\n";
      pdf_ = std::move(s.pdf);
    }
  }
  void translate(double x, double y) override { state_.ctm = state_.ctm.after({1, 0, 0, 1, x, y}); }
  void rotate(double a) override {
    const double c = std::cos(a), s = std::sin(a);
    state_.ctm = state_.ctm.after({c, s, -s, c, 0, 0});
  }
  void scale(double sx, double sy) override { state_.ctm = state_.ctm.after({sx, 0, 0, sy, 0, 0}); }
  cairo_matrix_t matrix() const override {
    const Affine& m = state_.ctm;
    return {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
  }
  void setMatrix(const cairo_matrix_t& m) override {
    state_.ctm = {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
  }
  void setColor(doc::Color c) override {
    state_.color = c & 0xFFFFFF;
    state_.shading.clear();
  }
  void setVerticalGradient(double y0, double y1, doc::Color top, doc::Color bottom) override {
    double x0 = 0, x1 = 0;
    state_.ctm.apply(x0, y0);
    state_.ctm.apply(x1, y1);
    state_.shading = w_.shading(x0, y0, x1, y1, top, bottom);
  }
  void setLineWidth(double w) override { state_.lineWidth = w; }
  void setDash(const double* d, int n) override { state_.dash.assign(d, d + std::max(0, n)); }
  void setLineCap(cairo_line_cap_t cap) override { state_.cap = static_cast<int>(cap); }
  void setLineJoin(cairo_line_join_t join) override { state_.join = static_cast<int>(join); }

  void newPath() override {
    path_.clear();
    hasPoint_ = false;
  }
  void newSubPath() override { hasPoint_ = false; }
  void moveTo(double x, double y) override {
    point(x, y);
    path_ += "m\n";
    hasPoint_ = true;
  }
  void lineTo(double x, double y) override {
    if (!hasPoint_) return moveTo(x, y);
    point(x, y);
    path_ += "l\n";
  }
  void curveTo(double x1, double y1, double x2, double y2, double x3, double y3) override {
    if (!hasPoint_) moveTo(x1, y1);
    point(x1, y1);
    point(x2, y2);
    point(x3, y3);
    path_ += "c\n";
  }
  void closePath() override {
    if (!hasPoint_) return;
    path_ += "h\n";
  }
  void rectangle(double x, double y, double w, double h) override {
    const Affine& m = state_.ctm;
    if (m.xy == 0 && m.yx == 0) {
      double px = x, py = y;
      m.apply(px, py);
      nums(path_, {px, py, w * m.xx, h * m.yy});
      path_ += "re\n";
      hasPoint_ = true;
      return;
    }
    moveTo(x, y);
    lineTo(x + w, y);
    lineTo(x + w, y + h);
    lineTo(x, y + h);
    closePath();
  }
  void arc(double xc, double yc, double r, double from, double to) override {
    while (to < from) to += 2 * std::numbers::pi;
    const auto at = [&](double a) { return std::pair{xc + r * std::cos(a), yc + r * std::sin(a)}; };
    const auto [sx, sy] = at(from);
    lineTo(sx, sy);  // from the current point, as cairo does; else the arc's start
    const int n = std::max(1, static_cast<int>(std::ceil((to - from) / (std::numbers::pi / 2))));
    const double step = (to - from) / n, k = 4.0 / 3.0 * std::tan(step / 4) * r;
    for (int i = 0; i < n; ++i) {
      const double a = from + i * step, b = a + step;
      const auto [ax, ay] = at(a);
      const auto [bx, by] = at(b);
      curveTo(ax - k * std::sin(a), ay + k * std::cos(a), bx + k * std::sin(b),
              by - k * std::cos(b), bx, by);
    }
  }
  void fill(bool preserve) override {
    if (!path_.empty()) {
      if (!state_.shading.empty()) {
        content_ += "q\n";
        content_ += path_;
        content_ += "W n\n/";
        content_ += state_.shading;
        content_ += " sh\nQ\n";
      } else {
        fillColor(state_.color);
        content_ += path_;
        content_ += "f\n";
      }
    }
    if (!preserve) newPath();
  }
  void stroke() override {
    if (!path_.empty()) {
      strokeState();
      content_ += path_;
      content_ += "S\n";
    }
    newPath();
  }
  void clip() override {
    // A clip lasts until the state is restored: the state is saved in the content first.
    if (!stack_.empty() && !stack_.back().pushed) {
      stack_.back().pushed = true;
      stack_.back().pdf = pdf_;
      content_ += "q\n";
    }
    content_ += path_.empty() ? std::string("0 0 0 0 re\n") : path_;
    content_ += "W n\n";
    newPath();
  }

  void showLine(const SimpleLine& line, std::size_t k, double x, double y, int lineX) override {
    const SimpleLine::Line& ln = line.lines[k];
    FontRef& f = w_.font(line.font);
    const double baseX = x + static_cast<double>(lineX) / PANGO_SCALE;
    const double baseY = y + static_cast<double>(ln.top + line.baseline) / PANGO_SCALE;
    glyphs_.clear();
    std::size_t byte = ln.offset, cluster = ln.firstCluster, inCluster = 0;
    for (std::size_t i = ln.firstGlyph; i < ln.firstGlyph + ln.glyphCount; ++i) {
      const unsigned gid = line.glyphs[i];
      const cairo_text_cluster_t* cl =
          cluster < ln.firstCluster + ln.clusterCount ? &line.clusters[cluster] : nullptr;
      if (cl && inCluster == 0 && gid != PANGO_GLYPH_EMPTY)
        mapText(*f.use, gid, line.text.data() + byte, static_cast<std::size_t>(cl->num_bytes));
      if (cl && ++inCluster >= static_cast<std::size_t>(std::max(1, cl->num_glyphs))) {
        byte += static_cast<std::size_t>(cl->num_bytes);
        ++cluster;
        inCluster = 0;
      }
      if (gid == PANGO_GLYPH_EMPTY) continue;
      glyphs_.push_back({gid, baseX + static_cast<double>(line.x[i]) / PANGO_SCALE,
                         baseY + static_cast<double>(line.y[i]) / PANGO_SCALE});
    }
    glyphRun(f, state_.color);
  }

  void showLayout(PangoLayout* layout, double x, double y) override {
    pango_renderer_draw_layout(&renderer_->parent, layout, static_cast<int>(x * PANGO_SCALE),
                               static_cast<int>(y * PANGO_SCALE));
  }

  // A glyph string pango laid out, its baseline starting at (x, y) pango units; `text` the
  // characters of its clusters when known.
  void pangoGlyphs(PangoFont* font, PangoGlyphString* gs, const char* text, int textLength, int x,
                   int y, doc::Color color) {
    FontRef& f = w_.font(font);
    glyphs_.clear();
    int pen = x;
    for (int i = 0; i < gs->num_glyphs; ++i) {
      const PangoGlyphInfo& g = gs->glyphs[i];
      const double gx = static_cast<double>(pen + g.geometry.x_offset) / PANGO_SCALE;
      const double gy = static_cast<double>(y + g.geometry.y_offset) / PANGO_SCALE;
      pen += g.geometry.width;
      if (g.glyph == PANGO_GLYPH_EMPTY) continue;
      if (g.glyph & PANGO_GLYPH_UNKNOWN_FLAG) {
        unknownGlyph(gx, gy, g.geometry.width, f.size, color);
        continue;
      }
      if (text && g.attr.is_cluster_start) {
        // The cluster's characters: up to the next cluster's in logical order (the glyph after
        // it left to right, or before it right to left), or the end of the run.
        const int from = gs->log_clusters[i];
        int to = textLength;
        int j = i + 1;
        while (j < gs->num_glyphs && gs->log_clusters[j] == from) ++j;
        if (j < gs->num_glyphs && gs->log_clusters[j] > from) {
          to = gs->log_clusters[j];
        } else {
          j = i - 1;
          while (j >= 0 && gs->log_clusters[j] == from) --j;
          if (j >= 0 && gs->log_clusters[j] > from) to = gs->log_clusters[j];
        }
        if (from >= 0 && to > from && to <= textLength)
          mapText(*f.use, g.glyph, text + from, static_cast<std::size_t>(to - from));
      }
      glyphs_.push_back({g.glyph, gx, gy});
    }
    glyphRun(f, color);
  }

  void pangoRectangle(double x, double y, double w, double h, doc::Color color) {
    const doc::Color saved = state_.color;
    const std::string savedPath = path_;
    const bool had = hasPoint_;
    path_.clear();
    state_.color = color;
    rectangle(x, y, w, h);
    fillColor(color);
    content_ += path_;
    content_ += "f\n";
    state_.color = saved;
    path_ = savedPath;
    hasPoint_ = had;
  }

  doc::Color color() const { return state_.color; }

  void image(cairo_surface_t* s, double x, double y, double sx, double sy, bool) override {
    const auto& img = w_.image(s);
    const double iw = cairo_image_surface_get_width(s), ih = cairo_image_surface_get_height(s);
    // The image fills the unit square, its first row at the top: flipped into our y-down space.
    const Affine m = state_.ctm.after({iw * sx, 0, 0, -ih * sy, x, y + ih * sy});
    content_ += "q ";
    nums(content_, {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0});
    content_ += "cm /";
    content_ += img.name;
    content_ += " Do Q\n";
  }

 private:
  struct Glyph {
    unsigned gid;
    double x, y;  // user space
  };
  struct State {
    Affine ctm;
    doc::Color color = doc::kBlack;
    std::string shading;  // a shading's name, when fills shade
    double lineWidth = 2;
    std::vector<double> dash;
    int cap = 0, join = 0;
  };
  // What the content has set so far (PDF's own defaults at first).
  struct Emitted {
    std::int64_t fill = 0, stroke = 0;
    double lineWidth = 1;
    std::vector<double> dash;
    int cap = 0, join = 0;
    int font = -1;
  };
  struct Saved {
    State state;
    Emitted pdf;
    bool pushed;  // "q" written (a clip was set)
  };

  void point(double x, double y) {
    state_.ctm.apply(x, y);
    nums(path_, {x, y});
  }

  void fillColor(doc::Color c) {
    if (pdf_.fill == c) return;
    pdf_.fill = c;
    rgb(content_, c);
    content_ += "rg\n";
  }
  void strokeState() {
    const Affine& m = state_.ctm;
    const double scale = std::sqrt(std::abs(m.xx * m.yy - m.xy * m.yx));
    if (pdf_.stroke != state_.color) {
      pdf_.stroke = state_.color;
      rgb(content_, state_.color);
      content_ += "RG\n";
    }
    if (pdf_.lineWidth != state_.lineWidth * scale) {
      pdf_.lineWidth = state_.lineWidth * scale;
      num(content_, pdf_.lineWidth);
      content_ += " w\n";
    }
    std::vector<double> dash = state_.dash;
    for (double& d : dash) d *= scale;
    if (pdf_.dash != dash) {
      pdf_.dash = dash;
      content_ += '[';
      for (double d : dash) {
        num(content_, d);
        content_ += ' ';
      }
      content_ += "] 0 d\n";
    }
    if (pdf_.cap != state_.cap) {
      pdf_.cap = state_.cap;
      integer(content_, state_.cap);
      content_ += " J\n";
    }
    if (pdf_.join != state_.join) {
      pdf_.join = state_.join;
      integer(content_, state_.join);
      content_ += " j\n";
    }
  }

  void mapText(FontUse& f, unsigned gid, const char* text, std::size_t bytes) {
    if (bytes == 0) return;
    if (gid >= f.mapped.size()) f.mapped.resize(gid + 1);
    if (f.mapped[gid]) return;
    f.mapped[gid] = 1;
    f.text.try_emplace(gid, text, bytes);
  }

  // A glyph missing from every font: an empty box as wide as pango made it.
  void unknownGlyph(double x, double y, int width, double size, doc::Color color) {
    const double w = static_cast<double>(width) / PANGO_SCALE;
    const State saved = state_;
    const std::string savedPath = path_;
    path_.clear();
    state_.color = color;
    state_.lineWidth = size / 20;
    state_.dash.clear();
    rectangle(x + w * 0.15, y - size * 0.7, w * 0.7, size * 0.8);
    stroke();
    state_ = saved;
    path_ = savedPath;
  }

  // glyphs_ in font `f`: one text object, a new text matrix where a glyph leaves the baseline.
  void glyphRun(FontRef& f, doc::Color color) {
    if (glyphs_.empty()) return;
    fillColor(color);
    const double size = f.xx > 0 ? f.xx : f.size;
    content_ += "BT\n";
    if (pdf_.font != f.use->index) {
      pdf_.font = f.use->index;
      content_ += "/F";
      integer(content_, f.use->index);
      content_ += " 1 Tf\n";
    }
    std::size_t i = 0;
    while (i < glyphs_.size()) {
      // A text matrix at glyph i: the font's em square (y up in text space) placed there, through
      // the current matrix.
      const double lineY = glyphs_[i].y;
      const Affine tm = state_.ctm.after({f.xx, f.yx, -f.xy, -f.yy, glyphs_[i].x, lineY});
      nums(content_, {tm.xx, tm.yx, tm.xy, tm.yy, tm.x0, tm.y0});
      content_ += "Tm\n[<";
      const double startX = glyphs_[i].x;
      double pen = 0;  // thousandths of an em from startX, where the next glyph would go
      for (; i < glyphs_.size() && glyphs_[i].y == lineY; ++i) {
        // Advances in pango units round differently from widths in thousandths of an em: a
        // correction for each glyph would move it by millionths of a point. One is written once
        // the pen is half a thousandth of an em off, so no glyph is further off than that.
        const double want = (glyphs_[i].x - startX) * 1000 / size;
        const double adjust = static_cast<double>(nearest((pen - want) * 1000)) / 1000;
        if (std::abs(adjust) >= 0.5) {
          content_ += "> ";
          num(content_, adjust);
          content_ += " <";
          pen -= adjust;
        }
        const unsigned gid = glyphs_[i].gid & 0xFFFF;
        hex4(content_, gid);
        f.use->used.resize(std::max<std::size_t>(f.use->used.size(), gid + 1));
        f.use->used[gid] = 1;
        pen += f.use->width(gid);
      }
      content_ += ">]TJ\n";
    }
    content_ += "ET\n";
  }

  PdfWriter::Impl& w_;
  GlxRenderer* renderer_ = nullptr;
  std::string content_, path_;
  State state_;
  Emitted pdf_;
  std::vector<Saved> stack_;
  bool hasPoint_ = false;
  std::vector<Glyph> glyphs_;
};

doc::Color partColor(PangoRenderer* r, PangoRenderPart part, doc::Color fallback) {
  const PangoColor* c = pango_renderer_get_color(r, part);
  if (!c && part != PANGO_RENDER_PART_FOREGROUND)
    c = pango_renderer_get_color(r, PANGO_RENDER_PART_FOREGROUND);
  if (!c) return fallback;
  const auto byte = [](guint16 v) { return static_cast<doc::Color>((v * 255 + 32767) / 65535); };
  return doc::rgb(byte(c->red), byte(c->green), byte(c->blue));
}

PdfCanvas* canvasOf(PangoRenderer* r) {
  return reinterpret_cast<GlxRenderer*>(r)->canvas;
}

void glxDrawGlyphItem(PangoRenderer* r, const char* text, PangoGlyphItem* gi, int x, int y) {
  PdfCanvas* c = canvasOf(r);
  c->pangoGlyphs(gi->item->analysis.font, gi->glyphs, text ? text + gi->item->offset : nullptr,
                 gi->item->length, x, y, partColor(r, PANGO_RENDER_PART_FOREGROUND, c->color()));
}

void glxDrawGlyphs(PangoRenderer* r, PangoFont* font, PangoGlyphString* gs, int x, int y) {
  PdfCanvas* c = canvasOf(r);
  c->pangoGlyphs(font, gs, nullptr, 0, x, y,
                 partColor(r, PANGO_RENDER_PART_FOREGROUND, c->color()));
}

void glxDrawRectangle(PangoRenderer* r, PangoRenderPart part, int x, int y, int w, int h) {
  PdfCanvas* c = canvasOf(r);
  c->pangoRectangle(static_cast<double>(x) / PANGO_SCALE, static_cast<double>(y) / PANGO_SCALE,
                    static_cast<double>(w) / PANGO_SCALE, static_cast<double>(h) / PANGO_SCALE,
                    partColor(r, part, c->color()));
}

void glxClassInit(gpointer klass, gpointer) {
  auto* k = static_cast<PangoRendererClass*>(klass);
  k->draw_glyph_item = glxDrawGlyphItem;
  k->draw_glyphs = glxDrawGlyphs;
  k->draw_rectangle = glxDrawRectangle;
}

GType glxRendererType() {
  static const GType type = g_type_register_static_simple(
      PANGO_TYPE_RENDERER, "GalvixPdfRenderer", sizeof(GlxRendererClass), glxClassInit,
      sizeof(GlxRenderer), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

PdfWriter::Impl::~Impl() {
  for (auto& f : fonts) {
    hb_font_destroy(f->unscaled);
    hb_face_destroy(f->face);
  }
  for (auto& [font, r] : byFont) g_object_unref(font);
  for (auto& [s, img] : images) cairo_surface_destroy(s);
}

FontRef& PdfWriter::Impl::font(PangoFont* f) {
  auto it = byFont.find(f);
  if (it != byFont.end()) return it->second;
  hb_font_t* hb = pango_font_get_hb_font(f);
  hb_face_t* face = hb_font_get_face(hb);
  FontUse*& use = byFace[face];
  if (!use) {
    fonts.push_back(std::make_unique<FontUse>());
    use = fonts.back().get();
    use->index = static_cast<int>(fonts.size() - 1);
    use->object = reserve();
    use->face = hb_face_reference(face);
    use->upem = std::max(1u, hb_face_get_upem(face));
    use->unscaled = hb_font_create(face);
  }
  int xs = 0, ys = 0;
  hb_font_get_scale(hb, &xs, &ys);
  FontRef r{use, static_cast<double>(xs) / PANGO_SCALE};
  r.xx = r.yy = r.size;
  if (PANGO_IS_CAIRO_FONT(f))
    if (cairo_scaled_font_t* sf = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(f))) {
      cairo_matrix_t m;
      cairo_scaled_font_get_font_matrix(sf, &m);
      if (m.xx > 0 && m.yy > 0) r = {use, r.size, m.xx, m.yx, m.xy, m.yy};
    }
  g_object_ref(f);
  return byFont.emplace(f, r).first->second;
}

const PdfWriter::Impl::Image& PdfWriter::Impl::image(cairo_surface_t* s) {
  auto it = images.find(s);
  if (it != images.end()) return it->second;
  cairo_surface_reference(s);
  const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
  std::string dict = "/Type /XObject /Subtype /Image /Width " + std::to_string(w) + " /Height " +
                     std::to_string(h) + " /BitsPerComponent 8 /Interpolate true";
  const unsigned char* jpeg = nullptr;
  unsigned long jpegLength = 0;
  cairo_surface_get_mime_data(s, CAIRO_MIME_TYPE_JPEG, &jpeg, &jpegLength);
  const int components = jpeg ? jpegComponents(jpeg, jpegLength) : 0;
  int id = 0;
  if (components == 1 || components == 3) {
    // The JPEG as it came: no loss, and usually smaller than the pixels.
    dict += components == 1 ? " /ColorSpace /DeviceGray" : " /ColorSpace /DeviceRGB";
    dict += " /Filter /DCTDecode";
    id = stream(dict, std::string(reinterpret_cast<const char*>(jpeg), jpegLength), false);
  } else {
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    const bool alpha = cairo_image_surface_get_format(s) == CAIRO_FORMAT_ARGB32;
    std::string pixels, mask;
    pixels.reserve(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 3);
    bool translucent = false;
    for (int y = 0; y < h; ++y) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(data + std::ptrdiff_t{y} * stride);
      for (int x = 0; x < w; ++x) {
        const std::uint32_t p = row[x];
        const std::uint32_t a = alpha ? p >> 24 : 255;
        // cairo's pixels are premultiplied by their alpha.
        const auto un = [a](std::uint32_t c) {
          return static_cast<char>(a == 0 ? 0
                                          : std::min<std::uint32_t>(255, (c * 255 + a / 2) / a));
        };
        pixels += un((p >> 16) & 0xFF);
        pixels += un((p >> 8) & 0xFF);
        pixels += un(p & 0xFF);
        mask += static_cast<char>(a);
        translucent = translucent || a != 255;
      }
    }
    dict += " /ColorSpace /DeviceRGB";
    if (translucent) {
      const int smask = stream("/Type /XObject /Subtype /Image /Width " + std::to_string(w) +
                                   " /Height " + std::to_string(h) +
                                   " /BitsPerComponent 8 /ColorSpace /DeviceGray /Interpolate true",
                               mask);
      dict += " /SMask " + ref(smask);
    }
    id = stream(dict, pixels);
  }
  return images.emplace(s, Image{id, "Im" + std::to_string(images.size())}).first->second;
}

std::string PdfWriter::Impl::shading(double x0, double y0, double x1, double y1, doc::Color a,
                                     doc::Color b) {
  std::string d = "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [";
  nums(d, {x0, y0, x1, y1});
  d += "] /Function << /FunctionType 2 /Domain [0 1] /C0 [";
  rgb(d, a);
  d += "] /C1 [";
  rgb(d, b);
  d += "] /N 1 >> /Extend [true true] >>";
  const std::string name = "Sh" + std::to_string(shadings.size());
  shadings.emplace_back(name, object(d));
  return name;
}

void PdfWriter::Impl::embed(FontUse& f) {
  std::vector<unsigned> glyphs;
  for (unsigned g = 0; g < f.used.size(); ++g)
    if (f.used[g]) glyphs.push_back(g);
  // The face cut down to the glyphs used, their numbers kept (so a glyph's number is its code).
  hb_subset_input_t* input = hb_subset_input_create_or_fail();
  hb_set_t* gids = hb_subset_input_glyph_set(input);
  for (unsigned g : glyphs) hb_set_add(gids, g);
  for (const auto& [g, t] : f.text)
    hb_set_add(hb_subset_input_unicode_set(input), g_utf8_get_char(t.c_str()));
  hb_set_t* drop = hb_subset_input_set(input, HB_SUBSET_SETS_DROP_TABLE_TAG);
  for (const char* t : {"GSUB", "GPOS", "GDEF", "kern", "DSIG", "morx", "JSTF", "BASE"})
    hb_set_add(drop, hb_tag_from_string(t, 4));
  hb_subset_input_set_flags(input, HB_SUBSET_FLAGS_RETAIN_GIDS);
  hb_face_t* sub = hb_subset_or_fail(f.face, input);
  hb_subset_input_destroy(input);
  hb_blob_t* blob = sub ? hb_face_reference_blob(sub) : hb_face_reference_blob(f.face);
  unsigned length = 0;
  const char* data = hb_blob_get_data(blob, &length);
  hb_blob_t* cffTable = hb_face_reference_table(f.face, HB_TAG('C', 'F', 'F', ' '));
  const bool cff = hb_blob_get_length(cffTable) > 0;
  hb_blob_destroy(cffTable);
  const int file = stream(cff ? "/Subtype /OpenType" : "/Length1 " + std::to_string(length),
                          std::string(data ? data : "", length));
  hb_blob_destroy(blob);
  if (sub) hb_face_destroy(sub);

  // What a viewer needs to know of the face without reading it, in thousandths of an em.
  const double k = 1000.0 / f.upem;
  const std::string head = table(f.face, "head"), post = table(f.face, "post");
  hb_position_t ascent = 0, descent = 0, cap = 0;
  hb_ot_metrics_get_position(f.unscaled, HB_OT_METRICS_TAG_HORIZONTAL_ASCENDER, &ascent);
  hb_ot_metrics_get_position(f.unscaled, HB_OT_METRICS_TAG_HORIZONTAL_DESCENDER, &descent);
  if (!hb_ot_metrics_get_position(f.unscaled, HB_OT_METRICS_TAG_CAP_HEIGHT, &cap)) cap = ascent;
  const double italic =
      post.size() >= 8
          ? static_cast<std::int32_t>(be16(post.data() + 4) << 16 | be16(post.data() + 6)) / 65536.0
          : 0;
  const bool fixed = post.size() >= 16 && (be16(post.data() + 12) | be16(post.data() + 14)) != 0;
  char psName[64] = "";
  unsigned psLength = sizeof psName;
  hb_ot_name_get_utf8(f.face, HB_OT_NAME_ID_POSTSCRIPT_NAME, HB_LANGUAGE_INVALID, &psLength,
                      psName);
  std::string name;
  for (const char* p = psName; *p; ++p)
    if (std::isalnum(static_cast<unsigned char>(*p)) || *p == '-') name += *p;
  if (name.empty()) name = "Font" + std::to_string(f.index);
  // A subset's name begins with six capitals of its own.
  std::string tag;
  for (unsigned v = static_cast<unsigned>(f.index) * 2654435761u + 12345u; tag.size() < 6; v /= 26)
    tag += static_cast<char>('A' + v % 26);
  name = tag + "+" + name;

  std::string d = "<< /Type /FontDescriptor /FontName /" + name + " /Flags ";
  integer(d, (fixed ? 1 : 0) | 32 | (italic != 0 ? 64 : 0));
  d += " /FontBBox [";
  if (head.size() >= 44)
    nums(d, {sbe16(head.data() + 36) * k, sbe16(head.data() + 38) * k, sbe16(head.data() + 40) * k,
             sbe16(head.data() + 42) * k});
  else
    d += "0 0 1000 1000 ";
  d += "] /ItalicAngle ";
  num(d, italic);
  d += " /Ascent ";
  num(d, ascent * k);
  d += " /Descent ";
  num(d, descent * k);
  d += " /CapHeight ";
  num(d, cap * k);
  d += " /StemV 80 /";
  d += cff ? "FontFile3 " : "FontFile2 ";
  d += ref(file);
  d += " >>";
  const int descriptor = object(d);

  std::string widths = "[";
  for (std::size_t i = 0; i < glyphs.size();) {
    integer(widths, glyphs[i]);
    widths += " [";
    for (std::size_t j = i; i < glyphs.size() && glyphs[i] == glyphs[j] + (i - j); ++i) {
      num(widths, f.width(glyphs[i]));
      widths += ' ';
    }
    widths += "] ";
  }
  widths += "]";
  const int cid = object(std::string("<< /Type /Font /Subtype /") +
                         (cff ? "CIDFontType0" : "CIDFontType2") + " /BaseFont /" + name +
                         " /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) /Supplement 0"
                         " >> /FontDescriptor " +
                         ref(descriptor) + (cff ? "" : " /CIDToGIDMap /Identity") + " /DW 0 /W " +
                         widths + " >>");

  // Which characters each glyph stands for, so the text can be searched and copied.
  std::vector<std::pair<unsigned, std::string>> map(f.text.begin(), f.text.end());
  std::sort(map.begin(), map.end());
  std::string cmap =
      "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n/CIDSystemInfo << "
      "/Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n/CMapName /Adobe-Identity-UCS "
      "def\n/CMapType 2 def\n1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n";
  for (std::size_t i = 0; i < map.size(); i += 100) {
    const std::size_t n = std::min<std::size_t>(100, map.size() - i);
    integer(cmap, static_cast<long long>(n));
    cmap += " beginbfchar\n";
    for (std::size_t j = i; j < i + n; ++j) {
      cmap += '<';
      hex4(cmap, map[j].first);
      cmap += "> ";
      cmap += utf16Hex(map[j].second, false);
      cmap += '\n';
    }
    cmap += "endbfchar\n";
  }
  cmap += "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend";
  const int toUnicode = stream("", cmap);
  object("<< /Type /Font /Subtype /Type0 /BaseFont /" + name +
             " /Encoding /Identity-H /DescendantFonts [" + ref(cid) + "] /ToUnicode " +
             ref(toUnicode) + " >>",
         f.object);
}

PdfWriter::PdfWriter(cairo_write_func_t write, void* closure, const std::string& title,
                     const std::string& creator)
    : impl_(std::make_unique<Impl>(write, closure)) {
  impl_->title = title;
  impl_->creator = creator;
  impl_->out = "%PDF-1.5\n%\xB5\xED\xAE\xFB\n";
  impl_->pagesId = impl_->reserve();
  impl_->resourcesId = impl_->reserve();
  impl_->canvas = std::make_unique<PdfCanvas>(*impl_);
}

PdfWriter::~PdfWriter() = default;

Canvas& PdfWriter::beginPage(double width, double height) {
  auto& c = static_cast<PdfCanvas&>(*impl_->canvas);
  c.begin(height);
  impl_->pageWidth = width;
  impl_->pageHeight = height;
  return c;
}

int PdfWriter::endPage(bool later) {
  Impl& w = *impl_;
  auto& c = static_cast<PdfCanvas&>(*w.canvas);
  const int content = w.stream("", c.content());
  const int more = later ? w.reserve() : 0;
  std::string page = "<< /Type /Page /Parent " + ref(w.pagesId) + " /MediaBox [0 0 ";
  nums(page, {w.pageWidth, w.pageHeight});
  page += "] /Resources " + ref(w.resourcesId) + " /Contents ";
  page += later ? "[" + ref(content) + " " + ref(more) + "]" : ref(content);
  w.pageIds.push_back(w.object(page + " >>"));
  return more;
}

Canvas& PdfWriter::beginLater(double height) {
  auto& c = static_cast<PdfCanvas&>(*impl_->canvas);
  c.begin(height);
  return c;
}

void PdfWriter::endLater(int id) {
  impl_->stream("", static_cast<PdfCanvas&>(*impl_->canvas).content(), true, id);
}

bool PdfWriter::failed() const {
  return impl_->status != CAIRO_STATUS_SUCCESS;
}

void PdfWriter::setInfo(const std::string& title, const std::string& creator) {
  impl_->title = title;
  impl_->creator = creator;
}

cairo_status_t PdfWriter::finish() {
  Impl& w = *impl_;
  for (auto& f : w.fonts) w.embed(*f);
  std::string r = "<< /ProcSet [/PDF /Text /ImageB /ImageC]";
  if (!w.fonts.empty()) {
    r += " /Font <<";
    for (const auto& f : w.fonts) r += " /F" + std::to_string(f->index) + " " + ref(f->object);
    r += " >>";
  }
  if (!w.images.empty()) {
    std::vector<std::pair<int, std::string>> images;
    for (const auto& [s, img] : w.images) images.emplace_back(img.object, img.name);
    std::sort(images.begin(), images.end());
    r += " /XObject <<";
    for (const auto& [id, name] : images) r += " /" + name + " " + ref(id);
    r += " >>";
  }
  if (!w.shadings.empty()) {
    r += " /Shading <<";
    for (const auto& [name, id] : w.shadings) r += " /" + name + " " + ref(id);
    r += " >>";
  }
  w.object(r + " >>", w.resourcesId);
  std::string kids;
  for (int id : w.pageIds) kids += ref(id) + " ";
  w.object(
      "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(w.pageIds.size()) + " >>",
      w.pagesId);
  const int catalog = w.object("<< /Type /Catalog /Pages " + ref(w.pagesId) + " >>");
  // The creation time; SOURCE_DATE_EPOCH, when set, for files that build the same every time.
  std::time_t now = std::time(nullptr);
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"))
    now = static_cast<std::time_t>(std::strtoll(epoch, nullptr, 10));
  std::tm utc{};
  gmtime_r(&now, &utc);
  char date[32];
  std::strftime(date, sizeof date, "(D:%Y%m%d%H%M%SZ)", &utc);
  const int info =
      w.object("<< /Title " + textString(w.title) + " /Creator " + textString(w.creator) +
               " /Producer (Galvix Reports) /CreationDate " + date + " >>");
  const std::uint64_t xref = w.offset();
  w.out += "xref\n0 " + std::to_string(w.offsets.size()) + "\n0000000000 65535 f \n";
  for (std::size_t i = 1; i < w.offsets.size(); ++i) {
    char line[24];
    std::snprintf(line, sizeof line, "%010llu 00000 n \n",
                  static_cast<unsigned long long>(w.offsets[i]));
    w.out += line;
  }
  w.out += "trailer\n<< /Size " + std::to_string(w.offsets.size()) + " /Root " + ref(catalog) +
           " /Info " + ref(info) + " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  w.flush();
  return w.status;
}

}  // namespace galvix::render
