// IDispatch of a dual interface, by the interface's description in a registered type library.
#pragma once

#include "platform/com/automation.h"
#include "platform/com/comtypes.h"

// The description of one interface: loaded on first use and kept. A failed load is tried again on
// the next use. Belongs to the apartment's thread; it is never released, since the library that
// holds type information may be gone by the time that ours unloads.
class CComTypeInfoHolder {
 public:
  constexpr CComTypeInfoHolder(const IID* iid, const GUID* library, WORD major, WORD minor)
      : m_iid(iid), m_library(library), m_major(major), m_minor(minor) {}

  // DISP_E_BADINDEX for any index but 0, E_POINTER without a place for the answer, otherwise what
  // loading gives.
  HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info);
  HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, LCID locale, DISPID* dispids);
  // `object` is called by its table, as the description has it.
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
