// What is told about faults in a file that is prepared for a page, and in the directory of the page that is written.
#pragma once

#include "faults/WriteChecks.h"

// The way into an existing file of three pages, for a page behind them, before the second, in place of the second.
const ToldCodes* CodesOfPlace(Where where);
extern const ToldCodes kSaveCodes;             // the save drivers
extern const ToldCodes kWrittenDirectoryCodes; // the directory writer
extern const ToldCodes kPatchCodes;            // strip tables that are patched in the end
extern const ToldCodes kCompactCodes;          // the pages of one file into another: "to:" before places of the other
