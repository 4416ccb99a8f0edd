// Planes of a CMYK page and the row service over them, as a host has them; every call is counted and can be refused.
#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/save.h>

#include "support/TempFile.h"

// `count` bitmaps of 8 or 16 bits; sample (plane, x, y) is SampleAt.
class PlaneSource {
public:
  PlaneSource(uint32_t count, int32_t width, int32_t height, int32_t bits) : bits_(bits) {
    for (uint32_t plane = 0; plane < count; ++plane) {
      bitmaps_.push_back(std::make_unique<BitmapHandle>());
      krnBitmapInit(bitmaps_.back().get(), kBitmapHandleSize, width, height, bits);
      bitmaps_.back()->viewPerspective = 1;
      pointers_.push_back(bitmaps_.back().get());
    }
    krnBitmapInit(&descriptor_, kBitmapHandleSize, width, height, bits);
    descriptor_.order = bits == 16 ? kOrderGray : kOrderRedFirst; // rows of 8 bits are indices of a grey palette
    current = this;
  }
  ~PlaneSource() { current = nullptr; }
  PlaneSource(const PlaneSource&) = delete;
  PlaneSource& operator=(const PlaneSource&) = delete;

  void Fill(FilterSaveCMYKRequest* request) {
    request->bitmaps = pointers_.data();
    request->planeCount = static_cast<uint32_t>(pointers_.size());
    request->bitsPerPlane = bits_;
    request->extra1 = 111;
    request->extra2 = 222;
    request->saveStart = Start;
    request->saveGetRow = GetRow;
    request->saveEnd = End;
  }
  BitmapHandle& Plane(size_t i) { return *bitmaps_.at(i); }
  BitmapHandle** Pointers() { return pointers_.data(); }
  BitmapHandle& Descriptor() { return descriptor_; }

  static uint32_t SampleAt(size_t plane, int32_t x, int32_t y, int32_t bits) {
    const auto value = static_cast<uint32_t>(plane * 50 + static_cast<size_t>(x) * 3 + static_cast<size_t>(y) * 7);
    return bits == 16 ? (value * 257 + plane) & 0xFFFF : value & 0xFF;
  }

  int32_t startResult = 1;
  int32_t pixelsDelivered = -1; // -1: the descriptor's width
  int rowsUntilRefusal = -1;    // -1: never
  int32_t refusal = 0;
  int starts = 0, rows = 0, ends = 0;
  int32_t bitsAsked = 0;
  uint32_t flagsAtStart = 0;
  uint32_t flagsToLeave = 0; // ORed in by the start
  uint32_t flagsOfRow = 0;

private:
  static inline PlaneSource* current = nullptr;

  static int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                       void** rowBufferOut, int32_t, intptr_t extra1, intptr_t extra2, void** context) {
    current->starts += 1;
    current->bitsAsked = bitsPerPixel;
    current->flagsAtStart = *flags;
    *flags |= current->flagsToLeave;
    EXPECT_EQ(bitmap, current->pointers_[0]);
    EXPECT_EQ(rowBufferOut, nullptr);
    EXPECT_EQ(extra1, 111);
    EXPECT_EQ(extra2, 222);
    *descriptor = &current->descriptor_;
    *context = current->context_;
    return current->startResult;
  }
  static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                        uint32_t flags, intptr_t extra1, intptr_t extra2, void* context) {
    EXPECT_EQ(one, 1);
    EXPECT_EQ(extra1, 111);
    EXPECT_EQ(extra2, 222);
    EXPECT_EQ(context, current->context_);
    EXPECT_EQ(descriptor, &current->descriptor_);
    current->flagsOfRow = flags;
    if (current->rows++ == current->rowsUntilRefusal) {
      return current->refusal;
    }
    size_t plane = 0;
    while (plane < current->pointers_.size() && current->pointers_[plane] != bitmap) {
      ++plane;
    }
    EXPECT_LT(plane, current->pointers_.size());
    const auto size = static_cast<size_t>(current->bits_ / 8);
    auto* const out = static_cast<uint8_t*>(rowBuffer);
    const int32_t pixels = current->pixelsDelivered >= 0 ? current->pixelsDelivered : int32_t{descriptor->width};
    for (int32_t x = 0; x < pixels; ++x) {
      const uint32_t sample = SampleAt(plane, x, rowIndex, current->bits_);
      std::memcpy(out + static_cast<size_t>(x) * size, &sample, size);
    }
    return 1;
  }
  static int32_t End(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t*, int32_t zero, void** context) {
    EXPECT_EQ(bitmap, current->pointers_[0]);
    EXPECT_EQ(*descriptor, &current->descriptor_);
    EXPECT_EQ(zero, 0);
    EXPECT_EQ(*context, current->context_);
    current->ends += 1;
    return -1; // not looked at
  }

  int32_t bits_;
  std::vector<std::unique_ptr<BitmapHandle>> bitmaps_;
  std::vector<BitmapHandle*> pointers_;
  BitmapHandle descriptor_ = {};
  uint8_t context_[16 + 4 * 256] = {};
};
