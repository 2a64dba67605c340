// The class object of a creatable class.
#pragma once

#include <atomic>

#include "platform/com/comtypes.h"

namespace platform {

// Creates an object and queries it for `iid`; see CComCoClass::CreateInstance.
using InstanceCreator = HRESULT (*)(IUnknown* outer, REFIID iid, void** object);

}  // namespace platform

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A factory that the module creates once and keeps. The module's own reference doesn't count as
// use; every other one keeps the module loaded. Any thread may call it.
class CComClassFactory final : public IClassFactory {
 public:
  // Creates a factory for `creator` and queries it for `iid`.
  static HRESULT Create(platform::InstanceCreator creator, REFIID iid, void** object);

  // Supports IUnknown and IClassFactory.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // Returns E_POINTER if `object` is null, CLASS_E_NOAGGREGATION for an outer unknown, otherwise
  // the result of the instance creator.
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
  // Keeps the module loaded, or ends that.
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  explicit CComClassFactory(platform::InstanceCreator creator) : m_creator(creator) {}
  ~CComClassFactory() = default;

  platform::InstanceCreator m_creator;
  std::atomic<LONG> m_dwRef = 0;
};

#pragma GCC diagnostic pop
