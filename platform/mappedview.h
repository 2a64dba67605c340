// The owner of a mapped view.
#pragma once

#include <cstdint>
#include <utility>

#include "platform/mappings.h"

namespace platform {

// Owns at most one view and unmaps it. The mapping's handle may be closed while the view is in use.
// Not for several threads at once.
class MappedView {
 public:
  MappedView() = default;
  // Maps the first `size` bytes of `mapping`. Data() is null if that fails.
  MappedView(Handle mapping, std::uint32_t access, std::uint32_t size)
      : m_data(mappings.MapViewOfFile(mapping, access, 0, 0, size)) {}
  ~MappedView() { Close(); }

  MappedView(MappedView&& other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}
  MappedView& operator=(MappedView&& other) noexcept {
    if (this != &other) {
      Close();
      m_data = std::exchange(other.m_data, nullptr);
    }
    return *this;
  }

  // Null if nothing is mapped. Stays valid when the object is moved.
  void* Data() const { return m_data; }

  void Close() {
    if (m_data != nullptr) mappings.UnmapViewOfFile(m_data);
    m_data = nullptr;
  }

 private:
  void* m_data = nullptr;
};

}  // namespace platform
