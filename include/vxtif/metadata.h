/* Metadata in place: tags, numbered comments, GeoTIFF keys, and the marker block that brings Exif. */
#ifndef VXTIF_METADATA_H
#define VXTIF_METADATA_H

#include "info.h"

#ifdef __cplusplus
extern "C" {
#endif

struct SaveOptions; /* save.h */

/* Field types of TIFF 6.0. */
enum {
  kTypeByte = 1,
  kTypeAscii = 2,
  kTypeShort = 3,
  kTypeLong = 4,
  kTypeRational = 5,
  kTypeSByte = 6,
  kTypeUndefined = 7,
  kTypeSShort = 8,
  kTypeSLong = 9,
  kTypeSRational = 10,
  kTypeFloat = 11,
  kTypeDouble = 12
};

#pragma pack(push, 1)

/* A tag to set: an element of the caller's list, which the library walks and never frees. */
typedef struct TifTagItem {
  uint16_t tag;
  uint16_t type;  /* kType... */
  uint32_t count; /* elements */
  void* data;     /* host order; swapped in place during a big-endian write, and swapped back */
  struct TifTagItem* next;
} TifTagItem;

/* A GeoTIFF key to set. */
typedef struct TifGeoKeyItem {
  uint16_t tag;   /* key id */
  uint16_t type;  /* kTypeShort, kTypeSShort, kTypeDouble or kTypeAscii */
  uint32_t count; /* elements */
  void* data;     /* host order */
  struct TifGeoKeyItem* next;
} TifGeoKeyItem;

enum { kCommentCount = 247 };

/* A numbered comment. The buffer must be writable and have room for one byte more than `size`: a trailing NUL may be
   added or taken off, adjusting `size`. */
typedef struct TifComment {
  void* data;    /* host order; null for no comment */
  uint32_t size; /* bytes */
} TifComment;

typedef struct TifCommentBlock {
  TifComment slots[kCommentCount]; /* by comment number */
} TifCommentBlock;

enum { kMarkerMagic = 0x4B524D56 /* "VMRK" */ };

/* JPEG marker segments, each with its 0xFF and marker code, that follow the two words. Read only. */
typedef struct TifMarkerBlock {
  uint32_t magic; /* kMarkerMagic in little-endian bytes; another block is ignored */
  uint32_t size;  /* bytes that follow */
} TifMarkerBlock;

/* Argument of fltGetTag. The pointers may be null; the data buffer must hold the whole value. */
typedef struct FilterGetTagRequest {
  const char16_t* fileName;
  uint32_t tag;
  uint16_t* type;
  uint32_t* count;
  void* data; /* receives the value in host order */
  FileOptions* fileOptions;
} FilterGetTagRequest;

typedef struct FilterSetTagRequest {
  const char16_t* fileName;
  TifTagItem* tagList;
  TifMarkerBlock* markers;
  struct SaveOptions* options;
} FilterSetTagRequest;

/* Argument of fltComment. */
typedef struct FilterCommentRequest {
  const char16_t* fileName;
  uint32_t comment;    /* number */
  void* buffer;        /* null asks for the size */
  uint32_t bufferSize; /* bytes */
  FileOptions* fileOptions;
} FilterCommentRequest;

typedef struct FilterSetCommentRequest {
  const char16_t* fileName;
  intptr_t reserved; /* not read */
  struct SaveOptions* options;
  TifCommentBlock* comments;
  TifMarkerBlock* markers;
} FilterSetCommentRequest;

/* Receives a key: `value` in host order, valid during the call. 1 to go on; any other value ends the walk. */
typedef int32_t (*TifGeoKeyCallback)(uint32_t key, uint32_t type, uint32_t count, const void* value, intptr_t userData);

typedef struct FilterEnumGeoKeysRequest {
  const char16_t* fileName; /* null gives -8 */
  intptr_t reserved;        /* not read */
  TifGeoKeyCallback callback;
  intptr_t userData;
  FileOptions* fileOptions;
} FilterEnumGeoKeysRequest;

typedef struct FilterSetGeoKeyRequest {
  const char16_t* fileName;
  struct SaveOptions* options;
  TifGeoKeyItem* geoKeys;
} FilterSetGeoKeyRequest;

#pragma pack(pop)

/* Reads one tag of a page. 1; kResultOpenFailed, kResultNoSuchPage, kResultTagNotFound, kResultReadFailed. */
VX_API int32_t fltGetTag(FilterGetTagRequest* request);
VX_API int32_t fltGetTagTIF(FilterGetTagRequest* request);

/* Edit a page in place. 1; kResultOpenFailed, kResultNoSuchPage, kResultNoLinkWord, kResultReadFailed,
   kResultSeekFailed, kResultWriteFailed, kResultNoMemory. */
VX_API int32_t fltSetTag(FilterSetTagRequest* request);
VX_API int32_t fltSetTagTIF(FilterSetTagRequest* request);
VX_API int32_t fltSetComment(FilterSetCommentRequest* request);
VX_API int32_t fltSetCommentTIF(FilterSetCommentRequest* request);
VX_API int32_t fltSetGeoKey(FilterSetGeoKeyRequest* request);
VX_API int32_t fltSetGeoKeyTIF(FilterSetGeoKeyRequest* request);

/* Reads a comment. Its full size in bytes, also for a null or a small buffer; 0 when the page has none;
   kResultInvalidParameter for a number not in use, before the file is touched; kResultOpenFailed, kResultReadFailed,
   kResultTypeNotAllowed, kResultNoSuchPage. One of the two exports whose success is not 1. */
VX_API int32_t fltComment(FilterCommentRequest* request);
VX_API int32_t fltCommentTIF(FilterCommentRequest* request);

/* Hands the keys of a page to the callback. 1, also without keys; kResultNoFileName, kResultOpenFailed,
   kResultNoSuchPage, kResultReadFailed, kResultTypeNotAllowed, kResultNoMemory, or what the callback gave. */
VX_API int32_t fltEnumGeoKeys(FilterEnumGeoKeysRequest* request);
VX_API int32_t fltEnumGeoKeysTIF(FilterEnumGeoKeysRequest* request);

#ifdef __cplusplus
}
#endif

#endif
