// How a load comes to its page: the directory that the options ask for, parsed into a record of its own.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>
#include <vxtif/rawpage.h>

// The request's options, or options that ask for nothing.
const FileOptions* TIFOptionsOrNone(const FileOptions* options);

// The request's row callback, or one that refuses with -13.
TifRowSink TIFSinkOrRefusal(TifRowSink rowCallback);

// Goes to the page wanted, whose entry count then lies behind the position; one past the end of the chain is the last
// page. 1, -4, -7, -9.
int32_t TIFSeekWantedPage(TifFile* file, const FileOptions* options);

// Makes and parses the page record. `sampleFormat` is what a page without tag 339 has. 1, -1; -9 whatever the parser
// refuses the page for. The page is the caller's to free, in any case.
int32_t TIFParseWantedPage(TifFile* file, FileOptions* options, uint32_t sampleFormat, TifPage** page);
