// Directories: any file as input. Its pages are fetched as tag blocks and their trees walked to the last byte, as
// directories of the kind that the end of the input chooses too.

#include "FuzzTarget.h"
#include "InputChoices.h"
#include "MemoryDisk.h"
#include "SeedFiles.h"
#include "TiffMutation.h"
#include "tif_com/DirectoryTree.h"
#include "tif_com/FileAccess.h"

#include <vxtif/vxtif.h>

namespace {

constexpr uint32_t kMostPages = 6;
constexpr uint32_t kMostDepth = 40; // the library's bound is 32

volatile uint32_t sumOfValues = 0;

void AddBytes(const void* data, size_t count) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  uint32_t sum = 0;
  for (size_t i = 0; i < count; ++i) {
    sum += bytes[i];
  }
  sumOfValues = sumOfValues + sum;
}

void WalkDirectory(const TifDirectory* directory, TifDirKind kind, uint32_t depth);

// Whoever holds a tree reads count x size bytes of a value, and `count` pointers of an array. How long the blocks of
// image data are stands elsewhere.
void WalkRecord(const TifTagRecord& record, TifDirKind kind, uint32_t depth) {
  TifDirKind child = kDirMain;
  uint32_t size = 0;
  const int32_t tagClass = TIFClassifyTag(&record, &size, kind, &child);
  const uint32_t storage = record.storage & kStorageKindMask;
  void* data = record.data;
  const uint32_t count = record.count;
  switch (storage) {
  case kStorageBlock:
    AddBytes(data, tagClass == kTagClassBlock ? size : 0);
    break;
  case kStorageBlockArray:
    AddBytes(data, count * sizeof(void*));
    break;
  case kStorageDirectory:
    WalkDirectory(static_cast<const TifDirectory*>(data), child, depth + 1);
    break;
  case kStorageDirectoryArray:
    for (uint32_t i = 0; i < count; ++i) {
      WalkDirectory(static_cast<TifDirectory**>(data)[i], child, depth + 1);
    }
    break;
  default:
    break;
  }
}

void WalkDirectory(const TifDirectory* directory, TifDirKind kind, uint32_t depth) {
  if (directory == nullptr) {
    return;
  }
  if (depth > kMostDepth) {
    FailFuzzInput("a tree is too deep");
  }
  for (uint32_t i = 0; i < directory->entryCount; ++i) {
    WalkRecord(directory->records[i], kind, depth);
  }
}

void FetchPalette(TifFile* file, TifDirectory* block) {
  uint32_t colors = 0;
  VxGlobalHandle palette = 0;
  if (Vx_GetTIFPalette(file, block, &colors, &palette) == kResultOk && palette != 0) {
    if (krnGlobalSize(palette) < kPaletteEntries * size_t{kPaletteEntryBytes} || colors > kPaletteEntries) {
      FailFuzzInput("a palette of a wrong size");
    }
    AddBytes(krnGlobalPointer(palette), krnGlobalSize(palette));
  }
  krnGlobalFree(palette, __LINE__, "fuzz");
}

void FetchPages() {
  TifFile file = {};
  file.structSize = sizeof file;
  if (Vx_OpenTIF(kSeedFileName, &file, sizeof file) != kResultOk) {
    return;
  }
  for (uint32_t page = 1; page <= kMostPages; ++page) {
    TifDirectory* block = nullptr;
    uint32_t layout = 0;
    const int32_t result = Vx_GetTIFPage(&file, page == 1 ? 1 : 2, &block, &layout);
    if (result == kResultOk) {
      WalkDirectory(block, kDirMain, 0);
      for (uint32_t i = 0; i < block->entryCount; ++i) {
        uint32_t size = 0;
        Vx_GetTIFTagDataType(&block->records[i], &size);
      }
      FetchPalette(&file, block);
      Vx_FreeTIFPage(block);
    } else if (result == kResultNoSuchPage) {
      break;
    }
  }
  Vx_CloseTIF(&file);
}

void ReadTreeAs(std::span<const uint8_t> input, TifDirKind kind, uint32_t offset) {
  VxMemFile memory = nullptr;
  TifFile file = {};
  if (krnMemFileOpen(&memory, &file.fileHandle, kKrnMemFileRead, const_cast<uint8_t*>(input.data()),
                     static_cast<uint32_t>(input.size())) != 1) {
    return;
  }
  if (TIFReadHeader(&file, offset) == kResultOk) {
    TifDirectory* tree = TIFReadDirectory(&file, kind, TreeSource::kMemoryFile);
    WalkDirectory(tree, kind, 0);
    TIFFreeDirectory(tree, kind);
  }
  krnMemFileClose(memory, 0, nullptr);
}

void RunDirectories(std::span<const uint8_t> input) {
  MemoryDisk disk;
  disk.Put(kSeedFileName, input);
  FetchPages();
  InputChoices choices(input);
  const auto kind = static_cast<TifDirKind>(choices.Below(8));
  ReadTreeAs(input, kind, choices.Below(2) == 0 ? 0 : choices.Word());
}

std::vector<FileBytes> DirectorySeeds() {
  std::vector<FileBytes> seeds;
  uint8_t kind = 0;
  for (const FileBytes& file : SeedFiles()) {
    seeds.push_back(WithChoices(file, {kind, 0}));
    kind = static_cast<uint8_t>((kind + 1) % 8);
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzDirectories = {"directories", RunDirectories, DirectorySeeds, MutateTiff};
