// Greys and ramps. Used by the palette operations and by the conversions of depth.
#pragma once

#include "vxkernel/bitmap.h"

namespace kernel {

// Entry i of an even ramp of n greys, black first.
constexpr uint8_t RampEntry(uint32_t i, uint32_t n) {
  return n < 2 ? uint8_t{0} : static_cast<uint8_t>(((n - 1) / 2 + 255 * i) / (n - 1));
}

// The brightness of a colour by the weights of Rec. 601.
constexpr uint8_t GrayOf(const VxColor& color) {
  return static_cast<uint8_t>((299u * color.red + 587u * color.green + 114u * color.blue + 500u) / 1000u);
}

} // namespace kernel
