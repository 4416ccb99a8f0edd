// The loader of sibling libraries: where it looks, what it finds, and that it lets go.

#include "vxkernel/loader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

namespace fs = std::filesystem;

// The test program as a module, beside which the library vxbeside stands.
const void* Here() {
#if defined(_WIN32)
  return GetModuleHandleW(nullptr);
#else
  static const int inside = 0;
  return &inside;
#endif
}

class DllLoader : public testing::Test {
protected:
  void TearDown() override { krnAddLibraryFolder(nullptr); }
  static int32_t AddFolder(const fs::path& folder) { return krnAddLibraryFolder(folder.u16string().c_str()); }
};

int32_t Load(Vx_DllLoader& loader, const void* instance, const char* name) {
  return loader.LoadWithPath(instance, name, name, nullptr);
}

std::string NameIn(Vx_DllLoader& loader) {
  if (loader.AddFunction("LoadedName") == 0) {
    return "no function";
  }
  return reinterpret_cast<const char* (*)()>(loader.GetFunction("LoadedName"))();
}

int CountIn(Vx_DllLoader& loader) {
  loader.AddFunction("LoadedCount");
  return reinterpret_cast<int (*)()>(loader.GetFunction("LoadedCount"))();
}

TEST_F(DllLoader, ALibraryBesideTheModuleIsFoundUnderItsHomeName) {
  Vx_DllLoader loader;
  EXPECT_EQ(loader.IsLoaded(), 0);
  EXPECT_EQ(Load(loader, Here(), "VXBESIDE.DLL"), 1);
  EXPECT_EQ(loader.IsLoaded(), 1);
  EXPECT_EQ(NameIn(loader), "vxbeside");
}

TEST_F(DllLoader, AMissingLibraryIsAQuietFailureAndCanBeTriedAgain) {
  Vx_DllLoader loader;
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  EXPECT_EQ(Load(loader, Here(), "VXFOLDER.DLL"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(loader.IsLoaded(), 0);
  EXPECT_EQ(loader.AddFunction("LoadedName"), 0);
  EXPECT_EQ(AddFolder(LOADER_FOLDER), 1);
  EXPECT_EQ(Load(loader, Here(), "VXFOLDER.DLL"), 1);
  EXPECT_EQ(NameIn(loader), "vxfolder");
}

TEST_F(DllLoader, TheHostsFoldersWorkWithoutAnInstance) {
  AddFolder("/nowhere/at/all");
  AddFolder(LOADER_FOLDER);
  Vx_DllLoader loader;
  EXPECT_EQ(Load(loader, nullptr, "VXBESIDE.DLL"), 0);
  EXPECT_EQ(Load(loader, nullptr, "VXFOLDER.DLL"), 1);
}

TEST_F(DllLoader, ANameAsItStandsAndTheOtherName) {
  AddFolder(LOADER_FOLDER);
  Vx_DllLoader named, other;
  EXPECT_EQ(Load(named, nullptr, "VXNAMED.DLL"), 1);
  EXPECT_EQ(NameIn(named), "vxnamed");
  EXPECT_EQ(other.LoadWithPath(nullptr, "VXNONE.DLL", "VXFOLDER.DLL", nullptr), 1);
  EXPECT_EQ(NameIn(other), "vxfolder");
}

TEST_F(DllLoader, TheWorkingFolderIsNeverLookedIn) {
  const fs::path before = fs::current_path();
  fs::current_path(LOADER_FOLDER);
  Vx_DllLoader loader;
  EXPECT_EQ(Load(loader, Here(), "VXFOLDER.DLL"), 0);
  EXPECT_EQ(Load(loader, nullptr, "VXNAMED.DLL"), 0);
  // A relative folder is the host's own wish, and stays what it was when it was added.
  EXPECT_EQ(AddFolder("."), 1);
  fs::current_path(before);
  EXPECT_EQ(Load(loader, nullptr, "VXFOLDER.DLL"), 1);
}

TEST_F(DllLoader, NamesDontLeaveTheFolder) {
  AddFolder(fs::path(LOADER_FOLDER) / "deeper");
  Vx_DllLoader loader;
  EXPECT_EQ(Load(loader, nullptr, "../VXFOLDER.DLL"), 0);
  EXPECT_EQ(Load(loader, nullptr, LOADER_FOLDER "/libvxfolder.so"), 0);
  EXPECT_EQ(Load(loader, nullptr, ""), 0);
  EXPECT_EQ(Load(loader, nullptr, nullptr), 0);
  EXPECT_EQ(Load(loader, nullptr, std::string(5000, 'A').c_str()), 0);
}

TEST_F(DllLoader, FunctionsAreOkOnceFound) {
  Vx_DllLoader loader;
  ASSERT_EQ(Load(loader, Here(), "VXBESIDE.DLL"), 1);
  EXPECT_EQ(loader.IsFunctionOk("LoadedName"), 0); // not asked for yet
  EXPECT_EQ(loader.GetFunction("LoadedName"), nullptr);
  EXPECT_EQ(loader.AddFunction("fltInfo"), 0);
  EXPECT_EQ(loader.AddFunction("LoadedName"), 1);
  EXPECT_EQ(loader.AddFunction("LoadedCount"), 1);
  EXPECT_EQ(loader.AddFunction("LoadedName"), 1);
  EXPECT_EQ(loader.AddFunction(nullptr), 0);
  EXPECT_EQ(loader.IsLoaded(), 1);
  EXPECT_EQ(loader.IsFunctionOk("fltInfo"), 0);
  EXPECT_EQ(loader.GetFunction("fltInfo"), nullptr);
  EXPECT_EQ(loader.IsFunctionOk("LoadedName"), 1);
  EXPECT_EQ(loader.IsFunctionOk("LoadedCount"), 1);
  EXPECT_EQ(loader.IsFunctionOk(nullptr), 0);
}

TEST_F(DllLoader, TheLibraryGoesWithTheLoader) {
  for (int round = 0; round < 2; ++round) {
    Vx_DllLoader loader;
    ASSERT_EQ(Load(loader, Here(), "VXBESIDE.DLL"), 1);
    EXPECT_EQ(CountIn(loader), 1);
    EXPECT_EQ(CountIn(loader), 2);
    EXPECT_EQ(Load(loader, Here(), "VXNONE.DLL"), 1); // stays what it is
    EXPECT_EQ(CountIn(loader), 3);
  }
}

TEST_F(DllLoader, FoldersThatTheSystemCannotHave) {
  EXPECT_EQ(krnAddLibraryFolder(u""), 0);
  const char16_t lone[] = {u'/', 0xD800, 0};
  EXPECT_EQ(krnAddLibraryFolder(lone), 0);
  EXPECT_EQ(krnAddLibraryFolder(std::u16string(10000, u'a').c_str()), 0);
  EXPECT_EQ(krnAddLibraryFolder(nullptr), 1);
}

} // namespace
