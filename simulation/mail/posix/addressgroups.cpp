#include "simulation/mail/addressgroups.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace simulation::mail {

namespace {

// The headers that the library parses as addresses.
constexpr std::array<std::string_view, 6> kAddressHeaders = {"to",   "cc",     "bcc",
                                                             "from", "sender", "reply-to"};
// Longer than any of these with blanks before its ":".
constexpr std::size_t kLongestName = 64;

// Takes a mail byte by byte and keeps nothing but the current header's name.
class HeaderWalk {
 public:
  // True as soon as a header has too many groups.
  bool Take(char byte) {
    if (byte == '\n') {
      m_atLineStart = true;
      return false;
    }
    if (m_atLineStart) {
      m_atLineStart = false;
      // A line that begins with white space continues its header.
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

bool MayOpenTooManyGroups(std::string_view mail) {
  HeaderWalk walk;
  return std::any_of(mail.begin(), mail.end(), [&walk](char byte) { return walk.Take(byte); });
}

}  // namespace simulation::mail
