#include "platform/com/dispatchimpl.h"

#include "platform/com/comptr.h"

HRESULT CComTypeInfoHolder::Load(LCID locale) {
  if (m_info != nullptr) return S_OK;
  platform::ComPtr<ITypeLib> library;
  const HRESULT hr =
      platform::automation.LoadRegTypeLib(*m_library, m_major, m_minor, locale, library.Put());
  if (FAILED(hr)) return hr;
  ITypeInfo* info = nullptr;
  const HRESULT found = library->GetTypeInfoOfGuid(*m_iid, &info);
  if (FAILED(found)) return found;
  m_info = info;
  return S_OK;
}

HRESULT CComTypeInfoHolder::GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) {
  if (info != nullptr) *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  if (info == nullptr) return E_POINTER;
  const HRESULT hr = Load(locale);
  if (FAILED(hr)) return hr;
  *info = m_info;
  m_info->AddRef();
  return S_OK;
}

HRESULT CComTypeInfoHolder::GetIDsOfNames(LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* dispids) {
  const HRESULT hr = Load(locale);
  return FAILED(hr) ? hr : m_info->GetIDsOfNames(names, count, dispids);
}

HRESULT CComTypeInfoHolder::Invoke(IDispatch* object, DISPID member, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argumentError) {
  const HRESULT hr = Load(locale);
  if (FAILED(hr)) return hr;
  return m_info->Invoke(object, member, flags, parameters, result, exception, argumentError);
}
