// Owner of one interface reference.
#pragma once

#include <utility>

#include "platform/com/comtypes.h"

namespace platform {

// Releases its reference in the destructor unless Detach was called. Never adds a reference: it
// takes over what a getter returned.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  // Takes over a reference. Accepts null.
  explicit ComPtr(Interface* owned) noexcept : m_pointer(owned) {}
  ~ComPtr() { Reset(); }

  ComPtr(ComPtr&& other) noexcept : m_pointer(other.Detach()) {}
  ComPtr& operator=(ComPtr&& other) noexcept {
    if (this != &other) {
      Reset();
      m_pointer = other.Detach();
    }
    return *this;
  }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;

  Interface* Get() const noexcept { return m_pointer; }
  Interface* operator->() const noexcept { return m_pointer; }
  explicit operator bool() const noexcept { return m_pointer != nullptr; }

  // The place for a getter's result. Releases the current reference first.
  Interface** Put() noexcept {
    Reset();
    return &m_pointer;
  }

  // Returns the reference and no longer owns it.
  Interface* Detach() noexcept { return std::exchange(m_pointer, nullptr); }

  void Reset() noexcept {
    if (Interface* const held = std::exchange(m_pointer, nullptr)) held->Release();
  }

 private:
  Interface* m_pointer = nullptr;
};

// Queries `object` for `iid`. Sets `*result` to null on failure and releases a pointer that a
// failing query leaves, like any other result. Returns E_POINTER for a null object.
template <typename Interface>
HRESULT QueryFor(IUnknown* object, REFIID iid, ComPtr<Interface>* result) {
  Interface** const place = result->Put();
  if (object == nullptr) return E_POINTER;
  void* found = nullptr;
  const HRESULT hr = object->QueryInterface(iid, &found);
  *place = static_cast<Interface*>(found);
  if (FAILED(hr)) result->Reset();
  return hr;
}

}  // namespace platform
