/* A C11 host that drives every export of the built library: a page is saved, described, loaded, edited, planes and
   finished data are added, a page is deleted, the file compacted and its directories read raw. The round is gone twice,
   by the public names and by their twins, and must come out the same. Prints what differs and ends with 1 then. */

#include <stdio.h>
#include <string.h>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

enum { kWidth = 5, kHeight = 3, kPlanes = 4 };

/* One row of names: the public ones, or the twins. fltCompact has none. */
typedef struct Names {
  const char* title;
  const char16_t* fileName;
  const char16_t* compactName;
  int32_t (*info)(FilterInfoRequest*);
  int32_t (*load)(FilterLoadRequest*);
  int32_t (*loadPlanes)(FilterLoadCMYKRequest*);
  int32_t (*stamp)(FilterStampRequest*);
  int32_t (*save)(FilterSaveRequest*);
  int32_t (*savePlanes)(FilterSaveCMYKRequest*);
  int32_t (*startData)(FilterSaveDataRequest*);
  int32_t (*saveData)(FilterSaveDataRequest*);
  int32_t (*stopData)(FilterSaveDataRequest*);
  int32_t (*deletePage)(FilterDeletePageRequest*);
  int32_t (*getTag)(FilterGetTagRequest*);
  int32_t (*setTag)(FilterSetTagRequest*);
  int32_t (*comment)(FilterCommentRequest*);
  int32_t (*setComment)(FilterSetCommentRequest*);
  int32_t (*enumGeoKeys)(FilterEnumGeoKeysRequest*);
  int32_t (*setGeoKey)(FilterSetGeoKeyRequest*);
} Names;

static const Names kPublic = {"public names",
                              u"drive-exports-public.tif",
                              u"drive-exports-public-compact.tif",
                              fltInfo,
                              fltLoad,
                              fltLoadCMYKArray,
                              fltGetStamp,
                              fltSave,
                              fltSaveCMYKArray,
                              fltStartSaveData,
                              fltSaveData,
                              fltStopSaveData,
                              fltDeletePage,
                              fltGetTag,
                              fltSetTag,
                              fltComment,
                              fltSetComment,
                              fltEnumGeoKeys,
                              fltSetGeoKey};
static const Names kTwins = {"twins",
                             u"drive-exports-twins.tif",
                             u"drive-exports-twins-compact.tif",
                             fltInfoTIF,
                             fltLoadTIF,
                             fltLoadCMYKArrayTIF,
                             fltGetStampTIF,
                             fltSaveTIF,
                             fltSaveCMYKArrayTIF,
                             fltStartSaveDataTIF,
                             fltSaveDataTIF,
                             fltStopSaveDataTIF,
                             fltDeletePageTIF,
                             fltGetTagTIF,
                             fltSetTagTIF,
                             fltCommentTIF,
                             fltSetCommentTIF,
                             fltEnumGeoKeysTIF,
                             fltSetGeoKeyTIF};

static int failures = 0;
static const char* round_title = "";

static void Expect(const char* what, int64_t found, int64_t wanted) {
  if (found != wanted) {
    printf("%s: %s gives %lld instead of %lld\n", round_title, what, (long long)found, (long long)wanted);
    failures += 1;
  }
}

/* ---- the row service: sample (plane, x, y) of bitmaps that have no pixels */

static BitmapHandle bitmaps[kPlanes];
static BitmapHandle* planes[kPlanes] = {&bitmaps[0], &bitmaps[1], &bitmaps[2], &bitmaps[3]};
static BitmapHandle row_descriptor;
static struct {
  uint8_t reserved[8];
  VxColor palette[kPaletteEntries];
} row_context;

static uint8_t SampleAt(int32_t plane, int32_t x, int32_t y) {
  return (uint8_t)(plane * 64 + y * 16 + x);
}

static int32_t StartRows(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                         void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context) {
  (void)bitmap, (void)flags, (void)rowBufferOut, (void)one, (void)extra1, (void)extra2;
  krnBitmapInit(&row_descriptor, kBitmapHandleSize, kWidth, kHeight, bitsPerPixel);
  for (int i = 0; i < kPaletteEntries; ++i) {
    const VxColor gray = {(uint8_t)i, (uint8_t)i, (uint8_t)i, 0};
    row_context.palette[i] = gray;
  }
  *descriptor = &row_descriptor;
  *context = &row_context;
  return 1;
}

static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                      uint32_t flags, intptr_t extra1, intptr_t extra2, void* context) {
  (void)descriptor, (void)one, (void)flags, (void)extra1, (void)extra2, (void)context;
  for (int32_t x = 0; x < kWidth; ++x) {
    ((uint8_t*)rowBuffer)[x] = SampleAt((int32_t)(bitmap - bitmaps), x, rowIndex);
  }
  return 1;
}

static int32_t EndRows(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context) {
  (void)bitmap, (void)descriptor, (void)flags, (void)zero, (void)context;
  return 1;
}

/* ---- the row sink: counts the samples that are as they were saved */

static int32_t good_samples;

static int32_t TakeRows(FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                        int32_t rowCount, intptr_t userData) {
  (void)info, (void)flags, (void)userData;
  const int32_t plane = bitmap >= bitmaps && bitmap < bitmaps + kPlanes ? (int32_t)(bitmap - bitmaps) : 0;
  for (int32_t row = 0; row < rowCount; ++row) {
    for (int32_t x = 0; x < kWidth; ++x) {
      good_samples += rows[row * bitmap->bytesPerLine + x] == SampleAt(plane, x, firstRow + row);
    }
  }
  return 1;
}

/* ---- the round */

static SaveOptions PageOptions(int32_t page) {
  SaveOptions options;
  memset(&options, 0, sizeof options);
  options.structSize = sizeof options;
  options.pageNumber = page;
  return options;
}

static FileOptions ReadOptions(int32_t page) {
  FileOptions options;
  memset(&options, 0, sizeof options);
  options.pageNumber = page;
  return options;
}

static void SavePages(const Names* names) {
  SaveOptions options = PageOptions(1);
  FilterSaveRequest save;
  memset(&save, 0, sizeof save);
  save.fileName = names->fileName;
  save.bitmap = &bitmaps[0];
  save.bitsPerPixel = 8;
  save.fileFormat = kFormatLzw;
  save.fileOptions = &options;
  save.saveStart = StartRows;
  save.saveGetRow = GetRow;
  save.saveEnd = EndRows;
  Expect("save", names->save(&save), 1);

  static const uint8_t kData[kWidth * kHeight * 3] = {1, 2, 3};
  FilterSaveDataRequest data;
  memset(&data, 0, sizeof data);
  data.fileName = names->fileName;
  data.compression = 1;
  data.width = kWidth;
  data.height = kHeight;
  data.bitsPerPixel = 24;
  data.append = 1;
  data.options = &options;
  Expect("start of data", names->startData(&data), 1);
  data.dataBuffer = kData;
  data.dataLength = sizeof kData;
  Expect("data", names->saveData(&data), 1);
  Expect("stop of data", names->stopData(&data), 1);
  Expect("bytes written", data.bytesWritten, sizeof kData);

  FilterSaveCMYKRequest array;
  memset(&array, 0, sizeof array);
  array.fileName = names->fileName;
  array.bitmaps = planes;
  array.planeCount = kPlanes;
  array.bitsPerPlane = 8;
  array.format = kFormatPackBitsCmyk;
  array.flags = kSaveRequestAppend;
  array.options = &options;
  array.saveStart = StartRows;
  array.saveGetRow = GetRow;
  array.saveEnd = EndRows;
  Expect("save of planes", names->savePlanes(&array), 1);
}

static void ReadPages(const Names* names) {
  FileOptions first = ReadOptions(1);
  FilterInfoControl control = {sizeof control, kInfoCountPages};
  FileInfoRecord record;
  memset(&record, 0, sizeof record);
  record.structSize = sizeof record;
  FilterInfoRequest info;
  memset(&info, 0, sizeof info);
  info.structSize = sizeof info;
  info.fileHandle = krnFileOpen(names->fileName, kKrnFileRead, kKrnShareRead);
  info.fileInfo = &record;
  info.infoControl = &control;
  info.fileOptions = &first;
  Expect("info", names->info(&info), 1);
  Expect("width", record.width, kWidth);
  Expect("format", record.fileFormat, kFormatLzw);
  Expect("pages", record.totalPages, 3);
  Expect("close after info", krnFileClose(info.fileHandle), 0);

  FilterLoadRequest load;
  memset(&load, 0, sizeof load);
  load.fileName = names->fileName;
  load.bitmap = &bitmaps[0];
  load.rowCallback = TakeRows;
  load.fileInfo = &record;
  load.fileOptions = &first;
  good_samples = 0;
  Expect("load", names->load(&load), 1);
  Expect("samples loaded", good_samples, kWidth * kHeight);

  FileOptions third = ReadOptions(3);
  FilterLoadCMYKRequest array;
  memset(&array, 0, sizeof array);
  array.fileName = names->fileName;
  array.bitmaps = planes;
  array.bitmapCount = kPlanes;
  array.fileInfo = &record;
  array.fileOptions = &third;
  array.rowCallback = TakeRows;
  good_samples = 0;
  Expect("load of planes", names->loadPlanes(&array), 1);
  Expect("samples of planes", good_samples, kWidth * kHeight * kPlanes);
}

static uint32_t stamp_page = 2;
static int stamp_loads;

static int32_t StampInfo(intptr_t stampFile, FileInfoRecord* info, uint32_t infoSize, uint32_t zero,
                         FileOptions* fileOptions) {
  Expect("stamp file", stampFile, 77);
  Expect("size of the record", infoSize, kFileInfoRecordSize);
  Expect("zero", zero, 0);
  Expect("page asked for", fileOptions->pageNumber, 2);
  info->pageNumber = stamp_page;
  return 0;
}

static int32_t StampLoad(intptr_t stampFile, BitmapHandle* bitmap, uint32_t bitmapSize, uint32_t zero, uint32_t one,
                         FileOptions* fileOptions, FileInfoRecord* info) {
  (void)stampFile, (void)zero, (void)one, (void)fileOptions, (void)info;
  Expect("bitmap of the stamp", bitmap == &bitmaps[0], 1);
  Expect("size of the bitmap", bitmapSize, kBitmapHandleSize);
  stamp_loads += 1;
  return -5;
}

static void GetStamps(const Names* names) {
  FileOptions options = ReadOptions(5);
  FilterStampRequest stamp;
  memset(&stamp, 0, sizeof stamp);
  stamp.stampFile = 77;
  stamp.bitmap = &bitmaps[0];
  stamp.fileOptions = &options;
  stamp.getInfo = StampInfo;
  stamp.load = StampLoad;
  stamp_loads = 0;
  stamp_page = 2;
  Expect("stamp", names->stamp(&stamp), 1);
  Expect("stamps loaded", stamp_loads, 1);
  stamp_page = 1;
  Expect("stamp of one page", names->stamp(&stamp), kResultNoStamp);
  Expect("page number afterwards", options.pageNumber, 5);
}

static int geo_keys_seen;

static int32_t TakeKey(uint32_t key, uint32_t type, uint32_t count, const void* value, intptr_t userData) {
  uint16_t number = 0;
  memcpy(&number, value, sizeof number);
  Expect("key", key, 1024);
  Expect("type of the key", type, kTypeShort);
  Expect("count of the key", count, 1);
  Expect("value of the key", number, 2);
  Expect("user data", userData, 4321);
  geo_keys_seen += 1;
  return 1;
}

static void EditPages(const Names* names) {
  SaveOptions edit = PageOptions(1);
  FileOptions read = ReadOptions(1);
  uint32_t value = 0x01020304;
  TifTagItem item = {40000, kTypeLong, 1, &value, NULL};
  FilterSetTagRequest set = {names->fileName, &item, NULL, &edit};
  Expect("set tag", names->setTag(&set), 1);
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t found = 0;
  FilterGetTagRequest get = {names->fileName, 40000, &type, &count, &found, &read};
  Expect("get tag", names->getTag(&get), 1);
  Expect("type of the tag", type, kTypeLong);
  Expect("count of the tag", count, 1);
  Expect("value of the tag", found, value);

  char text[] = "a title\0"; /* the literal ends in a spare byte */
  TifCommentBlock block;
  memset(&block, 0, sizeof block);
  block.slots[0].data = text;
  block.slots[0].size = sizeof "a title";
  FilterSetCommentRequest setComment = {names->fileName, 0, &edit, &block, NULL};
  Expect("set comment", names->setComment(&setComment), 1);
  char buffer[32] = "";
  FilterCommentRequest comment = {names->fileName, 0, buffer, sizeof buffer, &read};
  Expect("comment", names->comment(&comment), sizeof "a title");
  Expect("text of the comment", strcmp(buffer, "a title"), 0);

  uint16_t model = 2;
  TifGeoKeyItem key = {1024, kTypeShort, 1, &model, NULL};
  FilterSetGeoKeyRequest setKey = {names->fileName, &edit, &key};
  Expect("set key", names->setGeoKey(&setKey), 1);
  FilterEnumGeoKeysRequest keys = {names->fileName, 0, TakeKey, 4321, &read};
  geo_keys_seen = 0;
  Expect("list of keys", names->enumGeoKeys(&keys), 1);
  Expect("keys listed", geo_keys_seen, 1);
}

static void RemoveAndCompact(const Names* names) {
  SaveOptions options = PageOptions(0);
  FilterDeletePageRequest page = {names->fileName, 2, 0, &options};
  Expect("delete page", names->deletePage(&page), 1);
  page.page = 3;
  Expect("delete page past the end", names->deletePage(&page), kResultNoSuchPage);

  FileOptions first = ReadOptions(1);
  SaveOptions target = PageOptions(1);
  FilterCompactRequest compact = {names->fileName, names->compactName, 0, &first, &target};
  Expect("compact", fltCompact(&compact), 1);
}

static void ReadRaw(const Names* names) {
  TifFile file;
  memset(&file, 0, sizeof file);
  Expect("open", Vx_OpenTIF(names->compactName, &file, sizeof file), 1);
  TifDirectory* block = NULL;
  uint32_t layout = 0;
  Expect("raw page", Vx_GetTIFPage(&file, 1, &block, &layout), 1);
  if (block != NULL) {
    uint32_t size = 0;
    Expect("class of the first tag", Vx_GetTIFTagDataType(&block->records[0], &size), kTagClassInline);
    Expect("size of the first tag", size, 4);
    uint32_t colors = 0;
    VxGlobalHandle palette = 0;
    Expect("palette", Vx_GetTIFPalette(&file, block, &colors, &palette), 1);
    Expect("colours", colors, 256);
    Expect("palette's block", krnGlobalPointer(palette) != NULL, 1);
    krnGlobalFree(palette, __LINE__, "DriveExports.c");
    Expect("free of the page", Vx_FreeTIFPage(block), 1);
  }
  Expect("raw page past the end", Vx_GetTIFPage(&file, 3, &block, &layout), kResultNoSuchPage);
  Expect("close", Vx_CloseTIF(&file), 1);
  Expect("null file", Vx_OpenTIF(names->compactName, NULL, sizeof file), kResultNullPointer);
  Expect("null close", Vx_CloseTIF(NULL), kResultNullPointer);
  Expect("null page block", Vx_FreeTIFPage(NULL), 1);
  Expect("null record", Vx_GetTIFTagDataType(NULL, NULL), -1);

  TifPage page;
  memset(&page, 0, sizeof page);
  page.tileWidth = 13;
  page.totalBits = 12;
  page.planarConfiguration = 1;
  page.bitsPerSample[0] = 16;
  page.pageFlags = kPageSigned;
  Expect("bytes of a row", TIFGetBytesPerTileRow(&page), 20);
  Expect("bitmap set-up", TIFInitBitmap(&page, &bitmaps[1], 1), 1);
  Expect("sign of the bitmap", (bitmaps[1].flags & kBitmapSigned) != 0, 1);
  Expect("smallest sample", bitmaps[1].minValue, -32768);
}

/* ---- both rounds */

static void NullRequests(void) {
  round_title = "null requests";
  KrnStatistics before, after;
  krnGetStatistics(&before);
  Expect("fltInfo", fltInfo(NULL), kResultInvalidParameter);
  Expect("fltLoad", fltLoad(NULL), kResultInvalidParameter);
  Expect("fltLoadCMYKArray", fltLoadCMYKArray(NULL), kResultInvalidParameter);
  Expect("fltGetStamp", fltGetStamp(NULL), kResultInvalidParameter);
  Expect("fltSave", fltSave(NULL), kResultInvalidParameter);
  Expect("fltSaveCMYKArray", fltSaveCMYKArray(NULL), kResultInvalidParameter);
  Expect("fltStartSaveData", fltStartSaveData(NULL), kResultInvalidParameter);
  Expect("fltSaveData", fltSaveData(NULL), kResultInvalidParameter);
  Expect("fltStopSaveData", fltStopSaveData(NULL), kResultInvalidParameter);
  Expect("fltDeletePage", fltDeletePage(NULL), kResultInvalidParameter);
  Expect("fltCompact", fltCompact(NULL), kResultInvalidParameter);
  Expect("fltGetTag", fltGetTag(NULL), kResultInvalidParameter);
  Expect("fltSetTag", fltSetTag(NULL), kResultInvalidParameter);
  Expect("fltComment", fltComment(NULL), kResultInvalidParameter);
  Expect("fltSetComment", fltSetComment(NULL), kResultInvalidParameter);
  Expect("fltEnumGeoKeys", fltEnumGeoKeys(NULL), kResultInvalidParameter);
  Expect("fltSetGeoKey", fltSetGeoKey(NULL), kResultInvalidParameter);
  krnGetStatistics(&after);
  Expect("files opened", (int64_t)(after.opens - before.opens), 0);
}

static void GoRound(const Names* names) {
  round_title = names->title;
  for (int i = 0; i < kPlanes; ++i) {
    krnBitmapInit(&bitmaps[i], kBitmapHandleSize, kWidth, kHeight, 8);
  }
  krnFileDelete(names->fileName);
  krnFileDelete(names->compactName);
  SavePages(names);
  ReadPages(names);
  GetStamps(names);
  EditPages(names);
  RemoveAndCompact(names);
  ReadRaw(names);
}

static uint32_t ReadWhole(const char16_t* name, uint8_t* bytes, uint32_t room) {
  const VxFileHandle file = krnFileOpen(name, kKrnFileRead, kKrnShareRead);
  const uint32_t size = krnFileRead(file, bytes, room);
  krnFileClose(file);
  return size;
}

static void ExpectSameFiles(const char16_t* left, const char16_t* right) {
  static uint8_t leftBytes[1 << 16];
  static uint8_t rightBytes[1 << 16];
  const uint32_t size = ReadWhole(left, leftBytes, sizeof leftBytes);
  Expect("files of both rounds: size", ReadWhole(right, rightBytes, sizeof rightBytes), size);
  Expect("files of both rounds: bytes", memcmp(leftBytes, rightBytes, size), 0);
  krnFileDelete(left);
  krnFileDelete(right);
}

int main(void) {
  NullRequests();
  GoRound(&kPublic);
  GoRound(&kTwins);
  ExpectSameFiles(kPublic.fileName, kTwins.fileName);
  ExpectSameFiles(kPublic.compactName, kTwins.compactName);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  Expect("open handles", (int64_t)statistics.openHandles, 0);
  Expect("live blocks", (int64_t)statistics.liveBlocks, 0);
  printf("%d failures\n", failures);
  return failures != 0;
}
