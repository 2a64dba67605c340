#include "platform/diagnostics.h"

#include <windows.h>

#include <cstdlib>

namespace platform {
namespace {

void OutputDebugStringA(const char* text) {
  ::OutputDebugStringA(text);
}

void OutputDebugStringW(const WideChar* text) {
  ::OutputDebugStringW(text);
}

// Mimics the C runtime: calls the installed handler without details, like a release build. Without
// a handler the process ends with the runtime's status.
void InvalidParameter() {
  if (const _invalid_parameter_handler handler = _get_invalid_parameter_handler()) {
    handler(nullptr, nullptr, nullptr, 0, 0);
    return;
  }
  constexpr DWORD kInvalidRuntimeParameter = 0xC0000417;
  RaiseException(kInvalidRuntimeParameter, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

}  // namespace

constinit DiagnosticsOperations diagnostics = {
    .OutputDebugStringA = &OutputDebugStringA,
    .OutputDebugStringW = &OutputDebugStringW,
    .InvalidParameter = &InvalidParameter,
};

}  // namespace platform
