// GUIDs from their usual text, so that each is written once and can be searched for.
#pragma once

#include <cstdint>

#include "platform/com/comtypes.h"

namespace platform {

// `text` is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". Anything else doesn't compile.
consteval GUID GuidFromText(const char (&text)[39]) {
  const auto digit = [](char c) -> std::uint32_t {
    if (c >= '0' && c <= '9') return static_cast<std::uint32_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A' + 10);
    throw "not a digit of a GUID";
  };
  const auto number = [&](int at, int digits) {
    std::uint32_t value = 0;
    for (int index = at; index < at + digits; ++index) value = value << 4 | digit(text[index]);
    return value;
  };
  if (text[0] != '{' || text[9] != '-' || text[14] != '-' || text[19] != '-' || text[24] != '-' ||
      text[37] != '}') {
    throw "not the form of a GUID";
  }
  GUID guid = {number(1, 8),
               static_cast<std::uint16_t>(number(10, 4)),
               static_cast<std::uint16_t>(number(15, 4)),
               {}};
  for (int index = 0; index < 2; ++index) {
    guid.Data4[index] = static_cast<std::uint8_t>(number(20 + 2 * index, 2));
  }
  for (int index = 2; index < 8; ++index) {
    guid.Data4[index] = static_cast<std::uint8_t>(number(21 + 2 * index, 2));
  }
  return guid;
}

}  // namespace platform
