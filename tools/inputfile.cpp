#include "tools/inputfile.h"

#include <cerrno>
#include <system_error>

#include "tools/command.h"
#include "tools/text.h"

namespace tools {

std::filesystem::path PathOf(std::string_view utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

void RequireFile(const std::string& path, int status) {
  std::error_code error;
  const auto type = std::filesystem::status(PathOf(path), error).type();
  std::string why;
  if (type == std::filesystem::file_type::not_found) {
    why = std::generic_category().message(ENOENT);
  } else if (type == std::filesystem::file_type::directory) {
    why = std::generic_category().message(EISDIR);
  } else if (error) {
    why = error.message();
  } else {
    return;
  }
  throw CommandError(Printable(path) + ": " + why, status);
}

void RequireTextFile(const std::string& path, int status) {
  RequireFile(path, status);
  std::error_code error;
  const std::filesystem::path file = PathOf(path);
  if (!std::filesystem::is_regular_file(file, error)) {
    throw CommandError(Printable(path) + ": this is a device or a pipe, not a file", status);
  }
  if (std::filesystem::file_size(file, error) > kLargestTextFile) {
    throw CommandError(Printable(path) + ": too large for a settings file", status);
  }
}

std::string WhyNotOpened() {
  return errno != 0 ? std::generic_category().message(errno) : "can't be opened";
}

void RefuseFile(const std::string& path, int status) {
  throw CommandError(Printable(path) + ": can't be opened", status);
}

}  // namespace tools
