#include "fax/FaxTestHost.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "support/TempFile.h"

namespace {

constexpr int32_t kRefused = -77;
constexpr int32_t kNoRow = -66;
constexpr intptr_t kSinkData = 4711;
constexpr intptr_t kExtra1 = 11;
constexpr intptr_t kExtra2 = 22;
constexpr uint32_t kServiceFlags = 0x8000;

struct SinkState {
  const FaxDecodeCall* call;
  FaxDecoded* decoded;
};
SinkState* activeSink = nullptr;
FileInfoRecord* const kFileInfo = reinterpret_cast<FileInfoRecord*>(0x1230);

int32_t Sink(FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
             int32_t rowCount, intptr_t userData) {
  FaxDecoded& decoded = *activeSink->decoded;
  const FaxDecodeCall& call = *activeSink->call;
  EXPECT_EQ(info, kFileInfo);
  EXPECT_EQ(bitmap, &decoded.target);
  EXPECT_EQ(userData, kSinkData);
  EXPECT_EQ(firstRow, decoded.page.height);
  EXPECT_GE(rowCount, 1);
  EXPECT_EQ(flags & 3u, 3u);
  EXPECT_EQ((flags & kRowsFirst) != 0, firstRow == 0);
  EXPECT_EQ(flags & kRowsPacked, 0u);
  decoded.flags.push_back(flags);
  decoded.counts.push_back(rowCount);
  if (call.refuseAtRow >= firstRow && call.refuseAtRow < firstRow + rowCount) {
    return kRefused;
  }
  const size_t rowBytes = decoded.page.RowBytes();
  const int32_t stride = bitmap->bytesPerLine;
  for (int32_t i = 0; i < rowCount; ++i) {
    uint8_t* row = rows + static_cast<ptrdiff_t>(i) * stride;
    decoded.page.rows.insert(decoded.page.rows.end(), row, row + rowBytes);
    if (call.width % 8 != 0) {
      EXPECT_EQ(row[rowBytes - 1] & (0xFF >> (call.width % 8)), 0) << "row " << firstRow + i;
    }
    std::memset(row, 0xA5, rowBytes); // rows are the sink's to change
  }
  decoded.page.height += rowCount;
  return 1;
}

struct ServiceContext {
  uint8_t unused[8];
  VxColor palette[256];
};

struct ServiceState {
  const TestPage* page;
  const FaxEncodeCall* call;
  FaxEncoded* encoded;
  BitmapHandle descriptor;
  ServiceContext context;
};
ServiceState* activeService = nullptr;

int32_t SaveStart(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                  void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context) {
  EXPECT_EQ(bitsPerPixel, 1);
  EXPECT_EQ(*flags, kServiceFlags);
  EXPECT_EQ(rowBufferOut, nullptr);
  EXPECT_EQ(one, 1);
  EXPECT_EQ(extra1, kExtra1);
  EXPECT_EQ(extra2, kExtra2);
  ServiceState& state = *activeService;
  if (state.call->startResult < 1) {
    return state.call->startResult;
  }
  ++state.encoded->starts;
  krnBitmapInit(&state.descriptor, kBitmapHandleSize, bitmap->width, bitmap->height, 1);
  const uint8_t first = state.call->blackFirst ? 0 : 255;
  std::memset(&state.context, 0, sizeof state.context);
  std::memset(&state.context.palette[0], first, 3);
  std::memset(&state.context.palette[1], 255 - first, 3);
  *descriptor = &state.descriptor;
  *context = &state.context;
  *flags |= 0x10000;
  return state.call->startResult;
}

int32_t SaveGetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                   uint32_t flags, intptr_t extra1, intptr_t extra2, void* context) {
  ServiceState& state = *activeService;
  EXPECT_EQ(one, 1);
  EXPECT_EQ(descriptor, &state.descriptor);
  EXPECT_EQ(context, &state.context);
  EXPECT_EQ(flags, kServiceFlags | 0x10000);
  EXPECT_EQ(extra1, kExtra1);
  EXPECT_EQ(extra2, kExtra2);
  EXPECT_GE(rowIndex, 0);
  EXPECT_LT(rowIndex, bitmap->height);
  ++state.encoded->fetches;
  if (state.encoded->fetches == static_cast<uint32_t>(state.call->failAtFetch)) {
    return kNoRow;
  }
  // A service writes rows as long as its descriptor's, and need not clear what is behind the pixels.
  std::memset(rowBuffer, 0xFF, static_cast<size_t>(descriptor->bytesPerLine));
  auto* row = static_cast<uint8_t*>(rowBuffer);
  const size_t rowBytes = state.page->RowBytes();
  std::memcpy(row, state.page->rows.data() + static_cast<size_t>(rowIndex) * rowBytes, rowBytes);
  if (bitmap->width % 8 != 0) {
    row[rowBytes - 1] = static_cast<uint8_t>(row[rowBytes - 1] | 0xFF >> (bitmap->width % 8));
  }
  return 1;
}

int32_t SaveEnd(BitmapHandle*, BitmapHandle** descriptor, uint32_t*, int32_t zero, void** context) {
  EXPECT_EQ(zero, 0);
  EXPECT_EQ(*descriptor, &activeService->descriptor);
  EXPECT_EQ(*context, &activeService->context);
  ++activeService->encoded->ends;
  return -999; // not looked at
}

int32_t CallEncoder(const FaxRowSource& source, VxFileHandle handle, BitmapHandle* bitmap, const FaxEncodeCall& call,
                    FaxEncoded* encoded) {
  FaxTestFile& file = encoded->file;
  if (call.tileHeight == 0) {
    file.byteCounts.assign(1, 0);
    return faxEncodeStart(&source, handle, bitmap, 1, call.mode, kServiceFlags, kExtra1, kExtra2,
                          file.byteCounts.data(), call.fillOptions, 0, 0);
  }
  const auto width = static_cast<uint32_t>(bitmap->width);
  const auto height = static_cast<uint32_t>(bitmap->height);
  const uint32_t tileWidth = call.tileWidth == 0 ? width : call.tileWidth;
  const uint32_t count = ((width - 1) / tileWidth + 1) * ((height - 1) / call.tileHeight + 1);
  std::vector<uint32_t> scratch(count);
  file.byteCounts.assign(count, 0);
  file.marks.assign(call.marks ? count : 0, 0x55);
  const FaxTileRequest tiles{tileWidth, call.tileHeight, scratch.data(), file.byteCounts.data(), count};
  return faxEncodeRows(&source, handle, bitmap, &tiles, call.marks ? file.marks.data() : nullptr, 0, 1, call.mode,
                       kServiceFlags, kExtra1, kExtra2, 0, call.fillOptions);
}

} // namespace

void FaxTestFile::Add(const std::vector<uint8_t>& piece) {
  offsets.push_back(static_cast<uint32_t>(bytes.size()));
  byteCounts.push_back(static_cast<uint32_t>(piece.size()));
  bytes.insert(bytes.end(), piece.begin(), piece.end());
}

FaxDecoded DecodeFax(VxFileHandle handle, const FaxTestFile& file, const FaxDecodeCall& call) {
  FaxDecoded decoded;
  decoded.page = TestPage(call.width, 0);
  krnBitmapInit(&decoded.target, kBitmapHandleSize, call.width, call.height, 1);
  if (call.bytesPerLine != 0) {
    decoded.target.bytesPerLine = call.bytesPerLine;
  }
  const FaxInfo info{0, call.format, call.width, call.height, 1, 300, 400, 0, call.flags};
  const uint32_t pieceWidth = call.pieceWidth == 0 ? static_cast<uint32_t>(call.width) : call.pieceWidth;
  const FaxStripInfo strips{pieceWidth, call.rowsPerStrip, file.offsets.data(), file.byteCounts.data(),
                            static_cast<uint32_t>(file.offsets.size())};
  SinkState state{&call, &decoded};
  activeSink = &state;
  decoded.result = faxDecodeRows(nullptr, handle, &info, &strips, kFileInfo, &decoded.target, Sink, 1, kSinkData,
                                 file.marks.empty() ? nullptr : file.marks.data());
  activeSink = nullptr;
  if (decoded.result == 1) {
    for (size_t i = 0; i < decoded.flags.size(); ++i) {
      EXPECT_EQ((decoded.flags[i] & kRowsLast) != 0, i + 1 == decoded.flags.size());
    }
  }
  return decoded;
}

FaxDecoded DecodeFax(const FaxTestFile& file, const FaxDecodeCall& call) {
  const MemoryInput input(file.bytes);
  return DecodeFax(input.Handle(), file, call);
}

FaxDecoded DecodeFax(const std::vector<uint8_t>& strip, const FaxDecodeCall& call) {
  FaxTestFile file;
  file.Add(strip);
  return DecodeFax(file, call);
}

FaxEncoded EncodeFax(const TestPage& page, const FaxEncodeCall& call) {
  FaxEncoded encoded;
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, page.width, page.height, 1);
  bitmap.viewPerspective = call.view;
  bitmap.yResolution = call.yResolution;
  ServiceState state{&page, &call, &encoded, {}, {}};
  activeService = &state;
  const FaxRowSource source{SaveStart, SaveEnd, SaveGetRow, call.invertBlackFirst ? 1u : 0u, call.t4Options};
  encoded.file.bytes.resize(call.room);
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  EXPECT_EQ(krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, encoded.file.bytes.data(), call.room), 1);
  encoded.result = CallEncoder(source, handle, &bitmap, call, &encoded);
  uint32_t bytes = 0;
  krnMemFileClose(memory, 0, &bytes);
  encoded.file.bytes.resize(bytes);
  activeService = nullptr;
  uint32_t offset = 0;
  for (const uint32_t count : encoded.file.byteCounts) {
    encoded.file.offsets.push_back(offset);
    offset += count;
  }
  return encoded;
}

TestPage UpsideDown(const TestPage& page) {
  TestPage turned(page.width, page.height);
  const auto rowBytes = static_cast<ptrdiff_t>(page.RowBytes());
  for (int32_t y = 0; y < page.height; ++y) {
    std::copy_n(page.rows.begin() + y * rowBytes, rowBytes, turned.rows.begin() + (page.height - 1 - y) * rowBytes);
  }
  return turned;
}

std::vector<uint8_t> ReversedBits(std::vector<uint8_t> bytes) {
  for (uint8_t& byte : bytes) {
    unsigned reversed = 0;
    for (int i = 0; i < 8; ++i) {
      reversed |= (byte >> i & 1u) << (7 - i);
    }
    byte = static_cast<uint8_t>(reversed);
  }
  return bytes;
}
