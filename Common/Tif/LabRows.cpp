// CIELab rows to red, green, blue. The rounding of single-precision products is what the results are, so the order of
// the operations and the bits of the constants stand fixed; the library is compiled without fused or widened
// operations. The row stage and the raw PackBits load use it.

#include <algorithm>
#include <bit>

#include "Tif/ColorConversion.h"
#include "tif_com/ByteOrder.h"

namespace {

constexpr uint32_t kBatch = 64;

// What differs between 8- and 16-bit samples.
struct LabScale {
  float luma;   // full scale of L to 100 per cent of 100
  float aStep;  // one step of a in f(x)
  float bStep;  // one step of b in f(z)
  float xWhite; // full scale times the white point's X, Y, Z
  float yWhite;
  float zWhite;
  int32_t full; // largest result
};

// The decimals beside the bits only tell the value's name: the bits count.
constexpr LabScale kLabScale8 = {
    std::bit_cast<float>(0x3B808081u), // 0.003921569
    std::bit_cast<float>(0x3B03126Fu), // 0.002
    std::bit_cast<float>(0x3BA3D70Au), // 0.005
    std::bit_cast<float>(0x437A27AEu), // 250.155
    255.0f,
    std::bit_cast<float>(0x43961148u), // 300.135
    255,
};
constexpr LabScale kLabScale16 = {
    std::bit_cast<float>(0x37800080u), // 1.5259022e-5
    std::bit_cast<float>(0x3703126Fu), // 7.8125e-6
    std::bit_cast<float>(0x37A3D70Au), // 1.953125e-5
    std::bit_cast<float>(0x477B21D6u), // 64289.836
    std::bit_cast<float>(0x477FFF00u), // 65535.0
    std::bit_cast<float>(0x4796A759u), // 77134.695
    65535,
};
constexpr float kPerLightness = std::bit_cast<float>(0x3C0D3DCBu); // 0.00862069, 1 / 116

// The colour matrix. Products with X are made in single precision, the others in double.
constexpr float kRedOfX = std::bit_cast<float>(0x3FF47AE1u);   // 1.91
constexpr float kGreenOfX = std::bit_cast<float>(0x3F7BE76Du); // 0.984
constexpr float kBlueOfX = std::bit_cast<float>(0x3D6D9168u);  // 0.058
constexpr double kRedOfY = 0.534;
constexpr double kRedOfZ = 0.289;
constexpr double kGreenOfY = 1.999;
constexpr double kGreenOfZ = 0.028;
constexpr double kBlueOfY = 0.119;
constexpr double kBlueOfZ = 0.902;

struct LabBatch {
  int32_t lightness[kBatch];
  int32_t a[kBatch];
  int32_t b[kBatch];
};

struct RgbBatch {
  int32_t red[kBatch];
  int32_t green[kBatch];
  int32_t blue[kBatch];
};

int32_t ClampTruncated(double value, int32_t full) {
  return std::clamp(static_cast<int32_t>(value), 0, full);
}

void ConvertBatch(const LabBatch& lab, uint32_t count, const LabScale& scale, RgbBatch* rgb) {
  for (uint32_t i = 0; i < count; ++i) {
    const float fy = (static_cast<float>(lab.lightness[i] * 100) * scale.luma + 16.0f) * kPerLightness;
    const float fx = static_cast<float>(lab.a[i]) * scale.aStep + fy;
    const float fz = fy - static_cast<float>(lab.b[i]) * scale.bStep;
    const float x = ((fx * fx) * fx) * scale.xWhite;
    const float y = ((fy * fy) * fy) * scale.yWhite;
    const float z = ((fz * fz) * fz) * scale.zWhite;
    const double red =
        static_cast<double>(x * kRedOfX) - static_cast<double>(y) * kRedOfY - static_cast<double>(z) * kRedOfZ;
    const double green =
        static_cast<double>(y) * kGreenOfY - static_cast<double>(x * kGreenOfX) - static_cast<double>(z) * kGreenOfZ;
    const double blue =
        static_cast<double>(x * kBlueOfX) - static_cast<double>(y) * kBlueOfY + static_cast<double>(z) * kBlueOfZ;
    rgb->red[i] = ClampTruncated(red, scale.full);
    rgb->green[i] = ClampTruncated(green, scale.full);
    rgb->blue[i] = ClampTruncated(blue, scale.full);
  }
}

// How the samples of a pixel stand in memory.
struct Row8 {
  static constexpr uint32_t kSampleBytes = 1;
  static constexpr const LabScale& kScale = kLabScale8;
  static int32_t Lightness(const uint8_t* pixel) { return pixel[0]; }
  static int32_t A(const uint8_t* pixel) { return static_cast<int8_t>(pixel[1]); }
  static int32_t B(const uint8_t* pixel) { return static_cast<int8_t>(pixel[2]); }
  static void Store(uint8_t* pixel, int32_t red, int32_t green, int32_t blue) {
    pixel[0] = static_cast<uint8_t>(red);
    pixel[1] = static_cast<uint8_t>(green);
    pixel[2] = static_cast<uint8_t>(blue);
  }
};

struct Row16 {
  static constexpr uint32_t kSampleBytes = 2;
  static constexpr const LabScale& kScale = kLabScale16;
  static int32_t Lightness(const uint8_t* pixel) { return LoadU16LE(pixel); }
  static int32_t A(const uint8_t* pixel) { return static_cast<int16_t>(LoadU16LE(pixel + 2)); }
  // Only the low byte of b counts, and it counts as signed.
  static int32_t B(const uint8_t* pixel) { return static_cast<int8_t>(pixel[4]); }
  static void Store(uint8_t* pixel, int32_t red, int32_t green, int32_t blue) {
    StoreU16LE(pixel, static_cast<uint16_t>(red));
    StoreU16LE(pixel + 2, static_cast<uint16_t>(green));
    StoreU16LE(pixel + 4, static_cast<uint16_t>(blue));
  }
};

template <typename Layout> void ConvertRow(uint8_t* row, uint64_t pixels, uint64_t stepBytes) {
  LabBatch lab;
  RgbBatch rgb;
  // Pixels that overlap, in a bitmap too shallow for the page, see the results of those before them.
  const uint64_t batchPixels = stepBytes < 3 * Layout::kSampleBytes ? 1 : kBatch;
  for (uint64_t done = 0; done < pixels; done += batchPixels) {
    const auto count = static_cast<uint32_t>(std::min(batchPixels, pixels - done));
    uint8_t* const batch = row + done * stepBytes;
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* const pixel = batch + i * stepBytes;
      lab.lightness[i] = Layout::Lightness(pixel);
      lab.a[i] = Layout::A(pixel);
      lab.b[i] = Layout::B(pixel);
    }
    ConvertBatch(lab, count, Layout::kScale, &rgb);
    for (uint32_t i = 0; i < count; ++i) {
      Layout::Store(batch + i * stepBytes, rgb.red[i], rgb.green[i], rgb.blue[i]);
    }
  }
}

template <typename Layout> void ConvertBounded(uint8_t* row, uint32_t pixels, uint32_t step, uint64_t rowBytes) {
  constexpr uint64_t kPixelBytes = 3 * Layout::kSampleBytes;
  if (rowBytes < kPixelBytes) {
    return;
  }
  const uint64_t stepBytes = uint64_t{step} * Layout::kSampleBytes;
  const uint64_t room = stepBytes == 0 ? pixels : (rowBytes - kPixelBytes) / stepBytes + 1;
  ConvertRow<Layout>(row, std::min<uint64_t>(pixels, room), stepBytes);
}

} // namespace

void TIFLabToRgb8(uint8_t* row, uint32_t pixels, uint32_t step, uint64_t rowBytes) {
  ConvertBounded<Row8>(row, pixels, step, rowBytes);
}

void TIFLabToRgb16(uint8_t* row, uint32_t pixels, uint32_t step, uint64_t rowBytes) {
  ConvertBounded<Row16>(row, pixels, step, rowBytes);
}

void TIFLabPaletteToRgb(VxColor* palette, uint32_t entries) {
  LabBatch lab;
  RgbBatch rgb;
  for (size_t done = 0; done < entries; done += kBatch) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(kBatch, entries - done));
    VxColor* const colors = palette + done;
    for (uint32_t i = 0; i < count; ++i) {
      lab.lightness[i] = colors[i].red;
      lab.a[i] = static_cast<int8_t>(colors[i].green);
      lab.b[i] = static_cast<int8_t>(colors[i].blue);
    }
    ConvertBatch(lab, count, kLabScale8, &rgb);
    for (uint32_t i = 0; i < count; ++i) {
      colors[i].red = static_cast<uint8_t>(rgb.red[i]);
      colors[i].green = static_cast<uint8_t>(rgb.green[i]);
      colors[i].blue = static_cast<uint8_t>(rgb.blue[i]);
    }
  }
}
