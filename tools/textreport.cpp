#include "tools/textreport.h"

#include <filesystem>
#include <system_error>

#include "simulation/agent/utf8.h"
#include "tools/command.h"
#include "tools/displaywidth.h"

namespace tools {

namespace {

// The bytes at the front of `text` that take at most `width` columns; at least one character.
std::size_t Fitting(std::string_view text, std::size_t width) {
  std::size_t end = 0;
  while (end < text.size()) {
    std::size_t next = end + 1;
    while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0U) == 0x80) ++next;
    if (end > 0 && DisplayWidth(text.substr(0, next)) > width) break;
    end = next;
  }
  return end;
}

}  // namespace

std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent) {
  std::string printable = Printable(text);
  std::string_view rest = printable;
  std::string lines;
  std::size_t room = width;
  while (DisplayWidth(rest) > room) {
    std::size_t end = Fitting(rest, room);
    const std::size_t blank = rest.substr(0, end + 1).rfind(' ');
    // A blank that belongs to the columns in front is no place to break.
    if (blank != std::string_view::npos && blank > room / 4 &&
        rest.find_first_not_of(' ') < blank) {
      end = blank;
    }
    lines.append(rest.substr(0, end));
    rest.remove_prefix(end);
    while (rest.starts_with(' ')) rest.remove_prefix(1);
    lines.append("\n").append(indent, ' ');
    room = width - indent;
  }
  return lines.append(rest);
}

std::string Shortened(std::string_view text, std::size_t width) {
  // Whatever the file holds, no more of it is looked at than can be shown.
  std::string printable = Printable(text.substr(0, width * 8));
  if (DisplayWidth(printable) <= width) return printable;
  return Padded(printable, width);
}

std::string Counted(std::uint64_t count, std::string_view one) {
  return std::to_string(count).append(" ").append(one).append(count == 1 ? "" : "s");
}

std::string ValidUtf8(std::string_view text) {
  return simulation::agent::ReplaceInvalidUtf8(text);
}

void RequireFile(std::string_view command, const std::string& path) {
  std::error_code error;
  const std::filesystem::path file(std::u8string(path.begin(), path.end()));
  const auto type = std::filesystem::status(file, error).type();
  std::string why;
  if (type == std::filesystem::file_type::not_found) {
    why = "there is no such file";
  } else if (type == std::filesystem::file_type::directory) {
    why = "this is a folder";
  } else if (error) {
    why = error.message();
  } else {
    return;
  }
  throw CommandError(std::string(command) + ": " + Printable(path) + ": " + why, kStatusUsage);
}

}  // namespace tools
