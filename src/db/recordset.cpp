#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>

#include "db/connection.h"
#include "db/recordset_impl.h"
#include "db/sqlite_util.h"

namespace galvix::db {

namespace {

const char* const kBofEofMessage =
    "Either BOF or EOF is True, or the current record has been deleted. Requested operation "
    "requires a current record.";
const char* const kClosed = "Operation is not allowed when the object is closed.";

std::string foldName(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

// Days from 1899-12-30 to y-m-d (proleptic Gregorian).
long serialDay(int y, int m, int d) {
  y -= m <= 2;
  long era = (y >= 0 ? y : y - 399) / 400;
  long yoe = y - era * 400;
  long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + 25569;  // 25569: 1899-12-30 to 1970-01-01
}

// Dates written as text ("2024-06-01", "2024-06-01 14:30:00", "14:30") read as serial dates;
// anything else stays text.
bool parseDateText(const char* s, double& serial) {
  int y, mo, d, h = 0, mi = 0, n = 0;
  double sec = 0;
  if (std::sscanf(s, "%4d-%2d-%2d%n", &y, &mo, &d, &n) == 3) {
    double day = static_cast<double>(serialDay(y, mo, d));
    const char* rest = s + n;
    if (*rest == ' ' || *rest == 'T') {
      if (std::sscanf(rest + 1, "%2d:%2d:%lf", &h, &mi, &sec) < 2) return false;
    } else if (*rest) {
      return false;
    }
    double frac = (h * 3600 + mi * 60 + sec) / 86400.0;
    serial = day >= 0 ? day + frac : day - frac;
    return true;
  }
  if (std::sscanf(s, "%2d:%2d:%lf", &h, &mi, &sec) >= 2) {
    serial = (h * 3600 + mi * 60 + sec) / 86400.0;
    return true;
  }
  return false;
}

Variant fromInteger(sqlite3_int64 v, VarType declared) {
  switch (declared) {
    case VarType::Boolean:
      return Variant::boolean(v != 0);
    case VarType::Integer:
      if (v >= std::numeric_limits<std::int16_t>::min() &&
          v <= std::numeric_limits<std::int16_t>::max())
        return Variant::integer(static_cast<std::int16_t>(v));
      break;
    case VarType::Single:
      return Variant::single(static_cast<float>(v));
    case VarType::Double:
      return Variant::dbl(static_cast<double>(v));
    case VarType::Currency:
      return Variant::currency(Currency::fromUnits(v * 10000));
    case VarType::Date:
      return Variant::date(static_cast<double>(v));
    case VarType::String:
      return Variant::string(std::to_string(v));
    default:
      break;
  }
  if (v >= std::numeric_limits<std::int32_t>::min() &&
      v <= std::numeric_limits<std::int32_t>::max())
    return Variant::longInt(static_cast<std::int32_t>(v));
  return Variant::dbl(static_cast<double>(v));
}

Variant fromReal(double v, VarType declared) {
  switch (declared) {
    case VarType::Boolean:
      return Variant::boolean(v != 0);
    case VarType::Integer:
    case VarType::Long:
      // A whole number in an integer column; a fraction stays a Double rather than lose it.
      if (v == std::floor(v) && std::fabs(v) < 2147483648.0)
        return fromInteger(static_cast<sqlite3_int64>(v), declared);
      return Variant::dbl(v);
    case VarType::Single:
      return Variant::single(static_cast<float>(v));
    case VarType::Currency:
      return Variant::currency(Currency::fromDouble(v));
    case VarType::Date:
      return Variant::date(v);
    default:
      return Variant::dbl(v);
  }
}

VarType storageType(sqlite3_stmt* stmt, int i) {
  switch (sqlite3_column_type(stmt, i)) {
    case SQLITE_INTEGER: {
      sqlite3_int64 v = sqlite3_column_int64(stmt, i);
      return (v >= std::numeric_limits<std::int32_t>::min() &&
              v <= std::numeric_limits<std::int32_t>::max())
                 ? VarType::Long
                 : VarType::Double;
    }
    case SQLITE_FLOAT:
      return VarType::Double;
    case SQLITE_BLOB:
      return VarType::Binary;
    case SQLITE_TEXT:
      return VarType::String;
    default:
      return VarType::Empty;
  }
}

long fixedSize(VarType t) {
  switch (t) {
    case VarType::Boolean:
    case VarType::Integer:
      return 2;
    case VarType::Long:
    case VarType::Single:
      return 4;
    case VarType::Double:
    case VarType::Currency:
    case VarType::Date:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

Variant readColumn(sqlite3_stmt* stmt, int i, VarType declared) {
  switch (sqlite3_column_type(stmt, i)) {
    case SQLITE_NULL:
      return Variant::null();
    case SQLITE_INTEGER:
      return fromInteger(sqlite3_column_int64(stmt, i), declared);
    case SQLITE_FLOAT:
      return fromReal(sqlite3_column_double(stmt, i), declared);
    case SQLITE_BLOB: {
      auto p = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt, i));
      int n = sqlite3_column_bytes(stmt, i);
      return Variant::binary(Bytes(p, p + n));
    }
    default: {
      auto p = reinterpret_cast<const char*>(sqlite3_column_text(stmt, i));
      int n = sqlite3_column_bytes(stmt, i);
      if (declared == VarType::Date) {
        double serial;
        if (parseDateText(p, serial)) return Variant::date(serial);
      }
      if (declared == VarType::Binary) {
        auto b = reinterpret_cast<const std::uint8_t*>(p);
        return Variant::binary(Bytes(b, b + n));
      }
      return Variant::string(std::string(p, static_cast<std::size_t>(n)));
    }
  }
}

void RecordsetImpl::release() {
  if (stmt) {
    if (auto c = cache.lock()) {
      c->giveBack(stmt);
    } else {
      sqlite3_finalize(stmt);
    }
    stmt = nullptr;
  }
}

// ---------------------------------------------------------------------------------------------
Recordset::Recordset() : impl_(std::make_unique<RecordsetImpl>()) {}
Recordset::~Recordset() = default;

void Recordset::open(std::string_view jetSql, Connection& conn, CursorType cursor) {
  close();
  if (!conn.isOpen()) throw DbError(kErrState, kClosed, std::string(jetSql));
  openPlan(conn.impl().readPlan(jetSql), jetSql, conn, cursor);
}

void Recordset::openNative(std::string_view sqliteSql, Connection& conn, CursorType cursor) {
  close();
  if (!conn.isOpen()) throw DbError(kErrState, kClosed, std::string(sqliteSql));
  auto plan = std::make_shared<Plan>();
  plan->sql = std::string(sqliteSql);
  plan->kind = PlanKind::Select;
  openPlan(std::move(plan), sqliteSql, conn, cursor);
}

void Recordset::openPlan(std::shared_ptr<const Plan> plan, std::string_view jetSql,
                         Connection& conn, CursorType cursor) {
  ConnectionImpl& ci = conn.impl();
  if (plan->kind == PlanKind::MakeTable || plan->kind == PlanKind::DropTable) {
    // An action query returns no rows: run it and stay closed, as the provider does.
    ci.run(*plan, jetSql);
    return;
  }
  std::string written(jetSql);
  bool translated = plan->sql != written;
  int rc = 0;
  std::string_view tail;
  sqlite3_stmt* st = ci.statements()->checkOut(plan->sql, rc, &tail);
  if (!st) throw sqliteError(ci.db(), rc, written, plan->sql, translated);
  if (sqlite3_column_count(st) == 0) {
    // Returns no rows (an update, a create): run it once and stay closed.
    ci.statements()->giveBack(st);
    ci.run(*plan, jetSql);
    return;
  }

  auto& m = *impl_;
  m.db = ci.dbShared();
  m.cache = ci.statements();
  m.plan = plan;
  m.jetSql = written;
  m.stmt = st;
  m.cursor = cursor;
  {
    LogAs as(plan->answer ? LoggedStatement::Kind::Answer : LoggedStatement::Kind::Run);
    bindParams(st, plan->params);
  }

  int n = sqlite3_column_count(st);
  m.names.resize(static_cast<std::size_t>(n));
  m.declared.resize(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    auto ui = static_cast<std::size_t>(i);
    if (ui < plan->columnNames.size() && !plan->columnNames[ui].empty()) {
      m.names[ui] = plan->columnNames[ui];
    } else {
      const char* name = sqlite3_column_name(st, i);
      m.names[ui] = name ? name : "";
    }
    m.declared[ui] = ui < plan->columnTypes.size() ? plan->columnTypes[ui] : VarType::Empty;
    if (m.declared[ui] == VarType::Empty)
      m.declared[ui] = varTypeFromDecl(sqlite3_column_decltype(st, i));
    m.byName.emplace(foldName(m.names[ui]), i);  // the first of equal names wins
  }

  rc = sqlite3_step(st);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
    DbError e = sqliteError(ci.db(), rc, written, plan->sql, translated);
    m.release();
    *impl_ = RecordsetImpl{};
    throw e;
  }
  m.types = m.declared;
  for (int i = 0; i < n; ++i) {
    auto ui = static_cast<std::size_t>(i);
    if (m.types[ui] == VarType::Empty)
      m.types[ui] = rc == SQLITE_ROW ? storageType(st, i) : VarType::Empty;
    if (m.types[ui] == VarType::Empty) m.types[ui] = VarType::String;
  }
  if (cursor == CursorType::Static) {
    try {
      while (rc == SQLITE_ROW) {
        std::vector<Variant> row;
        row.reserve(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i)
          row.push_back(readColumn(st, i, m.declared[static_cast<std::size_t>(i)]));
        m.rows.push_back(std::move(row));
        rc = sqlite3_step(st);
      }
      if (rc != SQLITE_DONE) throw sqliteError(ci.db(), rc, written, plan->sql, translated);
    } catch (...) {
      m.release();
      *impl_ = RecordsetImpl{};
      throw;
    }
    m.release();
    m.empty = m.rows.empty();
  } else {
    m.empty = rc != SQLITE_ROW;
  }
  m.eof = m.empty;
  m.position = 0;
  m.open = true;
  fields_.clear();
  for (int i = 0; i < n; ++i) fields_.push_back(std::unique_ptr<Field>(new Field(this, i)));
}

void Recordset::close() {
  impl_->release();
  *impl_ = RecordsetImpl{};
  fields_.clear();
}

bool Recordset::isOpen() const {
  return impl_->open;
}

bool Recordset::BOF() const {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  return impl_->empty;
}

bool Recordset::EOF_() const {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  return impl_->eof;
}

void Recordset::moveNext() {
  auto& m = *impl_;
  if (!m.open) throw DbError(kErrState, kClosed);
  if (m.eof) throw DbError(kErrBofEof, kBofEofMessage, m.jetSql);
  for (auto& f : fields_) f->chunkOffset_ = 0;
  ++m.position;
  if (m.cursor == CursorType::Static) {
    m.eof = m.position >= static_cast<long>(m.rows.size());
    return;
  }
  int rc = sqlite3_step(m.stmt);
  if (rc == SQLITE_ROW) return;
  m.eof = true;
  if (rc != SQLITE_DONE) {
    throw sqliteError(m.db.get(), rc, m.jetSql, m.plan->sql, m.plan->sql != m.jetSql);
  }
}

void Recordset::moveFirst() {
  auto& m = *impl_;
  if (!m.open) throw DbError(kErrState, kClosed);
  for (auto& f : fields_) f->chunkOffset_ = 0;
  m.position = 0;
  if (m.cursor == CursorType::Static) {
    m.eof = m.rows.empty();
    return;
  }
  // Forward-only: run the query again (bindings survive a reset).
  sqlite3_reset(m.stmt);
  int rc = sqlite3_step(m.stmt);
  m.empty = m.eof = rc != SQLITE_ROW;
  if (rc != SQLITE_ROW && rc != SQLITE_DONE)
    throw sqliteError(m.db.get(), rc, m.jetSql, m.plan->sql, m.plan->sql != m.jetSql);
}

long Recordset::recordCount() const {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  return impl_->cursor == CursorType::Static ? static_cast<long>(impl_->rows.size()) : -1;
}

int Recordset::fieldCount() const {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  return static_cast<int>(fields_.size());
}

Field& Recordset::fields(int ordinal) {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  if (ordinal < 0 || ordinal >= static_cast<int>(fields_.size()))
    throw DbError(kErrItemNotFound,
                  "Item cannot be found in the collection corresponding to the requested name or "
                  "ordinal: " +
                      std::to_string(ordinal) + ".",
                  impl_->jetSql);
  return *fields_[static_cast<std::size_t>(ordinal)];
}

Field& Recordset::fields(std::string_view name) {
  if (!impl_->open) throw DbError(kErrState, kClosed);
  auto it = impl_->byName.find(foldName(name));
  if (it == impl_->byName.end())
    throw DbError(kErrItemNotFound,
                  "Item cannot be found in the collection corresponding to the requested name or "
                  "ordinal: '" +
                      std::string(name) + "'.",
                  impl_->jetSql);
  return *fields_[static_cast<std::size_t>(it->second)];
}

RecordsetImpl& Recordset::impl() {
  return *impl_;
}

// ---------------------------------------------------------------------------------------------
const std::string& Field::name() const {
  return rs_->impl_->names[static_cast<std::size_t>(ordinal_)];
}

VarType Field::type() const {
  return rs_->impl_->types[static_cast<std::size_t>(ordinal_)];
}

Variant Field::value() const {
  auto& m = *rs_->impl_;
  if (!m.open) throw DbError(kErrState, kClosed);
  if (m.eof) throw DbError(kErrBofEof, kBofEofMessage, m.jetSql);
  auto i = static_cast<std::size_t>(ordinal_);
  if (m.cursor == CursorType::Static) return m.rows[static_cast<std::size_t>(m.position)][i];
  return readColumn(m.stmt, ordinal_, m.declared[i]);
}

long Field::actualSize() const {
  auto& m = *rs_->impl_;
  if (!m.open) throw DbError(kErrState, kClosed);
  if (m.eof) throw DbError(kErrBofEof, kBofEofMessage, m.jetSql);
  if (m.cursor == CursorType::ForwardOnly) {
    int t = sqlite3_column_type(m.stmt, ordinal_);
    if (t == SQLITE_NULL) return 0;
    if (t == SQLITE_TEXT || t == SQLITE_BLOB) return sqlite3_column_bytes(m.stmt, ordinal_);
  }
  Variant v = value();
  if (v.type() == VarType::String) return static_cast<long>(v.rawString().size());
  if (v.type() == VarType::Binary) return static_cast<long>(v.bytes().size());
  return fixedSize(v.type());
}

Bytes Field::getChunk(long n) {
  auto& m = *rs_->impl_;
  if (!m.open) throw DbError(kErrState, kClosed);
  if (m.eof) throw DbError(kErrBofEof, kBofEofMessage, m.jetSql);
  const std::uint8_t* data = nullptr;
  long size = 0;
  Variant held;  // keeps a static row's value alive while we copy from it
  if (m.cursor == CursorType::ForwardOnly) {
    int t = sqlite3_column_type(m.stmt, ordinal_);
    if (t == SQLITE_BLOB || t == SQLITE_TEXT) {
      data = static_cast<const std::uint8_t*>(t == SQLITE_BLOB
                                                  ? sqlite3_column_blob(m.stmt, ordinal_)
                                                  : sqlite3_column_text(m.stmt, ordinal_));
      size = sqlite3_column_bytes(m.stmt, ordinal_);
    }
  } else {
    held = value();
    if (held.type() == VarType::Binary) {
      data = held.bytes().data();
      size = static_cast<long>(held.bytes().size());
    } else if (held.type() == VarType::String) {
      data = reinterpret_cast<const std::uint8_t*>(held.rawString().data());
      size = static_cast<long>(held.rawString().size());
    }
  }
  if (n < 0) n = 0;
  long start = std::min(chunkOffset_, size);
  long take = std::min(n, size - start);
  chunkOffset_ = start + take;
  if (take <= 0) return {};
  return Bytes(data + start, data + start + take);
}

}  // namespace galvix::db
