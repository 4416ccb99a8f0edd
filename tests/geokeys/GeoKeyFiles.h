// Pages with GeoTIFF tags, and the keys of a page as the callback gets them.
#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vxtif/metadata.h>
#include <vxtif/save.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

using Shorts = std::vector<uint16_t>;

struct Key {
  uint32_t id;
  uint32_t type;
  uint32_t count;
  FileBytes value; // in host order

  bool operator==(const Key&) const = default;
};

inline void PrintTo(const Key& key, std::ostream* out) {
  *out << "key " << key.id << " type " << key.type << " count " << key.count << " value";
  for (uint8_t byte : key.value) {
    *out << ' ' << int{byte};
  }
}

inline FileBytes BytesOf(const void* data, size_t size) {
  FileBytes bytes(size);
  if (size != 0) {
    std::memcpy(bytes.data(), data, size);
  }
  return bytes;
}

inline Key ShortKey(uint32_t id, const Shorts& values, uint32_t type = kTypeShort) {
  return {id, type, static_cast<uint32_t>(values.size()), BytesOf(values.data(), values.size() * 2)};
}

inline Key DoubleKey(uint32_t id, const std::vector<double>& values) {
  return {id, kTypeDouble, static_cast<uint32_t>(values.size()), BytesOf(values.data(), values.size() * 8)};
}

// The text as it stands, with its NUL where it has one.
inline Key TextKey(uint32_t id, const std::string& text) {
  return {id, kTypeAscii, static_cast<uint32_t>(text.size()), FileBytes(text.begin(), text.end())};
}

struct KeyWalk {
  int32_t result = 0;
  std::vector<Key> keys;
};

struct KeyCollector {
  std::vector<Key> keys;
  size_t stopAt = SIZE_MAX; // the call that answers `answer`
  int32_t answer = 0;

  static int32_t Take(uint32_t id, uint32_t type, uint32_t count, const void* value, intptr_t self) {
    auto* collector = reinterpret_cast<KeyCollector*>(self);
    const size_t elementBytes = type == kTypeDouble ? 8 : type == kTypeAscii ? 1 : 2;
    collector->keys.push_back({id, type, count, BytesOf(value, count * elementBytes)});
    return collector->keys.size() == collector->stopAt ? collector->answer : 1;
  }
};

inline KeyWalk ReadKeys(const TempFile& file, FileOptions* options = nullptr) {
  KernelGuard guard;
  KeyCollector collector;
  FilterEnumGeoKeysRequest request = {file.Name(), 0, KeyCollector::Take, reinterpret_cast<intptr_t>(&collector),
                                      options};
  const int32_t result = fltEnumGeoKeys(&request);
  return {result, collector.keys};
}

// The three tags of a page; a tag that is not given is not there.
struct GeoPage {
  Shorts directory;
  std::optional<std::vector<double>> doubles = std::nullopt;
  std::optional<std::string> ascii = std::nullopt;

  TiffDirectory Directory() const {
    TiffDirectory page = GrayPage(2, 2);
    page.Short(34735, directory);
    if (doubles) {
      page.Double(34736, *doubles);
    }
    if (ascii) {
      const FileBytes bytes(ascii->begin(), ascii->end());
      page.Value(34737, 2, static_cast<uint32_t>(bytes.size()), bytes);
    }
    return page;
  }
  FileBytes File(FileOrder order) const {
    TiffBuilder builder(order);
    builder.AddPage(Directory());
    return builder.Build();
  }
};
