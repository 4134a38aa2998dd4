// galvix list / render / render-all: the catalogue reports from the command line.
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>

#include "cli/command.h"
#include "db/connection.h"
#include "db/connection_impl.h"
#include "frame/catalogue.h"
#include "galvix/report.h"
#include "runtime/regional.h"

namespace galvix::cli {
namespace {
namespace fs = std::filesystem;

// A bare path must exist; anything with '=' is taken as a connection string.
std::string connectionFor(const std::string& db) {
  if (db.find('=') != std::string::npos) return db;
  if (!fs::exists(db)) throw Exit{1, "galvix: database file not found: " + db};
  return db;
}

std::string substitute(std::string v, const std::map<std::string, std::string>& vars) {
  for (const auto& [k, val] : vars)
    for (size_t p = v.find(k); p != std::string::npos; p = v.find(k, p + val.size()))
      v.replace(p, k.size(), val);
  return v;
}

// The event and party the examples refer to: the first event, and its party with the most
// invited guests.
std::map<std::string, std::string> exampleIds(const std::string& conn) {
  std::map<std::string, std::string> ids = {{"{EventID}", "1"}, {"{PartyID}", "1"}};
  db::Connection c;
  c.open(conn);
  db::Recordset rs;
  rs.open("SELECT Events.EventID, Events.EventName FROM Events ORDER BY Events.EventID", c);
  if (!rs.EOF_()) {
    ids["{EventID}"] = rs.value("EventID").toString();
    ids["{EventName}"] = rs.value("EventName").displayText();
  }
  rs.close();
  rs.open(
      "SELECT Invitees.PartyID, Count(1) AS N FROM Invitees INNER JOIN Parties ON "
      "Invitees.PartyID = Parties.PartyID WHERE Parties.EventID = " +
          ids["{EventID}"] + " GROUP BY Invitees.PartyID ORDER BY Count(1) DESC",
      c);
  if (!rs.EOF_()) ids["{PartyID}"] = rs.value("PartyID").toString();
  rs.close();
  rs.open(
      "SELECT SubEvents.SubEventName FROM Parties INNER JOIN SubEvents ON "
      "Parties.SubEventID = SubEvents.SubEventID WHERE Parties.PartyID = " +
          ids["{PartyID}"],
      c);
  if (!rs.EOF_()) ids["{PartyName}"] = rs.value("SubEventName").displayText();
  rs.close();
  // The room-plan reports want the party with the most chairs on its plan.
  ids["{RoomPlanPartyID}"] = ids["{PartyID}"];
  ids["{RoomPlanPartyName}"] = ids["{PartyName}"];
  rs.open(
      "SELECT Rooms.PartyID, SubEvents.SubEventName, Count(1) AS N FROM ((Rooms INNER JOIN "
      "RoomObjects ON Rooms.RoomID = RoomObjects.RoomID) INNER JOIN RoomObjectChairs ON "
      "RoomObjects.ObjectID = RoomObjectChairs.ObjectID) INNER JOIN (Parties INNER JOIN SubEvents "
      "ON Parties.SubEventID = SubEvents.SubEventID) ON Rooms.PartyID = Parties.PartyID WHERE "
      "Parties.EventID = " +
          ids["{EventID}"] +
          " GROUP BY Rooms.PartyID, SubEvents.SubEventName ORDER BY Count(1) DESC",
      c);
  if (!rs.EOF_()) {
    ids["{RoomPlanPartyID}"] = rs.value("PartyID").toString();
    ids["{RoomPlanPartyName}"] = rs.value("SubEventName").displayText();
  }
  rs.close();
  // The invoice wants one of the event's invoices.
  ids["{InvoiceID}"] = "1";
  rs.open("SELECT Invoices.InvoiceID FROM Invoices WHERE Invoices.EventID = " + ids["{EventID}"] +
              " ORDER BY Invoices.InvoiceID",
          c);
  if (!rs.EOF_()) ids["{InvoiceID}"] = rs.value("InvoiceID").toString();
  rs.close();
  // The quote comparison wants the event whose item most event professionals quote on.
  ids["{QuoteEventID}"] = ids["{EventID}"];
  ids["{QuoteEventName}"] = ids["{EventName}"];
  rs.open(
      "SELECT VendorAssignments.EventID, Events.EventName, Count(1) AS N FROM (VendorAssignments "
      "INNER JOIN Items ON VendorAssignments.VendorAssignmentID = Items.VendorAssignmentID) "
      "INNER JOIN Events ON VendorAssignments.EventID = Events.EventID WHERE "
      "VendorAssignments.WorkSheetType = 2 GROUP BY VendorAssignments.EventID, Events.EventName, "
      "Items.Item ORDER BY Count(1) DESC, VendorAssignments.EventID",
      c);
  if (!rs.EOF_()) {
    ids["{QuoteEventID}"] = rs.value("EventID").toString();
    ids["{QuoteEventName}"] = rs.value("EventName").displayText();
  }
  rs.close();
  return ids;
}

// The event's name when the database holds exactly one event.
std::optional<std::string> onlyEventName(const std::string& conn) {
  db::Connection c;
  c.open(conn);
  db::Recordset rs;
  rs.open("SELECT Events.EventName FROM Events", c);
  std::optional<std::string> name;
  if (!rs.EOF_()) name = rs.value("EventName").displayText();
  rs.moveNext();
  if (!rs.EOF_()) name.reset();
  rs.close();
  return name;
}

// Seconds as the library's limit: any positive time is at least a millisecond.
std::chrono::milliseconds limitOf(double seconds) {
  if (seconds <= 0) return std::chrono::milliseconds(0);
  return std::chrono::milliseconds(std::max(1LL, std::llround(seconds * 1000)));
}

std::string fileStem(const std::string& name) {
  std::string s;
  for (char ch : name) {
    if (std::isalnum(static_cast<unsigned char>(ch)) || ch == '-' || ch == '_')
      s += ch;
    else if (!s.empty() && s.back() != '_')
      s += '_';
  }
  while (!s.empty() && s.back() == '_') s.pop_back();
  return s;
}

std::unique_ptr<ReportObject> newOrExit(const std::string& name) {
  Report factory;
  auto r = factory.GetNewReport(name);
  if (r) return r;
  std::string msg = "galvix: no report named \"" + name + "\"";
  for (const auto& e : frame::catalogue())
    if (e.name == name) msg = "galvix: \"" + name + "\" is in the catalogue but not available yet";
  auto close = frame::closeNames(name);
  if (!close.empty()) {
    msg += "; did you mean";
    for (size_t i = 0; i < close.size(); ++i) msg += (i ? ", \"" : " \"") + close[i] + "\"";
    msg += "?";
  }
  throw Exit{2, msg + "\n(`galvix list` shows the catalogue)"};
}

// Writes the document; nothing is left behind when writing fails.
std::vector<std::string> write(const doc::Document& d, const std::string& out,
                               const std::string& format) {
  if (format == "pdf") {
    writePdf(d, out);
    return {out};
  }
  std::string prefix = out;
  if (auto dot = prefix.rfind('.'); dot != std::string::npos && dot > prefix.rfind('/'))
    prefix.erase(dot);
  return format == "png" ? writePng(d, prefix, 150) : writeSvg(d, prefix);
}

// The files `write` will produce for a document of `pages` pages.
std::vector<std::string> outputsOf(const std::string& out, const std::string& format,
                                   std::size_t pages) {
  if (format == "pdf") return {out};
  std::string prefix = out;
  if (auto dot = prefix.rfind('.'); dot != std::string::npos && dot > prefix.rfind('/'))
    prefix.erase(dot);
  std::vector<std::string> files;
  for (std::size_t i = 0; i < std::max<std::size_t>(pages, 1); ++i)
    files.push_back(prefix + "-" + std::to_string(i + 1) + "." + format);
  return files;
}

void renderOne(ReportObject& r, const std::string& out, const std::string& format,
               const std::string& database) {
  for (const auto& f : outputsOf(out, format, 1)) refuseInputAsOutput(f, database);
  bool cancelled = false;
  doc::Document d = r.run(&cancelled);
  if (cancelled) {
    std::cerr << "galvix: \"" << r.catalogueName() << "\" ended without pages; nothing written\n";
    return;
  }
  for (const auto& f : outputsOf(out, format, d.pages.size())) refuseInputAsOutput(f, database);
  for (const auto& f : write(d, out, format)) std::cout << f << "\n";
}

std::string examplesHelp() {
  std::string s = "\nExamples of property sets (SQLWhere as each report expects it):\n";
  for (const auto& e : frame::catalogue()) {
    if (!e.built() || e.example.empty()) continue;
    s += "  galvix render \"" + e.name + "\" --db events.sqlite";
    for (const auto& [k, v] : e.example) s += " \\\n      --set \"" + k + "=" + v + "\"";
    s += "\n";
    for (const auto& [suffix, example] : e.moreExamples) {
      s += "  galvix render \"" + e.name + "\" --db events.sqlite";
      for (const auto& [k, v] : example) s += " \\\n      --set \"" + k + "=" + v + "\"";
      s += "\n";
    }
  }
  return s +
         "({PartyID}, {RoomPlanPartyID}, {EventID}, {InvoiceID} and {QuoteEventID} stand for keys "
         "of your "
         "database.)\n";
}

Registration list([](CLI::App& app) {
  auto* cmd = app.add_subcommand("list", "List the catalogue reports");
  cmd->callback([] {
    for (const auto& e : frame::catalogue()) {
      std::string name = "\"" + e.name + "\"";
      std::cout << name << std::string(name.size() < 36 ? 36 - name.size() : 1, ' ')
                << (e.designer.empty() ? "-" : e.designer)
                << std::string(e.designer.size() < 20 ? 20 - e.designer.size() : 1, ' ')
                << (e.built() ? "" : "(not available) ") << e.about << "\n";
    }
  });
});

Registration render([](CLI::App& app) {
  auto* cmd = app.add_subcommand("render", "Run one catalogue report into PDF, PNG or SVG");
  auto name = std::make_shared<std::string>();
  auto database = std::make_shared<std::string>();
  auto sets = std::make_shared<std::vector<std::string>>();
  auto out = std::make_shared<std::string>();
  auto format = std::make_shared<std::string>("pdf");
  auto locale = std::make_shared<std::string>();
  auto timeout = std::make_shared<double>(0);
  cmd->add_option("name", *name, "Catalogue name, e.g. \"Guest List - with notes\"")->required();
  cmd->add_option("--timeout", *timeout, "Give up after this many seconds (0: never)")
      ->check(CLI::NonNegativeNumber);
  cmd->add_option("--db", *database, "Database file (.sqlite, .mdb, .accdb) or connection string")
      ->required();
  cmd->add_option("--set", *sets, "Property=Value (repeatable)");
  cmd->add_option("-o,--output", *out, "Output file (default: the report's name)");
  cmd->add_option("--format", *format, "pdf, png or svg")
      ->check(CLI::IsMember({"pdf", "png", "svg"}));
  cmd->add_option("--locale", *locale, "Regional settings: en-US, en-GB, de-DE");
  cmd->footer(examplesHelp());
  cmd->callback([=] {
    if (!locale->empty()) setRegional(*locale);
    auto r = newOrExit(*name);
    const std::string conn = connectionFor(*database);
    r->set("ConnectionString", conn);
    // Captions a host would set, so a bare run does not print the layout's placeholders;
    // --set overrides them.
    auto setIf = [&](const char* prop, const std::string& v) {
      if (r->hasProperty(prop)) r->set(prop, Variant(v));
    };
    setIf("Title", onlyEventName(conn).value_or(""));
    setIf("ReportName", *name);
    setIf("Criteria", "");
    for (const auto& s : *sets) {
      auto eq = s.find('=');
      if (eq == std::string::npos) throw Exit{2, "galvix: --set wants Property=Value, got " + s};
      r->set(s.substr(0, eq), Variant(s.substr(eq + 1)));
    }
    r->setTimeLimit(limitOf(*timeout));
    std::string file = out->empty() ? fileStem(*name) + "." + *format : *out;
    renderOne(*r, file, *format, db::dataSourceOf(conn));
  });
});

Registration renderAll([](CLI::App& app) {
  auto* cmd = app.add_subcommand("render-all",
                                 "Render every available catalogue report with example properties");
  auto database = std::make_shared<std::string>();
  auto dir = std::make_shared<std::string>("out");
  auto timeout = std::make_shared<double>(0);
  cmd->add_option("--db", *database, "Database file or connection string")->required();
  cmd->add_option("-o,--output", *dir, "Output folder");
  cmd->add_option("--timeout", *timeout, "Give up on a report after this many seconds (0: never)")
      ->check(CLI::NonNegativeNumber);
  cmd->callback([=] {
    std::string conn = connectionFor(*database);
    auto ids = exampleIds(conn);
    fs::create_directories(*dir);
    int failed = 0;
    for (const auto& e : frame::catalogue()) {
      if (!e.built()) continue;
      auto variants = e.moreExamples;
      variants.insert(variants.begin(), {"", e.example});
      for (const auto& [suffix, example] : variants) {
        try {
          auto r = newOrExit(e.name);
          r->set("ConnectionString", conn);
          auto setIf = [&](const char* prop, const std::string& v) {
            if (r->hasProperty(prop)) r->set(prop, Variant(v));
          };
          setIf("Title", ids.count("{EventName}") ? ids["{EventName}"] : e.name);
          setIf("ReportName", e.name);
          setIf("Criteria", "");
          for (const auto& [k, v] : example) r->set(k, Variant(substitute(v, ids)));
          r->setTimeLimit(limitOf(*timeout));
          renderOne(*r,
                    *dir + "/" + fileStem(e.name) + (suffix.empty() ? "" : "-" + suffix) + ".pdf",
                    "pdf", db::dataSourceOf(conn));
        } catch (const std::exception& ex) {
          ++failed;
          std::cerr << ex.what() << "\n";
        }
      }
    }
    if (failed) throw Exit{1, "galvix: " + std::to_string(failed) + " report(s) failed"};
  });
});

}  // namespace
}  // namespace galvix::cli
