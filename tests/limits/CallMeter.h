// Measures calls of the library one by one: processor time and peak memory against the bounds that hold for every file.
//
// A file that is done with within the bounds is one that a host can open unseen: 0.1 seconds for a file of up to 1 KiB,
// 10 seconds for any other, and 256 MiB, all beyond what the pixels of the page and the bytes of the file need by
// themselves. Processor time is measured, so that a busy machine changes nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct CallFigures {
  std::string call;
  int32_t result = 0;
  double seconds = 0;     // of the processor
  uint64_t peakBytes = 0; // kernel memory above what was live before
  double allowedSeconds = 0;
  uint64_t allowedBytes = 0;
};

// What a call may honestly work on.
struct HonestWork {
  uint64_t pixelBytes = 0; // decoded page
  uint64_t fileBytes = 0;  // bytes of the file that the call hands over or copies
};

// Whether the runs that take minutes, or gibibytes of disk, are wanted too: VX_TEST_ALL.
bool RunsAll();

class CallMeter {
public:
  CallMeter(std::string fileName, uint64_t fileBytes);

  // Runs and measures; a breach of a bound, a leak or an open handle fails the test.
  int32_t Run(const std::string& call, const HonestWork& work, const std::function<int32_t()>& operation);

  const std::vector<CallFigures>& Calls() const { return calls_; }
  void PrintRow() const; // the slowest call and the one with the highest peak

  static void PrintHead();
  static double SlowdownAllowed(); // of this build against an optimised one

private:
  std::string fileName_;
  uint64_t fileBytes_;
  std::vector<CallFigures> calls_;
};
