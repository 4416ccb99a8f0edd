// Conversions that cannot overflow: what does not fit takes the nearest end of the range, and what is no number is 0.
// Used wherever a value of a file or a request meets a narrower field.
#pragma once

#include <cstdint>

constexpr int32_t TIFSaturateI32(int64_t value) {
  return value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

constexpr uint32_t TIFSaturateU32(uint64_t value) {
  return value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
}

// Truncation toward zero. The comparisons are false for a NaN, which ends as 0.
constexpr int32_t TIFTruncateToI32(double value) {
  if (value >= 2147483647.0) {
    return INT32_MAX;
  }
  if (value <= -2147483648.0) {
    return INT32_MIN;
  }
  return value == value ? static_cast<int32_t>(value) : 0;
}

constexpr uint32_t TIFTruncateToU32(double value) {
  if (value >= 4294967295.0) {
    return UINT32_MAX;
  }
  return value > 0.0 ? static_cast<uint32_t>(value) : 0;
}

// ceil(value / divisor); nothing for a divisor or a value that is not positive.
constexpr uint64_t TIFCeilDiv(int64_t value, int64_t divisor) {
  if (value <= 0 || divisor <= 0) {
    return 0;
  }
  return static_cast<uint64_t>((value - 1) / divisor + 1);
}
