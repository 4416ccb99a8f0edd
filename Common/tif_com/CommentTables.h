// The numbers of comments and their homes: ASCII tags of the page, the Exif directory, the GPS directory, data sets of
// the IPTC block. Adding a comment is adding a row here.
#pragma once

#include <cstdint>

#include <vxtif/metadata.h>

#include "tif_com/Comments.h"

enum class CommentHome { kNone, kMain, kExif, kGps, kIptc };

constexpr int32_t kAnySize = -1; // a row whose value may have any length

// How a comment of the Exif or the GPS directory is stored.
struct CommentRow {
  uint16_t tag;
  uint16_t type;
  int32_t count; // elements, or kAnySize
  int32_t bytes; // bytes, or kAnySize
};

// A data set of the IPTC block. A repeatable one holds several values in one comment, separated by kIptcSeparator.
struct IptcRow {
  uint16_t comment;
  uint8_t record;
  uint8_t dataSet;
  uint16_t minimum; // bytes of one value
  uint16_t maximum;
  bool repeatable;
};

// A run of comment numbers that stand in one home, in the order of its table.
struct CommentRange {
  uint16_t first;
  uint16_t last;
  CommentHome home;
  uint16_t firstRow;
};

constexpr uint32_t kExifCommentRows = 53;
constexpr uint32_t kGpsCommentRows = 31;
constexpr uint32_t kIptcCommentRows = 46;
constexpr uint8_t kIptcSeparator = 1;

extern const CommentRow kExifCommentTable[kExifCommentRows];
extern const CommentRow kGpsCommentTable[kGpsCommentRows];
extern const IptcRow kIptcCommentTable[kIptcCommentRows]; // ascending by comment; row 0 is the record version

// Numbers with rules of their own.
enum CommentNumber : uint32_t {
  kCommentMakerNote = 36,
  kCommentFirstIptc = 181,
  kCommentFocalPlaneXResolution = 167,
  kCommentFocalPlaneYResolution = 168,
  kCommentLastIptc = 226,
  kCommentFocalPlaneUnit = 245,
  kCommentGamma = 246
};

// The rows that are written from slots: versions and the focal-plane unit are the writer's own.
inline constexpr CommentRange kWrittenExifComments[] = {
    {22, 40, CommentHome::kExif, 1}, {159, 174, CommentHome::kExif, 21}, {227, 240, CommentHome::kExif, 37}};
inline constexpr uint16_t kGammaRow = 52;
inline constexpr CommentRange kWrittenGpsComments[] = {{41, 67, CommentHome::kGps, 0},
                                                       {241, 244, CommentHome::kGps, 27}};

// The value of GPSVersionID in every GPS directory that is made here.
inline constexpr uint8_t kGpsVersion[4] = {2, 2, 0, 0};

// The home of a number and its row there; kNone for a number that is not assigned.
CommentHome TIFFindCommentHome(uint32_t comment, uint32_t* row);
