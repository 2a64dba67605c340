#include "simulation/mail/storage.h"

#include <cstdint>

namespace simulation::mail {

bool HasRoot(std::string_view bytes) {
  constexpr std::size_t kHeaderSize = 512;
  constexpr std::size_t kEntrySize = 128;
  constexpr std::string_view kNoEntry = "\xFF\xFF\xFF\xFF";
  if (bytes.size() < kHeaderSize) return false;
  const auto byte = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
  const int sectorShift = byte(30);
  if ((sectorShift != 9 && sectorShift != 12) || byte(31) != 0) return false;
  std::uint64_t sector = 0;
  for (std::size_t at = 51; at >= 48; --at) sector = sector << 8 | byte(at);
  const std::uint64_t directory = (sector + 1) << sectorShift;
  if (directory + kEntrySize > bytes.size()) return false;
  const std::string_view entry = bytes.substr(static_cast<std::size_t>(directory), kEntrySize);
  return entry[66] == 5 && entry.substr(68, 4) == kNoEntry && entry.substr(72, 4) == kNoEntry;
}

}  // namespace simulation::mail
