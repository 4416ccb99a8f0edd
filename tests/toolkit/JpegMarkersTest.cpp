// Marker segments lifted out of JPEG files.

#include <cstring>
#include <initializer_list>

#include <gtest/gtest.h>

#include "support/TempFile.h"
#include "toolkit/Failure.h"
#include "toolkit/JpegMarkers.h"

#include <vxtif/results.h>

namespace {

const FileBytes kStart = {0xFF, 0xD8};
const FileBytes kExif = {0xFF, 0xE1, 0, 10, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I'};
const FileBytes kJfif = {0xFF, 0xE0, 0, 4, 'J', 'F'};
const FileBytes kScan = {0xFF, 0xDA, 0, 2, 1, 2, 3};

FileBytes Joined(std::initializer_list<FileBytes> parts) {
  FileBytes bytes;
  for (const FileBytes& part : parts) {
    bytes.insert(bytes.end(), part.begin(), part.end());
  }
  return bytes;
}

FileBytes Lifted(const FileBytes& jpeg) {
  const TempFile file(jpeg);
  const toolkit::JpegMarkers markers(file.Path().string());
  const auto* block = reinterpret_cast<const uint8_t*>(markers.Block());
  EXPECT_EQ(std::memcmp(block, "VMRK", 4), 0);
  const uint32_t size = markers.Block()->size;
  return {block + 8, block + 8 + size};
}

void ExpectRefused(const FileBytes& jpeg) {
  const TempFile file(jpeg);
  try {
    const toolkit::JpegMarkers markers(file.Path().string());
    FAIL() << "taken";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultReadFailed);
  }
}

TEST(JpegMarkers, AreAllSegmentsInFrontOfTheScan) {
  EXPECT_EQ(Lifted(Joined({kStart, kJfif, kExif, kScan, kJfif})), Joined({kJfif, kExif}));
}

TEST(JpegMarkers, FillBytesAndMarkersWithoutALengthAreLeftOut) {
  EXPECT_EQ(Lifted(Joined({kStart, {0xFF, 0xFF}, kExif, {0xFF, 0x01}, {0xFF, 0xD3}, kJfif, {0xFF, 0xD9}})),
            Joined({kExif, kJfif}));
}

TEST(JpegMarkers, OtherAndDamagedFilesAreRefused) {
  ExpectRefused({});
  ExpectRefused({'I', 'I', 42, 0});
  ExpectRefused(kStart);
  ExpectRefused(Joined({kStart, kExif}));
  ExpectRefused(Joined({kStart, {0xFF, 0xE1, 0, 1}}));
  ExpectRefused(Joined({kStart, {0xFF, 0xE1, 0, 99, 'E'}}));
  ExpectRefused(Joined({kStart, {0, 1}}));
}

TEST(JpegMarkers, FilesWithoutExifAreRefused) {
  ExpectRefused(Joined({kStart, kJfif, kScan}));
  ExpectRefused(Joined({kStart, {0xFF, 0xE1, 0, 8, 'E', 'x', 'i', 'f', 0, 0}, kScan})); // a name with nothing behind it
  ExpectRefused(Joined({kStart, kScan, kExif}));
}

TEST(JpegMarkers, MissingFileIsToldSo) {
  try {
    const toolkit::JpegMarkers markers("/nonexistent/a.jpg");
    FAIL() << "opened";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultOpenFailed);
  }
}

} // namespace
