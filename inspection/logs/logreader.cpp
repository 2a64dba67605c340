#include "inspection/logs/logreader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace inspection::logs {

namespace {

constexpr std::size_t kChunkSize = std::size_t{1} << 18;

void AppendPoint(unsigned point, std::string* text) {
  if (point < 0x80) {
    *text += static_cast<char>(point);
    return;
  }
  const int more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  constexpr unsigned kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  *text += static_cast<char>(kLeads[more] | point >> (6 * more));
  for (int i = more - 1; i >= 0; --i) *text += static_cast<char>(0x80 | (point >> (6 * i) & 0x3F));
}

}  // namespace

struct LogReader::Inflater {
  Inflater() { inflateInit2(&stream, 15 + 16); }  // the largest window, with a gzip header
  ~Inflater() { inflateEnd(&stream); }
  z_stream stream{};
  bool isMemberOver = false;
};

LogReader::LogReader(std::istream& stream) : m_stream(stream), m_chunk(kChunkSize, '\0') {}

LogReader::~LogReader() = default;

void LogReader::Resume() {
  m_ended = false;
  m_stream.clear();
  // Windows' C runtime remembers the end of a file until somebody seeks. Standard input can't.
  m_stream.seekg(0, std::ios::cur);
  m_stream.clear();
}

// Appends more to m_text. False at the end.
bool LogReader::Fill() {
  if (m_ended) return false;
  m_text.erase(0, m_begin);
  m_begin = 0;
  const std::size_t before = m_text.size();
  while (m_text.size() == before) {
    m_stream.read(m_chunk.data(), static_cast<std::streamsize>(m_chunk.size()));
    std::string_view bytes(m_chunk.data(), static_cast<std::size_t>(m_stream.gcount()));
    if (bytes.empty()) {
      m_ended = true;
      if (m_stream.bad()) m_error = "can't be read";
      if (m_inflater && !m_inflater->isMemberOver) m_error = "the compressed data is incomplete";
      if (m_encoding == Encoding::kUndecided && !m_odd.empty() && !m_holdsIncomplete) {
        m_encoding = Encoding::kBytes;
        m_text += std::exchange(m_odd, {});
      }
      return m_text.size() > before;
    }
    if (m_atStart && bytes.starts_with("\x1F\x8B")) m_inflater = std::make_unique<Inflater>();
    m_atStart = false;
    Append(m_inflater ? Decompressed(bytes) : bytes);
    if (!m_error.empty()) m_ended = true;
    if (m_ended) return m_text.size() > before;
  }
  return true;
}

std::string_view LogReader::Decompressed(std::string_view bytes) {
  z_stream& zip = m_inflater->stream;
  zip.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  zip.avail_in = static_cast<uInt>(bytes.size());
  m_decompressed.clear();
  std::string part(kChunkSize, '\0');
  while (zip.avail_in > 0 || zip.avail_out == 0) {
    if (m_inflater->isMemberOver && zip.avail_in > 0) {
      inflateReset(&zip);
      m_inflater->isMemberOver = false;
    }
    zip.next_out = reinterpret_cast<Bytef*>(part.data());
    zip.avail_out = static_cast<uInt>(part.size());
    const int result = inflate(&zip, Z_NO_FLUSH);
    m_decompressed.append(part, 0, part.size() - zip.avail_out);
    m_inflater->isMemberOver = result == Z_STREAM_END;
    if (result == Z_BUF_ERROR) break;
    if (result != Z_OK && result != Z_STREAM_END) {
      m_error = "the compressed data is damaged";
      break;
    }
    if (m_inflater->isMemberOver && zip.avail_in == 0) break;
  }
  return m_decompressed;
}

// Decides on the encoding by the first four bytes, then decodes.
void LogReader::Append(std::string_view bytes) {
  std::string first;
  if (m_encoding == Encoding::kUndecided) {
    constexpr std::size_t kEnough = 4;
    first = std::exchange(m_odd, {}).append(bytes);
    if (first.size() < kEnough) {
      m_odd = std::move(first);
      return;
    }
    bytes = first;
    m_encoding = Encoding::kBytes;
    if (bytes.starts_with("\xFF\xFE") || (bytes[0] != '\0' && bytes[1] == '\0')) {
      m_encoding = Encoding::kLittleEndian;
    } else if (bytes.starts_with("\xFE\xFF") || (bytes[0] == '\0' && bytes[1] != '\0')) {
      m_encoding = Encoding::kBigEndian;
    } else if (bytes.starts_with("\xEF\xBB\xBF")) {
      bytes.remove_prefix(3);
    }
  }
  if (m_encoding == Encoding::kBytes) {
    m_text += bytes;
  } else {
    AppendUtf16(bytes);
  }
}

void LogReader::AppendUtf16(std::string_view bytes) {
  const std::string all = std::exchange(m_odd, {}).append(bytes);
  constexpr unsigned kReplacement = 0xFFFD;
  std::size_t at = 0;
  for (; at + 1 < all.size(); at += 2) {
    const unsigned one = static_cast<unsigned char>(all[at]);
    const unsigned two = static_cast<unsigned char>(all[at + 1]);
    const unsigned unit = m_encoding == Encoding::kLittleEndian ? one | two << 8U : two | one << 8U;
    const bool isLow = unit >= 0xDC00 && unit < 0xE000;
    if (m_high != 0) {
      AppendPoint(isLow ? 0x10000 + ((m_high - 0xD800) << 10) + (unit - 0xDC00) : kReplacement,
                  &m_text);
      m_high = 0;
      if (isLow) continue;
    }
    if (unit == 0xFEFF) continue;  // a byte order mark
    if (unit >= 0xD800 && unit < 0xDC00) {
      m_high = unit;
    } else {
      AppendPoint(isLow ? kReplacement : unit, &m_text);
    }
  }
  m_odd = all.substr(at);
}

bool LogReader::Next(std::string_view* line) {
  std::size_t searched = 0;  // bytes after m_begin that hold no line end
  for (;;) {
    if (m_afterCr && m_begin < m_text.size()) {
      if (m_text[m_begin] == '\n') ++m_begin;
      m_afterCr = false;
    }
    const std::string_view rest = std::string_view(m_text).substr(m_begin);
    const void* const lf = std::memchr(rest.data() + searched, '\n', rest.size() - searched);
    const std::size_t toLf =
        lf == nullptr ? rest.size()
                      : static_cast<std::size_t>(static_cast<const char*>(lf) - rest.data());
    const std::size_t end = std::min(rest.substr(0, toLf).find('\r', searched), toLf);
    if (end < rest.size()) {
      m_afterCr = rest[end] == '\r';
      m_begin += end + 1;
      if (std::exchange(m_isSkipping, false)) {
        searched = 0;
        continue;
      }
      *line = rest.substr(0, std::min(end, kMaxLogLine));
      return true;
    }
    if (rest.size() > kMaxLogLine) {
      m_begin = m_text.size();
      if (std::exchange(m_isSkipping, true)) continue;
      *line = rest.substr(0, kMaxLogLine);
      return true;
    }
    searched = rest.size();
    if (Fill()) continue;
    if (searched == 0 || m_isSkipping || m_holdsIncomplete) return false;
    *line = std::string_view(m_text).substr(m_begin);
    m_begin = m_text.size();
    return true;
  }
}

}  // namespace inspection::logs
