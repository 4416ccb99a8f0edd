// What a test and its stand-in for a sibling library tell each other, in the bytes of the report that belong to the
// toolkit's file layer.
#pragma once

#include <vxtif/info.h>

enum FakeMailbox {
  kFakeCalls = 0,       // number of calls so far
  kFakeRows = 1,        // rows in the order of their calls
  kFakeResults = 64,    // by row: what its fltInfo gives, as a signed byte
  kFakeFirstByte = 100, // of the stream that it is given
  kFakeStreamSize = 101,
  kFakePageNumber = 102,
};
