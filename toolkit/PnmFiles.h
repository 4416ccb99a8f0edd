// PNM (P1 to P6) and PAM (P7) files.
#pragma once

#include <cstdio>
#include <string>

#include "toolkit/Image.h"
#include "toolkit/OutputFile.h"

namespace toolkit {

// Reads from an open stream that stands at its start. Throws Failure in the name of `file`.
Image ReadPnm(std::FILE* stream, const std::string& file);

// P4 for black and white, P5 for grey, P6 for colours; alpha is left out.
void WritePnm(const Image& image, OutputFile& out);

// P7, with alpha.
void WritePam(const Image& image, OutputFile& out);

} // namespace toolkit
