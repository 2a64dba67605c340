// The two exceptions that COM support raises: a double subscription or a missing object, and a
// failed identity query. Nothing in the add-in catches them.
#pragma once

#include "platform/com/comtypes.h"

// Raised by the COM helpers, for a guard that was violated.
class CAtlException {
 public:
  explicit CAtlException(HRESULT result) noexcept : m_hr(result) {}
  // The failure that it stands for.
  HRESULT m_hr;
};

// Raised where a smart pointer's conversion between interfaces fails.
class _com_error {
 public:
  explicit _com_error(HRESULT result) noexcept : m_result(result) {}
  HRESULT Error() const noexcept { return m_result; }

 private:
  HRESULT m_result;
};
