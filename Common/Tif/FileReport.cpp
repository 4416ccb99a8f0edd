// fltInfo: what a page holds, told without decoding it. Given an open handle, a page number and a report record, it
// walks to the page, parses its directory in the information mode and fills the record. Files that belong to another
// filter are offered to that filter's library, or refused. The toolkit's file layer uses it to choose a filter.

#include <algorithm>
#include <cstddef>
#include <iterator>

#include <vxtif/formats.h>
#include <vxtif/info.h>

#include "Tif/Siblings.h"
#include "Tifutil/PageParser.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

enum class RowKind : uint8_t {
  kTold,     // format and text stand in the row
  kExif,     // and an Exif or GeoTIFF directory changes the format
  kGroup3,   // tag 292 tells which of the two group 3 codes it is
  kRefused,  // another filter's file
  kWhole,    // a sibling library answers in place of this report
  kAskedFor, // the format stands when a sibling library confirms it
};

// Format numbers by photometric value, and the text; an empty text leaves the record's own.
struct FormatRow {
  uint32_t compression;
  RowKind kind;
  int32_t format;
  int32_t cmykFormat;
  int32_t yccFormat;
  uint32_t infoFlags;
  uint32_t sibling;
  char16_t name[kCompressionNameLength];
};

template <size_t length>
constexpr FormatRow Row(uint32_t compression, RowKind kind, int32_t format, int32_t cmykFormat, int32_t yccFormat,
                        uint32_t infoFlags, uint32_t sibling, const char16_t (&name)[length]) {
  static_assert(length <= kCompressionNameLength, "the text fits the record");
  FormatRow row{compression, kind, format, cmykFormat, yccFormat, infoFlags, sibling, {}};
  for (size_t i = 0; i < length; ++i) {
    row.name[i] = name[i];
  }
  return row;
}

template <size_t length>
constexpr FormatRow Plain(uint32_t compression, int32_t format, const char16_t (&name)[length],
                          uint32_t infoFlags = 0) {
  return Row(compression, RowKind::kTold, format, format, format, infoFlags, 0, name);
}

constexpr FormatRow Refused(uint32_t compression) {
  return Row(compression, RowKind::kRefused, 0, 0, 0, 0, 0, u"");
}

constexpr FormatRow Whole(uint32_t compression, int32_t format) {
  return Row(compression, RowKind::kWhole, format, format, format, 0, kSiblingVector, u"");
}

constexpr FormatRow kFormats[] = {
    Row(kCompressionNone, RowKind::kExif, kFormatUncompressed, kFormatUncompressedCmyk, kFormatUncompressedYCbCr, 0, 0,
        u""),
    Plain(kCompressionCcittRle, kFormatCcitt, u"CCITT"),
    Row(kCompressionGroup3, RowKind::kGroup3, kFormatGroup3, kFormatGroup3, kFormatGroup3, kInfoFax, 0,
        u"CCITT Group 3 Fax"),
    Plain(kCompressionGroup4, kFormatGroup4, u"CCITT Group 4 Fax", kInfoFax),
    Row(kCompressionLzw, RowKind::kTold, kFormatLzw, kFormatLzwCmyk, kFormatLzwYCbCr, 0, 0, u"LZW"),
    Refused(kCompressionOldJpeg),
    Refused(kCompressionJpeg),
    Plain(kCompressionDeflate, kFormatDeflate, u"ZIP"),
    Refused(kCompressionJbigT85),
    Refused(kCompressionJbigT43),
    Plain(kCompressionAbicOld, kFormatBilevel2, u"ABIC"),
    Row(kCompressionPackBits, RowKind::kTold, kFormatPackBits, kFormatPackBitsCmyk, kFormatPackBitsYCbCr, 0, 0,
        u"Run Length"),
    Plain(kCompressionDeflateOld, kFormatDeflate, u"ZIP"),
    Whole(kCompressionVectorOld, kFormatVector),
    Plain(kCompressionJpeg2000Old, kFormatJpeg2000, u"Wavelet"),
    Plain(kCompressionJbig, kFormatJbig, u"JBIG"),
    Plain(kCompressionCustom, kFormatCustom, u"Custom Compression"),
    Refused(kCompressionRefused34709),
    Whole(kCompressionVector, kFormatVector),
    Row(kCompressionWavelet, RowKind::kAskedFor, kFormatWavelet, kFormatWavelet, kFormatWavelet, 0, kSiblingWavelet,
        u"Wavelet"),
    Plain(kCompressionJpeg2000, kFormatJpeg2000, u"Wavelet"),
    Plain(kCompressionStoredSize, kFormatStoredSize, u"VEXA Proprietary"),
    Whole(kCompressionVectorPage, kFormatVectorPage),
    Plain(kCompressionSegment, kFormatSegmented, u"MRC"),
    Plain(kCompressionBilevel1, kFormatBilevel1, u"VEXA Proprietary"),
    Plain(kCompressionBilevel2, kFormatBilevel2, u"ABIC"),
    Plain(kCompressionJbig2, kFormatJbig2, u"JBIG2"),
};

constexpr FormatRow kAnyOther = Plain(0, kFormatUnknown, u"Unknown");

constexpr bool RowByCompression(const FormatRow& left, const FormatRow& right) {
  return left.compression < right.compression;
}

static_assert(std::is_sorted(std::begin(kFormats), std::end(kFormats), RowByCompression), "rows are searched");

const FormatRow& FindRow(uint32_t compression) {
  const FormatRow* row =
      std::lower_bound(std::begin(kFormats), std::end(kFormats), compression,
                       [](const FormatRow& left, uint32_t right) { return left.compression < right; });
  return row != std::end(kFormats) && row->compression == compression ? *row : kAnyOther;
}

// One report: the request with its records, the file, and the page as it was parsed.
struct Report {
  FilterInfoRequest* request;
  FileInfoRecord* info;
  FileOptions options; // as they came in; zeros for none
  uint32_t controlFlags;
  TifFile file;
  TifPage* page;
  uint32_t reached;
};

enum class ReportStep { kGoOn, kDone };

void SetText(FileInfoRecord* info, const char16_t* text) {
  size_t length = 0;
  while (text[length] != 0) {
    ++length;
  }
  if (length != 0) {
    krnMemCopy(info->compressionName, text, (length + 1) * sizeof(char16_t));
  }
}

// Walks to the page. A page past the end, and a chain that breaks off, leave the last good directory.
void WalkToPage(Report& report) {
  report.reached = static_cast<uint32_t>(report.options.pageNumber);
  uint32_t behindCount = report.file.directoryOffset + 2;
  if (TIFWalkPages(&report.file, &report.reached, &behindCount) != kResultOk) {
    TIFSeek(report.file.fileHandle, behindCount, kKrnSeekSet);
  }
}

// Cameras' raw files look like TIFF; their libraries come first.
bool CameraTakesFile(const Report& report) {
  const uint32_t flags = report.page->pageFlags;
  if ((flags & kPageSubIfds) != 0 && TIFSiblingProbe(report.request, kSiblingCamera2) == kResultOk) {
    return true;
  }
  return (flags & kPageTiffEp) != 0 && (TIFSiblingProbe(report.request, kSiblingCamera3) == kResultOk ||
                                        TIFSiblingProbe(report.request, kSiblingCamera1) == kResultOk);
}

int32_t FormatByPhotometric(const FormatRow& row, uint32_t photometric) {
  switch (photometric) {
  case kPhotometricCmyk:
    return row.cmykFormat;
  case kPhotometricYCbCr:
    return row.yccFormat;
  default:
    return row.format;
  }
}

int32_t FormatWithDirectories(int32_t format, uint32_t pageFlags) {
  if ((pageFlags & kPageExif) != 0) {
    switch (format) {
    case kFormatUncompressed:
      return kFormatExif;
    case kFormatUncompressedYCbCr:
      return kFormatExifYCbCr;
    default:
      return format;
    }
  }
  return (pageFlags & kPageGeoKeys) != 0 ? static_cast<int32_t>(kFormatGeoTiff) : format;
}

void TellVariant(Report& report) {
  report.info->fileFormat = kFormatVariant;
  if (report.page->compression == kCompressionGroup4) {
    SetText(report.info, u"CCITT Group 4 Fax");
  }
  report.info->flags |= kInfoFax;
}

// Format number and text. kDone with the result of the whole call where the report ends here.
ReportStep TellFormat(Report& report, int32_t* result) {
  if (report.file.version == kTifVersionVariant) {
    TellVariant(report);
    return ReportStep::kGoOn;
  }
  const TifPage* page = report.page;
  FileInfoRecord* info = report.info;
  const FormatRow& row = FindRow(page->compression);
  int32_t format = FormatByPhotometric(row, page->photometricInterpretation);
  switch (row.kind) {
  case RowKind::kRefused:
    *result = kResultRefused;
    return ReportStep::kDone;
  case RowKind::kWhole:
    *result = TIFSiblingInfo(report.request, page, row.sibling);
    if (*result == kResultOk) {
      info->fileFormat = format;
    }
    return ReportStep::kDone;
  case RowKind::kAskedFor:
    if (TIFSiblingInfo(report.request, page, row.sibling) != kResultOk) {
      format = info->fileFormat;
    }
    break;
  case RowKind::kExif:
    format = FormatWithDirectories(format, page->pageFlags);
    break;
  case RowKind::kGroup3:
    format = (page->t4Options & 1) != 0 ? static_cast<int32_t>(kFormatGroup3TwoDimensional) : format;
    break;
  case RowKind::kTold:
    break;
  }
  info->fileFormat = format;
  info->flags |= row.infoFlags;
  SetText(info, row.name);
  return ReportStep::kGoOn;
}

uint32_t ColorOrder(const TifPage* page, int32_t format) {
  if (page->bitsPerPixel > 8 && page->samplesPerPixel == 1 &&
      page->photometricInterpretation <= kPhotometricBlackIsZero) {
    return kOrderGray;
  }
  if (page->bitsPerPixel > 16) {
    return format == kFormatJpeg2000 || format == kFormatSegmented ? kOrderBlueFirst : kOrderRedFirst;
  }
  return kOrderBlueFirst;
}

void TellGeometry(const Report& report) {
  const TifPage* page = report.page;
  FileInfoRecord* info = report.info;
  info->width = page->imageWidth;
  info->height = page->imageLength;
  info->bitsPerPixel = page->bitsPerPixel;
  if (page->extraBits != 0) {
    info->flags |= kInfoExtraSamples;
    if ((report.controlFlags & kInfoWithAlpha) != 0 && info->bitsPerPixel == 8) {
      info->bitsPerPixel = 32;
    }
  }
  const bool ignored = (report.options.flags & kReadIgnoreOrientation) != 0;
  info->viewPerspective = ignored ? 1 : page->viewPerspective;
  if ((page->pageFlags & kPageSigned) != 0) {
    info->flags |= kInfoSigned;
  }
  if (!TIFReportNeedsStrips(page->compression)) {
    info->order = ColorOrder(page, info->fileFormat);
  }
  const uint32_t rowBits = static_cast<uint32_t>(info->bitsPerPixel) * static_cast<uint32_t>(info->width);
  info->memorySize = ((rowBits + 31) / 8 & ~3u) * static_cast<uint32_t>(info->height);
}

int32_t RoundResolution(float value) {
  const double rounded = static_cast<double>(value) + 0.5;
  return rounded >= 2147483647.0 ? INT32_MAX : static_cast<int32_t>(rounded); // never negative, never a NaN
}

uint32_t ColorSpace(uint32_t photometric) {
  switch (photometric) {
  case kPhotometricYCbCr:
    return kColorSpaceYCbCr;
  case kPhotometricCmyk:
    return kColorSpaceCmyk;
  case kPhotometricCieLab:
    return kColorSpaceCieLab;
  default:
    return kColorSpaceOther;
  }
}

void TellRest(const Report& report) {
  const TifPage* page = report.page;
  FileInfoRecord* info = report.info;
  info->xResolution = RoundResolution(page->xResolution);
  info->yResolution = RoundResolution(page->yResolution);
  if ((page->pageFlags & kPageNoColorMap) != 0 && page->bitsPerPixel == 8) {
    info->flags |= kInfoGrayNoMap;
  }
  info->flags |= kInfoComplete;
  info->directoryOffset = report.file.directoryOffset;
  if (info->structSize >= offsetof(FileInfoRecord, colorSpace) + sizeof info->colorSpace) {
    info->colorSpace = ColorSpace(page->photometricInterpretation);
  }
}

// The walk to the end of the chain is only for those who ask for it. What follows an Exif page is its thumbnail.
void TellPages(Report& report) {
  FileInfoRecord* info = report.info;
  info->pageNumber = report.reached;
  info->totalPages = report.reached;
  const bool counts = (report.controlFlags & kInfoCountPages) != 0 &&
                      report.reached >= static_cast<uint32_t>(report.options.pageNumber) &&
                      (report.page->pageFlags & kPageExif) == 0;
  if (counts) {
    uint32_t walked = kLastPage;
    uint32_t behindCount = report.file.directoryOffset + 2;
    TIFSeek(report.file.fileHandle, behindCount, kKrnSeekSet);
    TIFWalkPages(&report.file, &walked, &behindCount);
    info->totalPages = walked + report.reached - 1;
  }
}

// Works on the parsed page, which its caller owns.
int32_t TellPage(Report& report) {
  if (CameraTakesFile(report)) {
    return kResultOk;
  }
  int32_t result = kResultOk;
  if (TellFormat(report, &result) == ReportStep::kDone) {
    return result;
  }
  TellGeometry(report);
  TellRest(report);
  TellPages(report);
  return kResultOk;
}

} // namespace

int32_t fltInfoTIF(FilterInfoRequest* request) {
  if (request->fileInfo == nullptr) {
    return kResultInvalidParameter;
  }
  Report report{};
  report.request = request;
  report.info = request->fileInfo;
  if (request->fileOptions != nullptr) {
    report.options = *request->fileOptions;
  }
  report.controlFlags = request->infoControl == nullptr ? 0 : request->infoControl->flags;
  report.file.fileHandle = request->fileHandle;
  krnFileRenewBudget(request->fileHandle); // the caller may have kept it open over many calls
  const bool explicitStart = (report.options.flags & kReadUseDirectoryOffset) != 0;
  const int32_t header = TIFReadHeader(&report.file, explicitStart ? report.options.directoryOffset : 0);
  if (header != kResultOk) {
    return header;
  }
  WalkToPage(report);
  report.page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (report.page == nullptr) {
    return kResultNoMemory;
  }
  report.page->fillOrder = kFillOrderMsbFirst;
  report.page->sampleFormat = kSampleUnsigned;
  report.page->fileOptions = request->fileOptions;
  // A page with too many extra samples is told from what stood before them.
  int32_t result = TIFReadPageInfo(&report.file, report.page, ParseMode::kInformation, RgbMode::kAsStored);
  if (result != kResultRefused) {
    result = TellPage(report);
  }
  TIFFreePage(report.page);
  return result;
}
