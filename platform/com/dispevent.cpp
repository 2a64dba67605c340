#include "platform/com/dispevent.h"

#include <algorithm>

#include "platform/com/comerror.h"

namespace platform {
namespace {

// Receives the result if the caller doesn't want it.
class LocalResult {
 public:
  LocalResult() { VariantInit(&m_variant); }
  ~LocalResult() { VariantClear(&m_variant); }
  LocalResult(const LocalResult&) = delete;
  LocalResult& operator=(const LocalResult&) = delete;

  VARIANT* Get() { return &m_variant; }

 private:
  VARIANT m_variant;
};

// Puts the arguments into declared order. Automation passes them last to first, named ones before
// the others.
HRESULT SortArguments(const DISPPARAMS& parameters, UINT declared, VARIANTARG** sorted) {
  if (parameters.cNamedArgs > parameters.cArgs) return E_FAIL;
  for (UINT index = 0; index < parameters.cArgs; ++index) {
    const UINT place = index < parameters.cNamedArgs
                           ? static_cast<UINT>(parameters.rgdispidNamedArgs[index])
                           : parameters.cArgs - index - 1;
    if (declared == 0 || place >= kMaxEventParameters) return E_FAIL;
    sorted[place] = &parameters.rgvarg[index];
  }
  return S_OK;
}

// The call uses the declared types only, and the handler writes through by-reference parameters, so
// a pointer must be there.
HRESULT CheckArguments(const EventCallForm& form, UINT declared, VARIANTARG* const* sorted) {
  for (UINT index = 0; index < declared; ++index) {
    if (sorted[index] == nullptr) return DISP_E_BADPARAMCOUNT;
    if ((sorted[index]->vt & VT_BYREF) != (form.parameterTypes[index] & VT_BYREF)) {
      return DISP_E_TYPEMISMATCH;
    }
  }
  return S_OK;
}

}  // namespace

const EventRow* FindEventRow(const EventRow* rows, UINT controlId, REFIID iid, DISPID dispid) {
  for (const EventRow* row = rows; row->iid != nullptr; ++row) {
    if (row->controlId == controlId && row->dispid == dispid && IsEqualGUID(*row->iid, iid)) {
      return row;
    }
  }
  return nullptr;
}

HRESULT CallEventHandler(void* sink, std::uintptr_t handler, const EventCallForm& form,
                         const DISPPARAMS* parameters, VARIANT* result) {
  const UINT declared = static_cast<UINT>(form.parameterCount);
  if (declared > kMaxEventParameters) return E_FAIL;
  VARIANTARG* sorted[kMaxEventParameters] = {};
  if (parameters != nullptr) {
    const HRESULT hr = SortArguments(*parameters, declared, sorted);
    if (FAILED(hr)) return hr;
  }
  const HRESULT checked = CheckArguments(form, declared, sorted);
  if (FAILED(checked)) return checked;

  // Without an instance DispCallFunc takes the address of a function. The sink is its first
  // argument.
  VARIANTARG sinkArgument;
  VariantInit(&sinkArgument);
  sinkArgument.vt = VT_UNKNOWN;
  sinkArgument.punkVal = static_cast<IUnknown*>(sink);
  VARTYPE types[1 + kMaxEventParameters] = {VT_UNKNOWN};
  VARIANTARG* arguments[1 + kMaxEventParameters] = {&sinkArgument};
  std::copy_n(form.parameterTypes, declared, types + 1);
  std::copy_n(sorted, declared, arguments + 1);
  LocalResult local;
  return DispCallFunc(nullptr, handler, form.convention, form.resultType, 1 + declared, types,
                      arguments, result != nullptr ? result : local.Get());
}

}  // namespace platform

DWORD* _IDispEvent::NewEventCookie() {
  if (m_dwEventCookie != platform::kNoEventCookie) throw CAtlException(E_FAIL);
  return &m_dwEventCookie;
}
