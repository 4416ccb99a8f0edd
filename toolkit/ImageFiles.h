// Reading and writing of ordinary image files, chosen by the name's ending or, on reading, by the first bytes.
#pragma once

#include <optional>
#include <string>

#include "toolkit/Image.h"

namespace toolkit {

enum class FileKind { kPng, kPnm, kPam, kRaw };

// By the name's ending: .png, .pnm (also .pbm, .pgm, .ppm), .pam, .raw.
std::optional<FileKind> KindOfName(const std::string& name);

// A PNG, PNM (P1 to P6) or PAM (P7) file. Throws Failure.
Image ReadImageFile(const std::string& file);

// Writes beside the name and renames when the file is whole. PNM takes the smallest of P4, P5 and P6 that holds the
// picture, without its alpha. Throws Failure.
void WriteImageFile(const Image& image, const std::string& file, FileKind kind);

} // namespace toolkit
