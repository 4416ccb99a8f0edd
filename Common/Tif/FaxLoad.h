// Loads that the CCITT codec does whole: fax pages (compressions 2, 3 and 4) and raw fax data (format 162), a fax
// stream without any TIFF structure. The load driver hands over; the rows go straight to the row sink.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>

// Decodes the strips or tiles of `page` for `target`, whose width and height decide. 1, the codec's -1, -4, -7, -13,
// -15, or what the sink gave.
int32_t TIFLoadFaxPage(FilterLoadRequest* request, VxFileHandle file, FileInfoRecord* fileInfo, BitmapHandle* target,
                       TifRowSink rowCallback, const TifPage* page, intptr_t rowCallbackData);

// Decodes the file from its first byte for the request's bitmap. `palette` holds 256 colours. As TIFLoadFaxPage; -2
// without a bitmap, -27 when the report tells of another depth than 1.
int32_t TIFLoadRawFax(FilterLoadRequest* request, VxFileHandle file, VxColor* palette);
