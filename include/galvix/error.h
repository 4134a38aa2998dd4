// Every exception the library throws is a galvix::Error (or derives from it): catch that one type
// to handle them all. What failed is in what(); the parts a host may want to show or log apart
// are kept beside it.
#pragma once

#include <stdexcept>
#include <string>

namespace galvix {

class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& what) : std::runtime_error(what) {}

  // The catalogue name (or designer) of the report, when a report failed.
  const std::string& report() const noexcept { return report_; }
  // The statement as the report wrote it (Jet SQL) and as it was executed, for database errors.
  const std::string& sqlWritten() const noexcept { return sqlWritten_; }
  const std::string& sqlExecuted() const noexcept { return sqlExecuted_; }
  // 0-based offset of a syntax error in sqlWritten(), -1 when none.
  int position() const noexcept { return position_; }
  // The underlying error's own message, without the report's name and the SQL.
  const std::string& cause() const noexcept { return cause_.empty() ? empty_ : cause_; }

  Error& withReport(std::string r) {
    report_ = std::move(r);
    return *this;
  }
  Error& withSql(std::string written, std::string executed, int position = -1) {
    sqlWritten_ = std::move(written);
    sqlExecuted_ = std::move(executed);
    position_ = position;
    return *this;
  }
  Error& withCause(std::string c) {
    cause_ = std::move(c);
    return *this;
  }

 private:
  std::string report_, sqlWritten_, sqlExecuted_, cause_;
  int position_ = -1;
  inline static const std::string empty_;
};

// A report could not run: its database, its SQL, a handler, a time limit or a cancel.
class ReportRunError : public Error {
 public:
  using Error::Error;
};

// The database could not be opened or a statement failed; sqlWritten() and sqlExecuted() say
// which.
class DatabaseError : public ReportRunError {
 public:
  using ReportRunError::ReportRunError;
};

// A property the report does not have, or a value it cannot take.
class PropertyError : public Error {
 public:
  using Error::Error;
};

// A PDF, PNG or SVG could not be written (the file, the stream or the buffer).
class OutputError : public Error {
 public:
  using Error::Error;
};

}  // namespace galvix
