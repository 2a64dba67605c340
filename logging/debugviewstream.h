// A log stream to the debugger.
#pragma once

#include "logging/basestream.h"

// Sends each line to the debugger as wide text, with U+FFFD for invalid UTF-8, or as narrow text if
// the conversion fails.
class CDebugViewStream : public CBaseStream {
 public:
  void Write(const char* text) override;
};
