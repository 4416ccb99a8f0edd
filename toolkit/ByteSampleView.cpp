// The directory behind the file's end, and the file calls that show it.

#include "toolkit/ByteSampleView.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/RawDirectories.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

enum Tag : uint16_t {
  kBitsPerSample = 258,
  kCompression = 259,
  kStripOffsets = 273,
  kSamplesPerPixel = 277,
  kStripByteCounts = 279,
  kPlanarConfiguration = 284,
  kPredictor = 317,
  kTileWidth = 322,
  kTileOffsets = 324,
  kTileByteCounts = 325,
  kExtraSamples = 338,
  kSampleFormat = 339
};

constexpr uint32_t kCompressionLzw = 5;
constexpr uint32_t kDifferences = 2;

void PutWord(std::vector<uint8_t>& bytes, uint32_t word, bool bigEndian) {
  const auto low = static_cast<uint8_t>(word);
  const auto high = static_cast<uint8_t>(word >> 8);
  bytes.push_back(bigEndian ? high : low);
  bytes.push_back(bigEndian ? low : high);
}

void PutLong(std::vector<uint8_t>& bytes, uint32_t value, bool bigEndian) {
  PutWord(bytes, bigEndian ? value >> 16 : value & 0xFFFF, bigEndian);
  PutWord(bytes, bigEndian ? value & 0xFFFF : value >> 16, bigEndian);
}

void PutShortEntry(std::vector<uint8_t>& bytes, uint16_t tag, uint32_t value, bool bigEndian) {
  PutWord(bytes, tag, bigEndian);
  PutWord(bytes, kTypeShort, bigEndian);
  PutLong(bytes, 1, bigEndian);
  PutWord(bytes, value, bigEndian);
  PutWord(bytes, 0, bigEndian);
}

// Tags that would not be true of halved samples, and the layout, which is chunky whatever the page says.
bool IsLeftOut(uint16_t tag) {
  return tag == kSamplesPerPixel || tag == kPlanarConfiguration || tag == kPredictor || tag == kExtraSamples ||
         tag == kSampleFormat;
}

// The directory with its entry count and next word. The number of samples follows their size, on which the reading of
// it depends.
std::vector<uint8_t> HalvedDirectory(const DirectoryEntries& directory, uint32_t samples) {
  const bool bigEndian = directory.bigEndian;
  std::vector<uint8_t> entries;
  for (const DirectoryEntry& entry : directory.entries) {
    if (entry.tag == kBitsPerSample) {
      PutShortEntry(entries, kBitsPerSample, 8, bigEndian);
      PutShortEntry(entries, kSamplesPerPixel, 2 * samples, bigEndian);
    } else if (!IsLeftOut(entry.tag)) {
      PutWord(entries, entry.tag, bigEndian);
      PutWord(entries, entry.type, bigEndian);
      PutLong(entries, entry.count, bigEndian);
      entries.insert(entries.end(), entry.raw, entry.raw + sizeof entry.raw);
    }
  }
  constexpr size_t kEntrySize = 12;
  std::vector<uint8_t> bytes;
  PutWord(bytes, static_cast<uint32_t>(entries.size() / kEntrySize), bigEndian);
  bytes.insert(bytes.end(), entries.begin(), entries.end());
  PutLong(bytes, 0, bigEndian);
  return bytes;
}

// Where the last strip or tile ends; in a file that was cut off that lies behind the file.
uint64_t EndOfStrips(VxFileHandle file, const DirectoryEntries& directory) {
  uint64_t lastOffset = 0;
  uint64_t largestCount = 0;
  for (const DirectoryEntry& entry : directory.entries) {
    const bool offsets = entry.tag == kStripOffsets || entry.tag == kTileOffsets;
    const bool counts = entry.tag == kStripByteCounts || entry.tag == kTileByteCounts;
    const auto values = offsets || counts ? ReadEntryValue(file, entry, directory.bigEndian) : std::nullopt;
    const size_t size = ElementSize(entry.type);
    if (!values || (size != 2 && size != 4)) {
      continue;
    }
    uint64_t& largest = offsets ? lastOffset : largestCount;
    for (size_t at = 0; at + size <= values->size(); at += size) {
      const uint8_t* value = values->data() + at;
      largest = std::max<uint64_t>(largest, size == 2 ? LoadFileWord(value, false) : LoadFileLong(value, false));
    }
  }
  return lastOffset + largestCount;
}

// 0 without the tag.
uint32_t ValueOf(const DirectoryEntries& directory, uint16_t tag) {
  for (const DirectoryEntry& entry : directory.entries) {
    if (entry.tag == tag) {
      return entry.value;
    }
  }
  return 0;
}

uint32_t RunOfDifferences(const DirectoryEntries& directory) {
  if (ValueOf(directory, kCompression) != kCompressionLzw || ValueOf(directory, kPredictor) != kDifferences) {
    return 0;
  }
  // On a page that has strips as well the tiles are passed over.
  const uint32_t tileWidth = ValueOf(directory, kStripOffsets) == 0 ? ValueOf(directory, kTileWidth) : 0;
  return tileWidth != 0 ? tileWidth : UINT32_MAX;
}

} // namespace

// The file as it is shown: `fileBytes` bytes of its own, then nothing, then the directory. A read that reaches the end
// of the file's own bytes ends there. One handle is open at a time.
struct ByteSampleView::State {
  KrnOpenFn open = OpenCall;
  KrnReadFn read = ReadCall;
  KrnSeekFn seek = SeekCall;
  void* openData = this;
  void* readData = this;
  void* seekData = this;
  uint64_t fileBytes = 0;
  uint64_t position = 0;     // as the library sees it
  uint64_t filePosition = 0; // of the file itself
  std::vector<uint8_t> directory;
  uint32_t directoryOffset = 0;
  uint32_t differenceRun = 0;

  // Once to step in, and once more to step out again.
  void Exchange() {
    krnRedirectIo(&open, &read, nullptr, &seek, nullptr, &openData, &readData, nullptr, &seekData, nullptr);
  }

  bool SeekInFile(VxFileHandle handle, uint64_t place) {
    if (place == filePosition) {
      return true;
    }
    if (place <= INT32_MAX) {
      return seek(handle, static_cast<int32_t>(place), kKrnSeekSet, seekData) == place;
    }
    return seek(handle, INT32_MAX, kKrnSeekSet, seekData) == uint32_t{INT32_MAX} &&
           seek(handle, static_cast<int32_t>(place - INT32_MAX), kKrnSeekCurrent, seekData) == place;
  }

  uint32_t ReadFile(VxFileHandle handle, uint8_t* buffer, uint32_t n) {
    const auto own = static_cast<uint32_t>(std::min<uint64_t>(n, fileBytes - position));
    const uint32_t got = SeekInFile(handle, position) ? read(handle, buffer, own, readData) : kKrnIoFailed;
    filePosition = got == kKrnIoFailed ? UINT64_MAX : position + got; // not known after a failure
    return got;
  }

  uint32_t Read(VxFileHandle handle, uint8_t* buffer, uint32_t n) {
    uint32_t got = 0;
    if (position < fileBytes) {
      got = ReadFile(handle, buffer, n);
    } else if (position >= directoryOffset && position - directoryOffset < directory.size()) {
      const auto from = static_cast<size_t>(position - directoryOffset);
      got = static_cast<uint32_t>(std::min<size_t>(n, directory.size() - from));
      std::memcpy(buffer, directory.data() + from, got);
    }
    position += got == kKrnIoFailed ? 0 : got;
    return got;
  }

  uint32_t Seek(int32_t offset, uint32_t whence) {
    const uint64_t end = directoryOffset + directory.size();
    const uint64_t base = whence == kKrnSeekSet ? 0 : whence == kKrnSeekCurrent ? position : end;
    const int64_t place = static_cast<int64_t>(base) + offset;
    if (place < 0 || place >= int64_t{kKrnIoFailed}) {
      return kKrnIoFailed;
    }
    position = static_cast<uint64_t>(place);
    return static_cast<uint32_t>(place);
  }

  // While the callbacks are exchanged the slots of this record hold those that stood there before.
  static VxFileHandle OpenCall(const char16_t* name, uint32_t flags, uint32_t shareMode, void* data) {
    auto* const state = static_cast<State*>(data);
    state->position = 0;
    state->filePosition = 0;
    return state->open(name, flags, shareMode, state->openData);
  }
  static uint32_t ReadCall(VxFileHandle handle, void* buffer, uint32_t n, void* data) {
    return static_cast<State*>(data)->Read(handle, static_cast<uint8_t*>(buffer), n);
  }
  static uint32_t SeekCall(VxFileHandle, int32_t offset, uint32_t whence, void* data) {
    return static_cast<State*>(data)->Seek(offset, whence);
  }
};

ByteSampleView::ByteSampleView(const std::string& file, uint32_t directoryOffset, uint32_t samples,
                               const char* operation)
    : state_(std::make_unique<State>()) {
  if (samples > kMaxHalvedSamples) {
    throw Failure(file, operation, kResultDepthNotSupported,
                  std::to_string(samples) + " samples of 16 bits a pixel; at most 8 can be taken apart");
  }
  const KernelFile opened(file, operation);
  const auto directory = ReadDirectoryEntries(opened.Handle(), directoryOffset);
  const uint32_t end = krnFileSeek(opened.Handle(), 0, kKrnSeekEnd);
  if (!directory || end == kKrnIoFailed) {
    throw Failure(file, operation, kResultNotTiff);
  }
  state_->fileBytes = end;
  state_->differenceRun = RunOfDifferences(*directory);
  state_->directory = HalvedDirectory(*directory, samples);
  // Where no strip is looked for, as far as there is room.
  uint64_t place = std::max<uint64_t>(end, EndOfStrips(opened.Handle(), *directory));
  if (place + state_->directory.size() + 1 >= kKrnIoFailed) {
    place = end;
  }
  place += place % 2;
  if (place + state_->directory.size() >= kKrnIoFailed) {
    throw Failure(file, operation, kResultReadFailed, "no room behind a file of this size");
  }
  state_->directoryOffset = static_cast<uint32_t>(place);
  state_->Exchange();
}

ByteSampleView::~ByteSampleView() {
  state_->Exchange();
}

uint32_t ByteSampleView::DirectoryOffset() const {
  return state_->directoryOffset;
}

uint32_t ByteSampleView::DifferenceRun() const {
  return state_->differenceRun;
}

} // namespace toolkit
