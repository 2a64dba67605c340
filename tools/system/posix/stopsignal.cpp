#include "tools/system/stopsignal.h"

#include <array>
#include <csignal>

namespace tools::system {
namespace {

std::atomic<bool> g_stop = false;
std::atomic<bool> g_isOutputClosed = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may set it");

constexpr std::array<int, 4> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};
std::array<struct sigaction, kSignals.size()> g_previous;

void OnSignal(int number) {
  if (number == SIGPIPE) g_isOutputClosed.store(true, std::memory_order_relaxed);
  g_stop.store(true, std::memory_order_relaxed);
}

}  // namespace

StopSignal::StopSignal() {
  g_stop.store(false, std::memory_order_relaxed);
  g_isOutputClosed.store(false, std::memory_order_relaxed);
  struct sigaction action = {};
  action.sa_handler = &OnSignal;
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &action, &g_previous[i]);
  }
}

StopSignal::~StopSignal() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &g_previous[i], nullptr);
}

bool StopSignal::IsOutputClosed() const {
  return g_isOutputClosed.load(std::memory_order_relaxed);
}

const std::atomic<bool>& StopSignal::Flag() const {
  return g_stop;
}

}  // namespace tools::system
