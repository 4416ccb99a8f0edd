// The parts of the in-place editor: values stored into entries, entries written back to the file. The directory writer,
// comments, GeoTIFF keys and markers use them too. See TagAccess.h.

#include <cstddef>

#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/TagAccess.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/TagClass.h"

namespace {

constexpr uint32_t kHeaderBytes = 8;
constexpr uint32_t kMostEntries = 65535; // the count word has 16 bits

struct TagRange {
  uint16_t first;
  uint16_t last;
};

// Tags that the directory writer makes itself, and so cannot be set from outside.
constexpr TagRange kWriterTags[] = {
    {kTagNewSubfileType, kTagCompression},
    {kTagPhotometric, kTagPhotometric},
    {kTagFillOrder, kTagFillOrder},
    {kTagDocumentName, kTagOrientation},
    {kTagSamplesPerPixel, kTagStripByteCounts},
    {kTagXResolution, kTagPageName},
    {kTagT4Options, kTagT6Options},
    {kTagResolutionUnit, kTagResolutionUnit},
    {kTagSoftware, kTagDateTime},
    {kTagArtist, kTagPredictor},
    {kTagColorMap, kTagColorMap},
    {kTagTileWidth, kTagTileByteCounts},
    {kTagExtraSamples, kTagExtraSamples},
    {kTagYCbCrCoefficients, kTagReferenceBlackWhite},
    {kTagCopyright, kTagCopyright},
    {kTagIptc, kTagIptc},
    {kTagExifIfd, kTagExifIfd},
    {kTagGpsIfd, kTagGpsIfd},
};

// A value as it will stand in the file: its own bytes, and whether a NUL is added to close a text.
struct StoredValue {
  uint64_t bytes;
  uint32_t nul; // 0 or 1
  uint64_t Total() const { return bytes + nul; }
};

StoredValue MeasureValue(uint32_t type, uint32_t count, const void* data) {
  StoredValue value = {TIFValueBytes(type, count), 0};
  if (type == kTypeAscii && count != 0 && static_cast<const uint8_t*>(data)[count - 1] != 0) {
    value.nul = 1;
  }
  return value;
}

bool WriteWhole(const TifFile* file, const void* bytes, uint32_t n) {
  return krnFileWrite(file->fileHandle, bytes, n) == n;
}

// The value, its NUL and the pad that makes it even, at the current position.
bool WriteValue(const TifFile* file, const void* data, const StoredValue& value) {
  constexpr uint8_t kZeros[2] = {0, 0};
  const uint32_t pad = value.Total() % 2 != 0 ? 1 : 0;
  return WriteWhole(file, data, static_cast<uint32_t>(value.bytes)) && WriteWhole(file, kZeros, value.nul + pad);
}

// Whether an old out-of-line value really stands in the file: an edit must not write over the header, nor far behind
// the end.
bool IsPlaceInFile(const TifFile* file, uint32_t offset, uint64_t bytes) {
  const uint32_t end = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
  return end != kSeekFailed && offset >= kHeaderBytes && offset + bytes <= end;
}

// Count word, entries and next word at the current position.
bool WriteDirectoryWords(const TifFile* file, TifDirEntry* entries, uint32_t n, uint32_t next) {
  if (TIFWrite16(file, static_cast<uint16_t>(n)) == 0) {
    return false;
  }
  const bool swapped = !TIFIsLittle(file);
  if (swapped) {
    TIFSwapEntries(entries, n, SwapDirection::kToFile);
  }
  const bool written = WriteWhole(file, entries, n * kDirEntrySize);
  if (swapped) {
    TIFSwapEntries(entries, n, SwapDirection::kToMemory);
  }
  return written && TIFWrite32(file, next) != 0;
}

} // namespace

int32_t TIFSetEntry(TifFile* file, TifDirEntry* entries, const TifTagItem* item, void* data, uint32_t* n) {
  if (data == nullptr && TIFValueBytes(item->type, item->count) != 0) {
    return kResultOk; // nothing that could be stored
  }
  TifDirEntry* entry = TIFFindEntry(entries, *n, item->tag, nullptr);
  if (entry == nullptr) {
    // The bytes of the value word behind a short value stay 0xFF.
    entry = &entries[(*n)++];
    *entry = {0, 0, 0, 0xFFFFFFFFu};
  }
  return TIFReplaceEntryValue(file, entry, item, data);
}

int32_t TIFReplaceEntryValue(TifFile* file, TifDirEntry* entry, const TifTagItem* item, void* data) {
  const uint64_t oldBytes = TIFValueBytes(entry->type, entry->count);
  // The NUL that the storing will add counts, or a text could run over what stands behind its old place.
  const uint64_t newBytes = MeasureValue(item->type, item->count, data).Total();
  const uint64_t evened = (newBytes + 1) & ~uint64_t{1};
  entry->tag = item->tag;
  entry->type = item->type;
  entry->count = item->count;
  const uint32_t oldPlace = entry->value;
  const bool overOldValue = newBytes > kInlineBytes && evened <= oldBytes && IsPlaceInFile(file, oldPlace, oldBytes);
  return TIFStoreTagValue(file, entry, data, overOldValue ? oldPlace : kAtEndOfFile);
}

int32_t TIFStoreTagValue(TifFile* file, TifDirEntry* entry, void* data, uint32_t offset) {
  const uint32_t type = entry->type;
  const uint32_t count = entry->count;
  const StoredValue value = MeasureValue(type, count, data);
  if (value.Total() <= kInlineBytes) {
    uint8_t word[kInlineBytes];
    krnMemCopy(word, &entry->value, sizeof word);
    krnMemCopy(word, data, static_cast<size_t>(value.bytes));
    if (value.nul != 0) {
      word[value.bytes] = 0;
    }
    krnMemCopy(&entry->value, word, sizeof word);
    entry->count = count + value.nul;
    return kResultOk;
  }
  if (value.bytes > UINT32_MAX) {
    return krnWriteError(kResultWriteFailed);
  }
  const uint32_t place =
      offset == kAtEndOfFile ? TIFEvenEndOfFile(file) : TIFSeek(file->fileHandle, offset, kKrnSeekSet);
  if (place == kSeekFailed) {
    return kResultSeekFailed;
  }
  entry->value = place;
  entry->count = count + value.nul;
  const bool swapped = !TIFIsLittle(file);
  if (swapped) {
    TIFSwapValues(data, type, count);
  }
  const bool written = WriteValue(file, data, value);
  if (swapped) {
    TIFSwapValues(data, type, count);
  }
  return written ? kResultOk : krnWriteError(kResultWriteFailed);
}

uint32_t TIFEvenEndOfFile(TifFile* file) {
  const uint32_t end = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
  if (end == kSeekFailed || end % 2 == 0) {
    return end;
  }
  const uint32_t even = end + 1;
  const auto pad = static_cast<uint8_t>(even);
  if (WriteWhole(file, &pad, 1)) {
    return even;
  }
  return TIFSeek(file->fileHandle, even, kKrnSeekSet); // what follows must not stand at an odd place
}

int32_t TIFWriteEntries(TifFile* file, TifDirEntry* entries, uint32_t n, bool grew, uint32_t* directoryWord,
                        uint32_t next, uint32_t link) {
  if (n > kMostEntries) {
    return kResultNoMemory;
  }
  const uint32_t place = grew ? TIFEvenEndOfFile(file) : TIFSeek(file->fileHandle, *directoryWord, kKrnSeekSet);
  if (place == kSeekFailed) {
    return kResultSeekFailed;
  }
  *directoryWord = place;
  TIFSortEntries(entries, n);
  if (!WriteDirectoryWords(file, entries, n, next)) {
    return krnWriteError(kResultWriteFailed);
  }
  if (!grew || link == 0) {
    return kResultOk;
  }
  if (TIFSeek(file->fileHandle, link, kKrnSeekSet) == kSeekFailed) {
    return kResultSeekFailed;
  }
  return TIFWrite32(file, place) != 0 ? kResultOk : krnWriteError(kResultWriteFailed);
}

bool TIFIsTagAccepted(const TifTagItem* item) {
  if (item->data == nullptr || item->count == 0 || TIFTypeSize(item->type) == 0) {
    return false;
  }
  for (const TagRange& range : kWriterTags) {
    if (item->tag >= range.first && item->tag <= range.last) {
      return false;
    }
  }
  return true;
}
