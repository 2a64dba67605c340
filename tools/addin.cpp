#include "tools/addin.h"

#include <fmt/format.h>

#include <stdexcept>

#include "agent/outlookaddin/addinids.h"
#include "platform/com/automation.h"

namespace tools {

AddIn::AddIn() {
  platform::ComPtr<IClassFactory> factory;
  HRESULT hr = Load()(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(factory.Put()));
  if (SUCCEEDED(hr)) {
    hr = factory->CreateInstance(nullptr, IID__IDTExtensibility2,
                                 reinterpret_cast<void**>(m_object.Put()));
  }
  if (FAILED(hr)) {
    throw std::runtime_error(
        fmt::format("the add-in can't be created: 0x{:08X}", static_cast<std::uint32_t>(hr)));
  }
}

}  // namespace tools
