/* The demo event's reception guest list as a PDF, through the C API.
 *   cc guests.c $(pkg-config --cflags --libs galvix) -o guests
 *   ./guests events.sqlite guests.pdf */
#include <galvix/galvix.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s EVENTS.sqlite OUT.pdf\n", argv[0]);
    return 2;
  }
  galvix_report* r = galvix_report_new("Guest List - with notes");
  if (!r) {
    fprintf(stderr, "%s\n", galvix_last_error());
    return 1;
  }
  /* The host sets what the page header shows: the event, the report's name and the selection. */
  if (galvix_report_set_string(r, "ConnectionString", argv[1]) != GALVIX_OK ||
      galvix_report_set_string(r, "SQLWhere", "WHERE Parties.PartyID = 3") != GALVIX_OK ||
      galvix_report_set_string(r, "Title", "The Ashworth Wedding") != GALVIX_OK ||
      galvix_report_set_string(r, "ReportName", "Guest List") != GALVIX_OK ||
      galvix_report_set_string(r, "Criteria", "Reception") != GALVIX_OK ||
      galvix_report_run(r) != GALVIX_OK || galvix_report_write(r, "pdf", argv[2]) != GALVIX_OK) {
    fprintf(stderr, "%s\n", galvix_last_error());
    galvix_report_free(r);
    return 1;
  }
  printf("%s: %d pages\n", argv[2], galvix_report_page_count(r));
  galvix_report_free(r);
  return 0;
}
