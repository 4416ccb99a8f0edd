// The table of comments, in the order of their numbers.

#include "toolkit/CommentTable.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include <vxtif/metadata.h>

namespace toolkit {
namespace {

constexpr CommentRow kComments[] = {
    {0, "Artist", CommentHome::kPage, kTypeAscii},
    {1, "Copyright", CommentHome::kPage, kTypeAscii},
    {2, "DateTime", CommentHome::kPage, kTypeAscii},
    {3, "ImageDescription", CommentHome::kPage, kTypeAscii},
    {4, "HostComputer", CommentHome::kPage, kTypeAscii},
    {5, "Make", CommentHome::kPage, kTypeAscii},
    {6, "Model", CommentHome::kPage, kTypeAscii},
    {7, "DocumentName", CommentHome::kPage, kTypeAscii},
    {8, "PageName", CommentHome::kPage, kTypeAscii},
    {9, "Software", CommentHome::kPage, kTypeAscii},
    {21, "ExifVersion", CommentHome::kExif, kTypeUndefined},
    {22, "DateTimeOriginal", CommentHome::kExif, kTypeAscii},
    {23, "DateTimeDigitized", CommentHome::kExif, kTypeAscii},
    {24, "ShutterSpeedValue", CommentHome::kExif, kTypeSRational},
    {25, "ApertureValue", CommentHome::kExif, kTypeRational},
    {26, "BrightnessValue", CommentHome::kExif, kTypeSRational},
    {27, "ExposureBiasValue", CommentHome::kExif, kTypeSRational},
    {28, "MaxApertureValue", CommentHome::kExif, kTypeRational},
    {29, "SubjectDistance", CommentHome::kExif, kTypeRational},
    {30, "MeteringMode", CommentHome::kExif, kTypeShort},
    {31, "LightSource", CommentHome::kExif, kTypeShort},
    {32, "Flash", CommentHome::kExif, kTypeShort},
    {33, "FocalLength", CommentHome::kExif, kTypeRational},
    {34, "ExposureTime", CommentHome::kExif, kTypeRational},
    {35, "FNumber", CommentHome::kExif, kTypeRational},
    {36, "MakerNote", CommentHome::kExif, kTypeUndefined},
    {37, "UserComment", CommentHome::kExif, kTypeUndefined},
    {38, "SubSecTime", CommentHome::kExif, kTypeAscii},
    {39, "SubSecTimeOriginal", CommentHome::kExif, kTypeAscii},
    {40, "SubSecTimeDigitized", CommentHome::kExif, kTypeAscii},
    {41, "GPSVersionID", CommentHome::kGps, kTypeByte},
    {42, "GPSLatitudeRef", CommentHome::kGps, kTypeAscii},
    {43, "GPSLatitude", CommentHome::kGps, kTypeRational},
    {44, "GPSLongitudeRef", CommentHome::kGps, kTypeAscii},
    {45, "GPSLongitude", CommentHome::kGps, kTypeRational},
    {46, "GPSAltitudeRef", CommentHome::kGps, kTypeByte},
    {47, "GPSAltitude", CommentHome::kGps, kTypeRational},
    {48, "GPSTimeStamp", CommentHome::kGps, kTypeRational},
    {49, "GPSSatellites", CommentHome::kGps, kTypeAscii},
    {50, "GPSStatus", CommentHome::kGps, kTypeAscii},
    {51, "GPSMeasureMode", CommentHome::kGps, kTypeAscii},
    {52, "GPSDOP", CommentHome::kGps, kTypeRational},
    {53, "GPSSpeedRef", CommentHome::kGps, kTypeAscii},
    {54, "GPSSpeed", CommentHome::kGps, kTypeRational},
    {55, "GPSTrackRef", CommentHome::kGps, kTypeAscii},
    {56, "GPSTrack", CommentHome::kGps, kTypeRational},
    {57, "GPSImgDirectionRef", CommentHome::kGps, kTypeAscii},
    {58, "GPSImgDirection", CommentHome::kGps, kTypeRational},
    {59, "GPSMapDatum", CommentHome::kGps, kTypeAscii},
    {60, "GPSDestLatitudeRef", CommentHome::kGps, kTypeAscii},
    {61, "GPSDestLatitude", CommentHome::kGps, kTypeRational},
    {62, "GPSDestLongitudeRef", CommentHome::kGps, kTypeAscii},
    {63, "GPSDestLongitude", CommentHome::kGps, kTypeRational},
    {64, "GPSDestBearingRef", CommentHome::kGps, kTypeAscii},
    {65, "GPSDestBearing", CommentHome::kGps, kTypeRational},
    {66, "GPSDestDistanceRef", CommentHome::kGps, kTypeAscii},
    {67, "GPSDestDistance", CommentHome::kGps, kTypeRational},
    {158, "FlashpixVersion", CommentHome::kExif, kTypeUndefined},
    {159, "ColorSpace", CommentHome::kExif, kTypeShort},
    {160, "ExposureProgram", CommentHome::kExif, kTypeShort},
    {161, "SpectralSensitivity", CommentHome::kExif, kTypeAscii},
    {162, "ISOSpeedRatings", CommentHome::kExif, kTypeShort},
    {163, "OECF", CommentHome::kExif, kTypeUndefined},
    {164, "RelatedSoundFile", CommentHome::kExif, kTypeAscii},
    {165, "FlashEnergy", CommentHome::kExif, kTypeRational},
    {166, "SpatialFrequencyResponse", CommentHome::kExif, kTypeUndefined},
    {167, "FocalPlaneXResolution", CommentHome::kExif, kTypeRational},
    {168, "FocalPlaneYResolution", CommentHome::kExif, kTypeRational},
    {169, "SubjectLocation", CommentHome::kExif, kTypeShort},
    {170, "ExposureIndex", CommentHome::kExif, kTypeRational},
    {171, "SensingMethod", CommentHome::kExif, kTypeShort},
    {172, "FileSource", CommentHome::kExif, kTypeUndefined},
    {173, "SceneType", CommentHome::kExif, kTypeUndefined},
    {174, "CFAPattern", CommentHome::kExif, kTypeUndefined},
    {181, "IptcRecordVersion", CommentHome::kIptc, kTypeUndefined},
    {182, "IptcObjectTypeReference", CommentHome::kIptc, kTypeAscii},
    {183, "IptcObjectAttributeReference", CommentHome::kIptc, kTypeAscii},
    {184, "IptcObjectName", CommentHome::kIptc, kTypeAscii},
    {185, "IptcEditStatus", CommentHome::kIptc, kTypeAscii},
    {186, "IptcEditorialUpdate", CommentHome::kIptc, kTypeAscii},
    {187, "IptcUrgency", CommentHome::kIptc, kTypeAscii},
    {188, "IptcSubjectReference", CommentHome::kIptc, kTypeAscii},
    {189, "IptcCategory", CommentHome::kIptc, kTypeAscii},
    {190, "IptcSupplementalCategory", CommentHome::kIptc, kTypeAscii},
    {191, "IptcFixtureIdentifier", CommentHome::kIptc, kTypeAscii},
    {192, "IptcKeywords", CommentHome::kIptc, kTypeAscii},
    {193, "IptcContentLocationCode", CommentHome::kIptc, kTypeAscii},
    {194, "IptcContentLocationName", CommentHome::kIptc, kTypeAscii},
    {195, "IptcReleaseDate", CommentHome::kIptc, kTypeAscii},
    {196, "IptcReleaseTime", CommentHome::kIptc, kTypeAscii},
    {197, "IptcExpirationDate", CommentHome::kIptc, kTypeAscii},
    {198, "IptcExpirationTime", CommentHome::kIptc, kTypeAscii},
    {199, "IptcSpecialInstructions", CommentHome::kIptc, kTypeAscii},
    {200, "IptcActionAdvised", CommentHome::kIptc, kTypeAscii},
    {201, "IptcReferenceService", CommentHome::kIptc, kTypeAscii},
    {202, "IptcReferenceDate", CommentHome::kIptc, kTypeAscii},
    {203, "IptcReferenceNumber", CommentHome::kIptc, kTypeAscii},
    {204, "IptcDateCreated", CommentHome::kIptc, kTypeAscii},
    {205, "IptcTimeCreated", CommentHome::kIptc, kTypeAscii},
    {206, "IptcDigitalCreationDate", CommentHome::kIptc, kTypeAscii},
    {207, "IptcDigitalCreationTime", CommentHome::kIptc, kTypeAscii},
    {208, "IptcOriginatingProgram", CommentHome::kIptc, kTypeAscii},
    {209, "IptcProgramVersion", CommentHome::kIptc, kTypeAscii},
    {210, "IptcObjectCycle", CommentHome::kIptc, kTypeAscii},
    {211, "IptcByLine", CommentHome::kIptc, kTypeAscii},
    {212, "IptcByLineTitle", CommentHome::kIptc, kTypeAscii},
    {213, "IptcCity", CommentHome::kIptc, kTypeAscii},
    {214, "IptcSubLocation", CommentHome::kIptc, kTypeAscii},
    {215, "IptcProvinceState", CommentHome::kIptc, kTypeAscii},
    {216, "IptcCountryCode", CommentHome::kIptc, kTypeAscii},
    {217, "IptcCountryName", CommentHome::kIptc, kTypeAscii},
    {218, "IptcOriginalTransmissionReference", CommentHome::kIptc, kTypeAscii},
    {219, "IptcHeadline", CommentHome::kIptc, kTypeAscii},
    {220, "IptcCredit", CommentHome::kIptc, kTypeAscii},
    {221, "IptcSource", CommentHome::kIptc, kTypeAscii},
    {222, "IptcCopyrightNotice", CommentHome::kIptc, kTypeAscii},
    {223, "IptcContact", CommentHome::kIptc, kTypeAscii},
    {224, "IptcCaption", CommentHome::kIptc, kTypeAscii},
    {225, "IptcWriterEditor", CommentHome::kIptc, kTypeAscii},
    {226, "IptcLanguageIdentifier", CommentHome::kIptc, kTypeAscii},
    {227, "SubjectArea", CommentHome::kExif, kTypeShort},
    {228, "CustomRendered", CommentHome::kExif, kTypeShort},
    {229, "ExposureMode", CommentHome::kExif, kTypeShort},
    {230, "WhiteBalance", CommentHome::kExif, kTypeShort},
    {231, "DigitalZoomRatio", CommentHome::kExif, kTypeRational},
    {232, "FocalLengthIn35mmFilm", CommentHome::kExif, kTypeShort},
    {233, "SceneCaptureType", CommentHome::kExif, kTypeShort},
    {234, "GainControl", CommentHome::kExif, kTypeShort},
    {235, "Contrast", CommentHome::kExif, kTypeShort},
    {236, "Saturation", CommentHome::kExif, kTypeShort},
    {237, "Sharpness", CommentHome::kExif, kTypeShort},
    {238, "DeviceSettingDescription", CommentHome::kExif, kTypeUndefined},
    {239, "SubjectDistanceRange", CommentHome::kExif, kTypeShort},
    {240, "ImageUniqueID", CommentHome::kExif, kTypeAscii},
    {241, "GPSProcessingMethod", CommentHome::kGps, kTypeUndefined},
    {242, "GPSAreaInformation", CommentHome::kGps, kTypeUndefined},
    {243, "GPSDateStamp", CommentHome::kGps, kTypeAscii},
    {244, "GPSDifferential", CommentHome::kGps, kTypeShort},
    {245, "FocalPlaneResolutionUnit", CommentHome::kExif, kTypeShort},
    {246, "Gamma", CommentHome::kExif, kTypeRational},
};

} // namespace

std::span<const CommentRow> AllComments() {
  return kComments;
}

const CommentRow* FindComment(uint32_t number) {
  const auto* row = std::find_if(std::begin(kComments), std::end(kComments),
                                 [&](const CommentRow& candidate) { return candidate.number == number; });
  return row != std::end(kComments) ? row : nullptr;
}

const CommentRow* FindComment(std::string_view text) {
  uint32_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size()) {
    return FindComment(number);
  }
  const auto same = [](char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
  };
  const auto* row = std::find_if(std::begin(kComments), std::end(kComments), [&](const CommentRow& candidate) {
    return std::equal(candidate.name.begin(), candidate.name.end(), text.begin(), text.end(), same);
  });
  return row != std::end(kComments) ? row : nullptr;
}

} // namespace toolkit
