/* A host that loads the library at run time, as a plug-in loader or another language's FFI
 * would: dlopen, dlsym, and nothing linked. Renders a report into its own buffer and checks the
 * error codes and messages of a bad report name, a bad property and a bad database.
 *   capi_dlopen LIBGALVIX.so EVENTS.sqlite */
#define _GNU_SOURCE /* memmem */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "galvix/galvix.h"

static int failures = 0;

#define CHECK(cond, ...)                                         \
  do {                                                           \
    if (!(cond)) {                                               \
      fprintf(stderr, "%s:%d: %s: ", __FILE__, __LINE__, #cond); \
      fprintf(stderr, __VA_ARGS__);                              \
      fprintf(stderr, "\n");                                     \
      ++failures;                                                \
    }                                                            \
  } while (0)

/* dlsym gives an object pointer; POSIX's way of turning it into a function pointer. */
#define LOAD(lib, name)                            \
  __typeof__(&name) p_##name;                      \
  *(void**)(&p_##name) = dlsym(lib, #name);        \
  if (!p_##name) {                                 \
    fprintf(stderr, "missing symbol %s\n", #name); \
    return 1;                                      \
  }

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s LIBGALVIX.so EVENTS.sqlite\n", argv[0]);
    return 2;
  }
  void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    fprintf(stderr, "dlopen: %s\n", dlerror());
    return 1;
  }
  LOAD(lib, galvix_version)
  LOAD(lib, galvix_last_error)
  LOAD(lib, galvix_report_new)
  LOAD(lib, galvix_report_free)
  LOAD(lib, galvix_report_set_string)
  LOAD(lib, galvix_report_set_long)
  LOAD(lib, galvix_report_run)
  LOAD(lib, galvix_report_page_count)
  LOAD(lib, galvix_report_render)

  const char* (*err)(void) = p_galvix_last_error;
  CHECK(strcmp(p_galvix_version(), "5.1.0") == 0, "version %s", p_galvix_version());

  /* A name the catalogue does not hold: no object, and a message that quotes it. */
  galvix_report* none = p_galvix_report_new("Guest List - with notez");
  CHECK(none == NULL, "an object for an unknown name");
  CHECK(strstr(err(), "Guest List - with notez") != NULL, "message: %s", err());

  galvix_report* r = p_galvix_report_new("Guest List - with notes");
  CHECK(r != NULL, "no report: %s", err());
  if (!r) return 1;
  CHECK(err()[0] == '\0', "an error after success: %s", err());

  /* A property the report does not have, and one that cannot take the value. */
  CHECK(p_galvix_report_set_string(r, "NoSuchProperty", "x") == GALVIX_ERROR_PROPERTY, "status");
  CHECK(strstr(err(), "NoSuchProperty") != NULL, "message: %s", err());
  CHECK(p_galvix_report_set_string(r, "EventID", "not a number") == GALVIX_ERROR_PROPERTY,
        "EventID took text");

  /* Nothing to render before a run. */
  size_t size = 0;
  CHECK(p_galvix_report_render(r, "pdf", 0, NULL, 0, &size) == GALVIX_ERROR_NOT_RUN, "status");

  /* A database that is not there. */
  CHECK(p_galvix_report_set_string(r, "ConnectionString", "/nonexistent/folder/events.sqlite") ==
            GALVIX_OK,
        "%s", err());
  CHECK(p_galvix_report_run(r) == GALVIX_ERROR_DATABASE, "status: %s", err());
  CHECK(strstr(err(), "/nonexistent/folder/events.sqlite") != NULL, "message: %s", err());

  /* The real one, into a buffer sized by asking first. */
  CHECK(p_galvix_report_set_string(r, "ConnectionString", argv[2]) == GALVIX_OK, "%s", err());
  CHECK(p_galvix_report_set_string(r, "SQLWhere", "WHERE Parties.PartyID = 3") == GALVIX_OK, "%s",
        err());
  CHECK(p_galvix_report_run(r) == GALVIX_OK, "run: %s", err());
  CHECK(p_galvix_report_page_count(r) >= 1, "pages %d", p_galvix_report_page_count(r));
  CHECK(p_galvix_report_render(r, "pdf", 0, NULL, 0, &size) == GALVIX_ERROR_BUFFER_TOO_SMALL,
        "size query");
  CHECK(size > 1000, "size %zu", size);
  unsigned char* buf = malloc(size);
  size_t written = 0;
  CHECK(
      p_galvix_report_render(r, "pdf", 0, buf, size - 1, &written) == GALVIX_ERROR_BUFFER_TOO_SMALL,
      "one byte short");
  CHECK(p_galvix_report_render(r, "pdf", 0, buf, size, &written) == GALVIX_OK, "%s", err());
  CHECK(written == size && memcmp(buf, "%PDF-", 5) == 0, "not a PDF");
  CHECK(memmem(buf, written, "%%EOF", 5) != NULL, "PDF without its end");
  free(buf);

  /* One page as PNG; a page that does not exist. */
  CHECK(p_galvix_report_render(r, "png", 0, NULL, 0, &size) == GALVIX_ERROR_BUFFER_TOO_SMALL &&
            size > 100,
        "png size %zu", size);
  CHECK(p_galvix_report_render(r, "png", 9999, NULL, 0, &size) == GALVIX_ERROR_ARGUMENT, "page");
  CHECK(p_galvix_report_render(r, "gif", 0, NULL, 0, &size) == GALVIX_ERROR_ARGUMENT, "format");
  CHECK(p_galvix_report_run(NULL) == GALVIX_ERROR_ARGUMENT, "null report");

  p_galvix_report_free(r);
  dlclose(lib);
  if (failures) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures ? 1 : 0;
}
