// The name tables: TIFF 6.0, its supplements, Exif 2.2, GPS and GeoTIFF.

#include "toolkit/TagNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <span>

#include <vxtif/metadata.h>

namespace toolkit {
namespace {

struct NameRow {
  uint16_t number;
  std::string_view name;
};

constexpr NameRow kPageTags[] = {
    {254, "NewSubfileType"},
    {255, "SubfileType"},
    {256, "ImageWidth"},
    {257, "ImageLength"},
    {258, "BitsPerSample"},
    {259, "Compression"},
    {262, "PhotometricInterpretation"},
    {263, "Threshholding"},
    {264, "CellWidth"},
    {265, "CellLength"},
    {266, "FillOrder"},
    {269, "DocumentName"},
    {270, "ImageDescription"},
    {271, "Make"},
    {272, "Model"},
    {273, "StripOffsets"},
    {274, "Orientation"},
    {277, "SamplesPerPixel"},
    {278, "RowsPerStrip"},
    {279, "StripByteCounts"},
    {280, "MinSampleValue"},
    {281, "MaxSampleValue"},
    {282, "XResolution"},
    {283, "YResolution"},
    {284, "PlanarConfiguration"},
    {285, "PageName"},
    {286, "XPosition"},
    {287, "YPosition"},
    {288, "FreeOffsets"},
    {289, "FreeByteCounts"},
    {290, "GrayResponseUnit"},
    {291, "GrayResponseCurve"},
    {292, "T4Options"},
    {293, "T6Options"},
    {296, "ResolutionUnit"},
    {297, "PageNumber"},
    {301, "TransferFunction"},
    {305, "Software"},
    {306, "DateTime"},
    {315, "Artist"},
    {316, "HostComputer"},
    {317, "Predictor"},
    {318, "WhitePoint"},
    {319, "PrimaryChromaticities"},
    {320, "ColorMap"},
    {321, "HalftoneHints"},
    {322, "TileWidth"},
    {323, "TileLength"},
    {324, "TileOffsets"},
    {325, "TileByteCounts"},
    {326, "BadFaxLines"},
    {327, "CleanFaxData"},
    {328, "ConsecutiveBadFaxLines"},
    {330, "SubIFDs"},
    {332, "InkSet"},
    {333, "InkNames"},
    {334, "NumberOfInks"},
    {336, "DotRange"},
    {337, "TargetPrinter"},
    {338, "ExtraSamples"},
    {339, "SampleFormat"},
    {340, "SMinSampleValue"},
    {341, "SMaxSampleValue"},
    {342, "TransferRange"},
    {343, "ClipPath"},
    {346, "Indexed"},
    {347, "JPEGTables"},
    {400, "GlobalParametersIFD"},
    {401, "ProfileType"},
    {402, "FaxProfile"},
    {403, "CodingMethods"},
    {404, "VersionYear"},
    {405, "ModeNumber"},
    {433, "Decode"},
    {434, "DefaultImageColor"},
    {512, "JPEGProc"},
    {513, "JPEGInterchangeFormat"},
    {514, "JPEGInterchangeFormatLength"},
    {515, "JPEGRestartInterval"},
    {517, "JPEGLosslessPredictors"},
    {518, "JPEGPointTransforms"},
    {519, "JPEGQTables"},
    {520, "JPEGDCTables"},
    {521, "JPEGACTables"},
    {529, "YCbCrCoefficients"},
    {530, "YCbCrSubSampling"},
    {531, "YCbCrPositioning"},
    {532, "ReferenceBlackWhite"},
    {559, "StripRowCounts"},
    {700, "XMP"},
    {32781, "ImageID"},
    {33432, "Copyright"},
    {33465, "PrivateRotation"},
    {33466, "PrivateStripCompression"},
    {33467, "PrivateStripOrder"},
    {33550, "ModelPixelScale"},
    {33723, "IPTC"},
    {33922, "ModelTiepoint"},
    {34264, "ModelTransformation"},
    {34377, "Photoshop"},
    {34665, "ExifIFD"},
    {34675, "ICCProfile"},
    {34735, "GeoKeyDirectory"},
    {34736, "GeoDoubleParams"},
    {34737, "GeoAsciiParams"},
    {34853, "GPSInfoIFD"},
    {37398, "TIFF/EPStandardID"},
    {42112, "GDAL_METADATA"},
    {42113, "GDAL_NODATA"},
    {50234, "PrivateDirectory"},
    {50235, "PrivateSizePair"},
    {50236, "PrivateSubDirectory"},
};

constexpr NameRow kExifTags[] = {
    {33434, "ExposureTime"},
    {33437, "FNumber"},
    {34850, "ExposureProgram"},
    {34852, "SpectralSensitivity"},
    {34855, "ISOSpeedRatings"},
    {34856, "OECF"},
    {36864, "ExifVersion"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37121, "ComponentsConfiguration"},
    {37122, "CompressedBitsPerPixel"},
    {37377, "ShutterSpeedValue"},
    {37378, "ApertureValue"},
    {37379, "BrightnessValue"},
    {37380, "ExposureBiasValue"},
    {37381, "MaxApertureValue"},
    {37382, "SubjectDistance"},
    {37383, "MeteringMode"},
    {37384, "LightSource"},
    {37385, "Flash"},
    {37386, "FocalLength"},
    {37396, "SubjectArea"},
    {37500, "MakerNote"},
    {37510, "UserComment"},
    {37520, "SubSecTime"},
    {37521, "SubSecTimeOriginal"},
    {37522, "SubSecTimeDigitized"},
    {40960, "FlashpixVersion"},
    {40961, "ColorSpace"},
    {40962, "PixelXDimension"},
    {40963, "PixelYDimension"},
    {40964, "RelatedSoundFile"},
    {40965, "InteroperabilityIFD"},
    {41483, "FlashEnergy"},
    {41484, "SpatialFrequencyResponse"},
    {41486, "FocalPlaneXResolution"},
    {41487, "FocalPlaneYResolution"},
    {41488, "FocalPlaneResolutionUnit"},
    {41492, "SubjectLocation"},
    {41493, "ExposureIndex"},
    {41495, "SensingMethod"},
    {41728, "FileSource"},
    {41729, "SceneType"},
    {41730, "CFAPattern"},
    {41985, "CustomRendered"},
    {41986, "ExposureMode"},
    {41987, "WhiteBalance"},
    {41988, "DigitalZoomRatio"},
    {41989, "FocalLengthIn35mmFilm"},
    {41990, "SceneCaptureType"},
    {41991, "GainControl"},
    {41992, "Contrast"},
    {41993, "Saturation"},
    {41994, "Sharpness"},
    {41995, "DeviceSettingDescription"},
    {41996, "SubjectDistanceRange"},
    {42016, "ImageUniqueID"},
    {42240, "Gamma"},
};

constexpr NameRow kGpsTags[] = {
    {0, "GPSVersionID"},        {1, "GPSLatitudeRef"},
    {2, "GPSLatitude"},         {3, "GPSLongitudeRef"},
    {4, "GPSLongitude"},        {5, "GPSAltitudeRef"},
    {6, "GPSAltitude"},         {7, "GPSTimeStamp"},
    {8, "GPSSatellites"},       {9, "GPSStatus"},
    {10, "GPSMeasureMode"},     {11, "GPSDOP"},
    {12, "GPSSpeedRef"},        {13, "GPSSpeed"},
    {14, "GPSTrackRef"},        {15, "GPSTrack"},
    {16, "GPSImgDirectionRef"}, {17, "GPSImgDirection"},
    {18, "GPSMapDatum"},        {19, "GPSDestLatitudeRef"},
    {20, "GPSDestLatitude"},    {21, "GPSDestLongitudeRef"},
    {22, "GPSDestLongitude"},   {23, "GPSDestBearingRef"},
    {24, "GPSDestBearing"},     {25, "GPSDestDistanceRef"},
    {26, "GPSDestDistance"},    {27, "GPSProcessingMethod"},
    {28, "GPSAreaInformation"}, {29, "GPSDateStamp"},
    {30, "GPSDifferential"},
};

constexpr NameRow kTypes[] = {
    {1, "BYTE"},      {2, "ASCII"},  {3, "SHORT"}, {4, "LONG"},       {5, "RATIONAL"}, {6, "SBYTE"},
    {7, "UNDEFINED"}, {8, "SSHORT"}, {9, "SLONG"}, {10, "SRATIONAL"}, {11, "FLOAT"},   {12, "DOUBLE"},
};

constexpr NameRow kGeoKeys[] = {
    {1024, "GTModelTypeGeoKey"},
    {1025, "GTRasterTypeGeoKey"},
    {1026, "GTCitationGeoKey"},
    {2048, "GeographicTypeGeoKey"},
    {2049, "GeogCitationGeoKey"},
    {2050, "GeogGeodeticDatumGeoKey"},
    {2051, "GeogPrimeMeridianGeoKey"},
    {2052, "GeogLinearUnitsGeoKey"},
    {2053, "GeogLinearUnitSizeGeoKey"},
    {2054, "GeogAngularUnitsGeoKey"},
    {2055, "GeogAngularUnitSizeGeoKey"},
    {2056, "GeogEllipsoidGeoKey"},
    {2057, "GeogSemiMajorAxisGeoKey"},
    {2058, "GeogSemiMinorAxisGeoKey"},
    {2059, "GeogInvFlatteningGeoKey"},
    {2060, "GeogAzimuthUnitsGeoKey"},
    {2061, "GeogPrimeMeridianLongGeoKey"},
    {3072, "ProjectedCSTypeGeoKey"},
    {3073, "PCSCitationGeoKey"},
    {3074, "ProjectionGeoKey"},
    {3075, "ProjCoordTransGeoKey"},
    {3076, "ProjLinearUnitsGeoKey"},
    {3077, "ProjLinearUnitSizeGeoKey"},
    {3078, "ProjStdParallel1GeoKey"},
    {3079, "ProjStdParallel2GeoKey"},
    {3080, "ProjNatOriginLongGeoKey"},
    {3081, "ProjNatOriginLatGeoKey"},
    {3082, "ProjFalseEastingGeoKey"},
    {3083, "ProjFalseNorthingGeoKey"},
    {3084, "ProjFalseOriginLongGeoKey"},
    {3085, "ProjFalseOriginLatGeoKey"},
    {3086, "ProjFalseOriginEastingGeoKey"},
    {3087, "ProjFalseOriginNorthingGeoKey"},
    {3088, "ProjCenterLongGeoKey"},
    {3089, "ProjCenterLatGeoKey"},
    {3090, "ProjCenterEastingGeoKey"},
    {3091, "ProjCenterNorthingGeoKey"},
    {3092, "ProjScaleAtNatOriginGeoKey"},
    {3093, "ProjScaleAtCenterGeoKey"},
    {3094, "ProjAzimuthAngleGeoKey"},
    {3095, "ProjStraightVertPoleLongGeoKey"},
    {4096, "VerticalCSTypeGeoKey"},
    {4097, "VerticalCitationGeoKey"},
    {4098, "VerticalDatumGeoKey"},
    {4099, "VerticalUnitsGeoKey"},
};

bool SameWord(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) {
    return false;
  }
  for (size_t i = 0; i < left.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(left[i])) != std::tolower(static_cast<unsigned char>(right[i]))) {
      return false;
    }
  }
  return true;
}

std::string_view NameIn(std::span<const NameRow> rows, uint16_t number) {
  for (const NameRow& row : rows) {
    if (row.number == number) {
      return row.name;
    }
  }
  return {};
}

std::optional<uint16_t> NumberIn(std::span<const NameRow> rows, std::string_view text) {
  uint16_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size()) {
    return number;
  }
  for (const NameRow& row : rows) {
    if (SameWord(row.name, text)) {
      return row.number;
    }
  }
  return std::nullopt;
}

} // namespace

std::string_view TagName(uint16_t tag, TagSpace space) {
  if (space == TagSpace::kGps) {
    return NameIn(kGpsTags, tag);
  }
  if (space == TagSpace::kExif) {
    if (const std::string_view name = NameIn(kExifTags, tag); !name.empty()) {
      return name;
    }
  }
  return NameIn(kPageTags, tag);
}

std::optional<uint16_t> ParseTag(std::string_view text) {
  return NumberIn(kPageTags, text);
}

std::string_view TypeName(uint16_t type) {
  return NameIn(kTypes, type);
}

std::optional<uint16_t> ParseType(std::string_view text) {
  return NumberIn(kTypes, text);
}

std::string_view GeoKeyName(uint16_t key) {
  return NameIn(kGeoKeys, key);
}

std::optional<uint16_t> ParseGeoKey(std::string_view text) {
  const std::optional<uint16_t> key = NumberIn(kGeoKeys, text);
  return key ? key : NumberIn(kGeoKeys, std::string(text) + "GeoKey");
}

std::optional<uint16_t> GeoKeyType(uint16_t key) {
  const std::string_view name = GeoKeyName(key);
  if (name.empty()) {
    return std::nullopt;
  }
  if (name.ends_with("CitationGeoKey")) {
    return kTypeAscii;
  }
  // Codes are named for what they choose; sizes, axes, angles and places are numbers of the model itself.
  constexpr uint16_t kFirstProjectionNumber = 3077;
  constexpr uint16_t kLastProjectionNumber = 3095;
  constexpr uint16_t kGeographicNumbers[] = {2053, 2055, 2057, 2058, 2059, 2061};
  const bool number = (key >= kFirstProjectionNumber && key <= kLastProjectionNumber) ||
                      std::ranges::find(kGeographicNumbers, key) != std::end(kGeographicNumbers);
  return number ? kTypeDouble : kTypeShort;
}

} // namespace toolkit
