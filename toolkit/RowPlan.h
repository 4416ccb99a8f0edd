// How the rows of one bitmap become the rows of a save: settled once, then run for every row.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/BitmapRows.h"

namespace toolkit {

struct RowTarget {
  uint32_t bits;
  bool gray;
  bool blueFirst;
};

using Palette = std::array<VxColor, kPaletteEntries>;

class RowPlan {
public:
  // `palette` is the palette of the output up to 8 bits. A first plan chooses it; plans for further bitmaps keep it.
  RowPlan(const BitmapHandle* bitmap, const RowTarget& target, Palette& palette, bool choosePalette);

  const BitmapHandle* Bitmap() const { return bitmap_; }
  bool IsUsable() const { return usable_; }

  // Writes a row of the target's form; false for a row that is not there.
  bool Convert(int32_t row, uint8_t* out);

private:
  enum class Work { kCopy, kMapIndices, kGrayBytes, kReduced, kGrayDeep, kWords, kBytes, kSamples16 };

  void PlanIndices(Palette& palette, bool choosePalette);
  void PlanGrayRamp(Palette& palette);
  bool MapOntoRamp(const std::vector<VxColor>& used, Palette& palette);
  void Reduce(const Palette& palette, uint32_t entries, bool ramp);
  bool KeepsForm() const;

  void PutGrayDeep(uint8_t* out);
  void PutWords(uint8_t* out);
  void PutBytes(uint8_t* out);
  void PutSamples16(uint8_t* out);

  const BitmapHandle* bitmap_;
  RowTarget target_;
  BitmapRows rows_;
  Work work_ = Work::kCopy;
  bool usable_ = true;
  size_t width_;
  size_t outBytes_;
  std::array<uint8_t, kPaletteEntries> map_ = {}; // kMapIndices
  std::vector<uint8_t> reduced_;                  // kReduced: all rows of the output
  std::vector<uint8_t> bytes_;                    // scratch of a row
  std::vector<uint16_t> words_;
  std::vector<uint32_t> samples_;
};

} // namespace toolkit
