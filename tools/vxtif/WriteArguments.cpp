// Shared options of the writing commands.

#include "WriteArguments.h"

#include <charconv>
#include <stdexcept>

#include "toolkit/CommentTable.h"
#include "toolkit/CommentText.h"
#include "toolkit/TagNames.h"

namespace {

std::string CheckSizeText(std::string& text) {
  uint32_t width = 0;
  uint32_t height = 0;
  return ParseSize(text, width, height) ? "" : "'" + text + "' is no size (WIDTHxHEIGHT in pixels)";
}

// Splits NAME=VALUE at the first sign.
std::pair<std::string, std::string> SplitSetting(const std::string& setting) {
  const size_t sign = setting.find('=');
  if (sign == std::string::npos || sign == 0) {
    throw CLI::ValidationError("'" + setting + "' is not of the form NAME=VALUE");
  }
  return {setting.substr(0, sign), setting.substr(sign + 1)};
}

// Runs a parser and turns its complaint into wrong usage.
template <class Parse> toolkit::TypedValue ParseOrComplain(const std::string& setting, Parse parse) {
  try {
    return parse();
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(setting + ": " + error.what());
  }
}

} // namespace

void AddPlacementOptions(CLI::App* command, PlacementArguments& arguments) {
  const std::string group = "Place in the file (a new file otherwise)";
  CLI::Option* append = command->add_flag("--append", arguments.append, "behind the last page")->group(group);
  CLI::Option* insert = command->add_option("--insert", arguments.insert, "in front of page N")
                            ->check(CLI::PositiveNumber)
                            ->type_name("N")
                            ->group(group);
  CLI::Option* replace = command->add_option("--replace", arguments.replace, "in place of page N")
                             ->check(CLI::PositiveNumber)
                             ->type_name("N")
                             ->group(group);
  append->excludes(insert)->excludes(replace);
  insert->excludes(replace);
  command->add_flag("--big-endian", arguments.bigEndian, "byte order of a new file")->group(group);
  command->add_flag("--keep-page-numbers", arguments.keepPageNumbers, "write no PageNumber tag, change none")
      ->group(group);
  command->add_flag("--no-subfile-type", arguments.noSubfileType, "write no NewSubfileType tag, change none")
      ->group(group);
}

toolkit::PageOptions PageOptionsOf(const PlacementArguments& arguments) {
  using Kind = toolkit::Placement::Kind;
  toolkit::PageOptions options;
  if (arguments.append) {
    options.placement.kind = Kind::kAppend;
  } else if (arguments.insert != 0) {
    options.placement = {Kind::kInsert, arguments.insert};
  } else if (arguments.replace != 0) {
    options.placement = {Kind::kReplace, arguments.replace};
  }
  options.flags = (arguments.bigEndian ? uint32_t{kSaveBigEndian} : 0u) |
                  (arguments.keepPageNumbers ? uint32_t{kSaveKeepPageNumbers} : 0u) |
                  (arguments.noSubfileType ? uint32_t{kSaveNoSubfileType} : 0u);
  return options;
}

void AddStorageOptions(CLI::App* command, StorageArguments& arguments) {
  command->add_option("--tiles", arguments.tiles, "tiles in place of strips")
      ->check(CLI::Validator(CheckSizeText, "WxH"));
  command->add_flag("--predictor", arguments.predictor, "horizontal predictor, with LZW");
  command->add_flag("--fill-order-2", arguments.fillOrder2, "reverse the bits of each byte of 1-bit and fax data");
  command->add_option("--photometric", arguments.photometric, "write this PhotometricInterpretation (0 to 6, 8)")
      ->check(CLI::IsMember({0, 1, 2, 3, 4, 5, 6, 8}));
}

void PutStorage(const StorageArguments& arguments, toolkit::PageOptions& options) {
  options.flags |=
      (arguments.predictor ? uint32_t{kSavePredictor} : 0u) | (arguments.fillOrder2 ? uint32_t{kSaveFillOrder2} : 0u);
  if (arguments.photometric >= 0) {
    options.photometric = static_cast<uint32_t>(arguments.photometric);
  }
  if (!arguments.tiles.empty()) {
    ParseSize(arguments.tiles, options.tileWidth, options.tileHeight);
  }
}

void SetResolution(toolkit::Bitmap& bitmap, int32_t told) {
  if (told != 0) {
    bitmap->xResolution = told;
    bitmap->yResolution = told;
  } else if (bitmap->xResolution == 0 || bitmap->yResolution == 0) {
    bitmap->xResolution = kDefaultResolution;
    bitmap->yResolution = kDefaultResolution;
  }
}

bool ParseSize(const std::string& text, uint32_t& width, uint32_t& height) {
  const char* end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, width);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x') {
    return false;
  }
  const auto second = std::from_chars(first.ptr + 1, end, height);
  return second.ec == std::errc() && second.ptr == end && width > 0 && height > 0;
}

std::vector<toolkit::NumberedValue> ParseTagSettings(const std::vector<std::string>& settings) {
  std::vector<toolkit::NumberedValue> values;
  for (const std::string& setting : settings) {
    const auto [name, text] = SplitSetting(setting);
    const std::optional<uint16_t> tag = toolkit::ParseTag(name);
    if (!tag) {
      throw CLI::ValidationError("'" + name + "' is neither a tag's number nor its name");
    }
    values.push_back({*tag, ParseOrComplain(setting, [&, &value = text] { return toolkit::ParseTypedValue(value); })});
  }
  return values;
}

std::vector<toolkit::NumberedValue> ParseGeoSettings(const std::vector<std::string>& settings) {
  std::vector<toolkit::NumberedValue> values;
  for (const std::string& setting : settings) {
    const auto [name, text] = SplitSetting(setting);
    const std::optional<uint16_t> key = toolkit::ParseGeoKey(name);
    if (!key) {
      throw CLI::ValidationError("'" + name + "' is neither a GeoTIFF key's number nor its name");
    }
    // A value without a type, or a text with a colon in it, has the type of the key.
    const size_t colon = text.find(':');
    const bool typed = colon != std::string::npos && toolkit::ParseType(text.substr(0, colon)).has_value();
    const std::optional<uint16_t> own = toolkit::GeoKeyType(*key);
    toolkit::NumberedValue value = {*key, ParseOrComplain(setting, [&, &written = text] {
                                      return typed || !own ? toolkit::ParseTypedValue(written)
                                                           : toolkit::ParseValue(*own, written);
                                    })};
    if (value.value.type == kTypeAscii) {
      // The byte behind the text is its NUL, which a key's count includes.
      ++value.value.count;
      value.value.bytes.push_back(0);
    }
    values.push_back(std::move(value));
  }
  return values;
}

std::vector<toolkit::NumberedValue> ParseCommentSettings(const std::vector<std::string>& settings) {
  toolkit::CommentSettings comments;
  for (const std::string& setting : settings) {
    const auto [name, text] = SplitSetting(setting);
    const toolkit::CommentRow* row = toolkit::FindComment(std::string_view(name));
    if (row == nullptr) {
      throw CLI::ValidationError("'" + name + "' is neither a comment's number nor its name");
    }
    try {
      comments.Add(*row, text);
    } catch (const std::invalid_argument& error) {
      throw CLI::ValidationError(setting + ": " + error.what());
    }
  }
  return comments.Values();
}
