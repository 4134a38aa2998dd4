// Access event databases (.mdb, .accdb) read with libmdb into an in-memory SQLite database.
//
// The Access file is only ever read. Each file is loaded once per process and kept, keyed by
// path, size and modification time: every connection to it shares the one in-memory copy, so
// work tables that reports make there are seen by the next report. Saved select, crosstab and
// union queries become views where the Jet translator can express them; the others are listed
// as skipped, with the reason.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace galvix::db::access {

struct SkippedQuery {
  std::string name;
  std::string reason;
  std::string sql;  // the query as Access keeps it, when it could be put together
};

// What one load of a file found and did.
struct LoadInfo {
  std::string path;
  std::string format;  // "Jet 3", "Jet 4", "ACE 12", ...
  std::vector<std::string> tables, views;
  std::vector<SkippedQuery> skipped;
  std::int64_t rows = 0;  // rows copied, all tables
  double seconds = 0;     // wall time of the load
  long readerPeakKb = 0;  // peak resident memory of the reading process (0 if in-process)
};

// The cached in-memory copy of the file at `path` (a POSIX path). Raises galvix::db::DbError
// with kErrConnection and a message naming the file when it cannot be read.
std::shared_ptr<sqlite3> open(const std::string& path);

// What the load behind open(path) found; empty when the file is not loaded.
LoadInfo loadInfo(const std::string& path);

// Reads the file afresh, bypassing the cache (galvix import, tools, benchmarks).
std::shared_ptr<sqlite3> load(const std::string& path, LoadInfo* info = nullptr);

// Forgets every cached database (those still in use stay alive with their users).
void clearCache();

// Checks the file header before anything else reads the file; returns the format name.
// Raises DbError(kErrConnection) naming the file when it is not an Access database, is cut short
// or uses a format this reader does not know.
std::string checkFile(const std::string& path);

}  // namespace galvix::db::access
