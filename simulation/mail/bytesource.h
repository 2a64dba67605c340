// Opening files and standard input for reading.
#pragma once

#include <filesystem>
#include <istream>
#include <memory>
#include <string>

namespace simulation::mail {

// Larger mails are refused: nobody sends one, and an endless file must not fill the memory.
inline constexpr std::size_t kLargestMail = std::size_t{1} << 29;

// The path of a file whose name is UTF-8.
std::filesystem::path PathOf(const std::string& utf8);

// Opens a file for reading bytes; "-" is standard input. Raises MailError with the reason.
std::unique_ptr<std::istream> OpenBytes(const std::string& path);

// Everything from here to the end. Raises MailError if reading fails, or if there is more than
// kLargestMail.
std::string AllBytes(std::istream& file);

}  // namespace simulation::mail
