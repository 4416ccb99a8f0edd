// Accounted blocks: krnAlloc and its fellows.
//
// Each block is a header, then the caller's bytes. The headers form a ring, so that a host can walk the live blocks and
// release costs a few stores. Nothing is locked: the toolkit makes one call at a time.
// Used by everything in the toolkit that needs memory, the kernel's bitmaps and movable blocks included.

#include "vxkernel/memory.h"

#include "BlockMemory.h"
#include "KernelLimits.h"

#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define VX_SANITIZE_ADDRESS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VX_SANITIZE_ADDRESS 1
#endif
#endif
#if defined(VX_SANITIZE_ADDRESS)
#include <sanitizer/asan_interface.h>
#endif

namespace {

using kernel::BlockKind;
using kernel::limits;
using kernel::statistics;

struct BlockHeader {
  BlockHeader* next;
  BlockHeader* previous;
  void* raw; // what the system gave
  size_t bytes;
  const char* sourceModule;
  int32_t line;
  kernel::BlockKind kind;
};

constexpr size_t kAlignment = 16;

// Under AddressSanitizer the header would hide what runs below a block, so a poisoned gap stands between.
#if defined(VX_SANITIZE_ADDRESS)
constexpr size_t kGuardBytes = 16;
#else
constexpr size_t kGuardBytes = 0;
#endif

constexpr size_t RoundUp(size_t bytes, size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

constexpr size_t kHeaderBytes = RoundUp(sizeof(BlockHeader), kAlignment) + kGuardBytes;
// Systems whose own blocks are aligned to less get room to move up.
constexpr size_t kSlackBytes =
    __STDCPP_DEFAULT_NEW_ALIGNMENT__ < kAlignment ? kAlignment - __STDCPP_DEFAULT_NEW_ALIGNMENT__ : 0;
constexpr size_t kOverheadBytes = kHeaderBytes + kSlackBytes;

BlockHeader ring = {&ring, &ring, nullptr, 0, nullptr, 0, BlockKind::kPlain};

KrnAllocHook allocHook = nullptr;
void* allocHookData = nullptr;

BlockHeader* HeaderOf(void* block) {
  return reinterpret_cast<BlockHeader*>(static_cast<unsigned char*>(block) - kHeaderBytes);
}

void* BytesOf(BlockHeader* header) {
  return reinterpret_cast<unsigned char*>(header) + kHeaderBytes;
}

void SetGuard([[maybe_unused]] BlockHeader* header, [[maybe_unused]] bool on) {
#if defined(VX_SANITIZE_ADDRESS)
  unsigned char* guard = static_cast<unsigned char*>(BytesOf(header)) - kGuardBytes;
  if (on) {
    ASAN_POISON_MEMORY_REGION(guard, kGuardBytes);
  } else {
    ASAN_UNPOISON_MEMORY_REGION(guard, kGuardBytes);
  }
#endif
}

void* AlignUp(void* raw) {
  if constexpr (kSlackBytes == 0) {
    return raw;
  } else {
    const auto address = reinterpret_cast<uintptr_t>(raw);
    return static_cast<unsigned char*>(raw) + (RoundUp(address, kAlignment) - address);
  }
}

// The limit that applies, and how much of it is in use.
bool FitsLimits(size_t bytes, size_t freed, BlockKind kind) {
  if (bytes > SIZE_MAX - kOverheadBytes || bytes > limits.blockBytes) {
    return false;
  }
  const bool pixels = kind == BlockKind::kPixels;
  const uint64_t used = (pixels ? statistics.pixelBytes : statistics.liveBytes - statistics.pixelBytes) - freed;
  // Nearly every request fits the base; only one that does not needs to know what is open.
  uint64_t allowed = pixels ? limits.pixelBytes : limits.liveBytes.base;
  if (!pixels && (used > allowed || bytes > allowed - used || allowed > limits.liveBytes.most)) {
    allowed = kernel::BudgetFor(limits.liveBytes, kernel::openFileBytes);
  }
  return used <= allowed && bytes <= allowed - used;
}

// Whether a request may be tried when `freed` bytes go away with it.
bool Permits(size_t bytes, size_t freed, int32_t line, const char* sourceModule, BlockKind kind) {
  return FitsLimits(bytes, freed, kind) &&
         (allocHook == nullptr || allocHook(bytes, line, sourceModule, allocHookData) != 0);
}

void CountNewBytes(size_t bytes, size_t freed) {
  statistics.liveBytes = statistics.liveBytes - freed + bytes;
  statistics.allocations += 1;
  if (statistics.liveBytes > statistics.peakBytes) {
    statistics.peakBytes = statistics.liveBytes;
  }
}

void* Allocate(size_t count, size_t size, int32_t line, const char* sourceModule, bool clear, BlockKind kind) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes) || !Permits(bytes, 0, line, sourceModule, kind)) {
    return nullptr;
  }
  // calloc knows which pages come cleared from the system and leaves them alone.
  void* raw = clear ? std::calloc(1, bytes + kOverheadBytes) : std::malloc(bytes + kOverheadBytes);
  if (raw == nullptr) {
    return nullptr;
  }
  auto* header = static_cast<BlockHeader*>(AlignUp(raw));
  *header = {&ring, ring.previous, raw, bytes, sourceModule, line, kind};
  header->previous->next = header;
  ring.previous = header;
  SetGuard(header, true);
  statistics.liveBlocks += 1;
  CountNewBytes(bytes, 0);
  if (kind == BlockKind::kPixels) {
    statistics.pixelBytes += bytes;
  }
  return BytesOf(header);
}

} // namespace

void* krnAlloc(size_t count, size_t size, int32_t line, const char* sourceModule) {
  return Allocate(count, size, line, sourceModule, false, BlockKind::kPlain);
}

void* krnAllocZero(size_t count, size_t size, int32_t line, const char* sourceModule) {
  return Allocate(count, size, line, sourceModule, true, BlockKind::kPlain);
}

void* kernel::AllocatePixels(size_t bytes, BlockKind kind) {
  return Allocate(1, bytes, __LINE__, "vxkernel/pixels", true, kind);
}

void* krnRealloc(void* block, size_t newSize, int32_t line, const char* sourceModule) {
  if (block == nullptr) {
    return krnAlloc(1, newSize, line, sourceModule);
  }
  BlockHeader* header = HeaderOf(block);
  const size_t oldSize = header->bytes;
  if constexpr (kSlackBytes != 0) {
    // The system's realloc would keep the distance from its own block, not the alignment.
    void* grown = krnAlloc(1, newSize, line, sourceModule);
    if (grown != nullptr) {
      std::memcpy(grown, block, oldSize < newSize ? oldSize : newSize);
      krnFree(block, line, sourceModule);
    }
    return grown;
  }
  if (!Permits(newSize, oldSize, line, sourceModule, BlockKind::kPlain)) {
    return nullptr;
  }
  SetGuard(header, false);
  auto* moved = static_cast<BlockHeader*>(std::realloc(header, newSize + kOverheadBytes));
  if (moved == nullptr) {
    SetGuard(header, true);
    return nullptr;
  }
  *moved = {moved->next, moved->previous, moved, newSize, sourceModule, line, BlockKind::kPlain};
  moved->previous->next = moved;
  moved->next->previous = moved;
  SetGuard(moved, true);
  CountNewBytes(newSize, oldSize);
  return BytesOf(moved);
}

void krnFree(void* block, int32_t, const char*) {
  if (block == nullptr) {
    return;
  }
  BlockHeader* header = HeaderOf(block);
  header->previous->next = header->next;
  header->next->previous = header->previous;
  statistics.liveBlocks -= 1;
  statistics.liveBytes -= header->bytes;
  if (header->kind == BlockKind::kPixels) {
    statistics.pixelBytes -= header->bytes;
  }
  SetGuard(header, false);
  std::free(header->raw);
}

void krnVisitBlocks(KrnBlockVisitor visit, void* userData) {
  if (visit == nullptr) {
    return;
  }
  for (BlockHeader* header = ring.next; header != &ring;) {
    BlockHeader* next = header->next; // the visitor may free the block that it is shown
    if (visit(BytesOf(header), header->bytes, header->line, header->sourceModule, userData) == 0) {
      return;
    }
    header = next;
  }
}

void krnSetAllocHook(KrnAllocHook hook, void* userData) {
  allocHook = hook;
  allocHookData = userData;
}

void krnMemCopy(void* target, const void* source, size_t n) {
  if (n != 0) {
    std::memcpy(target, source, n);
  }
}

void krnMemMove(void* target, const void* source, size_t n) {
  if (n != 0) {
    std::memmove(target, source, n);
  }
}

void krnMemSet(void* target, uint8_t byte, size_t n) {
  if (n != 0) {
    std::memset(target, byte, n);
  }
}

int32_t krnMemCompare(const void* left, const void* right, size_t n) {
  return n == 0 ? 0 : std::memcmp(left, right, n);
}

void* krnMemFind(const void* buffer, uint8_t byte, size_t n) {
  return n == 0 ? nullptr : const_cast<void*>(std::memchr(buffer, byte, n));
}
