// Bits and pages for the tests of the codec: streams written as strings of 0 and 1, pages of random, text-like and
// extreme content, and random numbers that are the same everywhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// "00110101 1" and the like; anything but 0 and 1 is passed over. The last byte is filled with zeros.
std::vector<uint8_t> BytesOfBits(std::string_view bits);
std::string BitsOfBytes(const std::vector<uint8_t>& bytes);

// xorshift64*: the tests' numbers must not depend on the library at hand.
class TestRandom {
public:
  explicit TestRandom(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
  uint64_t Next();
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>((Next() >> 32) * limit >> 32); }

private:
  uint64_t state_;
};

// A bilevel page: rows back to back, ceil(width / 8) bytes each, 1 is black, the bits behind the width 0.
struct TestPage {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> rows;

  TestPage() = default;
  TestPage(int32_t pageWidth, int32_t pageHeight);
  size_t RowBytes() const { return (static_cast<size_t>(width) + 7) / 8; }
  bool At(int32_t x, int32_t y) const;
  void Set(int32_t x, int32_t y, bool black);
  void Fill(int32_t left, int32_t right, int32_t y, bool black); // right not included
  std::string Row(int32_t y) const;                              // as 0 and 1
  bool operator==(const TestPage&) const = default;
};

TestPage PageOfRows(const std::vector<std::string>& rows);

enum class PageKind { kWhite, kBlack, kNoise, kRuns, kText, kCheckered, kSkewed };
inline constexpr PageKind kAllPageKinds[] = {PageKind::kWhite, PageKind::kBlack,     PageKind::kNoise, PageKind::kRuns,
                                             PageKind::kText,  PageKind::kCheckered, PageKind::kSkewed};
TestPage MakePage(PageKind kind, int32_t width, int32_t height, uint64_t seed);
