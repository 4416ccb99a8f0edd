// Plane bitmaps: given a size and a number of samples, an array of bitmaps of the filter's own. The load driver reads a
// page with separate planes into them; the merge reads them row by row.

#include "Tif/Planes.h"

#include <vxtif/results.h>

#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"

namespace {

BitmapHandle* CreatePlane(PlaneSize size, bool isSigned) {
  auto* const plane = static_cast<BitmapHandle*>(TIFAllocZero(1, sizeof(BitmapHandle)));
  if (plane == nullptr) {
    return nullptr;
  }
  if (krnBitmapCreate(plane, kBitmapHandleSize, 1, size.width, size.height, TIFSaturateI32(size.bitsPerSample),
                      kOrderBlueFirst, 0, 1, 0, 0) != 1) {
    TIFFree(plane);
    return nullptr;
  }
  plane->flags = (plane->flags & ~uint32_t{kBitmapSigned}) | (isSigned ? uint32_t{kBitmapSigned} : 0);
  krnBitmapAccess(plane);
  return plane;
}

} // namespace

int32_t TIFCreatePlanes(PlaneSize size, uint32_t count, bool isSigned, BitmapHandle*** planes) {
  *planes = nullptr;
  auto** const array = static_cast<BitmapHandle**>(TIFAllocZero(count, sizeof(BitmapHandle*)));
  if (array == nullptr) {
    return kResultNoMemory;
  }
  for (uint32_t i = 0; i < count; ++i) {
    array[i] = CreatePlane(size, isSigned);
    if (array[i] == nullptr) {
      TIFFreePlanes(array, i);
      return kResultNoMemory;
    }
  }
  *planes = array;
  return kResultOk;
}

void TIFFreePlanes(BitmapHandle** planes, uint32_t count) {
  if (planes == nullptr) {
    return;
  }
  for (uint32_t i = 0; i < count; ++i) {
    krnBitmapRelease(planes[i]);
    krnBitmapFree(planes[i]);
    TIFFree(planes[i]);
  }
  TIFFree(planes);
}
