// Saving of finished strip data: where the bytes come from, and what is left when they stop coming.

#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "planes/PlanePageTags.h"
#include "support/KernelGuard.h"
#include "toolkit/DataSave.h"
#include "toolkit/Failure.h"

#include <vxtif/vxtif.h>

namespace {

toolkit::DataJob SomeJob() {
  toolkit::DataJob job;
  job.compression = 7;
  job.width = 20;
  job.height = 10;
  job.bitsPerPixel = 24;
  job.resolution = 96;
  return job;
}

// `count` bytes, at most `step` of them at once.
toolkit::DataSource Bytes(size_t count, size_t step) {
  auto given = std::make_shared<size_t>(0);
  return [given, count, step](uint8_t* buffer, size_t room) {
    const size_t now = std::min({step, room, count - *given});
    for (size_t i = 0; i < now; ++i) {
      buffer[i] = static_cast<uint8_t>((*given)++ * 7);
    }
    return now;
  };
}

FileBytes Expected(size_t count) {
  FileBytes bytes;
  for (size_t i = 0; i < count; ++i) {
    bytes.push_back(static_cast<uint8_t>(i * 7));
  }
  return bytes;
}

TEST(HostData, AnySizeInAnySteps) {
  for (const size_t count : {size_t{1}, size_t{1000}, size_t{600001}}) {
    for (const size_t step : {size_t{1000}, size_t{99991}, size_t{1} << 30}) {
      const KernelGuard guard;
      const TempFile file;
      EXPECT_EQ(toolkit::SaveData(file.Path().string(), "data", SomeJob(), Bytes(count, step)), count);
      EXPECT_EQ(PageTags(file).Strips().at(0), Expected(count));
      EXPECT_EQ(PageTags(file).Value(259), 7u);
    }
  }
}

TEST(HostData, NoDataTouchNothing) {
  const KernelGuard guard;
  const TempFile file;
  for (const toolkit::Placement::Kind kind : {toolkit::Placement::Kind::kNewFile, toolkit::Placement::Kind::kAppend}) {
    toolkit::DataJob job = SomeJob();
    job.page.placement.kind = kind;
    try {
      toolkit::SaveData(file.Path().string(), "pipe", job, Bytes(0, 1));
      ADD_FAILURE() << "not refused";
    } catch (const toolkit::Failure& failure) {
      EXPECT_EQ(failure.code, kResultReadFailed);
      EXPECT_EQ(failure.file, "pipe");
    }
    EXPECT_FALSE(file.Exists());
  }
}

TEST(HostData, ASourceThatFailsLeavesNoNewFile) {
  const KernelGuard guard;
  const TempFile file;
  int calls = 0;
  const auto source = [&](uint8_t* buffer, size_t) -> size_t {
    if (++calls == 3) {
      throw std::runtime_error("the pipe broke");
    }
    std::memset(buffer, calls, 100);
    return 100;
  };
  EXPECT_THROW(toolkit::SaveData(file.Path().string(), "pipe", SomeJob(), source), std::runtime_error);
  EXPECT_FALSE(file.Exists());
  // In a file that was there the page stays, with what came.
  toolkit::SaveData(file.Path().string(), "data", SomeJob(), Bytes(10, 10));
  calls = 0;
  toolkit::DataJob job = SomeJob();
  job.page.placement.kind = toolkit::Placement::Kind::kAppend;
  EXPECT_THROW(toolkit::SaveData(file.Path().string(), "pipe", job, source), std::runtime_error);
  EXPECT_EQ(PageTags(file, 1).Value(279), 10u);
  EXPECT_EQ(PageTags(file, 2).Value(279), 200u);
}

TEST(HostData, RefusalsOfTheLibraryPassThrough) {
  const KernelGuard guard;
  const TempFile file;
  toolkit::DataJob job = SomeJob();
  job.compression = 0;
  for (const int32_t expected : {kResultFormatNotSaved, kResultInvalidParameter}) {
    try {
      toolkit::SaveData(file.Path().string(), "data", job, Bytes(10, 10));
      ADD_FAILURE() << "not refused";
    } catch (const toolkit::Failure& failure) {
      EXPECT_EQ(failure.code, expected);
    }
    EXPECT_FALSE(file.Exists());
    job.bitsPerPixel = 8; // without a palette, which is looked at first
  }
}

TEST(HostData, AFullDiskIsTold) {
  const KernelGuard guard;
  const TempFile file;
  uint64_t writes = 0;
  {
    IoFaults counting;
    toolkit::SaveData(file.Path().string(), "data", SomeJob(), Bytes(10, 10));
    writes = counting.Calls(IoCall::kWrite);
  }
  int told = 0;
  for (uint64_t nth = 1; nth <= writes; ++nth) {
    const TempFile fresh;
    IoFaults faults;
    faults.Fail(IoCall::kWrite, nth, FaultSpan::kFromThenOn);
    try {
      toolkit::SaveData(fresh.Path().string(), "data", SomeJob(), Bytes(10, 10));
    } catch (const toolkit::Failure& failure) {
      EXPECT_EQ(failure.code, kResultWriteFailed);
      EXPECT_FALSE(fresh.Exists());
      ++told;
    }
  }
  EXPECT_GT(told, 1);
}

} // namespace
