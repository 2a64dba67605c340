// The sink on one explorer window: it puts a sink on a reply that is begun inside the window.
//
// Two objects stand for each explorer. OnConnection makes the first and calls its Initialize,
// which makes a second one; the second is what the explorer's events reach. Both keep a reference
// to the explorer and neither is ever given up while the subscription stands: they live to the
// end of the process.
#pragma once

#include <atomic>

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comptr.h"
#include "platform/com/dispevent.h"

// The source of the event that an inline reply makes.
inline constexpr const IID& GUID_0006300f = outlook::IID_ExplorerEvents_10;

class DlpExplorerEvent_10 final
    : public IDispEventSimpleImpl<3, DlpExplorerEvent_10, &GUID_0006300f> {
 public:
  // The event table: OnInlineResponseCreate.
  static const platform::EventRow* Events();

  // Asks `explorer` for the interface that it keeps; null is allowed. The count starts at 1.
  explicit DlpExplorerEvent_10(IDispatch* explorer);

  DlpExplorerEvent_10(const DlpExplorerEvent_10&) = delete;
  DlpExplorerEvent_10& operator=(const DlpExplorerEvent_10&) = delete;

  // The reference count, atomic; the last Release destroys the object.
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // The host's event. Puts a sink on the reply that the explorer names; the event's own argument
  // isn't looked at. Always 0; CAtlException(E_POINTER) without an explorer. Stands with the other
  // two routes in dlpaddinconnect.cpp.
  virtual HRESULT STDMETHODCALLTYPE OnInlineResponseCreate(IDispatch* item);
  // Called once the events arrive. Nothing is left to do then: 0.
  virtual HRESULT STDMETHODCALLTYPE OnInitialized();

  // Subscribes a second object to the events of `explorer`. S_OK, or what AdviseEvents gave.
  HRESULT Initialize(IDispatch* explorer);
  // Gives the explorer back. Ends no connection; gives what UnadviseEvents said to that, or 0 when
  // there was no explorer any more.
  HRESULT Uninitialize();

 private:
  ~DlpExplorerEvent_10();

  std::atomic<LONG> m_dwRef = 1;
  platform::ComPtr<_Explorer> m_spExplorer;
};
