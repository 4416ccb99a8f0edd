// Directories written as a save writes them: a file is prepared, the directory goes out, and the file's bytes are
// compared with a page that is put together apart from the library.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <vxtif/comments.h>
#include <vxtif/results.h>

#include "Tifutil/DirectoryWriter.h"
#include "metadata/CommentInput.h"
#include "support/FileDirectory.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "tags/TagItems.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

// One directory to write: an 8-bit grey page of 3 by 2 pixels in one strip, unless the test says otherwise.
class DirectoryInput {
public:
  explicit DirectoryInput(FileOrder order = FileOrder::kLittle) {
    krnBitmapInit(&descriptor, kBitmapHandleSize, 3, 2, 8);
    descriptor.xResolution = 300;
    descriptor.yResolution = 200;
    options.structSize = kSaveOptionsSize;
    options.flags = order == FileOrder::kBig ? kSaveBigEndian : 0;
    job.descriptor = &descriptor;
    job.bitsPerPixel = 8;
    job.compression = kCompressionNone;
    job.options = &options;
    job.tileWidth = 3;
    job.rowsPerStrip = 2;
    job.page = &page;
  }
  DirectoryInput(const DirectoryInput&) = delete;
  DirectoryInput& operator=(const DirectoryInput&) = delete;

  DirectoryInput& Depth(int32_t depth, uint32_t order = kOrderRedFirst) {
    descriptor.bitsPerPixel = depth;
    descriptor.order = order;
    job.bitsPerPixel = depth;
    return *this;
  }
  DirectoryInput& Palette(std::vector<VxColor> colors) {
    palette = std::move(colors);
    palette.resize(256);
    job.palette = palette.data();
    return *this;
  }
  DirectoryInput& Comments(CommentSlots& slots) {
    job.comments = slots.Block();
    return *this;
  }

  // Prepares the file and writes the directory; the file's bytes afterwards.
  FileBytes Write() {
    KernelGuard guard;
    job.stripCount = static_cast<uint32_t>(byteCounts.size());
    job.byteCounts = byteCounts.data();
    state = {};
    const uint16_t version = (stateFlags & kStateVariantFile) != 0 ? kTifVersionVariant : kTifVersion;
    prepared = TIFPrepareFileForPage(file.Name(), &state, &options, requestFlags, version);
    EXPECT_EQ(prepared, kResultOk);
    if (prepared != kResultOk) {
      return {};
    }
    state.stateFlags |= stateFlags;
    result = TIFWriteDirectory(&state, &job);
    position = krnFileSeek(state.fileHandle, 0, kKrnSeekCurrent);
    entryCount = state.entryCount;
    directoryOffset = state.directoryOffset;
    statesAfter = state.stateFlags;
    sampleBits = page.bitsPerSample[0];
    krnFileClose(state.fileHandle);
    return file.Read();
  }
  // The directory that was written first to a new file.
  FileDirectory Written() {
    const FileBytes bytes = Write();
    EXPECT_EQ(result, kResultOk);
    return ReadFileDirectory(bytes, 8);
  }

  TempFile file;
  BitmapHandle descriptor = {};
  SaveOptions options = {};
  TifPage page = {};
  DirectoryWriteJob job = {};
  std::vector<VxColor> palette;
  std::vector<uint32_t> byteCounts = {6};
  uint32_t stateFlags = 0; // kState..., as a save driver decides them
  uint32_t requestFlags = 0;

  // After Write.
  TifFile state = {};
  int32_t prepared = 0;
  int32_t result = 0;
  uint32_t position = 0;
  uint32_t entryCount = 0; // plain copies of packed fields
  uint32_t directoryOffset = 0;
  uint32_t statesAfter = 0;
  uint32_t sampleBits = 0; // by which the row writer swaps
};

// The page that is expected: entries in the order in which their values go out, each value as it stands in the file.
class ExpectedPage {
public:
  ExpectedPage(FileOrder order, uint32_t place = 8) : order_(order), place_(place) {}

  ExpectedPage& Raw(uint16_t tag, uint16_t type, uint32_t count, FileBytes value) {
    entries_.push_back({tag, type, count, std::move(value), false});
    return *this;
  }
  ExpectedPage& Short(uint16_t tag, const std::vector<uint16_t>& values) {
    FileBytes bytes;
    for (const uint16_t value : values) {
      AppendU16(bytes, order_, value);
    }
    return Raw(tag, 3, static_cast<uint32_t>(values.size()), bytes);
  }
  ExpectedPage& Long(uint16_t tag, uint32_t value) {
    FileBytes bytes;
    AppendU32(bytes, order_, value);
    return Raw(tag, 4, 1, bytes);
  }
  ExpectedPage& Rationals(uint16_t tag, const std::vector<uint32_t>& numerators) {
    FileBytes bytes;
    for (const uint32_t numerator : numerators) {
      AppendU32(bytes, order_, numerator);
      AppendU32(bytes, order_, 1);
    }
    return Raw(tag, 5, static_cast<uint32_t>(numerators.size()), bytes);
  }
  ExpectedPage& Text(uint16_t tag, std::string_view text) {
    return Raw(tag, 2, static_cast<uint32_t>(text.size()), FileBytes(text.begin(), text.end()));
  }
  // The tags of strips or tiles: their place and sizes are settled at the end.
  ExpectedPage& Offsets(uint16_t tag) {
    entries_.push_back({tag, 4, 0, {}, true});
    return *this;
  }
  // Bytes that are in the file behind the last value with no entry of this directory.
  ExpectedPage& Behind(FileBytes bytes) {
    entries_.push_back({0, 0, 0, std::move(bytes), false});
    return *this;
  }
  ExpectedPage& Hole(uint32_t entries) { // room reserved and not used
    hole_ = entries;
    return *this;
  }
  ExpectedPage& Next(uint32_t word) {
    next_ = word;
    return *this;
  }

  // Behind `before`, which ends where the directory begins.
  FileBytes Build(FileBytes bytes, const std::vector<uint32_t>& byteCounts) const {
    EXPECT_EQ(bytes.size(), place_);
    struct Ready {
      uint16_t tag;
      FileBytes entry;
    };
    std::vector<Ready> ready;
    const auto used = static_cast<uint32_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const Entry& entry) { return entry.type != 0; }));
    FileBytes values;
    const uint32_t start = place_ + 2 + 12 * (used + hole_) + 4;
    std::vector<const Entry*> tables;
    for (const Entry& entry : entries_) {
      if (entry.table) {
        tables.push_back(&entry);
        continue;
      }
      FileBytes word = entry.value;
      if (entry.type == 0 || entry.value.size() > 4) {
        word.clear();
        AppendU32(word, order_, start + static_cast<uint32_t>(values.size()));
        values.insert(values.end(), entry.value.begin(), entry.value.end());
        values.resize((values.size() + 1) & ~size_t{1});
      }
      if (entry.type != 0) {
        ready.push_back({entry.tag, EntryBytes(entry.tag, entry.type, entry.count, word)});
      }
    }
    const auto strips = static_cast<uint32_t>(byteCounts.size());
    const uint32_t data = start + static_cast<uint32_t>(values.size());
    for (const Entry* entry : tables) {
      const bool isCounts = entry->tag == 279 || entry->tag == 325;
      FileBytes word;
      AppendU32(word, order_, !isCounts ? data : strips == 1 ? byteCounts[0] : data + 4 * strips);
      ready.push_back({entry->tag, EntryBytes(entry->tag, 4, strips, word)});
    }
    std::stable_sort(ready.begin(), ready.end(), [](const Ready& a, const Ready& b) { return a.tag < b.tag; });
    AppendU16(bytes, order_, static_cast<uint16_t>(ready.size()));
    for (const Ready& entry : ready) {
      bytes.insert(bytes.end(), entry.entry.begin(), entry.entry.end());
    }
    AppendU32(bytes, order_, next_);
    bytes.resize(bytes.size() + 12 * hole_ - (hole_ != 0 ? 4 : 0));
    if (hole_ != 0) {
      AppendU32(bytes, order_, next_); // where it stood before the entries came out fewer
    }
    bytes.insert(bytes.end(), values.begin(), values.end());
    if (strips > 1) {
      uint32_t offset = data + 8 * strips;
      for (const uint32_t count : byteCounts) {
        AppendU32(bytes, order_, offset);
        offset += count;
      }
      for (const uint32_t count : byteCounts) {
        AppendU32(bytes, order_, count);
      }
    }
    return bytes;
  }
  FileBytes Build(const std::vector<uint32_t>& byteCounts = {6}, uint16_t version = 42) const {
    const uint8_t mark = order_ == FileOrder::kLittle ? 'I' : 'M';
    FileBytes header = {mark, mark};
    AppendU16(header, order_, version);
    AppendU32(header, order_, 8);
    return Build(std::move(header), byteCounts);
  }

private:
  struct Entry {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    FileBytes value;
    bool table;
  };
  FileBytes EntryBytes(uint16_t tag, uint16_t type, uint32_t count, FileBytes word) const {
    FileBytes bytes;
    AppendU16(bytes, order_, tag);
    AppendU16(bytes, order_, type);
    AppendU32(bytes, order_, count);
    word.resize(4);
    bytes.insert(bytes.end(), word.begin(), word.end());
    return bytes;
  }
  FileOrder order_;
  uint32_t place_;
  uint32_t hole_ = 0;
  uint32_t next_ = 0;
  std::vector<Entry> entries_;
};

// A value of an entry as a number of the file's order; its first element.
inline uint32_t FirstNumber(const FileBytes& value, uint16_t type, FileOrder order) {
  switch (FieldTypeSize(type)) {
  case 1:
    return value.at(0);
  case 2:
    return GetU16(value, 0, order);
  default:
    return GetU32(value, 0, order);
  }
}
