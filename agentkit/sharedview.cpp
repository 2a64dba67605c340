#include <utility>

#include "agentkit/agentkit.h"
#include "platform/mappings.h"

namespace agentkit {

SharedView::SharedView(SharedView&& other) noexcept
    : m_mapping(std::exchange(other.m_mapping, nullptr)),
      m_view(std::exchange(other.m_view, nullptr)) {}

SharedView& SharedView::operator=(SharedView&& other) noexcept {
  if (this != &other) {
    Close();
    m_mapping = std::exchange(other.m_mapping, nullptr);
    m_view = std::exchange(other.m_view, nullptr);
  }
  return *this;
}

bool SharedView::Create(const std::string& name, std::uint32_t size) {
  Close();
  m_mapping = platform::mappings.CreateFileMappingA(size, name.c_str());
  return Map(size);
}

bool SharedView::Open(const std::string& name, std::uint32_t size) {
  Close();
  m_mapping = platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name.c_str());
  return Map(size);
}

bool SharedView::Map(std::uint32_t size) {
  if (m_mapping == nullptr || m_mapping == platform::kInvalidHandle) {
    m_mapping = nullptr;
    return false;
  }
  m_view = platform::mappings.MapViewOfFile(m_mapping, platform::kMapReadWrite, 0, 0, size);
  if (m_view == nullptr) {
    Close();
    return false;
  }
  return true;
}

void SharedView::Close() {
  if (m_view != nullptr) {
    platform::mappings.UnmapViewOfFile(m_view);
  }
  if (m_mapping != nullptr) {
    platform::handles.CloseHandle(m_mapping);
  }
  m_view = nullptr;
  m_mapping = nullptr;
}

}  // namespace agentkit
