// Records as JSON.

#include "RecordJson.h"

#include <algorithm>
#include <cstring>

#include "toolkit/RawDirectories.h"
#include "toolkit/Utf16.h"

#include <vxtif/metadata.h>

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

Json JsonOfContents(const toolkit::PageContents& contents) {
  Json object = Json::object();
  const auto add = [&](const char* key, const std::optional<uint32_t>& amount) {
    if (amount) {
      object[key] = *amount;
    }
  };
  add("texts", contents.texts != 0 ? std::optional(contents.texts) : std::nullopt);
  add("exif", contents.exif);
  add("makerNote", contents.makerNote);
  add("gps", contents.gps);
  add("iptc", contents.iptc);
  add("xmp", contents.xmp);
  add("photoshop", contents.photoshop);
  add("icc", contents.icc);
  add("geoKeys", contents.geoKeys);
  add("subDirectories", contents.subDirectories != 0 ? std::optional(contents.subDirectories) : std::nullopt);
  if (contents.stamp) {
    object["stamp"] = true;
  }
  return object;
}

namespace {

template <class Number> Number NumberAt(const uint8_t* bytes) {
  Number number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

Json JsonOfElement(uint16_t type, const uint8_t* bytes) {
  switch (type) {
  case kTypeSByte:
    return NumberAt<int8_t>(bytes);
  case kTypeShort:
    return NumberAt<uint16_t>(bytes);
  case kTypeSShort:
    return NumberAt<int16_t>(bytes);
  case kTypeLong:
    return NumberAt<uint32_t>(bytes);
  case kTypeSLong:
    return NumberAt<int32_t>(bytes);
  case kTypeFloat:
    return NumberAt<float>(bytes);
  case kTypeDouble:
    return NumberAt<double>(bytes);
  case kTypeRational:
  case kTypeSRational:
    return toolkit::FormatValue(type, 1, {bytes, 8}, 0);
  default:
    return *bytes;
  }
}

} // namespace

Json JsonOfValue(const toolkit::TypedValue& value) {
  if (value.type == kTypeAscii) {
    return PrintableText(toolkit::FormatValue(value.type, value.count, value.bytes, 0));
  }
  const size_t size = toolkit::ElementSize(value.type);
  const size_t there = size == 0 ? 0 : std::min<size_t>(value.count, value.bytes.size() / size);
  Json list = Json::array();
  for (size_t i = 0; i < there; ++i) {
    list.push_back(JsonOfElement(value.type, value.bytes.data() + i * size));
  }
  return there == 1 ? list[0] : list;
}

Json JsonOfTag(uint16_t tag, std::string_view name, const toolkit::TypedValue& value) {
  Json object = {{"tag", tag}};
  if (!name.empty()) {
    object["name"] = name;
  }
  object["type"] = value.type;
  object["count"] = value.count;
  if (value.count == 0 || !value.bytes.empty()) {
    object["value"] = JsonOfValue(value);
  }
  return object;
}
