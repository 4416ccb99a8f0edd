// The state of one parse, shared by the page parser and the routines of its tags. Inside this module only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Tifutil/PageParser.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"

enum class TagOutcome {
  kGoOn,
  kRefused,             // the page is refused and all its arrays are freed
  kTooManyExtraSamples, // ends the parse with -9
};

struct PageParse {
  TifFile* file;
  TifPage* page;
  ParseMode mode;
  RgbMode rgbMode;
  uint32_t samplesPerPixelTag; // tag 277, at most kMaxSamples; 0 until it is met
  uint32_t resolutionUnit;     // tag 296
  uint32_t nextDirectory;      // the word behind the entries; 0 when it cannot be read
  // What the tables of the page really hold; tags of unlike counts leave stripCount unlike one of them.
  uint32_t offsetsLength;
  uint32_t byteCountsLength;
  uint32_t stripCompressionBytes;
  uint32_t stripOrders; // tags 33467 applied
};

// Seeks to `offset`, and tells whether `bytes` can still be read there. A seek that fails is no answer: the read that
// follows decides, though never with more bytes than the whole file has.
bool TIFSeekToBlock(const TifFile* file, uint32_t offset, uint64_t bytes);

// A block of `bytes` bytes; null also where the number does not fit the target's size_t.
inline void* TIFAllocBytes(uint64_t bytes, const char* file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
  return bytes <= SIZE_MAX ? TIFAlloc(1, static_cast<size_t>(bytes), file, line) : nullptr;
}

bool TIFReadExactly(const TifFile* file, void* buffer, uint32_t bytes);

constexpr bool TIFIsLoading(const PageParse& parse) {
  return parse.mode == ParseMode::kLoad;
}
