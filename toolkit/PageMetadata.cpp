// Requests of the metadata operations.

#include "toolkit/PageMetadata.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/SavePage.h"
#include "toolkit/Utf16.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

FileOptions OptionsOfPage(int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  return options;
}

SaveOptions EditOptions(int32_t page) {
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.pageNumber = page;
  return options;
}

// No value is larger than the file that holds it; a count that says so is damage.
void CheckSize(const std::string& file, uint64_t bytes, const char* operation) {
  const KernelFile opened(file, operation);
  const uint32_t size = krnFileSeek(opened.Handle(), 0, kKrnSeekEnd);
  if (size != kKrnIoFailed && bytes > size) {
    throw Failure(file, operation, kResultReadFailed);
  }
}

struct KeyCollector {
  std::vector<NumberedValue> keys;
  std::exception_ptr thrown;
};

int32_t CollectKey(uint32_t key, uint32_t type, uint32_t count, const void* value, intptr_t userData) noexcept {
  auto& collector = *reinterpret_cast<KeyCollector*>(userData);
  try {
    NumberedValue item = {static_cast<uint16_t>(key), {static_cast<uint16_t>(type), count, {}}};
    const size_t bytes = size_t{count} * ElementSize(item.value.type);
    item.value.bytes.resize(bytes + 1);
    if (bytes != 0) {
      std::memcpy(item.value.bytes.data(), value, bytes);
    }
    collector.keys.push_back(std::move(item));
    return kResultOk;
  } catch (...) {
    collector.thrown = std::current_exception();
    return kResultNoMemory;
  }
}

} // namespace

TypedValue GetTag(const std::string& file, int32_t page, uint16_t tag) {
  const std::u16string name = ToUtf16(file);
  FileOptions options = OptionsOfPage(page);
  TypedValue value;
  FilterGetTagRequest request = {};
  request.fileName = name.c_str();
  request.tag = tag;
  request.type = &value.type;
  request.count = &value.count;
  request.fileOptions = &options;
  Check(fltGetTag(&request), file, "tag get");
  const uint64_t bytes = uint64_t{value.count} * ElementSize(value.type);
  if (bytes > 4) {
    CheckSize(file, bytes, "tag get");
  }
  value.bytes.resize(static_cast<size_t>(bytes) + 1);
  request.data = value.bytes.data();
  Check(fltGetTag(&request), file, "tag get");
  return value;
}

void SetTags(const std::string& file, int32_t page, std::vector<NumberedValue> tags) {
  const std::u16string name = ToUtf16(file);
  SaveOptions options = EditOptions(page);
  ItemList<TifTagItem> list(std::move(tags));
  FilterSetTagRequest request = {};
  request.fileName = name.c_str();
  request.tagList = list.First();
  request.options = &options;
  Check(fltSetTag(&request), file, "tag set");
}

std::optional<std::vector<uint8_t>> GetComment(const std::string& file, int32_t page, uint32_t number) {
  const std::u16string name = ToUtf16(file);
  FileOptions options = OptionsOfPage(page);
  FilterCommentRequest request = {};
  request.fileName = name.c_str();
  request.comment = number;
  request.fileOptions = &options;
  const int32_t size = fltComment(&request);
  if (size < 0) {
    throw Failure(file, "comment get", size);
  }
  if (size == 0) {
    return std::nullopt;
  }
  CheckSize(file, static_cast<uint64_t>(size), "comment get");
  // A maker note that is a directory may come out larger than it was counted.
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  request.buffer = bytes.data();
  request.bufferSize = static_cast<uint32_t>(bytes.size());
  const int32_t got = fltComment(&request);
  if (got < 0) {
    throw Failure(file, "comment get", got);
  }
  bytes.resize(std::min(bytes.size(), static_cast<size_t>(got)));
  return bytes;
}

void SetComments(const std::string& file, int32_t page, const std::vector<NumberedValue>& comments) {
  const std::u16string name = ToUtf16(file);
  SaveOptions options = EditOptions(page);
  CommentSet set(comments);
  FilterSetCommentRequest request = {};
  request.fileName = name.c_str();
  request.options = &options;
  request.comments = set.Block();
  Check(fltSetComment(&request), file, "comment set");
}

std::vector<NumberedValue> ListGeoKeys(const std::string& file, int32_t page) {
  const std::u16string name = ToUtf16(file);
  FileOptions options = OptionsOfPage(page);
  KeyCollector collector;
  FilterEnumGeoKeysRequest request = {};
  request.fileName = name.c_str();
  request.callback = CollectKey;
  request.userData = reinterpret_cast<intptr_t>(&collector);
  request.fileOptions = &options;
  const int32_t result = fltEnumGeoKeys(&request);
  if (collector.thrown) {
    std::rethrow_exception(collector.thrown);
  }
  Check(result, file, "geo list");
  return std::move(collector.keys);
}

void SetGeoKeys(const std::string& file, int32_t page, std::vector<NumberedValue> keys) {
  const std::u16string name = ToUtf16(file);
  SaveOptions options = EditOptions(page);
  ItemList<TifGeoKeyItem> list(std::move(keys));
  FilterSetGeoKeyRequest request = {};
  request.fileName = name.c_str();
  request.options = &options;
  request.geoKeys = list.First();
  Check(fltSetGeoKey(&request), file, "geo set");
}

} // namespace toolkit
