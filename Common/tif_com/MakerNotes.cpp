// Maker notes between raw bytes and directories. A note that reads as a directory travels as one, with its offsets made
// anew: in a comment it has no TIFF header, is little-endian, and its offsets count from its start. A note of any other
// form survives as bytes.

#include <vxtif/results.h>

#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"
#include "tif_com/TreeWriter.h"

namespace {

TifDirectory* ReadNote(void* data, uint32_t bytes) {
  TifFile file = {};
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  if (krnMemFileOpen(&memory, &handle, kKrnMemFileRead, data, bytes) != 1) {
    return nullptr;
  }
  file.fileHandle = handle;
  file.fileSize = bytes;
  file.byteOrder = kByteOrderLittle;
  TifDirectory* directory = TIFReadDirectory(&file, kDirMakerNote, TreeSource::kMemoryFile);
  krnMemFileClose(memory, 0, nullptr);
  return directory;
}

} // namespace

int32_t TIFParseMakerNotes(TifTagRecord* records, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    TifTagRecord* record = &records[i];
    if (record->tag != kTagMakerNote || record->data == nullptr ||
        (record->storage & kStorageKindMask) != kStorageBlock) {
      continue;
    }
    TifDirectory* directory = ReadNote(record->data, record->count);
    if (directory == nullptr) {
      continue;
    }
    if ((record->storage & kStorageOwned) != 0) {
      TIFFree(record->data);
    }
    record->data = directory;
    record->storage = kStorageDirectory | kStorageOwned;
  }
  return kResultOk;
}

int32_t TIFCopyMakerNote(const TifFile* file, uint32_t offset, void* buffer, uint32_t bufferSize, uint32_t* written) {
  TifFile note = *file;
  note.directoryOffset = offset;
  TifDirectory* directory = TIFReadDirectory(&note, kDirMakerNote, TreeSource::kFile);
  if (directory == nullptr) {
    return 0;
  }
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  int32_t result = krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, buffer, bufferSize);
  if (result == kResultOk) {
    note.fileHandle = handle;
    note.byteOrder = kByteOrderLittle;
    uint32_t place = 0;
    TIFWriteSubDirectory(&note, &place, directory, kDirMakerNote); // a buffer that is too small gets what fits
    result = krnMemFileClose(memory, 0, written);
  }
  TIFFreeDirectory(directory, kDirMakerNote);
  return result;
}
