// Pages and files put together for the hostile lists: little-endian unless it is said.
#pragma once

#include <string>
#include <vector>

#include "limits/SparseFile.h"

constexpr uint32_t kFirstDirectory = 8;
constexpr uint32_t kAbsurd = 0xFFFFFFFF;
constexpr FileOrder kLittle = FileOrder::kLittle;
constexpr uint16_t kCompressions[] = {1, 2, 3, 4, 5, 32773};

// A page of 8-bit grey without its strips.
TiffDirectory Bare(uint32_t width, uint32_t length, uint16_t compression = 1);

// Pages whose tables hold `pieces` pieces, all of them the file's own bytes from the first directory on, of which each
// claims `claimed`.
TiffDirectory TiledPage(uint32_t width, uint32_t length, uint32_t tileWidth, uint32_t tileLength, uint32_t pieces,
                        uint32_t claimed, uint16_t compression);
TiffDirectory StripPage(uint32_t width, uint32_t length, uint32_t rowsPerStrip, uint32_t pieces, uint32_t claimed,
                        uint16_t compression);

SparseFile OnePage(std::string name, TiffDirectory page, FileOrder order = kLittle, uint16_t version = 42);

// A file by hand: header, then what stands behind it.
FileBytes Header(uint32_t firstDirectory = kFirstDirectory);
void AppendEntry(FileBytes& bytes, uint16_t tag, uint16_t type, uint32_t count, uint32_t value);

std::string Number(uint32_t count);
