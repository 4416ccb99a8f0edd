// Records as JSON.

#include "RecordJson.h"

#include <algorithm>

#include "toolkit/Utf16.h"

Json JsonOfReport(const FileInfoRecord& report) {
  const char16_t* name = report.compressionName;
  const char16_t* end = std::find(name, name + kCompressionNameLength, u'\0');
  Json object;
  object["fileFormat"] = int32_t{report.fileFormat};
  object["width"] = int32_t{report.width};
  object["height"] = int32_t{report.height};
  object["bitsPerPixel"] = int32_t{report.bitsPerPixel};
  object["memorySize"] = uint32_t{report.memorySize};
  object["compressionName"] = toolkit::ToUtf8(std::u16string_view(name, static_cast<size_t>(end - name)));
  object["viewPerspective"] = uint32_t{report.viewPerspective};
  object["order"] = uint32_t{report.order};
  object["pageNumber"] = uint32_t{report.pageNumber};
  object["totalPages"] = uint32_t{report.totalPages};
  object["xResolution"] = int32_t{report.xResolution};
  object["yResolution"] = int32_t{report.yResolution};
  object["flags"] = uint32_t{report.flags};
  object["directoryOffset"] = uint32_t{report.directoryOffset};
  object["colorSpace"] = uint32_t{report.colorSpace};
  return object;
}
