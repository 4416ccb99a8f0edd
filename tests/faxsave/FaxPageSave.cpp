#include "faxsave/FaxPageSave.h"

#include <cstring>

#include <gtest/gtest.h>

#include "fax/PlainFaxRows.h"

namespace {

constexpr intptr_t kSecondWord = 222;
FaxPageSave* current = nullptr; // the end of a conversion is told no words

} // namespace

FaxPageSave::FaxPageSave(const TempFile& file, const TestPage& page, int32_t format, FileOrder order) : page_(page) {
  krnBitmapInit(&bitmap, kBitmapHandleSize, page.width, page.height, 1);
  bitmap.viewPerspective = 1;
  bitmap.xResolution = 100;
  bitmap.yResolution = 200;
  krnBitmapInit(&descriptor_, kBitmapHandleSize, page.width, page.height, 1);
  std::memset(Palette(), 255, 3);
  options.structSize = sizeof options;
  options.flags = order == FileOrder::kBig ? kSaveBigEndian : 0;
  options.pageNumber = 1;
  request.fileName = file.Name();
  request.bitmap = &bitmap;
  request.bitsPerPixel = 1;
  request.fileFormat = format;
  request.fileOptions = &options;
  request.extra1 = reinterpret_cast<intptr_t>(this);
  request.extra2 = kSecondWord;
  request.saveStart = Start;
  request.saveGetRow = GetRow;
  request.saveEnd = End;
}

int32_t FaxPageSave::Save() {
  current = this;
  const int32_t result = fltSave(&request);
  EXPECT_EQ(ends, starts - (startResult < 1 && starts > 0 ? 1 : 0)) << "each conversion that began is ended";
  return result;
}

void FaxPageSave::AskTiles(uint32_t width, uint32_t height) {
  options.flags |= kSaveTiles;
  options.tileWidth = width;
  options.tileHeight = height;
}

void FaxPageSave::BlackFirst() {
  std::memset(Palette(), 0, 3);
  std::memset(Palette() + 4, 255, 3);
  inverted_ = true;
}

int32_t FaxPageSave::Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                           void** rowBufferOut, int32_t one, intptr_t self, intptr_t extra2, void** context) {
  auto* save = reinterpret_cast<FaxPageSave*>(self);
  save->starts += 1;
  save->flagsAtStart = *flags;
  save->views.push_back(+bitmap->viewPerspective);
  EXPECT_EQ(bitmap, &save->bitmap);
  EXPECT_EQ(bitsPerPixel, 1);
  EXPECT_EQ(rowBufferOut, nullptr);
  EXPECT_EQ(one, 1);
  EXPECT_EQ(extra2, kSecondWord);
  *flags |= save->flagsToLeave;
  if (save->refusedStart == 0 || save->refusedStart == save->starts) {
    if (save->startResult < 1) {
      return save->startResult;
    }
  }
  *descriptor = &save->descriptor_;
  *context = save->context_;
  return 1;
}

int32_t FaxPageSave::GetRow(BitmapHandle*, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                            uint32_t, intptr_t self, intptr_t extra2, void* context) {
  auto* save = reinterpret_cast<FaxPageSave*>(self);
  EXPECT_EQ(descriptor, &save->descriptor_);
  EXPECT_EQ(context, save->context_);
  EXPECT_EQ(one, 1);
  EXPECT_EQ(extra2, kSecondWord);
  if (++save->rows == save->refusedRow) {
    return -66;
  }
  if (rowIndex < 0 || rowIndex >= save->page_.height) {
    ADD_FAILURE() << "row " << rowIndex << " is not there";
    return -67;
  }
  const size_t bytes = save->page_.RowBytes();
  auto* out = static_cast<uint8_t*>(rowBuffer);
  std::memcpy(out, save->page_.rows.data() + static_cast<size_t>(rowIndex) * bytes, bytes);
  for (size_t i = 0; save->inverted_ && i < bytes; ++i) {
    out[i] = static_cast<uint8_t>(~out[i]);
  }
  if (!save->inverted_ && save->page_.width % 8 != 0) {
    out[bytes - 1] |= static_cast<uint8_t>(0xFF >> (save->page_.width % 8)); // what no pixel is may hold anything
  }
  return 1;
}

int32_t FaxPageSave::End(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t*, int32_t zero, void** context) {
  EXPECT_EQ(bitmap, &current->bitmap);
  EXPECT_EQ(*descriptor, &current->descriptor_);
  EXPECT_EQ(zero, 0);
  EXPECT_EQ(*context, current->context_);
  current->ends += 1;
  return -1; // not looked at
}

std::vector<uint32_t> TagValues(const FileBytes& file, uint16_t tag, uint32_t page) {
  const FileDirectory directory = ReadFilePage(file, page);
  const FileEntry* entry = directory.Find(tag);
  std::vector<uint32_t> values;
  for (uint32_t i = 0; entry != nullptr && i < entry->count; ++i) {
    values.push_back(entry->type == 3 ? GetU16(entry->value, 2 * i, OrderOf(file))
                                      : GetU32(entry->value, 4 * i, OrderOf(file)));
  }
  return values;
}

uint32_t TagValue(const FileBytes& file, uint16_t tag, uint32_t page) {
  const std::vector<uint32_t> values = TagValues(file, tag, page);
  EXPECT_EQ(values.size(), 1u) << "tag " << tag;
  return values.empty() ? 0xFFFFFFFF : values[0];
}

std::vector<FileBytes> Pieces(const FileBytes& file, uint32_t page) {
  const bool tiles = !TagValues(file, 324, page).empty();
  const std::vector<uint32_t> offsets = TagValues(file, tiles ? 324 : 273, page);
  const std::vector<uint32_t> counts = TagValues(file, tiles ? 325 : 279, page);
  EXPECT_EQ(offsets.size(), counts.size());
  std::vector<FileBytes> pieces;
  for (size_t i = 0; i < offsets.size() && i < counts.size(); ++i) {
    if (uint64_t{offsets[i]} + counts[i] > file.size()) {
      ADD_FAILURE() << "piece " << i << " leaves the file";
      return {};
    }
    EXPECT_TRUE(i == 0 || offsets[i] == offsets[i - 1] + counts[i - 1]) << "pieces lie one behind the other";
    const auto begin = file.begin() + static_cast<ptrdiff_t>(offsets[i]);
    pieces.emplace_back(begin, begin + static_cast<ptrdiff_t>(counts[i]));
  }
  return pieces;
}

uint32_t CountPages(const FileBytes& file) {
  uint32_t pages = 0;
  for (uint32_t at = GetU32(file, 4, OrderOf(file)); at != 0; at = ReadFileDirectory(file, at).next) {
    ++pages;
  }
  return pages;
}

TestPage Cut(const TestPage& page, int32_t left, int32_t top, int32_t width, int32_t height) {
  TestPage cut(width, height);
  for (int32_t y = 0; y < height && top + y < page.height; ++y) {
    for (int32_t x = 0; x < width && left + x < page.width; ++x) {
      cut.Set(x, y, page.At(left + x, top + y));
    }
  }
  return cut;
}

TestPage Upside(const TestPage& page) {
  TestPage other(page.width, page.height);
  for (int32_t y = 0; y < page.height; ++y) {
    for (int32_t x = 0; x < page.width; ++x) {
      other.Set(x, y, page.At(x, page.height - 1 - y));
    }
  }
  return other;
}

TestPage Negative(const TestPage& page) {
  TestPage other(page.width, page.height);
  for (int32_t y = 0; y < page.height; ++y) {
    for (int32_t x = 0; x < page.width; ++x) {
      other.Set(x, y, !page.At(x, y));
    }
  }
  return other;
}

FileBytes PlainPiece(const TestPage& page, int32_t format) {
  constexpr int32_t kParameterK = 4; // from 150 dots per inch on
  const std::string eol = "000000000001";
  std::string bits;
  for (int32_t y = 0; y < page.height; ++y) {
    const std::string row = page.Row(y);
    const std::string above = y == 0 ? std::string(static_cast<size_t>(page.width), '0') : page.Row(y - 1);
    if (format == kFormatGroup3 || format == kFormatGroup3TwoDimensional) {
      bits += std::string((20 - bits.size() % 8) % 8, '0') + eol; // end-of-line codes end on bytes
    }
    if (format == kFormatGroup4) {
      bits += PlainEncode2D(row, above);
    } else if (format != kFormatGroup3TwoDimensional) {
      bits += PlainEncode1D(row);
    } else {
      bits += y % kParameterK == 0 ? "1" + PlainEncode1D(row) : "0" + PlainEncode2D(row, above);
    }
    if (format == kFormatCcitt) {
      bits += std::string((8 - bits.size() % 8) % 8, '0');
    }
  }
  return BytesOfBits(format == kFormatGroup4 ? bits + eol + eol : bits);
}
