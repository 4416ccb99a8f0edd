#include "save/SaveFixture.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

struct RowServiceCalls {
  static constexpr intptr_t kSecondWord = 4711; // handed on unchanged

  static RowService* ServiceOf(const BitmapHandle* bitmap, intptr_t extra1) {
    auto* service = reinterpret_cast<RowService*>(extra1);
    return service->stamp != nullptr && bitmap == &service->stamp->bitmap ? service->stamp : service;
  }

  static int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                       void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context) {
    RowService* self = ServiceOf(bitmap, extra1);
    EXPECT_EQ(1, one);
    EXPECT_EQ(kSecondWord, extra2);
    ++self->starts;
    self->seenAtStart = *flags;
    self->bitsAtStart = bitsPerPixel;
    self->bufferAsked = rowBufferOut != nullptr;
    if (self->changesFlags) {
      *flags = self->flagsAtStart;
    }
    if (self->startResult < 1) {
      return self->startResult;
    }
    std::copy_n(self->palette.begin(), std::min<size_t>(self->palette.size(), 256), self->context_.palette);
    *descriptor = &self->descriptor;
    *context = &self->context_;
    if (rowBufferOut != nullptr) {
      self->rowBuffer_.assign(static_cast<size_t>(self->descriptor.bytesPerLine) + 8, 0);
      *rowBufferOut = self->rowBuffer_.data();
    }
    return self->startResult;
  }

  static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                        uint32_t flags, intptr_t extra1, intptr_t extra2, void* context) {
    RowService* self = ServiceOf(bitmap, extra1);
    EXPECT_EQ(1, one);
    EXPECT_EQ(kSecondWord, extra2);
    EXPECT_EQ(&self->descriptor, descriptor);
    EXPECT_EQ(&self->context_, context);
    self->rowsAsked.push_back(rowIndex);
    self->rowFlags.push_back(flags);
    if (rowIndex == self->failingRow) {
      return self->rowResult;
    }
    FileBytes row = self->rows.at(static_cast<size_t>(rowIndex));
    row.resize((static_cast<size_t>(descriptor->width) * static_cast<size_t>(descriptor->bitsPerPixel) + 7) / 8);
    if (self->fillsPitch) {
      row.resize(static_cast<size_t>(descriptor->bytesPerLine), 0xEE);
    }
    std::memcpy(rowBuffer, row.data(), row.size());
    return 1;
  }

  static int32_t End(RowService* self, uint32_t* flags, int32_t zero, void** context) {
    ++self->ends;
    EXPECT_EQ(0, zero);
    EXPECT_EQ(&self->context_, *context);
    *flags |= self->flagsAtEnd;
    return -1; // not looked at
  }
};

namespace {

// saveEnd has no word of the caller's: the descriptor tells whose it is.
std::vector<RowService*> liveServices;

int32_t EndOfLiveService(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero,
                         void** context) {
  for (RowService* service : liveServices) {
    if (*descriptor == &service->descriptor) {
      EXPECT_EQ(&service->bitmap, bitmap);
      return RowServiceCalls::End(service, flags, zero, context);
    }
  }
  ADD_FAILURE() << "the end of a conversion that never began";
  return -1;
}

uint32_t TypeBytes(uint16_t type) {
  constexpr uint32_t kBytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return kBytes[type];
}

FileBytes ValueBytes(const WrittenTag& tag, FileOrder order) {
  FileBytes bytes;
  for (uint32_t value : tag.values) {
    if (tag.type == kTypeShort) {
      AppendU16(bytes, order, static_cast<uint16_t>(value));
    } else if (TypeBytes(tag.type) == 1) {
      bytes.push_back(static_cast<uint8_t>(value));
    } else {
      AppendU32(bytes, order, value);
    }
  }
  return bytes;
}

struct PlacedTag {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  FileBytes word;
};

FileBytes WordBytes(FileOrder order, uint32_t value) {
  FileBytes bytes;
  AppendU32(bytes, order, value);
  return bytes;
}

} // namespace

RowService::RowService(int32_t width, int32_t height, int32_t bits, std::vector<FileBytes> rowsTopDown)
    : rows(std::move(rowsTopDown)) {
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bits);
  krnBitmapInit(&descriptor, kBitmapHandleSize, width, height, bits);
  bitmap.xResolution = bitmap.yResolution = 72;
  descriptor.xResolution = descriptor.yResolution = 72;
}

void RowService::Fill(FilterSaveRequest* request) {
  request->saveStart = RowServiceCalls::Start;
  request->saveGetRow = RowServiceCalls::GetRow;
  request->saveEnd = EndOfLiveService;
  request->extra1 = reinterpret_cast<intptr_t>(this);
  request->extra2 = RowServiceCalls::kSecondWord;
}

SaveJob::SaveJob(int32_t format, int32_t bits, RowService* service, const char16_t* fileName) {
  options.structSize = sizeof options;
  request.fileName = fileName;
  request.bitmap = &service->bitmap;
  request.bitsPerPixel = bits;
  request.fileFormat = format;
  request.fileOptions = &options;
  service->Fill(&request);
}

int32_t SaveJob::Run(int32_t (*save)(FilterSaveRequest*)) {
  auto* service = reinterpret_cast<RowService*>(request.extra1);
  liveServices = {service};
  if (service->stamp != nullptr) {
    liveServices.push_back(service->stamp);
  }
  const int32_t result = save(&request);
  liveServices.clear();
  return result;
}

WrittenTag Shorts(uint16_t tag, std::vector<uint32_t> values) {
  return {tag, kTypeShort, std::move(values), {}};
}

WrittenTag Longs(uint16_t tag, std::vector<uint32_t> values) {
  return {tag, kTypeLong, std::move(values), {}};
}

WrittenTag Rationals(uint16_t tag, std::vector<uint32_t> numeratorsAndDenominators) {
  return {tag, kTypeRational, std::move(numeratorsAndDenominators), {}};
}

WrittenTag Ascii(uint16_t tag, const char* bytes, uint32_t count) {
  return {tag, kTypeAscii, std::vector<uint32_t>(bytes, bytes + count), {}};
}

WrittenTag Block(uint16_t tag, FileBytes block) {
  return {tag, kTypeLong, {0}, std::move(block)};
}

WrittenPage Page(const PageForm& form, std::vector<FileBytes> strips) {
  const auto samples = form.samples != 0 ? form.samples : static_cast<uint32_t>(form.bitsPerSample.size());
  WrittenPage page;
  page.tiled = form.tileWidth != 0;
  page.strips = std::move(strips);
  page.tags = {Longs(256, {form.width}),        Longs(257, {form.height}),       Shorts(258, form.bitsPerSample),
               Shorts(259, {form.compression}), Shorts(262, {form.photometric}), Shorts(274, {form.orientation}),
               Shorts(277, {samples})};
  if (form.numbered) {
    page.tags.push_back(Longs(254, {form.subfileType}));
    page.tags.push_back(Shorts(297, {form.pageIndex, 0}));
  }
  if (page.tiled) {
    page.tags.push_back(Longs(322, {form.tileWidth}));
    page.tags.push_back(Longs(323, {form.rowsPerStrip}));
  } else {
    page.tags.push_back(Longs(278, {form.rowsPerStrip}));
  }
  page.tags.insert(page.tags.end(), {Rationals(282, {form.xResolution, 1}), Rationals(283, {form.yResolution, 1}),
                                     Shorts(284, {1}), Shorts(296, {2})});
  page.tags.insert(page.tags.end(), form.extra.begin(), form.extra.end());
  return page;
}

FileBytes NewFile(FileOrder order, const WrittenPage& page) {
  FileBytes file = order == FileOrder::kLittle ? FileBytes{'I', 'I'} : FileBytes{'M', 'M'};
  AppendU16(file, order, 42);
  AppendU32(file, order, 8);
  AppendPage(file, order, page, 4);
  return file;
}

void AppendPage(FileBytes& file, FileOrder order, const WrittenPage& page, size_t linkOffset) {
  if (file.size() % 2 != 0) {
    file.push_back(0);
  }
  const size_t start = file.size();
  PutU32(file, linkOffset, order, static_cast<uint32_t>(start));
  const size_t entryCount = page.tags.size() + 2;
  const size_t valuesStart = start + 2 + (entryCount + page.reservedEntries) * 12 + 4;
  size_t valueOffset = valuesStart;
  FileBytes values;
  std::vector<PlacedTag> placed;
  for (const WrittenTag& tag : page.tags) {
    const FileBytes bytes = tag.block.empty() ? ValueBytes(tag, order) : tag.block;
    const auto count = tag.block.empty() ? static_cast<uint32_t>(bytes.size() / TypeBytes(tag.type)) : 1u;
    PlacedTag entry = {tag.tag, tag.type, count, bytes};
    if (bytes.size() > 4 || !tag.block.empty()) {
      entry.word = WordBytes(order, static_cast<uint32_t>(valueOffset));
      values.insert(values.end(), bytes.begin(), bytes.end());
      if (values.size() % 2 != 0) {
        values.push_back(0);
      }
      valueOffset = valuesStart + values.size();
    }
    entry.word.resize(4);
    placed.push_back(std::move(entry));
  }
  // The strip tables come last: offsets, then counts, when there is more than one strip.
  const auto strips = static_cast<uint32_t>(page.strips.size());
  const auto tables = static_cast<uint32_t>(valueOffset);
  const uint32_t data = strips > 1 ? tables + strips * 8 : tables;
  FileBytes offsets;
  FileBytes counts;
  uint32_t at = data;
  for (const FileBytes& strip : page.strips) {
    AppendU32(offsets, order, at);
    AppendU32(counts, order, static_cast<uint32_t>(strip.size()));
    at += static_cast<uint32_t>(strip.size());
  }
  const uint16_t offsetsTag = page.tiled ? 324 : 273;
  const uint16_t countsTag = page.tiled ? 325 : 279;
  placed.push_back({offsetsTag, kTypeLong, strips, strips > 1 ? WordBytes(order, tables) : offsets});
  placed.push_back({countsTag, kTypeLong, strips, strips > 1 ? WordBytes(order, tables + strips * 4) : counts});
  std::stable_sort(placed.begin(), placed.end(),
                   [](const PlacedTag& left, const PlacedTag& right) { return left.tag < right.tag; });

  AppendU16(file, order, static_cast<uint16_t>(entryCount));
  for (const PlacedTag& entry : placed) {
    AppendU16(file, order, entry.tag);
    AppendU16(file, order, entry.type);
    AppendU32(file, order, entry.count);
    file.insert(file.end(), entry.word.begin(), entry.word.end());
  }
  AppendU32(file, order, page.nextOffset);
  if (page.reservedEntries != 0) {
    file.insert(file.end(), page.reservedEntries * 12 - 4, 0);
    AppendU32(file, order, page.nextOffset);
  }
  file.insert(file.end(), values.begin(), values.end());
  if (strips > 1) {
    file.insert(file.end(), offsets.begin(), offsets.end());
    file.insert(file.end(), counts.begin(), counts.end());
  }
  for (const FileBytes& strip : page.strips) {
    file.insert(file.end(), strip.begin(), strip.end());
  }
}

FileBytes Join(const std::vector<FileBytes>& parts) {
  FileBytes all;
  for (const FileBytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

FileBytes Repeat(const FileBytes& part, size_t count) {
  return Join(std::vector<FileBytes>(count, part));
}
