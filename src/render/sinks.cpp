#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <thread>

#include "render/page_renderer.h"
#include "render/pdf_writer.h"
#include "render/render.h"

namespace galvix::render {

namespace {

thread_local bool cairoPdf = false;  // setCairoPdf

// Temporary files being written, kept where a signal handler can reach them: fixed slots of
// plain characters, since the handler may neither lock nor allocate.
struct PendingSlot {
  std::atomic<bool> used{false};
  char path[4096];
};
PendingSlot g_pending[32];

int claimSlot(const std::string& path) {
  if (path.size() >= sizeof(g_pending[0].path)) return -1;
  for (int i = 0; i < 32; ++i) {
    bool expected = false;
    if (g_pending[i].used.load() || !g_pending[i].used.compare_exchange_strong(expected, true))
      continue;
    std::memcpy(g_pending[i].path, path.c_str(), path.size() + 1);
    return i;
  }
  return -1;  // more files in flight than slots: that one is only removed on the normal paths
}

void releaseSlot(int i) {
  if (i >= 0) g_pending[i].used.store(false);
}

bool processAlive(long pid) {
  return pid > 0 && (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM);
}

// Temporary files of earlier runs that were killed outright (".name.<pid>.XXXXXX" whose process
// is gone) are removed before a new one is made beside them.
void removeStaleTemporaries(const std::filesystem::path& dir, const std::string& name) {
  const std::string prefix = "." + name + ".";
  std::error_code ec;
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string f = it->path().filename().string();
    if (f.size() <= prefix.size() + 7 || f.compare(0, prefix.size(), prefix) != 0) continue;
    const std::string rest = f.substr(prefix.size());  // "<pid>.XXXXXX"
    const auto dot = rest.find('.');
    if (dot == std::string::npos || dot == 0 || rest.size() - dot - 1 != 6 ||
        rest.find_first_not_of("0123456789") != dot)
      continue;
    if (!processAlive(std::stol(rest.substr(0, dot)))) std::filesystem::remove(it->path(), ec);
  }
}

// Where the report goes. A regular file (or a new one) is written under a temporary name in the
// same folder and renamed into place on commit, so readers never see a partial file and a
// failure leaves the old one. A symbolic link is written through to its target. A FIFO, a device
// or a socket is written directly: replacing it would destroy it.
class OutputFile {
 public:
  explicit OutputFile(std::string path) : path_(std::move(path)) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path target = path_;
    for (int hops = 0; fs::is_symlink(fs::symlink_status(target, ec)); ++hops) {
      if (hops == 40) throw RenderError("cannot write '" + path_ + "': too many symbolic links");
      const fs::path link = fs::read_symlink(target, ec);
      target = link.is_absolute() ? link : target.parent_path() / link;
    }
    struct stat st {};
    if (::stat(target.c_str(), &st) == 0) {
      if (S_ISDIR(st.st_mode))
        throw RenderError("cannot write '" + path_ +
                          "': it is a folder; give a file name for the output");
      if (!S_ISREG(st.st_mode)) {
        file_ = std::fopen(target.c_str(), "wb");
        if (!file_) throw RenderError("cannot write '" + path_ + "': " + std::strerror(errno));
        direct_ = true;
        return;
      }
    }
    target_ = target.string();
    const fs::path dir = target.has_parent_path() ? target.parent_path() : ".";
    const std::string name = target.filename().string();
    removeStaleTemporaries(dir, name);
    tmp_ = (dir / ("." + name + "." + std::to_string(::getpid()) + ".XXXXXX")).string();
    // A signal between making the file and recording it would leave the file behind: the
    // signals that remove partial outputs wait until it is recorded.
    sigset_t held, before;
    sigemptyset(&held);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&held, sig);
    pthread_sigmask(SIG_BLOCK, &held, &before);
    int fd = mkstemp(tmp_.data());
    const int made = errno;
    if (fd >= 0) slot_ = claimSlot(tmp_);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (fd < 0)
      throw RenderError("cannot create a temporary file for '" + path_ +
                        "': " + std::strerror(made));
    // mkstemp makes the file private; give it the mode the file had, or a plain create's.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, S_ISREG(st.st_mode) ? (st.st_mode & 07777) : (0666 & ~mask));
    file_ = fdopen(fd, "wb");
    if (!file_) {
      ::close(fd);
      discard();
      throw RenderError("cannot open a temporary file for '" + path_ + "'");
    }
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() {
    if (file_) std::fclose(file_);
    if (!committed_) discard();
  }

  static cairo_status_t write(void* self, const unsigned char* data, unsigned int length) {
    auto* f = static_cast<OutputFile*>(self);
    if (std::fwrite(data, 1, length, f->file_) != length) {
      f->error_ = errno;
      return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
  }

  void commit(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
      throw RenderError("cannot write '" + path_ +
                        "': " + (error_ ? std::strerror(error_) : cairo_status_to_string(status)));
    // A pipe or a device cannot be synced; its reader has the bytes once they are flushed.
    const bool flushed = std::fflush(file_) == 0 && (direct_ || fsync(fileno(file_)) == 0);
    const int err = errno;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (!flushed || !closed)
      throw RenderError("cannot write '" + path_ + "': " + std::strerror(flushed ? errno : err));
    if (!direct_ && std::rename(tmp_.c_str(), target_.c_str()) != 0)
      throw RenderError("cannot write '" + path_ + "': " + std::strerror(errno));
    committed_ = true;
    releaseSlot(slot_);
    slot_ = -1;
  }

 private:
  void discard() {
    if (direct_) return;
    std::remove(tmp_.c_str());
    releaseSlot(slot_);
    slot_ = -1;
  }

  std::string path_, target_, tmp_;
  std::FILE* file_ = nullptr;
  int error_ = 0;
  int slot_ = -1;
  bool direct_ = false;
  bool committed_ = false;
};

extern "C" void removeOnSignal(int sig) {
  removePartialOutputs();
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

double pt(std::int32_t twips) {
  return twips / 20.0;
}

// A document without pages still gives a valid file: one blank page.
std::size_t pageCountOf(const doc::Document& d) {
  return std::max<std::size_t>(1, d.pageCount());
}
// Page `i`: the document's own, a packed one unpacked into `scratch`, or the blank page.
const doc::Page& pageAt(const doc::Document& d, std::size_t i, doc::Page& scratch) {
  static const doc::Page blank;
  return d.pageCount() == 0 ? blank : d.page(i, scratch);
}

void paintWhite(cairo_t* cr) {
  cairo_save(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_restore(cr);
}

std::string pagePath(const std::string& prefix, std::size_t i, const char* ext) {
  return prefix + "-" + std::to_string(i + 1) + ext;
}

}  // namespace

void setCairoPdf(bool on) {
  cairoPdf = on;
}

void removePartialOutputs() noexcept {
  for (auto& slot : g_pending)
    if (slot.used.load()) ::unlink(slot.path);
}

void removePartialOutputsOnSignals() {
  for (int sig : {SIGINT, SIGTERM, SIGHUP}) std::signal(sig, removeOnSignal);
}

namespace {

// The document as a PDF into `write`, drawn by our writer; the first failure to write.
cairo_status_t ownPdfTo(const doc::Document& d, cairo_write_func_t write, void* closure) {
  PdfWriter writer(write, closure, d.title, d.creator);
  PageRenderer renderer;
  doc::Page scratch;
  for (std::size_t i = 0, n = pageCountOf(d); i < n; ++i) {
    const doc::Page& page = pageAt(d, i, scratch);
    renderer.draw(writer.beginPage(pt(page.width), pt(page.height)), page);
    (void)writer.endPage();
  }
  return writer.finish();
}

// The document as a PDF into `write`; the final status.
cairo_status_t pdfTo(const doc::Document& d, cairo_write_func_t write, void* closure) {
  if (!cairoPdf) return ownPdfTo(d, write, closure);
  doc::Page scratch;
  const doc::Page& first = pageAt(d, 0, scratch);
  cairo_surface_t* s =
      cairo_pdf_surface_create_for_stream(write, closure, pt(first.width), pt(first.height));
  cairo_pdf_surface_set_metadata(s, CAIRO_PDF_METADATA_TITLE, d.title.c_str());
  cairo_pdf_surface_set_metadata(s, CAIRO_PDF_METADATA_CREATOR, d.creator.c_str());
  {
    PageRenderer renderer;
    for (std::size_t i = 0, n = pageCountOf(d); i < n; ++i) {
      const doc::Page& page = pageAt(d, i, scratch);
      cairo_pdf_surface_set_size(s, pt(page.width), pt(page.height));
      cairo_t* cr = cairo_create(s);
      // Paper white. It also keeps cairo's record of the page's drawn area to one rectangle,
      // which is much faster on pages with hundreds of items.
      paintWhite(cr);
      renderer.draw(cr, page);
      cairo_show_page(cr);
      cairo_destroy(cr);
    }
  }
  cairo_surface_finish(s);
  const cairo_status_t status = cairo_surface_status(s);
  cairo_surface_destroy(s);
  return status;
}

}  // namespace

}  // namespace galvix::render

namespace galvix {

using render::OutputFile;
using render::PageRenderer;
using render::PdfWriter;
using render::pt;
using render::RenderError;
using render::SimpleLine;
using render::simpleLine;

struct PdfStream::Impl {
  explicit Impl(const std::string& path) { file.emplace(path); }

  std::optional<OutputFile> file;  // reset when the stream is given up: nothing is left
  std::thread drawing;
  std::mutex m;
  std::condition_variable cv;
  struct Job {
    doc::Page page;
    bool later = false;
    std::size_t index = 0;
  };
  static constexpr std::size_t kQueued = 8;  // pages waiting to be drawn, at most
  std::deque<Job> queue;
  bool finishing = false, stopping = false;
  std::exception_ptr error;  // why drawing failed
  cairo_status_t status = CAIRO_STATUS_SUCCESS;
  std::string title, creator;
  // The run's side: pages given, where this run's began, and the items drawn once the run ends.
  std::size_t pages = 0, runStart = 0;
  bool cancelledAfterPages = false;
  struct Later {
    std::size_t page;
    doc::Page items;                   // the page's size, and its later items in their order
    std::vector<std::size_t> numbers;  // their numbers on the page
  };
  std::vector<Later> laters;
  std::map<std::size_t, std::size_t> laterOf;  // page -> its entry in `laters`

  // The drawing thread: pages as they come, then the later items, then the rest of the file.
  void draw() {
    try {
      PdfWriter writer(&OutputFile::write, &*file, {}, {});
      PageRenderer renderer;
      // The thread's fonts are set up while the run gets its first page ready.
      SimpleLine warm;
      (void)simpleLine("Ag", doc::Font{}, warm);
      std::map<std::size_t, int> laterIds;
      for (;;) {
        Job job;
        {
          std::unique_lock lock(m);
          cv.wait(lock, [&] { return stopping || finishing || !queue.empty(); });
          if (stopping) return;
          if (queue.empty()) break;  // finishing, and every page drawn
          job = std::move(queue.front());
          queue.pop_front();
        }
        cv.notify_all();
        renderer.draw(writer.beginPage(pt(job.page.width), pt(job.page.height)), job.page);
        const int id = writer.endPage(job.later);
        if (job.later) laterIds[job.index] = id;
        if (writer.failed()) break;  // finish() says why
      }
      for (const Later& l : laters) {
        renderer.draw(writer.beginLater(pt(l.items.height)), l.items);
        writer.endLater(laterIds.at(l.page));
      }
      writer.setInfo(title, creator);
      status = writer.finish();

      if (status != CAIRO_STATUS_SUCCESS) file->commit(status);  // throws, naming the file
    } catch (...) {
      std::lock_guard lock(m);
      error = std::current_exception();
      stopping = true;
      cv.notify_all();
    }
  }

  void rethrow() {
    if (error) std::rethrow_exception(error);
  }

  // Gives the file up: drawing stops, and the temporary file goes.
  void stop() {
    {
      std::lock_guard lock(m);
      stopping = true;
    }
    cv.notify_all();
    if (drawing.joinable()) drawing.join();
    file.reset();
  }
};

PdfStream::PdfStream(const std::string& path) : impl_(std::make_unique<Impl>(path)) {
  impl_->drawing = std::thread([this] { impl_->draw(); });
}

PdfStream::~PdfStream() {
  impl_->stop();
}

void PdfStream::page(doc::Page&& page, std::vector<std::size_t> later) {
  Impl& s = *impl_;
  if (s.finishing) throw RenderError("the PDF is already committed");
  Impl::Job job;
  job.index = s.pages++;
  if (!later.empty()) {
    // Page totals are drawn once known; until then their place on the page stays empty.
    std::sort(later.begin(), later.end());
    later.erase(std::unique(later.begin(), later.end()), later.end());
    Impl::Later l{job.index, {}, {}};
    l.items.width = page.width;
    l.items.height = page.height;
    for (std::size_t i : later) {
      if (i >= page.items.size()) continue;
      // Kept until the end, on every page of a long run: only what draws it.
      l.items.items.push_back({std::move(page.items[i].content), {}, {}, -1});
      page.items[i].content = doc::Text{};
      l.numbers.push_back(i);
    }
    l.items.items.shrink_to_fit();
    s.laterOf[job.index] = s.laters.size();
    s.laters.push_back(std::move(l));
    job.later = true;
  }
  job.page = std::move(page);
  std::unique_lock lock(s.m);
  s.cv.wait(lock, [&] { return s.error || s.stopping || s.queue.size() < Impl::kQueued; });
  s.rethrow();
  if (s.stopping) throw RenderError("the PDF was given up; nothing written");
  s.queue.push_back(std::move(job));
  lock.unlock();
  s.cv.notify_all();
}

void PdfStream::fill(std::size_t page, std::size_t item, std::string text) {
  Impl& s = *impl_;
  const auto it = s.laterOf.find(s.runStart + page);
  if (it == s.laterOf.end()) return;
  Impl::Later& l = s.laters[it->second];
  for (std::size_t k = 0; k < l.numbers.size(); ++k)
    if (l.numbers[k] == item)
      if (auto* t = std::get_if<doc::Text>(&l.items.items[k].content)) t->text = std::move(text);
}

void PdfStream::runEnded() {
  impl_->runStart = impl_->pages;
}

void PdfStream::runCancelled() {
  impl_->cancelledAfterPages = true;
}

std::size_t PdfStream::pageCount() const {
  return impl_->pages;
}

void PdfStream::commit(const std::string& title, const std::string& creator) {
  Impl& s = *impl_;
  try {
    if (!s.file) throw RenderError("the PDF was given up; nothing written");
    if (s.cancelledAfterPages)
      throw RenderError("nothing written: a run was cancelled after it had given pages to the PDF");
    if (s.pages == 0) page(doc::Page{}, {});  // a valid file: one blank page
    {
      std::lock_guard lock(s.m);
      s.title = title;
      s.creator = creator;
      s.finishing = true;
    }
    s.cv.notify_all();
    s.drawing.join();
    s.rethrow();
    s.file->commit(s.status);
  } catch (...) {
    s.stop();
    throw;
  }
}

}  // namespace galvix

namespace galvix::render {

namespace {

void checkDpi(double dpi, const std::string& what) {
  if (!(dpi > 0 && dpi <= 2400))
    throw RenderError("writePng '" + what + "': resolution " + std::to_string(dpi) +
                      " dpi is out of range");
}

// One page as a PNG into `write`.
cairo_status_t pngTo(const doc::Page& page, double dpi, cairo_write_func_t write, void* closure) {
  const double scale = dpi / 72.0;
  const int w = std::max(1, static_cast<int>(std::ceil(pt(page.width) * scale - 1e-6)));
  const int h = std::max(1, static_cast<int>(std::ceil(pt(page.height) * scale - 1e-6)));
  cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
  cairo_t* cr = cairo_create(s);
  paintWhite(cr);
  cairo_scale(cr, scale, scale);
  PageRenderer().draw(cr, page);
  cairo_destroy(cr);
  cairo_status_t status = cairo_surface_status(s);
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_write_to_png_stream(s, write, closure);
  cairo_surface_destroy(s);
  return status;
}

// One page as an SVG into `write`.
cairo_status_t svgTo(const doc::Page& page, cairo_write_func_t write, void* closure) {
  cairo_surface_t* s =
      cairo_svg_surface_create_for_stream(write, closure, pt(page.width), pt(page.height));
  cairo_svg_surface_set_document_unit(s, CAIRO_SVG_UNIT_PT);
  cairo_t* cr = cairo_create(s);
  paintWhite(cr);
  PageRenderer().draw(cr, page);
  cairo_destroy(cr);
  cairo_surface_finish(s);
  const cairo_status_t status = cairo_surface_status(s);
  cairo_surface_destroy(s);
  return status;
}

cairo_status_t toStream(void* out, const unsigned char* data, unsigned int length) {
  auto& os = *static_cast<std::ostream*>(out);
  os.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(length));
  return os ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

void checkStream(cairo_status_t status, std::ostream& out, const char* what) {
  if (status != CAIRO_STATUS_SUCCESS || !out.flush())
    throw RenderError(std::string("cannot write the ") + what + " to the stream: " +
                      (out ? cairo_status_to_string(status) : "the stream failed"));
}

const doc::Page& pageOf(const doc::Document& d, std::size_t page, doc::Page& scratch) {
  if (page >= pageCountOf(d))
    throw RenderError("page " + std::to_string(page + 1) + " does not exist: the document has " +
                      std::to_string(pageCountOf(d)) + " page(s)");
  return pageAt(d, page, scratch);
}

}  // namespace

void writePdf(const doc::Document& d, const std::string& path) {
  OutputFile file(path);
  file.commit(pdfTo(d, &OutputFile::write, &file));
}

void writePdf(const doc::Document& d, std::ostream& out) {
  checkStream(pdfTo(d, &toStream, &out), out, "PDF");
}

void writePng(const doc::Document& d, std::size_t page, std::ostream& out, double dpi) {
  checkDpi(dpi, "stream");
  doc::Page scratch;
  checkStream(pngTo(pageOf(d, page, scratch), dpi, &toStream, &out), out, "PNG");
}

void writeSvg(const doc::Document& d, std::size_t page, std::ostream& out) {
  doc::Page scratch;
  checkStream(svgTo(pageOf(d, page, scratch), &toStream, &out), out, "SVG");
}

std::vector<std::string> writePng(const doc::Document& d, const std::string& pathPrefix,
                                  double dpi) {
  checkDpi(dpi, pathPrefix);
  std::vector<std::string> paths;
  doc::Page scratch;
  for (std::size_t i = 0, n = pageCountOf(d); i < n; ++i) {
    const std::string path = pagePath(pathPrefix, i, ".png");
    OutputFile file(path);
    file.commit(pngTo(pageAt(d, i, scratch), dpi, &OutputFile::write, &file));
    paths.push_back(path);
  }
  return paths;
}

std::vector<std::string> writeSvg(const doc::Document& d, const std::string& pathPrefix) {
  std::vector<std::string> paths;
  doc::Page scratch;
  for (std::size_t i = 0, n = pageCountOf(d); i < n; ++i) {
    const std::string path = pagePath(pathPrefix, i, ".svg");
    OutputFile file(path);
    file.commit(svgTo(pageAt(d, i, scratch), &OutputFile::write, &file));
    paths.push_back(path);
  }
  return paths;
}

}  // namespace galvix::render
