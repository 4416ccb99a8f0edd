// Region mapping: a rectangle in the upright view of a page becomes one in the file's rows and columns, by the page's
// orientation (TIFF tag 274). The load driver uses it for the row bands of uncompressed pages.

#include "Tif/RegionMapping.h"

#include "tif_com/Saturate.h"

namespace {

// The caller's numbers may be anything, so the turns are made in a type that holds all of them.
struct WideRect {
  int64_t left;
  int64_t top;
  int64_t right;
  int64_t bottom;
};

WideRect FlipX(WideRect r, int64_t width) {
  return {width - r.right, r.top, width - r.left, r.bottom};
}

WideRect FlipY(WideRect r, int64_t height) {
  return {r.left, height - r.bottom, r.right, height - r.top};
}

WideRect TurnLeft(WideRect r, int64_t width) {
  return {r.top, width - r.right, r.bottom, width - r.left};
}

WideRect TurnRight(WideRect r, int64_t height) {
  return {height - r.bottom, r.left, height - r.top, r.right};
}

WideRect Orient(WideRect r, int64_t width, int64_t height, uint32_t orientation) {
  switch (orientation) {
  case 2:
    return FlipX(r, width);
  case 3:
    return FlipX(FlipY(r, height), width);
  case 4:
    return FlipY(r, height);
  case 5:
    return FlipY(TurnLeft(r, width), width); // the turned view is as high as the upright one is wide
  case 6:
    return TurnRight(r, height);
  case 7:
    return FlipY(TurnRight(r, height), width);
  case 8:
    return TurnLeft(r, width);
  default:
    return r;
  }
}

} // namespace

TifRect TIFViewRegion(int32_t left, int32_t top, int32_t width, int32_t height) {
  return {left, top, TIFSaturateI32(int64_t{left} + width), TIFSaturateI32(int64_t{top} + height)};
}

void TIFOrientRect(int32_t width, int32_t height, uint32_t orientation, TifRect* rect) {
  const WideRect turned = Orient({rect->left, rect->top, rect->right, rect->bottom}, width, height, orientation);
  *rect = {TIFSaturateI32(turned.left), TIFSaturateI32(turned.top), TIFSaturateI32(turned.right),
           TIFSaturateI32(turned.bottom)};
}
