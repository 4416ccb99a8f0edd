// What Exif 2.2, IIM 4 and TIFF 6.0 say of each comment, row by row, put down apart from the library's own tables.
#pragma once

#include <cstdint>

#include <vxtif/comments.h>

namespace known {

constexpr int32_t kAny = -1;

struct TagComment {
  uint32_t number;     // the public name's
  uint32_t sameNumber; // as a plain number
  const char* name;
  uint16_t tag;
  uint16_t type;
  int32_t count;
  int32_t bytes;
};

struct IptcComment {
  uint32_t number;
  uint32_t sameNumber;
  const char* name;
  uint8_t record;
  uint8_t dataSet;
  uint16_t minimum;
  uint16_t maximum;
  bool repeatable;
};

inline constexpr TagComment kMain[] = {
    {kCommentArtist, 0, "Artist", 315, 2, kAny, kAny},
    {kCommentCopyright, 1, "Copyright", 33432, 2, kAny, kAny},
    {kCommentDateTime, 2, "DateTime", 306, 2, kAny, kAny},
    {kCommentImageDescription, 3, "ImageDescription", 270, 2, kAny, kAny},
    {kCommentHostComputer, 4, "HostComputer", 316, 2, kAny, kAny},
    {kCommentMake, 5, "Make", 271, 2, kAny, kAny},
    {kCommentModel, 6, "Model", 272, 2, kAny, kAny},
    {kCommentDocumentName, 7, "DocumentName", 269, 2, kAny, kAny},
    {kCommentPageName, 8, "PageName", 285, 2, kAny, kAny},
    {kCommentSoftware, 9, "Software", 305, 2, kAny, kAny},
};

inline constexpr TagComment kExif[] = {
    {kCommentExifVersion, 21, "ExifVersion", 36864, 7, 4, 4},
    {kCommentDateTimeOriginal, 22, "DateTimeOriginal", 36867, 2, 20, 20},
    {kCommentDateTimeDigitized, 23, "DateTimeDigitized", 36868, 2, 20, 20},
    {kCommentShutterSpeedValue, 24, "ShutterSpeedValue", 37377, 10, 1, 8},
    {kCommentApertureValue, 25, "ApertureValue", 37378, 5, 1, 8},
    {kCommentBrightnessValue, 26, "BrightnessValue", 37379, 10, 1, 8},
    {kCommentExposureBiasValue, 27, "ExposureBiasValue", 37380, 10, 1, 8},
    {kCommentMaxApertureValue, 28, "MaxApertureValue", 37381, 5, 1, 8},
    {kCommentSubjectDistance, 29, "SubjectDistance", 37382, 5, 1, 8},
    {kCommentMeteringMode, 30, "MeteringMode", 37383, 3, 1, 2},
    {kCommentLightSource, 31, "LightSource", 37384, 3, 1, 2},
    {kCommentFlash, 32, "Flash", 37385, 3, 1, 2},
    {kCommentFocalLength, 33, "FocalLength", 37386, 5, 1, 8},
    {kCommentExposureTime, 34, "ExposureTime", 33434, 5, 1, 8},
    {kCommentFNumber, 35, "FNumber", 33437, 5, 1, 8},
    {kCommentMakerNote, 36, "MakerNote", 37500, 7, kAny, kAny},
    {kCommentUserComment, 37, "UserComment", 37510, 7, kAny, kAny},
    {kCommentSubSecTime, 38, "SubSecTime", 37520, 2, kAny, kAny},
    {kCommentSubSecTimeOriginal, 39, "SubSecTimeOriginal", 37521, 2, kAny, kAny},
    {kCommentSubSecTimeDigitized, 40, "SubSecTimeDigitized", 37522, 2, kAny, kAny},
    {kCommentFlashpixVersion, 158, "FlashpixVersion", 40960, 7, 4, 4},
    {kCommentColorSpace, 159, "ColorSpace", 40961, 3, 1, 2},
    {kCommentExposureProgram, 160, "ExposureProgram", 34850, 3, 1, 2},
    {kCommentSpectralSensitivity, 161, "SpectralSensitivity", 34852, 2, kAny, kAny},
    {kCommentISOSpeedRatings, 162, "ISOSpeedRatings", 34855, 3, kAny, kAny},
    {kCommentOECF, 163, "OECF", 34856, 7, kAny, kAny},
    {kCommentRelatedSoundFile, 164, "RelatedSoundFile", 40964, 2, 13, 13},
    {kCommentFlashEnergy, 165, "FlashEnergy", 41483, 5, 1, 8},
    {kCommentSpatialFrequencyResponse, 166, "SpatialFrequencyResponse", 41484, 7, kAny, kAny},
    {kCommentFocalPlaneXResolution, 167, "FocalPlaneXResolution", 41486, 5, 1, 8},
    {kCommentFocalPlaneYResolution, 168, "FocalPlaneYResolution", 41487, 5, 1, 8},
    {kCommentSubjectLocation, 169, "SubjectLocation", 41492, 3, 2, 4},
    {kCommentExposureIndex, 170, "ExposureIndex", 41493, 5, 1, 8},
    {kCommentSensingMethod, 171, "SensingMethod", 41495, 3, 1, 2},
    {kCommentFileSource, 172, "FileSource", 41728, 7, 1, 1},
    {kCommentSceneType, 173, "SceneType", 41729, 7, 1, 1},
    {kCommentCFAPattern, 174, "CFAPattern", 41730, 7, kAny, kAny},
    {kCommentSubjectArea, 227, "SubjectArea", 37396, 3, kAny, kAny},
    {kCommentCustomRendered, 228, "CustomRendered", 41985, 3, 1, 2},
    {kCommentExposureMode, 229, "ExposureMode", 41986, 3, 1, 2},
    {kCommentWhiteBalance, 230, "WhiteBalance", 41987, 3, 1, 2},
    {kCommentDigitalZoomRatio, 231, "DigitalZoomRatio", 41988, 5, 1, 8},
    {kCommentFocalLengthIn35mmFilm, 232, "FocalLengthIn35mmFilm", 41989, 3, 1, 2},
    {kCommentSceneCaptureType, 233, "SceneCaptureType", 41990, 3, 1, 2},
    {kCommentGainControl, 234, "GainControl", 41991, 3, 1, 2},
    {kCommentContrast, 235, "Contrast", 41992, 3, 1, 2},
    {kCommentSaturation, 236, "Saturation", 41993, 3, 1, 2},
    {kCommentSharpness, 237, "Sharpness", 41994, 3, 1, 2},
    {kCommentDeviceSettingDescription, 238, "DeviceSettingDescription", 41995, 7, kAny, kAny},
    {kCommentSubjectDistanceRange, 239, "SubjectDistanceRange", 41996, 3, 1, 2},
    {kCommentImageUniqueID, 240, "ImageUniqueID", 42016, 2, 33, 33},
    {kCommentFocalPlaneResolutionUnit, 245, "FocalPlaneResolutionUnit", 41488, 3, 1, 2},
    {kCommentGamma, 246, "Gamma", 42240, 5, 1, 8},
};

inline constexpr TagComment kGps[] = {
    {kCommentGPSVersionID, 41, "GPSVersionID", 0, 1, 4, 4},
    {kCommentGPSLatitudeRef, 42, "GPSLatitudeRef", 1, 2, 2, 2},
    {kCommentGPSLatitude, 43, "GPSLatitude", 2, 5, 3, 24},
    {kCommentGPSLongitudeRef, 44, "GPSLongitudeRef", 3, 2, 2, 2},
    {kCommentGPSLongitude, 45, "GPSLongitude", 4, 5, 3, 24},
    {kCommentGPSAltitudeRef, 46, "GPSAltitudeRef", 5, 1, 1, 1},
    {kCommentGPSAltitude, 47, "GPSAltitude", 6, 5, 1, 8},
    {kCommentGPSTimeStamp, 48, "GPSTimeStamp", 7, 5, 3, 24},
    {kCommentGPSSatellites, 49, "GPSSatellites", 8, 2, kAny, kAny},
    {kCommentGPSStatus, 50, "GPSStatus", 9, 2, 2, 2},
    {kCommentGPSMeasureMode, 51, "GPSMeasureMode", 10, 2, 2, 2},
    {kCommentGPSDOP, 52, "GPSDOP", 11, 5, 1, 8},
    {kCommentGPSSpeedRef, 53, "GPSSpeedRef", 12, 2, 2, 2},
    {kCommentGPSSpeed, 54, "GPSSpeed", 13, 5, 1, 8},
    {kCommentGPSTrackRef, 55, "GPSTrackRef", 14, 2, 2, 2},
    {kCommentGPSTrack, 56, "GPSTrack", 15, 5, 1, 8},
    {kCommentGPSImgDirectionRef, 57, "GPSImgDirectionRef", 16, 2, 2, 2},
    {kCommentGPSImgDirection, 58, "GPSImgDirection", 17, 5, 1, 8},
    {kCommentGPSMapDatum, 59, "GPSMapDatum", 18, 2, kAny, kAny},
    {kCommentGPSDestLatitudeRef, 60, "GPSDestLatitudeRef", 19, 2, 2, 2},
    {kCommentGPSDestLatitude, 61, "GPSDestLatitude", 20, 5, 3, 24},
    {kCommentGPSDestLongitudeRef, 62, "GPSDestLongitudeRef", 21, 2, 2, 2},
    {kCommentGPSDestLongitude, 63, "GPSDestLongitude", 22, 5, 3, 24},
    {kCommentGPSDestBearingRef, 64, "GPSDestBearingRef", 23, 2, 2, 2},
    {kCommentGPSDestBearing, 65, "GPSDestBearing", 24, 5, 1, 8},
    {kCommentGPSDestDistanceRef, 66, "GPSDestDistanceRef", 25, 2, 2, 2},
    {kCommentGPSDestDistance, 67, "GPSDestDistance", 26, 5, 1, 8},
    {kCommentGPSProcessingMethod, 241, "GPSProcessingMethod", 27, 7, kAny, kAny},
    {kCommentGPSAreaInformation, 242, "GPSAreaInformation", 28, 7, kAny, kAny},
    {kCommentGPSDateStamp, 243, "GPSDateStamp", 29, 2, 11, 11},
    {kCommentGPSDifferential, 244, "GPSDifferential", 30, 3, 1, 2},
};

inline constexpr IptcComment kIptc[] = {
    {kCommentRecordVersion, 181, "RecordVersion", 2, 0, 2, 2, false},
    {kCommentObjectTypeReference, 182, "ObjectTypeReference", 2, 3, 3, 67, false},
    {kCommentObjectAttributeReference, 183, "ObjectAttributeReference", 2, 4, 4, 68, true},
    {kCommentObjectName, 184, "ObjectName", 2, 5, 1, 64, false},
    {kCommentEditStatus, 185, "EditStatus", 2, 7, 1, 64, false},
    {kCommentEditorialUpdate, 186, "EditorialUpdate", 2, 8, 2, 2, false},
    {kCommentUrgency, 187, "Urgency", 2, 10, 1, 1, false},
    {kCommentSubjectReference, 188, "SubjectReference", 2, 12, 13, 236, true},
    {kCommentCategory, 189, "Category", 2, 15, 1, 3, false},
    {kCommentSupplementalCategory, 190, "SupplementalCategory", 2, 20, 1, 32, true},
    {kCommentFixtureIdentifier, 191, "FixtureIdentifier", 2, 22, 1, 32, false},
    {kCommentKeywords, 192, "Keywords", 2, 25, 1, 64, true},
    {kCommentContentLocationCode, 193, "ContentLocationCode", 2, 26, 3, 3, true},
    {kCommentContentLocationName, 194, "ContentLocationName", 2, 27, 1, 64, true},
    {kCommentReleaseDate, 195, "ReleaseDate", 2, 30, 8, 8, false},
    {kCommentReleaseTime, 196, "ReleaseTime", 2, 35, 11, 11, false},
    {kCommentExpirationDate, 197, "ExpirationDate", 2, 37, 8, 8, false},
    {kCommentExpirationTime, 198, "ExpirationTime", 2, 38, 11, 11, false},
    {kCommentSpecialInstructions, 199, "SpecialInstructions", 2, 40, 1, 256, false},
    {kCommentActionAdvised, 200, "ActionAdvised", 2, 42, 2, 2, false},
    {kCommentReferenceService, 201, "ReferenceService", 2, 45, 1, 10, true},
    {kCommentReferenceDate, 202, "ReferenceDate", 2, 47, 8, 8, true},
    {kCommentReferenceNumber, 203, "ReferenceNumber", 2, 50, 8, 8, true},
    {kCommentDateCreated, 204, "DateCreated", 2, 55, 8, 8, false},
    {kCommentTimeCreated, 205, "TimeCreated", 2, 60, 11, 11, false},
    {kCommentDigitalCreationDate, 206, "DigitalCreationDate", 2, 62, 8, 8, false},
    {kCommentDigitalCreationTime, 207, "DigitalCreationTime", 2, 63, 11, 11, false},
    {kCommentOriginatingProgram, 208, "OriginatingProgram", 2, 65, 1, 32, false},
    {kCommentProgramVersion, 209, "ProgramVersion", 2, 70, 1, 10, false},
    {kCommentObjectCycle, 210, "ObjectCycle", 2, 75, 1, 1, false},
    {kCommentByLine, 211, "ByLine", 2, 80, 1, 32, true},
    {kCommentByLineTitle, 212, "ByLineTitle", 2, 85, 1, 32, true},
    {kCommentCity, 213, "City", 2, 90, 1, 32, false},
    {kCommentSubLocation, 214, "SubLocation", 2, 92, 1, 32, false},
    {kCommentProvinceState, 215, "ProvinceState", 2, 95, 1, 32, false},
    {kCommentCountryCode, 216, "CountryCode", 2, 100, 3, 3, false},
    {kCommentCountryName, 217, "CountryName", 2, 101, 1, 64, false},
    {kCommentOriginalTransmissionReference, 218, "OriginalTransmissionReference", 2, 103, 1, 32, false},
    {kCommentHeadline, 219, "Headline", 2, 105, 1, 256, false},
    {kCommentCredit, 220, "Credit", 2, 110, 1, 32, false},
    {kCommentSource, 221, "Source", 2, 115, 1, 32, false},
    {kCommentCopyrightNotice, 222, "CopyrightNotice", 2, 116, 1, 128, false},
    {kCommentContact, 223, "Contact", 2, 118, 1, 128, true},
    {kCommentCaption, 224, "Caption", 2, 120, 1, 2000, false},
    {kCommentWriterEditor, 225, "WriterEditor", 2, 122, 1, 32, true},
    {kCommentLanguageIdentifier, 226, "LanguageIdentifier", 2, 135, 2, 3, false},
};

} // namespace known
