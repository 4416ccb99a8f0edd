// What a fuzz target is: a function that takes one input, where its first inputs come from, and how inputs are changed.
// The table is walked by the libFuzzer programs (FuzzEntry.cpp), one each, and by the replay of the normal test run
// (FuzzReplay.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/TiffBuilder.h"

// Changes `size` bytes in a buffer of `room`; gives the new size. libFuzzer brings the plain one.
using PlainMutation = size_t (*)(uint8_t* data, size_t size, size_t room);
using InputMutation = size_t (*)(uint8_t* data, size_t size, size_t room, uint32_t seed, PlainMutation plain);

struct FuzzTarget {
  const char* name;
  void (*run)(std::span<const uint8_t> input);
  std::vector<FileBytes> (*seeds)();
  InputMutation mutate; // null: plain mutation alone
};

extern const FuzzTarget kFuzzInfo;
extern const FuzzTarget kFuzzLoad;
extern const FuzzTarget kFuzzDirectories;
extern const FuzzTarget kFuzzEdits;
extern const FuzzTarget kFuzzSequences;
extern const FuzzTarget kFuzzCompaction;
extern const FuzzTarget kFuzzLzw;
extern const FuzzTarget kFuzzPackBits;
extern const FuzzTarget kFuzzFax;

inline constexpr const FuzzTarget* kFuzzTargets[] = {&kFuzzInfo,  &kFuzzLoad,      &kFuzzDirectories,
                                                     &kFuzzEdits, &kFuzzSequences, &kFuzzCompaction,
                                                     &kFuzzLzw,   &kFuzzPackBits,  &kFuzzFax};

// One input through a target, under the limits of a careful host. Ends the process with a line that says why when the
// target leaves a block allocated or a handle open, or takes longer than its input may.
void RunFuzzInput(const FuzzTarget& target, std::span<const uint8_t> input);

// Ends the process with a line: for things that must hold whatever the input is.
[[noreturn]] void FailFuzzInput(const char* what);
