// The class object of a creatable class.
#pragma once

#include <atomic>

#include "platform/com/comtypes.h"

namespace platform {

// Makes an object and asks it for `iid`; see CComCoClass::CreateInstance.
using InstanceCreator = HRESULT (*)(IUnknown* outer, REFIID iid, void** object);

}  // namespace platform

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A factory that its module makes once and keeps: the module's own reference doesn't count as a
// use of the module, every further one keeps the module loaded. Any thread may use it.
class CComClassFactory final : public IClassFactory {
 public:
  // Makes a factory for `creator` and asks it for `iid`.
  static HRESULT Create(platform::InstanceCreator creator, REFIID iid, void** object);

  // IUnknown and IClassFactory.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // E_POINTER without a place for the object, CLASS_E_NOAGGREGATION for an outer unknown,
  // otherwise what the instance creator gives.
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
  // Keeps the module loaded, or lets go of it.
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  explicit CComClassFactory(platform::InstanceCreator creator) : m_creator(creator) {}
  ~CComClassFactory() = default;

  platform::InstanceCreator m_creator;
  std::atomic<LONG> m_dwRef = 0;
};

#pragma GCC diagnostic pop
