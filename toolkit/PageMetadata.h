// Tags, comments and GeoTIFF keys of a page: the host's half of the metadata operations.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/ValueLists.h"

namespace toolkit {

// All throw Failure.

TypedValue GetTag(const std::string& file, int32_t page, uint16_t tag);
void SetTags(const std::string& file, int32_t page, std::vector<NumberedValue> tags);

// The bytes of a comment; nothing when the page has none.
std::optional<std::vector<uint8_t>> GetComment(const std::string& file, int32_t page, uint32_t number);
void SetComments(const std::string& file, int32_t page, const std::vector<NumberedValue>& comments);

std::vector<NumberedValue> ListGeoKeys(const std::string& file, int32_t page);
void SetGeoKeys(const std::string& file, int32_t page, std::vector<NumberedValue> keys);

} // namespace toolkit
