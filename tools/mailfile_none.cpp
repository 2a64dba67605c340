// Without the mail library: a mail has to come as JSON.
#include <filesystem>
#include <stdexcept>

#include "tools/mailfile.h"

namespace tools {

const bool kMailFilesAreRead = false;

simulation::mail::MailModel ReadMailFile(const std::string& path) {
  std::error_code error;
  const std::filesystem::path file(reinterpret_cast<const char8_t*>(path.c_str()));
  if (!std::filesystem::exists(file, error)) throw std::runtime_error("there is no such file");
  throw std::runtime_error(
      "it is no mail in JSON; make one with `quorvex import MAIL.eml` on Linux");
}

}  // namespace tools
