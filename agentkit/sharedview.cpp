#include "agentkit/agentkit.h"

namespace agentkit {

bool SharedView::Create(const std::string& name, std::uint32_t size) {
  Close();
  m_mapping = platform::ScopedHandle(platform::mappings.CreateFileMappingA(size, name.c_str()));
  return Map(size);
}

bool SharedView::Open(const std::string& name, std::uint32_t size) {
  Close();
  m_mapping = platform::ScopedHandle(
      platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name.c_str()));
  return Map(size);
}

bool SharedView::Map(std::uint32_t size) {
  if (!m_mapping.IsOpen()) return false;
  m_view = platform::MappedView(m_mapping.Get(), platform::kMapReadWrite, size);
  if (m_view.Data() == nullptr) m_mapping.Close();
  return m_view.Data() != nullptr;
}

void SharedView::Close() {
  m_view.Close();
  m_mapping.Close();
}

}  // namespace agentkit
