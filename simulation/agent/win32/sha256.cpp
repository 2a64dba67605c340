#include "simulation/agent/sha256.h"

#include <windows.h>
// Needs the types of windows.h.
#include <bcrypt.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace simulation::agent {

namespace {

void Check(NTSTATUS status) {
  if (status < 0) throw std::runtime_error("the system can't compute SHA-256");
}

}  // namespace

struct Sha256::State {
  State() {
    Check(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    const NTSTATUS status = BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0);
    if (status < 0) BCryptCloseAlgorithmProvider(algorithm, 0);
    Check(status);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
  }

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : m_state(std::make_unique<State>()) {}
Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
  while (!bytes.empty()) {
    const std::size_t size = std::min(bytes.size(), kMostAtOnce);
    // The function takes a pointer to mutable bytes and doesn't change them.
    auto* const data = reinterpret_cast<UCHAR*>(const_cast<char*>(bytes.data()));
    Check(BCryptHashData(m_state->hash, data, static_cast<ULONG>(size), 0));
    bytes.remove_prefix(size);
  }
}

std::string Sha256::Finish() {
  std::array<UCHAR, 32> digest{};
  Check(BCryptFinishHash(m_state->hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const UCHAR byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace simulation::agent
