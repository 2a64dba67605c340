#include "simulation/host/hosttext.h"

#include "simulation/host/hostobject.h"

namespace simulation::host {

HostText::HostText(std::optional<std::string> text) {
  m_text = ToWide(text);
  if (!m_text || m_text->size() <= kMostInMemory) return;
  // Without a file the text stays in memory.
  std::unique_ptr<std::FILE, CloseFile> file(std::tmpfile());
  const platform::WideString& units = *m_text;
  if (!file || std::fwrite(units.data(), sizeof(platform::WideChar), units.size(), file.get()) !=
                   units.size()) {
    return;
  }
  m_units = units.size();
  m_file = std::move(file);
  m_text.emplace();  // an assignment would keep the memory
}

HRESULT HostText::Give(BSTR* place) const {
  if (!m_text) return S_OK;
  if (!m_file) return GiveWideText(*m_text, place);
  *place = SysAllocStringLen(nullptr, static_cast<UINT>(m_units));
  if (*place == nullptr) return E_OUTOFMEMORY;
  std::rewind(m_file.get());
  if (std::fread(*place, sizeof(platform::WideChar), m_units, m_file.get()) == m_units) return S_OK;
  SysFreeString(*place);
  *place = nullptr;
  return E_OUTOFMEMORY;
}

}  // namespace simulation::host
