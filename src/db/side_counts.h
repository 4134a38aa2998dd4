// Counts a report runs once per row ("how many guests of group 7 at party 3"), answered from one
// grouped query per run instead: the rules are in docs/db.md ("Counts per row").
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/connection_impl.h"

namespace galvix::db {

// For tests: while one lives, the connections of this thread note every statement they
// translate, and every count they answer from a grouped query is also run on its own, both
// answers kept.
class SideQueryLog {
 public:
  SideQueryLog();
  ~SideQueryLog();
  SideQueryLog(const SideQueryLog&) = delete;
  SideQueryLog& operator=(const SideQueryLog&) = delete;
  static SideQueryLog* current();

  struct Answer {
    std::string sql;  // as written
    Variant grouped, alone;
  };
  std::vector<std::string> statements;
  std::vector<Answer> answers;

 private:
  SideQueryLog* previous_;
};

// One connection's grouped counts. Belongs to one connection of one run: nothing is shared.
class SideCounts {
 public:
  explicit SideCounts(sqlite3* db);
  ~SideCounts();
  SideCounts(const SideCounts&) = delete;
  SideCounts& operator=(const SideCounts&) = delete;

  // A plan returning `plan`'s count from a grouped query, or null: run `plan` on its own.
  std::shared_ptr<const Plan> answer(const Plan& plan, StatementCache& statements,
                                     std::string_view written);
  // Forgets every count (the data may have changed).
  void clear();

 private:
  static constexpr std::size_t kMaxKeys = 4;
  struct Key {
    std::array<double, kMaxKeys> v{};
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& k) const noexcept;
  };
  struct Table {
    std::string fixed;  // the values of the parameters it was made for
    std::unordered_map<Key, std::int64_t, KeyHash> counts;
  };
  struct Shape {
    std::vector<std::int32_t> first;  // the keys of the first count seen
    std::vector<bool> varying;        // keys seen with another value since
    int seen = 0;
    bool grouped = false, off = false;
    std::string sql;               // grouped by the varying keys
    std::vector<int> fixedParams;  // bound to it, in order
    std::vector<int> keyParams;    // the varying keys' values
    std::deque<Table> tables;      // the latest few
    std::size_t builds = 0, lookups = 0;
  };

  bool current();
  void decide(Shape& s, const Plan& plan);
  const Table* build(Shape& s, const Plan& plan, std::string fixed, StatementCache& statements);

  sqlite3* db_;
  std::array<sqlite3_stmt*, 3> stamp_{};  // data_version, schema_version, temp.schema_version
  std::array<std::int64_t, 4> seenStamp_{-1, -1, -1, -1};
  TextMap<Shape> shapes_;
};

}  // namespace galvix::db
