// Chart data loading: the rows of an open static recordset turned into the arrays a chart takes
// (a value per subset and point, a caption per point, a label per subset).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "db/connection.h"
#include "galvix/variant.h"

namespace galvix::charts {

// A column-index list: 16-bit column ordinals from element 0. Its upper bound (size() - 1), not
// its length, is the number of subsets loaded: {k, k} loads one subset, from column k.
using ColumnList = std::vector<std::int16_t>;

class PESQLHelper {
 public:
  // Loads subsets 0 to ubound(columns) - 1, point p from row p; the recordset ends on its first
  // row. A value that is not numeric (text, Null) loads as 0 and lowers MinPoints to its point.
  void LoadXData(db::Recordset& rs, const ColumnList& columns);
  // Captions of points 0 to the record count - 1, from the current row on.
  void LoadPointLabels(db::Recordset& rs, std::int16_t column);
  // Labels 0 to ubound(columns) - 1: the names of those columns; the last label stays empty.
  void LoadSubsetLabels(db::Recordset& rs, const ColumnList& columns);

  std::int32_t MaxPoints() const { return pointCount_; }
  std::int32_t MinPoints() const { return minPoints_; }
  // Reading outside the tables (or before loading) raises RuntimeError 9.
  float XValues(std::int32_t subset, std::int32_t point) const;
  std::string PointLabelString(std::int32_t point) const;
  std::string SubsetLabelString(std::int32_t subset) const;

 private:
  std::int16_t subsetCount_ = 0;
  std::int32_t pointCount_ = 0;
  std::int32_t minPoints_ = 0;
  // (subsetCount_ + 1) x (pointCount_ + 1) cells, subset-major; a cell never filled is Empty.
  std::vector<Variant> values_;
  std::int32_t valueSubsets_ = 0, valuePoints_ = 0;  // allocated bounds + 1
  std::vector<std::string> pointLabels_;
  std::vector<std::string> subsetLabels_;
};

// The provider's data type code of a column (0 empty, 2 small integer, 3 integer, 4 single,
// 5 double, 6 currency, 7 date, 11 boolean, 202 text, 205 binary).
int providerTypeCode(VarType declared);

}  // namespace galvix::charts
