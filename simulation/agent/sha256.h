// SHA-256 from the system's library: GLib on POSIX, CNG (bcrypt.dll) on Windows.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace simulation::agent {

class Sha256 {
 public:
  // Raises std::runtime_error if the system has no SHA-256.
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  // Adds bytes; how they are split into calls makes no difference.
  void Add(std::string_view bytes);

  // The digest of all bytes added so far, as 64 lower-case hexadecimal digits. Call it once, last.
  std::string Finish();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// The digest of `bytes` in one call.
inline std::string Sha256Of(std::string_view bytes) {
  Sha256 hash;
  hash.Add(bytes);
  return hash.Finish();
}

}  // namespace simulation::agent
