// What the configuration and the registry take from the C runtime, with one result on every build.
#pragma once

#include <cstdint>
#include <string_view>

namespace logging {

// Equal but for the case of the letters A to Z; bytes of other characters have to be the same.
bool EqualsIgnoringCase(std::string_view one, std::string_view other);

// The runtime's atoi: leading white space, a sign, decimal digits up to the first other character;
// 0 without digits. A number that doesn't fit becomes the nearest that does.
std::int32_t ToInteger(const char* text);

// What the runtime's isspace tells in every locale used here: blank, \t, \n, \v, \f and \r.
bool IsSpace(char character);

}  // namespace logging
