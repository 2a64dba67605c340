// The debugger's output and the runtime library's complaints.
#pragma once

#include "platform/widetext.h"

namespace platform {

struct DiagnosticsOperations {
  // Hands a NUL-terminated text to the debugger, or to the platform's diagnostic channel.
  void (*OutputDebugStringA)(const char* text);
  void (*OutputDebugStringW)(const WideChar* text);

  // Raises the runtime library's invalid-parameter error, which by default ends the process on
  // Windows; elsewhere it does nothing. Returns when a handler lets it.
  void (*InvalidParameter)();
};

extern constinit DiagnosticsOperations diagnostics;

}  // namespace platform
