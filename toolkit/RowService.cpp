// The three functions of the row service, and what they keep between calls.

#include "toolkit/RowService.h"

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "toolkit/RowPlan.h"

#include <vxtif/results.h>
#include <vxtif/save.h>

namespace toolkit {
namespace {

// What `context` points to. The palette's place is part of the contract.
struct SaveContext {
  uint32_t reserved[2] = {};
  Palette palette = {};
  RowTarget target = {};
  std::vector<std::unique_ptr<RowPlan>> plans; // one a bitmap, the first that of the start
  std::vector<uint8_t> rowBuffer;
};

constexpr size_t kContextPalette = 8;
static_assert(offsetof(SaveContext, palette) == kContextPalette);

bool IsSupportedDepth(int32_t bits) {
  return (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

// Grey is an order of deep samples only. Rows of up to 8 bits are indices, whose palette may be a grey ramp: called
// grey, five of them would make one 32-bit sample of a CMYK page.
uint32_t OrderOf(const RowTarget& target) {
  constexpr uint32_t kDeepestIndex = 8;
  if (target.gray && target.bits > kDeepestIndex) {
    return kOrderGray;
  }
  return target.blueFirst ? kOrderBlueFirst : kOrderRedFirst;
}

// The description of the rows to come. A single row of pixels lets it keep the palette.
BitmapHandle* MakeDescriptor(const BitmapHandle& bitmap, const SaveContext& context) {
  const RowTarget& target = context.target;
  auto descriptor = std::make_unique<BitmapHandle>();
  if (krnBitmapCreate(descriptor.get(), kBitmapHandleSize, 1, bitmap.width, 1, static_cast<int32_t>(target.bits),
                      OrderOf(target), 0, bitmap.viewPerspective, 0, 0) != kResultOk) {
    return nullptr;
  }
  descriptor->height = bitmap.height;
  descriptor->xResolution = bitmap.xResolution;
  descriptor->yResolution = bitmap.yResolution;
  if (target.bits <= 8) {
    krnBitmapSetPalette(descriptor.get(), context.palette.data(), 1u << target.bits);
  } else if (target.gray && bitmap.bitsPerPixel == descriptor->bitsPerPixel && bitmap.order == kOrderGray) {
    descriptor->flags |= bitmap.flags & (uint32_t{kBitmapSigned} | uint32_t{kBitmapHasLookupTable});
    descriptor->lowBit = bitmap.lowBit;
    descriptor->highBit = bitmap.highBit;
    descriptor->lowBit2 = bitmap.lowBit2;
    descriptor->highBit2 = bitmap.highBit2;
    descriptor->minValue = bitmap.minValue;
    descriptor->maxValue = bitmap.maxValue;
    descriptor->lookupTable = bitmap.lookupTable; // stays the bitmap's
    descriptor->lookupTableLength = bitmap.lookupTableLength;
  }
  return descriptor.release();
}

RowPlan* PlanFor(SaveContext& context, const BitmapHandle* bitmap) {
  for (const std::unique_ptr<RowPlan>& plan : context.plans) {
    if (plan->Bitmap() == bitmap) {
      return plan.get();
    }
  }
  const bool first = context.plans.empty();
  context.plans.push_back(std::make_unique<RowPlan>(bitmap, context.target, context.palette, first));
  return context.plans.back().get();
}

int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bits, uint32_t flags, void** rowBufferOut,
              void** contextOut) {
  constexpr uint32_t kGrayFlags = uint32_t{kSaveRequestGray} | uint32_t{kSaveRequestGrayRows};
  auto context = std::make_unique<SaveContext>();
  context->target.bits = static_cast<uint32_t>(bits);
  context->target.gray = (flags & kGrayFlags) != 0 || bitmap->order == kOrderGray;
  context->target.blueFirst = (flags & kSaveRequestBlueFirst) != 0;
  if (!PlanFor(*context, bitmap)->IsUsable()) {
    return kResultDepthNotSupported;
  }
  if (rowBufferOut != nullptr) {
    // A spare word behind the row, as in the bitmaps' own rows.
    context->rowBuffer.resize((static_cast<size_t>(bitmap->width) * context->target.bits + 31) / 32 * 4 + 4);
  }
  *descriptor = MakeDescriptor(*bitmap, *context);
  if (*descriptor == nullptr) {
    return kResultNoMemory;
  }
  if (rowBufferOut != nullptr) {
    *rowBufferOut = context->rowBuffer.data();
  }
  *contextOut = context.release();
  return kResultOk;
}

} // namespace

// No exception may pass into the library.
int32_t saveStart(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                  void** rowBufferOut, int32_t, intptr_t, intptr_t, void** context) {
  if (bitmap == nullptr || descriptor == nullptr || flags == nullptr || context == nullptr) {
    return kResultInvalidParameter;
  }
  *descriptor = nullptr;
  *context = nullptr;
  if (!IsSupportedDepth(bitsPerPixel)) {
    return kResultDepthNotSupported;
  }
  if (krnBitmapPixels(bitmap) == nullptr || bitmap->width < 1 || bitmap->height < 1) {
    return kResultNoBitmap;
  }
  try {
    return Start(bitmap, descriptor, bitsPerPixel, *flags, rowBufferOut, context);
  } catch (const std::exception&) {
    return kResultNoMemory;
  }
}

int32_t saveGetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t, uint32_t,
                   intptr_t extra1, intptr_t, void* context) {
  if (bitmap == nullptr || descriptor == nullptr || rowBuffer == nullptr || context == nullptr) {
    return kResultInvalidParameter;
  }
  // A row of another width would not fit the caller's buffer.
  if (bitmap->width != descriptor->width) {
    return kResultBitmapMismatch;
  }
  try {
    if (const auto* watcher = reinterpret_cast<const RowWatcher*>(extra1); watcher != nullptr) {
      (*watcher)(rowIndex, bitmap->height);
    }
    RowPlan* plan = PlanFor(*static_cast<SaveContext*>(context), bitmap);
    return plan->IsUsable() && plan->Convert(rowIndex, static_cast<uint8_t*>(rowBuffer)) ? kResultOk : kResultRefused;
  } catch (const std::exception&) {
    return kResultNoMemory;
  }
}

int32_t saveEnd(BitmapHandle*, BitmapHandle** descriptor, uint32_t*, int32_t, void** context) {
  if (descriptor != nullptr && *descriptor != nullptr) {
    krnBitmapFree(*descriptor);
    delete *descriptor;
    *descriptor = nullptr;
  }
  if (context != nullptr && *context != nullptr) {
    delete static_cast<SaveContext*>(*context);
    *context = nullptr;
  }
  return kResultOk;
}

} // namespace toolkit
