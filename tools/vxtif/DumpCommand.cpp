// vxtif dump: the raw directories of a file, through the raw page interface.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <set>

#include "Console.h"
#include "RecordJson.h"
#include "toolkit/Failure.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TagNames.h"
#include "toolkit/Utf16.h"

#include <vxtif/rawpage.h>
#include <vxtif/results.h>

namespace {

constexpr size_t kShownCharacters = 80;
constexpr uint16_t kExifIfd = 34665;
constexpr uint16_t kGpsIfd = 34853;
constexpr uint16_t kStripOffsets = 273;
constexpr uint16_t kTileOffsets = 324;

struct DumpArguments {
  std::string file;
  std::string page = "all";
  bool json = false;
};

// One open file of the raw page interface.
class RawFile {
public:
  explicit RawFile(const std::string& name) {
    toolkit::Check(Vx_OpenTIF(toolkit::ToUtf16(name).c_str(), &record_, sizeof record_), name, "dump");
  }
  ~RawFile() { Vx_CloseTIF(&record_); }
  RawFile(const RawFile&) = delete;
  RawFile& operator=(const RawFile&) = delete;

  TifFile* Record() { return &record_; }
  VxFileHandle Handle() const { return record_.fileHandle; }
  bool IsBigEndian() const { return record_.byteOrder == kByteOrderBig; }

private:
  TifFile record_ = {};
};

struct BlockDeleter {
  void operator()(TifDirectory* block) const { Vx_FreeTIFPage(block); }
};
using Block = std::unique_ptr<TifDirectory, BlockDeleter>;

const char* ClassName(int32_t tagClass) {
  constexpr const char* kNames[] = {"block",       "block array", "inline",       "sub-directory",
                                    "JPEG stream", "JPEG table",  "image offsets"};
  return tagClass >= 0 && tagClass < 7 ? kNames[tagClass] : "unknown";
}

uint32_t StorageKind(const TifTagRecord& record) {
  return record.storage & kStorageKindMask;
}

bool HasDirectory(const TifTagRecord& record) {
  return StorageKind(record) == kStorageDirectory || StorageKind(record) == kStorageDirectoryArray;
}

// The values that the entry itself tells. Image data, streams and tables that were loaded behind offsets are not them.
std::vector<uint8_t> ValueOf(const RawFile& file, const TifTagRecord& record, int32_t tagClass) {
  const uint32_t word = record.value;
  const std::vector<uint8_t> wordBytes = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8),
                                          static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 24)};
  const uint16_t tag = record.tag;
  const size_t bytes = size_t{record.count} * toolkit::ElementSize(record.type);
  if (bytes <= 4) {
    return {wordBytes.begin(), wordBytes.begin() + static_cast<ptrdiff_t>(bytes)};
  }
  if (tagClass == kTagClassJpegStream) {
    return wordBytes;
  }
  const bool ownValues = StorageKind(record) == kStorageBlock && tag != kStripOffsets && tag != kTileOffsets;
  if (ownValues && record.data != nullptr) {
    const auto* data = static_cast<const uint8_t*>(record.data);
    return {data, data + bytes};
  }
  const toolkit::DirectoryEntry entry = {tag, record.type, record.count, {}, word};
  return toolkit::ReadEntryValue(file.Handle(), entry, file.IsBigEndian()).value_or(std::vector<uint8_t>());
}

std::vector<const TifDirectory*> ChildrenOf(const TifTagRecord& record) {
  if (StorageKind(record) == kStorageDirectory) {
    return {static_cast<const TifDirectory*>(record.data)};
  }
  std::vector<const TifDirectory*> children;
  for (uint32_t i = 0; i < record.count; ++i) {
    children.push_back(static_cast<const TifDirectory* const*>(record.data)[i]);
  }
  return children;
}

toolkit::TagSpace SpaceOf(uint16_t tag) {
  return tag == kExifIfd  ? toolkit::TagSpace::kExif
         : tag == kGpsIfd ? toolkit::TagSpace::kGps
                          : toolkit::TagSpace::kPage;
}

// The class of a record. The library classifies by the rules of a page's directory; those of a child differ in what
// points to directories of its own, which its record tells.
int32_t ClassOf(const TifTagRecord& record, uint32_t* size) {
  TifTagRecord copy = record;
  const int32_t tagClass = Vx_GetTIFTagDataType(&copy, size);
  return HasDirectory(record) ? int32_t{kTagClassSubDirectory} : tagClass;
}

Json JsonOfDirectory(const RawFile& file, const TifDirectory& directory, toolkit::TagSpace space) {
  Json entries = Json::array();
  for (uint32_t i = 0; i < directory.entryCount; ++i) {
    const TifTagRecord record = directory.records[i];
    uint32_t size = 0;
    const int32_t tagClass = ClassOf(record, &size);
    toolkit::TypedValue value = {record.type, record.count, ValueOf(file, record, tagClass)};
    if (tagClass == kTagClassJpegStream) {
      value.count = 1;
    }
    Json object = JsonOfTag(record.tag, toolkit::TagName(record.tag, space), value);
    object["count"] = uint32_t{record.count};
    object["class"] = tagClass;
    object["size"] = size;
    if (HasDirectory(record)) {
      object["directories"] = Json::array();
      for (const TifDirectory* child : ChildrenOf(record)) {
        object["directories"].push_back(JsonOfDirectory(file, *child, SpaceOf(record.tag)));
      }
    }
    entries.push_back(std::move(object));
  }
  return {{"entryCount", uint32_t{directory.entryCount}},
          {"nextDirectoryOffset", uint32_t{directory.nextDirectoryOffset}},
          {"records", std::move(entries)}};
}

void PrintDirectory(const RawFile& file, const TifDirectory& directory, toolkit::TagSpace space, int depth) {
  const std::string indent(static_cast<size_t>(4 * depth), ' ');
  for (uint32_t i = 0; i < directory.entryCount; ++i) {
    const TifTagRecord record = directory.records[i];
    uint32_t size = 0;
    const int32_t tagClass = ClassOf(record, &size);
    const std::vector<uint8_t> value = ValueOf(file, record, tagClass);
    const uint32_t count = tagClass == kTagClassJpegStream ? 1 : uint32_t{record.count};
    std::cout << indent << std::setw(7) << uint16_t{record.tag} << "  " << std::left << std::setw(28)
              << toolkit::TagName(record.tag, space) << std::setw(10) << toolkit::TypeName(record.type) << std::right
              << std::setw(8) << uint32_t{record.count} << "  " << std::left << std::setw(14) << ClassName(tagClass)
              << std::right << PrintableText(toolkit::FormatValue(record.type, count, value, kShownCharacters)) << "\n";
    if (HasDirectory(record)) {
      for (const TifDirectory* child : ChildrenOf(record)) {
        std::cout << indent << "         directory of " << uint32_t{child->entryCount} << " entries, next "
                  << uint32_t{child->nextDirectoryOffset} << "\n";
        PrintDirectory(file, *child, SpaceOf(record.tag), depth + 1);
      }
    }
  }
}

std::string LayoutWords(uint32_t flags) {
  std::string words;
  const auto add = [&](uint32_t bit, const char* word) {
    if ((flags & bit) != 0) {
      words += (words.empty() ? " (" : ", ") + std::string(word);
    }
  };
  add(kLayoutPieces, "pieces");
  add(kLayoutBands, "bands");
  add(kLayoutPlanes, "planes");
  return words.empty() ? words : words + ")";
}

// Describes the page that the record stands on behind a call of Vx_GetTIFPage.
void DumpPage(const DumpArguments& arguments, RawFile& file, size_t number, int32_t result, const TifDirectory* block,
              uint32_t layoutFlags, Json& pages) {
  const uint32_t offset = file.Record()->directoryOffset;
  if (result != kResultOk) {
    ReportFailure(toolkit::Failure(arguments.file + " page " + std::to_string(number), "dump", result).what());
    pages.push_back({{"pageNumber", number}, {"directoryOffset", offset}, {"result", result}});
    return;
  }
  if (arguments.json) {
    Json page = {{"pageNumber", number}, {"directoryOffset", offset}, {"layoutFlags", layoutFlags}};
    page.update(JsonOfDirectory(file, *block, toolkit::TagSpace::kPage));
    pages.push_back(std::move(page));
    return;
  }
  std::cout << "page " << number << ": directory at " << offset << ", " << uint32_t{block->entryCount}
            << " entries, next " << uint32_t{block->nextDirectoryOffset} << ", layout " << layoutFlags
            << LayoutWords(layoutFlags) << "\n";
  PrintDirectory(file, *block, toolkit::TagSpace::kPage, 0);
}

void Run(const DumpArguments& arguments) {
  const PageChoice choice = ParsePage(arguments.page);
  RawFile file(arguments.file);
  Json pages = Json::array();
  std::set<uint32_t> seen;
  for (size_t number = choice.all ? 1 : static_cast<size_t>(choice.page);; ++number) {
    TifDirectory* read = nullptr;
    uint32_t layoutFlags = 0;
    krnFileRenewBudget(file.Handle());
    // Pages count from the one that the record stands on: 1 is that page itself, 2 the next one.
    const uint32_t step = !seen.empty() ? 2u : choice.all ? 1u : static_cast<uint32_t>(choice.page);
    const int32_t result = Vx_GetTIFPage(file.Record(), step, &read, &layoutFlags);
    const Block block(read);
    if (result != kResultOk && result != kResultRefused) {
      if (seen.empty()) {
        throw toolkit::Failure(arguments.file, "dump", result);
      }
      break;
    }
    if (!seen.insert(file.Record()->directoryOffset).second) {
      break;
    }
    DumpPage(arguments, file, number, result, block.get(), layoutFlags, pages);
    if (!choice.all) {
      break;
    }
  }
  if (arguments.json) {
    PrintJson({{"file", arguments.file},
               {"byteOrder", uint8_t{file.Record()->byteOrder}},
               {"version", uint16_t{file.Record()->version}},
               {"fileSize", uint32_t{file.Record()->fileSize}},
               {"pages", pages}});
  }
}

} // namespace

void AddDumpCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("dump", "Show the raw directories: every entry, sub-directories, layout");
  const auto arguments = std::make_shared<DumpArguments>();
  command->add_option("FILE", arguments->file, "TIFF file")->required();
  command->add_option("--page", arguments->page, "page, from 1, or 'all' (all)")
      ->check(CLI::Validator(CheckPageOrAllOption, "PAGE|all"));
  command->add_flag("--json", arguments->json, "one JSON object");
  command->callback([arguments] { Run(*arguments); });
}
