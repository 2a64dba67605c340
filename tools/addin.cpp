#include "tools/addin.h"

#include <fmt/format.h>

#include <stdexcept>

#include "agent/outlookaddin/addinids.h"
#include "platform/com/automation.h"
#include "platform/com/comptr.h"
#include "tools/addinside.h"

namespace tools {

struct AddIn::State {
  platform::ComPtr<_IDTExtensibility2> object;
};

AddIn::AddIn() : m_state(std::make_unique<State>()) {
  platform::ComPtr<IClassFactory> factory;
  HRESULT hr =
      LoadAddInLibrary()(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(factory.Put()));
  if (SUCCEEDED(hr)) {
    hr = factory->CreateInstance(nullptr, IID__IDTExtensibility2,
                                 reinterpret_cast<void**>(m_state->object.Put()));
  }
  if (FAILED(hr)) {
    throw std::runtime_error(
        fmt::format("the add-in can't be created: 0x{:08X}", static_cast<std::uint32_t>(hr)));
  }
}

AddIn::~AddIn() = default;

_IDTExtensibility2* AddIn::Object() const {
  return m_state->object.Get();
}

std::optional<std::string> AddIn::StartLog(const std::string& base) {
  return StartLinkedLog(base);
}

std::optional<ActionCode> AddIn::VerdictOf(const _MailItem* mailItem) const {
  return LinkedVerdictOf(mailItem);
}

}  // namespace tools
