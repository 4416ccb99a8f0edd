// Options that the writing commands share: where a page goes, how it is stored, and settings of tags, comments and
// GeoTIFF keys.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "toolkit/SavePage.h"

struct PlacementArguments {
  bool append = false;
  int32_t insert = 0;
  int32_t replace = 0;
  bool bigEndian = false;
  bool keepPageNumbers = false;
  bool noSubfileType = false;
};

void AddPlacementOptions(CLI::App* command, PlacementArguments& arguments);
toolkit::PageOptions PageOptionsOf(const PlacementArguments& arguments);

struct StorageArguments {
  std::string tiles; // "WxH"
  bool predictor = false;
  bool fillOrder2 = false;
  int32_t photometric = -1;
};

void AddStorageOptions(CLI::App* command, StorageArguments& arguments);
void PutStorage(const StorageArguments& arguments, toolkit::PageOptions& options);

// What all pictures carry that are saved: dots per inch as told, else the picture's own, else what screens are taken to
// have.
constexpr int32_t kDefaultResolution = 96;
void SetResolution(toolkit::Bitmap& bitmap, int32_t told); // 0: not told

// "WxH" in pixels; false when it is none.
bool ParseSize(const std::string& text, uint32_t& width, uint32_t& height);

// Settings NAME=VALUE. They throw CLI::ValidationError, which is wrong usage.
std::vector<toolkit::NumberedValue> ParseTagSettings(const std::vector<std::string>& settings);
std::vector<toolkit::NumberedValue> ParseGeoSettings(const std::vector<std::string>& settings);
std::vector<toolkit::NumberedValue> ParseCommentSettings(const std::vector<std::string>& settings);
