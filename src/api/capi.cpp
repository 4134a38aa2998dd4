// The C API: a thin shell over the C++ one that turns every exception into a status and a
// message kept per thread.
#include <cstring>
#include <new>
#include <sstream>

#include "frame/custom_settings.h"
#include "frame/frame_report.h"
#include "galvix/galvix.h"
#include "galvix/report.h"

struct galvix_report {
  std::unique_ptr<galvix::ReportObject> report;
  galvix::doc::Document document;
  bool ran = false;
  std::size_t streamed = 0;  // pages the last galvix_report_run_to_pdf wrote
  std::shared_ptr<galvix::HostServices> host;
  // The last rendering asked for, so a size query followed by the copy renders once.
  std::string cacheKey, cacheBytes;
};

namespace {

thread_local std::string t_lastError;

galvix_status fail(galvix_status status, std::string message) {
  t_lastError = std::move(message);
  return status;
}

// Runs `f`, mapping what it throws to a status; clears the last error first.
template <typename F>
galvix_status guarded(F&& f) {
  t_lastError.clear();
  try {
    return f();
  } catch (const galvix::PropertyError& e) {
    return fail(GALVIX_ERROR_PROPERTY, e.what());
  } catch (const galvix::DatabaseError& e) {
    return fail(GALVIX_ERROR_DATABASE, e.what());
  } catch (const galvix::ReportRunError& e) {
    return fail(GALVIX_ERROR_RUN, e.what());
  } catch (const galvix::OutputError& e) {
    return fail(GALVIX_ERROR_OUTPUT, e.what());
  } catch (const std::bad_alloc&) {
    return fail(GALVIX_ERROR_OUT_OF_MEMORY, "out of memory");
  } catch (const std::exception& e) {
    return fail(GALVIX_ERROR_INTERNAL, e.what());
  } catch (...) {
    return fail(GALVIX_ERROR_INTERNAL, "unknown error");
  }
}

galvix_status need(const void* p, const char* what) {
  if (p) return GALVIX_OK;
  return fail(GALVIX_ERROR_ARGUMENT, std::string(what) + " is null");
}

class CallbackHost : public galvix::HostServices {
 public:
  CallbackHost(galvix_message_fn fn, void* user) : fn_(fn), user_(user) {}
  void message(const std::string& text, const std::string& caption,
               galvix::MessageIcon icon) override {
    fn_(user_, text.c_str(), caption.c_str(), static_cast<int>(icon));
  }

 private:
  galvix_message_fn fn_;
  void* user_;
};

galvix_status setProperty(galvix_report* r, const char* property, const galvix::Variant& v) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (auto s = need(property, "property"); s != GALVIX_OK) return s;
  return guarded([&] {
    r->report->set(property, v);
    return GALVIX_OK;
  });
}

const std::vector<galvix::CatalogueInfo>& catalogue() {
  static const std::vector<galvix::CatalogueInfo> c = galvix::Report::catalogue();
  return c;
}

}  // namespace

extern "C" {

const char* galvix_version(void) {
  return galvix::version();
}

const char* galvix_last_error(void) {
  return t_lastError.c_str();
}

int galvix_catalogue_count(void) {
  int n = 0;
  (void)guarded([&] {
    n = static_cast<int>(catalogue().size());
    return GALVIX_OK;
  });
  return n;
}

const char* galvix_catalogue_name(int index) {
  if (index < 0 || index >= galvix_catalogue_count()) return nullptr;
  return catalogue()[static_cast<size_t>(index)].name.c_str();
}

int galvix_catalogue_available(int index) {
  if (index < 0 || index >= galvix_catalogue_count()) return 0;
  return catalogue()[static_cast<size_t>(index)].available ? 1 : 0;
}

galvix_report* galvix_report_new(const char* catalogue_name) {
  if (need(catalogue_name, "catalogue_name") != GALVIX_OK) return nullptr;
  galvix_report* out = nullptr;
  (void)guarded([&] {
    auto r = galvix::Report().GetNewReport(catalogue_name);
    if (!r)
      return fail(GALVIX_ERROR_UNKNOWN_REPORT,
                  std::string("the catalogue has no report named \"") + catalogue_name + "\"");
    // C hosts only write and render pages: a long run need not hold its pages' objects.
    r->setPackPages(true);
    out = new galvix_report{std::move(r), {}, false, {}, {}, {}};
    return GALVIX_OK;
  });
  return out;
}

void galvix_report_free(galvix_report* report) {
  delete report;
}

galvix_status galvix_report_set_string(galvix_report* r, const char* property, const char* value) {
  if (auto s = need(value, "value"); s != GALVIX_OK) return s;
  return setProperty(r, property, galvix::Variant(std::string(value)));
}
galvix_status galvix_report_set_long(galvix_report* r, const char* property, long long value) {
  // Integers that fit a Long are Longs, as the host's own would be.
  const galvix::Variant v = (value >= INT32_MIN && value <= INT32_MAX)
                                ? galvix::Variant(static_cast<std::int32_t>(value))
                                : galvix::Variant(static_cast<double>(value));
  return setProperty(r, property, v);
}
galvix_status galvix_report_set_double(galvix_report* r, const char* property, double value) {
  return setProperty(r, property, galvix::Variant(value));
}
galvix_status galvix_report_set_bool(galvix_report* r, const char* property, int value) {
  return setProperty(r, property, galvix::Variant::boolean(value != 0));
}
galvix_status galvix_report_set_null(galvix_report* r, const char* property) {
  return setProperty(r, property, galvix::Variant::null());
}

galvix_status galvix_report_set_locale(galvix_report* r, const char* locale) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  return guarded([&] {
    r->report->setLocale(locale ? locale : "");
    return GALVIX_OK;
  });
}

galvix_status galvix_report_set_time_limit(galvix_report* r, double seconds) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (!(seconds >= 0 && seconds < 1e9))
    return fail(GALVIX_ERROR_ARGUMENT, "the time limit must be 0 or more seconds");
  r->report->setTimeLimit(std::chrono::milliseconds(static_cast<long long>(seconds * 1000)));
  t_lastError.clear();
  return GALVIX_OK;
}

galvix_status galvix_report_set_message_handler(galvix_report* r, galvix_message_fn fn,
                                                void* user) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  return guarded([&] {
    r->host = fn ? std::make_shared<CallbackHost>(fn, user) : nullptr;
    return GALVIX_OK;
  });
}

galvix_status galvix_set_company_footer(const char* connection_string, galvix_report* r,
                                        const char* field) {
  if (auto s = need(connection_string, "connection_string"); s != GALVIX_OK) return s;
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (auto s = need(field, "field"); s != GALVIX_OK) return s;
  return guarded([&] {
    auto& designer = r->report->designerObject();
    if (!designer.findControl(field))
      return fail(GALVIX_ERROR_ARGUMENT,
                  designer.displayName() + " has no field named \"" + std::string(field) + "\"");
    try {
      galvix::frame::CCustomSettings().SetCompanyFooter(connection_string, designer.field(field));
    } catch (const std::exception& e) {
      return fail(GALVIX_ERROR_DATABASE, std::string("company footer: ") + e.what());
    }
    return GALVIX_OK;
  });
}

galvix_status galvix_report_run(galvix_report* r) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  r->ran = false;
  r->document = {};
  r->cacheKey.clear();
  r->cacheBytes.clear();
  return guarded([&] {
    bool cancelled = false;
    r->document = r->report->run(&cancelled, r->host);
    if (cancelled)
      return fail(GALVIX_ERROR_CANCELLED,
                  r->report->catalogueName() + ": the report ended without pages");
    r->ran = true;
    return GALVIX_OK;
  });
}

galvix_status galvix_report_run_to_pdf(galvix_report* r, const char* path) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (auto s = need(path, "path"); s != GALVIX_OK) return s;
  r->ran = false;
  r->streamed = 0;
  r->document = {};
  r->cacheKey.clear();
  r->cacheBytes.clear();
  return guarded([&] {
    galvix::PdfStream pdf(path);
    r->report->setPageSink(&pdf);
    struct Unset {
      galvix::ReportObject& r;
      ~Unset() { r.setPageSink(nullptr); }
    } unset{*r->report};
    bool cancelled = false;
    const galvix::doc::Document d = r->report->run(&cancelled, r->host);
    if (cancelled)
      return fail(GALVIX_ERROR_CANCELLED,
                  r->report->catalogueName() + ": the report ended without pages");
    pdf.commit(d.title);
    r->streamed = pdf.pageCount();
    return GALVIX_OK;
  });
}

int galvix_report_page_count(const galvix_report* r) {
  if (!r) return 0;
  return r->ran ? static_cast<int>(r->document.pageCount()) : static_cast<int>(r->streamed);
}

galvix_status galvix_report_write(galvix_report* r, const char* format, const char* path) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (auto s = need(format, "format"); s != GALVIX_OK) return s;
  if (auto s = need(path, "path"); s != GALVIX_OK) return s;
  if (!r->ran) return fail(GALVIX_ERROR_NOT_RUN, "the report has not run");
  const std::string f = format;
  if (f != "pdf" && f != "png" && f != "svg")
    return fail(GALVIX_ERROR_ARGUMENT, "unknown format \"" + f + "\" (pdf, png or svg)");
  return guarded([&] {
    if (f == "pdf") galvix::writePdf(r->document, path);
    if (f == "png") galvix::writePng(r->document, path);
    if (f == "svg") galvix::writeSvg(r->document, path);
    return GALVIX_OK;
  });
}

galvix_status galvix_report_render(galvix_report* r, const char* format, int page, void* buffer,
                                   size_t capacity, size_t* size) {
  if (auto s = need(r, "report"); s != GALVIX_OK) return s;
  if (auto s = need(format, "format"); s != GALVIX_OK) return s;
  if (auto s = need(size, "size"); s != GALVIX_OK) return s;
  *size = 0;
  if (!r->ran) return fail(GALVIX_ERROR_NOT_RUN, "the report has not run");
  const std::string f = format;
  if (f != "pdf" && f != "png" && f != "svg")
    return fail(GALVIX_ERROR_ARGUMENT, "unknown format \"" + f + "\" (pdf, png or svg)");
  const int pages = std::max<int>(1, static_cast<int>(r->document.pageCount()));
  if (f != "pdf" && (page < 0 || page >= pages))
    return fail(GALVIX_ERROR_ARGUMENT, "page " + std::to_string(page) +
                                           " does not exist (pages 0 to " +
                                           std::to_string(pages - 1) + ")");
  return guarded([&] {
    const std::string key = f == "pdf" ? f : f + ":" + std::to_string(page);
    if (r->cacheKey != key) {
      std::ostringstream out;
      if (f == "pdf") galvix::writePdf(r->document, out);
      if (f == "png") galvix::writePng(r->document, static_cast<size_t>(page), out);
      if (f == "svg") galvix::writeSvg(r->document, static_cast<size_t>(page), out);
      r->cacheBytes = std::move(out).str();
      r->cacheKey = key;
    }
    *size = r->cacheBytes.size();
    if (!buffer || capacity < r->cacheBytes.size())
      return fail(GALVIX_ERROR_BUFFER_TOO_SMALL, "the buffer holds " + std::to_string(capacity) +
                                                     " bytes; " + std::to_string(*size) +
                                                     " are needed");
    std::memcpy(buffer, r->cacheBytes.data(), r->cacheBytes.size());
    return GALVIX_OK;
  });
}

}  // extern "C"
