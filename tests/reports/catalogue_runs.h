// Every built catalogue report run on a demo database with each of its example settings, the
// statements it sends logged: for the tests that check every statement of every report.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <string>

#include "data/demo.h"
#include "db/connection.h"
#include "db/side_counts.h"
#include "frame/catalogue.h"
#include "frame/host.h"
#include "galvix/report.h"

namespace galvix::testing {

// Makes each report for the database at `path` written as `demo`, the catalogue's placeholders
// filled with the wedding, its reception and its first invoice, once per example setting, and
// gives it to `each` with its entry.
inline void forEachCatalogueReport(
    const std::string& path, const data::DemoSummary& demo,
    const std::function<void(const frame::CatalogueEntry&, ReportObject&)>& each) {
  std::string eventName, invoice = "0";
  {
    db::Connection c;
    c.open(path);
    db::Recordset rs;
    const std::string event = std::to_string(demo.weddingEventId);
    rs.open("SELECT EventName FROM Events WHERE EventID = " + event, c);
    eventName = rs.fields(0).value().toString();
    rs.open("SELECT InvoiceID FROM Invoices WHERE EventID = " + event + " ORDER BY InvoiceID", c);
    if (!rs.EOF_()) invoice = rs.fields(0).value().toString();
  }
  auto expand = [&](std::string v) {
    v = std::regex_replace(v, std::regex("\\{(Quote)?EventID\\}"),
                           std::to_string(demo.weddingEventId));
    v = std::regex_replace(v, std::regex("\\{(Quote)?EventName\\}"), eventName);
    v = std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyID\\}"),
                           std::to_string(demo.receptionPartyId));
    v = std::regex_replace(v, std::regex("\\{(RoomPlan)?PartyName\\}"), "Reception");
    return std::regex_replace(v, std::regex("\\{InvoiceID\\}"), invoice);
  };
  for (const auto& e : frame::catalogue()) {
    if (!e.built()) continue;
    std::vector<std::vector<std::pair<std::string, std::string>>> sets{e.example};
    for (const auto& [suffix, more] : e.moreExamples) sets.push_back(more);
    for (const auto& props : sets) {
      Report factory;
      auto r = factory.GetNewReport(e.name);
      ASSERT_TRUE(r) << e.name;
      r->set("ConnectionString", Variant(path));
      for (const auto& [k, v] : props) r->set(k, Variant(expand(v)));
      each(e, *r);
    }
  }
}

// Runs each report (as forEachCatalogueReport makes them); `each` gets the report's entry and the
// log of its run.
inline void runCatalogue(
    const std::string& path, const data::DemoSummary& demo,
    const std::function<void(const frame::CatalogueEntry&, const db::SideQueryLog&)>& each) {
  forEachCatalogueReport(path, demo, [&](const frame::CatalogueEntry& e, ReportObject& r) {
    db::SideQueryLog log;
    bool cancelled = false;
    try {
      r.run(&cancelled, std::make_shared<frame::RecordingHost>());
    } catch (const std::exception& x) {
      ADD_FAILURE() << e.name << ": " << x.what();
    }
    each(e, log);
  });
}

}  // namespace galvix::testing
