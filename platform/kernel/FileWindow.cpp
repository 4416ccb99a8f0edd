// Buffered reading: a window on the file that is small after a jump and grows while reading goes forward.
//
// A filter walks directories (a few bytes here, a few there) and streams strips. A jump fills 1 KiB, which holds most
// directories and costs hardly more than the call itself; each filling that goes on near the end of the last is four
// times as large, up to 256 KiB. Large reads pass the window by and go to the caller's memory. Writes patch it.

#include "FileWindow.h"

#include <cstdlib>
#include <cstring>

namespace kernel {
namespace {

// From here on copying costs more than the call that it saves.
constexpr uint32_t kDirectBytes = 16 * 1024;
constexpr uint32_t kGrowth = 4;
constexpr uint32_t kJumpBytes = 1024;
// Reading goes forward when it skips no more than this.
constexpr uint64_t kNearBytes = 2048;
// After a jump the window begins at or before the position: values often stand just before their directory.
constexpr uint64_t kJumpAlignment = 256;

uint32_t CopyFromWindow(const FileWindow& window, uint64_t position, uint8_t* target, uint32_t n) {
  if (position < window.start || position - window.start >= window.bytes) {
    return 0;
  }
  const auto skip = static_cast<uint32_t>(position - window.start);
  const uint32_t take = n < window.bytes - skip ? n : window.bytes - skip;
  std::memcpy(target, window.data + skip, take);
  return take;
}

// Makes room for the large window, as far as the file can fill it. Without memory the small one goes on.
void Enlarge(FileWindow* window, uint64_t fileSize) {
  const auto wanted = fileSize < kLargeWindowBytes ? static_cast<uint32_t>(fileSize) : kLargeWindowBytes;
  if (wanted <= window->capacity || window->data != window->small) {
    return;
  }
  void* large = std::malloc(wanted);
  if (large != nullptr) {
    window->data = static_cast<uint8_t*>(large);
    window->capacity = wanted;
    window->bytes = 0;
  }
}

// Fills the window so that it holds `position`. What the system answers: bytes that the window now holds, 0 at the end
// of the file (the window stays as it was), -1.
int64_t Refill(FileRecord* record, uint64_t position) {
  FileWindow& window = record->window;
  const uint64_t end = window.start + window.bytes;
  uint64_t start = position;
  uint32_t ask = window.nextBytes;
  if (position >= end && position - end <= kNearBytes) {
    window.nextBytes = ask < kLargeWindowBytes / kGrowth ? ask * kGrowth : kLargeWindowBytes;
  } else {
    start = position & ~(kJumpAlignment - 1);
    ask = kJumpBytes;
    window.nextBytes = kJumpBytes * kGrowth;
  }
  if (ask > window.capacity) {
    Enlarge(&window, record->knownSize);
    ask = ask < window.capacity ? ask : window.capacity;
  }
  const int64_t got = ReadSystemFile(record->file, window.data, ask, start);
  if (got < 0) {
    window.bytes = 0;
  } else if (got > 0) {
    window.start = start;
    window.bytes = static_cast<uint32_t>(got);
  }
  return got;
}

// Straight into the caller's memory. The window is left empty behind it, so that small reads that go on count as going
// forward.
int64_t ReadDirectly(FileRecord* record, uint64_t position, uint8_t* target, uint32_t n) {
  const int64_t got = ReadSystemFile(record->file, target, n, position);
  if (got > 0) {
    record->window.start = position + static_cast<uint64_t>(got);
    record->window.bytes = 0;
  }
  return got;
}

} // namespace

void InitWindow(FileWindow* window) {
  window->start = 0;
  window->bytes = 0;
  window->nextBytes = kJumpBytes;
  window->capacity = kSmallWindowBytes;
  window->data = window->small;
}

void FreeWindow(FileWindow* window) {
  if (window->data != window->small) {
    std::free(window->data);
  }
  InitWindow(window);
}

void DropWindow(FileWindow* window) {
  window->bytes = 0;
}

int64_t ReadThroughWindow(FileRecord* record, void* buffer, uint32_t n) {
  auto* target = static_cast<uint8_t*>(buffer);
  uint32_t moved = CopyFromWindow(record->window, record->position, target, n);
  while (moved < n) {
    const uint64_t position = record->position + moved;
    if (n - moved >= kDirectBytes) {
      const int64_t got = ReadDirectly(record, position, target + moved, n - moved);
      return got < 0 && moved == 0 ? -1 : moved + (got > 0 ? got : 0);
    }
    const int64_t filled = Refill(record, position);
    if (filled < 0 && moved == 0) {
      return -1;
    }
    const uint32_t copied = filled > 0 ? CopyFromWindow(record->window, position, target + moved, n - moved) : 0;
    if (copied == 0) {
      break;
    }
    moved += copied;
  }
  return moved;
}

void PatchWindow(FileWindow* window, uint64_t offset, const void* bytes, size_t n) {
  const uint64_t windowEnd = window->start + window->bytes;
  const uint64_t writeEnd = offset + n;
  const uint64_t from = offset > window->start ? offset : window->start;
  const uint64_t to = writeEnd < windowEnd ? writeEnd : windowEnd;
  if (from < to) {
    std::memcpy(window->data + (from - window->start), static_cast<const uint8_t*>(bytes) + (from - offset),
                static_cast<size_t>(to - from));
  }
}

} // namespace kernel
