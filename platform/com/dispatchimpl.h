// IDispatch for a dual interface, through its description in a registered type library.
#pragma once

#include "platform/com/automation.h"
#include "platform/com/comtypes.h"

// The description of one interface, loaded on first use and then kept. A failed load is retried on
// the next use. For the apartment's thread only. Never released: the type library may be unloaded
// before this module.
class CComTypeInfoHolder {
 public:
  constexpr CComTypeInfoHolder(const IID* iid, const GUID* library, WORD major, WORD minor)
      : m_iid(iid), m_library(library), m_major(major), m_minor(minor) {}

  // Returns DISP_E_BADINDEX for any index but 0, E_POINTER if `info` is null, otherwise the result
  // of loading.
  HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info);
  HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, LCID locale, DISPID* dispids);
  // Calls `object` through its table, as the description says.
  HRESULT Invoke(IDispatch* object, DISPID member, LCID locale, WORD flags, DISPPARAMS* parameters,
                 VARIANT* result, EXCEPINFO* exception, UINT* argumentError);

 private:
  HRESULT Load(LCID locale);

  const IID* m_iid;
  const GUID* m_library;
  WORD m_major;
  WORD m_minor;
  ITypeInfo* m_info = nullptr;
};

template <class Interface, const IID* Iid, const GUID* Library, WORD Major, WORD Minor,
          class Holder = CComTypeInfoHolder>
class IDispatchImpl : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override {
    return s_holder.GetTypeInfo(index, locale, info);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* dispids) override {
    return s_holder.GetIDsOfNames(names, count, locale, dispids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argumentError) override {
    return s_holder.Invoke(this, member, locale, flags, parameters, result, exception,
                           argumentError);
  }

 protected:
  IDispatchImpl() = default;
  ~IDispatchImpl() = default;

 private:
  static inline constinit Holder s_holder{Iid, Library, Major, Minor};
};
