#include "platform/process.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/posix/paths.h"

namespace platform {
namespace {

// Cached, because every ring entry and log line contains both ids and a system call costs more than
// writing the entry. Zero means unknown.
std::atomic<std::uint32_t> s_process = 0;
constinit thread_local std::uint32_t t_thread = 0;

void ForgetInForkedChild() {
  s_process.store(0, std::memory_order_relaxed);
  t_thread = 0;
}

[[maybe_unused]] const int s_forkHook = pthread_atfork(nullptr, nullptr, &ForgetInForkedChild);

std::uint32_t GetCurrentProcessId() {
  std::uint32_t identifier = s_process.load(std::memory_order_relaxed);
  if (identifier == 0) {
    identifier = static_cast<std::uint32_t>(getpid());
    s_process.store(identifier, std::memory_order_relaxed);
  }
  return identifier;
}

std::uint32_t GetCurrentThreadId() {
  if (t_thread == 0) t_thread = static_cast<std::uint32_t>(gettid());
  return t_thread;
}

bool GetComputerNameW(WideChar* buffer, std::uint32_t* size) {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return false;
  const WideString wide = posix::WideFromUtf8(name);
  const auto length = static_cast<std::uint32_t>(wide.size());
  if (length == 0) return false;
  if (length >= *size) {
    *size = length + 1;
    return false;
  }
  std::copy_n(wide.c_str(), wide.size() + 1, buffer);
  *size = length;
  return true;
}

}  // namespace

constinit ProcessOperations process = {
    .GetCurrentProcessId = &GetCurrentProcessId,
    .GetCurrentThreadId = &GetCurrentThreadId,
    .GetComputerNameW = &GetComputerNameW,
};

}  // namespace platform
