// The table of result codes: number, name, meaning.

#include "toolkit/ResultText.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

#define VX_RESULT(name, meaning)                                                                                       \
  ResultText {                                                                                                         \
    name, #name, meaning                                                                                               \
  }
constexpr ResultText kTexts[] = {
    VX_RESULT(kResultOk, "success"),
    VX_RESULT(kResultRefused, "refused: the page is damaged, or its compression belongs to another filter"),
    VX_RESULT(kResultNoMemory, "not enough memory"),
    VX_RESULT(kResultNoBitmap, "no bitmap was given"),
    VX_RESULT(kResultSeekFailed, "a seek in the file failed"),
    VX_RESULT(kResultWriteFailed, "writing failed"),
    VX_RESULT(kResultReadFailed, "reading failed or came back short"),
    VX_RESULT(kResultNoFileName, "no file name was given"),
    VX_RESULT(kResultNotTiff, "not a valid TIFF file"),
    VX_RESULT(kResultOpenFailed, "the file cannot be opened"),
    VX_RESULT(kResultBitmapMismatch, "the bitmap does not fit the page"),
    VX_RESULT(kResultColorLayout, "the page's colour layout cannot be loaded"),
    VX_RESULT(kResultInvalidParameter, "invalid parameter"),
    VX_RESULT(kResultCreateFailed, "the file cannot be created"),
    VX_RESULT(kResultUnknownCompression, "unknown compression, or one without a decoder"),
    VX_RESULT(kResultFormatNotSaved, "this format or compression cannot be saved"),
    VX_RESULT(kResultDepthNotSupported, "bits per pixel not supported"),
    VX_RESULT(kResultJpegTableTag, "malformed JPEG table tag"),
    VX_RESULT(kResultJpegHuffmanDc, "malformed JPEG table tag: too many code lengths"),
    VX_RESULT(kResultJpegHuffmanAc, "malformed JPEG table tag: too many values"),
    VX_RESULT(kResultCodecShort, "compressed data end too early"),
    VX_RESULT(kResultNoStamp, "the file holds no stamp"),
    VX_RESULT(kResultLzwOverflow, "damaged LZW data: code table overflow"),
    VX_RESULT(kResultTypeNotAllowed, "a tag or comment has a data type that is not allowed for it"),
    VX_RESULT(kResultSiblingVector, "the library for this compression, VXVECTOR, is not installed"),
    VX_RESULT(kResultNoSuchPage, "the file has no such page"),
    VX_RESULT(kResultOnlyPage, "the only page of a file cannot be deleted"),
    VX_RESULT(kResultSiblingJbig, "the library for this compression, VXJBIG, is not installed"),
    VX_RESULT(kResultSiblingWavelet, "the library for this compression, VXWAVELET, is not installed"),
    VX_RESULT(kResultTagNotFound, "the page has no such tag"),
    VX_RESULT(kResultSiblingJpeg2000, "the library for this compression, VXJPEG2K, is not installed"),
    VX_RESULT(kResultStructSize, "a record's size field does not match"),
    VX_RESULT(kResultNullPointer, "a pointer is null"),
    VX_RESULT(kResultSiblingSegment, "the library for this compression, VXSEGMENT, is not installed"),
    VX_RESULT(kResultSiblingCamera1, "the library VXCAMRAW1 is not installed"),
    VX_RESULT(kResultSiblingCamera2, "the library VXCAMRAW2 is not installed"),
    VX_RESULT(kResultSiblingCamera3, "the library VXCAMRAW3 is not installed"),
    VX_RESULT(kResultSiblingBilevel1, "the library for this compression, VXBILEVEL1, is not installed"),
    VX_RESULT(kResultSiblingBilevel2, "the library for this compression, VXBILEVEL2, is not installed"),
    VX_RESULT(kResultSiblingJbig2, "the library for this compression, VXJBIG2, is not installed"),
    VX_RESULT(kResultDirectoryUnreadable, "a page's directory cannot be read"),
    VX_RESULT(kResultNotCmyk, "not a CMYK page, or not a CMYK format"),
    VX_RESULT(kResultNoLinkWord, "the directory would have to grow, and nothing is known that points to it"),
};
#undef VX_RESULT

constexpr ResultText kUnknown = {INT32_MIN, "unknown", "a code that this version does not know"};

} // namespace

const ResultText& DescribeResult(int32_t code) {
  for (const ResultText& text : kTexts) {
    if (text.code == code) {
      return text;
    }
  }
  return kUnknown;
}

std::span<const ResultText> AllResultTexts() {
  return kTexts;
}

} // namespace toolkit
