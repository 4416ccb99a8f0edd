/* The numbers of comments: pieces of metadata that fltComment, fltSetComment and saves address by a small number,
   whatever their home in the file. The lists below are the one place where a comment is told; the numbers, and the
   library's own tables, are made from them, and a host can make tables of its own:

     #define NAME_OF(number, name, ...) {number, #name},
     static const struct { int number; const char* name; } kExifNames[] = {VXTIF_EXIF_COMMENTS(NAME_OF)};

   Numbers that stand in no list are not assigned. Values are in host order. */
#ifndef VXTIF_COMMENTS_H
#define VXTIF_COMMENTS_H

#include "metadata.h"

/* A count that is any number of elements. */
enum { kCommentAnySize = -1 };

/* ASCII tags of the page. ROW(number, name, tag, type, count). Texts are closed by a NUL in the file. */
#define VXTIF_MAIN_COMMENTS(ROW)                                                                                       \
  ROW(0, Artist, 315, kTypeAscii, kCommentAnySize)                                                                     \
  ROW(1, Copyright, 33432, kTypeAscii, kCommentAnySize)                                                                \
  ROW(2, DateTime, 306, kTypeAscii, kCommentAnySize)                                                                   \
  ROW(3, ImageDescription, 270, kTypeAscii, kCommentAnySize)                                                           \
  ROW(4, HostComputer, 316, kTypeAscii, kCommentAnySize)                                                               \
  ROW(5, Make, 271, kTypeAscii, kCommentAnySize)                                                                       \
  ROW(6, Model, 272, kTypeAscii, kCommentAnySize)                                                                      \
  ROW(7, DocumentName, 269, kTypeAscii, kCommentAnySize)                                                               \
  ROW(8, PageName, 285, kTypeAscii, kCommentAnySize)                                                                   \
  ROW(9, Software, 305, kTypeAscii, kCommentAnySize)

/* Tags of the Exif directory. ROW(number, name, tag, type, count): a comment holds `count` elements of the type; a text
   of fixed length counts its NUL, which may be left out. The two versions are read and never written from a comment,
   and FocalPlaneResolutionUnit is 2 (inch) unless it is given as 3 (centimetre). Nothing of this list is written to a
   page in place that has no Exif directory. */
#define VXTIF_EXIF_COMMENTS(ROW)                                                                                       \
  ROW(21, ExifVersion, 36864, kTypeUndefined, 4)                                                                       \
  ROW(22, DateTimeOriginal, 36867, kTypeAscii, 20)                                                                     \
  ROW(23, DateTimeDigitized, 36868, kTypeAscii, 20)                                                                    \
  ROW(24, ShutterSpeedValue, 37377, kTypeSRational, 1)                                                                 \
  ROW(25, ApertureValue, 37378, kTypeRational, 1)                                                                      \
  ROW(26, BrightnessValue, 37379, kTypeSRational, 1)                                                                   \
  ROW(27, ExposureBiasValue, 37380, kTypeSRational, 1)                                                                 \
  ROW(28, MaxApertureValue, 37381, kTypeRational, 1)                                                                   \
  ROW(29, SubjectDistance, 37382, kTypeRational, 1)                                                                    \
  ROW(30, MeteringMode, 37383, kTypeShort, 1)                                                                          \
  ROW(31, LightSource, 37384, kTypeShort, 1)                                                                           \
  ROW(32, Flash, 37385, kTypeShort, 1)                                                                                 \
  ROW(33, FocalLength, 37386, kTypeRational, 1)                                                                        \
  ROW(34, ExposureTime, 33434, kTypeRational, 1)                                                                       \
  ROW(35, FNumber, 33437, kTypeRational, 1)                                                                            \
  ROW(36, MakerNote, 37500, kTypeUndefined, kCommentAnySize)                                                           \
  ROW(37, UserComment, 37510, kTypeUndefined, kCommentAnySize)                                                         \
  ROW(38, SubSecTime, 37520, kTypeAscii, kCommentAnySize)                                                              \
  ROW(39, SubSecTimeOriginal, 37521, kTypeAscii, kCommentAnySize)                                                      \
  ROW(40, SubSecTimeDigitized, 37522, kTypeAscii, kCommentAnySize)                                                     \
  ROW(158, FlashpixVersion, 40960, kTypeUndefined, 4)                                                                  \
  ROW(159, ColorSpace, 40961, kTypeShort, 1)                                                                           \
  ROW(160, ExposureProgram, 34850, kTypeShort, 1)                                                                      \
  ROW(161, SpectralSensitivity, 34852, kTypeAscii, kCommentAnySize)                                                    \
  ROW(162, ISOSpeedRatings, 34855, kTypeShort, kCommentAnySize)                                                        \
  ROW(163, OECF, 34856, kTypeUndefined, kCommentAnySize)                                                               \
  ROW(164, RelatedSoundFile, 40964, kTypeAscii, 13)                                                                    \
  ROW(165, FlashEnergy, 41483, kTypeRational, 1)                                                                       \
  ROW(166, SpatialFrequencyResponse, 41484, kTypeUndefined, kCommentAnySize)                                           \
  ROW(167, FocalPlaneXResolution, 41486, kTypeRational, 1)                                                             \
  ROW(168, FocalPlaneYResolution, 41487, kTypeRational, 1)                                                             \
  ROW(169, SubjectLocation, 41492, kTypeShort, 2)                                                                      \
  ROW(170, ExposureIndex, 41493, kTypeRational, 1)                                                                     \
  ROW(171, SensingMethod, 41495, kTypeShort, 1)                                                                        \
  ROW(172, FileSource, 41728, kTypeUndefined, 1)                                                                       \
  ROW(173, SceneType, 41729, kTypeUndefined, 1)                                                                        \
  ROW(174, CFAPattern, 41730, kTypeUndefined, kCommentAnySize)                                                         \
  ROW(227, SubjectArea, 37396, kTypeShort, kCommentAnySize)                                                            \
  ROW(228, CustomRendered, 41985, kTypeShort, 1)                                                                       \
  ROW(229, ExposureMode, 41986, kTypeShort, 1)                                                                         \
  ROW(230, WhiteBalance, 41987, kTypeShort, 1)                                                                         \
  ROW(231, DigitalZoomRatio, 41988, kTypeRational, 1)                                                                  \
  ROW(232, FocalLengthIn35mmFilm, 41989, kTypeShort, 1)                                                                \
  ROW(233, SceneCaptureType, 41990, kTypeShort, 1)                                                                     \
  ROW(234, GainControl, 41991, kTypeShort, 1)                                                                          \
  ROW(235, Contrast, 41992, kTypeShort, 1)                                                                             \
  ROW(236, Saturation, 41993, kTypeShort, 1)                                                                           \
  ROW(237, Sharpness, 41994, kTypeShort, 1)                                                                            \
  ROW(238, DeviceSettingDescription, 41995, kTypeUndefined, kCommentAnySize)                                           \
  ROW(239, SubjectDistanceRange, 41996, kTypeShort, 1)                                                                 \
  ROW(240, ImageUniqueID, 42016, kTypeAscii, 33)                                                                       \
  ROW(245, FocalPlaneResolutionUnit, 41488, kTypeShort, 1)                                                             \
  ROW(246, Gamma, 42240, kTypeRational, 1)

/* Tags of the GPS directory, which is made where a page has none. ROW(number, name, tag, type, count). A direction is
   one letter and a NUL; a position three rationals: degrees, minutes, seconds. */
#define VXTIF_GPS_COMMENTS(ROW)                                                                                        \
  ROW(41, GPSVersionID, 0, kTypeByte, 4)                                                                               \
  ROW(42, GPSLatitudeRef, 1, kTypeAscii, 2)                                                                            \
  ROW(43, GPSLatitude, 2, kTypeRational, 3)                                                                            \
  ROW(44, GPSLongitudeRef, 3, kTypeAscii, 2)                                                                           \
  ROW(45, GPSLongitude, 4, kTypeRational, 3)                                                                           \
  ROW(46, GPSAltitudeRef, 5, kTypeByte, 1)                                                                             \
  ROW(47, GPSAltitude, 6, kTypeRational, 1)                                                                            \
  ROW(48, GPSTimeStamp, 7, kTypeRational, 3)                                                                           \
  ROW(49, GPSSatellites, 8, kTypeAscii, kCommentAnySize)                                                               \
  ROW(50, GPSStatus, 9, kTypeAscii, 2)                                                                                 \
  ROW(51, GPSMeasureMode, 10, kTypeAscii, 2)                                                                           \
  ROW(52, GPSDOP, 11, kTypeRational, 1)                                                                                \
  ROW(53, GPSSpeedRef, 12, kTypeAscii, 2)                                                                              \
  ROW(54, GPSSpeed, 13, kTypeRational, 1)                                                                              \
  ROW(55, GPSTrackRef, 14, kTypeAscii, 2)                                                                              \
  ROW(56, GPSTrack, 15, kTypeRational, 1)                                                                              \
  ROW(57, GPSImgDirectionRef, 16, kTypeAscii, 2)                                                                       \
  ROW(58, GPSImgDirection, 17, kTypeRational, 1)                                                                       \
  ROW(59, GPSMapDatum, 18, kTypeAscii, kCommentAnySize)                                                                \
  ROW(60, GPSDestLatitudeRef, 19, kTypeAscii, 2)                                                                       \
  ROW(61, GPSDestLatitude, 20, kTypeRational, 3)                                                                       \
  ROW(62, GPSDestLongitudeRef, 21, kTypeAscii, 2)                                                                      \
  ROW(63, GPSDestLongitude, 22, kTypeRational, 3)                                                                      \
  ROW(64, GPSDestBearingRef, 23, kTypeAscii, 2)                                                                        \
  ROW(65, GPSDestBearing, 24, kTypeRational, 1)                                                                        \
  ROW(66, GPSDestDistanceRef, 25, kTypeAscii, 2)                                                                       \
  ROW(67, GPSDestDistance, 26, kTypeRational, 1)                                                                       \
  ROW(241, GPSProcessingMethod, 27, kTypeUndefined, kCommentAnySize)                                                   \
  ROW(242, GPSAreaInformation, 28, kTypeUndefined, kCommentAnySize)                                                    \
  ROW(243, GPSDateStamp, 29, kTypeAscii, 11)                                                                           \
  ROW(244, GPSDifferential, 30, kTypeShort, 1)

/* Data sets of record 2 of the IPTC block, tag 33723. ROW(number, name, data set, fewest bytes, most bytes,
   repeatable): several values of a repeatable one stand in one comment, separated by the byte 1. RecordVersion is read
   and never written from a comment. */
#define VXTIF_IPTC_COMMENTS(ROW)                                                                                       \
  ROW(181, RecordVersion, 0, 2, 2, 0)                                                                                  \
  ROW(182, ObjectTypeReference, 3, 3, 67, 0)                                                                           \
  ROW(183, ObjectAttributeReference, 4, 4, 68, 1)                                                                      \
  ROW(184, ObjectName, 5, 1, 64, 0)                                                                                    \
  ROW(185, EditStatus, 7, 1, 64, 0)                                                                                    \
  ROW(186, EditorialUpdate, 8, 2, 2, 0)                                                                                \
  ROW(187, Urgency, 10, 1, 1, 0)                                                                                       \
  ROW(188, SubjectReference, 12, 13, 236, 1)                                                                           \
  ROW(189, Category, 15, 1, 3, 0)                                                                                      \
  ROW(190, SupplementalCategory, 20, 1, 32, 1)                                                                         \
  ROW(191, FixtureIdentifier, 22, 1, 32, 0)                                                                            \
  ROW(192, Keywords, 25, 1, 64, 1)                                                                                     \
  ROW(193, ContentLocationCode, 26, 3, 3, 1)                                                                           \
  ROW(194, ContentLocationName, 27, 1, 64, 1)                                                                          \
  ROW(195, ReleaseDate, 30, 8, 8, 0)                                                                                   \
  ROW(196, ReleaseTime, 35, 11, 11, 0)                                                                                 \
  ROW(197, ExpirationDate, 37, 8, 8, 0)                                                                                \
  ROW(198, ExpirationTime, 38, 11, 11, 0)                                                                              \
  ROW(199, SpecialInstructions, 40, 1, 256, 0)                                                                         \
  ROW(200, ActionAdvised, 42, 2, 2, 0)                                                                                 \
  ROW(201, ReferenceService, 45, 1, 10, 1)                                                                             \
  ROW(202, ReferenceDate, 47, 8, 8, 1)                                                                                 \
  ROW(203, ReferenceNumber, 50, 8, 8, 1)                                                                               \
  ROW(204, DateCreated, 55, 8, 8, 0)                                                                                   \
  ROW(205, TimeCreated, 60, 11, 11, 0)                                                                                 \
  ROW(206, DigitalCreationDate, 62, 8, 8, 0)                                                                           \
  ROW(207, DigitalCreationTime, 63, 11, 11, 0)                                                                         \
  ROW(208, OriginatingProgram, 65, 1, 32, 0)                                                                           \
  ROW(209, ProgramVersion, 70, 1, 10, 0)                                                                               \
  ROW(210, ObjectCycle, 75, 1, 1, 0)                                                                                   \
  ROW(211, ByLine, 80, 1, 32, 1)                                                                                       \
  ROW(212, ByLineTitle, 85, 1, 32, 1)                                                                                  \
  ROW(213, City, 90, 1, 32, 0)                                                                                         \
  ROW(214, SubLocation, 92, 1, 32, 0)                                                                                  \
  ROW(215, ProvinceState, 95, 1, 32, 0)                                                                                \
  ROW(216, CountryCode, 100, 3, 3, 0)                                                                                  \
  ROW(217, CountryName, 101, 1, 64, 0)                                                                                 \
  ROW(218, OriginalTransmissionReference, 103, 1, 32, 0)                                                               \
  ROW(219, Headline, 105, 1, 256, 0)                                                                                   \
  ROW(220, Credit, 110, 1, 32, 0)                                                                                      \
  ROW(221, Source, 115, 1, 32, 0)                                                                                      \
  ROW(222, CopyrightNotice, 116, 1, 128, 0)                                                                            \
  ROW(223, Contact, 118, 1, 128, 1)                                                                                    \
  ROW(224, Caption, 120, 1, 2000, 0)                                                                                   \
  ROW(225, WriterEditor, 122, 1, 32, 1)                                                                                \
  ROW(226, LanguageIdentifier, 135, 2, 3, 0)

/* kCommentArtist, kCommentExifVersion, kCommentGPSLatitude, kCommentKeywords and all others: indices into the slots of
   TifCommentBlock. */
#define VXTIF_COMMENT_NUMBER(number, name, ...) kComment##name = number,
enum {
  VXTIF_MAIN_COMMENTS(VXTIF_COMMENT_NUMBER) VXTIF_EXIF_COMMENTS(VXTIF_COMMENT_NUMBER)
      VXTIF_GPS_COMMENTS(VXTIF_COMMENT_NUMBER) VXTIF_IPTC_COMMENTS(VXTIF_COMMENT_NUMBER)
};
#undef VXTIF_COMMENT_NUMBER

#endif
