/* Where the fields of the public records stand, worked out by hand from their order: the bytes of the fixed-width
   fields in front, and the pointers and pointer-wide words in front. On a 32-bit target that gives the home layout.

   A row is ROW(record, field, fixed bytes in front, pointers in front); SIZE(record, fixed bytes, pointers) ends it. */
#ifndef RECORD_LAYOUT_H
#define RECORD_LAYOUT_H

#include <stddef.h>

#define RECORD_LAYOUT(ROW, SIZE)                                                                                       \
  /* kernel */                                                                                                         \
  ROW(BitmapHandle, structSize, 0, 0)                                                                                  \
  ROW(BitmapHandle, width, 12, 0)                                                                                      \
  ROW(BitmapHandle, height, 16, 0)                                                                                     \
  ROW(BitmapHandle, bitsPerPixel, 20, 0)                                                                               \
  ROW(BitmapHandle, bytesPerLine, 24, 0)                                                                               \
  ROW(BitmapHandle, flags, 36, 0)                                                                                      \
  ROW(BitmapHandle, colorsUsed, 40, 0)                                                                                 \
  ROW(BitmapHandle, viewPerspective, 48, 0)                                                                            \
  ROW(BitmapHandle, order, 52, 0)                                                                                      \
  ROW(BitmapHandle, xResolution, 68, 0)                                                                                \
  ROW(BitmapHandle, yResolution, 72, 0)                                                                                \
  ROW(BitmapHandle, lowBit, 100, 0)                                                                                    \
  ROW(BitmapHandle, highBit, 104, 0)                                                                                   \
  ROW(BitmapHandle, lookupTable, 108, 0)                                                                               \
  ROW(BitmapHandle, lookupTableLength, 112, 0)                                                                         \
  ROW(BitmapHandle, minValue, 120, 0)                                                                                  \
  ROW(BitmapHandle, maxValue, 124, 0)                                                                                  \
  ROW(BitmapHandle, lowBit2, 128, 0)                                                                                   \
  ROW(BitmapHandle, highBit2, 132, 0)                                                                                  \
  SIZE(BitmapHandle, 164, 0)                                                                                           \
  ROW(VxColor, blue, 0, 0)                                                                                             \
  ROW(VxColor, green, 1, 0)                                                                                            \
  ROW(VxColor, red, 2, 0)                                                                                              \
  SIZE(VxColor, 4, 0)                                                                                                  \
  /* fax codec */                                                                                                      \
  ROW(FaxStripInfo, width, 0, 0)                                                                                       \
  ROW(FaxStripInfo, rowsPerStrip, 4, 0)                                                                                \
  ROW(FaxStripInfo, stripOffsets, 8, 0)                                                                                \
  ROW(FaxStripInfo, stripByteCounts, 8, 1)                                                                             \
  ROW(FaxStripInfo, stripCount, 8, 2)                                                                                  \
  SIZE(FaxStripInfo, 12, 2)                                                                                            \
  ROW(FaxInfo, faxFormat, 4, 0)                                                                                        \
  ROW(FaxInfo, width, 8, 0)                                                                                            \
  ROW(FaxInfo, height, 12, 0)                                                                                          \
  ROW(FaxInfo, bitsPerPixel, 16, 0)                                                                                    \
  ROW(FaxInfo, xResolution, 20, 0)                                                                                     \
  ROW(FaxInfo, yResolution, 24, 0)                                                                                     \
  ROW(FaxInfo, faxFlags, 32, 0)                                                                                        \
  SIZE(FaxInfo, 36, 0)                                                                                                 \
  ROW(FaxTileRequest, tileWidth, 0, 0)                                                                                 \
  ROW(FaxTileRequest, tileHeight, 4, 0)                                                                                \
  ROW(FaxTileRequest, byteCounts, 8, 1)                                                                                \
  ROW(FaxTileRequest, count, 8, 2)                                                                                     \
  SIZE(FaxTileRequest, 12, 2)                                                                                          \
  /* reading */                                                                                                        \
  ROW(FileOptions, defaultXResolution, 0, 0)                                                                           \
  ROW(FileOptions, defaultYResolution, 4, 0)                                                                           \
  ROW(FileOptions, flags, 8, 0)                                                                                        \
  ROW(FileOptions, pageNumber, 12, 0)                                                                                  \
  ROW(FileOptions, directoryOffset, 16, 0)                                                                             \
  SIZE(FileOptions, 20, 0)                                                                                             \
  ROW(FileInfoRecord, structSize, 0, 0)                                                                                \
  ROW(FileInfoRecord, fileFormat, 4, 0)                                                                                \
  ROW(FileInfoRecord, width, 8, 0)                                                                                     \
  ROW(FileInfoRecord, height, 12, 0)                                                                                   \
  ROW(FileInfoRecord, bitsPerPixel, 16, 0)                                                                             \
  ROW(FileInfoRecord, memorySize, 20, 0)                                                                               \
  ROW(FileInfoRecord, compressionName, 24, 0)                                                                          \
  ROW(FileInfoRecord, viewPerspective, 64, 0)                                                                          \
  ROW(FileInfoRecord, order, 68, 0)                                                                                    \
  ROW(FileInfoRecord, pageNumber, 72, 0)                                                                               \
  ROW(FileInfoRecord, totalPages, 76, 0)                                                                               \
  ROW(FileInfoRecord, xResolution, 80, 0)                                                                              \
  ROW(FileInfoRecord, yResolution, 84, 0)                                                                              \
  ROW(FileInfoRecord, flags, 88, 0)                                                                                    \
  ROW(FileInfoRecord, directoryOffset, 92, 0)                                                                          \
  ROW(FileInfoRecord, colorSpace, 96, 0)                                                                               \
  SIZE(FileInfoRecord, 2200, 0)                                                                                        \
  ROW(FilterInfoRequest, fileHandle, 12, 0)                                                                            \
  ROW(FilterInfoRequest, fileInfo, 16, 0)                                                                              \
  ROW(FilterInfoRequest, infoControl, 16, 1)                                                                           \
  ROW(FilterInfoRequest, fileOptions, 16, 2)                                                                           \
  SIZE(FilterInfoRequest, 16, 3)                                                                                       \
  ROW(FilterLoadRequest, fileName, 0, 0)                                                                               \
  ROW(FilterLoadRequest, bitmap, 0, 1)                                                                                 \
  ROW(FilterLoadRequest, rowCallback, 0, 2)                                                                            \
  ROW(FilterLoadRequest, rowCallbackData, 0, 3)                                                                        \
  ROW(FilterLoadRequest, regionEnabled, 0, 4)                                                                          \
  ROW(FilterLoadRequest, regionLeft, 0, 5)                                                                             \
  ROW(FilterLoadRequest, regionTop, 4, 5)                                                                              \
  ROW(FilterLoadRequest, regionWidth, 8, 5)                                                                            \
  ROW(FilterLoadRequest, regionHeight, 12, 5)                                                                          \
  ROW(FilterLoadRequest, viewWidth, 16, 5)                                                                             \
  ROW(FilterLoadRequest, viewHeight, 20, 5)                                                                            \
  ROW(FilterLoadRequest, fileInfo, 24, 5)                                                                              \
  ROW(FilterLoadRequest, infoControl, 24, 6)                                                                           \
  ROW(FilterLoadRequest, rawXResolution, 24, 7)                                                                        \
  ROW(FilterLoadRequest, rawYResolution, 28, 7)                                                                        \
  ROW(FilterLoadRequest, rawDataOffset, 32, 7)                                                                         \
  ROW(FilterLoadRequest, rawFlags, 36, 7)                                                                              \
  ROW(FilterLoadRequest, rawPalette, 40, 7)                                                                            \
  ROW(FilterLoadRequest, rawStripBytes, 1064, 7)                                                                       \
  ROW(FilterLoadRequest, rawPhotometric, 1068, 7)                                                                      \
  ROW(FilterLoadRequest, rawPlanarConfiguration, 1072, 7)                                                              \
  ROW(FilterLoadRequest, fileOptions, 1076, 7)                                                                         \
  ROW(FilterLoadRequest, truncationStatus, 1076, 8)                                                                    \
  SIZE(FilterLoadRequest, 1080, 8)                                                                                     \
  ROW(FilterLoadCMYKRequest, bitmaps, 0, 1)                                                                            \
  ROW(FilterLoadCMYKRequest, bitmapCount, 0, 2)                                                                        \
  ROW(FilterLoadCMYKRequest, fileInfo, 4, 2)                                                                           \
  ROW(FilterLoadCMYKRequest, fileOptions, 4, 3)                                                                        \
  ROW(FilterLoadCMYKRequest, rowCallback, 4, 4)                                                                        \
  ROW(FilterLoadCMYKRequest, rowCallbackData, 4, 5)                                                                    \
  SIZE(FilterLoadCMYKRequest, 4, 6)                                                                                    \
  ROW(FilterStampRequest, bitmap, 0, 1)                                                                                \
  ROW(FilterStampRequest, fileOptions, 0, 2)                                                                           \
  ROW(FilterStampRequest, getInfo, 0, 3)                                                                               \
  ROW(FilterStampRequest, load, 0, 5)                                                                                  \
  SIZE(FilterStampRequest, 0, 6)                                                                                       \
  /* raw pages */                                                                                                      \
  ROW(TifFile, structSize, 0, 0)                                                                                       \
  ROW(TifFile, fileHandle, 8, 0)                                                                                       \
  ROW(TifFile, byteOrder, 12, 0)                                                                                       \
  ROW(TifFile, version, 14, 0)                                                                                         \
  ROW(TifFile, directoryOffset, 16, 0)                                                                                 \
  ROW(TifFile, entryCount, 20, 0)                                                                                      \
  ROW(TifFile, directoryLinkOffset, 24, 0)                                                                             \
  ROW(TifFile, nextDirectoryOffset, 28, 0)                                                                             \
  ROW(TifFile, fileSize, 32, 0)                                                                                        \
  ROW(TifFile, stateFlags, 36, 0)                                                                                      \
  ROW(TifFile, pageIndex, 44, 0)                                                                                       \
  SIZE(TifFile, 48, 0)                                                                                                 \
  ROW(TifDirEntry, tag, 0, 0)                                                                                          \
  ROW(TifDirEntry, type, 2, 0)                                                                                         \
  ROW(TifDirEntry, count, 4, 0)                                                                                        \
  ROW(TifDirEntry, value, 8, 0)                                                                                        \
  SIZE(TifDirEntry, 12, 0)                                                                                             \
  ROW(TifTagRecord, value, 8, 0)                                                                                       \
  ROW(TifTagRecord, data, 12, 0)                                                                                       \
  ROW(TifTagRecord, storage, 12, 1)                                                                                    \
  SIZE(TifTagRecord, 16, 1)                                                                                            \
  ROW(TifPage, imageWidth, 0, 0)                                                                                       \
  ROW(TifPage, stripOffsets, 16, 0)                                                                                    \
  ROW(TifPage, stripCount, 16, 2)                                                                                      \
  ROW(TifPage, viewPerspective, 44, 2)                                                                                 \
  ROW(TifPage, xResolution, 64, 2)                                                                                     \
  ROW(TifPage, bitsPerSample, 92, 2)                                                                                   \
  ROW(TifPage, samplesPerPixel, 156, 2)                                                                                \
  ROW(TifPage, yCbCrTables, 220, 2)                                                                                    \
  ROW(TifPage, fileOptions, 6364, 2)                                                                                   \
  /* metadata */                                                                                                       \
  ROW(TifTagItem, data, 8, 0)                                                                                          \
  ROW(TifTagItem, next, 8, 1)                                                                                          \
  SIZE(TifTagItem, 8, 2)                                                                                               \
  ROW(TifGeoKeyItem, data, 8, 0)                                                                                       \
  SIZE(TifGeoKeyItem, 8, 2)                                                                                            \
  ROW(TifComment, size, 0, 1)                                                                                          \
  SIZE(TifComment, 4, 1)                                                                                               \
  SIZE(TifCommentBlock, 988, 247)                                                                                      \
  ROW(FilterGetTagRequest, tag, 0, 1)                                                                                  \
  ROW(FilterGetTagRequest, type, 4, 1)                                                                                 \
  ROW(FilterGetTagRequest, count, 4, 2)                                                                                \
  ROW(FilterGetTagRequest, data, 4, 3)                                                                                 \
  ROW(FilterGetTagRequest, fileOptions, 4, 4)                                                                          \
  SIZE(FilterGetTagRequest, 4, 5)                                                                                      \
  ROW(FilterSetTagRequest, tagList, 0, 1)                                                                              \
  ROW(FilterSetTagRequest, markers, 0, 2)                                                                              \
  ROW(FilterSetTagRequest, options, 0, 3)                                                                              \
  SIZE(FilterSetTagRequest, 0, 4)                                                                                      \
  ROW(FilterSetCommentRequest, options, 0, 2)                                                                          \
  ROW(FilterSetCommentRequest, comments, 0, 3)                                                                         \
  ROW(FilterSetCommentRequest, markers, 0, 4)                                                                          \
  SIZE(FilterSetCommentRequest, 0, 5)                                                                                  \
  ROW(FilterSetGeoKeyRequest, options, 0, 1)                                                                           \
  ROW(FilterSetGeoKeyRequest, geoKeys, 0, 2)                                                                           \
  SIZE(FilterSetGeoKeyRequest, 0, 3)                                                                                   \
  /* saving */                                                                                                         \
  ROW(SaveOptions, structSize, 0, 0)                                                                                   \
  ROW(SaveOptions, flags, 4, 0)                                                                                        \
  ROW(SaveOptions, pageNumber, 8, 0)                                                                                   \
  ROW(SaveOptions, directoryOffset, 12, 0)                                                                             \
  ROW(SaveOptions, photometric, 16, 0)                                                                                 \
  ROW(SaveOptions, tileWidth, 20, 0)                                                                                   \
  ROW(SaveOptions, tileHeight, 24, 0)                                                                                  \
  ROW(SaveOptions, flags2, 1599, 0)                                                                                    \
  SIZE(SaveOptions, 1603, 0)                                                                                           \
  SIZE(TifSizePair, 12, 0)                                                                                             \
  ROW(FilterSaveRequest, bitmap, 0, 1)                                                                                 \
  ROW(FilterSaveRequest, bitsPerPixel, 0, 2)                                                                           \
  ROW(FilterSaveRequest, fileFormat, 4, 2)                                                                             \
  ROW(FilterSaveRequest, flags, 8, 2)                                                                                  \
  ROW(FilterSaveRequest, extra1, 12, 2)                                                                                \
  ROW(FilterSaveRequest, extra2, 12, 3)                                                                                \
  ROW(FilterSaveRequest, stampBitmap, 12, 4)                                                                           \
  ROW(FilterSaveRequest, tagList, 12, 5)                                                                               \
  ROW(FilterSaveRequest, comments, 12, 6)                                                                              \
  ROW(FilterSaveRequest, markers, 12, 7)                                                                               \
  ROW(FilterSaveRequest, fileOptions, 12, 8)                                                                           \
  ROW(FilterSaveRequest, private50235, 12, 9)                                                                          \
  ROW(FilterSaveRequest, geoKeys, 12, 10)                                                                              \
  ROW(FilterSaveRequest, saveStart, 12, 11)                                                                            \
  ROW(FilterSaveRequest, saveEnd, 12, 12)                                                                              \
  ROW(FilterSaveRequest, saveGetRow, 12, 13)                                                                           \
  SIZE(FilterSaveRequest, 12, 14)                                                                                      \
  ROW(FilterSaveCMYKRequest, bitmaps, 0, 1)                                                                            \
  ROW(FilterSaveCMYKRequest, planeCount, 0, 2)                                                                         \
  ROW(FilterSaveCMYKRequest, bitsPerPlane, 4, 2)                                                                       \
  ROW(FilterSaveCMYKRequest, format, 8, 2)                                                                             \
  ROW(FilterSaveCMYKRequest, flags, 12, 2)                                                                             \
  ROW(FilterSaveCMYKRequest, options, 16, 4)                                                                           \
  ROW(FilterSaveCMYKRequest, comments, 16, 5)                                                                          \
  ROW(FilterSaveCMYKRequest, tagList, 16, 6)                                                                           \
  ROW(FilterSaveCMYKRequest, markers, 16, 7)                                                                           \
  ROW(FilterSaveCMYKRequest, geoKeys, 16, 8)                                                                           \
  ROW(FilterSaveCMYKRequest, saveStart, 16, 9)                                                                         \
  SIZE(FilterSaveCMYKRequest, 16, 12)                                                                                  \
  ROW(FilterSaveDataRequest, compression, 0, 1)                                                                        \
  ROW(FilterSaveDataRequest, width, 4, 1)                                                                              \
  ROW(FilterSaveDataRequest, palette, 16, 1)                                                                           \
  ROW(FilterSaveDataRequest, append, 20, 2)                                                                            \
  ROW(FilterSaveDataRequest, tagList, 24, 2)                                                                           \
  ROW(FilterSaveDataRequest, xResolution, 24, 3)                                                                       \
  ROW(FilterSaveDataRequest, dataBuffer, 32, 3)                                                                        \
  ROW(FilterSaveDataRequest, dataLength, 32, 4)                                                                        \
  ROW(FilterSaveDataRequest, bytesWritten, 36, 4)                                                                      \
  ROW(FilterSaveDataRequest, entriesOffset, 40, 4)                                                                     \
  ROW(FilterSaveDataRequest, fileHandle, 44, 4)                                                                        \
  ROW(FilterSaveDataRequest, comments, 48, 4)                                                                          \
  ROW(FilterSaveDataRequest, options, 48, 5)                                                                           \
  SIZE(FilterSaveDataRequest, 48, 6)                                                                                   \
  ROW(FilterDeletePageRequest, page, 0, 1)                                                                             \
  ROW(FilterDeletePageRequest, options, 8, 1)                                                                          \
  SIZE(FilterDeletePageRequest, 8, 2)                                                                                  \
  ROW(FilterCompactRequest, destinationName, 0, 1)                                                                     \
  SIZE(FilterCompactRequest, 4, 4)

/* One row as a compiler lays it out. */
typedef struct LayoutRow {
  const char* name;
  size_t place;    /* offset or size */
  size_t expected; /* by the table above */
} LayoutRow;

#define LAYOUT_FIELD(record, field, bytes, pointers)                                                                   \
  {#record "." #field, offsetof(record, field), (bytes) + (pointers) * sizeof(void*)},
#define LAYOUT_SIZE(record, bytes, pointers) {"sizeof " #record, sizeof(record), (bytes) + (pointers) * sizeof(void*)},

#ifdef __cplusplus
extern "C" {
#endif

/* The rows as the C compiler has them; `count` receives their number. */
const LayoutRow* LayoutInC(size_t* count);

#ifdef __cplusplus
}
#endif

#endif
