// Random sequences of edits on files of several pages. After every step the chain is sound, pages hold what was put
// into them, and pages that the step does not name keep all their bytes but for the values of tags 254 and 297.

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "properties/Seed.h"
#include "save/SaveFixture.h"
#include "support/ChainWalk.h"
#include "support/KernelGuard.h"

namespace {

#ifdef VX_FEWER_STEPS
constexpr uint32_t kSteps = 1500;
#else
constexpr uint32_t kSteps = 10000;
#endif
constexpr uint32_t kStepsOfAFile = 50;
constexpr uint32_t kMostPages = 8;

// What a page should hold.
struct ExpectedPage {
  uint32_t width = 0;
  uint32_t height = 0;
  FileBytes lasting;                 // all its bytes, since it was last named
  std::map<uint16_t, FileBytes> set; // tags set since, values in host order
};

enum class Edit { kAppend, kInsert, kReplace, kDelete, kSetTag, kSetComment, kSetGeoKey };
constexpr const char* kEditNames[] = {"append", "insert", "replace", "delete", "set tag", "set comment", "set geo key"};

class EditedFile {
public:
  EditedFile(Random* random, FileOrder order) : random_(*random), order_(order) {}

  void Step(uint32_t number) {
    const Edit edit = pages_.empty() ? Edit::kAppend : static_cast<Edit>(random_.Below(7));
    const auto count = static_cast<uint32_t>(pages_.size());
    const uint32_t page = count == 0 ? 0 : random_.Below(count); // counted from 0
    SCOPED_TRACE("step " + std::to_string(number) + ", " + kEditNames[static_cast<int>(edit)] + " " +
                 std::to_string(page + 1) + " of " + std::to_string(count) +
                 (order_ == FileOrder::kBig ? ", big-endian" : ", little-endian"));
    switch (edit) {
    case Edit::kAppend:
    case Edit::kInsert:
    case Edit::kReplace:
      Save(count >= kMostPages ? Edit::kReplace : edit, page);
      break;
    case Edit::kDelete:
      Delete(page);
      break;
    case Edit::kSetTag:
      SetTag(page);
      break;
    case Edit::kSetComment:
      SetComment(page);
      break;
    case Edit::kSetGeoKey:
      SetGeoKey(page);
      break;
    }
  }

private:
  void Save(Edit edit, uint32_t page) {
    constexpr int32_t kFormats[] = {kFormatUncompressed, kFormatLzw, kFormatPackBits};
    constexpr int32_t kDepths[] = {8, 24, 32};
    const int32_t bits = kDepths[random_.Below(3)];
    const auto width = static_cast<int32_t>(1 + random_.Below(40));
    const auto height = static_cast<int32_t>(1 + random_.Below(20));
    std::vector<FileBytes> rows;
    for (int32_t y = 0; y < height; ++y) {
      const bool flat = random_.Chance(50);
      const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(bits) / 8;
      rows.push_back(flat ? FileBytes(bytes, static_cast<uint8_t>(y)) : random_.Bytes(bytes));
    }
    RowService service(width, height, bits, rows);
    service.palette.resize(256);
    SaveJob job(kFormats[random_.Below(3)], bits, &service, file_.Name());
    job.options.pageNumber = static_cast<int32_t>(page) + 1;
    job.options.flags = (order_ == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u) |
                        (edit == Edit::kInsert    ? uint32_t{kSaveInsertPage}
                         : edit == Edit::kReplace ? uint32_t{kSaveReplacePage}
                                                  : 0u) |
                        (random_.Chance(30) ? kSavePredictor : 0u);
    if (random_.Chance(30)) {
      job.options.flags |= kSaveTiles;
      job.options.tileWidth = job.options.tileHeight = 16;
    }
    job.request.flags = edit == Edit::kAppend && !pages_.empty() ? uint32_t{kSaveRequestAppend} : 0u;
    ASSERT_EQ(job.Run(), kResultOk);
    ExpectedPage expected;
    expected.width = static_cast<uint32_t>(width);
    expected.height = static_cast<uint32_t>(height);
    uint32_t at = page;
    if (edit == Edit::kReplace) {
      pages_[page] = expected;
    } else {
      at = edit == Edit::kInsert ? page : static_cast<uint32_t>(pages_.size());
      pages_.insert(pages_.begin() + at, expected);
    }
    Check(static_cast<int32_t>(at));
    CheckPixels(at, bits, Join(rows));
  }

  void Delete(uint32_t page) {
    const FileBytes before = file_.Read();
    SaveOptions options = {};
    options.structSize = sizeof options;
    FilterDeletePageRequest request = {file_.Name(), page + 1, 0, &options};
    const int32_t result = fltDeletePage(&request);
    if (pages_.size() == 1) {
      ASSERT_EQ(result, kResultOnlyPage);
      ASSERT_EQ(file_.Read(), before);
      return;
    }
    ASSERT_EQ(result, kResultOk);
    ASSERT_EQ(file_.Read().size(), before.size());
    pages_.erase(pages_.begin() + page);
    Check(-1);
  }

  SaveOptions OptionsFor(uint32_t page) {
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.pageNumber = static_cast<int32_t>(page) + 1;
    return options;
  }

  void SetTag(uint32_t page) {
    const auto tag = static_cast<uint16_t>(40000 + random_.Below(4));
    constexpr uint16_t kTypes[] = {kTypeByte, kTypeShort, kTypeLong, kTypeDouble};
    constexpr uint32_t kBytes[] = {1, 2, 4, 8};
    const uint32_t kind = random_.Below(4);
    const uint32_t count = 1 + random_.Below(random_.Chance(50) ? 3 : 20);
    FileBytes value = random_.Bytes(size_t{count} * kBytes[kind]);
    FileBytes given = value;
    TifTagItem item = {tag, kTypes[kind], count, given.data(), nullptr};
    SaveOptions options = OptionsFor(page);
    FilterSetTagRequest request = {file_.Name(), &item, nullptr, &options};
    ASSERT_EQ(fltSetTag(&request), kResultOk);
    EXPECT_EQ(given, value) << "the caller's value came back changed";
    if (order_ == FileOrder::kBig) {
      for (size_t i = 0; i < value.size(); i += kBytes[kind]) {
        std::reverse(value.begin() + static_cast<std::ptrdiff_t>(i),
                     value.begin() + static_cast<std::ptrdiff_t>(i + kBytes[kind]));
      }
    }
    pages_[page].set[tag] = value;
    Check(static_cast<int32_t>(page));
  }

  void SetComment(uint32_t page) {
    constexpr uint32_t kArtist = 0;
    constexpr uint32_t kDescription = 3;
    const bool artist = random_.Chance(50);
    std::string text(1 + random_.Below(30), 'a');
    for (char& letter : text) {
      letter = static_cast<char>('a' + random_.Below(26));
    }
    std::string buffer = text + std::string(2, '\0');
    TifCommentBlock comments = {};
    comments.slots[artist ? kArtist : kDescription] = {buffer.data(), static_cast<uint32_t>(text.size())};
    SaveOptions options = OptionsFor(page);
    FilterSetCommentRequest request = {file_.Name(), 0, &options, &comments, nullptr};
    ASSERT_EQ(fltSetComment(&request), kResultOk);
    FileBytes value(text.begin(), text.end());
    value.push_back(0);
    pages_[page].set[artist ? 315 : 270] = value;
    Check(static_cast<int32_t>(page));
  }

  void SetGeoKey(uint32_t page) {
    auto value = static_cast<uint16_t>(random_.Next());
    TifGeoKeyItem item = {static_cast<uint16_t>(2048 + random_.Below(4)), kTypeShort, 1, &value, nullptr};
    SaveOptions options = OptionsFor(page);
    FilterSetGeoKeyRequest request = {file_.Name(), &options, &item};
    ASSERT_EQ(fltSetGeoKey(&request), kResultOk);
    Check(static_cast<int32_t>(page));
    const WalkedFile walked = WalkChain(file_.Read());
    ASSERT_LT(page, walked.pages.size());
    const WalkedPage& written = walked.pages[page];
    bool found = false;
    for (uint32_t i = 4; i + 3 < written.entries.at(34735).count; i += 4) {
      if (written.Number(34735, order_, i) == item.tag) {
        EXPECT_FALSE(found) << "the key stands there twice";
        found = true;
        EXPECT_EQ(written.Number(34735, order_, i + 1), 0u);
        EXPECT_EQ(written.Number(34735, order_, i + 3), value);
      }
    }
    EXPECT_TRUE(found);
  }

  // The whole file against what is expected. `named` is the page that the step has changed, -1 for none.
  void Check(int32_t named) {
    const FileBytes bytes = file_.Read();
    const WalkedFile walked = WalkChain(bytes);
    ASSERT_EQ(walked.fault, "");
    ASSERT_EQ(walked.order, order_);
    ASSERT_EQ(walked.pages.size(), pages_.size());
    for (uint32_t i = 0; i < pages_.size(); ++i) {
      SCOPED_TRACE("page " + std::to_string(i + 1));
      ExpectedPage& expected = pages_[i];
      const WalkedPage& page = walked.pages[i];
      FileBytes lasting = LastingBytes(bytes, page);
      if (static_cast<int32_t>(i) == named) {
        expected.lasting = std::move(lasting);
      } else {
        ASSERT_EQ(lasting, expected.lasting);
      }
      ASSERT_EQ(page.Number(256, order_), expected.width);
      ASSERT_EQ(page.Number(257, order_), expected.height);
      ASSERT_EQ(page.Number(297, order_), i) << "page number";
      ASSERT_EQ(page.Number(297, order_, 1), 0u) << "pages in all";
      if (pages_.size() > 1) {
        ASSERT_EQ(page.Number(254, order_), 2u) << "a page of several";
      }
      for (const auto& [tag, value] : expected.set) {
        const auto entry = page.entries.find(tag);
        ASSERT_NE(entry, page.entries.end()) << "tag " << tag;
        ASSERT_EQ(entry->second.value, value) << "tag " << tag;
      }
    }
  }

  // Through the library's own load: the row sink gets what the save was given. Colours go out of the row service blue
  // first or red first as the load hands them out.
  void CheckPixels(uint32_t page, int32_t bits, const FileBytes& expected) {
    const ExpectedPage& written = pages_[page];
    BitmapHandle bitmap = {};
    ASSERT_EQ(krnBitmapInit(&bitmap, kBitmapHandleSize, static_cast<int32_t>(written.width),
                            static_cast<int32_t>(written.height), bits),
              1);
    struct Sink {
      FileBytes rows;
      size_t rowBytes;
    } sink = {{}, size_t{written.width} * static_cast<size_t>(bits) / 8};
    FileOptions options = {};
    options.pageNumber = static_cast<int32_t>(page) + 1;
    FileInfoRecord info = {};
    FilterLoadRequest request = {};
    request.fileName = file_.Name();
    request.bitmap = &bitmap;
    request.fileInfo = &info;
    request.fileOptions = &options;
    request.truncationStatus = 1;
    request.rowCallbackData = reinterpret_cast<intptr_t>(&sink);
    request.rowCallback = [](FileInfoRecord*, BitmapHandle*, uint8_t* rows, uint32_t, int32_t, int32_t count,
                             intptr_t userData) -> int32_t {
      auto* keeper = reinterpret_cast<Sink*>(userData);
      keeper->rows.insert(keeper->rows.end(), rows, rows + keeper->rowBytes * static_cast<size_t>(count));
      return kResultOk;
    };
    ASSERT_EQ(fltLoad(&request), kResultOk);
    ASSERT_EQ(request.truncationStatus, 1);
    ASSERT_EQ(sink.rows, expected);
  }

  Random& random_;
  FileOrder order_;
  TempFile file_;
  std::vector<ExpectedPage> pages_;
};

TEST(EditSequence, ChainsStaySoundAndUnnamedPagesUnharmed) {
  KernelGuard guard;
  Random random(TestSeed("edit sequences", 20260101));
  for (uint32_t step = 0; step < kSteps;) {
    EditedFile file(&random, step / kStepsOfAFile % 2 == 0 ? FileOrder::kLittle : FileOrder::kBig);
    for (uint32_t i = 0; i < kStepsOfAFile && step < kSteps; ++i, ++step) {
      file.Step(step);
      if (HasFatalFailure() || HasNonfatalFailure()) {
        return;
      }
    }
  }
}

} // namespace
