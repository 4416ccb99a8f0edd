// The numbers of TIFF as this library knows them: tags, compressions, photometric values, and the sizes of field types.
// One table each; everybody who reads or writes a number takes its name from here.
#pragma once

#include <cstdint>

#include <vxtif/metadata.h>

enum TifTag : uint16_t {
  kTagGpsVersion = 0, // in a GPS directory
  kTagNewSubfileType = 254,
  kTagSubfileType = 255,
  kTagImageWidth = 256,
  kTagImageLength = 257,
  kTagBitsPerSample = 258,
  kTagCompression = 259,
  kTagPhotometric = 262,
  kTagFillOrder = 266,
  kTagDocumentName = 269,
  kTagImageDescription = 270,
  kTagMake = 271,
  kTagModel = 272,
  kTagStripOffsets = 273,
  kTagOrientation = 274,
  kTagSamplesPerPixel = 277,
  kTagRowsPerStrip = 278,
  kTagStripByteCounts = 279,
  kTagMinSampleValue = 280,
  kTagMaxSampleValue = 281,
  kTagXResolution = 282,
  kTagYResolution = 283,
  kTagPlanarConfiguration = 284,
  kTagPageName = 285,
  kTagGrayResponseUnit = 290,
  kTagGrayResponseCurve = 291,
  kTagT4Options = 292,
  kTagT6Options = 293,
  kTagResolutionUnit = 296,
  kTagPageNumber = 297,
  kTagSoftware = 305,
  kTagDateTime = 306,
  kTagArtist = 315,
  kTagHostComputer = 316,
  kTagPredictor = 317,
  kTagColorMap = 320,
  kTagTileWidth = 322,
  kTagTileLength = 323,
  kTagTileOffsets = 324,
  kTagTileByteCounts = 325,
  kTagSubIfds = 330,
  kTagExtraSamples = 338,
  kTagSampleFormat = 339,
  kTagGlobalParameters = 400,
  kTagJpegInterchangeFormat = 513,
  kTagJpegInterchangeFormatLength = 514,
  kTagJpegQTables = 519,
  kTagJpegDcTables = 520,
  kTagJpegAcTables = 521,
  kTagYCbCrCoefficients = 529,
  kTagYCbCrSubSampling = 530,
  kTagYCbCrPositioning = 531,
  kTagReferenceBlackWhite = 532,
  kTagCopyright = 33432,
  kTagPrivateRotation = 33465,
  kTagPrivateStripCompression = 33466,
  kTagPrivateStripOrder = 33467,
  kTagIptc = 33723,
  kTagExifIfd = 34665,
  kTagGeoKeyDirectory = 34735,
  kTagGeoDoubleParams = 34736,
  kTagGeoAsciiParams = 34737,
  kTagGpsIfd = 34853,
  kTagExifVersion = 36864,
  kTagComponentsConfiguration = 37121,
  kTagCompressedBitsPerPixel = 37122,
  kTagTiffEpStandardId = 37398,
  kTagMakerNote = 37500,
  kTagFlashpixVersion = 40960,
  kTagExifColorSpace = 40961,
  kTagPixelXDimension = 40962,
  kTagPixelYDimension = 40963,
  kTagInteroperabilityIfd = 40965,
  kTagFocalPlaneUnit = 41488,
  kTagPrivateDirectory = 50234,
  kTagPrivateSizePair = 50235,
  kTagPrivateSubDirectory = 50236
};

enum TifCompression : uint32_t {
  kCompressionNone = 1,
  kCompressionCcittRle = 2,
  kCompressionGroup3 = 3,
  kCompressionGroup4 = 4,
  kCompressionLzw = 5,
  kCompressionOldJpeg = 6,
  kCompressionJpeg = 7,
  kCompressionDeflate = 8,
  kCompressionJbigT85 = 9,
  kCompressionJbigT43 = 10,
  kCompression30001 = 30001, // its strip tables are read in the information mode; nothing else knows it
  kCompressionAbicOld = 32010,
  kCompressionPackBits = 32773,
  kCompressionDeflateOld = 32946,
  kCompressionVectorOld = 33001,
  kCompressionJpeg2000Old = 33003,
  kCompressionJbig = 34661,
  kCompressionCustom = 34662,
  kCompressionRefused34709 = 34709,
  kCompressionVector = 34710,
  kCompressionWavelet = 34711,
  kCompressionJpeg2000 = 34712,
  kCompressionStoredSize = 34713,
  kCompressionVectorPage = 34714,
  kCompressionSegment = 34715,
  kCompressionBilevel1 = 34716,
  kCompressionBilevel2 = 34717,
  kCompressionJbig2 = 34718
};

enum TifPhotometric : uint32_t {
  kPhotometricWhiteIsZero = 0,
  kPhotometricBlackIsZero = 1,
  kPhotometricRgb = 2,
  kPhotometricPalette = 3,
  kPhotometricMask = 4,
  kPhotometricCmyk = 5,
  kPhotometricYCbCr = 6,
  kPhotometricCieLab = 8
};

enum TifPlanar : uint32_t { kPlanarChunky = 1, kPlanarSeparate = 2 };

enum TifPredictor : uint32_t { kPredictorNone = 1, kPredictorHorizontal = 2 };

enum TifFillOrder : uint32_t { kFillOrderMsbFirst = 1, kFillOrderLsbFirst = 2 };

enum TifSampleFormat : uint32_t { kSampleUnsigned = 1, kSampleSigned = 2, kSampleFloat = 3 };

enum TifResolutionUnit : uint32_t { kUnitNone = 1, kUnitInch = 2, kUnitCentimetre = 3 };

// Bytes of one element of a field type; 0 for anything that TIFF 6.0 does not define.
constexpr uint32_t TIFTypeSize(uint32_t type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < sizeof kSizes ? kSizes[type] : 0;
}
