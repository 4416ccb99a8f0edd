/* Result codes. Every operation gives a signed 32-bit integer: 1 is success, 0 a failure without a reason, a negative
   number names the reason. There is no exception, no log and no message text: a failure is its number. */
#ifndef VXTIF_RESULTS_H
#define VXTIF_RESULTS_H

enum {
  kResultOk = 1,
  kResultRefused = 0,                /* page refused by the parser, or a tag block could not be built */
  kResultNoMemory = -1,              /* memory exhausted */
  kResultNoBitmap = -2,              /* the request holds no bitmap */
  kResultSeekFailed = -4,            /* a seek failed or landed elsewhere than asked */
  kResultWriteFailed = -5,           /* a write failed, as krnWriteError makes it */
  kResultReadFailed = -7,            /* a read failed or came back short */
  kResultNoFileName = -8,            /* the request holds no file name */
  kResultNotTiff = -9,               /* not a valid TIFF file, or a nested block that runs out of its tag */
  kResultOpenFailed = -10,           /* the file cannot be opened */
  kResultBitmapMismatch = -11,       /* load: bitmap width unlike the page's; save: bitmap without width or height */
  kResultColorLayout = -12,          /* the page's colour layout cannot be loaded on this path */
  kResultInvalidParameter = -13,     /* a null request, a comment number not in use, a sibling row past the table */
  kResultCreateFailed = -14,         /* the file cannot be created */
  kResultUnknownCompression = -15,   /* load: compression unknown or without a decoder */
  kResultFormatNotSaved = -16,       /* the format or compression asked for cannot be saved */
  kResultDepthNotSupported = -27,    /* bits per pixel not supported */
  kResultJpegTableTag = -32,         /* a JPEG table tag that is none */
  kResultJpegHuffmanDc = -50,        /* a table of tag 520 with more than 17 values */
  kResultJpegHuffmanAc = -51,        /* a table of tag 521 with more than 256 values */
  kResultCodecShort = -62,           /* strip data too short for the request */
  kResultNoStamp = -65,              /* the file holds no stamp */
  kResultLzwOverflow = -77,          /* LZW code table overflow past 8192 */
  kResultTypeNotAllowed = -140,      /* a tag or comment has a data type that is not allowed for it */
  kResultSiblingVector = -309,       /* sibling library of row 2 missing; the rows stand in siblings.h */
  kResultNoSuchPage = -310,          /* the page asked for does not exist */
  kResultOnlyPage = -311,            /* the only page of a file cannot be deleted */
  kResultSiblingJbig = -319,         /* row 0 */
  kResultSiblingWavelet = -355,      /* row 4 */
  kResultTagNotFound = -404,         /* the tag asked for is not in the page */
  kResultSiblingJpeg2000 = -541,     /* row 3 */
  kResultStructSize = -789,          /* a record's size field does not match */
  kResultNullPointer = -814,         /* a null pointer to the raw page interface, or to a row sink's context */
  kResultSiblingSegment = -818,      /* row 8 */
  kResultSiblingCamera1 = -819,      /* row 5 */
  kResultSiblingCamera2 = -820,      /* row 6 */
  kResultSiblingCamera3 = -821,      /* row 7 */
  kResultSiblingBilevel1 = -822,     /* row 9 */
  kResultSiblingBilevel2 = -823,     /* row 10 */
  kResultSiblingJbig2 = -824,        /* row 1 */
  kResultDirectoryUnreadable = -917, /* compaction: a directory could not be read */
  kResultNotCmyk = -918,             /* CMYK arrays: the page is not CMYK, or the format is not a CMYK format */
  kResultNoLinkWord = -1365          /* a directory that must grow has no known link word */
};

#endif
