#include "simulation/mail/addressgroups.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>

namespace simulation::mail {

namespace {

// Those that the library takes apart by itself.
constexpr std::array<std::string_view, 6> kAddressHeaders = {"to",   "cc",     "bcc",
                                                             "from", "sender", "reply-to"};
// A name is longer than none of these by more than blanks before its ":".
constexpr std::size_t kLongestName = 64;

// Goes through a mail byte by byte; nothing but a header's name is kept.
class HeaderWalk {
 public:
  // True from the byte on at which a header has too many groups.
  bool Take(char byte) {
    if (byte == '\n') {
      m_atLineStart = true;
      return false;
    }
    if (m_atLineStart) {
      m_atLineStart = false;
      // Every other line goes on with its header.
      if (byte != ' ' && byte != '\t') {
        m_inName = true;
        m_inAddresses = false;
        m_name.clear();
      }
    }
    if (m_inName) {
      TakeName(byte);
      return false;
    }
    return m_inAddresses && byte == ':' && ++m_groups > kMostGroups;
  }

 private:
  void TakeName(char byte) {
    if (byte != ':') {
      m_name += byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
      m_inName = m_name.size() <= kLongestName;
      return;
    }
    m_name.resize(m_name.find_last_not_of(" \t") + 1);
    m_inName = false;
    m_inAddresses = std::count(kAddressHeaders.begin(), kAddressHeaders.end(), m_name) > 0;
    m_groups = 0;
  }

  bool m_atLineStart = true;
  bool m_inName = false;
  bool m_inAddresses = false;
  int m_groups = 0;
  std::string m_name;
};

}  // namespace

bool MayOpenTooManyGroups(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  HeaderWalk walk;
  std::array<char, 65'536> piece;
  do {
    file.read(piece.data(), piece.size());
    const auto* const end = piece.data() + file.gcount();
    if (std::any_of(static_cast<const char*>(piece.data()), end,
                    [&walk](char byte) { return walk.Take(byte); })) {
      return true;
    }
  } while (file);
  return false;
}

}  // namespace simulation::mail
