#include "tools/mailinput.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "simulation/mail/mailjson.h"
#include "tools/mailfile.h"

namespace tools {

namespace {

std::filesystem::path PathOf(const std::string& text) {
  return std::filesystem::path(reinterpret_cast<const char8_t*>(text.c_str()));
}

std::string WholeFile(std::ifstream& file) {
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

// Whether the file begins as the JSON form does.
bool BeginsAsJson(std::ifstream& file) {
  std::string beginning(64, '\0');
  file.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  beginning.resize(static_cast<std::size_t>(file.gcount()));
  file.clear();
  file.seekg(0);
  return simulation::mail::LooksLikeMailJson(beginning);
}

}  // namespace

bool ReadsMailFiles() {
  return kMailFilesAreRead;
}

simulation::mail::MailModel ReadMail(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_regular_file(PathOf(path), error)) {
    std::ifstream file(PathOf(path), std::ios::binary);
    if (file && BeginsAsJson(file)) {
      simulation::mail::MailModel mail = simulation::mail::MailFromJson(WholeFile(file));
      mail.source = path;
      return mail;
    }
  }
  return ReadMailFile(path);
}

}  // namespace tools
