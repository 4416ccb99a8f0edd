/* Bitmaps of the toolkit: the 164-byte descriptor, its pixels, and the conversions that the filters ask for.

   A descriptor is exchanged between all libraries of the toolkit, so its layout is fixed and the same on every target.
   Pixels and the bitmap's own palette belong to the kernel and are found by a 32-bit id inside the descriptor.
   Rows stand top down, `bytesPerLine` is rounded up to a multiple of 4. */
#ifndef VXKERNEL_BITMAP_H
#define VXKERNEL_BITMAP_H

#include "memory.h"
#include "platform.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { kBitmapHandleSize = 164, kPaletteEntries = 256, kPaletteEntryBytes = 4 };

/* Bits of BitmapHandle.flags. */
enum { kBitmapSigned = 0x200, kBitmapHasLookupTable = 0x800 };

/* Values of BitmapHandle.order. */
enum { kOrderRedFirst = 0, kOrderBlueFirst = 1, kOrderGray = 2 };

#pragma pack(push, 1)
typedef struct BitmapHandle {
  uint32_t structSize;        /*   0: 164 */
  uint32_t kernelWords1[2];   /*   4: the kernel's */
  int32_t width;              /*  12: pixels */
  int32_t height;             /*  16: rows */
  int32_t bitsPerPixel;       /*  20: depth of a stored pixel */
  int32_t bytesPerLine;       /*  24: bytes from row to row in the bitmap */
  uint32_t kernelWords2[2];   /*  28: the kernel's */
  uint32_t flags;             /*  36: kBitmapSigned, kBitmapHasLookupTable */
  uint32_t colorsUsed;        /*  40: palette entries in use */
  uint32_t kernelWords3[1];   /*  44: the kernel's */
  uint32_t viewPerspective;   /*  48: orientation, 1 to 8 as in TIFF tag 274 */
  uint32_t order;             /*  52: kOrderRedFirst, kOrderBlueFirst, kOrderGray */
  uint32_t kernelWords4[3];   /*  56: the kernel's */
  int32_t xResolution;        /*  68: dots per inch */
  int32_t yResolution;        /*  72: dots per inch */
  uint32_t kernelWords5[6];   /*  76: the kernel's */
  int32_t lowBit;             /* 100: lowest significant bit of a deep grey sample */
  int32_t highBit;            /* 104: highest significant bit, -1 for not known */
  VxGlobalHandle lookupTable; /* 108: movable block of 4-byte entries, owned by whoever owns the bitmap */
  uint32_t lookupTableLength; /* 112: its entries */
  uint32_t kernelWords6[1];   /* 116: the kernel's */
  int32_t minValue;           /* 120: smallest sample */
  int32_t maxValue;           /* 124: largest sample */
  int32_t lowBit2;            /* 128: second copy of lowBit */
  int32_t highBit2;           /* 132: second copy of highBit */
  uint32_t kernelWords7[7];   /* 136: the kernel's */
} BitmapHandle;

/* A colour of a palette or of a tone table. */
typedef struct VxColor {
  uint8_t blue;
  uint8_t green;
  uint8_t red;
  uint8_t reserved;
} VxColor;
#pragma pack(pop)

/* Fills a descriptor without pixels: size and depth as given, `bytesPerLine` for them, `viewPerspective` 1, `highBit`
   and `highBit2` -1, all else 0. `structSize` is kBitmapHandleSize. 1, or -13 for a null descriptor or a wrong size. */
VX_API int32_t krnBitmapInit(BitmapHandle* bitmap, uint32_t structSize, int32_t width, int32_t height,
                             int32_t bitsPerPixel);

/* krnBitmapInit with cleared pixels, `order` and `viewPerspective`. The arguments named `one` and `zero` are fixed.
   1; -13 for a bad argument (a width, height or depth below 1, a depth above 64); -1 for no memory. */
VX_API int32_t krnBitmapCreate(BitmapHandle* bitmap, uint32_t structSize, int32_t one, int32_t width, int32_t height,
                               int32_t bitsPerPixel, uint32_t order, int32_t zero1, uint32_t viewPerspective,
                               int32_t zero2, int32_t zero3);

/* Frees pixels and palette; `lookupTable` is its owner's. Harmless without pixels. 1. */
VX_API int32_t krnBitmapFree(BitmapHandle* bitmap);

/* Begin and end of row access. They nest, and are harmless without each other. 1. */
VX_API int32_t krnBitmapAccess(BitmapHandle* bitmap);
VX_API int32_t krnBitmapRelease(BitmapHandle* bitmap);

/* Copies bytes out of or into the bitmap from the start of `row`; several rows may go in one call. Nothing outside
   the bitmap is touched: what would lie behind the last row is left out. The number of bytes moved, 0 for none. */
VX_API int32_t krnBitmapGetRow(const BitmapHandle* bitmap, void* buffer, int32_t row, int32_t bytes);
VX_API int32_t krnBitmapPutRow(BitmapHandle* bitmap, const void* buffer, int32_t row, int32_t bytes);

/* Stores bilevel rows in the packed form: for each row alternating white and black run lengths as u16, white first,
   until the runs cover the width; black is 1. Rows outside the bitmap are passed over. 1, or 0 when nothing was stored:
   no row inside, a bitmap without pixels or not 1 bit deep. */
VX_API int32_t krnBitmapPutPackedRows(BitmapHandle* bitmap, int32_t zero, const void* data, int32_t firstRow,
                                      int32_t rowCount);

/* Copies `count` colours (at most 256) into the bitmap and sets `colorsUsed`. A descriptor without pixels is accepted
   and keeps nothing. 1, or -13 for null. */
VX_API int32_t krnBitmapSetPalette(BitmapHandle* bitmap, const VxColor* palette, uint32_t count);

/* The colours kept with the pixels, null for none; `count` receives their number. Valid until the next change. */
VX_API const VxColor* krnBitmapPalette(const BitmapHandle* bitmap, uint32_t* count);

/* The pixels, null for none. Valid until the next operation that changes depth or size. */
VX_API uint8_t* krnBitmapPixels(const BitmapHandle* bitmap);

/* Fills 256 entries: below 8 bits the even grey ramp of the depth, black first, the rest 0; at 8 bits the 6x6x6
   colour cube, blue fastest, then 40 greys. 1. */
VX_API int32_t krnDefaultPalette(VxColor* palette, int32_t bitsPerPixel);

/* Converts the pixels in place; 1 to 8 turns bit 0 into the grey of palette entry 0 (none: 0) and bit 1 into that of
   entry 1 (none: 255), and leaves a grey bitmap without a palette. 1, -27 for a pair of depths that is not supported,
   -1 for no memory, -13 for a bitmap without pixels. */
VX_API int32_t krnBitmapSetDepth(BitmapHandle* bitmap, int32_t bitsPerPixel);

/* Resizes in place: mode 0 nearest for 1, 2, 4 bits and whole bytes a pixel, mode 4 box filter for 8 bits. 1; -13 for a
   bitmap without pixels, a size below 1 and another mode; -27 for another depth; -1 for no memory. */
VX_API int32_t krnBitmapResize(BitmapHandle* bitmap, int32_t width, int32_t height, int32_t mode);

/* Reduces an 8-bit bitmap to 1 bit by error diffusion (method 2), 1 being white; target and source may be the same,
   else the target is made like krnBitmapCreate makes it. 1; -13 for a source without pixels, a wrong size or method;
   -27 for other depths; -1 for no memory. */
VX_API int32_t krnBitmapReduce(BitmapHandle* target, BitmapHandle* source, uint32_t structSize, int32_t bits,
                               int32_t one, int32_t zero1, int32_t zero2, int32_t method, int32_t zero3, int32_t zero4);

/* Converts a row's sample depth in place: 16-bit samples to 8 by the high byte, 8 to 16 by repeating the byte. Bits
   in and out are those of a whole pixel. 1, or -27 for another pair. */
VX_API int32_t krnConvertRow(void* row, int32_t pixels, int32_t bitsIn, int32_t bitsOut, int32_t one1, int32_t one2,
                             int32_t zero1, int32_t zero2, int32_t zero3, int32_t zero4, int32_t zero5);

/* 0 not grey (null too); 1 a plain ramp, black first (entry i = ((n - 1) / 2 + 255 i) / (n - 1)), or grey order
   without a palette; 2 other grey. Only up to 8 bits a pixel have a palette. */
VX_API int32_t krnBitmapIsGray(const BitmapHandle* bitmap);

/* Splits a view: `mirrored` is 1 for the views 4, 5, 2, 7 with `degrees` 0, 90, 180, 270, and 0 for 1, 6, 3, 8 with
   the same. 1, or -13 for a view outside 1 to 8 (taken as 1). */
VX_API int32_t krnViewRotation(uint32_t view, int32_t one, int32_t* mirrored, int32_t* degrees);

#ifdef __cplusplus
}
#endif

#endif
