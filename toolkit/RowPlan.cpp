// Choice of palettes, and the conversions of rows.

#include "toolkit/RowPlan.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "toolkit/ColorReduction.h"
#include "toolkit/DeepGray.h"
#include "toolkit/Image.h"

namespace toolkit {
namespace {

bool IsGrayColour(const VxColor& colour) {
  return colour.red == colour.green && colour.green == colour.blue;
}

void FillRamp(Palette& palette, uint32_t entries) {
  palette = {};
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t gray = RampGray(i, entries);
    palette[i] = {gray, gray, gray, 0};
  }
}

void FillPalette(Palette& palette, const std::vector<VxColor>& colours) {
  palette = {};
  std::copy_n(colours.begin(), std::min<size_t>(colours.size(), palette.size()), palette.begin());
}

bool AreGray(const std::vector<VxColor>& colours) {
  return std::all_of(colours.begin(), colours.end(), IsGrayColour);
}

// Whether each grey is one of the plain ramp's.
bool LieOnRamp(const std::vector<VxColor>& grays, uint32_t entries) {
  return std::all_of(grays.begin(), grays.end(), [&](const VxColor& colour) {
    const uint32_t level = (colour.blue * (entries - 1) + 127) / 255;
    return RampGray(level, entries) == colour.blue;
  });
}

} // namespace

RowPlan::RowPlan(const BitmapHandle* bitmap, const RowTarget& target, Palette& palette, bool choosePalette)
    : bitmap_(bitmap), target_(target), rows_(bitmap), width_(static_cast<size_t>(bitmap->width)),
      outBytes_((width_ * target.bits + 7) / 8) {
  if (rows_.Kind() == PixelKind::kUnknown) {
    usable_ = false;
  } else if (target.bits <= 8) {
    PlanIndices(palette, choosePalette);
  } else if (KeepsForm()) {
    work_ = Work::kCopy;
  } else if (target.bits == 12 || (target.gray && (target.bits == 16 || target.bits == 32))) {
    work_ = Work::kGrayDeep;
    samples_.resize(width_);
  } else if (target.bits == 16) {
    work_ = Work::kWords;
    bytes_.resize(3 * width_);
  } else if (target.bits <= 32) {
    work_ = Work::kBytes;
    bytes_.resize(4 * width_);
  } else {
    work_ = Work::kSamples16;
    words_.resize(4 * width_);
  }
}

// Whether a row of the bitmap is a row of the output as it stands.
bool RowPlan::KeepsForm() const {
  if (static_cast<uint32_t>(bitmap_->bitsPerPixel) != target_.bits) {
    return false;
  }
  switch (rows_.Kind()) {
  case PixelKind::kDeepGray:
    return target_.bits == 12 || target_.gray;
  case PixelKind::kColourWords:
    return !target_.gray;
  default:
    return !target_.gray && (bitmap_->order == kOrderBlueFirst) == target_.blueFirst;
  }
}

void RowPlan::PlanIndices(Palette& palette, bool choosePalette) {
  const uint32_t entries = 1u << target_.bits;
  if (target_.gray || rows_.IsGray()) {
    if (choosePalette && rows_.Kind() == PixelKind::kIndexed && !target_.gray &&
        bitmap_->bitsPerPixel == static_cast<int32_t>(target_.bits)) {
      palette = rows_.Colours();
      work_ = Work::kCopy;
      return;
    }
    if (choosePalette || target_.gray) {
      PlanGrayRamp(palette);
      return;
    }
  }
  if (!choosePalette) {
    Reduce(palette, entries, false);
    return;
  }
  if (rows_.Kind() == PixelKind::kIndexed && bitmap_->bitsPerPixel <= static_cast<int32_t>(target_.bits)) {
    palette = rows_.Colours();
    work_ = Work::kMapIndices;
    for (size_t i = 0; i < map_.size(); ++i) {
      map_[i] = static_cast<uint8_t>(i);
    }
    if (bitmap_->bitsPerPixel == static_cast<int32_t>(target_.bits)) {
      work_ = Work::kCopy;
    }
    return;
  }
  const PictureRows picture = {width_, bitmap_->height, [this](int32_t row, uint8_t* out) {
                                 const bool there = rows_.Fetch(row);
                                 if (there) {
                                   rows_.ToRgb8(out);
                                 }
                                 return there;
                               }};
  const std::optional<std::vector<VxColor>> few = CollectColours(picture, entries);
  if (few && AreGray(*few) && LieOnRamp(*few, entries)) {
    PlanGrayRamp(palette);
  } else if (few) {
    FillPalette(palette, *few);
    Reduce(palette, static_cast<uint32_t>(few->size()), false);
  } else if (target_.bits == 1) {
    FillRamp(palette, entries);
    Reduce(palette, entries, true);
  } else {
    const std::vector<VxColor> chosen = ChooseColours(picture, entries);
    FillPalette(palette, chosen);
    Reduce(palette, static_cast<uint32_t>(chosen.size()), false);
  }
}

// Grey output: by a table where that is exact or 8 bits are kept, with error diffusion below.
void RowPlan::PlanGrayRamp(Palette& palette) {
  const uint32_t entries = 1u << target_.bits;
  if (rows_.Kind() == PixelKind::kIndexed) {
    const auto first = rows_.Colours().begin();
    std::vector<VxColor> colours(first, first + (ptrdiff_t{1} << bitmap_->bitsPerPixel));
    for (VxColor& colour : colours) {
      const auto gray = static_cast<uint8_t>(Luminance(colour.red, colour.green, colour.blue));
      colour = {gray, gray, gray, 0};
    }
    if (MapOntoRamp(colours, palette)) {
      return;
    }
    // Fewer greys than the depth has room for stay exact in a palette of their own.
    if (!target_.gray && colours.size() <= entries) {
      FillPalette(palette, colours);
      work_ = Work::kMapIndices;
      for (size_t i = 0; i < map_.size(); ++i) {
        map_[i] = static_cast<uint8_t>(i);
      }
      return;
    }
  }
  FillRamp(palette, entries);
  if (target_.bits == 8) {
    work_ = Work::kGrayBytes;
    return;
  }
  Reduce(palette, entries, true);
}

bool RowPlan::MapOntoRamp(const std::vector<VxColor>& used, Palette& palette) {
  const uint32_t entries = 1u << target_.bits;
  if (!LieOnRamp(used, entries)) {
    return false;
  }
  FillRamp(palette, entries);
  work_ = Work::kMapIndices;
  for (size_t i = 0; i < used.size(); ++i) {
    map_[i] = static_cast<uint8_t>((used[i].blue * (entries - 1) + 127) / 255);
  }
  return true;
}

// Converts the whole picture at once: error diffusion needs the rows in order, and a save may ask for them in any.
void RowPlan::Reduce(const Palette& palette, uint32_t entries, bool ramp) {
  work_ = Work::kReduced;
  reduced_.assign(outBytes_ * static_cast<size_t>(std::max(int32_t{bitmap_->height}, 0)), 0);
  const PictureRows picture = {width_, bitmap_->height, [this, ramp](int32_t row, uint8_t* out) {
                                 if (!rows_.Fetch(row)) {
                                   return false;
                                 }
                                 ramp ? rows_.ToGray8(out) : rows_.ToRgb8(out);
                                 return true;
                               }};
  usable_ = ramp ? DitherToRamp(picture, target_.bits, reduced_.data(), outBytes_)
                 : DitherToPalette(picture, {palette.data(), entries}, target_.bits, reduced_.data(), outBytes_);
}

bool RowPlan::Convert(int32_t row, uint8_t* out) {
  if (row < 0 || row >= bitmap_->height) {
    return false;
  }
  if (work_ == Work::kReduced) {
    std::memcpy(out, reduced_.data() + static_cast<size_t>(row) * outBytes_, outBytes_);
    return true;
  }
  if (work_ == Work::kCopy) {
    return krnBitmapGetRow(bitmap_, out, row, static_cast<int32_t>(outBytes_)) == static_cast<int32_t>(outBytes_);
  }
  if (!rows_.Fetch(row)) {
    return false;
  }
  switch (work_) {
  case Work::kMapIndices:
    bytes_.resize(width_);
    rows_.ToIndices(bytes_.data());
    for (uint8_t& index : bytes_) {
      index = map_[index];
    }
    PackSamples(bytes_.data(), out, width_, target_.bits);
    break;
  case Work::kGrayBytes:
    rows_.ToGray8(out);
    break;
  case Work::kGrayDeep:
    PutGrayDeep(out);
    break;
  case Work::kWords:
    PutWords(out);
    break;
  case Work::kBytes:
    PutBytes(out);
    break;
  default:
    PutSamples16(out);
    break;
  }
  return true;
}

void RowPlan::PutGrayDeep(uint8_t* out) {
  rows_.ToGray16(samples_.data());
  if (target_.bits == 12) {
    for (uint32_t& sample : samples_) {
      sample >>= 4;
    }
  } else if (target_.bits == 32) {
    for (uint32_t& sample : samples_) {
      sample *= 65537u;
    }
  }
  WriteGrayRow(samples_.data(), width_, target_.bits, out);
}

void RowPlan::PutWords(uint8_t* out) {
  rows_.ToRgb8(bytes_.data());
  const uint8_t* from = bytes_.data();
  const auto five = [](uint32_t eight) { return (eight * 31 + 127) / 255; };
  for (size_t x = 0; x < width_; ++x, from += 3, out += 2) {
    const auto word = static_cast<uint16_t>(five(from[0]) << 10 | five(from[1]) << 5 | five(from[2]));
    std::memcpy(out, &word, sizeof word);
  }
}

void RowPlan::PutBytes(uint8_t* out) {
  if (target_.gray) {
    rows_.ToGray8(bytes_.data());
    const size_t step = target_.bits / 8;
    for (size_t x = 0; x < width_; ++x, out += step) {
      std::memset(out, bytes_[x], 3);
    }
    return;
  }
  if (target_.bits == 24) {
    rows_.ToRgb8(target_.blueFirst ? bytes_.data() : out);
    for (size_t at = 0; target_.blueFirst && at < 3 * width_; at += 3) {
      out[at] = bytes_[at + 2];
      out[at + 1] = bytes_[at + 1];
      out[at + 2] = bytes_[at];
    }
    return;
  }
  rows_.ToRgba8(target_.blueFirst ? bytes_.data() : out);
  for (size_t at = 0; target_.blueFirst && at < 4 * width_; at += 4) {
    out[at] = bytes_[at + 2];
    out[at + 1] = bytes_[at + 1];
    out[at + 2] = bytes_[at];
    out[at + 3] = bytes_[at + 3];
  }
}

void RowPlan::PutSamples16(uint8_t* out) {
  rows_.ToRgba16(words_.data());
  const size_t channels = target_.bits / 16;
  const size_t red = target_.blueFirst ? 2 : 0;
  for (size_t x = 0; x < width_; ++x, out += 2 * channels) {
    const uint16_t* from = words_.data() + 4 * x;
    uint16_t pixel[4] = {from[red], from[1], from[2 - red], from[3]};
    if (target_.gray) {
      const auto gray = static_cast<uint16_t>(
          (uint64_t{19595} * from[0] + uint64_t{38470} * from[1] + uint64_t{7471} * from[2] + 32768) >> 16);
      pixel[0] = pixel[1] = pixel[2] = gray;
    }
    std::memcpy(out, pixel, 2 * channels);
  }
}

} // namespace toolkit
