// SHA-256 (FIPS 180-4), for telling files apart. Not meant for secrets: nothing here is constant in
// time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace simulation::agent {

class Sha256 {
 public:
  Sha256();

  // Adds bytes; the digest doesn't depend on how a text is cut into calls.
  void Add(std::string_view bytes);

  // The digest of all bytes added so far, as 64 lower-case hexadecimal digits. Ends the object's
  // use: nothing may be added afterwards.
  std::string Finish();

 private:
  void Compress(const unsigned char* block);

  static constexpr std::size_t kBlock = 64;

  std::array<std::uint32_t, 8> m_state;
  std::array<unsigned char, kBlock> m_pending;
  std::size_t m_pendingSize = 0;
  std::uint64_t m_total = 0;
};

// The digest of `bytes` in one call.
std::string Sha256Of(std::string_view bytes);

}  // namespace simulation::agent
