// What the kernel itself needs of the accounted blocks beyond memory.h. Used by the bitmaps.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kernel {

// Which limit a block counts against: that of the blocks, or that of the pixels that hosts ask for.
enum class BlockKind : int32_t { kPlain, kPixels };

// Cleared memory for pixels, released with krnFree; null on failure.
void* AllocatePixels(size_t bytes, BlockKind kind);

} // namespace kernel
