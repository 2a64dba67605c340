#include "platform/diagnostics.h"

#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "platform/posix/paths.h"

namespace platform {
namespace {

// Standard error is where a developer looks. Text that can't be written is lost, as on Windows
// without a debugger.
void Show(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void OutputDebugStringA(const char* text) {
  if (text != nullptr) Show(text);
}

void OutputDebugStringW(const WideChar* text) {
  if (text != nullptr) Show(posix::Utf8FromWide(text));
}

void InvalidParameter() {}

}  // namespace

constinit DiagnosticsOperations diagnostics = {
    .OutputDebugStringA = &OutputDebugStringA,
    .OutputDebugStringW = &OutputDebugStringW,
    .InvalidParameter = &InvalidParameter,
};

}  // namespace platform
