// The seed of random tests.
#pragma once

#include <cstdlib>
#include <random>
#include <string>

namespace tests {

// A new seed on each call, or the value of QUORVEX_TEST_SEED, which repeats a failed run.
inline unsigned Seed() {
  const char* const given = std::getenv("QUORVEX_TEST_SEED");
  return given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                          : std::random_device()();
}

// For SCOPED_TRACE: how to repeat the run.
inline std::string HowToRepeat(unsigned seed) {
  return "repeat with QUORVEX_TEST_SEED=" + std::to_string(seed);
}

}  // namespace tests
