/* Describes a page, loads it, and saves it again through the public headers alone.

     roundtrip IN.tif OUT.tif

   The page is loaded as the report describes it and saved uncompressed in the same depth. The row service that feeds
   the save hands the bitmap's rows on as they are, which is all that a page of unchanged depth needs. */
#include <stdio.h>
#include <string.h>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

/* ASCII names only: enough for an example. */
static void Widen(const char* text, char16_t* out, size_t room) {
  size_t i = 0;
  for (; text[i] != 0 && i + 1 < room; ++i) {
    out[i] = (char16_t)(unsigned char)text[i];
  }
  out[i] = 0;
}

static int32_t KeepRows(struct FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                        int32_t firstRow, int32_t rowCount, intptr_t data) {
  int32_t bytes = (bitmap->width * bitmap->bitsPerPixel + 7) / 8;
  (void)info, (void)flags, (void)data;
  for (int32_t i = 0; i < rowCount; ++i) {
    if (krnBitmapPutRow(bitmap, rows + (size_t)i * (size_t)bytes, firstRow + i, bytes) != bytes) {
      return 0;
    }
  }
  return 1;
}

/* What the row service hands back as its context: the palette stands at byte 8. */
typedef struct RowContext {
  uint32_t reserved[2];
  VxColor palette[kPaletteEntries];
} RowContext;

static RowContext rowContext;

static int32_t StartRows(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                         void** rowBuffer, int32_t one, intptr_t extra1, intptr_t extra2, void** context) {
  uint32_t count = 0;
  const VxColor* palette = krnBitmapPalette(bitmap, &count);
  (void)flags, (void)rowBuffer, (void)one, (void)extra1, (void)extra2;
  if (bitsPerPixel != bitmap->bitsPerPixel) {
    return kResultDepthNotSupported;
  }
  memset(&rowContext, 0, sizeof rowContext);
  if (palette != NULL) {
    memcpy(rowContext.palette, palette, count * sizeof *palette);
  } else {
    krnDefaultPalette(rowContext.palette, bitsPerPixel);
  }
  *descriptor = bitmap;
  *context = &rowContext;
  return 1;
}

static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                      uint32_t flags, intptr_t extra1, intptr_t extra2, void* context) {
  int32_t bytes = (bitmap->width * bitmap->bitsPerPixel + 7) / 8;
  (void)descriptor, (void)one, (void)flags, (void)extra1, (void)extra2, (void)context;
  return krnBitmapGetRow(bitmap, rowBuffer, rowIndex, bytes) == bytes ? 1 : 0;
}

static int32_t EndRows(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context) {
  (void)bitmap, (void)descriptor, (void)flags, (void)zero, (void)context;
  return 1;
}

static int32_t Describe(const char16_t* name, FileOptions* options, FileInfoRecord* info) {
  FilterInfoRequest request = {.structSize = sizeof request, .fileInfo = info, .fileOptions = options};
  int32_t result;
  request.fileHandle = krnFileOpen(name, kKrnFileRead, kKrnShareRead);
  if (request.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  result = fltInfo(&request);
  krnFileClose(request.fileHandle);
  return result;
}

int main(int argc, char** argv) {
  static char16_t input[1024], output[1024];
  static FileInfoRecord info = {.structSize = sizeof info};
  static SaveOptions saveOptions = {.structSize = sizeof saveOptions};
  FileOptions options = {.pageNumber = 1};
  BitmapHandle bitmap;
  int32_t result;

  if (argc != 3) {
    fprintf(stderr, "usage: roundtrip IN.tif OUT.tif\n");
    return 2;
  }
  Widen(argv[1], input, sizeof input / sizeof *input);
  Widen(argv[2], output, sizeof output / sizeof *output);

  result = Describe(input, &options, &info);
  if (result == 1) {
    printf("%d x %d pixels, %d bits, format %d\n", info.width, info.height, info.bitsPerPixel, info.fileFormat);
    result = krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, info.width, info.height, info.bitsPerPixel, info.order, 0,
                             info.viewPerspective, 0, 0);
  }
  if (result == 1) {
    static FilterLoadRequest load;
    load.fileName = input;
    load.bitmap = &bitmap;
    load.rowCallback = KeepRows;
    load.fileInfo = &info;
    load.fileOptions = &options;
    result = fltLoad(&load);
    if (result == 1) {
      FilterSaveRequest save = {.fileName = output,
                                .bitmap = &bitmap,
                                .bitsPerPixel = info.bitsPerPixel,
                                .fileFormat = kFormatUncompressed,
                                .fileOptions = &saveOptions,
                                .saveStart = StartRows,
                                .saveEnd = EndRows,
                                .saveGetRow = GetRow};
      result = fltSave(&save);
    }
    krnBitmapFree(&bitmap);
  }
  if (result != 1) {
    fprintf(stderr, "roundtrip: result %d\n", result);
    return 1;
  }
  return 0;
}
