// How the samples of a page stand in the rows that a load delivers. The file report tells a page's depth only; a host
// that reads rows has to know how many bytes of each it may read, and what they mean.
//
// The entries of the directory are taken as the filter takes them: in file order, by the same rules.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <vxkernel/bitmap.h>
#include <vxkernel/files.h>
#include <vxtif/page.h>

namespace toolkit {

struct SampleLayout {
  int32_t width = -1;
  int32_t height = -1;
  uint32_t version = 42;
  uint32_t compression = 1;
  uint32_t photometric = 0;       // as the load takes it
  uint32_t parsedPhotometric = 0; // as the file says; separate planes are merged by this one
  bool separatePlanes = false;    // as the load sees it: one plane or one strip is chunky
  uint32_t samplesPerPixel = 1;
  std::array<uint32_t, kMaxSamples> bitsPerSample = {1};
  uint32_t totalBits = 1;
  uint32_t extraBits = 0;        // behind the samples that are kept
  uint32_t extraSampleCount = 0; // tag 338's count
  uint32_t bitsPerPixel = 1;     // the depth of the loaded page
  uint32_t orientation = 1;
  uint32_t subSampleHoriz = 2;
  uint32_t subSampleVert = 2;
  uint32_t minSample = 0; // tags 280 and 281; both 0 when not given
  uint32_t maxSample = 0;
  uint32_t sampleFormat = 1;
  bool hasColorMap = false;
  bool hasToneTable = false;  // tag 50234 brings one
  bool hasStoredSize = false; // tag 50235 with two sizes
};

// Reads the directory at `directoryOffset`. Nothing when it cannot be read or the filter would refuse it.
std::optional<SampleLayout> ReadSampleLayout(VxFileHandle file, uint32_t directoryOffset, bool forceRgb);

// Bytes that a row sink may read of each row, for a bitmap of the page's width and the given depth. `keepAlpha`: the
// load was asked for grey's alpha.
size_t RowBytesOf(const SampleLayout& layout, uint32_t bitmapDepth, bool keepAlpha);

// Bytes from row to row when one call of the sink brings several.
size_t RowStrideOf(const SampleLayout& layout, uint32_t bitmapDepth, bool keepAlpha);

// Whether a load that is asked for it keeps the alpha of this page's grey or palette pixels.
bool CanKeepAlpha(const SampleLayout& layout);

} // namespace toolkit
