// The tables of comment numbers, in the terms of Exif 2.2 and IIM 4.

#include "tif_com/CommentTables.h"

const uint16_t kMainCommentTags[kMainCommentCount] = {315, 33432, 306, 270, 316, 271, 272, 269, 285, 305};

// Each row says its comment number and the tag's name.
const CommentRow kExifCommentTable[kExifCommentRows] = {
    {36864, kTypeUndefined, 4, 4},               // 21 ExifVersion
    {36867, kTypeAscii, 20, 20},                 // 22 DateTimeOriginal
    {36868, kTypeAscii, 20, 20},                 // 23 DateTimeDigitized
    {37377, kTypeSRational, 1, 8},               // 24 ShutterSpeedValue
    {37378, kTypeRational, 1, 8},                // 25 ApertureValue
    {37379, kTypeSRational, 1, 8},               // 26 BrightnessValue
    {37380, kTypeSRational, 1, 8},               // 27 ExposureBiasValue
    {37381, kTypeRational, 1, 8},                // 28 MaxApertureValue
    {37382, kTypeRational, 1, 8},                // 29 SubjectDistance
    {37383, kTypeShort, 1, 2},                   // 30 MeteringMode
    {37384, kTypeShort, 1, 2},                   // 31 LightSource
    {37385, kTypeShort, 1, 2},                   // 32 Flash
    {37386, kTypeRational, 1, 8},                // 33 FocalLength
    {33434, kTypeRational, 1, 8},                // 34 ExposureTime
    {33437, kTypeRational, 1, 8},                // 35 FNumber
    {37500, kTypeUndefined, kAnySize, kAnySize}, // 36 MakerNote
    {37510, kTypeUndefined, kAnySize, kAnySize}, // 37 UserComment
    {37520, kTypeAscii, kAnySize, kAnySize},     // 38 SubSecTime
    {37521, kTypeAscii, kAnySize, kAnySize},     // 39 SubSecTimeOriginal
    {37522, kTypeAscii, kAnySize, kAnySize},     // 40 SubSecTimeDigitized
    {40960, kTypeUndefined, 4, 4},               // 158 FlashpixVersion
    {40961, kTypeShort, 1, 2},                   // 159 ColorSpace
    {34850, kTypeShort, 1, 2},                   // 160 ExposureProgram
    {34852, kTypeAscii, kAnySize, kAnySize},     // 161 SpectralSensitivity
    {34855, kTypeShort, kAnySize, kAnySize},     // 162 ISOSpeedRatings
    {34856, kTypeUndefined, kAnySize, kAnySize}, // 163 OECF
    {40964, kTypeAscii, 13, 13},                 // 164 RelatedSoundFile
    {41483, kTypeRational, 1, 8},                // 165 FlashEnergy
    {41484, kTypeUndefined, kAnySize, kAnySize}, // 166 SpatialFrequencyResponse
    {41486, kTypeRational, 1, 8},                // 167 FocalPlaneXResolution
    {41487, kTypeRational, 1, 8},                // 168 FocalPlaneYResolution
    {41492, kTypeShort, 2, 4},                   // 169 SubjectLocation
    {41493, kTypeRational, 1, 8},                // 170 ExposureIndex
    {41495, kTypeShort, 1, 2},                   // 171 SensingMethod
    {41728, kTypeUndefined, 1, 1},               // 172 FileSource
    {41729, kTypeUndefined, 1, 1},               // 173 SceneType
    {41730, kTypeUndefined, kAnySize, kAnySize}, // 174 CFAPattern
    {37396, kTypeShort, kAnySize, kAnySize},     // 227 SubjectArea
    {41985, kTypeShort, 1, 2},                   // 228 CustomRendered
    {41986, kTypeShort, 1, 2},                   // 229 ExposureMode
    {41987, kTypeShort, 1, 2},                   // 230 WhiteBalance
    {41988, kTypeRational, 1, 8},                // 231 DigitalZoomRatio
    {41989, kTypeShort, 1, 2},                   // 232 FocalLengthIn35mmFilm
    {41990, kTypeShort, 1, 2},                   // 233 SceneCaptureType
    {41991, kTypeShort, 1, 2},                   // 234 GainControl
    {41992, kTypeShort, 1, 2},                   // 235 Contrast
    {41993, kTypeShort, 1, 2},                   // 236 Saturation
    {41994, kTypeShort, 1, 2},                   // 237 Sharpness
    {41995, kTypeUndefined, kAnySize, kAnySize}, // 238 DeviceSettingDescription
    {41996, kTypeShort, 1, 2},                   // 239 SubjectDistanceRange
    {42016, kTypeAscii, 33, 33},                 // 240 ImageUniqueID
    {41488, kTypeShort, 1, 2},                   // 245 FocalPlaneResolutionUnit
    {42240, kTypeRational, 1, 8},                // 246 Gamma
};

const CommentRow kGpsCommentTable[kGpsCommentRows] = {
    {0, kTypeByte, 4, 4},                     // 41 GPSVersionID
    {1, kTypeAscii, 2, 2},                    // 42 GPSLatitudeRef
    {2, kTypeRational, 3, 24},                // 43 GPSLatitude
    {3, kTypeAscii, 2, 2},                    // 44 GPSLongitudeRef
    {4, kTypeRational, 3, 24},                // 45 GPSLongitude
    {5, kTypeByte, 1, 1},                     // 46 GPSAltitudeRef
    {6, kTypeRational, 1, 8},                 // 47 GPSAltitude
    {7, kTypeRational, 3, 24},                // 48 GPSTimeStamp
    {8, kTypeAscii, kAnySize, kAnySize},      // 49 GPSSatellites
    {9, kTypeAscii, 2, 2},                    // 50 GPSStatus
    {10, kTypeAscii, 2, 2},                   // 51 GPSMeasureMode
    {11, kTypeRational, 1, 8},                // 52 GPSDOP
    {12, kTypeAscii, 2, 2},                   // 53 GPSSpeedRef
    {13, kTypeRational, 1, 8},                // 54 GPSSpeed
    {14, kTypeAscii, 2, 2},                   // 55 GPSTrackRef
    {15, kTypeRational, 1, 8},                // 56 GPSTrack
    {16, kTypeAscii, 2, 2},                   // 57 GPSImgDirectionRef
    {17, kTypeRational, 1, 8},                // 58 GPSImgDirection
    {18, kTypeAscii, kAnySize, kAnySize},     // 59 GPSMapDatum
    {19, kTypeAscii, 2, 2},                   // 60 GPSDestLatitudeRef
    {20, kTypeRational, 3, 24},               // 61 GPSDestLatitude
    {21, kTypeAscii, 2, 2},                   // 62 GPSDestLongitudeRef
    {22, kTypeRational, 3, 24},               // 63 GPSDestLongitude
    {23, kTypeAscii, 2, 2},                   // 64 GPSDestBearingRef
    {24, kTypeRational, 1, 8},                // 65 GPSDestBearing
    {25, kTypeAscii, 2, 2},                   // 66 GPSDestDistanceRef
    {26, kTypeRational, 1, 8},                // 67 GPSDestDistance
    {27, kTypeUndefined, kAnySize, kAnySize}, // 241 GPSProcessingMethod
    {28, kTypeUndefined, kAnySize, kAnySize}, // 242 GPSAreaInformation
    {29, kTypeAscii, 11, 11},                 // 243 GPSDateStamp
    {30, kTypeShort, 1, 2},                   // 244 GPSDifferential
};

// Comment number, IIM record, data set, lengths.
const IptcRow kIptcCommentTable[kIptcCommentRows] = {
    {181, 2, 0, 2, 2, false},      // RecordVersion
    {182, 2, 3, 3, 67, false},     // ObjectTypeReference
    {183, 2, 4, 4, 68, true},      // ObjectAttributeReference
    {184, 2, 5, 1, 64, false},     // ObjectName
    {185, 2, 7, 1, 64, false},     // EditStatus
    {186, 2, 8, 2, 2, false},      // EditorialUpdate
    {187, 2, 10, 1, 1, false},     // Urgency
    {188, 2, 12, 13, 236, true},   // SubjectReference
    {189, 2, 15, 1, 3, false},     // Category
    {190, 2, 20, 1, 32, true},     // SupplementalCategory
    {191, 2, 22, 1, 32, false},    // FixtureIdentifier
    {192, 2, 25, 1, 64, true},     // Keywords
    {193, 2, 26, 3, 3, true},      // ContentLocationCode
    {194, 2, 27, 1, 64, true},     // ContentLocationName
    {195, 2, 30, 8, 8, false},     // ReleaseDate
    {196, 2, 35, 11, 11, false},   // ReleaseTime
    {197, 2, 37, 8, 8, false},     // ExpirationDate
    {198, 2, 38, 11, 11, false},   // ExpirationTime
    {199, 2, 40, 1, 256, false},   // SpecialInstructions
    {200, 2, 42, 2, 2, false},     // ActionAdvised
    {201, 2, 45, 1, 10, true},     // ReferenceService
    {202, 2, 47, 8, 8, true},      // ReferenceDate
    {203, 2, 50, 8, 8, true},      // ReferenceNumber
    {204, 2, 55, 8, 8, false},     // DateCreated
    {205, 2, 60, 11, 11, false},   // TimeCreated
    {206, 2, 62, 8, 8, false},     // DigitalCreationDate
    {207, 2, 63, 11, 11, false},   // DigitalCreationTime
    {208, 2, 65, 1, 32, false},    // OriginatingProgram
    {209, 2, 70, 1, 10, false},    // ProgramVersion
    {210, 2, 75, 1, 1, false},     // ObjectCycle
    {211, 2, 80, 1, 32, true},     // ByLine
    {212, 2, 85, 1, 32, true},     // ByLineTitle
    {213, 2, 90, 1, 32, false},    // City
    {214, 2, 92, 1, 32, false},    // SubLocation
    {215, 2, 95, 1, 32, false},    // ProvinceState
    {216, 2, 100, 3, 3, false},    // CountryCode
    {217, 2, 101, 1, 64, false},   // CountryName
    {218, 2, 103, 1, 32, false},   // OriginalTransmissionReference
    {219, 2, 105, 1, 256, false},  // Headline
    {220, 2, 110, 1, 32, false},   // Credit
    {221, 2, 115, 1, 32, false},   // Source
    {222, 2, 116, 1, 128, false},  // CopyrightNotice
    {223, 2, 118, 1, 128, true},   // Contact
    {224, 2, 120, 1, 2000, false}, // Caption
    {225, 2, 122, 1, 32, true},    // WriterEditor
    {226, 2, 135, 2, 3, false},    // LanguageIdentifier
};

namespace {

constexpr CommentRange kCommentHomes[] = {
    {0, 9, CommentHome::kMain, 0},      {21, 40, CommentHome::kExif, 0},    {41, 67, CommentHome::kGps, 0},
    {158, 174, CommentHome::kExif, 20}, {181, 226, CommentHome::kIptc, 0},  {227, 240, CommentHome::kExif, 37},
    {241, 244, CommentHome::kGps, 27},  {245, 246, CommentHome::kExif, 51},
};

} // namespace

CommentHome TIFFindCommentHome(uint32_t comment, uint32_t* row) {
  for (const CommentRange& range : kCommentHomes) {
    if (comment >= range.first && comment <= range.last) {
      *row = comment - range.first + range.firstRow;
      return range.home;
    }
  }
  return CommentHome::kNone;
}
