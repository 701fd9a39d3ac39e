#pragma once
// The row kernel of Correlate: the sum of |values[k] - bytes[k]| over a row.

#include <cstdint>

namespace qv {

// Sum over k < count of |values[k] - bytes[k]|, exactly (each term is below 2^32, the sum of at
// most 2^31 of them below 2^63).
uint64_t SumOfAbsoluteDifferences(const int32_t* values, const uint8_t* bytes, int32_t count);

}  // namespace qv
