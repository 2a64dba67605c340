#include "inspection/bundle/zipfile.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace inspection::bundle {

namespace {

constexpr std::string_view kLocalMark("PK\3\4", 4);
constexpr std::string_view kCentralMark("PK\1\2", 4);
constexpr std::string_view kEndMark("PK\5\6", 4);
constexpr std::size_t kLocalSize = 30;
constexpr std::size_t kCentralSize = 46;
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kLongestComment = 65'535;
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kUtf8Names = 0x800;
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint16_t kDate = (2026 - 1980) << 9 | 1 << 5 | 1;

void Put(std::string* out, std::uint32_t number, int size) {
  for (int i = 0; i < size; ++i) out->push_back(static_cast<char>(number >> 8 * i & 0xFF));
}

std::uint32_t Number(std::string_view bytes, std::size_t at, int size) {
  std::uint32_t number = 0;
  for (int i = 0; i < size; ++i) {
    const std::size_t place = at + static_cast<std::size_t>(i);
    if (place >= bytes.size()) return 0;
    number |= std::uint32_t{static_cast<unsigned char>(bytes[place])} << 8 * i;
  }
  return number;
}

std::uint32_t Sum(const std::string& bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string Deflated(const std::string& bytes) {
  z_stream stream = {};
  // Negative: without zlib's own header.
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  std::string out(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

// The fields that both headers of an entry share.
void PutCommon(std::string* out, const std::string& name, std::uint32_t sum, std::size_t packed,
               std::size_t size) {
  Put(out, kVersion, 2);
  Put(out, kUtf8Names, 2);
  Put(out, kDeflated, 2);
  Put(out, 0, 2);  // time
  Put(out, kDate, 2);
  Put(out, sum, 4);
  Put(out, static_cast<std::uint32_t>(packed), 4);
  Put(out, static_cast<std::uint32_t>(size), 4);
  Put(out, static_cast<std::uint32_t>(name.size()), 2);
  Put(out, 0, 2);  // extra
}

bool Inflate(std::string_view packed, std::size_t size, std::string* out) {
  z_stream stream = {};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  out->resize(size + 1);  // so that a longer entry shows
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(out->data());
  stream.avail_out = static_cast<uInt>(out->size());
  const int result = inflate(&stream, Z_FINISH);
  const bool isWhole = result == Z_STREAM_END && stream.total_out == size;
  inflateEnd(&stream);
  out->resize(size);
  return isWhole;
}

class ZipReader {
 public:
  ZipReader(std::string_view bytes, std::vector<ZipEntry>* entries)
      : m_bytes(bytes), m_entries(*entries) {}

  // Empty, or why the file can't be read.
  std::string Read() {
    const std::size_t end = m_bytes.rfind(kEndMark);
    if (end == std::string_view::npos || m_bytes.size() - end < kEndSize ||
        m_bytes.size() - end > kEndSize + kLongestComment) {
      return "this is no .zip file, or its end is missing";
    }
    const std::uint32_t count = Number(m_bytes, end + 10, 2);
    std::size_t at = Number(m_bytes, end + 16, 4);
    for (std::uint32_t i = 0; i < count; ++i) {
      std::string error = ReadEntry(&at);
      if (!error.empty()) return error;
    }
    return {};
  }

 private:
  std::string_view Piece(std::size_t at, std::size_t size) const {
    return at <= m_bytes.size() && size <= m_bytes.size() - at ? m_bytes.substr(at, size)
                                                               : std::string_view();
  }

  std::string ReadEntry(std::size_t* at) {
    constexpr const char* kDamaged = "the .zip file is damaged";
    if (Piece(*at, 4) != kCentralMark) return kDamaged;
    const std::uint32_t method = Number(m_bytes, *at + 10, 2);
    const std::uint32_t sum = Number(m_bytes, *at + 16, 4);
    const std::size_t packedSize = Number(m_bytes, *at + 20, 4);
    const std::size_t size = Number(m_bytes, *at + 24, 4);
    const std::size_t nameSize = Number(m_bytes, *at + 28, 2);
    const std::size_t local = Number(m_bytes, *at + 42, 4);
    ZipEntry entry;
    entry.name = Piece(*at + kCentralSize, nameSize);
    *at += kCentralSize + nameSize + Number(m_bytes, *at + 30, 2) + Number(m_bytes, *at + 32, 2);
    if (entry.name.empty() || Piece(local, 4) != kLocalMark) return kDamaged;
    if (entry.name.back() == '/') return {};
    if (m_left < size) return "the .zip file is too large";
    m_left -= size;
    const std::size_t data =
        local + kLocalSize + Number(m_bytes, local + 26, 2) + Number(m_bytes, local + 28, 2);
    const std::string_view packed = Piece(data, packedSize);
    if (packed.size() != packedSize) return kDamaged;
    if (method == 0) {
      entry.bytes = packed;
    } else if (method != kDeflated) {
      return "the .zip file uses a compression or encryption that isn't supported";
    } else if (!Inflate(packed, size, &entry.bytes)) {
      return kDamaged;
    }
    if (entry.bytes.size() != size || Sum(entry.bytes) != sum) return kDamaged;
    m_entries.push_back(std::move(entry));
    return {};
  }

  std::string_view m_bytes;
  std::vector<ZipEntry>& m_entries;
  std::size_t m_left = kMostUnzippedBytes;
};

}  // namespace

std::string WriteZip(const std::vector<ZipEntry>& entries) {
  std::string out;
  std::string central;
  for (const ZipEntry& entry : entries) {
    const std::string packed = Deflated(entry.bytes);
    const std::uint32_t sum = Sum(entry.bytes);
    const auto local = static_cast<std::uint32_t>(out.size());
    out += kLocalMark;
    PutCommon(&out, entry.name, sum, packed.size(), entry.bytes.size());
    out += entry.name + packed;
    central += kCentralMark;
    Put(&central, kVersion, 2);
    PutCommon(&central, entry.name, sum, packed.size(), entry.bytes.size());
    Put(&central, 0, 2);  // comment
    Put(&central, 0, 2);  // disk
    Put(&central, 0, 2);  // attributes
    Put(&central, 0, 4);
    Put(&central, local, 4);
    central += entry.name;
  }
  const auto count = static_cast<std::uint32_t>(entries.size());
  const auto begin = static_cast<std::uint32_t>(out.size());
  out += central;
  out += kEndMark;
  Put(&out, 0, 4);  // disks
  Put(&out, count, 2);
  Put(&out, count, 2);
  Put(&out, static_cast<std::uint32_t>(central.size()), 4);
  Put(&out, begin, 4);
  Put(&out, 0, 2);  // comment
  return out;
}

bool ReadZip(const std::string& bytes, std::vector<ZipEntry>* entries, std::string* error) {
  entries->clear();
  *error = ZipReader(bytes, entries).Read();
  return error->empty();
}

bool IsZip(const std::string& bytes) {
  return bytes.starts_with(kLocalMark);
}

}  // namespace inspection::bundle
