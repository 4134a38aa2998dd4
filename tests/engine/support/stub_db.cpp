// Stand-in for data access while its module is not yet in the tree: errors only. The engine's
// tests use in-memory rows until then. Not used once galvix_db exists.
#include "db/connection.h"

namespace galvix::db {

class ConnectionImpl {};
class RecordsetImpl {};

DbError::DbError(std::uint32_t number, std::string description, std::string sqlWritten,
                 std::string sqlExecuted, int position)
    : std::runtime_error(description),
      number_(number),
      description_(std::move(description)),
      sqlWritten_(std::move(sqlWritten)),
      sqlExecuted_(std::move(sqlExecuted)),
      position_(position) {}

Connection::Connection() = default;
Connection::~Connection() = default;
void Connection::open(std::string_view) {
  throw DbError(kErrConnection, "test stand-in: no database access");
}
const std::string& Connection::connectionString() const {
  return connectionString_;
}
Recordset::Recordset() = default;
Recordset::~Recordset() = default;
void Recordset::open(std::string_view, Connection&, CursorType) {
  throw DbError(kErrConnection, "test stand-in: no database access");
}
bool Recordset::EOF_() const {
  return true;
}
void Recordset::moveNext() {}
int Recordset::fieldCount() const {
  return 0;
}
Field& Recordset::fields(int) {
  throw DbError(kErrNoSuchColumn, "test stand-in");
}
const std::string& Field::name() const {
  throw DbError(kErrNoSuchColumn, "test stand-in");
}
Variant Field::value() const {
  throw DbError(kErrNoSuchColumn, "test stand-in");
}

}  // namespace galvix::db
