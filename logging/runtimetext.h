// C runtime functions with the same result in every build.
#pragma once

#include <cstdint>
#include <string_view>

namespace logging {

// Compares, ignoring the case of A to Z only.
bool EqualsIgnoringCase(std::string_view one, std::string_view other);

// Like atoi: leading white space, a sign, decimal digits up to the first other character; 0 without
// digits. Numbers out of range become the nearest limit.
std::int32_t ToInteger(const char* text);

// Like isspace: blank, \t, \n, \v, \f and \r.
bool IsSpace(char character);

}  // namespace logging
