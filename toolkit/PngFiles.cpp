// PNG files in and out. libpng reports errors by a jump: the functions it may leave that way hold plain data only.

#include "toolkit/PngFiles.h"

#include <bit>
#include <csetjmp>
#include <cstring>

#include <png.h>

#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

constexpr double kMetresPerInch = 0.0254;

struct PngMessage {
  char text[120];
};

void KeepMessage(png_structp png, png_const_charp message) {
  auto* kept = static_cast<PngMessage*>(png_get_error_ptr(png));
  std::snprintf(kept->text, sizeof kept->text, "%s", message);
  png_longjmp(png, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

uint32_t PixelsPerMetre(int32_t perInch) {
  return static_cast<uint32_t>(perInch / kMetresPerInch + 0.5);
}

int32_t PixelsPerInch(uint32_t perMetre) {
  return static_cast<int32_t>(perMetre * kMetresPerInch + 0.5);
}

int ColorTypeOf(ImageKind kind) {
  switch (kind) {
  case ImageKind::kGrayAlpha:
    return PNG_COLOR_TYPE_GRAY_ALPHA;
  case ImageKind::kRgb:
    return PNG_COLOR_TYPE_RGB;
  case ImageKind::kRgba:
    return PNG_COLOR_TYPE_RGB_ALPHA;
  case ImageKind::kPalette:
    return PNG_COLOR_TYPE_PALETTE;
  default:
    return PNG_COLOR_TYPE_GRAY;
  }
}

ImageKind KindOf(int colorType) {
  switch (colorType) {
  case PNG_COLOR_TYPE_GRAY_ALPHA:
    return ImageKind::kGrayAlpha;
  case PNG_COLOR_TYPE_RGB:
    return ImageKind::kRgb;
  case PNG_COLOR_TYPE_RGB_ALPHA:
    return ImageKind::kRgba;
  case PNG_COLOR_TYPE_PALETTE:
    return ImageKind::kPalette;
  default:
    return ImageKind::kGray;
  }
}

// The parts of a picture that the jumping functions may touch.
struct WriteJob {
  const Image* image;
  png_color palette[256];
  int paletteSize;
};

bool WriteAll(png_structp png, png_infop info, const WriteJob* job) {
  if (setjmp(png_jmpbuf(png)) != 0) {
    return false;
  }
  const Image* image = job->image;
  png_set_IHDR(png, info, image->width, image->height, static_cast<int>(image->bits), ColorTypeOf(image->kind),
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (job->paletteSize > 0) {
    png_set_PLTE(png, info, job->palette, job->paletteSize);
  }
  if (image->xResolution > 0 && image->yResolution > 0) {
    png_set_pHYs(png, info, PixelsPerMetre(image->xResolution), PixelsPerMetre(image->yResolution),
                 PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  if (image->bits == 16 && std::endian::native == std::endian::little) {
    png_set_swap(png);
  }
  for (uint32_t y = 0; y < image->height; ++y) {
    png_write_row(png, image->Row(y));
  }
  png_write_end(png, nullptr);
  return true;
}

struct ReadHeader {
  png_uint_32 width;
  png_uint_32 height;
  int bits;
  int colorType;
  bool transparentColours; // a tRNS chunk, which becomes alpha
  png_colorp palette;
  int paletteSize;
  png_uint_32 xPerMetre;
  png_uint_32 yPerMetre;
};

bool ReadUpToPixels(png_structp png, png_infop info, ReadHeader* header) {
  if (setjmp(png_jmpbuf(png)) != 0) {
    return false;
  }
  png_read_info(png, info);
  int unit = 0;
  if (png_get_pHYs(png, info, &header->xPerMetre, &header->yPerMetre, &unit) == 0 || unit != PNG_RESOLUTION_METER) {
    header->xPerMetre = 0;
    header->yPerMetre = 0;
  }
  header->transparentColours = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (header->transparentColours) {
    png_set_expand(png);
  }
  png_set_interlace_handling(png);
  if (png_get_bit_depth(png, info) == 16 && std::endian::native == std::endian::little) {
    png_set_swap(png);
  }
  png_read_update_info(png, info);
  png_get_IHDR(png, info, &header->width, &header->height, &header->bits, &header->colorType, nullptr, nullptr,
               nullptr);
  if (header->colorType == PNG_COLOR_TYPE_PALETTE) {
    png_get_PLTE(png, info, &header->palette, &header->paletteSize);
  }
  return true;
}

bool ReadPixels(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png)) != 0) {
    return false;
  }
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

} // namespace

void WritePng(const Image& image, std::FILE* stream, const std::string& file) {
  PngMessage message = {};
  WriteJob job = {};
  job.image = &image;
  if (image.kind == ImageKind::kPalette) {
    for (const auto& colour : image.palette) {
      job.palette[job.paletteSize++] = png_color{colour[0], colour[1], colour[2]};
    }
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, KeepMessage, IgnoreWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  bool written = false;
  if (info != nullptr) {
    png_init_io(png, stream);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    // Level 3 with one filter writes several times faster than the default and grows files by some percent.
    png_set_compression_level(png, 3);
    png_set_filter(png, PNG_FILTER_TYPE_BASE,
                   image.kind == ImageKind::kPalette || image.bits < 8 ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    written = WriteAll(png, info, &job);
  }
  png_destroy_write_struct(&png, &info);
  if (!written) {
    throw Failure(file, "write", kResultWriteFailed, message.text);
  }
}

Image ReadPng(std::FILE* stream, const std::string& file) {
  PngMessage message = {};
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, KeepMessage, IgnoreWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  Image image;
  bool whole = false;
  if (info != nullptr) {
    ReadHeader header = {};
    png_init_io(png, stream);
    if (ReadUpToPixels(png, info, &header)) {
      try {
        AllocateImage(image, header.width, header.height, KindOf(header.colorType), static_cast<uint32_t>(header.bits));
        for (int i = 0; i < header.paletteSize; ++i) {
          image.palette.push_back({header.palette[i].red, header.palette[i].green, header.palette[i].blue});
        }
        image.xResolution = PixelsPerInch(header.xPerMetre);
        image.yResolution = PixelsPerInch(header.yPerMetre);
        std::vector<png_bytep> rows(image.height);
        for (uint32_t y = 0; y < image.height; ++y) {
          rows[y] = image.Row(y);
        }
        whole = ReadPixels(png, rows.data());
      } catch (...) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw;
      }
    }
  }
  png_destroy_read_struct(&png, &info, nullptr);
  if (!whole) {
    throw Failure(file, "read", kResultReadFailed, message.text);
  }
  return image;
}

} // namespace toolkit
