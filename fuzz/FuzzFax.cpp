// The fax codec. Behind a few settings the input is a stream whose rows the codec and the plain decoder of the tests
// read side by side; a page in pieces, damaged or not, of which every row must be delivered; or the pixels of a page
// that must come back through encoder and decoder.

#include <algorithm>

#include <vxfax/vxfax.h>

#include "FaxRowDecoder.h"
#include "FuzzTarget.h"
#include "InputReader.h"
#include "RowFeed.h"
#include "fax/FaxTestPages.h"
#include "fax/PlainFaxRows.h"

namespace {

constexpr uint32_t kFormats[] = {kFaxModifiedHuffman, kFaxT4OneDimensional, kFaxT4TwoDimensional, kFaxT6};
constexpr int32_t kMostRows = 200;

// --- rows against the plain decoder ---

struct ChangeRow {
  std::vector<int32_t> memory;
  FaxChanges changes = {};

  explicit ChangeRow(int32_t width) : memory(static_cast<size_t>(width) + kFaxChangeSlack) {
    changes.at = memory.data();
    FaxSetSentinels(changes, width);
  }
  std::string Pixels(int32_t width) const {
    FileBytes bytes(FaxFillBytes(width), 0xFF);
    FaxFillRow(bytes.data(), width, changes);
    return BitsOfBytes(bytes).substr(0, static_cast<size_t>(width));
  }
};

void CompareRow(const PlainRow& plain, FaxRowState state, const ChangeRow& row, int64_t position, int32_t width) {
  constexpr FaxRowState kStates[] = {kFaxRowWhole, kFaxRowOverrun, kFaxRowDamaged};
  if (state != kStates[static_cast<int>(plain.state)] || position != static_cast<int64_t>(plain.position)) {
    FailFuzzInput("the row decoders end differently");
  }
  if (row.Pixels(width) != plain.pixels) {
    FailFuzzInput("the row decoders disagree");
  }
}

void CompareRows(InputReader& input) {
  const auto width = static_cast<int32_t>(1 + input.Word() % 700);
  const uint8_t schemes = input.Byte(); // a bit a row: two-dimensional
  const FileBytes stream(input.Rest().begin(), input.Rest().end());
  const std::string bits = BitsOfBytes(stream);
  FileBytes padded = stream;
  padded.resize(stream.size() + kFaxReaderPadding);
  const uint8_t* const end = padded.data() + stream.size();
  FaxBitReader reader = FaxBitReaderAt(padded.data(), end);
  ChangeRow above(width);
  std::string pixelsAbove(static_cast<size_t>(width), '0');
  size_t position = 0;
  for (uint32_t i = 0; i < 16 && position < bits.size(); ++i) {
    ChangeRow row(width);
    const bool twoDimensional = (schemes >> (i % 8) & 1) != 0;
    FaxRefill(reader);
    const FaxRowState state = twoDimensional ? FaxDecodeRow2D(&reader, width, above.changes, &row.changes)
                                             : FaxDecodeRow1D(&reader, width, &row.changes);
    const PlainRow plain =
        twoDimensional ? PlainDecode2D(bits, position, width, pixelsAbove) : PlainDecode1D(bits, position, width);
    const int64_t taken = static_cast<int64_t>(stream.size()) * 8 - FaxBitsLeft(reader);
    CompareRow(plain, state, row, taken, width);
    if (plain.state == PlainRowState::kDamaged) {
      break;
    }
    position = plain.position;
    pixelsAbove = plain.pixels;
    std::swap(above, row);
  }
}

// --- pages ---

struct PieceSettings {
  uint32_t format = kFaxT6;
  int32_t width = 0;
  int32_t height = 0; // below 0: not known
  uint32_t pieceWidth = 0;
  uint32_t rowsPerPiece = 0;
  uint32_t flags = 0;
};

struct DeliveredRows {
  const PieceSettings* settings;
  size_t rowBytes;
  int32_t next = 0;
  FileBytes rows;
};

int32_t TakeRows(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t, int32_t firstRow, int32_t rowCount,
                 intptr_t userData) {
  auto& delivered = *reinterpret_cast<DeliveredRows*>(userData);
  if (firstRow != delivered.next || rowCount < 1) {
    FailFuzzInput("rows are not delivered in order");
  }
  for (int32_t i = 0; i < rowCount; ++i) {
    const uint8_t* row = rows + static_cast<ptrdiff_t>(i) * bitmap->bytesPerLine;
    delivered.rows.insert(delivered.rows.end(), row, row + delivered.rowBytes);
  }
  delivered.next += rowCount;
  return delivered.settings->height < 0 && delivered.next > kMostRows ? kFaxResultInvalid : kFaxResultOk;
}

struct Pieces {
  FileBytes file;
  std::vector<uint32_t> offsets;
  std::vector<uint32_t> byteCounts;
  FileBytes marks; // empty: none are passed
};

// The rows; the result is 1 for whatever the pieces hold, unless the settings are refused.
DeliveredRows DecodePieces(const Pieces& pieces, const PieceSettings& settings, int32_t* result) {
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  FileBytes file = pieces.file;
  if (krnMemFileOpen(&memory, &handle, kKrnMemFileRead, file.data(), static_cast<uint32_t>(file.size())) != 1) {
    FailFuzzInput("no memory file");
  }
  const FaxInfo info = {0, settings.format, settings.width, settings.height, 1, 200, 200, 0, settings.flags};
  const FaxStripInfo strips = {settings.pieceWidth, settings.rowsPerPiece, pieces.offsets.data(),
                               pieces.byteCounts.data(), static_cast<uint32_t>(pieces.offsets.size())};
  BitmapHandle target = {};
  krnBitmapInit(&target, kBitmapHandleSize, settings.width, std::max(settings.height, 1), 1);
  DeliveredRows delivered = {&settings, FaxRowBytes(settings.width), 0, {}};
  *result = faxDecodeRows(nullptr, handle, &info, &strips, nullptr, &target, TakeRows, 1,
                          reinterpret_cast<intptr_t>(&delivered), pieces.marks.empty() ? nullptr : pieces.marks.data());
  krnMemFileClose(memory, 0, nullptr);
  return delivered;
}

void DecodeDamaged(InputReader& input) {
  PieceSettings settings;
  settings.format = kFormats[input.Below(4)];
  settings.width = 1 + input.Word() % 4000;
  settings.height = static_cast<int32_t>(input.Below(kMostRows + 1));
  const uint8_t flags = input.Byte();
  settings.flags = (flags & 1) != 0 ? uint32_t{kFaxFillOrder2} : 0u;
  settings.height = (flags & 2) != 0 ? -1 : settings.height;
  settings.pieceWidth = (flags & 4) != 0 ? 8u * (1 + input.Below(32)) : static_cast<uint32_t>(settings.width);
  settings.rowsPerPiece = input.Byte();
  Pieces pieces;
  const uint32_t count = input.Below(8);
  for (uint32_t i = 0; i < count; ++i) {
    pieces.offsets.push_back(input.Word());
    pieces.byteCounts.push_back(input.Word());
    if ((flags & 8) != 0) {
      pieces.marks.push_back(input.Byte() & 1);
    }
  }
  if ((flags & 16) != 0) { // one after the other, as in a sound file
    uint32_t offset = 0;
    for (uint32_t i = 0; i < count; ++i) {
      pieces.offsets[i] = offset;
      offset += pieces.byteCounts[i];
    }
  }
  pieces.file.assign(input.Rest().begin(), input.Rest().end());
  int32_t result = 0;
  const DeliveredRows delivered = DecodePieces(pieces, settings, &result);
  if (result == kFaxResultOk && settings.height > 0 && delivered.next != settings.height) {
    FailFuzzInput("rows are missing");
  }
}

// --- round trip ---

struct EncodeSettings {
  uint32_t t4Options = 0;
  bool marks = false;
  bool whole = false; // as one piece
};

Pieces EncodePage(const TestPage& page, const PieceSettings& settings, const EncodeSettings& encode) {
  RowFeed feed;
  feed.fill = [&page](int32_t row, uint8_t* out, size_t bytes) {
    std::copy_n(page.rows.data() + static_cast<size_t>(row) * page.RowBytes(), bytes, out);
  };
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, page.width, page.height, 1);
  bitmap.yResolution = (encode.t4Options & 4) != 0 ? 100 : 200;
  FaxRowSource source = {};
  source.t4Options = encode.t4Options;
  feed.Serve(source);
  const auto across = (static_cast<uint32_t>(page.width) - 1) / settings.pieceWidth + 1;
  const auto count = across * ((static_cast<uint32_t>(page.height) - 1) / settings.rowsPerPiece + 1);
  Pieces pieces;
  pieces.file.resize(512 * 1024);
  pieces.byteCounts.resize(encode.whole ? 1 : count);
  pieces.marks.resize(encode.marks && !encode.whole ? count : 0);
  std::vector<uint32_t> scratch(count);
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, pieces.file.data(), static_cast<uint32_t>(pieces.file.size()));
  const FaxTileRequest tiles = {settings.pieceWidth, settings.rowsPerPiece, scratch.data(), pieces.byteCounts.data(),
                                count};
  const intptr_t extra = feed.Extra();
  const uint32_t fill = (settings.flags & kFaxFillOrder2) != 0 ? uint32_t{kFaxFillReverseBits} : 0u;
  const int32_t result = encode.whole ? faxEncodeStart(&source, handle, &bitmap, 1, settings.format, 0, extra, 0,
                                                       pieces.byteCounts.data(), fill, 0, 0)
                                      : faxEncodeRows(&source, handle, &bitmap, &tiles,
                                                      pieces.marks.empty() ? nullptr : pieces.marks.data(), 0, 1,
                                                      settings.format, 0, extra, 0, 0, fill);
  uint32_t bytes = 0;
  krnMemFileClose(memory, 0, &bytes);
  if (result != kFaxResultOk) {
    FailFuzzInput("a page cannot be encoded");
  }
  pieces.file.resize(bytes);
  uint32_t offset = 0;
  for (const uint32_t size : pieces.byteCounts) {
    pieces.offsets.push_back(offset);
    offset += size;
  }
  return pieces;
}

TestPage PageOf(InputReader& input, int32_t width) {
  const size_t rowBytes = FaxRowBytes(width);
  const auto height = static_cast<int32_t>(std::clamp<size_t>(input.Rest().size() / rowBytes, 1, kMostRows));
  TestPage page(width, height);
  const auto pixels = input.Bytes(page.rows.size());
  std::copy(pixels.begin(), pixels.end(), page.rows.begin());
  for (int32_t y = 0; width % 8 != 0 && y < height; ++y) { // bits behind the width are 0
    uint8_t& last = page.rows[static_cast<size_t>(y + 1) * rowBytes - 1];
    last = static_cast<uint8_t>(last & 0xFF00 >> (width % 8));
  }
  return page;
}

void RoundTrip(InputReader& input) {
  PieceSettings settings;
  settings.format = kFormats[input.Below(4)];
  settings.width = 1 + input.Word() % 3000;
  const uint8_t flags = input.Byte();
  EncodeSettings encode;
  encode.marks = (flags & 2) != 0;
  encode.whole = (flags & 4) != 0;
  encode.t4Options = (flags & 8) != 0 ? 4 : 0;
  settings.flags = (flags & 1) != 0 ? uint32_t{kFaxFillOrder2} : 0u;
  const bool tiles = (flags & 16) != 0 && !encode.whole;
  const auto pageWidth = static_cast<uint32_t>(settings.width);
  settings.pieceWidth = tiles ? std::min(16u * (1 + input.Below(16)), pageWidth) : pageWidth;
  settings.rowsPerPiece = 1u + input.Byte();
  const TestPage page = PageOf(input, settings.width);
  settings.height = page.height;
  if (encode.whole) {
    settings.rowsPerPiece = static_cast<uint32_t>(page.height);
  }
  int32_t result = 0;
  const Pieces pieces = EncodePage(page, settings, encode);
  if (DecodePieces(pieces, settings, &result).rows != page.rows || result != kFaxResultOk) {
    FailFuzzInput("a page does not come back");
  }
}

void RunFax(std::span<const uint8_t> input) {
  InputReader reader(input);
  switch (reader.Below(3)) {
  case 0:
    CompareRows(reader);
    break;
  case 1:
    DecodeDamaged(reader);
    break;
  default:
    RoundTrip(reader);
    break;
  }
}

// --- seeds ---

FileBytes With(FileBytes front, const FileBytes& rest) {
  front.insert(front.end(), rest.begin(), rest.end());
  return front;
}

void AddPage(std::vector<FileBytes>& seeds, PageKind kind, uint8_t format) {
  constexpr uint8_t kWidth = 90; // the settings hold one less
  const TestPage page = MakePage(kind, kWidth + 1, 12, 5);
  std::string rows;
  std::string above(kWidth + 1, '0');
  for (int32_t y = 0; y < page.height; ++y) {
    rows += format == 0 ? PlainEncode1D(page.Row(y)) : PlainEncode2D(page.Row(y), above);
    above = page.Row(y);
  }
  const auto schemes = static_cast<uint8_t>(format == 0 ? 0 : 0xFF);
  seeds.push_back(With({0, kWidth, 0, schemes}, BytesOfBits(rows)));
  PieceSettings settings;
  settings.format = kFormats[format];
  settings.width = page.width;
  settings.pieceWidth = static_cast<uint32_t>(page.width);
  settings.rowsPerPiece = 6;
  const Pieces pieces = EncodePage(page, settings, {});
  FileBytes damaged = {1, format, kWidth, 0, 12, 16, 6, 2};
  for (const uint32_t bytes : pieces.byteCounts) {
    damaged.insert(damaged.end(), {0, 0, static_cast<uint8_t>(bytes), static_cast<uint8_t>(bytes >> 8)});
  }
  seeds.push_back(With(damaged, pieces.file));
  for (const uint8_t flags : {uint8_t{0}, uint8_t{7}, uint8_t{26}}) {
    seeds.push_back(With({2, format, kWidth, 0, flags, 5, 4}, page.rows));
  }
}

std::vector<FileBytes> FaxSeeds() {
  std::vector<FileBytes> seeds;
  for (const PageKind kind : kAllPageKinds) {
    for (uint8_t format = 0; format < 4; ++format) {
      AddPage(seeds, kind, format);
    }
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzFax = {"fax", RunFax, FaxSeeds, nullptr};
