// The frame of an event sink: an object that a host's connection point calls through
// IDispatch::Invoke, without type information.
//
// A sink is a base, a row and a handler:
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
// The sink's table has IDispatch's eight slots in IDispatch's order, so a host may treat it as one,
// but the class is not derived from IDispatch: an object that is also a dual interface of its own
// keeps the two identities apart (_LocDEQueryInterface is the sink's QueryInterface). EventSink()
// gives the pointer that goes to a connection point.
//
// Everything here belongs to the one thread that the host fires its events on; no lock is taken.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/com/comtypes.h"

namespace platform {

// The value of a sink's cookie while it isn't subscribed.
inline constexpr DWORD kNoEventCookie = 0xFEFEFEFE;

// More parameters than this no handler can have.
inline constexpr UINT kMaxEventParameters = 8;

// How a handler is called: convention, type of its result, types of its parameters in declared
// order.
struct EventCallForm {
  CALLCONV convention;
  VARTYPE resultType;
  SHORT parameterCount;
  VARTYPE parameterTypes[kMaxEventParameters];
};

// One event that a sink listens to. A table of rows ends with a row without an interface.
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

// The offset in bytes of a virtual handler's slot in the table of its class, as DispCallFunc wants
// it. A pointer to a virtual member is this offset plus one, and an adjustment of `this`, which is
// zero for a member of the first table; anything else is a mistake in a sink's row and ends the
// process when the table is first used.
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

// The row of `rows` with this control id, dispatch id and interface, or null.
const EventRow* FindEventRow(const EventRow* rows, UINT controlId, REFIID iid, DISPID dispid);

// Calls the handler in the slot `handlerSlot` of `instance` with the host's arguments, and gives
// what DispCallFunc gave; the handler's own result goes to `result`, or nowhere when that is null.
// Nothing is called, and the result is E_FAIL, for a form of more than kMaxEventParameters, for an
// argument without a place in the form's array, DISP_E_BADPARAMCOUNT for a declared parameter
// without an argument, and DISP_E_TYPEMISMATCH for an argument by reference where none is declared
// or the reverse.
HRESULT CallEventHandler(void* instance, std::uintptr_t handlerSlot, const EventCallForm& form,
                         const DISPPARAMS* parameters, VARIANT* result);

}  // namespace platform

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The root of every sink: the first three slots, and what a subscription leaves behind.
class _IDispEvent {
 public:
  // QueryInterface of the sink's identity.
  virtual HRESULT STDMETHODCALLTYPE _LocDEQueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

  // The pointer to hand to a connection point; not counted.
  IUnknown* EventSink() {
    auto* sink = reinterpret_cast<IUnknown*>(this);
    // The table is IDispatch's, the class is not. A compiler that sees both ends would take a call
    // through the pointer for impossible, so it must not see that they are one object.
    asm volatile("" : "+r"(sink) : : "memory");
    return sink;
  }

  // Where a new subscription puts its cookie. A sink that is subscribed already must not be
  // subscribed again: that raises CAtlException(E_FAIL).
  DWORD* NewEventCookie();

  // The library and interface of a sink whose source is set at run time. The sources of this
  // add-in's sinks are fixed by their classes, so these stay zero.
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

// Tells apart the sinks that one class may have: one base for each control id and source.
template <UINT ControlId, const IID* SourceIid>
class _IDispEventLocator : public _IDispEvent {
 protected:
  _IDispEventLocator() = default;
  ~_IDispEventLocator() = default;
};

// The sink that `Sink` derives from. `Sink::Events()` gives its table.
template <UINT ControlId, class Sink, const IID* SourceIid>
class IDispEventSimpleImpl : public _IDispEventLocator<ControlId, SourceIid> {
 public:
  // Answers the source's id, IUnknown, IDispatch and m_iid with the sink itself, counted by its
  // AddRef; E_POINTER without a place for the answer, E_NOINTERFACE for the zero id and all else.
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

  // A sink isn't counted unless its class overrides these: the connection neither keeps it alive
  // nor ends it.
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
    return E_NOTIMPL;
  }

  // An event that no row names ends here with S_OK. See CallEventHandler for the others.
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

  // For a row without a call form; no row of ours needs it.
  virtual HRESULT STDMETHODCALLTYPE GetFuncInfoFromId(REFIID, DISPID, LCID,
                                                      platform::EventCallForm&) {
    return E_NOTIMPL;
  }

 protected:
  IDispEventSimpleImpl() = default;
  ~IDispEventSimpleImpl() = default;
};

#pragma GCC diagnostic pop
