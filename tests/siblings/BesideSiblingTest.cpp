// Siblings are found beside the built library, wherever that stands, without any folder of the host's: copies of it are
// loaded from folders with and without a sibling.

#include <filesystem>
#include <random>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "support/TempFile.h"
#include "support/TiffBuilder.h"

namespace {

namespace fs = std::filesystem;

// A folder with a copy of the library, which is loaded until the end of the scope.
class LibraryFolder {
public:
  explicit LibraryFolder(bool withSibling)
      : folder_(fs::temp_directory_path() / ("vxtif-beside-" + std::to_string(std::random_device{}()))) {
    fs::create_directory(folder_);
    fs::copy_file(VXTIF_LIBRARY, folder_ / "libvxtif-copy.so");
    if (withSibling) {
      fs::copy_file(fs::path(SIBLING_FOLDER) / "libvxvector.so", folder_ / "libvxvector.so");
    }
    library_ = dlopen((folder_ / "libvxtif-copy.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library_, nullptr) << dlerror();
  }
  ~LibraryFolder() {
    if (library_ != nullptr) {
      dlclose(library_);
    }
    fs::remove_all(folder_);
  }
  LibraryFolder(const LibraryFolder&) = delete;
  LibraryFolder& operator=(const LibraryFolder&) = delete;

  int32_t Load(FilterLoadRequest* request) {
    auto load = reinterpret_cast<int32_t (*)(FilterLoadRequest*)>(dlsym(library_, "fltLoad"));
    return load(request);
  }

private:
  fs::path folder_;
  void* library_;
};

int32_t LoadVectorPage(LibraryFolder& library) {
  TiffBuilder builder;
  builder.AddPage(GrayPage(2, 2).Remove(259).Short(259, {34710}).Sort());
  const TempFile file(builder.Build());
  FileOptions options = {};
  FileInfoRecord info = {};
  FilterLoadRequest request = {};
  request.fileName = file.Name();
  request.fileInfo = &info;
  request.fileOptions = &options;
  return library.Load(&request);
}

} // namespace

TEST(BesideSibling, IsFoundInTheFolderOfTheLibrary) {
  krnAddLibraryFolder(nullptr);
  LibraryFolder without(false);
  LibraryFolder with(true);
  EXPECT_EQ(LoadVectorPage(without), -309);
  EXPECT_EQ(LoadVectorPage(with), 0) << "the result of a sibling without a script";
  EXPECT_EQ(LoadVectorPage(without), -309) << "each copy has rows of its own";
}

TEST(BesideSibling, TheWorkingFolderIsNotLookedIn) {
  krnAddLibraryFolder(nullptr);
  const fs::path before = fs::current_path();
  fs::current_path(SIBLING_FOLDER);
  LibraryFolder without(false);
  EXPECT_EQ(LoadVectorPage(without), -309);
  fs::current_path(before);
}
