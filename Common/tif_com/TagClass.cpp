// What a tag is. See the header.

#include "tif_com/TagClass.h"

namespace {

struct SubDirectoryRule {
  TifDirKind parent;
  uint16_t tag;
  TifDirKind child;
};

constexpr SubDirectoryRule kSubDirectoryRules[] = {
    {kDirMain, kTagSubIfds, kDirMain},        {kDirMain, kTagExifIfd, kDirExif},
    {kDirMain, kTagGpsIfd, kDirGps},          {kDirMain, kTagPrivateSubDirectory, kDirPrivate50236},
    {kDirExif, kTagMakerNote, kDirMakerNote}, {kDirExif, kTagInteroperabilityIfd, kDirInteroperability},
};

int32_t BaseClass(const TifTagRecord* record) {
  const uint32_t storage = record->storage & kStorageKindMask;
  if (storage == kStorageBlockArray) {
    return kTagClassBlockArray;
  }
  const bool outOfLine = TIFValueBytes(record->type, record->count) > kInlineBytes;
  return outOfLine || storage == kStorageBlock ? kTagClassBlock : kTagClassInline;
}

bool IsJpegTable(uint16_t tag) {
  return tag == kTagJpegQTables || tag == kTagJpegDcTables || tag == kTagJpegAcTables;
}

template <typename Item> Item* FindTag(Item* items, uint32_t count, uint16_t tag, int32_t* index) {
  for (uint32_t i = 0; i < count; ++i) {
    if (items[i].tag == tag) {
      if (index != nullptr) {
        *index = static_cast<int32_t>(i);
      }
      return &items[i];
    }
  }
  if (index != nullptr) {
    *index = -1;
  }
  return nullptr;
}

} // namespace

bool TIFSubDirectoryKind(uint16_t tag, TifDirKind parentKind, TifDirKind* childKind) {
  for (const SubDirectoryRule& rule : kSubDirectoryRules) {
    if (rule.tag == tag && rule.parent == parentKind) {
      *childKind = rule.child;
      return true;
    }
  }
  return false;
}

int32_t TIFClassifyTag(const TifTagRecord* record, uint32_t* size, TifDirKind parentKind, TifDirKind* childKind) {
  uint32_t unusedSize = 0;
  uint32_t& bytes = size != nullptr ? *size : unusedSize;
  const uint16_t tag = record->tag;
  const bool isMetadata = parentKind == kDirExif || parentKind == kDirGps;
  bytes = record->count;
  if (TIFSubDirectoryKind(tag, parentKind, childKind)) {
    return kTagClassSubDirectory;
  }
  if (tag == kTagJpegInterchangeFormat && !isMetadata) {
    return kTagClassJpegStream;
  }
  bytes = static_cast<uint32_t>(TIFValueBytes(record->type, record->count));
  if (isMetadata) {
    return BaseClass(record);
  }
  if (tag == kTagStripOffsets || tag == kTagTileOffsets) {
    return kTagClassImageOffsets;
  }
  return IsJpegTable(tag) ? kTagClassJpegTable : BaseClass(record);
}

TifTagRecord* TIFFindRecord(TifTagRecord* records, uint32_t count, uint16_t tag, int32_t* index) {
  return FindTag(records, count, tag, index);
}

TifDirEntry* TIFFindEntry(TifDirEntry* entries, uint32_t count, uint16_t tag, int32_t* index) {
  return FindTag(entries, count, tag, index);
}
