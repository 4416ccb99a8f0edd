// PackBits: the sequential reader and the strip decoder against readers written byte by byte, and the encoder's rows,
// which must come back through both. Behind a few settings the input is the stream, or the row.

#include <algorithm>

#include "FuzzTarget.h"
#include "InputReader.h"
#include "Tif/PackBitsStrip.h"
#include "Tifutil/PackBits.h"
#include "support/CodecIo.h"

namespace {

constexpr uint32_t kMostRequests = 64;
constexpr uint32_t kGuardBytes = 16;
constexpr uint8_t kGuard = 0xA5;
constexpr uint8_t kNoOperation = 128;

FileBytes Room(uint32_t bytes) {
  return FileBytes(bytes + kGuardBytes, kGuard);
}

void CheckGuard(const FileBytes& room) {
  if (!std::all_of(room.end() - kGuardBytes, room.end(), [](uint8_t byte) { return byte == kGuard; })) {
    FailFuzzInput("bytes behind the request were written");
  }
}

uint8_t ReverseBits(uint8_t byte) {
  uint8_t reversed = 0;
  for (int i = 0; i < 8; ++i) {
    reversed = static_cast<uint8_t>(reversed | ((byte >> i) & 1) << (7 - i));
  }
  return reversed;
}

// The sequential reader by its definition. The block is filled as a whole: what a short read leaves of it stays and is
// reversed again, and only two refills in a row that read nothing end a call.
class PlainStream {
public:
  PlainStream(const FileBytes& file, bool reversed) : file_(file), reversed_(reversed), block_(kPackBitsInputBlock) {}

  uint32_t Read(uint8_t* out, uint32_t wanted) {
    taken_ = 0;
    empty_ = 0;
    while (wanted != 0) {
      uint8_t control = 0;
      if (!Take(&control)) {
        break;
      }
      if (control < kNoOperation) {
        for (uint32_t i = 0; i <= control; ++i) {
          if (wanted == 0 || !Take(out)) {
            return taken_;
          }
          ++out;
          --wanted;
        }
      } else if (control > kNoOperation) {
        uint8_t value = 0;
        if (!Take(&value)) {
          break;
        }
        for (uint32_t i = 0; i < 257u - control && wanted != 0; ++i, --wanted) {
          *out++ = value;
        }
      }
    }
    return taken_;
  }

private:
  bool Take(uint8_t* byte) {
    if (position_ == kPackBitsInputBlock) {
      const size_t got = std::min<size_t>(kPackBitsInputBlock, file_.size() - filePosition_);
      std::copy_n(file_.begin() + static_cast<std::ptrdiff_t>(filePosition_), got, block_.begin());
      filePosition_ += got;
      empty_ = got == 0 ? empty_ + 1 : 0;
      if (empty_ == 2) {
        return false;
      }
      if (reversed_) {
        std::transform(block_.begin(), block_.end(), block_.begin(), ReverseBits);
      }
      position_ = 0;
    }
    *byte = block_[position_++];
    ++taken_;
    return true;
  }

  const FileBytes& file_;
  bool reversed_;
  FileBytes block_;
  size_t filePosition_ = 0;
  uint32_t position_ = kPackBitsInputBlock;
  uint32_t taken_ = 0;
  uint32_t empty_ = 0;
};

void CompareStream(InputReader& input) {
  const bool reversed = (input.Byte() & 1) != 0;
  const uint32_t request = 1u + input.Word();
  const FileBytes file(input.Rest().begin(), input.Rest().end());
  PlainStream plain(file, reversed);
  const ByteSource source(file);
  FileBytes block(kPackBitsInputBlock);
  uint32_t position = kPackBitsInputBlock;
  uint64_t asked = 0;
  for (uint32_t i = 0; i < kMostRequests && asked < file.size() * 130 + 1000; ++i) {
    FileBytes fastOut = Room(request);
    FileBytes plainOut = Room(request);
    const uint32_t taken = TIFPackBitsReadStream(fastOut.data(), 7, request, block.data(), &position,
                                                 reversed ? BitOrder::kReverse : BitOrder::kAsRead);
    CheckGuard(fastOut);
    if (taken != plain.Read(plainOut.data(), request) || fastOut != plainOut) {
      FailFuzzInput("the readers disagree");
    }
    asked += request;
  }
}

// A strip in a buffer that holds all of it: runs and literals end with the row. Gives the rows as far as the strip
// reaches.
FileBytes PlainRows(std::span<const uint8_t> strip, uint32_t rowSize, uint32_t rows) {
  FileBytes out;
  size_t at = 0;
  for (uint32_t row = 0; row < rows; ++row) {
    const size_t end = out.size() + rowSize;
    while (out.size() < end) {
      if (strip.size() - at < 2) {
        return out;
      }
      const uint8_t control = strip[at++];
      if (control == kNoOperation) {
        continue;
      }
      const size_t room = end - out.size();
      if (control > kNoOperation) {
        out.insert(out.end(), std::min<size_t>(257u - control, room), strip[at++]);
        continue;
      }
      const size_t length = std::min<size_t>(control + 1u, room);
      if (length > strip.size() - at) {
        return out;
      }
      out.insert(out.end(), strip.begin() + static_cast<std::ptrdiff_t>(at),
                 strip.begin() + static_cast<std::ptrdiff_t>(at + length));
      at += length;
    }
  }
  return out;
}

struct StripRows {
  int32_t result = 0;
  int32_t status = kResultOk;
  FileBytes rows;
};

StripRows DecodeStrip(std::span<const uint8_t> strip, uint32_t bufferBytes, uint32_t rowSize, uint32_t rows) {
  TifPage page = {};
  TifLoadContext context = {};
  context.status = kResultOk;
  const ByteSource source(FileBytes(strip.begin(), strip.end()));
  StripRows decoded = {kResultOk, kResultOk, Room(rowSize * rows)};
  if (TIFAllocPackBitsBuffer(&page, bufferBytes) != kResultOk) {
    FailFuzzInput("no buffer");
  }
  page.codecFile = 7;
  page.codecBytesLeft = static_cast<uint32_t>(strip.size());
  decoded.result = TIFRefillPackBitsBuffer(&page, 0);
  if (decoded.result == kResultOk) {
    decoded.result = TIFDecodePackBitsRows(&page, decoded.rows.data(), rowSize, rows, &context);
  }
  decoded.status = context.status;
  krnFree(page.codecBuffer, __LINE__, "fuzz");
  CheckGuard(decoded.rows);
  decoded.rows.resize(decoded.rows.size() - kGuardBytes);
  return decoded;
}

void CompareStrip(InputReader& input) {
  const uint32_t rowSize = 1u + input.Word() % 3000;
  const uint32_t rows = 1 + input.Below(16);
  const uint32_t smallBuffer = 2u + input.Byte();
  const auto strip = input.Rest();
  if (strip.empty()) {
    return;
  }
  const FileBytes expected = PlainRows(strip, rowSize, rows);
  const StripRows whole = DecodeStrip(strip, static_cast<uint32_t>(strip.size()), rowSize, rows);
  if (!std::equal(expected.begin(), expected.end(), whole.rows.begin())) {
    FailFuzzInput("the strip decoder disagrees");
  }
  if ((whole.result == kResultOk && whole.status == kResultOk) != (expected.size() == whole.rows.size())) {
    FailFuzzInput("a strip that ends early is not told from a whole one");
  }
  DecodeStrip(strip, smallBuffer, rowSize, rows); // its refills cut packets: only bounds are looked at
}

void EncodeRow(InputReader& input) {
  const FileBytes row(input.Rest().begin(), input.Rest().end());
  const auto bytes = static_cast<uint32_t>(row.size());
  FileBytes room = Room(static_cast<uint32_t>(TIFPackBitsWorstCase(bytes)));
  uint8_t* end = room.data();
  TIFPackBitsEncodeRow(&end, row.data(), bytes);
  CheckGuard(room);
  const FileBytes packed(room.data(), end);
  FileBytes back(bytes);
  FileBytes block(kPackBitsInputBlock);
  uint32_t position = kPackBitsInputBlock;
  const ByteSource source(packed);
  if (TIFPackBitsReadStream(back.data(), 7, bytes, block.data(), &position, BitOrder::kAsRead) != packed.size() ||
      back != row) {
    FailFuzzInput("a row does not come back through the reader");
  }
  if (bytes != 0) {
    const StripRows decoded = DecodeStrip(packed, static_cast<uint32_t>(packed.size()), bytes, 1);
    if (decoded.result != kResultOk || decoded.status != kResultOk || decoded.rows != row) {
      FailFuzzInput("a row does not come back through the strip decoder");
    }
  }
}

void RunPackBits(std::span<const uint8_t> input) {
  InputReader reader(input);
  switch (reader.Below(3)) {
  case 0:
    CompareStream(reader);
    break;
  case 1:
    CompareStrip(reader);
    break;
  default:
    EncodeRow(reader);
    break;
  }
}

std::vector<FileBytes> PackBitsSeeds() {
  FileBytes row;
  for (uint32_t i = 0; i < 700; ++i) {
    row.push_back(static_cast<uint8_t>(i % 200 < 140 ? i / 200 : i * 3));
  }
  FileBytes packed(static_cast<size_t>(TIFPackBitsWorstCase(row.size())));
  uint8_t* end = packed.data();
  TIFPackBitsEncodeRow(&end, row.data(), static_cast<uint32_t>(row.size()));
  packed.resize(static_cast<size_t>(end - packed.data()));
  std::vector<FileBytes> seeds = {{0, 0, 99, 0},       {0, 1, 20, 0}, {1, 99, 0, 7, 0},
                                  {1, 0xBB, 2, 0, 40}, {2},           {0, 0, 255, 255}};
  for (FileBytes& seed : seeds) {
    const FileBytes& data = seed[0] == 2 ? row : packed;
    seed.insert(seed.end(), data.begin(), data.end());
  }
  seeds.push_back({2, 1, 1});
  seeds.push_back({1, 3, 0, 1, 0, 2, 1, 2, 3, 128, 254, 7});
  return seeds;
}

} // namespace

const FuzzTarget kFuzzPackBits = {"packbits", RunPackBits, PackBitsSeeds, nullptr};
