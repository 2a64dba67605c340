#include "platform/textlines.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/files.h"

namespace platform {
namespace {

constexpr std::size_t kFirstBufferSize = 16 * 1024;
constexpr std::size_t kLargestRead = 1u << 30;  // a read's size is 32 bits wide

Handle Open(const char* path) {
  if (path == nullptr) {
    return kInvalidHandle;
  }
  return files.CreateFileA(path, kGenericRead, kShareReadWrite, nullptr, kOpenExisting,
                           kFileAttributeNormal);
}

// The first LF in `bytes`, or null.
const char* FindLineFeed(const char* bytes, std::size_t size) {
  return size == 0 ? nullptr : static_cast<const char*>(std::memchr(bytes, '\n', size));
}

}  // namespace

TextLines::TextLines(const char* path) : m_file(Open(path)) {}

bool TextLines::Fill() {
  if (m_ended || !IsOpen()) {
    return false;
  }
  if (m_begin != 0) {
    std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
              m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
    m_end -= m_begin;
    m_begin = 0;
  }
  if (m_end == m_buffer.size()) {
    m_buffer.resize(std::max(kFirstBufferSize, 2 * m_buffer.size()));
  }
  const std::size_t room = std::min(m_buffer.size() - m_end, kLargestRead);
  std::uint32_t read = 0;
  if (!files.ReadFile(m_file.Get(), m_buffer.data() + m_end, static_cast<std::uint32_t>(room),
                      &read) ||
      read == 0) {
    // Permanent: a file that grows later, or a read that would succeed again, doesn't continue the
    // lines.
    m_ended = true;
    return false;
  }
  m_end += read;
  return true;
}

bool TextLines::Next(std::string_view* line) {
  // The part of the unfinished line that is known to have no LF.
  std::size_t searched = 0;
  for (;;) {
    const char* const start = m_buffer.data() + m_begin;
    const std::size_t held = m_end - m_begin;
    const char* const found = FindLineFeed(start + searched, held - searched);
    if (found != nullptr) {
      const auto length = static_cast<std::size_t>(found - start);
      m_begin += length + 1;
      const bool carriageReturn = length != 0 && start[length - 1] == '\r';
      *line = std::string_view(start, carriageReturn ? length - 1 : length);
      return true;
    }
    searched = held;
    if (!Fill()) {
      break;
    }
  }
  *line = std::string_view(m_buffer.data() + m_begin, m_end - m_begin);
  m_begin = m_end;
  return !line->empty();
}

bool TextLines::NextPiece(std::size_t limit, std::string_view* piece) {
  // The byte after the limit shows whether a CR in the last place belongs to a CR LF.
  while (m_end - m_begin <= limit) {
    if (FindLineFeed(m_buffer.data() + m_begin, m_end - m_begin) != nullptr || !Fill()) {
      break;
    }
  }
  char* const start = m_buffer.data() + m_begin;
  const std::size_t held = m_end - m_begin;
  const std::size_t seen = held <= limit ? held : limit + 1;
  std::size_t length = std::min(seen, limit);
  std::size_t used = length;
  if (const char* const found = FindLineFeed(start, seen)) {
    const auto at = static_cast<std::size_t>(found - start);
    if (at != 0 && start[at - 1] == '\r') {
      start[at - 1] = '\n';
      length = at;
      used = at + 1;
    } else if (at < limit) {
      length = at + 1;
      used = length;
    }
  }
  *piece = std::string_view(start, length);
  m_begin += used;
  return length != 0;
}

}  // namespace platform
