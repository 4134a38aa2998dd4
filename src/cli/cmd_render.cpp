// galvix list / render / render-all: the catalogue reports from the command line.
#include <sys/stat.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "cli/command.h"
#include "cli/selection.h"
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
  if (r) {
    r->setPackPages(true);  // the command only writes the pages: keep them packed
    return r;
  }
  std::vector<std::string> available;
  for (const auto& e : frame::catalogue())
    if (e.built()) available.push_back(e.name);
  for (const auto& e : frame::catalogue())
    if (e.name == name)
      throw Exit{2, "galvix: \"" + name + "\" is a catalogue name that has no report design, " +
                        "so nothing can be printed for it" + didYouMean(name, available)};
  throw Exit{2, "galvix: no report named \"" + name + "\"" + didYouMean(name, available) +
                    "\n(`galvix list` shows the catalogue)"};
}

// A property by name; an unknown one, or a value it cannot take, is the user's mistake.
void setProperty(ReportObject& r, const std::string& key, const std::string& value) {
  if (!r.hasProperty(key)) {
    std::string all;
    for (const auto& p : r.properties()) all += (all.empty() ? "" : ", ") + p;
    throw Exit{2, "galvix: \"" + r.catalogueName() + "\" has no property '" + key + "'" +
                      didYouMean(key, r.properties()) + "\n(its properties: " + all +
                      "; `galvix describe \"" + r.catalogueName() + "\"` explains them)"};
  }
  try {
    r.set(key, Variant(value));
  } catch (const PropertyError& e) {
    throw Exit{2, std::string("galvix: ") + e.what()};
  }
}

// Where a render goes: a file (its page files for PNG and SVG), or standard output.
struct Target {
  std::string path;  // "-" for standard output
  std::string format;
};

std::string extensionOf(const std::string& path) {
  const fs::path p(path);
  std::string ext = p.extension().string();
  if (!ext.empty()) ext.erase(0, 1);
  for (auto& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

// The format is the -o file's extension, or --format, or PDF; the two must agree.
Target targetOf(const std::string& out, const std::string& format, const std::string& name) {
  if (out == "-") return {"-", format.empty() ? "pdf" : format};
  if (out.empty()) {
    const std::string f = format.empty() ? "pdf" : format;
    return {fileStem(name) + "." + f, f};
  }
  const std::string ext = extensionOf(out);
  if (ext.empty()) {
    const std::string f = format.empty() ? "pdf" : format;
    return {out + "." + f, f};
  }
  if (ext != "pdf" && ext != "png" && ext != "svg")
    throw Exit{2, "galvix: cannot write a ." + ext + " file ('" + out +
                      "'); -o takes a .pdf, .png or .svg file, or - for standard output"};
  if (!format.empty() && format != ext)
    throw Exit{2, "galvix: -o '" + out + "' is a ." + ext + " file but --format is " + format +
                      "; give one or make them agree"};
  return {out, ext};
}

std::string prefixOf(const std::string& path) {
  fs::path p(path);
  return (p.parent_path() / p.stem()).string();
}

// Writes the document; nothing is left behind when writing fails.
std::vector<std::string> write(const doc::Document& d, const Target& t) {
  if (t.path == "-") {
    if (t.format == "pdf") {
      writePdf(d, std::cout);
    } else if (d.pageCount() != 1) {
      throw Exit{2, "galvix: the run has " + std::to_string(d.pageCount()) + " pages; " + t.format +
                        " to standard output takes a one-page run (nothing written; " +
                        "give -o NAME." + t.format + " for one file per page)"};
    } else if (t.format == "png") {
      writePng(d, 0, std::cout, 150);
    } else {
      writeSvg(d, 0, std::cout);
    }
    std::cout.flush();
    return {};
  }
  if (t.format == "pdf") {
    writePdf(d, t.path);
    return {t.path};
  }
  return t.format == "png" ? writePng(d, prefixOf(t.path), 150) : writeSvg(d, prefixOf(t.path));
}

// The files `write` will produce for a document of `pages` pages.
std::vector<std::string> outputsOf(const Target& t, std::size_t pages) {
  if (t.path == "-") return {};
  if (t.format == "pdf") return {t.path};
  std::vector<std::string> files;
  for (std::size_t i = 0; i < std::max<std::size_t>(pages, 1); ++i)
    files.push_back(prefixOf(t.path) + "-" + std::to_string(i + 1) + "." + t.format);
  return files;
}

// A line on standard error while a run takes longer than a second, when someone watches it.
class Progress {
 public:
  Progress(bool quiet, std::function<std::string()> label) : label_(std::move(label)) {
    if (quiet || !::isatty(2)) return;
    thread_ = std::thread([this] {
      const auto start = std::chrono::steady_clock::now();
      std::unique_lock lock(m_);
      while (!cv_.wait_for(lock, std::chrono::milliseconds(250), [this] { return done_; })) {
        const auto s = std::chrono::duration_cast<std::chrono::seconds>(
                           std::chrono::steady_clock::now() - start)
                           .count();
        if (s < 1) continue;
        std::cerr << "\r\033[K" << label_() << " " << s << " s" << std::flush;
        shown_ = true;
      }
      if (shown_) std::cerr << "\r\033[K" << std::flush;
    });
  }
  ~Progress() {
    if (!thread_.joinable()) return;
    {
      std::lock_guard lock(m_);
      done_ = true;
    }
    cv_.notify_all();
    thread_.join();
  }

 private:
  std::function<std::string()> label_;
  std::mutex m_;
  std::condition_variable cv_;
  bool done_ = false, shown_ = false;
  std::thread thread_;
};

// Lines of several renders running at once stay whole.
std::mutex g_say;
void say(std::ostream& out, const std::string& line) {
  std::lock_guard lock(g_say);
  out << line << "\n" << std::flush;
}

// Runs the report; nothing when a handler ended it without pages.
std::optional<doc::Document> runOne(ReportObject& r, const std::optional<std::string>& progress) {
  bool cancelled = false;
  doc::Document d;
  {
    std::atomic<int> pages{0};
    r.setPageProgress([&pages](int n) { pages.store(n, std::memory_order_relaxed); });
    Progress shown(!progress, [&] {
      const int n = pages.load(std::memory_order_relaxed);
      return *progress + (n > 0 ? ", page " + std::to_string(n) : std::string()) + ",";
    });
    d = r.run(&cancelled);
    r.setPageProgress({});
  }
  if (cancelled) {
    say(std::cerr, "galvix: \"" + r.catalogueName() + "\" ended without pages; nothing written");
    return std::nullopt;
  }
  if (r.lastRunHadNoRows())
    say(std::cerr, "galvix: \"" + r.catalogueName() +
                       "\" found no rows to print (check the event, party or --set clauses)");
  return d;
}

void writeOut(const doc::Document& d, const Target& t, const std::string& database) {
  for (const auto& f : outputsOf(t, d.pageCount())) refuseInputAsOutput(f, database);
  for (const auto& f : write(d, t)) say(std::cout, f);
}

// A PDF file is written while the report runs; standard output, PNG and SVG once it is done.
bool streamed(const Target& t) {
  return t.format == "pdf" && t.path != "-";
}

// Runs `r` with its pages going to `pdf`; the run's document (it holds no pages).
std::optional<doc::Document> runInto(ReportObject& r, PdfStream& pdf,
                                     const std::optional<std::string>& progress) {
  r.setPageSink(&pdf);
  struct Unset {
    ReportObject& r;
    ~Unset() { r.setPageSink(nullptr); }
  } unset{r};
  return runOne(r, progress);
}

// Runs and writes; false when a handler ended the run without pages.
bool renderOne(ReportObject& r, const Target& t, const std::string& database,
               const std::optional<std::string>& progress) {
  for (const auto& f : outputsOf(t, 1)) refuseInputAsOutput(f, database);
  if (streamed(t)) {
    PdfStream pdf(t.path);
    auto d = runInto(r, pdf, progress);
    if (!d) return false;
    pdf.commit(d->title);
    say(std::cout, t.path);
    return true;
  }
  auto d = runOne(r, progress);
  if (d) writeOut(*d, t, database);
  return d.has_value();
}

const frame::CatalogueEntry& entryOf(const std::string& name) {
  for (const auto& e : frame::catalogue())
    if (e.name == name) return e;
  newOrExit(name);  // throws: not in the catalogue
  throw Exit{2, ""};
}

std::string examplesHelp() {
  return "\nChoose what to print by name: --event for the event, --party for reports of one "
         "party,\n--invoice for the invoice. `galvix describe NAME` (or `galvix render NAME "
         "--help`)\nlists a report's properties; --set Property=Value overrides any of them.\n\n"
         "  galvix render \"Guest List - with notes\" --db events.sqlite --party Reception\n"
         "  galvix render \"Budget Summary\" --db events.sqlite --event 1 -o - | lp\n";
}

Registration list([](CLI::App& app) {
  auto* cmd = app.add_subcommand("list", "List the catalogue reports and what each needs chosen");
  cmd->callback([] {
    for (const auto& e : frame::catalogue()) {
      std::string name = "\"" + e.name + "\"";
      std::string needs = e.built() ? needsText(needsOf(e.example)) : "";
      needs = needs.empty() ? "-" : needs;
      std::cout << name << std::string(name.size() < 36 ? 36 - name.size() : 1, ' ')
                << (e.designer.empty() ? "-" : e.designer)
                << std::string(e.designer.size() < 20 ? 20 - e.designer.size() : 1, ' ') << needs
                << std::string(needs.size() < 14 ? 14 - needs.size() : 1, ' ')
                << (e.built()            ? ""
                    : e.designer.empty() ? "(no report design)"
                                         : "(not available yet) ")
                << (e.designer.empty() ? "" : e.about) << "\n";
    }
  });
});

Registration render([](CLI::App& app) {
  auto* cmd = app.add_subcommand("render", "Run one catalogue report into PDF, PNG or SVG");
  auto name = std::make_shared<std::string>();
  auto database = std::make_shared<std::string>();
  auto sets = std::make_shared<std::vector<std::string>>();
  auto out = std::make_shared<std::string>();
  auto format = std::make_shared<std::string>();
  auto locale = std::make_shared<std::string>();
  auto timeout = std::make_shared<double>(0);
  auto choices = std::make_shared<Choices>();
  auto quiet = std::make_shared<bool>(false);
  cmd->add_option("name", *name, "Catalogue name, e.g. \"Guest List - with notes\"")->required();
  cmd->add_option("--timeout", *timeout, "Give up after this many seconds (0: never)")
      ->check(CLI::NonNegativeNumber);
  cmd->add_option("--db", *database, "Database file (.sqlite, .mdb, .accdb) or connection string")
      ->required();
  cmd->add_option("--event", choices->event, "The event, by name or id");
  cmd->add_option("--party", choices->party, "The party (sub-event), by name or id");
  cmd->add_option("--invoice", choices->invoice, "The invoice, by id");
  cmd->add_option("--set", *sets, "Property=Value (repeatable; overrides --event and --party)");
  cmd->add_option("-o,--output", *out,
                  "Output file (default: the report's name); - for standard output");
  cmd->add_option("--format", *format, "pdf, png or svg (default: -o's extension, else pdf)")
      ->check(CLI::IsMember({"pdf", "png", "svg"}));
  cmd->add_option("--locale", *locale, "Regional settings: en-US, en-GB, de-DE");
  cmd->add_flag("-q,--quiet", *quiet, "No progress line");
  cmd->footer(examplesHelp());
  auto allParties = std::make_shared<bool>(false);
  auto split = std::make_shared<bool>(false);
  auto* all = cmd->add_flag("--all-parties", *allParties,
                            "Each party of the event in turn, one after the other in one file");
  all->excludes(cmd->get_option("--party"));
  cmd->add_flag("--split", *split, "With --all-parties: one file per party")->needs(all);
  cmd->callback([=] {
    chooseLocale(*locale);
    newOrExit(*name);
    const auto& entry = entryOf(*name);
    const std::string conn = connectionFor(*database);
    const std::string source = db::dataSourceOf(conn);
    // Naming the database as the output is the worse mistake; say that one first.
    if (!out->empty() && *out != "-") refuseInputAsOutput(*out, source);
    const Target target = targetOf(*out, *format, *name);
    PropertyList userSets;
    for (const auto& s : *sets) {
      auto eq = s.find('=');
      if (eq == std::string::npos) throw Exit{2, "galvix: --set wants Property=Value, got " + s};
      userSets.emplace_back(s.substr(0, eq), s.substr(eq + 1));
    }
    auto prepare = [&](const Choices& chosen) {
      auto r = newOrExit(*name);
      for (const auto& [k, v] : userSets)
        if (!r->hasProperty(k)) setProperty(*r, k, v);  // exits naming the property
      Selection sel = select(conn, entry, entry.example, chosen, userSets);
      for (const auto& note : sel.notes) say(std::cerr, note);
      setProperty(*r, "ConnectionString", conn);
      // Captions a host would set, so a run does not print the layout's placeholders; the
      // report's own settings and --set override them.
      for (const auto& [prop, v] :
           {std::pair<std::string, std::string>{"Title", sel.eventName.value_or("")},
            {"ReportName", *name},
            {"Criteria", ""}})
        if (r->hasProperty(prop)) r->set(prop, Variant(v));
      for (const auto& [k, v] : sel.properties) setProperty(*r, k, v);
      r->setTimeLimit(limitOf(*timeout));
      return r;
    };
    auto label = [&](const std::string& what) {
      return *quiet ? std::nullopt : std::optional<std::string>("galvix: rendering " + what);
    };
    if (!*allParties) {
      auto r = prepare(*choices);
      renderOne(*r, target, source, label("\"" + *name + "\""));
      return;
    }
    if (!needsOf(entry.example).party)
      throw Exit{2, "galvix: \"" + *name + "\" does not print one party; --all-parties is for " +
                        "the reports that do (`galvix list` marks them)"};
    if (*split && target.path == "-")
      throw Exit{2, "galvix: --split writes one file per party; give -o NAME, not -"};
    const std::string eventId = eventIdOf(conn, choices->event);
    const auto parties = partiesOf(conn, eventId);
    if (parties.empty()) throw Exit{2, "galvix: the event has no parties"};
    doc::Document whole;
    // One PDF file of every party is written as the runs go.
    std::optional<PdfStream> pdf;
    if (!*split && streamed(target)) {
      refuseInputAsOutput(target.path, source);
      pdf.emplace(target.path);
    }
    for (std::size_t i = 0; i < parties.size(); ++i) {
      Choices chosen = *choices;
      chosen.event = eventId;
      chosen.party = parties[i].first;
      auto r = prepare(chosen);
      const auto progress =
          label("party " + std::to_string(i + 1) + " of " + std::to_string(parties.size()) +
                ", \"" + parties[i].second + "\"");
      if (*split) {
        renderOne(*r,
                  {prefixOf(target.path) + "-" + fileStem(parties[i].second) + "." + target.format,
                   target.format},
                  source, progress);
        continue;
      }
      auto d = pdf ? runInto(*r, *pdf, progress) : runOne(*r, progress);
      if (!d) continue;
      whole.title = d->title;
      for (auto& page : d->pages) whole.pages.push_back(std::move(page));
      for (auto& store : d->stores) whole.stores.push_back(std::move(store));
    }
    if (pdf) {
      pdf->commit(whole.title);
      say(std::cout, target.path);
    } else if (!*split) {
      writeOut(whole, target, source);
    }
  });
});

Registration renderAll([](CLI::App& app) {
  auto* cmd = app.add_subcommand("render-all",
                                 "Render every available catalogue report with example properties");
  auto database = std::make_shared<std::string>();
  auto dir = std::make_shared<std::string>("out");
  auto timeout = std::make_shared<double>(0);
  auto quiet = std::make_shared<bool>(false);
  auto format = std::make_shared<std::string>("pdf");
  auto locale = std::make_shared<std::string>();
  auto jobs = std::make_shared<unsigned>(1);
  cmd->add_option("--db", *database, "Database file or connection string")->required();
  cmd->add_option("-o,--output", *dir, "Output folder");
  cmd->add_option("--format", *format, "pdf, png or svg")
      ->check(CLI::IsMember({"pdf", "png", "svg"}));
  cmd->add_option("--locale", *locale, "Regional settings: en-US, en-GB, de-DE");
  cmd->add_option("-j,--jobs", *jobs, "Reports rendered at once")->check(CLI::Range(1u, 64u));
  cmd->add_flag("-q,--quiet", *quiet, "No progress line");
  cmd->add_option("--timeout", *timeout, "Give up on a report after this many seconds (0: never)")
      ->check(CLI::NonNegativeNumber);
  cmd->callback([=] {
    chooseLocale(*locale);
    std::string conn = connectionFor(*database);
    auto ids = exampleIds(conn);
    fs::create_directories(*dir);
    struct Task {
      const frame::CatalogueEntry* entry;
      std::string suffix;
      PropertyList example;
    };
    std::vector<Task> tasks;
    for (const auto& e : frame::catalogue()) {
      if (!e.built()) continue;
      tasks.push_back({&e, "", e.example});
      for (const auto& [suffix, example] : e.moreExamples) tasks.push_back({&e, suffix, example});
    }
    std::atomic<std::size_t> next{0}, done{0}, failed{0};
    auto work = [&] {
      for (std::size_t i; (i = next++) < tasks.size();) {
        const Task& t = tasks[i];
        const auto& e = *t.entry;
        try {
          auto r = newOrExit(e.name);
          r->set("ConnectionString", conn);
          auto setIf = [&](const char* prop, const std::string& v) {
            if (r->hasProperty(prop)) r->set(prop, Variant(v));
          };
          setIf("Title", ids.count("{EventName}") ? ids.at("{EventName}") : e.name);
          setIf("ReportName", e.name);
          setIf("Criteria", "");
          for (const auto& [k, v] : t.example) r->set(k, Variant(substitute(v, ids)));
          r->setTimeLimit(limitOf(*timeout));
          const std::string stem = fileStem(e.name) + (t.suffix.empty() ? "" : "-" + t.suffix);
          renderOne(*r, {*dir + "/" + stem + "." + *format, *format}, db::dataSourceOf(conn),
                    std::nullopt);
        } catch (const Exit& ex) {
          ++failed;
          say(std::cerr, ex.message);
        } catch (const std::exception& ex) {
          ++failed;
          say(std::cerr, ex.what());
        }
        ++done;
      }
    };
    {
      Progress shown(*quiet, [&] {
        return "galvix: " + std::to_string(done.load()) + " of " + std::to_string(tasks.size()) +
               " reports done";
      });
      std::vector<std::thread> workers;
      for (unsigned j = 1; j < *jobs; ++j) workers.emplace_back(work);
      work();
      for (auto& w : workers) w.join();
    }
    if (failed) throw Exit{1, "galvix: " + std::to_string(failed.load()) + " report(s) failed"};
  });
});

}  // namespace
}  // namespace galvix::cli
