// Translates arbitrary text as Jet SQL on an in-memory event database, then prepares and briefly
// runs what came out. A DbError is the expected answer to bad input; anything else is a bug, as is
// a translation served from the cache of statement shapes that differs from a fresh one.
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "../tests/db/jet/both_ways.h"
#include "data/schema.h"
#include "db/connection.h"
#include "db/jet/translator.h"

namespace {

struct Db {
  sqlite3* db = nullptr;
  galvix::db::jet::Translator* translator = nullptr;
  Db() {
    sqlite3_open(":memory:", &db);
    galvix::db::jet::registerJetFunctions(db);
    galvix::data::createEventSchema(db);
    // A few rows, so the Jet functions and crosstab column queries see values.
    sqlite3_exec(
        db,
        "INSERT INTO Events (EventID, EventName) VALUES (1, 'E');"
        "INSERT INTO SubEvents (SubEventID, EventID, SubEventName) VALUES (1, 1, 'R');"
        "INSERT INTO Parties (PartyID, EventID, SubEventID, City) VALUES (1, 1, 1, 'x');"
        "INSERT INTO GroupIDs (GroupID, EventID, Label) VALUES (1, 1, 'G');"
        "INSERT INTO GuestNames (GuestID, GroupID, GFName, GLName) VALUES (1, 1, 'a', 'B');"
        "INSERT INTO Invitees (GuestID, PartyID, Attending) VALUES (1, 1, -1);",
        nullptr, nullptr, nullptr);
    translator = new galvix::db::jet::Translator(db);
  }
};

// Stops statements that would run for long (cross joins of the input's making).
int progress(void* steps) {
  return ++*static_cast<int*>(steps) > 2000;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Db d;
  const std::string_view sql(reinterpret_cast<const char*>(data), size);
  galvix::db::jet::Translation t;
  std::string shared;
  try {
    t = d.translator->translate(sql);
    shared = galvix::db::testing::describe(t);
  } catch (const galvix::db::DbError& e) {
    shared = "error " + e.description();
  }
  // The shared translator may answer from its cache of statement shapes (an earlier input of the
  // same shape): that must be exactly what a fresh one makes of the text.
  galvix::db::jet::Translator fresh(d.db);
  std::string alone;
  try {
    alone = galvix::db::testing::describe(fresh.translate(sql));
  } catch (const galvix::db::DbError& e) {
    alone = "error " + e.description();
  }
  if (shared != alone) {
    std::fprintf(stderr, "cached translation differs\ncached: %s\nfresh:  %s\n", shared.c_str(),
                 alone.c_str());
    std::abort();
  }
  if (shared.rfind("error ", 0) == 0) return 0;
  // A make-table or a drop would change the schema the next inputs see.
  if (t.kind != galvix::db::jet::StatementKind::Select) return 0;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(d.db, t.sql.c_str(), static_cast<int>(t.sql.size()), &st, nullptr) ==
          SQLITE_OK &&
      st) {
    int slot = 1;
    for (const auto& p : t.params) {
      if (p.type() == galvix::VarType::Double)
        sqlite3_bind_double(st, slot++, p.rawDouble());
      else if (p.type() == galvix::VarType::String)
        sqlite3_bind_text(st, slot++, p.rawString().data(), static_cast<int>(p.rawString().size()),
                          SQLITE_TRANSIENT);
      else
        sqlite3_bind_int64(st, slot++, p.rawInt());
    }
    int steps = 0;
    sqlite3_progress_handler(d.db, 100, progress, &steps);
    for (int rows = 0; rows < 50 && sqlite3_step(st) == SQLITE_ROW; ++rows) {
    }
    sqlite3_progress_handler(d.db, 0, nullptr, nullptr);
  }
  sqlite3_finalize(st);
  return 0;
}
