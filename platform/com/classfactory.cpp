#include "platform/com/classfactory.h"

#include <new>

#include "platform/com/dllmodule.h"

HRESULT CComClassFactory::Create(platform::InstanceCreator creator, REFIID iid, void** object) {
  *object = nullptr;
  auto* const factory = new (std::nothrow) CComClassFactory(creator);
  if (factory == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = factory->QueryInterface(iid, object);
  if (FAILED(hr)) delete factory;
  return hr;
}

HRESULT STDMETHODCALLTYPE CComClassFactory::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  const bool known = IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IClassFactory);
  *object = known ? static_cast<IClassFactory*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG STDMETHODCALLTYPE CComClassFactory::AddRef() {
  const LONG count = ++m_dwRef;
  if (count == 2) platform::LockModule();
  return static_cast<ULONG>(count);
}

ULONG STDMETHODCALLTYPE CComClassFactory::Release() {
  const LONG count = --m_dwRef;
  if (count == 1) platform::UnlockModule();
  if (count == 0) delete this;
  return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE CComClassFactory::CreateInstance(IUnknown* outer, REFIID iid,
                                                           void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return m_creator(nullptr, iid, object);
}

HRESULT STDMETHODCALLTYPE CComClassFactory::LockServer(BOOL lock) {
  if (lock != 0) {
    platform::LockModule();
  } else {
    platform::UnlockModule();
  }
  return S_OK;
}
