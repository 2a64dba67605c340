// A small owner of one interface reference.
#pragma once

#include <utility>

#include "platform/com/comtypes.h"

namespace platform {

// Releases its reference at the end of the scope, unless told to leave it with Detach. It never
// adds one: it takes over what a getter gave.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  // Takes over a reference that the caller owns; null is allowed.
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

  // Where a getter puts its result. What was held before is released first.
  Interface** Put() noexcept {
    Reset();
    return &m_pointer;
  }

  // Gives the reference to the caller; this object no longer releases it.
  Interface* Detach() noexcept { return std::exchange(m_pointer, nullptr); }

  void Reset() noexcept {
    if (Interface* const held = std::exchange(m_pointer, nullptr)) held->Release();
  }

 private:
  Interface* m_pointer = nullptr;
};

// Asks `object` for the interface `iid`. `*result` is null on failure; what a failing query leaves
// is released like any other result. Returns E_POINTER for a null object.
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
