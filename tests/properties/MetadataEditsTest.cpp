// Random comments of all homes and GeoTIFF keys of all kinds, set on the pages of a file that is compacted into either
// byte order now and then: after every edit each page holds exactly what was set on it, and the last of each.

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "metadata/KnownComments.h"
#include "properties/Seed.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

#include <vxtif/vxtif.h>

namespace {

#ifdef VX_FEWER_STEPS
constexpr uint32_t kUsualSteps = 60;
#else
constexpr uint32_t kUsualSteps = 400;
#endif
constexpr uint32_t kStepsOfAFile = 40;
constexpr uint32_t kPages = 3;
constexpr uint8_t kSeparator = 1;

using Values = std::map<uint32_t, FileBytes>; // as they are read

struct Key {
  uint32_t type;
  FileBytes bytes;
  bool operator==(const Key&) const = default;
};
using Keys = std::map<uint32_t, Key>;

struct Page {
  bool hasExif;
  Values comments;
  Keys keys;
};

// One edit: the slots with their spare bytes, and what is to be read of them.
struct Edit {
  std::map<uint32_t, FileBytes> given;
  Values exif;
  Values others;
};

class MetadataFile {
public:
  MetadataFile(Random* random, FileOrder order) : random_(*random) {
    TiffBuilder builder(order);
    for (uint32_t i = 0; i < kPages; ++i) {
      TiffDirectory page = GrayPage(4, 4, static_cast<uint8_t>(i));
      if (i != 1) {
        page.Child(34665, TiffDirectory().Undefined(36864, {'0', '2', '2', '1'}));
      }
      builder.AddPage(std::move(page));
      pages_.push_back({i != 1, {}, {}});
      if (i != 1) {
        pages_.back().comments[kCommentExifVersion] = {'0', '2', '2', '1'};
      }
    }
    file_.Write(builder.Build());
  }

  void Step(uint32_t step) {
    const uint32_t page = random_.Below(kPages);
    SCOPED_TRACE("step " + std::to_string(step) + ", page " + std::to_string(page + 1));
    if (random_.Chance(60)) {
      SetComments(page);
    } else if (random_.Chance(80)) {
      SetKeys(page);
    } else {
      Compact();
    }
    for (uint32_t i = 0; i < kPages; ++i) {
      ExpectPage(i);
    }
  }

private:
  FileBytes Text(size_t length) {
    FileBytes text(length);
    for (uint8_t& c : text) {
      c = static_cast<uint8_t>('!' + random_.Below(90));
    }
    return text;
  }

  FileBytes Closed(FileBytes text) {
    text.push_back(0);
    return text;
  }

  // The value of a row, and the form in which it is read: texts come with their NUL.
  std::pair<FileBytes, FileBytes> ValueOf(const known::TagComment& row) {
    if (row.type == 2) {
      const FileBytes text =
          Text(row.bytes == known::kAny ? 1 + random_.Below(30) : static_cast<size_t>(row.bytes) - 1);
      return {random_.Chance(50) ? Closed(text) : text, Closed(text)};
    }
    FileBytes bytes = random_.Bytes(row.bytes != known::kAny ? static_cast<size_t>(row.bytes)
                                    : row.type == 3          ? 2 * (1 + random_.Below(5))
                                                             : 1 + random_.Below(40));
    if (row.number == kCommentMakerNote) {
      // As a directory it would have more entries than it has bytes. A note that stands in its entry would be looked
      // for at an offset when the page is copied, and take its directory along.
      bytes.insert(bytes.begin(), {0xFF, 0xFF, 0, 0});
    }
    return {bytes, bytes};
  }

  template <class Rows> void Choose(const Rows& rows, Edit* edit, Values Edit::*home) {
    for (const known::TagComment& row : rows) {
      const bool fixedByLibrary = row.number == kCommentExifVersion || row.number == kCommentFlashpixVersion ||
                                  row.number == kCommentFocalPlaneResolutionUnit;
      if (!fixedByLibrary && random_.Chance(12)) {
        auto [given, read] = ValueOf(row);
        edit->given[row.number] = std::move(given);
        (edit->*home)[row.number] = std::move(read);
      }
    }
  }

  void ChooseIptc(Edit* edit) {
    for (const known::IptcComment& row : known::kIptc) {
      if (row.number == kCommentRecordVersion || !random_.Chance(8)) {
        continue;
      }
      FileBytes value;
      const uint32_t pieces = row.repeatable ? 1 + random_.Below(3) : 1;
      for (uint32_t i = 0; i < pieces; ++i) {
        const FileBytes piece = Text(row.minimum + random_.Below(row.maximum - row.minimum + 1u));
        if (i != 0) {
          value.push_back(kSeparator);
        }
        value.insert(value.end(), piece.begin(), piece.end());
      }
      edit->given[row.number] = value;
      edit->others[row.number] = value;
    }
  }

  // The unit goes with either resolution and is inches unless it is given as centimetres.
  void ChooseUnit(Edit* edit) {
    const bool given = random_.Chance(10);
    const auto unit = static_cast<uint8_t>(1 + random_.Below(3));
    if (given) {
      edit->given[kCommentFocalPlaneResolutionUnit] = {unit, 0};
    }
    if (given || edit->exif.count(kCommentFocalPlaneXResolution) != 0 ||
        edit->exif.count(kCommentFocalPlaneYResolution) != 0) {
      edit->exif[kCommentFocalPlaneResolutionUnit] = {static_cast<uint8_t>(given && unit == 3 ? 3 : 2), 0};
    }
  }

  void SetComments(uint32_t number) {
    Edit edit;
    Choose(known::kMain, &edit, &Edit::others);
    Choose(known::kExif, &edit, &Edit::exif);
    ChooseUnit(&edit);
    if (random_.Chance(50)) {
      Choose(known::kGps, &edit, &Edit::others);
    }
    if (random_.Chance(50)) {
      ChooseIptc(&edit);
    }
    TifCommentBlock block = {};
    for (auto& [comment, bytes] : edit.given) {
      const auto size = static_cast<uint32_t>(bytes.size());
      bytes.push_back(0xEE);
      block.slots[comment] = {bytes.data(), size};
    }
    SaveOptions options = {};
    options.pageNumber = static_cast<int32_t>(number) + 1;
    FilterSetCommentRequest request = {file_.Name(), 0, &options, &block, nullptr};
    ASSERT_EQ(fltSetComment(&request), kResultOk);
    Record(edit, &pages_[number]);
  }

  static bool IsIptc(uint32_t comment) { return comment >= 181 && comment <= 226; }
  static bool IsGps(uint32_t comment) { return (comment >= 41 && comment <= 67) || (comment >= 241 && comment <= 244); }

  static void Record(const Edit& edit, Page* page) {
    const auto any = [&](bool (*home)(uint32_t)) {
      return std::any_of(edit.others.begin(), edit.others.end(), [&](const auto& one) { return home(one.first); });
    };
    // A new GPS directory and a new IPTC block begin with their versions.
    if (any(IsGps) && page->comments.count(kCommentGPSVersionID) == 0) {
      page->comments[kCommentGPSVersionID] = {2, 2, 0, 0};
    }
    if (any(IsIptc)) {
      page->comments[kCommentRecordVersion] = {0, 2};
    }
    for (const auto& [comment, value] : edit.others) {
      page->comments[comment] = value;
    }
    for (const auto& [comment, value] : edit.exif) {
      if (page->hasExif) {
        page->comments[comment] = value;
      }
    }
  }

  void SetKeys(uint32_t number) {
    std::vector<std::pair<uint32_t, Key>> set;
    for (uint32_t i = 1 + random_.Below(4); i > 0; --i) {
      const uint32_t count = 1 + random_.Below(4);
      Key key = {3, {}};
      if (random_.Chance(30)) {
        key = {2, Closed(Text(random_.Below(30)))};
      } else if (random_.Chance(50)) {
        key.type = 12;
        for (uint32_t n = 0; n < count; ++n) {
          const double value = random_.Next() / 7.0;
          const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
          key.bytes.insert(key.bytes.end(), bytes, bytes + sizeof value);
        }
      } else {
        key.bytes = random_.Bytes(2 * size_t{count});
      }
      set.emplace_back(1024 + random_.Below(12), std::move(key));
    }
    std::vector<TifGeoKeyItem> items(set.size());
    for (size_t i = 0; i < set.size(); ++i) {
      const Key& key = set[i].second;
      const size_t element = key.type == 12 ? 8 : key.type == 3 ? 2 : 1;
      items[i].tag = static_cast<uint16_t>(set[i].first);
      items[i].type = static_cast<uint16_t>(key.type);
      items[i].count = static_cast<uint32_t>(key.bytes.size() / element);
      items[i].data = const_cast<uint8_t*>(key.bytes.data());
      items[i].next = i + 1 < set.size() ? &items[i + 1] : nullptr;
      pages_[number].keys[set[i].first] = key;
    }
    SaveOptions options = {};
    options.pageNumber = static_cast<int32_t>(number) + 1;
    FilterSetGeoKeyRequest request = {file_.Name(), &options, items.data()};
    ASSERT_EQ(fltSetGeoKey(&request), kResultOk);
  }

  void Compact() {
    const TempFile copy;
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.flags = random_.Chance(50) ? kSaveBigEndian : 0;
    options.pageNumber = 1;
    FilterCompactRequest request = {};
    request.sourceName = file_.Name();
    request.destinationName = copy.Name();
    request.destinationOptions = &options;
    ASSERT_EQ(fltCompact(&request), kResultOk);
    file_.Write(copy.Read());
  }

  static int32_t TakeKey(uint32_t id, uint32_t type, uint32_t count, const void* value, intptr_t keys) {
    const size_t bytes = count * size_t{type == 12 ? 8u : type == 3 ? 2u : 1u};
    const auto* first = static_cast<const uint8_t*>(value);
    (*reinterpret_cast<Keys*>(keys))[id] = {type, FileBytes(first, first + bytes)};
    return 1;
  }

  void ExpectPage(uint32_t number) {
    SCOPED_TRACE("looking at page " + std::to_string(number + 1));
    FileOptions options = {};
    options.pageNumber = static_cast<int32_t>(number) + 1;
    Keys keys;
    FilterEnumGeoKeysRequest request = {file_.Name(), 0, TakeKey, reinterpret_cast<intptr_t>(&keys), &options};
    ASSERT_EQ(fltEnumGeoKeys(&request), kResultOk);
    ASSERT_TRUE(keys == pages_[number].keys);
    for (uint32_t comment = 0; comment < kCommentCount; ++comment) {
      const bool assigned = !((comment >= 10 && comment <= 20) || (comment >= 68 && comment <= 157) ||
                              (comment >= 175 && comment <= 180));
      const auto expected = pages_[number].comments.find(comment);
      uint8_t buffer[2500];
      FilterCommentRequest get = {file_.Name(), comment, buffer, sizeof buffer, &options};
      const int32_t size = fltComment(&get);
      if (expected == pages_[number].comments.end()) {
        ASSERT_EQ(size, assigned ? 0 : kResultInvalidParameter) << "comment " << comment;
      } else {
        ASSERT_EQ(size, static_cast<int32_t>(expected->second.size())) << "comment " << comment;
        ASSERT_TRUE(std::equal(expected->second.begin(), expected->second.end(), buffer)) << "comment " << comment;
      }
    }
  }

  Random& random_;
  TempFile file_;
  std::vector<Page> pages_;
};

TEST(MetadataEdits, EveryPageHoldsWhatWasSetOnIt) {
  KernelGuard guard;
  Random random(TestSeed("metadata edits", 20260102));
  const uint32_t steps = TestSteps(kUsualSteps);
  for (uint32_t step = 0; step < steps;) {
    MetadataFile file(&random, step / kStepsOfAFile % 2 == 0 ? FileOrder::kLittle : FileOrder::kBig);
    for (uint32_t i = 0; i < kStepsOfAFile && step < steps; ++i, ++step) {
      file.Step(step);
      if (HasFatalFailure() || HasNonfatalFailure()) {
        return;
      }
    }
  }
}

} // namespace
