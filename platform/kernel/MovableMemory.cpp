// Movable blocks: memory known by a 32-bit number, so that it fits the fixed layout of BitmapHandle on every target.
//
// A handle is a slot number and, above it, the slot's generation: a handle kept after its block has gone finds nothing.
// The bytes are an accounted block like any other, so limits, hook and statistics hold for them too.
// Used for palettes and tone tables.

#include "vxkernel/memory.h"

#include <cstdlib>

namespace {

constexpr uint32_t kSlotBits = 20;
constexpr uint32_t kMaxSlots = 1u << kSlotBits;
constexpr uint32_t kSlotMask = kMaxSlots - 1;
constexpr uint32_t kGenerationMask = (1u << (32 - kSlotBits)) - 1;
constexpr uint32_t kFirstSlots = 64;

struct Slot {
  void* block; // null for a free slot
  size_t bytes;
  uint32_t generation; // 1 to kGenerationMask, so that no handle is 0
  uint32_t nextFree;
};

Slot* slots = nullptr;
uint32_t slotCount = 0;
uint32_t firstFree = 0; // slotCount: none

bool GrowSlots() {
  const uint32_t newCount = slotCount == 0 ? kFirstSlots : slotCount * 2;
  if (newCount > kMaxSlots) {
    return false;
  }
  auto* grown = static_cast<Slot*>(std::realloc(slots, newCount * sizeof(Slot)));
  if (grown == nullptr) {
    return false;
  }
  for (uint32_t i = slotCount; i < newCount; ++i) {
    grown[i] = {nullptr, 0, 1, i + 1};
  }
  slots = grown;
  slotCount = newCount;
  return true;
}

Slot* FindSlot(VxGlobalHandle handle) {
  const uint32_t index = handle & kSlotMask;
  if (index >= slotCount) {
    return nullptr;
  }
  Slot* slot = &slots[index];
  return slot->block != nullptr && slot->generation == handle >> kSlotBits ? slot : nullptr;
}

} // namespace

VxGlobalHandle krnGlobalAlloc(size_t count, size_t size, int32_t line, const char* sourceModule) {
  if (firstFree == slotCount && !GrowSlots()) {
    return 0;
  }
  void* block = krnAlloc(count, size, line, sourceModule);
  if (block == nullptr) {
    return 0;
  }
  const uint32_t index = firstFree;
  Slot& slot = slots[index];
  firstFree = slot.nextFree;
  slot.block = block;
  slot.bytes = count * size;
  return slot.generation << kSlotBits | index;
}

void krnGlobalFree(VxGlobalHandle handle, int32_t line, const char* sourceModule) {
  Slot* slot = FindSlot(handle);
  if (slot == nullptr) {
    return;
  }
  krnFree(slot->block, line, sourceModule);
  const uint32_t nextGeneration = slot->generation == kGenerationMask ? 1 : slot->generation + 1;
  *slot = {nullptr, 0, nextGeneration, firstFree};
  firstFree = handle & kSlotMask;
}

void* krnGlobalPointer(VxGlobalHandle handle) {
  const Slot* slot = FindSlot(handle);
  return slot != nullptr ? slot->block : nullptr;
}

size_t krnGlobalSize(VxGlobalHandle handle) {
  const Slot* slot = FindSlot(handle);
  return slot != nullptr ? slot->bytes : 0;
}
