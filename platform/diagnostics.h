// Debugger output and the C runtime's error reports.
#pragma once

#include "platform/widetext.h"

namespace platform {

struct DiagnosticsOperations {
  // Sends a NUL-terminated text to the debugger, or to standard error on POSIX.
  void (*OutputDebugStringA)(const char* text);
  void (*OutputDebugStringW)(const WideChar* text);

  // Raises the C runtime's invalid-parameter error. On Windows that ends the process unless a
  // handler is installed and returns; on POSIX it does nothing.
  void (*InvalidParameter)();
};

extern constinit DiagnosticsOperations diagnostics;

}  // namespace platform
