#include "charts/PESQLHelper.h"

#include "runtime/format.h"
#include "runtime/vb.h"

namespace galvix::charts {
namespace {

constexpr int kErrSubscript = 9;
constexpr std::int32_t kNoTextValue = 10'000'000;

[[noreturn]] void outOfRange(const std::string& what, std::int64_t index) {
  throw RuntimeError(kErrSubscript, "Subscript out of range: PESQLHelper " + what + "(" +
                                        std::to_string(index) + ")");
}

// The record count the tables are sized by; a forward-only recordset does not know it.
std::int32_t recordCount(db::Recordset& rs) {
  const long n = rs.recordCount();
  if (n < 0)
    throw RuntimeError(kErrSubscript,
                       "Subscript out of range: PESQLHelper needs the record count (open the "
                       "recordset with a static cursor)");
  return static_cast<std::int32_t>(n);
}

std::int16_t upperBound(const ColumnList& columns) {
  if (columns.empty())
    throw RuntimeError(kErrSubscript, "Subscript out of range: PESQLHelper: empty column list");
  return static_cast<std::int16_t>(columns.size() - 1);
}

}  // namespace

int providerTypeCode(VarType t) {
  switch (t) {
    case VarType::Empty:
    case VarType::Null:
      return 0;
    case VarType::Integer:
      return 2;
    case VarType::Long:
      return 3;
    case VarType::Single:
      return 4;
    case VarType::Double:
      return 5;
    case VarType::Currency:
      return 6;
    case VarType::Date:
      return 7;
    case VarType::Boolean:
      return 11;
    case VarType::String:
      return 202;
    case VarType::Binary:
      return 205;
  }
  return 0;
}

void PESQLHelper::LoadXData(db::Recordset& rs, const ColumnList& columns) {
  minPoints_ = kNoTextValue;
  subsetCount_ = upperBound(columns);
  pointCount_ = recordCount(rs);
  valueSubsets_ = subsetCount_ + 1;
  valuePoints_ = pointCount_ + 1;
  values_.assign(static_cast<std::size_t>(valueSubsets_) * static_cast<std::size_t>(valuePoints_),
                 Variant());
  for (std::int32_t s = 0; s < subsetCount_; ++s) {
    for (std::int32_t p = 0; p < pointCount_; ++p) {
      const Variant v = rs.fields(columns[static_cast<std::size_t>(s)]).value();
      Variant& cell = values_[static_cast<std::size_t>(s) * valuePoints_ + p];
      if (vb::IsNumeric(v)) {
        // Kept as the locale's currency text, so it reads back rounded to the currency's
        // decimals.
        cell = Variant(Format(v, "Currency"));
      } else {
        cell = Variant(std::int16_t{0});
        if (p < minPoints_) minPoints_ = p;
      }
      rs.moveNext();
    }
    rs.moveFirst();
  }
}

void PESQLHelper::LoadPointLabels(db::Recordset& rs, std::int16_t column) {
  pointCount_ = recordCount(rs);
  pointLabels_.assign(static_cast<std::size_t>(pointCount_) + 1, std::string());
  for (std::int32_t p = 0; p < pointCount_; ++p) {
    db::Field& f = rs.fields(column);
    const Variant v = f.value();
    if (v.isNull())
      throw RuntimeError(kErrInvalidNull, "Invalid use of Null: point caption " +
                                              std::to_string(p) + " from column " + f.name());
    // Small integers, singles and currency (and untyped columns) caption as money.
    if ((providerTypeCode(f.type()) & ~6) == 0)
      pointLabels_[static_cast<std::size_t>(p)] = Format(v, "Currency");
    else
      pointLabels_[static_cast<std::size_t>(p)] = v.toString();
    rs.moveNext();
  }
}

void PESQLHelper::LoadSubsetLabels(db::Recordset& rs, const ColumnList& columns) {
  const std::int16_t ub = upperBound(columns);
  subsetLabels_.assign(static_cast<std::size_t>(ub) + 1, std::string());
  for (std::int16_t i = 0; i < ub; ++i)
    subsetLabels_[static_cast<std::size_t>(i)] =
        rs.fields(columns[static_cast<std::size_t>(i)]).name();
}

float PESQLHelper::XValues(std::int32_t subset, std::int32_t point) const {
  if (subset < 0 || subset >= valueSubsets_) outOfRange("XValues subset ", subset);
  if (point < 0 || point >= valuePoints_) outOfRange("XValues point ", point);
  const Variant& cell = values_[static_cast<std::size_t>(subset) * valuePoints_ + point];
  return cell.isEmpty() ? 0.0f : cell.toSingle();
}

std::string PESQLHelper::PointLabelString(std::int32_t point) const {
  if (point < 0 || static_cast<std::size_t>(point) >= pointLabels_.size())
    outOfRange("PointLabelString ", point);
  return pointLabels_[static_cast<std::size_t>(point)];
}

std::string PESQLHelper::SubsetLabelString(std::int32_t subset) const {
  if (subset < 0 || static_cast<std::size_t>(subset) >= subsetLabels_.size())
    outOfRange("SubsetLabelString ", subset);
  return subsetLabels_[static_cast<std::size_t>(subset)];
}

}  // namespace galvix::charts
