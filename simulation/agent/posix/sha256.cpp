#include "simulation/agent/sha256.h"

#include <glib.h>

namespace simulation::agent {

struct Sha256::State {
  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() { g_checksum_free(checksum); }

  GChecksum* const checksum = g_checksum_new(G_CHECKSUM_SHA256);
};

Sha256::Sha256() : m_state(std::make_unique<State>()) {}
Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
  g_checksum_update(m_state->checksum, reinterpret_cast<const guchar*>(bytes.data()),
                    static_cast<gssize>(bytes.size()));
}

std::string Sha256::Finish() {
  return g_checksum_get_string(m_state->checksum);
}

}  // namespace simulation::agent
