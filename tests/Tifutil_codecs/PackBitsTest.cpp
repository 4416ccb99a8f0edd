// PackBits worked out by hand, and against coders written byte by byte.

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Tifutil/PackBits.h"
#include "support/CodecIo.h"

namespace {

FileBytes Encode(const FileBytes& row) {
  FileBytes room(static_cast<size_t>(TIFPackBitsWorstCase(row.size())) + 1, 0xEE);
  uint8_t* cursor = room.data();
  TIFPackBitsEncodeRow(&cursor, row.data(), static_cast<uint32_t>(row.size()));
  const auto used = static_cast<size_t>(cursor - room.data());
  EXPECT_LE(used, TIFPackBitsWorstCase(row.size()));
  EXPECT_EQ(0xEE, room.back());
  room.resize(used);
  return room;
}

FileBytes Counting(uint32_t count) {
  FileBytes bytes;
  for (uint32_t i = 0; i < count; ++i) {
    bytes.push_back(static_cast<uint8_t>(i));
  }
  return bytes;
}

FileBytes Joined(std::initializer_list<FileBytes> parts) {
  FileBytes all;
  for (const FileBytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

// The rules of the row encoder, one byte at a time.
FileBytes PlainEncode(const FileBytes& row) {
  FileBytes out;
  size_t at = 0;
  while (at < row.size()) {
    const auto left = [&] { return row.size() - at; };
    if (left() >= 3 && row[at] == row[at + 1] && row[at] == row[at + 2]) {
      size_t count = 0;
      while (count < 128 && count < left() && row[at + count] == row[at]) {
        ++count;
      }
      out.push_back(static_cast<uint8_t>(1 - static_cast<int>(count)));
      out.push_back(row[at]);
      at += count;
      continue;
    }
    const size_t control = out.size();
    out.push_back(0);
    out.push_back(row[at++]);
    size_t length = 1;
    while (length < 128 && left() != 0) {
      if (left() == 1 || row[at] != row[at + 1]) {
        out.push_back(row[at++]);
        ++length;
        continue;
      }
      if (left() >= 3 && row[at + 2] == row[at]) {
        break;
      }
      const size_t both = length < 127 ? 2 : 1;
      for (size_t i = 0; i < both; ++i) {
        out.push_back(row[at++]);
        ++length;
      }
    }
    out[control] = static_cast<uint8_t>(length - 1);
  }
  return out;
}

TEST(PackBitsEncoder, NothingGivesNothing) {
  EXPECT_EQ(FileBytes{}, Encode({}));
}

TEST(PackBitsEncoder, OneByteIsALiteral) {
  EXPECT_EQ((FileBytes{0, 7}), Encode({7}));
}

TEST(PackBitsEncoder, TwoEqualBytesAreALiteral) {
  EXPECT_EQ((FileBytes{1, 7, 7}), Encode({7, 7}));
}

TEST(PackBitsEncoder, ThreeEqualBytesAreARun) {
  EXPECT_EQ((FileBytes{254, 7}), Encode({7, 7, 7}));
}

TEST(PackBitsEncoder, Runs128Long) {
  EXPECT_EQ((FileBytes{129, 7}), Encode(FileBytes(128, 7)));
  EXPECT_EQ((FileBytes{129, 7, 0, 7}), Encode(FileBytes(129, 7)));
  EXPECT_EQ((FileBytes{129, 7, 1, 7, 7}), Encode(FileBytes(130, 7)));
  EXPECT_EQ((FileBytes{129, 7, 254, 7}), Encode(FileBytes(131, 7)));
}

TEST(PackBitsEncoder, RowOf200WithoutRepeatIsTwoLiterals) {
  const FileBytes row = Counting(200);
  EXPECT_EQ(Joined({{127}, FileBytes(row.begin(), row.begin() + 128), {71}, FileBytes(row.begin() + 128, row.end())}),
            Encode(row));
}

TEST(PackBitsEncoder, PairStaysInTheLiteral) {
  EXPECT_EQ((FileBytes{4, 1, 2, 2, 3, 4}), Encode({1, 2, 2, 3, 4}));
}

TEST(PackBitsEncoder, RunOfThreeEndsTheLiteral) {
  EXPECT_EQ((FileBytes{1, 1, 2, 254, 3, 0, 4}), Encode({1, 2, 3, 3, 3, 4}));
}

TEST(PackBitsEncoder, PairThatWouldPassThe128thByteIsSplit) {
  // 127 bytes and a pair: only one of it fits.
  FileBytes row = Counting(127);
  row.insert(row.end(), {200, 200, 1});
  FileBytes first(row.begin(), row.begin() + 128);
  EXPECT_EQ(Joined({{127}, first, {1, 200, 1}}), Encode(row));
  // 126 bytes and a pair: both fit.
  FileBytes shorter = Counting(126);
  shorter.insert(shorter.end(), {200, 200, 1});
  EXPECT_EQ(Joined({{127}, FileBytes(shorter.begin(), shorter.begin() + 128), {0, 1}}), Encode(shorter));
}

TEST(PackBitsEncoder, RowsAreNeverJoined) {
  FileBytes room(64);
  uint8_t* cursor = room.data();
  const FileBytes row(4, 9);
  TIFPackBitsEncodeRow(&cursor, row.data(), 4);
  TIFPackBitsEncodeRow(&cursor, row.data(), 4);
  room.resize(static_cast<size_t>(cursor - room.data()));
  EXPECT_EQ((FileBytes{253, 9, 253, 9}), room);
}

TEST(PackBitsEncoder, WorstCaseIsEnoughForAnyLength) {
  EXPECT_EQ(0u, TIFPackBitsWorstCase(0));
  EXPECT_EQ(129u, TIFPackBitsWorstCase(1));
  EXPECT_EQ(129u, TIFPackBitsWorstCase(128));
  EXPECT_EQ(258u, TIFPackBitsWorstCase(129));
  for (uint32_t length = 0; length < 400; ++length) {
    Encode(Counting(length));
  }
}

struct StreamReader {
  explicit StreamReader(FileBytes bytes, BitOrder bitOrder = BitOrder::kAsRead)
      : source(std::move(bytes)), order(bitOrder) {}
  FileBytes Read(uint32_t wanted) {
    FileBytes out(wanted + 1, 0xCC);
    taken = TIFPackBitsReadStream(out.data(), 3, wanted, block.data(), &position, order);
    EXPECT_EQ(0xCC, out.back());
    out.pop_back();
    return out;
  }
  ByteSource source;
  BitOrder order;
  FileBytes block = FileBytes(kPackBitsInputBlock);
  uint32_t position = kPackBitsInputBlock;
  uint32_t taken = 0;
};

TEST(PackBitsReader, LiteralsRunsAndNoOperations) {
  StreamReader reader({2, 1, 2, 3, 128, 254, 9, 128, 128, 0, 4});
  EXPECT_EQ((FileBytes{1, 2, 3, 9, 9, 9, 4}), reader.Read(7));
  EXPECT_EQ(11u, reader.taken);
}

TEST(PackBitsReader, RunsLongerThanTheRequestLoseTheirRemainder) {
  StreamReader reader({251, 9, 0, 4});
  EXPECT_EQ(FileBytes(2, 9), reader.Read(2));
  EXPECT_EQ(2u, reader.taken);
  EXPECT_EQ(FileBytes(1, 4), reader.Read(1));
}

TEST(PackBitsReader, LiteralsLongerThanTheRequestAreReadAsControlBytesByTheNext) {
  StreamReader reader({3, 1, 2, 0, 55});
  EXPECT_EQ((FileBytes{1, 2}), reader.Read(2));
  EXPECT_EQ(3u, reader.taken);
  EXPECT_EQ((FileBytes{55}), reader.Read(1)); // 0, 55: a literal of one byte
}

TEST(PackBitsReader, NothingWantedTakesNothing) {
  StreamReader reader({0, 1});
  EXPECT_EQ(FileBytes{}, reader.Read(0));
  EXPECT_EQ(0u, reader.taken);
  EXPECT_EQ(0u, reader.source.Calls());
}

TEST(PackBitsReader, StaleBytesAreDecodedWhenTheFileEnds) {
  // The file fills the block once, with literals of one byte; behind its end the block is decoded again.
  FileBytes stream;
  for (uint32_t i = 0; i < kPackBitsInputBlock; ++i) {
    stream.push_back(static_cast<uint8_t>(i % 2 == 0 ? 0 : i / 2));
  }
  StreamReader reader(stream);
  const uint32_t once = kPackBitsInputBlock / 2;
  const FileBytes out = reader.Read(once + 4);
  EXPECT_EQ(static_cast<uint8_t>(once - 1), out[once - 1]);
  // The last byte of the block is a control byte 0; its literal is the first byte of the second turn, 0, and from
  // there on the turn is read one byte off: 0 is a literal's value, the values are control bytes.
  EXPECT_EQ(0, out[once]);
  EXPECT_EQ(2u, reader.source.Calls());
}

TEST(PackBitsReader, TwoRefillsThatReadNothingEndTheCall) {
  StreamReader reader({});
  std::fill(reader.block.begin(), reader.block.end(), uint8_t{128});
  const FileBytes out = reader.Read(10);
  EXPECT_EQ(FileBytes(10, 0xCC), out);
  EXPECT_EQ(2u, reader.source.Calls());
  EXPECT_EQ(kPackBitsInputBlock, reader.taken);
  EXPECT_EQ(kPackBitsInputBlock, reader.position);
}

TEST(PackBitsReader, ReversedInput) {
  StreamReader reader({0x40, 0x80, 0x40, 0xC0, 0x7F, 0x90}, BitOrder::kReverse); // 2, 1, 2, 3, 254, 9
  EXPECT_EQ((FileBytes{1, 2, 3, 9, 9, 9}), reader.Read(6));
}

TEST(PackBitsReader, ReversalTakesTheWholeBlockWhateverWasRead) {
  StreamReader reader({}, BitOrder::kReverse);
  reader.block[0] = 0x00;
  reader.block[1] = 0x0F;
  EXPECT_EQ(FileBytes(1, 0xF0), reader.Read(1));
}

// The rules of the stream reader, one byte at a time, over a file that is long enough.
uint32_t PlainRead(const FileBytes& stream, size_t* at, FileBytes* out, uint32_t wanted) {
  const size_t start = *at;
  while (wanted != 0) {
    const uint8_t control = stream.at((*at)++);
    if (control < 128) {
      for (uint32_t i = 0; i <= control; ++i) {
        if (wanted == 0) {
          return static_cast<uint32_t>(*at - start);
        }
        out->push_back(stream.at((*at)++));
        --wanted;
      }
    } else if (control > 128) {
      const uint8_t value = stream.at((*at)++);
      for (uint32_t i = 0; i < 257u - control && wanted != 0; ++i, --wanted) {
        out->push_back(value);
      }
    }
  }
  return static_cast<uint32_t>(*at - start);
}

TEST(PackBitsProperties, ReaderAgreesWithThePlainOneOnNoise) {
  const char* given = std::getenv("VXTIF_SEED");
  const uint32_t seed = given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : 77u;
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  for (uint32_t round = 0; round < 40; ++round) {
    std::mt19937 random(seed + round);
    FileBytes stream(300000);
    for (uint8_t& byte : stream) {
      byte = static_cast<uint8_t>(random());
      byte = random() % 3 == 0 ? static_cast<uint8_t>(byte % 8) : byte;
    }
    StreamReader reader(stream);
    size_t at = 0;
    for (uint32_t request = 0; at < 200000; ++request) {
      const auto wanted = static_cast<uint32_t>(random() % (round % 2 == 0 ? 700 : 20));
      FileBytes expected;
      const uint32_t taken = PlainRead(stream, &at, &expected, wanted);
      ASSERT_EQ(expected, reader.Read(wanted)) << "round " << round << ", request " << request << ", seed " << seed;
      ASSERT_EQ(taken, reader.taken);
    }
  }
}

TEST(PackBitsProperties, EncoderAgreesWithThePlainOneAndRowsComeBackWhole) {
  const char* given = std::getenv("VXTIF_SEED");
  const uint32_t seed = given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : 78u;
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  for (uint32_t round = 0; round < 60; ++round) {
    std::mt19937 random(seed + round);
    const auto rowBytes = static_cast<uint32_t>(1 + random() % 900);
    std::vector<FileBytes> rows;
    FileBytes stream;
    for (uint32_t i = 0; i < 150; ++i) {
      FileBytes row;
      const uint32_t variety = 1 + static_cast<uint32_t>(random() % 6);
      while (row.size() < rowBytes) {
        const uint32_t kind = static_cast<uint32_t>(random() % 4);
        const uint32_t length = 1 + static_cast<uint32_t>(random() % (kind == 0 ? 300 : 5));
        const auto value = static_cast<uint8_t>(random() % (kind == 3 ? 256 : variety));
        row.insert(row.end(), std::min<size_t>(length, rowBytes - row.size()), value);
      }
      const FileBytes encoded = Encode(row);
      ASSERT_EQ(PlainEncode(row), encoded) << "round " << round << ", row " << i << ", seed " << seed;
      stream.insert(stream.end(), encoded.begin(), encoded.end());
      rows.push_back(row);
    }
    StreamReader reader(stream);
    size_t taken = 0;
    for (const FileBytes& row : rows) {
      ASSERT_EQ(row, reader.Read(rowBytes)) << "round " << round << ", seed " << seed;
      taken += reader.taken;
    }
    ASSERT_EQ(stream.size(), taken);
  }
}

} // namespace
