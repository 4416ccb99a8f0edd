// Where the numbers of comments stand: runs of numbers and the rows of their tables.

#include "tif_com/CommentTables.h"

namespace {

constexpr CommentRange kCommentHomes[] = {
    {0, 9, CommentHome::kMain, 0},      {21, 40, CommentHome::kExif, 0},    {41, 67, CommentHome::kGps, 0},
    {158, 174, CommentHome::kExif, 20}, {181, 226, CommentHome::kIptc, 0},  {227, 240, CommentHome::kExif, 37},
    {241, 244, CommentHome::kGps, 27},  {245, 246, CommentHome::kExif, 51},
};

constexpr CommentHome FindHome(uint32_t comment, uint32_t* row) {
  for (const CommentRange& range : kCommentHomes) {
    if (comment >= range.first && comment <= range.last) {
      *row = comment - range.first + range.firstRow;
      return range.home;
    }
  }
  return CommentHome::kNone;
}

// Whether each number of a list stands in its home at its row of the table.
template <size_t kRows> constexpr bool StandInOrder(const uint32_t (&numbers)[kRows], CommentHome home) {
  for (uint32_t i = 0; i < kRows; ++i) {
    uint32_t row = 0;
    if (FindHome(numbers[i], &row) != home || row != i) {
      return false;
    }
  }
  return true;
}

#define TIF_NUMBER(number, ...) number,
constexpr uint32_t kMainNumbers[] = {VXTIF_MAIN_COMMENTS(TIF_NUMBER)};
constexpr uint32_t kExifNumbers[] = {VXTIF_EXIF_COMMENTS(TIF_NUMBER)};
constexpr uint32_t kGpsNumbers[] = {VXTIF_GPS_COMMENTS(TIF_NUMBER)};
constexpr uint32_t kIptcNumbers[] = {VXTIF_IPTC_COMMENTS(TIF_NUMBER)};
#undef TIF_NUMBER
static_assert(StandInOrder(kMainNumbers, CommentHome::kMain) && StandInOrder(kExifNumbers, CommentHome::kExif) &&
              StandInOrder(kGpsNumbers, CommentHome::kGps) && StandInOrder(kIptcNumbers, CommentHome::kIptc));

} // namespace

#define TIF_TAG(number, name, tag, ...) tag,
const uint16_t kMainCommentTags[kMainCommentCount] = {VXTIF_MAIN_COMMENTS(TIF_TAG)};
#undef TIF_TAG

CommentHome TIFFindCommentHome(uint32_t comment, uint32_t* row) {
  return FindHome(comment, row);
}
