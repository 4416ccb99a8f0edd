/* The toolkit's file format numbers that concern TIFF, as fltInfo reports them and as fltSave takes them. */
#ifndef VXTIF_FORMATS_H
#define VXTIF_FORMATS_H

enum {
  kFormatUncompressed = 3,
  kFormatLzw = 17,
  kFormatCcitt = 25,  /* CCITT run length, compression 2 */
  kFormatGroup3 = 27, /* group 3 one-dimensional */
  kFormatGroup3TwoDimensional = 28,
  kFormatGroup4 = 29,
  kFormatUncompressedCmyk = 85,
  kFormatLzwCmyk = 86,
  kFormatPackBits = 87,
  kFormatPackBitsCmyk = 88,
  kFormatUncompressedYCbCr = 93,
  kFormatLzwYCbCr = 94,
  kFormatPackBitsYCbCr = 95,
  kFormatExif = 96, /* uncompressed with an Exif directory */
  kFormatExifYCbCr = 97,
  kFormatVariant = 131, /* file of version word 12622 */
  kFormatJbig = 139,
  kFormatVector = 140, /* compression 34710 and 33001, read through row 2 */
  kFormatUnknown = 141,
  kFormatRawRows = 153,
  kFormatCustom = 155, /* compression 34662 */
  kFormatRawPackBits = 160,
  kFormatRawFax = 162,
  kFormatJpeg2000 = 166,
  kFormatWavelet = 167,
  kFormatGeoTiff = 174,
  kFormatStoredSize = 175, /* bilevel page stored at another size, compression 34713 */
  kFormatVectorPage = 176, /* compression 34714 */
  kFormatSegmented = 177,  /* compression 34715 */
  kFormatRawLzw = 178,     /* bare LZW stream, saved only */
  kFormatBilevel1 = 180,   /* compression 34716 */
  kFormatBilevel2 = 186,   /* compression 34717 and 32010 */
  kFormatJbig2 = 187,      /* compression 34718 */
  kFormatDeflate = 189     /* reported, not loaded */
};

#endif
