#include "inspection/comparison/resultreader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

namespace inspection::comparison {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

bool IsUtf16(const char* text, std::size_t size) {
  if (size < 2) return false;
  return std::memcmp(text, "\xFF\xFE", 2) == 0 || std::memcmp(text, "\xFE\xFF", 2) == 0;
}

}  // namespace

bool ResultReader::ReadFile(const std::string& path, std::string* error) {
  if (path == "-") return Read(std::cin, "-", error);
  const std::filesystem::path file(std::u8string(path.begin(), path.end()));
  std::error_code status;
  if (std::filesystem::is_directory(file, status)) {
    *error = std::generic_category().message(EISDIR);
    return false;
  }
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    *error = errno != 0 ? std::generic_category().message(errno) : "can't be opened";
    return false;
  }
  return Read(stream, path, error);
}

bool ResultReader::Read(std::istream& stream, const std::string& name, std::string* error) {
  std::vector<char> buffer(kChunk);
  std::size_t filled = 0;    // bytes in the buffer: an unfinished line
  std::size_t searched = 0;  // of these, known to have no line end
  std::size_t number = 1;
  bool first = true;
  bool skipping = false;  // the rest of a line that is too long
  for (bool more = true; more;) {
    if (buffer.size() < filled + kChunk) buffer.resize(2 * buffer.size() + kChunk);
    stream.read(buffer.data() + filled, kChunk);
    filled += static_cast<std::size_t>(stream.gcount());
    more = stream.good();
    if (first && IsUtf16(buffer.data(), filled)) {
      *error = "this is UTF-16 text; results are UTF-8";
      return false;
    }
    std::size_t begin = first && filled >= 3 && std::memcmp(buffer.data(), "\xEF\xBB\xBF", 3) == 0
                            ? std::size_t{3}
                            : 0;
    first = false;
    searched = std::max(searched, begin);
    for (;;) {
      void* const found = std::memchr(buffer.data() + searched, '\n', filled - searched);
      if (found == nullptr && (more || begin == filled)) break;
      const auto end = found == nullptr
                           ? filled
                           : static_cast<std::size_t>(static_cast<char*>(found) - buffer.data());
      if (!skipping) ReadLine({buffer.data() + begin, end - begin}, name, number);
      skipping = false;
      ++number;
      begin = searched = std::min(end + 1, filled);
    }
    std::memmove(buffer.data(), buffer.data() + begin, filled - begin);
    filled -= begin;
    if (filled > kMaxLine || skipping) {
      if (!skipping) Bad(name, number, "longer than 64 MiB");
      skipping = true;
      filled = 0;
    }
    searched = filled;
  }
  if (stream.bad()) *error = "a read failed; the rest is missing";
  return !stream.bad();
}

void ResultReader::ReadLine(std::string_view line, const std::string& name, std::size_t number) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (IsBlank(line)) return;
  std::string why;
  if (!ParseRecordedMail(line, &m_mail, &why)) return Bad(name, number, std::move(why));
  if (m_needsNames && m_mail.mail.empty()) return Bad(name, number, "no \"mail\": it has no name");
  ++m_mails;
  m_take(m_mail);
}

void ResultReader::Bad(const std::string& name, std::size_t number, std::string why) {
  ++m_badLines;
  if (m_shown.size() < kShownBadLines) m_shown.push_back({name, number, std::move(why)});
}

}  // namespace inspection::comparison
