#include "platform/posix/utf.h"

#include <cstdint>

namespace platform::posix {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHigh(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
bool IsLow(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

struct Decoded {
  char32_t point;
  std::size_t length;
  bool valid;
};

Decoded DecodeUnits(const char16_t* text, std::size_t size) {
  const char16_t unit = text[0];
  if (IsHigh(unit) && size > 1 && IsLow(text[1])) {
    return {0x10000 + ((static_cast<char32_t>(unit) & 0x3FF) << 10) + (text[1] & 0x3FFu), 2, true};
  }
  if (IsHigh(unit) || IsLow(unit)) return {kReplacement, 1, false};
  return {unit, 1, true};
}

Decoded DecodeBytes(const char* text, std::size_t size) {
  const auto at = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {kReplacement, 1, false};

  const std::size_t need = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte's range keeps out long forms, surrogates and what lies beyond U+10FFFF.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t point = lead & (0xFFu >> (need + 1));
  for (std::size_t index = 1; index < need; ++index) {
    if (index >= size) return {kReplacement, index, false};
    const unsigned char byte = at(index);
    const bool fits = index == 1 ? byte >= low && byte <= high : (byte & 0xC0) == 0x80;
    if (!fits) return {kReplacement, index, false};
    point = point << 6 | (byte & 0x3Fu);
  }
  return {point, need, true};
}

std::size_t BytesOf(char32_t point) {
  return point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
}

void PutBytes(char32_t point, std::size_t length, char* output) {
  constexpr unsigned char kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (std::size_t index = length - 1; index > 0; --index) {
    output[index] = static_cast<char>(0x80 | (point & 0x3F));
    point >>= 6;
  }
  output[0] = static_cast<char>(kLeads[length] | point);
}

}  // namespace

std::size_t Utf8Length(const char16_t* text, std::size_t size) {
  std::size_t length = 0;
  for (std::size_t index = 0; index < size;) {
    const Decoded next = DecodeUnits(text + index, size - index);
    index += next.length;
    length += BytesOf(next.point);
  }
  return length;
}

std::size_t WriteUtf8(const char16_t* text, std::size_t size, char* output, std::size_t capacity) {
  std::size_t length = 0;
  for (std::size_t index = 0; index < size;) {
    const Decoded next = DecodeUnits(text + index, size - index);
    index += next.length;
    const std::size_t bytes = BytesOf(next.point);
    if (bytes > capacity - length) return kDoesNotFit;
    PutBytes(next.point, bytes, output + length);
    length += bytes;
  }
  return length;
}

std::size_t Utf16Length(const char* text, std::size_t size, bool* valid) {
  std::size_t length = 0;
  *valid = true;
  for (std::size_t index = 0; index < size;) {
    const Decoded next = DecodeBytes(text + index, size - index);
    *valid = *valid && next.valid;
    index += next.length;
    length += next.point < 0x10000 ? 1 : 2;
  }
  return length;
}

std::size_t WriteUtf16(const char* text, std::size_t size, char16_t* output, std::size_t capacity,
                       bool* valid) {
  std::size_t length = 0;
  *valid = true;
  for (std::size_t index = 0; index < size;) {
    const Decoded next = DecodeBytes(text + index, size - index);
    *valid = *valid && next.valid;
    index += next.length;
    if (next.point < 0x10000) {
      if (capacity - length < 1) return kDoesNotFit;
      output[length++] = static_cast<char16_t>(next.point);
    } else {
      if (capacity - length < 2) return kDoesNotFit;
      output[length++] = static_cast<char16_t>(0xD7C0 + (next.point >> 10));
      output[length++] = static_cast<char16_t>(0xDC00 + (next.point & 0x3FF));
    }
  }
  return length;
}

}  // namespace platform::posix
