// Event sinks: objects that a host's connection point calls through IDispatch::Invoke, without type
// information.
//
// A sink has a base, a row and a handler:
//
//   class CloseSink final : public IDispEventSimpleImpl<2, CloseSink, &IID_WindowEvents> {
//    public:
//     static const platform::EventRow* Events();         // one row and the terminator
//     virtual HRESULT STDMETHODCALLTYPE OnClose();        // reached through its virtual slot
//   };
//
//   const platform::EventRow* CloseSink::Events() {
//     static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 0, {}};
//     static const platform::EventRow kRows[] = {
//         {2, &IID_WindowEvents, kDispidClose, platform::HandlerSlot(&CloseSink::OnClose), &kForm},
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

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

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
  std::uintptr_t handlerSlot;  // see HandlerSlot
  const EventCallForm* form;   // null: GetFuncInfoFromId is asked
};

#if !defined(__GXX_ABI_VERSION) || !(defined(__x86_64__) || defined(__i386__))
#error "HandlerSlot reads member pointers as the Itanium C++ ABI has them on x86"
#endif

// The byte offset of a virtual handler in the table of its class, for DispCallFunc. A pointer to a
// virtual member contains this offset plus one, and an adjustment of `this` that is zero for the
// first table. Anything else is an error in a sink's row, and ends the process on first use of the
// table.
template <typename Sink, typename... Parameters>
std::uintptr_t HandlerSlot(HRESULT (STDMETHODCALLTYPE Sink::*handler)(Parameters...)) {
  struct Representation {
    std::uintptr_t slotPlusOne;
    std::ptrdiff_t adjustment;
  };
  static_assert(sizeof(handler) == sizeof(Representation));
  const auto parts = std::bit_cast<Representation>(handler);
  if ((parts.slotPlusOne & 1) == 0 || parts.adjustment != 0) std::abort();
  return parts.slotPlusOne - 1;
}

// The row with this control id, dispatch id and interface, or null.
const EventRow* FindEventRow(const EventRow* rows, UINT controlId, REFIID iid, DISPID dispid);

// Calls the handler at offset `handlerSlot` of `instance` with the host's arguments and returns the
// result of DispCallFunc. The handler's own result goes to `result`, which may be null. Calls
// nothing and returns E_FAIL for more than kMaxEventParameters parameters or an argument without a
// parameter, DISP_E_BADPARAMCOUNT for a parameter without an argument, DISP_E_TYPEMISMATCH for an
// argument that is by reference when the parameter isn't, or the reverse.
HRESULT CallEventHandler(void* instance, std::uintptr_t handlerSlot, const EventCallForm& form,
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
    return platform::CallEventHandler(static_cast<Sink*>(this), row->handlerSlot, *form, parameters,
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
