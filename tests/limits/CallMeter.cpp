#include "limits/CallMeter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>
#include <vxkernel/limits.h>

namespace {

constexpr uint64_t kMiB = 1 << 20;
constexpr uint64_t kSmallFileBytes = 1024;
constexpr double kSmallFileSeconds = 0.1;
constexpr double kMostSeconds = 10;
constexpr uint64_t kMostBytes = 256 * kMiB;
// What rows cost on their way from the file to the host, whatever the compression. The slowest honest ones are faster.
constexpr double kPixelBytesPerSecond = 100e6;

#if defined(__SANITIZE_ADDRESS__)
constexpr double kSlowdown = 15; // the build is not optimised either
#else
constexpr double kSlowdown = 1;
#endif

double ProcessorSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

KrnStatistics Statistics() {
  KrnStatistics statistics = {};
  krnGetStatistics(&statistics);
  return statistics;
}

} // namespace

bool RunsAll() {
  const char* const all = std::getenv("VX_TEST_ALL");
  return all != nullptr && *all != '\0' && *all != '0';
}

CallMeter::CallMeter(std::string fileName, uint64_t fileBytes)
    : fileName_(std::move(fileName)), fileBytes_(fileBytes) {}

double CallMeter::SlowdownAllowed() {
  return kSlowdown;
}

int32_t CallMeter::Run(const std::string& call, const HonestWork& work, const std::function<int32_t()>& operation) {
  krnResetStatistics();
  const KrnStatistics before = Statistics();
  const double start = ProcessorSeconds();
  CallFigures figures;
  figures.call = call;
  figures.result = operation();
  figures.seconds = ProcessorSeconds() - start;
  const KrnStatistics after = Statistics();
  figures.peakBytes = after.peakBytes - before.liveBytes;
  const double bound = fileBytes_ <= kSmallFileBytes ? kSmallFileSeconds : kMostSeconds;
  figures.allowedSeconds = kSlowdown * (bound + static_cast<double>(work.pixelBytes) / kPixelBytesPerSecond);
  figures.allowedBytes = kMostBytes + 2 * work.pixelBytes + work.fileBytes;
  calls_.push_back(figures);
  EXPECT_LE(figures.seconds, figures.allowedSeconds) << fileName_ << ", " << call << ": result " << figures.result;
  EXPECT_LE(figures.peakBytes, figures.allowedBytes) << fileName_ << ", " << call << ": result " << figures.result;
  EXPECT_EQ(after.liveBlocks, before.liveBlocks) << fileName_ << ", " << call << ": memory is left allocated";
  EXPECT_EQ(after.openHandles, before.openHandles) << fileName_ << ", " << call << ": a file is left open";
  if (std::getenv("VX_LIMITS_ALL") != nullptr) {
    std::printf("    %-34s result %6d %9.4f s %9.2f MiB\n", call.c_str(), figures.result, figures.seconds,
                static_cast<double>(figures.peakBytes) / kMiB);
  }
  return figures.result;
}

void CallMeter::PrintHead() {
  std::printf("%-44s %10s %6s %9s  %-28s %9s  %s\n", "file", "KiB", "calls", "seconds", "slowest call", "peak MiB",
              "largest call");
}

void CallMeter::PrintRow() const {
  if (calls_.empty()) {
    return;
  }
  const auto slowest =
      std::max_element(calls_.begin(), calls_.end(), [](const CallFigures& left, const CallFigures& right) {
        return left.seconds / left.allowedSeconds < right.seconds / right.allowedSeconds;
      });
  const auto largest =
      std::max_element(calls_.begin(), calls_.end(), [](const CallFigures& left, const CallFigures& right) {
        return left.peakBytes < right.peakBytes;
      });
  std::printf("%-44s %10.1f %6zu %9.4f  %-28s %9.2f  %s\n", fileName_.c_str(), static_cast<double>(fileBytes_) / 1024,
              calls_.size(), slowest->seconds, slowest->call.c_str(), static_cast<double>(largest->peakBytes) / kMiB,
              largest->call.c_str());
  std::fflush(stdout);
}
