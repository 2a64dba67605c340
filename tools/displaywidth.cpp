#include "tools/displaywidth.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace tools {

namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// East Asian wide characters and emoji, by block.
constexpr std::array<Range, 10> kWide = {{{0x1100, 0x115F},
                                          {0x2E80, 0x303E},
                                          {0x3041, 0x33FF},
                                          {0x3400, 0x4DBF},
                                          {0x4E00, 0x9FFF},
                                          {0xA000, 0xA4CF},
                                          {0xAC00, 0xD7A3},
                                          {0xF900, 0xFAFF},
                                          {0xFF00, 0xFF60},
                                          {0x1F300, 0x3FFFD}}};

constexpr std::array<Range, 5> kCombining = {
    {{0x0300, 0x036F}, {0x1AB0, 0x1AFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}}};

template <std::size_t Count>
bool IsIn(std::uint32_t point, const std::array<Range, Count>& ranges) {
  for (const Range& range : ranges) {
    if (point >= range.first && point <= range.last) return true;
  }
  return false;
}

std::size_t WidthOf(std::uint32_t point) {
  if (IsIn(point, kCombining)) return 0;
  return IsIn(point, kWide) ? 2 : 1;
}

// One character: its code point and its bytes. A byte that begins none has the code point of
// U+FFFD and stands alone.
struct Character {
  std::uint32_t point;
  std::string_view bytes;
};

Character FirstOf(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, text.substr(0, 1)};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {0xFFFD, text.substr(0, 1)};
  std::uint32_t point = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80) return {0xFFFD, text.substr(0, 1)};
    point = point << 6 | (next & 0x3FU);
  }
  return {point, text.substr(0, length)};
}

std::vector<Character> CharactersOf(std::string_view text) {
  std::vector<Character> characters;
  while (!text.empty()) {
    characters.push_back(FirstOf(text));
    text.remove_prefix(characters.back().bytes.size());
  }
  return characters;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string result;
  for (const Character& character : CharactersOf(text)) {
    const bool control =
        character.point < 0x20 || (character.point >= 0x7F && character.point < 0xA0);
    const bool broken = character.point == 0xFFFD && character.bytes.size() == 1;
    if (control || broken) {
      result += character.point == '\t' || character.point == '\n' ? " " : "\xEF\xBF\xBD";
    } else {
      result += character.bytes;
    }
  }
  return result;
}

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  for (const Character& character : CharactersOf(text)) width += WidthOf(character.point);
  return width;
}

std::string Padded(std::string_view text, std::size_t width) {
  const std::size_t have = DisplayWidth(text);
  if (have <= width) return std::string(text) + std::string(width - have, ' ');
  const auto characters = CharactersOf(text);
  const std::size_t room = width - 1;  // the ellipsis takes one column
  std::string head;
  std::size_t headWidth = 0;
  for (const Character& character : characters) {
    if (headWidth + WidthOf(character.point) > room - room / 2) break;
    head += character.bytes;
    headWidth += WidthOf(character.point);
  }
  std::string tail;
  std::size_t tailWidth = 0;
  for (auto it = characters.rbegin(); it != characters.rend(); ++it) {
    if (tailWidth + WidthOf(it->point) > room - headWidth) break;
    tail.insert(0, it->bytes);
    tailWidth += WidthOf(it->point);
  }
  return head + "\xE2\x80\xA6" + tail + std::string(room - headWidth - tailWidth, ' ');
}

}  // namespace tools
