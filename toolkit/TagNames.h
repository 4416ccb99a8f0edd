// Names of tags, field types, GeoTIFF keys and comments, as users write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace toolkit {

// The name of a tag of a page's directory, of an Exif or of a GPS directory; empty when it has none.
enum class TagSpace { kPage, kExif, kGps };
std::string_view TagName(uint16_t tag, TagSpace space = TagSpace::kPage);

// A number, or a name of the page's directory whatever its case.
std::optional<uint16_t> ParseTag(std::string_view text);

std::string_view TypeName(uint16_t type);                 // "SHORT"; empty for an unknown type
std::optional<uint16_t> ParseType(std::string_view text); // a name whatever its case, or a number

std::string_view GeoKeyName(uint16_t key);                  // empty when it has none
std::optional<uint16_t> ParseGeoKey(std::string_view text); // a number or a name

// The type that the values of a named key have: SHORT, DOUBLE or ASCII; nothing for a key without a name.
std::optional<uint16_t> GeoKeyType(uint16_t key);

} // namespace toolkit
