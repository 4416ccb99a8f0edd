// What is told about faults on the way to a page and in its directory, which all readers share.
#pragma once

#include "faults/FaultSweep.h"

extern const ToldCodes kOpenCodes;       // opening by name, the header, the way to the page
extern const ToldCodes kWalkCodes;       // the chain from page 1 to page 2
extern const ToldCodes kChainCodes;      // the chain as far as it is walked
extern const ToldCodes kLoadParserCodes; // a refused page fails a load with -9
extern const ToldCodes kInfoParserCodes; // and a report with 0
extern const ToldCodes kLoadDriverCodes; // palette, buffers, temporary bitmaps

extern const ToldCodes kEditCodes; // edits of a page of an existing file
