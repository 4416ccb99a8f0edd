// The tables of comments by home: ASCII tags of the page, the Exif directory, the GPS directory, data sets of the IPTC
// block. They are made from the lists of the public header: adding a comment is adding a row there.
#pragma once

#include <cstdint>
#include <iterator>

#include <vxtif/comments.h>

#include "tif_com/Comments.h"
#include "tif_com/Tags.h"

enum class CommentHome { kNone, kMain, kExif, kGps, kIptc };

// How a comment of the Exif or the GPS directory is stored.
struct CommentRow {
  uint16_t tag;
  uint16_t type;
  int32_t count; // elements, or kCommentAnySize
  int32_t bytes; // bytes, or kCommentAnySize
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

constexpr int32_t TIFCommentBytes(uint32_t type, int32_t count) {
  return count == kCommentAnySize ? kCommentAnySize : count * static_cast<int32_t>(TIFTypeSize(type));
}

#define TIF_COMMENT_ROW(number, name, tag, type, count) CommentRow{tag, type, count, TIFCommentBytes(type, count)},
#define TIF_IPTC_ROW(number, name, dataSet, minimum, maximum, repeatable)                                              \
  IptcRow{number, kIptcRecord, dataSet, minimum, maximum, repeatable != 0},
inline constexpr uint8_t kIptcRecord = 2; // the application record
inline constexpr CommentRow kExifCommentTable[] = {VXTIF_EXIF_COMMENTS(TIF_COMMENT_ROW)};
inline constexpr CommentRow kGpsCommentTable[] = {VXTIF_GPS_COMMENTS(TIF_COMMENT_ROW)};
inline constexpr IptcRow kIptcCommentTable[] = {VXTIF_IPTC_COMMENTS(TIF_IPTC_ROW)}; // row 0 is the record version
#undef TIF_COMMENT_ROW
#undef TIF_IPTC_ROW

inline constexpr uint32_t kExifCommentRows = std::size(kExifCommentTable);
inline constexpr uint32_t kGpsCommentRows = std::size(kGpsCommentTable);
inline constexpr uint32_t kIptcCommentRows = std::size(kIptcCommentTable);
inline constexpr uint8_t kIptcSeparator = 1;

// The rows that are written from slots: versions and the focal-plane unit are the writer's own.
inline constexpr CommentRange kWrittenExifComments[] = {
    {22, 40, CommentHome::kExif, 1}, {159, 174, CommentHome::kExif, 21}, {227, 240, CommentHome::kExif, 37}};
inline constexpr CommentRange kWrittenGpsComments[] = {{41, 67, CommentHome::kGps, 0},
                                                       {241, 244, CommentHome::kGps, 27}};

inline constexpr CommentRow kGammaRow = kExifCommentTable[kExifCommentRows - 1];
static_assert(kGammaRow.tag == 42240);

// The value of GPSVersionID in every GPS directory that is made here.
inline constexpr uint8_t kGpsVersion[4] = {2, 2, 0, 0};

// The home of a number and its row there; kNone for a number that is not assigned.
CommentHome TIFFindCommentHome(uint32_t comment, uint32_t* row);
