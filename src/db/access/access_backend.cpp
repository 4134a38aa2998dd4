#include "db/access/access_backend.h"

#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <vector>

#include "db/access/access_import.h"
#include "db/access/access_reader.h"
#include "db/connection.h"
#include "db/jet/translator.h"
#include "db/sqlite_util.h"

namespace galvix::db::access {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw DbError(kErrConnection, "Cannot open the Access database '" + path + "': " + why + ".");
}

std::shared_ptr<sqlite3> emptyDatabase() {
  configureSqlite();
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(":memory:", &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  std::shared_ptr<sqlite3> db(raw, [](sqlite3* d) { sqlite3_close_v2(d); });
  if (rc != SQLITE_OK) throw DbError(kErrConnection, "Cannot make an in-memory database.");
  sqlite3_extended_result_codes(raw, 1);
  registerTextCollation(raw);
  return db;
}

// ---- the reading process and its messages ----
//
// libmdb trusts the file: a damaged one can make it read out of bounds, abort or loop. The file
// is therefore read in a child process that sends back the finished database image; a crash or
// a hang there becomes an error naming the file, never the host's end.

enum Tag : char { kInfo = 'I', kImage = 'D', kError = 'E' };

void putU64(std::string& out, std::uint64_t v) {
  for (int i = 0; i < 8; ++i) out += static_cast<char>((v >> (8 * i)) & 0xff);
}

std::uint64_t getU64(const std::string& in, std::size_t& at) {
  if (at + 8 > in.size()) throw std::runtime_error("short message");
  std::uint64_t v = 0;
  for (int i = 0; i < 8; ++i)
    v |= static_cast<std::uint64_t>(static_cast<unsigned char>(in[at + i])) << (8 * i);
  at += 8;
  return v;
}

void putStr(std::string& out, const std::string& s) {
  putU64(out, s.size());
  out += s;
}

std::string getStr(const std::string& in, std::size_t& at) {
  std::uint64_t n = getU64(in, at);
  if (n > in.size() - at) throw std::runtime_error("short message");
  std::string s = in.substr(at, n);
  at += n;
  return s;
}

std::string encodeInfo(const LoadInfo& info) {
  std::string out;
  putStr(out, info.format);
  putU64(out, static_cast<std::uint64_t>(info.rows));
  putU64(out, info.tables.size());
  for (const auto& t : info.tables) putStr(out, t);
  putU64(out, info.views.size());
  for (const auto& v : info.views) putStr(out, v);
  putU64(out, info.skipped.size());
  for (const auto& s : info.skipped) {
    putStr(out, s.name);
    putStr(out, s.reason);
    putStr(out, s.sql);
  }
  return out;
}

void decodeInfo(const std::string& in, LoadInfo& info) {
  std::size_t at = 0;
  info.format = getStr(in, at);
  info.rows = static_cast<std::int64_t>(getU64(in, at));
  for (auto n = getU64(in, at); n > 0; --n) info.tables.push_back(getStr(in, at));
  for (auto n = getU64(in, at); n > 0; --n) info.views.push_back(getStr(in, at));
  for (auto n = getU64(in, at); n > 0; --n) {
    SkippedQuery s;
    s.name = getStr(in, at);
    s.reason = getStr(in, at);
    s.sql = getStr(in, at);
    info.skipped.push_back(std::move(s));
  }
}

bool writeAll(int fd, const char* p, std::size_t n) {
  while (n > 0) {
    ssize_t w = ::write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

bool sendFrame(int fd, Tag tag, const char* p, std::size_t n) {
  std::string head(1, tag);
  putU64(head, n);
  return writeAll(fd, head.data(), head.size()) && writeAll(fd, p, n);
}

// A damaged file can send libmdb allocating without end: cap the reader's address space at what
// it has now plus a generous budget for the file, so such a run ends quickly instead. (Not under
// AddressSanitizer, whose shadow memory needs the address space.)
void limitMemory(std::uintmax_t fileSize) {
#if !defined(__SANITIZE_ADDRESS__)
  long pages = 0;
  if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld", &pages) != 1) pages = 0;
    std::fclose(f);
  }
  if (pages <= 0) return;
  rlim_t now = static_cast<rlim_t>(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
  rlim_t budget = (rlim_t{2} << 30) + static_cast<rlim_t>(fileSize) * 32;
  rlimit r{now + budget, now + budget};
  ::setrlimit(RLIMIT_AS, &r);
#else
  (void)fileSize;
#endif
}

[[noreturn]] void childMain(const std::string& path, int fd) {
  int code = 0;
  std::error_code ec;
  limitMemory(fs::file_size(path, ec));
  try {
    auto db = emptyDatabase();
    LoadInfo info;
    importFile(path, db.get(), info);
    std::string meta = encodeInfo(info);
    sqlite3_int64 size = 0;
    unsigned char* image = sqlite3_serialize(db.get(), "main", &size, 0);
    if (!image) throw std::runtime_error("the database image cannot be made");
    bool ok =
        sendFrame(fd, kInfo, meta.data(), meta.size()) &&
        sendFrame(fd, kImage, reinterpret_cast<const char*>(image), static_cast<std::size_t>(size));
    sqlite3_free(image);
    code = ok ? 0 : 3;
  } catch (const DbError& e) {
    std::string m = e.description();
    sendFrame(fd, kError, m.data(), m.size());
    code = 0;
  } catch (const std::exception& e) {
    std::string m = e.what();
    sendFrame(fd, kError, m.data(), m.size());
    code = 0;
  }
  ::close(fd);
  _exit(code);  // no exit handlers: they belong to the parent
}

// What the child wrote, split into its frames. Raises std::runtime_error when cut short.
void splitFrames(const std::string& data, std::string& error, std::string& meta,
                 std::string& image) {
  std::size_t at = 0;
  while (at < data.size()) {
    char tag = data[at++];
    std::string payload = getStr(data, at);
    if (tag == kError)
      error = std::move(payload);
    else if (tag == kInfo)
      meta = std::move(payload);
    else if (tag == kImage)
      image = std::move(payload);
  }
}

// The last line libmdb (or a sanitizer) printed, for the error message.
std::string lastLine(std::string text) {
  while (!text.empty() &&
         (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' || text.back() == '.'))
    text.pop_back();
  auto nl = text.rfind('\n');
  return nl == std::string::npos ? text : text.substr(nl + 1);
}

std::shared_ptr<sqlite3> fromImage(const std::string& image, const std::string& path) {
  auto db = emptyDatabase();
  auto* buf = static_cast<unsigned char*>(sqlite3_malloc64(image.size()));
  if (!buf) fail(path, "out of memory");
  std::memcpy(buf, image.data(), image.size());
  int rc = sqlite3_deserialize(db.get(), "main", buf, static_cast<sqlite3_int64>(image.size()),
                               static_cast<sqlite3_int64>(image.size()),
                               SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
  if (rc != SQLITE_OK)
    fail(path, "its copy could not be loaded (" + std::string(sqlite3_errstr(rc)) + ")");
  return db;
}

std::shared_ptr<sqlite3> loadInChild(const std::string& path, LoadInfo& info) {
  // Two pipes: the result, and the child's stderr, where libmdb writes a warning per damaged
  // row (thousands on a bad file). Only the last of it is kept, for the error message.
  int out[2], err[2];
  if (::pipe(out) != 0) fail(path, std::string("cannot start the reader: ") + std::strerror(errno));
  if (::pipe(err) != 0) {
    ::close(out[0]);
    ::close(out[1]);
    fail(path, std::string("cannot start the reader: ") + std::strerror(errno));
  }
  pid_t pid = ::fork();
  if (pid < 0) {
    for (int fd : {out[0], out[1], err[0], err[1]}) ::close(fd);
    fail(path, std::string("cannot start the reader: ") + std::strerror(errno));
  }
  if (pid == 0) {
    ::close(out[0]);
    ::close(err[0]);
    ::dup2(err[1], STDERR_FILENO);
    ::close(err[1]);
    childMain(path, out[1]);
  }
  ::close(out[1]);
  ::close(err[1]);
  std::error_code ec;
  std::uintmax_t size = fs::file_size(path, ec);
  int seconds = 20 + static_cast<int>(size / (1 << 20)) * 2;
  if (const char* t = std::getenv("GALVIX_ACCESS_TIMEOUT")) seconds = std::atoi(t);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::string data, said;
  bool timedOut = false;
  int fds[2] = {out[0], err[0]};
  std::vector<char> buf(1 << 16);
  while (fds[0] >= 0 || fds[1] >= 0) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) {
      timedOut = true;
      break;
    }
    pollfd p[2] = {{fds[0], POLLIN, 0}, {fds[1], POLLIN, 0}};  // negative fds are ignored
    int pr = ::poll(p, 2, static_cast<int>(left > 1000 ? 1000 : left));
    if (pr <= 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i] < 0 || !(p[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      ssize_t r = ::read(fds[i], buf.data(), buf.size());
      if (r < 0 && errno == EINTR) continue;
      if (r <= 0) {
        ::close(fds[i]);
        fds[i] = -1;
      } else if (i == 0) {
        data.append(buf.data(), static_cast<std::size_t>(r));
      } else {
        said.append(buf.data(), static_cast<std::size_t>(r));
        if (said.size() > 8192) said.erase(0, said.size() - 4096);
      }
    }
  }
  for (int fd : fds)
    if (fd >= 0) ::close(fd);
  if (timedOut) ::kill(pid, SIGKILL);
  int status = 0;
  rusage ru{};
  while (::wait4(pid, &status, 0, &ru) < 0 && errno == EINTR) {
  }
  info.readerPeakKb = ru.ru_maxrss;
  std::string last = lastLine(said);
  std::string because = last.empty() ? "" : "; last message: " + last;
  if (timedOut)
    fail(path, "reading it took longer than " + std::to_string(seconds) +
                   " seconds (the file may be damaged" + because + ")");
  if (WIFSIGNALED(status))
    fail(path, "the file is damaged (the reader stopped with signal " +
                   std::to_string(WTERMSIG(status)) + because + ")");
  std::string error, meta, image;
  bool broken = false;
  try {
    splitFrames(data, error, meta, image);
  } catch (const std::exception&) {
    broken = true;
  }
  if (!error.empty()) fail(path, error);
  if (broken || meta.empty() || image.empty() || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    fail(path, "the reader ended without a result (status " +
                   std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) +
                   "; the file may be damaged" + because + ")");
  try {
    decodeInfo(meta, info);
  } catch (const std::exception&) {
    fail(path, "the reader's answer is damaged");
  }
  return fromImage(image, path);
}

struct Entry {
  std::uintmax_t size = 0;
  fs::file_time_type mtime;
  std::shared_ptr<sqlite3> db;
  LoadInfo info;
};

std::mutex cacheMutex;
std::map<std::string, Entry>& cache() {
  static std::map<std::string, Entry> c;
  return c;
}

std::string keyOf(const std::string& path) {
  std::error_code ec;
  auto p = fs::weakly_canonical(path, ec);
  return ec ? path : p.string();
}

}  // namespace

std::string checkFile(const std::string& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) fail(path, "there is no such file");
  std::uintmax_t size = fs::file_size(path, ec);
  if (ec) fail(path, ec.message());
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, "it cannot be opened for reading");
  unsigned char head[0x20] = {};
  in.read(reinterpret_cast<char*>(head), sizeof head);
  if (in.gcount() < static_cast<std::streamsize>(sizeof head) || head[0] != 0 || head[1] != 1 ||
      head[2] != 0 || head[3] != 0 ||
      (std::memcmp(head + 4, "Standard Jet DB", 16) != 0 &&
       std::memcmp(head + 4, "Standard ACE DB", 16) != 0))
    fail(path, "it is not an Access database");
  int version = head[0x14];
  static const char* formats[] = {"Jet 3",  "Jet 4",  "ACE 12", "ACE 14",
                                  "ACE 15", "ACE 16", "ACE 17"};
  if (version > 6) fail(path, "its format (version " + std::to_string(version) + ") is not known");
  std::uintmax_t page = version == 0 ? 2048 : 4096;
  if (size % page != 0)
    fail(path, "it is cut short or damaged: " + std::to_string(size) +
                   " bytes is not a whole number of " + std::to_string(page) + "-byte pages");
  if (size < 3 * page) fail(path, "it is cut short: too small to hold a catalog");
  // Page 2 holds the definition of the object table, where the catalog starts.
  unsigned char catalog[8] = {};
  in.seekg(static_cast<std::streamoff>(2 * page));
  in.read(reinterpret_cast<char*>(catalog), sizeof catalog);
  if (!in || catalog[0] != 0x02) fail(path, "its catalog page is damaged");
  return formats[version];
}

std::shared_ptr<sqlite3> load(const std::string& path, LoadInfo* infoOut) {
  LoadInfo info;
  info.path = path;
  auto start = std::chrono::steady_clock::now();
  checkFile(path);
  std::shared_ptr<sqlite3> db;
  const char* inProcess = std::getenv("GALVIX_ACCESS_IN_PROCESS");
  if (inProcess && *inProcess == '1') {
    db = emptyDatabase();
    try {
      importFile(path, db.get(), info);
    } catch (const DbError& e) {
      fail(path, e.description());
    } catch (const std::exception& e) {
      fail(path, e.what());
    }
  } else {
    db = loadInChild(path, info);
  }
  jet::registerJetFunctions(db.get());
  info.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (infoOut) *infoOut = std::move(info);
  return db;
}

std::shared_ptr<sqlite3> open(const std::string& path) {
  std::error_code ec;
  if (fs::is_directory(path, ec)) fail(path, "it is a folder, not an Access database file");
  std::uintmax_t size = fs::file_size(path, ec);
  if (ec) fail(path, "there is no such file");
  auto mtime = fs::last_write_time(path, ec);
  std::string key = keyOf(path);
  std::lock_guard<std::mutex> lock(cacheMutex);
  auto& c = cache();
  if (auto it = c.find(key); it != c.end() && it->second.size == size && it->second.mtime == mtime)
    return it->second.db;
  Entry e;
  e.size = size;
  e.mtime = mtime;
  e.db = load(path, &e.info);
  c[key] = e;
  return e.db;
}

LoadInfo loadInfo(const std::string& path) {
  std::lock_guard<std::mutex> lock(cacheMutex);
  auto it = cache().find(keyOf(path));
  return it == cache().end() ? LoadInfo{} : it->second.info;
}

void clearCache() {
  std::lock_guard<std::mutex> lock(cacheMutex);
  cache().clear();
}

}  // namespace galvix::db::access
