#include "tools/text.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <array>

namespace tools {

namespace {

struct Range {
  char32_t first;
  char32_t last;
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
bool IsIn(char32_t point, const std::array<Range, Count>& ranges) {
  return std::any_of(ranges.begin(), ranges.end(), [point](const Range& range) {
    return point >= range.first && point <= range.last;
  });
}

std::size_t WidthOf(char32_t point) {
  if (point < kCombining[0].first) return 1;
  if (IsIn(point, kCombining)) return 0;
  return IsIn(point, kWide) ? 2 : 1;
}

// True for visible ASCII and blanks: nearly all text, in which each byte is a character of one
// column.
bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::u32string PointsOf(std::string_view text) {
  if (IsPlain(text)) return {text.begin(), text.end()};
  return utf8::utf8to32(ValidUtf8(text));
}

// How many of the points fit into `width` columns.
std::size_t Fitting(std::u32string_view points, std::size_t width) {
  std::size_t used = 0;
  std::size_t count = 0;
  for (; count < points.size(); ++count) {
    used += WidthOf(points[count]);
    if (used > width) break;
  }
  return count;
}

std::size_t WidthOf(std::u32string_view points) {
  std::size_t width = 0;
  for (const char32_t point : points) width += WidthOf(point);
  return width;
}

// Where to break a line of which `fitting` points fit: at the last blank, unless that would leave
// the line nearly empty or break it in its leading blanks.
std::size_t BreakOf(std::u32string_view points, std::size_t fitting) {
  const std::size_t blank = points.substr(0, fitting + 1).rfind(U' ');
  const bool isGood = blank != std::u32string_view::npos && blank > fitting / 4 &&
                      points.find_first_not_of(U' ') < blank;
  return isGood ? blank : std::max<std::size_t>(fitting, 1);
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  if (IsPlain(text)) return std::string(text);
  return utf8::replace_invalid(text);
}

std::string Printable(std::string_view text) {
  if (IsPlain(text)) return std::string(text);
  std::u32string points = PointsOf(text);
  for (char32_t& point : points) {
    if (point == U'\t' || point == U'\n') {
      point = U' ';
    } else if (point < 0x20 || (point >= 0x7F && point < 0xA0)) {
      point = 0xFFFD;
    }
  }
  return utf8::utf32to8(points);
}

std::size_t DisplayWidth(std::string_view text) {
  if (IsPlain(text)) return text.size();
  return WidthOf(PointsOf(text));
}

std::string Padded(std::string_view text, std::size_t width) {
  const std::u32string points = PointsOf(text);
  const std::size_t full = WidthOf(points);
  if (full <= width) return std::string(text) + std::string(width - full, ' ');
  const std::size_t room = width - 1;  // the ellipsis takes one column
  const std::u32string head = points.substr(0, Fitting(points, room - room / 2));
  const std::size_t tailWidth = room - WidthOf(head);
  std::u32string reversed(points.rbegin(), points.rend());
  reversed.resize(Fitting(reversed, tailWidth));
  const std::u32string tail(reversed.rbegin(), reversed.rend());
  return utf8::utf32to8(head + U'\u2026' + tail) + std::string(tailWidth - WidthOf(tail), ' ');
}

std::string Shortened(std::string_view text, std::size_t width) {
  // However long the text is, only the part that can be shown is looked at.
  std::string printable = Printable(text.substr(0, width * 8));
  return DisplayWidth(printable) <= width ? printable : Padded(printable, width);
}

std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent) {
  const std::u32string points = PointsOf(Printable(text));
  std::u32string_view rest = points;
  std::u32string lines;
  for (std::size_t columns = width; WidthOf(rest) > columns; columns = width - indent) {
    const std::size_t end = BreakOf(rest, Fitting(rest, columns));
    lines.append(rest.substr(0, end)).append(U"\n").append(indent, U' ');
    rest.remove_prefix(end);
    rest.remove_prefix(std::min(rest.find_first_not_of(U' '), rest.size()));
  }
  return utf8::utf32to8(lines.append(rest));
}

std::string Counted(std::uint64_t count, std::string_view one) {
  return std::to_string(count).append(" ").append(one).append(count == 1 ? "" : "s");
}

}  // namespace tools
