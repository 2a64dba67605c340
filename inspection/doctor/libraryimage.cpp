#include "inspection/doctor/libraryimage.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace inspection::doctor {

namespace {

constexpr std::uint16_t kMachine64 = 0x8664;
constexpr std::uint16_t kMachine32 = 0x014C;
constexpr std::size_t kImportDirectory = 1;
constexpr std::size_t kSecurityDirectory = 4;
constexpr std::size_t kSectionSize = 40;
constexpr std::size_t kImportSize = 20;
constexpr std::size_t kMostImports = 200;
// VS_FIXEDFILEINFO begins with this, then its own version and the file's.
constexpr std::string_view kVersionMark("\xBD\x04\xEF\xFE\x00\x00\x01\x00", 8);

class Image {
 public:
  explicit Image(std::string_view bytes) : m_bytes(bytes) {}

  LibraryImage Read() {
    LibraryImage image;
    if (!m_bytes.starts_with("MZ")) return image;
    const std::size_t header = U32(0x3C);
    if (m_bytes.substr(std::min(header, m_bytes.size()), 4) != std::string_view("PE\0\0", 4)) {
      return image;
    }
    const std::uint16_t machine = U16(header + 4);
    image.bits = machine == kMachine64 ? 64 : machine == kMachine32 ? 32 : 0;
    if (image.bits == 0) return image;
    m_sectionCount = U16(header + 6);
    const std::size_t optional = header + 24;
    m_sections = optional + U16(header + 20);
    const std::size_t directories = optional + (image.bits == 64 ? 112 : 96);
    image.hasSignature = U32(directories + 8 * kSecurityDirectory) != 0;
    ReadImports(U32(directories + 8 * kImportDirectory), &image);
    const std::size_t mark = m_bytes.find(kVersionMark);
    if (mark != std::string_view::npos) {
      const std::size_t at = mark + 8;
      image.version = std::to_string(U16(at + 2)) + "." + std::to_string(U16(at)) + "." +
                      std::to_string(U16(at + 6)) + "." + std::to_string(U16(at + 4));
    }
    return image;
  }

 private:
  // Zero outside the file.
  std::uint32_t Number(std::size_t at, std::size_t size) const {
    std::uint32_t number = 0;
    if (at <= m_bytes.size() && size <= m_bytes.size() - at) {
      std::memcpy(&number, m_bytes.data() + at, size);
    }
    return number;
  }
  std::uint32_t U32(std::size_t at) const { return Number(at, 4); }
  std::uint16_t U16(std::size_t at) const { return static_cast<std::uint16_t>(Number(at, 2)); }

  // Where the address of the loaded image is in the file.
  std::optional<std::size_t> Offset(std::uint32_t address) const {
    for (std::size_t i = 0; i < m_sectionCount; ++i) {
      const std::size_t section = m_sections + i * kSectionSize;
      const std::uint32_t begin = U32(section + 12);
      if (address >= begin && address - begin < U32(section + 16)) {
        return std::size_t{address - begin} + U32(section + 20);
      }
    }
    return std::nullopt;
  }

  void ReadImports(std::uint32_t address, LibraryImage* image) const {
    const std::optional<std::size_t> table = Offset(address);
    if (!table) return;
    for (std::size_t i = 0; i < kMostImports; ++i) {
      const std::uint32_t nameAddress = U32(*table + i * kImportSize + 12);
      const std::optional<std::size_t> name = Offset(nameAddress);
      if (nameAddress == 0 || !name || *name >= m_bytes.size()) return;
      const std::string_view rest = m_bytes.substr(*name, 260);
      image->imports.emplace_back(rest.substr(0, rest.find('\0')));
    }
  }

  std::string_view m_bytes;
  std::size_t m_sectionCount = 0;
  std::size_t m_sections = 0;
};

}  // namespace

LibraryImage ReadLibraryImage(std::string_view bytes) {
  return Image(bytes).Read();
}

}  // namespace inspection::doctor
