// Event sinks: objects that a host's connection point calls through IDispatch::Invoke, without type
// information.
//
// A sink has a base, a row and a handler:
//
//   class CloseSink final : public IDispEventSimpleImpl<2, CloseSink, &IID_WindowEvents> {
//    public:
//     static const platform::EventRow* Events();         // one row and the terminator
//     virtual HRESULT STDMETHODCALLTYPE OnClose();
//   };
//
//   // What the row names. No exception may leave it: its caller is the system.
//   HRESULT STDMETHODCALLTYPE HandleClose(CloseSink* sink) { return sink->OnClose(); }
//
//   const platform::EventRow* CloseSink::Events() {
//     static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 0, {}};
//     static const platform::EventRow kRows[] = {
//         {2, &IID_WindowEvents, kDispidClose, platform::HandlerAddress(&HandleClose), &kForm},
//         {}};
//     return kRows;
//   }
//
// The sink's table has the eight slots of IDispatch in order, so a host can call it as IDispatch.
// The class doesn't derive from IDispatch, because an object may also have a dual interface with
// another identity (_LocDEQueryInterface is the sink's QueryInterface). EventSink() returns the
// pointer to pass to a connection point.
//
// For the host's event thread only; nothing is locked.
#pragma once

#include <cstdint>

#include "platform/com/comtypes.h"

namespace platform {

// The cookie of a sink that isn't subscribed.
inline constexpr DWORD kNoEventCookie = 0xFEFEFEFE;

// The most parameters a handler can have.
inline constexpr UINT kMaxEventParameters = 8;

// How to call a handler: convention, result type, parameter types in declared order.
struct EventCallForm {
  CALLCONV convention;
  VARTYPE resultType;
  SHORT parameterCount;
  VARTYPE parameterTypes[kMaxEventParameters];
};

// An event that a sink handles. A row without an interface ends a table.
struct EventRow {
  UINT controlId;
  const IID* iid;
  DISPID dispid;
  std::uintptr_t handler;     // see HandlerAddress
  const EventCallForm* form;  // null: GetFuncInfoFromId is asked
};

// The address of a handler, as DispCallFunc takes it: a function of the sink and of the parameters
// that the row's form declares.
//
// It must let no exception out. DispCallFunc is code of the system, which has no unwind tables for
// C++ on x86: an exception that reaches it ends the process.
template <typename Sink, typename... Parameters>
std::uintptr_t HandlerAddress(HRESULT(STDMETHODCALLTYPE* handler)(Sink* sink, Parameters...)) {
  return reinterpret_cast<std::uintptr_t>(handler);
}

// The row with this control id, dispatch id and interface, or null.
const EventRow* FindEventRow(const EventRow* rows, UINT controlId, REFIID iid, DISPID dispid);

// Calls the handler with `sink` and the host's arguments and returns the result of DispCallFunc.
// The handler's own result goes to `result`, which may be null. Without calling anything it returns
// E_FAIL if the form has more than kMaxEventParameters or an argument has no place in the form,
// DISP_E_BADPARAMCOUNT if a declared parameter has no argument, and DISP_E_TYPEMISMATCH if an
// argument is by reference where none is declared, or the reverse.
HRESULT CallEventHandler(void* sink, std::uintptr_t handler, const EventCallForm& form,
                         const DISPPARAMS* parameters, VARIANT* result);

}  // namespace platform

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The base of all sinks: the first three slots and the state of the subscription.
class _IDispEvent {
 public:
  // QueryInterface for the sink's identity.
  virtual HRESULT STDMETHODCALLTYPE _LocDEQueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

  // The pointer for a connection point, without a reference.
  IUnknown* EventSink() {
    auto* sink = reinterpret_cast<IUnknown*>(this);
    // The table is that of IDispatch, the class isn't. The compiler must not see both, or it would
    // treat a call through this pointer as impossible.
    asm volatile("" : "+r"(sink) : : "memory");
    return sink;
  }

  // The place for the cookie of a new subscription. Throws CAtlException(E_FAIL) if the sink is
  // already subscribed.
  DWORD* NewEventCookie();

  // The type library and interface of a sink whose source is chosen at run time. Here the class
  // fixes the source, so these stay zero.
  GUID m_libid = {};
  IID m_iid = {};
  WORD m_wMajorVerNum = 0;
  WORD m_wMinorVerNum = 0;
  // The connection's cookie, or kNoEventCookie.
  DWORD m_dwEventCookie = platform::kNoEventCookie;

 protected:
  _IDispEvent() = default;
  ~_IDispEvent() = default;
};

// Distinguishes the sinks of one class: one base for each control id and source.
template <UINT ControlId, const IID* SourceIid>
class _IDispEventLocator : public _IDispEvent {
 protected:
  _IDispEventLocator() = default;
  ~_IDispEventLocator() = default;
};

// The base of the class `Sink`, whose Events() returns the table.
template <UINT ControlId, class Sink, const IID* SourceIid>
class IDispEventSimpleImpl : public _IDispEventLocator<ControlId, SourceIid> {
 public:
  // Returns the sink, with a reference, for the source's id, IUnknown, IDispatch and m_iid. Returns
  // E_POINTER if `object` is null, E_NOINTERFACE for the zero id and all others.
  HRESULT STDMETHODCALLTYPE _LocDEQueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (IsEqualGUID(iid, GUID_NULL)) return E_NOINTERFACE;
    if (IsEqualGUID(iid, *SourceIid) || IsEqualGUID(iid, IID_IUnknown) ||
        IsEqualGUID(iid, IID_IDispatch) || IsEqualGUID(iid, this->m_iid)) {
      *object = this->EventSink();
      this->AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }

  // Sinks aren't counted unless their class overrides these: the connection doesn't control their
  // lifetime.
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
    return E_NOTIMPL;
  }

  // Returns S_OK for events without a row. For the others see CallEventHandler.
  virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID locale, WORD,
                                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
                                           UINT*) {
    const platform::EventRow* const row =
        platform::FindEventRow(Sink::Events(), ControlId, *SourceIid, member);
    if (row == nullptr) return S_OK;
    platform::EventCallForm asked = {};
    const platform::EventCallForm* form = row->form;
    if (form == nullptr) {
      if (FAILED(GetFuncInfoFromId(*SourceIid, member, locale, asked))) return S_OK;
      form = &asked;
    }
    // The handler may destroy the sink, so nothing uses it after this call.
    return platform::CallEventHandler(static_cast<Sink*>(this), row->handler, *form, parameters,
                                      result);
  }

  // For rows without a call form. This project has none.
  virtual HRESULT STDMETHODCALLTYPE GetFuncInfoFromId(REFIID, DISPID, LCID,
                                                      platform::EventCallForm&) {
    return E_NOTIMPL;
  }

 protected:
  IDispEventSimpleImpl() = default;
  ~IDispEventSimpleImpl() = default;
};

#pragma GCC diagnostic pop
