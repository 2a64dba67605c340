// Searches with a pattern that must compile. Shared by the tests of both engines.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string_view>

#include "simulation/agent/pattern.h"

namespace simulation::agent {

inline PatternResult Search(std::string_view pattern, std::string_view text) {
  PatternError error;
  const std::optional<Pattern> compiled = Pattern::Compile(pattern, &error);
  if (!compiled) {
    ADD_FAILURE() << pattern << ": " << error.message;
    return PatternResult::kTooCostly;
  }
  return compiled->Search(text);
}

}  // namespace simulation::agent
