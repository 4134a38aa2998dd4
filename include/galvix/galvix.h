/* The C API of Galvix Reports: every language that can call C can create a catalogue report,
 * set its properties, run it and get its pages as PDF, PNG or SVG, in files or in memory.
 *
 *   galvix_report* r = galvix_report_new("Guest List - with notes");
 *   galvix_report_set_string(r, "ConnectionString", "events.sqlite");
 *   galvix_report_set_string(r, "SQLWhere", "WHERE Parties.PartyID = 3");
 *   if (galvix_report_run(r) == GALVIX_OK) galvix_report_write(r, "pdf", "guests.pdf");
 *   else fprintf(stderr, "%s\n", galvix_last_error());
 *   galvix_report_free(r);
 *
 * Every function returns a status (or null) and never lets a C++ exception out; the message of
 * the last failure on the calling thread is galvix_last_error(). A report object may be used by
 * one thread at a time; different reports may run on different threads at once. */
#ifndef GALVIX_GALVIX_H
#define GALVIX_GALVIX_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct galvix_report galvix_report;

typedef enum galvix_status {
  GALVIX_OK = 0,
  GALVIX_ERROR_ARGUMENT = 1,       /* a null pointer, an unknown format, a page out of range */
  GALVIX_ERROR_UNKNOWN_REPORT = 2, /* not a catalogue name, or a name that has no report */
  GALVIX_ERROR_PROPERTY = 3,       /* the report has no such property or cannot take the value */
  GALVIX_ERROR_DATABASE = 4,       /* the database cannot be opened or a statement failed */
  GALVIX_ERROR_RUN = 5,            /* the report failed otherwise (time limit, handler error) */
  GALVIX_ERROR_CANCELLED = 6, /* the report ended itself without pages (its message said why) */
  GALVIX_ERROR_NOT_RUN = 7,   /* output asked for before a successful run */
  GALVIX_ERROR_OUTPUT = 8,    /* the file could not be written */
  GALVIX_ERROR_BUFFER_TOO_SMALL = 9, /* *size holds the size needed */
  GALVIX_ERROR_OUT_OF_MEMORY = 10,
  GALVIX_ERROR_INTERNAL = 11
} galvix_status;

/* Message box icons passed to a message handler. */
enum {
  GALVIX_ICON_NONE = 0,
  GALVIX_ICON_CRITICAL,
  GALVIX_ICON_QUESTION,
  GALVIX_ICON_EXCLAMATION,
  GALVIX_ICON_INFORMATION
};

/* "5.1.0" */
const char* galvix_version(void);

/* The message of the last call that failed on this thread ("" when the last call succeeded).
 * Valid until the next call on this thread. */
const char* galvix_last_error(void);

/* Catalogue names, in catalogue order: index 0 .. galvix_catalogue_count() - 1; null past the
 * end. galvix_catalogue_available tells whether galvix_report_new gives an object for it. */
int galvix_catalogue_count(void);
const char* galvix_catalogue_name(int index);
int galvix_catalogue_available(int index);

/* A new report for a catalogue name (exact, case-sensitive), or null when the catalogue has no
 * report of that name (galvix_last_error says so). */
galvix_report* galvix_report_new(const char* catalogue_name);
void galvix_report_free(galvix_report* report);

/* Properties by name (case-insensitive), converted to the property's type. */
galvix_status galvix_report_set_string(galvix_report* report, const char* property,
                                       const char* value);
galvix_status galvix_report_set_long(galvix_report* report, const char* property, long long value);
galvix_status galvix_report_set_double(galvix_report* report, const char* property, double value);
galvix_status galvix_report_set_bool(galvix_report* report, const char* property, int value);
galvix_status galvix_report_set_null(galvix_report* report, const char* property);

/* "en-US", "en-GB" or "de-DE" for this report's runs; null or "" for the process's. */
galvix_status galvix_report_set_locale(galvix_report* report, const char* locale);
/* A run that takes longer fails with GALVIX_ERROR_RUN; 0: no limit. */
galvix_status galvix_report_set_time_limit(galvix_report* report, double seconds);

/* Messages the report shows (message boxes). Without a handler they go to stderr. */
typedef void (*galvix_message_fn)(void* user, const char* text, const char* caption, int icon);
galvix_status galvix_report_set_message_handler(galvix_report* report, galvix_message_fn fn,
                                                void* user);

/* Fills the report's text field `field` with the company footer read from the database
 * (CCustomSettings.SetCompanyFooter); the field keeps its design when the database has none. */
galvix_status galvix_set_company_footer(const char* connection_string, galvix_report* report,
                                        const char* field);

/* Runs the report and keeps its pages for the calls below. */
galvix_status galvix_report_run(galvix_report* report);
/* Pages of the last successful run, 0 before one. */
int galvix_report_page_count(const galvix_report* report);

/* format: "pdf" (one file), "png" or "svg" (one file per page, path-1.png, path-2.png, ...). */
galvix_status galvix_report_write(galvix_report* report, const char* format, const char* path);

/* Runs the report and writes it to the PDF file `path` while it runs: each page is drawn on a
 * thread of its own as soon as it is final, and none is kept, so this is the quickest way to a
 * file and its memory stays flat. The file appears only when the run succeeds. Afterwards
 * galvix_report_page_count gives the pages written; galvix_report_write and _render need
 * galvix_report_run. */
galvix_status galvix_report_run_to_pdf(galvix_report* report, const char* path);

/* Into the caller's memory: the PDF (page ignored), or page `page` (0-based) as PNG or SVG.
 * *size receives the number of bytes; when `capacity` is too small (a null buffer with capacity
 * 0 asks for the size) nothing is copied and GALVIX_ERROR_BUFFER_TOO_SMALL is returned. */
galvix_status galvix_report_render(galvix_report* report, const char* format, int page,
                                   void* buffer, size_t capacity, size_t* size);

#ifdef __cplusplus
}
#endif

#endif
