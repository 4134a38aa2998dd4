// Arithmetic the labels and stationery reports lay paper out with: twips held as singles,
// rounded to whole twips (halves to even) and subtracted as 32-bit integers, where a value out
// of range is the platform's overflow error rather than a wrapped number.
#pragma once

#include <climits>
#include <cstdint>

#include "galvix/variant.h"

namespace galvix::reports::paper {

// A single-precision property value, converted as the platform converts it.
inline float single(const Variant& v) {
  return v.toSingle();
}

// Rounded to a whole number of twips; RuntimeError 6 outside the 32-bit range.
inline std::int32_t whole(double twips) {
  return Variant::dbl(twips).toLong();
}

// a - b as a 32-bit integer; RuntimeError 6 when the difference does not fit.
inline std::int32_t difference(std::int32_t a, std::int32_t b) {
  const std::int64_t d = std::int64_t{a} - b;
  if (d < INT32_MIN || d > INT32_MAX)
    throw RuntimeError(kErrOverflow, "overflow: difference out of range for Long");
  return static_cast<std::int32_t>(d);
}

// a * b as a 32-bit integer; RuntimeError 6 when the product does not fit.
inline std::int32_t product(std::int32_t a, std::int32_t b) {
  const std::int64_t p = std::int64_t{a} * b;
  if (p < INT32_MIN || p > INT32_MAX)
    throw RuntimeError(kErrOverflow, "overflow: product out of range for Long");
  return static_cast<std::int32_t>(p);
}

}  // namespace galvix::reports::paper
