// The encoder's buffered output.

#include "FaxOutput.h"

#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxOutput.cpp";
constexpr size_t kStoreSlack = 16; // the writer stores whole words

int32_t WriteOut(FaxOutput* output) {
  constexpr size_t kWriteAtMost = 1u << 30;
  const auto bytes = static_cast<size_t>(output->writer.next - output->buffer);
  if (output->reversesBits) {
    FaxReverseBytes(output->buffer, bytes);
  }
  for (size_t done = 0; done < bytes;) {
    const auto step = static_cast<uint32_t>(bytes - done < kWriteAtMost ? bytes - done : kWriteAtMost);
    if (krnFileWrite(output->file, output->buffer + done, step) != step) {
      return krnWriteError(kFaxResultWriteFailed);
    }
    done += step;
  }
  output->written += bytes;
  output->writer.next = output->buffer;
  return kFaxResultOk;
}

} // namespace

int32_t FaxOpenOutput(FaxOutput* output, VxFileHandle file, bool reversesBits, size_t holds, size_t longestRow) {
  *output = FaxOutput{file, reversesBits, nullptr, holds, 0, FaxBitWriter{}};
  size_t room = 0;
  if (__builtin_add_overflow(holds, longestRow + kStoreSlack, &room)) {
    return kFaxResultNoMemory;
  }
  output->buffer = static_cast<uint8_t*>(krnAlloc(room, 1, __LINE__, kModule));
  FaxStartPieceOutput(output);
  return output->buffer == nullptr ? kFaxResultNoMemory : kFaxResultOk;
}

void FaxCloseOutput(FaxOutput* output) {
  krnFree(output->buffer, __LINE__, kModule);
  output->buffer = nullptr;
}

void FaxStartPieceOutput(FaxOutput* output) {
  output->written = 0;
  output->writer = FaxBitWriter{output->buffer, 0, 0};
}

uint64_t FaxOutputBytes(const FaxOutput& output) {
  return output.written + static_cast<uint64_t>(output.writer.next - output.buffer);
}

int32_t FaxMakeRoom(FaxOutput* output) {
  const auto waiting = static_cast<size_t>(output->writer.next - output->buffer);
  return waiting < output->holds ? kFaxResultOk : WriteOut(output);
}

int32_t FaxEndPieceOutput(FaxOutput* output, uint32_t* bytes) {
  FaxAlign(output->writer);
  const int32_t result = WriteOut(output);
  if (result == kFaxResultOk && output->written > UINT32_MAX) {
    return kFaxResultWriteFailed; // no TIFF file can hold it
  }
  *bytes = static_cast<uint32_t>(output->written);
  return result;
}
