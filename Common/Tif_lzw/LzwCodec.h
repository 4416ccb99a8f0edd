// The LZW compression of TIFF (compression 5) in both directions: plain bytes through a buffer in the TifPage.
// The decoder hands out any number of bytes at a time, so that a caller can pull one row after another.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

struct LzwEncoder; // one strip's encoder
struct LzwDecoder; // kept from strip to strip by its caller

constexpr uint32_t kLzwBufferSize = 61440; // the encoder's codecBuffer
constexpr uint32_t kLzwClearCode = 256;
constexpr uint32_t kLzwEndCode = 257;

// Prepares a strip; allocates the encoder when it is null. 1 or -1.
int32_t TIFLZWEncodeStart(TifPage* page, LzwEncoder** encoder);
// Adds bytes. Always 1.
int32_t TIFLZWEncode(TifPage* page, const uint8_t* data, uint32_t byteCount, int32_t one, LzwEncoder* encoder);
// Writes one code.
void TIFLZWPutCode(TifPage* page, uint32_t code, LzwEncoder* encoder);
// Writes what the buffer holds to codecFile and counts it in codecByteCount, whether or not the disk took it.
void TIFLZWFlush(TifPage* page, LzwEncoder* encoder);
// Ends a strip: the pending code, the end code and a flush.
void TIFLZWEncodeEnd(TifPage* page, LzwEncoder* encoder);
void TIFLZWFreeEncoder(LzwEncoder* encoder);

// Prepares to read a strip of `stripBytes` bytes at the file's position through page->codecBuffer, which the caller has
// allocated to codecBufferSize. Allocates the decoder when it is null, else uses it again. 1, -1, -7; a failed start
// frees the decoder and leaves the caller's pointer as it is.
int32_t TIFLZWDecodeStart(TifPage* page, LzwDecoder** decoder, VxFileHandle file, uint32_t stripBytes);
// Delivers exactly `byteCount` bytes. 1, or -77 for a corrupt stream.
int32_t TIFLZWDecode(TifPage* page, uint8_t* out, uint32_t byteCount, int32_t one, LzwDecoder* decoder);
void TIFLZWFreeDecoder(LzwDecoder* decoder);
