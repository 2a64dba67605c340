// Owner of a BSTR.
#pragma once

#include <utility>

#include "platform/com/comtypes.h"
#include "platform/widetext.h"

namespace platform {

// Frees its string in the destructor. Null differs from empty: a getter that returns null has no
// text.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(BSTR owned) noexcept : m_text(owned) {}
  ~Bstr() { SysFreeString(m_text); }

  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;

  BSTR Get() const noexcept { return m_text; }
  explicit operator bool() const noexcept { return m_text != nullptr; }

  // Length in UTF-16 units; 0 for null.
  UINT Length() const noexcept { return SysStringLen(m_text); }
  // The whole text, NULs included; empty for null.
  WideStringView View() const noexcept { return {m_text, Length()}; }

  // The place for a getter's result. Frees the current string first.
  BSTR* Put() noexcept {
    SysFreeString(std::exchange(m_text, nullptr));
    return &m_text;
  }

 private:
  BSTR m_text = nullptr;
};

}  // namespace platform
