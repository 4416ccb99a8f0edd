// Random numbers of the property tests: the same on every machine for a seed, which is printed with every run and can
// be set by VX_SEED; VX_STEPS sets how many steps are tried.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

class Random {
public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
  uint32_t Next() { // xorshift64*
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<uint32_t>((state_ * 0x2545F4914F6CDD1Du) >> 32);
  }
  uint32_t Below(uint32_t limit) { return Next() % limit; }
  bool Chance(uint32_t percent) { return Below(100) < percent; }
  std::vector<uint8_t> Bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (uint8_t& byte : bytes) {
      byte = static_cast<uint8_t>(Next());
    }
    return bytes;
  }

private:
  uint64_t state_;
};

inline uint64_t TestSeed(const char* what, uint64_t usual) {
  const char* set = std::getenv("VX_SEED");
  const uint64_t seed = set != nullptr ? std::strtoull(set, nullptr, 10) : usual;
  std::printf("%s: seed %llu\n", what, static_cast<unsigned long long>(seed));
  return seed;
}

inline uint32_t TestSteps(uint32_t usual) {
  const char* set = std::getenv("VX_STEPS");
  return set != nullptr ? static_cast<uint32_t>(std::strtoul(set, nullptr, 10)) : usual;
}
