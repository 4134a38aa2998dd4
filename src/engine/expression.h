// Data-field expressions of group keys and bound fields: a column name, or "=expression" with
// column names, string and number literals, & and + and -, and a few text functions
// (Left, Right, Mid, Len, Trim, LTrim, RTrim, UCase, LCase, CStr, Nz).
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine/data_control.h"
#include "galvix/variant.h"

namespace galvix::engine {

class Expression {
 public:
  struct Node;
  // Compiles `dataField` against the row source's columns. A plain name that is no column
  // compiles to "missing" (see isMissingColumn); a malformed expression throws EngineError.
  static Expression compile(std::string_view dataField, const Columns& columns);
  Expression();
  ~Expression();
  Expression(Expression&&) noexcept;
  Expression& operator=(Expression&&) noexcept;

  Variant eval(const RowValues& row) const;
  bool isMissingColumn() const { return missing_; }
  bool empty() const { return !root_ && !missing_; }

 private:
  std::shared_ptr<const Node> root_;
  bool missing_ = false;
};

}  // namespace galvix::engine
