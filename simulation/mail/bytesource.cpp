#include "simulation/mail/bytesource.h"

#include <cerrno>
#include <fstream>
#include <iostream>
#include <system_error>

#include "simulation/mail/mailreader.h"

namespace simulation::mail {

std::filesystem::path PathOf(const std::string& utf8) {
  return {reinterpret_cast<const char8_t*>(utf8.c_str())};
}

std::unique_ptr<std::istream> OpenBytes(const std::string& path) {
  if (path == "-") return std::make_unique<std::istream>(std::cin.rdbuf());
  const std::filesystem::path place = PathOf(path);
  std::error_code error;
  if (std::filesystem::is_directory(place, error))
    throw MailError(std::generic_category().message(EISDIR));
  errno = 0;
  auto file = std::make_unique<std::ifstream>(place, std::ios::binary);
  if (!*file) {
    throw MailError(errno != 0 ? std::generic_category().message(errno) : "can't be opened");
  }
  return file;
}

std::string AllBytes(std::istream& file) {
  std::string bytes;
  char piece[65'536];
  do {
    file.read(piece, sizeof(piece));
    bytes.append(piece, static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > kLargestMail) throw MailError("it is larger than 512 MB");
  } while (file);
  if (!file.eof()) throw MailError("it can't be read to its end");
  return bytes;
}

}  // namespace simulation::mail
