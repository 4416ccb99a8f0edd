// The IPTC block of tag 33723: a stream of IIM data sets, read, built, cut and merged. Used by the comment reader, the
// editor and the directory writer.
#pragma once

#include <cstdint>

#include "tif_com/CommentTables.h"

// Whether a slot holds something to write, and how many values (`pieces`, at least 1 then). A closing NUL behind a
// value of full length is taken off the slot.
bool TIFCheckIptcComment(const IptcRow& row, TifComment* slot, uint32_t* pieces);

// The comment's values into the buffer, several of them joined by kIptcSeparator; a null buffer asks for the size. The
// size; -13 for a number that is no IPTC comment; -140, -16 for a malformed stream.
int32_t TIFGatherIptcComment(uint32_t comment, uint8_t* block, uint32_t blockBytes, uint8_t* buffer,
                             uint32_t bufferSize);

// Takes all values of the comments that are about to be written out of a block; its length afterwards.
uint32_t TIFRemoveIptcComments(TifCommentBlock* comments, uint8_t* block, uint32_t blockBytes);
