#include "simulation/mail/mailreader.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "simulation/mail/mailjson.h"

namespace simulation::mail {

namespace {

std::string WholeFile(const std::string& path) {
  const std::filesystem::path place(reinterpret_cast<const char8_t*>(path.c_str()));
  std::error_code error;
  if (std::filesystem::is_directory(place, error)) throw MailError("it is a folder, not a mail");
  errno = 0;
  std::ifstream file(place, std::ios::binary);
  if (!file) {
    throw MailError(errno != 0 ? std::generic_category().message(errno) : "it can't be opened");
  }
  std::string bytes;
  char piece[65'536];
  do {
    file.read(piece, sizeof(piece));
    bytes.append(piece, static_cast<std::size_t>(file.gcount()));
  } while (file);
  if (!file.eof()) throw MailError("it can't be read to its end");
  return bytes;
}

}  // namespace

MailModel ReadMail(std::string_view bytes) {
  if (bytes.empty()) throw MailError("the file is empty");
  if (!LooksLikeMailJson(bytes)) return ReadInternetMessage(bytes);
  try {
    return MailFromJson(bytes);
  } catch (const std::runtime_error& error) {
    throw MailError(error.what());
  }
}

MailModel ReadMailFile(const std::string& path) {
  MailModel mail = ReadMail(WholeFile(path));
  mail.source = path;
  return mail;
}

}  // namespace simulation::mail
