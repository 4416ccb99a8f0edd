// LZW written step by step, without any of the short cuts of the library's codec: what that one must agree with on
// every input.
#pragma once

#include <cstdint>
#include <vector>

#include <vxtif/vxtif.h>

struct PlainDecoder {
  int32_t previousCode = -1;
  uint32_t flags = 0; // 1 output left on the stack, 2 old-style stream, 4 width limit reached
  uint32_t codeWidth = 9;
  uint32_t maxCode = 510;
  int64_t bitPosition = 0;
  int64_t bitLimit = 0;
  uint32_t nextCode = 258;
  std::vector<uint16_t> prefix = std::vector<uint16_t>(9001);
  std::vector<uint8_t> suffix = std::vector<uint8_t>(8192);
  std::vector<uint8_t> stack; // last byte of the vector on top
  int32_t lastByte = -1;
  uint32_t stackLimit = 4905;
  uint32_t widthLimit = 13;
  uint32_t inputByteCount = 0;
  uint32_t inputRemaining = 0;

  int32_t Start(TifPage* page, VxFileHandle file, uint32_t stripBytes);
  int32_t Decode(TifPage* page, uint8_t* out, uint32_t byteCount);

private:
  uint32_t ReadCode(TifPage* page);
  bool Refill(TifPage* page);
  void Push(int32_t byte);
  uint32_t MaxCodeOf(uint32_t width) const { return (1u << width) - ((flags & 2) != 0 ? 1 : 2); }
};

struct PlainEncoder {
  int32_t currentCode = -1;
  uint32_t codeWidth = 9;
  uint32_t maxCode = 511;
  uint32_t nextCode = 258;
  int64_t nextCheck = 10000;
  int64_t ratio = 0;
  int64_t inputCount = 0;
  int64_t outputBits = 0;
  std::vector<int32_t> hashKeys = std::vector<int32_t>(9001, -1);
  std::vector<uint16_t> hashCodes = std::vector<uint16_t>(9001);
  std::vector<uint8_t> bytes;
  uint32_t bitPosition = 0;
  bool ratioCheck = false;
  std::vector<int64_t> ratios; // of every check

  void Encode(const uint8_t* data, size_t byteCount);
  void PutCode(uint32_t code);
  void End();

private:
  void ClearTable();
  void Restart();
  void CheckRatio();
};
