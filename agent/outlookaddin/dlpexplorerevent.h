// The sink on one explorer window: it puts a DlpMailEvent on each reply that the user begins inside
// the window.
//
// Each explorer has two of these objects. OnConnection makes the first and calls its Initialize,
// which makes the second and subscribes it to the explorer's events. Each holds a reference to the
// explorer. Nothing ends either of them while the subscription exists, so both live until the
// process ends.
#pragma once

#include <atomic>

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comptr.h"
#include "platform/com/dispevent.h"

// The event interface of an explorer.
inline constexpr const IID& GUID_0006300f = outlookaddin::IID_ExplorerEvents_10;

class DlpExplorerEvent_10 final
    : public IDispEventSimpleImpl<3, DlpExplorerEvent_10, &GUID_0006300f> {
 public:
  // The event table: OnInlineResponseCreate.
  static const platform::EventRow* Events();

  // Queries `explorer`, which may be null, for the interface that it keeps. The reference count
  // starts at 1.
  explicit DlpExplorerEvent_10(IDispatch* explorer);

  DlpExplorerEvent_10(const DlpExplorerEvent_10&) = delete;
  DlpExplorerEvent_10& operator=(const DlpExplorerEvent_10&) = delete;

  // Atomic. The last Release destroys the object.
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // The host's event. Puts a DlpMailEvent on the explorer's current inline reply and ignores its
  // argument. Returns 0. Throws CAtlException(E_POINTER) if there is no explorer, and
  // std::bad_alloc.
  virtual HRESULT STDMETHODCALLTYPE OnInlineResponseCreate(IDispatch* item);
  // Called when the subscription has succeeded. Does nothing and returns 0.
  virtual HRESULT STDMETHODCALLTYPE OnInitialized();

  // Subscribes a second object to the events of `explorer`. Returns S_OK or the failure of
  // AdviseEvents. Throws std::bad_alloc.
  HRESULT Initialize(IDispatch* explorer);
  // Releases the explorer. It tries to unsubscribe with a cookie that belongs to no connection, so
  // the second object's subscription remains. Returns the result of that UnadviseEvents, 0 if the
  // explorer was released before, or E_OUTOFMEMORY.
  HRESULT Uninitialize();

 private:
  ~DlpExplorerEvent_10();

  std::atomic<LONG> m_dwRef = 1;
  platform::ComPtr<_Explorer> m_spExplorer;
};
