// A target file for the tree writer, and the writing of trees read from source bytes into it.
#pragma once

#include "tags/TagItems.h"
#include "tif_com/TreeWriter.h"
#include "tree/TreeInput.h"

class TreeTarget {
public:
  TreeTarget(FileOrder order, const FileBytes& bytes) : disk_(bytes) {
    file.fileHandle = krnFileOpen(disk_.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = order == FileOrder::kLittle ? kByteOrderLittle : kByteOrderBig;
    krnFileSeek(file.fileHandle, 0, kKrnSeekEnd);
  }
  ~TreeTarget() { krnFileClose(file.fileHandle); }
  TreeTarget(const TreeTarget&) = delete;
  TreeTarget& operator=(const TreeTarget&) = delete;

  // A tree written at the end; `source` null for one that is whole in memory.
  int32_t Write(TifDirectory* tree, TifFile* source, uint32_t link = 0, TifDirKind kind = kDirMain) {
    return TIFWriteDirectoryTree(&file, source, tree->records, static_cast<int32_t>(tree->entryCount), link, &nextWord,
                                 &position, kind);
  }
  FileBytes Read() const { return disk_.Read(); }

  TifFile file = {};
  uint32_t nextWord = 0xAAAAAAAA;
  uint32_t position = 0xAAAAAAAA;

private:
  TempFile disk_;
};

// The source's first page written as the first page of a new file of `order`.
inline FileBytes Rewritten(const FileBytes& source, FileOrder order, int32_t expected = 1) {
  KernelGuard guard;
  TreeInput input(source);
  EXPECT_NE(input.Tree(), nullptr);
  if (input.Tree() == nullptr) {
    return {};
  }
  TreeTarget target(order, Bytes(order).Header(0).bytes);
  EXPECT_EQ(target.Write(input.Tree(), &input.File(), 4), expected);
  return target.Read();
}
