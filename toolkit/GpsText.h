// Positions between degrees, minutes and seconds as people write them and the three fractions that metadata keeps.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "toolkit/Fractions.h"

namespace toolkit {

enum class PositionKind { kLatitude, kLongitude };

struct Position {
  std::array<Fraction, 3> parts; // degrees, minutes, seconds
  char hemisphere = 0;           // N, S, E or W; 0 when the text leaves it open
};

// Takes 48.8584N, -33.5, 48°51'30.24"N, 48 51 30.24 N, 48 deg 51.504' N, N 48:51:30 and 52/1,31/1,12/1. Degrees alone
// come out as degrees, minutes and seconds, to a ten-millionth of a second; several numbers stay as they are given. A
// letter or a sign tells the hemisphere. Throws std::invalid_argument with what is wrong.
Position ParsePosition(std::string_view text, PositionKind kind);

// The other way, exactly: 48°51'30.24"N. Fractions whose denominator is 0, which stand for an unknown position, are
// listed as fractions.
std::string FormatPosition(std::span<const Fraction, 3> parts, std::string_view hemisphere);

} // namespace toolkit
