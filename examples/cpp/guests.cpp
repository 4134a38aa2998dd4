// The demo event's reception guest list as a PDF, through the C++ API.
//   ./guests events.sqlite guests.pdf
#include <galvix/report.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " EVENTS.sqlite OUT.pdf\n";
    return 2;
  }
  try {
    auto report = galvix::Report().GetNewReport("Guest List - with notes");
    report->set("ConnectionString", argv[1]);
    report->set("SQLWhere", "WHERE Parties.PartyID = 3");
    // The host sets what the page header shows: the event, the report's name and the selection.
    report->set("Title", "The Ashworth Wedding");
    report->set("ReportName", "Guest List");
    report->set("Criteria", "Reception");
    const galvix::doc::Document doc = report->run();
    galvix::writePdf(doc, argv[2]);
    std::cout << argv[2] << ": " << doc.pages.size() << " pages\n";
  } catch (const galvix::Error& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
  return 0;
}
