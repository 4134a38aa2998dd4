// What the database tests share: a scratch folder per process, a raised error as a value, and a
// command run as a user runs it.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "db/connection.h"

namespace galvix::db::testing {

// The scratch folders this process made, removed when it ends (not by a child it forked, which
// ends while its parent still uses them).
struct ScratchFolders {
  pid_t owner = ::getpid();
  std::set<std::filesystem::path> dirs;
  ~ScratchFolders() {
    if (::getpid() != owner) return;
    std::error_code ec;
    for (const auto& d : dirs) std::filesystem::remove_all(d, ec);
  }
};

// This process's folder "galvix_<tag>_<pid>" (made if need be), or `name` in it.
inline std::filesystem::path scratch(const std::string& tag, const std::string& name = {}) {
  static ScratchFolders made;
  auto dir =
      std::filesystem::temp_directory_path() / ("galvix_" + tag + "_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  made.dirs.insert(dir);
  return name.empty() ? dir : dir / name;
}

// The file name for the running test's database in `tag`'s scratch folder.
inline std::string testDb(const std::string& tag) {
  return scratch(tag, std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) +
                          ".db")
      .string();
}

// The DbError `f` raises; a failure when it raises none.
template <class F>
DbError errorOf(F&& f) {
  try {
    f();
  } catch (const DbError& e) {
    return e;
  }
  ADD_FAILURE() << "no DbError raised";
  return DbError(0, "");
}

struct CommandResult {
  int status = -1;
  std::string out, err;
};

// `cmd` in a shell: its exit status, its output, and (when `errFile` is given) its error output.
inline CommandResult runCommand(std::string cmd, const std::filesystem::path& errFile = {}) {
  if (!errFile.empty()) cmd += " 2>'" + errFile.string() + "'";
  CommandResult r;
  FILE* p = popen(cmd.c_str(), "r");
  char buf[4096];
  for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
  const int st = pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  if (!errFile.empty()) {
    std::ifstream in(errFile);
    r.err.assign(std::istreambuf_iterator<char>(in), {});
  }
  return r;
}

}  // namespace galvix::db::testing
