// The row service of saves: three functions that a save request carries, through which the library fetches the rows of
// a bitmap in the depth and order that it is about to write.
//
// What a row is, by the depth asked for and the flags at the start of the conversion:
//
//   1 to 8     indices, high bits first, of the palette at byte 8 of the context. With grey asked for, or a grey
//              bitmap, the palette is the plain ramp. A bitmap with no more colours than the depth holds keeps them
//              exactly; others get a palette of their own and error diffusion (black and white at 1 bit)
//   12         grey, two samples in three bytes, low nibbles first
//   16         grey words, or words of 5 bits a colour with blue in the low bits
//   24, 48     three samples of 8 or 16 bits
//   32, 64     four samples, the last one alpha; 32 bits of grey are one sample
//
// Colours come red first, or blue first when the flags ask for it (kSaveRequestBlueFirst). Grey is asked for by
// kSaveRequestGray or kSaveRequestGrayRows, or by the bitmap's order. Samples of 16 bits become 8 by their high byte.
// Grey samples whose depth stays pass unchanged, with their tone table and level range in the descriptor; where the
// depth changes they are converted over that range. Rows may be fetched in any order, any number of times, and for
// other bitmaps of the same size than the one at the start.
#pragma once

#include <functional>

#include <vxkernel/rows.h>

namespace toolkit {

// What `extra1` of a request may point to: told of every row that is fetched, and of how many there are. It must not
// throw.
using RowWatcher = std::function<void(int32_t row, int32_t rows)>;

// 1; kResultInvalidParameter, kResultNoBitmap for a bitmap without pixels, kResultDepthNotSupported, kResultNoMemory.
int32_t saveStart(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                  void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context);

// 1; kResultInvalidParameter, kResultRefused for a row that is not there, kResultNoMemory.
int32_t saveGetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                   uint32_t flags, intptr_t extra1, intptr_t extra2, void* context);

// 1. Both pointers become null.
int32_t saveEnd(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context);

} // namespace toolkit
