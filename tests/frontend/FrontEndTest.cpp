// The exported boundary: what each public name does before it hands over to its twin, and what the entry point keeps.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <set>

#include <vxtif/vxtif.h>

#include "Tif/EntryPoint.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

struct PublicName {
  const char* name;
  std::function<int32_t()> callWithNull;
};

const PublicName kPublicNames[] = {
    {"fltComment", [] { return fltComment(nullptr); }},
    {"fltCompact", [] { return fltCompact(nullptr); }},
    {"fltDeletePage", [] { return fltDeletePage(nullptr); }},
    {"fltEnumGeoKeys", [] { return fltEnumGeoKeys(nullptr); }},
    {"fltGetStamp", [] { return fltGetStamp(nullptr); }},
    {"fltGetTag", [] { return fltGetTag(nullptr); }},
    {"fltInfo", [] { return fltInfo(nullptr); }},
    {"fltLoad", [] { return fltLoad(nullptr); }},
    {"fltLoadCMYKArray", [] { return fltLoadCMYKArray(nullptr); }},
    {"fltSave", [] { return fltSave(nullptr); }},
    {"fltSaveCMYKArray", [] { return fltSaveCMYKArray(nullptr); }},
    {"fltSaveData", [] { return fltSaveData(nullptr); }},
    {"fltSetComment", [] { return fltSetComment(nullptr); }},
    {"fltSetGeoKey", [] { return fltSetGeoKey(nullptr); }},
    {"fltSetTag", [] { return fltSetTag(nullptr); }},
    {"fltStartSaveData", [] { return fltStartSaveData(nullptr); }},
    {"fltStopSaveData", [] { return fltStopSaveData(nullptr); }},
};

std::map<int, std::string> Exports() {
  std::map<int, std::string> exports;
  std::ifstream list(EXPORTS_LIST);
  for (std::string line; std::getline(list, line);) {
    if (!line.empty() && line[0] != '#') {
      const size_t blank = line.find(' ');
      exports[std::stoi(line)] = line.substr(blank + 1);
    }
  }
  return exports;
}

} // namespace

TEST(PublicNames, ANullRequestIsMinusThirteenWithNoFileOpened) {
  KernelGuard guard;
  EXPECT_EQ(std::size(kPublicNames), 17u);
  for (const PublicName& name : kPublicNames) {
    CallCounter calls;
    EXPECT_EQ(name.callWithNull(), kResultInvalidParameter) << name.name;
    EXPECT_EQ(calls.Since().opens + calls.Since().allocations, 0u) << name.name;
  }
}

TEST(PublicNames, AllButOneHaveTheirTwinBesideThem) {
  std::set<std::string> names;
  for (const auto& [ordinal, name] : Exports()) {
    names.insert(name);
  }
  for (const PublicName& name : kPublicNames) {
    EXPECT_TRUE(names.contains(name.name)) << name.name;
    EXPECT_EQ(names.contains(std::string(name.name) + "TIF"), std::string_view(name.name) != "fltCompact");
  }
}

TEST(Exports, AreFortyOneAndLeaveOrdinals9And10Empty) {
  const std::map<int, std::string> exports = Exports();
  EXPECT_EQ(exports.size(), 41u);
  for (int ordinal = 1; ordinal <= 43; ++ordinal) {
    EXPECT_EQ(exports.contains(ordinal), ordinal != 9 && ordinal != 10) << ordinal;
  }
  EXPECT_EQ(exports.at(1), "Vx_CloseTIF");
  EXPECT_EQ(exports.at(8), "TIFInitBitmap");
  EXPECT_EQ(exports.at(24), "fltLoad");
  EXPECT_EQ(exports.at(27), "fltLoadTIF");
  EXPECT_EQ(exports.at(28), "fltSave");
  EXPECT_EQ(exports.at(33), "fltSaveTIF");
  EXPECT_EQ(exports.at(43), "fltStopSaveDataTIF");
}

TEST(CommentIndexes, OutsideTheAllowedRangesTheFileIsNotTouched) {
  TempFile missing;
  struct Case {
    uint32_t index;
    bool allowed;
  };
  constexpr Case kCases[] = {
      {0, true},    {9, true},    {10, false},  {20, false},         {21, true},          {67, true},  {68, false},
      {157, false}, {158, true},  {174, true},  {175, false},        {180, false},        {181, true}, {245, true},
      {246, true},  {247, false}, {248, false}, {0x7FFFFFFF, false}, {0xFFFFFFFF, false},
  };
  for (const Case& test : kCases) {
    FilterCommentRequest request{};
    request.fileName = missing.Name();
    request.comment = test.index;
    CallCounter calls;
    EXPECT_EQ(fltComment(&request), test.allowed ? kResultOpenFailed : kResultInvalidParameter) << test.index;
    EXPECT_EQ(calls.Since().opens, test.allowed ? 1u : 0u) << test.index;
  }
}

TEST(TagRequests, HaveNoSuchTestAndGoOnToOpenTheFile) {
  TempFile missing;
  for (uint32_t tag : {0u, 10u, 65535u, 0xFFFFFFFFu}) {
    FilterGetTagRequest request{};
    request.fileName = missing.Name();
    request.tag = tag;
    EXPECT_EQ(fltGetTag(&request), kResultOpenFailed) << tag;
  }
}

TEST(ReadingByName, AFileThatCannotBeOpenedIsMinusTen) {
  KernelGuard guard;
  TempFile missing;
  FilterLoadRequest load{};
  load.fileName = missing.Name();
  EXPECT_EQ(fltLoad(&load), kResultOpenFailed);
  FilterEnumGeoKeysRequest keys{};
  keys.fileName = missing.Name();
  EXPECT_EQ(fltEnumGeoKeys(&keys), kResultOpenFailed);
  FilterDeletePageRequest page{};
  page.fileName = missing.Name();
  EXPECT_EQ(fltDeletePage(&page), kResultOpenFailed);
  EXPECT_FALSE(missing.Exists());
}

TEST(EntryPoint, KeepsTheHandleFromAttachToDetachAndIgnoresThreads) {
  const void* before = TIFModuleInstance();
  EXPECT_NE(before, nullptr) << "attached when the program was loaded";
  const int module = 0;
  EXPECT_EQ(TIFEntryPoint(&module, kProcessAttach), 1);
  EXPECT_EQ(TIFModuleInstance(), &module);
  EXPECT_EQ(TIFEntryPoint(nullptr, kThreadAttach), 1);
  EXPECT_EQ(TIFEntryPoint(nullptr, kThreadDetach), 1);
  EXPECT_EQ(TIFModuleInstance(), &module);
  EXPECT_EQ(TIFEntryPoint(&module, kProcessDetach), 1);
  EXPECT_EQ(TIFModuleInstance(), nullptr);
  TIFEntryPoint(before, kProcessAttach);
}
