#include "simulation/agent/utf8.h"

#include <cstddef>

namespace simulation::agent {
namespace {

unsigned char At(std::string_view bytes, std::size_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

// The length of the valid sequence that `bytes` begins with, or 0.
std::size_t SequenceLength(std::string_view bytes) {
  const unsigned char lead = At(bytes, 0);
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) lowest = 0xA0;
    if (lead == 0xED) highest = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) lowest = 0x90;
    if (lead == 0xF4) highest = 0x8F;
  }
  if (length == 0 || bytes.size() < length) return 0;
  if (At(bytes, 1) < lowest || At(bytes, 1) > highest) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((At(bytes, i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

std::string ReplaceInvalidUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  std::size_t begin = 0;  // of the valid run that isn't copied yet
  std::size_t position = 0;
  while (position < bytes.size()) {
    const std::size_t length = SequenceLength(bytes.substr(position));
    if (length != 0) {
      position += length;
      continue;
    }
    text.append(bytes, begin, position - begin);
    text.append("\xEF\xBF\xBD");
    begin = ++position;
  }
  text.append(bytes, begin, position - begin);
  return text;
}

}  // namespace simulation::agent
