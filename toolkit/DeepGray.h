// Rows of grey samples of more than 8 bits, as bitmaps hold them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace toolkit {

// Samples as 32-bit numbers. Sixteen and 32 bits stand in host order; twelve bits as two samples in three bytes, the
// low nibbles first; other depths as a bit stream with the high bits first.
void ReadGrayRow(const uint8_t* row, size_t width, uint32_t bits, uint32_t* samples);

// The same the other way, for 12, 16 and 32 bits.
void WriteGrayRow(const uint32_t* samples, size_t width, uint32_t bits, uint8_t* row);

} // namespace toolkit
