// PNG files, through libpng. Left out of builds without it.
#pragma once

#include <cstdio>
#include <string>

#include "toolkit/Image.h"

namespace toolkit {

// Reads from an open stream. Throws Failure in the name of `file`.
Image ReadPng(std::FILE* stream, const std::string& file);

// Writes to an open stream. Throws Failure in the name of `file`.
void WritePng(const Image& image, std::FILE* stream, const std::string& file);

} // namespace toolkit
