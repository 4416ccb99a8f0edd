// One row of a CCITT stream to changes of colour (see FaxRuns.h), in the one- and the two-dimensional scheme. What
// stands between rows, and what is done about damage, is the strip decoder's.
#pragma once

#include "FaxBits.h"
#include "FaxRuns.h"

#include <cstdint>

enum FaxRowState : uint8_t {
  kFaxRowWhole,   // the runs end at the width
  kFaxRowOverrun, // the last run went past the width and was cut
  kFaxRowDamaged, // no code word where one was due: the reader stands there, the rest of the row is white
};

// `row->at` has room for a change a pixel, or one a bit of the stream if that is less, and kFaxChangeSlack. Both
// set `row->count` and the sentinels.
FaxRowState FaxDecodeRow1D(FaxBitReader* reader, int32_t width, FaxChanges* row);

// `reference` is the row above, with its sentinels; its memory is not `row`'s.
FaxRowState FaxDecodeRow2D(FaxBitReader* reader, int32_t width, const FaxChanges& reference, FaxChanges* row);
