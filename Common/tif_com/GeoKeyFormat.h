// The key directory of GeoTIFF 1.0, tag 34735: 16-bit numbers in groups of four, a header and then one group a key.
#pragma once

#include <cstdint>

#include "tif_com/Tags.h"

constexpr uint32_t kGeoGroupShorts = 4;
constexpr uint32_t kGeoFewestShorts = 5; // a header and the begin of a key

enum GeoHeaderPlace : uint32_t { kGeoHeaderVersion, kGeoHeaderRevision, kGeoHeaderMinorRevision, kGeoHeaderKeys };
enum GeoKeyPlace : uint32_t { kGeoKeyId, kGeoKeyLocation, kGeoKeyCount, kGeoKeyValue };

constexpr uint16_t kGeoVersion = 1;
constexpr uint16_t kGeoRevision = 1;
constexpr uint16_t kGeoMinorRevision = 2;

// A location is the tag that holds the value, or this: the value is the key's one SHORT, in the group.
constexpr uint16_t kGeoInGroup = 0;

// Closes every text in tag 34737.
constexpr uint8_t kGeoDelimiter = '|';
