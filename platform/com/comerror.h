// The two exceptions of the COM helpers.
#pragma once

#include "platform/com/comtypes.h"

// Thrown for a violated precondition, such as a second subscription.
class CAtlException {
 public:
  explicit CAtlException(HRESULT result) noexcept : m_hr(result) {}
  // The failure as an HRESULT.
  HRESULT m_hr;
};

// Thrown when a smart pointer can't be converted to another interface.
class _com_error {
 public:
  explicit _com_error(HRESULT result) noexcept : m_result(result) {}
  HRESULT Error() const noexcept { return m_result; }

 private:
  HRESULT m_result;
};
