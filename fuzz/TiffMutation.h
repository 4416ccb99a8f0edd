// A mutation that knows directories: plain mutation of bytes rarely gets past the checks of a header and a chain, while
// one entry changed at a time reaches every rule of the parser.
#pragma once

#include "FuzzTarget.h"

// Changes a TIFF file: entries (tag, type, count, value, order, number), links, byte order, values, image data, choices
// at the end. Gives the new size, at most `room`.
size_t MutateTiff(uint8_t* data, size_t size, size_t room, uint32_t seed, PlainMutation plain);
