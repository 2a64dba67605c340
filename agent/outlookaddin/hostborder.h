// The border to the host: no C++ exception crosses it.
//
// The host calls event handlers, the methods of _IDTExtensibility2, the timer's callback and the
// exported functions. Its code, and the system's in between, can't handle a C++ exception: one that
// arrives there ends the process, or leaves the host in an unknown state. Inside the add-in
// exceptions are allowed, so each of those entry points runs its work through EndExceptions.
#pragma once

#include "platform/com/comtypes.h"

namespace outlookaddin {

// For a catch block only. Logs "Exception 0x%08X in %s." at Crit, with the result and the name of
// the operation that the host called, and returns the result: the HRESULT of a CAtlException or a
// _com_error, E_OUTOFMEMORY for std::bad_alloc, otherwise E_FAIL.
HRESULT LogException(const char* operation) noexcept;

// Returns the result of `work`, or that of LogException if `work` throws.
template <typename Work>
HRESULT EndExceptions(const char* operation, Work work) noexcept {
  try {
    return work();
  } catch (...) {
    return LogException(operation);
  }
}

}  // namespace outlookaddin
