// Log lines for the debugger.
#pragma once

#include "logging/basestream.h"

// Hands each line to the debugger, as wide text where it can be converted. Invalid UTF-8 doesn't
// stop a line: it is converted with U+FFFD in the bad places. Has no state.
class CDebugViewStream : public CBaseStream {
 public:
  void Write(const char* text) override;
};
