#include "Tif_lzw/PlainLzw.h"

#include <cstring>

namespace {

uint8_t ReverseByte(uint8_t byte) {
  uint8_t reversed = 0;
  for (int i = 0; i < 8; ++i) {
    reversed = static_cast<uint8_t>(reversed | ((byte >> i) & 1) << (7 - i));
  }
  return reversed;
}

} // namespace

int32_t PlainDecoder::Start(TifPage* page, VxFileHandle file, uint32_t stripBytes) {
  const uint32_t asked = page->codecBufferSize < stripBytes ? page->codecBufferSize : stripBytes;
  const uint32_t got = krnFileRead(file, page->codecBuffer, asked);
  if (got == kKrnIoFailed || got < 2) {
    return -7;
  }
  if (page->fillOrder == 2) {
    for (uint32_t i = 0; i < asked; ++i) {
      page->codecBuffer[i] = ReverseByte(page->codecBuffer[i]);
    }
  }
  page->codecFile = file;
  inputByteCount = got;
  inputRemaining = stripBytes - got;
  page->codecByteCount = got;
  codeWidth = 9;
  for (uint32_t i = 0; i < 256; ++i) {
    suffix[i] = static_cast<uint8_t>(i);
  }
  nextCode = 258;
  bitPosition = 0;
  bitLimit = int64_t{inputByteCount} * 8 - 12;
  stack.clear();
  previousCode = -1;
  lastByte = -1;
  flags = page->codecBuffer[0] == 0 && (page->codecBuffer[1] & 1) != 0 ? 2 : 0;
  widthLimit = page->fileOptions != nullptr && (page->fileOptions->flags & 0x8000000) != 0 ? 14 : 13;
  maxCode = MaxCodeOf(9);
  return 1;
}

bool PlainDecoder::Refill(TifPage* page) {
  if (inputRemaining == 0 || page->codecBufferSize <= 4) {
    return false;
  }
  bitPosition -= (int64_t{inputByteCount} - 4) * 8;
  std::memmove(page->codecBuffer, page->codecBuffer + page->codecBufferSize - 4, 4);
  const uint32_t asked = inputRemaining < page->codecBufferSize - 4 ? inputRemaining : page->codecBufferSize - 4;
  krnFileRead(page->codecFile, page->codecBuffer + 4, asked);
  inputRemaining -= asked;
  inputByteCount = asked + 4;
  page->codecByteCount = inputByteCount;
  bitLimit = int64_t{inputByteCount} * 8 - 12;
  return true;
}

uint32_t PlainDecoder::ReadCode(TifPage* page) {
  if (bitPosition > bitLimit && !Refill(page)) {
    return 257;
  }
  uint32_t code = 0;
  for (uint32_t i = 0; i < codeWidth; ++i) {
    const auto byte = static_cast<uint64_t>(bitPosition) / 8;
    const auto place = static_cast<uint32_t>(bitPosition % 8);
    uint32_t bit = 0;
    if (byte < page->codecBufferSize) {
      bit = (page->codecBuffer[byte] >> ((flags & 2) != 0 ? place : 7 - place)) & 1;
    }
    code |= bit << ((flags & 2) != 0 ? i : codeWidth - 1 - i);
    ++bitPosition;
  }
  return code;
}

void PlainDecoder::Push(int32_t byte) {
  if (stack.size() < stackLimit) {
    stack.push_back(static_cast<uint8_t>(byte));
  }
}

int32_t PlainDecoder::Decode(TifPage* page, uint8_t* out, uint32_t byteCount) {
  uint32_t done = 0;
  if ((flags & 1) != 0) {
    while (!stack.empty()) {
      if (done == byteCount) {
        return 1;
      }
      out[done++] = stack.back();
      stack.pop_back();
    }
    flags &= ~1u;
  }
  while (done < byteCount) {
    uint32_t code = ReadCode(page);
    if (code == 257) {
      break;
    }
    if (code == 256) {
      std::fill(prefix.begin(), prefix.end(), uint16_t{0});
      nextCode = 258;
      codeWidth = 9;
      maxCode = MaxCodeOf(9);
      code = ReadCode(page);
      if (code == 257) {
        break;
      }
      out[done++] = static_cast<uint8_t>(code);
      flags &= ~4u;
      previousCode = static_cast<int32_t>(code);
      lastByte = static_cast<int32_t>(code);
      continue;
    }
    uint32_t walk = code;
    if (code >= nextCode) {
      Push(lastByte);
      walk = static_cast<uint32_t>(previousCode);
    }
    while (walk >= 256) {
      if (stack.size() >= stackLimit - 1) {
        break;
      }
      if (walk >= 8192) {
        return -77;
      }
      Push(suffix[walk]);
      const auto next = static_cast<uint32_t>(static_cast<int16_t>(prefix[walk]));
      if (next == walk || next == code) {
        break;
      }
      walk = next;
    }
    if (walk >= 8192) {
      return -77;
    }
    lastByte = suffix[walk];
    Push(lastByte);
    while (!stack.empty()) {
      if (done == byteCount) {
        flags |= 1;
        break;
      }
      out[done++] = stack.back();
      stack.pop_back();
    }
    if (nextCode < 8191) {
      prefix[nextCode] = static_cast<uint16_t>(previousCode);
      suffix[nextCode] = static_cast<uint8_t>(lastByte);
      ++nextCode;
      if (nextCode > maxCode) {
        ++codeWidth;
        if (codeWidth == widthLimit) {
          flags |= 4;
          --codeWidth;
        }
        maxCode = MaxCodeOf(codeWidth);
      }
    }
    previousCode = static_cast<int32_t>(code);
  }
  while (done < byteCount) {
    out[done++] = static_cast<uint8_t>(lastByte);
  }
  return 1;
}

void PlainEncoder::ClearTable() {
  std::fill(hashKeys.begin(), hashKeys.end(), -1);
  nextCode = 258;
  nextCheck = 10000;
  ratio = 0;
  inputCount = 0;
  outputBits = 0;
}

void PlainEncoder::Restart() {
  ClearTable();
  PutCode(256);
  codeWidth = 9;
  maxCode = 511;
}

void PlainEncoder::CheckRatio() {
  nextCheck = inputCount + 10000;
  int64_t now;
  if (inputCount < 0x800000) {
    now = (inputCount << 8) / outputBits;
  } else {
    now = outputBits >> 8 == 0 ? 0x7FFFFFFF : inputCount / (outputBits >> 8);
  }
  ratios.push_back(now);
  if (now >= ratio) {
    ratio = now;
  } else {
    Restart();
  }
}

void PlainEncoder::PutCode(uint32_t code) {
  for (uint32_t i = 0; i < codeWidth; ++i) {
    if (bitPosition % 8 == 0) {
      bytes.push_back(0);
    }
    const uint32_t bit = (code >> (codeWidth - 1 - i)) & 1;
    bytes.back() = static_cast<uint8_t>(bytes.back() | bit << (7 - bitPosition % 8));
    ++bitPosition;
  }
  outputBits += codeWidth;
}

void PlainEncoder::Encode(const uint8_t* data, size_t byteCount) {
  size_t at = 0;
  if (currentCode == -1 && byteCount != 0) {
    PutCode(256);
    ++inputCount;
    currentCode = data[at++];
  }
  for (; at < byteCount; ++at) {
    const int32_t c = data[at];
    ++inputCount;
    const int32_t key = (c << 12) + currentCode;
    int32_t slot = (c << 5) ^ currentCode;
    const int32_t step = slot == 0 ? 1 : 9001 - slot;
    while (hashKeys[static_cast<size_t>(slot)] != key && hashKeys[static_cast<size_t>(slot)] >= 0) {
      slot -= step;
      if (slot < 0) {
        slot += 9001;
      }
    }
    if (hashKeys[static_cast<size_t>(slot)] == key) {
      currentCode = hashCodes[static_cast<size_t>(slot)];
      continue;
    }
    PutCode(static_cast<uint32_t>(currentCode));
    hashCodes[static_cast<size_t>(slot)] = static_cast<uint16_t>(nextCode);
    hashKeys[static_cast<size_t>(slot)] = key;
    ++nextCode;
    currentCode = c;
    if (nextCode == 4094) {
      Restart();
    } else if (nextCode > maxCode) {
      ++codeWidth;
      maxCode = (1u << codeWidth) - 1;
    } else if (ratioCheck && inputCount >= nextCheck) {
      CheckRatio();
    }
  }
}

void PlainEncoder::End() {
  if (currentCode != -1) {
    PutCode(static_cast<uint32_t>(currentCode));
    currentCode = -1;
  }
  PutCode(257);
}
