// Owners of handles.
#pragma once

#include <utility>

#include "platform/files.h"
#include "platform/handles.h"

namespace platform {

// Owns at most one handle and closes it with `close`. Null and kInvalidHandle both mean that
// nothing is open, so the result of any opening operation can be passed in unchecked. Not for
// several threads at once.
template <bool (*close)(Handle)>
class BasicScopedHandle {
 public:
  BasicScopedHandle() = default;
  explicit BasicScopedHandle(Handle handle) : m_handle(handle) {}
  ~BasicScopedHandle() { Close(); }

  BasicScopedHandle(BasicScopedHandle&& other) noexcept : m_handle(other.LeaveOpen()) {}
  BasicScopedHandle& operator=(BasicScopedHandle&& other) noexcept {
    if (this != &other) {
      Close();
      m_handle = other.LeaveOpen();
    }
    return *this;
  }

  bool IsOpen() const { return m_handle != nullptr && m_handle != kInvalidHandle; }

  // The handle, still owned. Whatever was passed in if nothing is open.
  Handle Get() const { return m_handle; }

  // Closes now instead of in the destructor. Does nothing if nothing is open.
  void Close() {
    if (IsOpen()) close(m_handle);
    m_handle = kInvalidHandle;
  }

  // Returns the handle without closing it: the caller closes it, or leaves it open on purpose.
  Handle LeaveOpen() { return std::exchange(m_handle, kInvalidHandle); }

 private:
  Handle m_handle = kInvalidHandle;
};

inline bool CloseByHandleTable(Handle handle) {
  return handles.CloseHandle(handle);
}
inline bool CloseByFileTable(Handle listing) {
  return files.FindClose(listing);
}

// For files and mappings.
using ScopedHandle = BasicScopedHandle<&CloseByHandleTable>;
// For the listings that FindFirstFileA opens.
using ScopedListing = BasicScopedHandle<&CloseByFileTable>;

}  // namespace platform
