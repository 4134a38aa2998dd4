// galvix import: writes an Access event database out as a SQLite file.
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <string>

#include "cli/command.h"
#include "db/access/access_backend.h"
#include "db/connection.h"

namespace galvix::cli {
namespace {

namespace fs = std::filesystem;

// Copies `db` into `target` through a temporary file beside it, renamed into place only once
// complete, so a failed or interrupted run never leaves a half-written database.
void writeAtomically(sqlite3* db, const fs::path& target) {
  fs::path dir = target.has_parent_path() ? target.parent_path() : fs::path(".");
  fs::path temp =
      dir / ("." + target.filename().string() + "." + std::to_string(::getpid()) + ".tmp");
  sqlite3* out = nullptr;
  auto cleanup = [&] {
    if (out) sqlite3_close(out);
    out = nullptr;
    std::error_code ec;
    fs::remove(temp, ec);
  };
  int rc = sqlite3_open_v2(temp.c_str(), &out, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (rc != SQLITE_OK) {
    std::string why = out ? sqlite3_errmsg(out) : sqlite3_errstr(rc);
    cleanup();
    throw Exit{1, "Cannot write '" + target.string() + "': " + why};
  }
  sqlite3_backup* b = sqlite3_backup_init(out, "main", db, "main");
  if (b) {
    rc = sqlite3_backup_step(b, -1);
    sqlite3_backup_finish(b);
  }
  if (!b || rc != SQLITE_DONE) {
    std::string why = sqlite3_errmsg(out);
    cleanup();
    throw Exit{1, "Cannot write '" + target.string() + "': " + why};
  }
  sqlite3_close(out);
  out = nullptr;
  std::error_code ec;
  fs::rename(temp, target, ec);
  if (ec) {
    cleanup();
    throw Exit{1, "Cannot write '" + target.string() + "': " + ec.message()};
  }
}

Registration reg([](CLI::App& app) {
  auto* cmd =
      app.add_subcommand("import", "Write an Access database (.mdb/.accdb) as a SQLite file");
  auto source = std::make_shared<std::string>();
  auto target = std::make_shared<std::string>();
  cmd->add_option("source", *source, "the Access file")->required();
  auto force = std::make_shared<bool>(false);
  cmd->add_option("target", *target, "the SQLite file to write")->required();
  cmd->add_flag("--force", *force, "replace the target if it exists");
  cmd->callback([source, target, force] {
    refuseInputAsOutput(*target, *source);
    refuseToReplace(*target, *force);
    db::access::LoadInfo info;
    std::shared_ptr<sqlite3> db;
    try {
      db = db::access::load(*source, &info);
    } catch (const db::DbError& e) {
      throw Exit{1, e.description()};
    }
    writeAtomically(db.get(), *target);
    std::cout << "Read " << info.format << " file '" << *source << "': " << info.tables.size()
              << " tables, " << info.rows << " rows, " << info.views.size() << " queries as views";
    std::cout << (info.skipped.empty()
                      ? "."
                      : ", " + std::to_string(info.skipped.size()) + " queries skipped:")
              << "\n";
    for (const auto& s : info.skipped)
      std::cout << "  skipped '" << s.name << "': " << s.reason << "\n";
    std::cout << "Wrote '" << *target << "'.\n";
  });
});

}  // namespace
}  // namespace galvix::cli
