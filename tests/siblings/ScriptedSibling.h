// What a scripted sibling library does when one of its entry points is called, and what it saw. The library owns one
// script; a test reaches it through the exported function siblingScript.
#pragma once

#include <cstdint>

#include <vxkernel/files.h>
#include <vxtif/load.h>
#include <vxtif/save.h>

enum class SiblingAct { kOpen, kSeek, kRead, kWrite, kClose, kCallback };

enum { kSiblingStepBytes = 64, kSiblingMostSteps = 24 };

struct SiblingStep {
  SiblingAct act;
  int32_t offset;   // seek
  uint32_t whence;  // seek
  uint32_t bytes;   // read, write
  const char* text; // bytes to write, at least so many
  int64_t result;   // what the kernel's call, or the callback, gave
  uint8_t data[kSiblingStepBytes];
};

struct SiblingScript {
  // Set by the test.
  int32_t result;             // of the entry point
  const char16_t* nameToOpen; // null: the request's name, where it has one
  uint32_t stepCount;         // without an open step, calls go to the handle that the last open gave
  SiblingStep steps[kSiblingMostSteps];
  int32_t (*callback)(VxFileHandle handle, void* request, void* data);
  void* callbackData;
  uint32_t viewToLeave; // set in the bitmap of a save; 0: none

  // Seen by the library, at the begin of its last call.
  uint32_t calls;
  char entryPoint[8];
  void* request;
  BitmapHandle* bitmap;
  BitmapHandle bitmapCopy;
  TifRowSink rowCallback;
  intptr_t rowCallbackData;
  int32_t pageNumber;
  uint32_t optionFlags;
  int32_t fileFormat;
};
