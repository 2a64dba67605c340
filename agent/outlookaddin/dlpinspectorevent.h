// The sink on one inspector window: it ends the sink on the window's mail when the window closes.
#pragma once

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/dispevent.h"

class DlpMailEvent;

// The source of the event that closes an inspector.
inline constexpr const IID& GUID_0006307d = outlook::IID_InspectorEvents;

// Made by CDlpAddinConnect::NewInspector. It has no reference count and is never freed: the
// window's connection may call it at any time, and after the close it does nothing.
class DlpInspectorEvent final : public IDispEventSimpleImpl<2, DlpInspectorEvent, &GUID_0006307d> {
 public:
  // The event table: OnInspectorClose.
  static const platform::EventRow* Events();

  // Owns `mailEvent` until the window closes. Null is allowed.
  explicit DlpInspectorEvent(DlpMailEvent* mailEvent) : m_pMailEvent(mailEvent) {}

  DlpInspectorEvent(const DlpInspectorEvent&) = delete;
  DlpInspectorEvent& operator=(const DlpInspectorEvent&) = delete;

  // The host's Close event. The first one destroys the sink on the mail, which leaves the item and
  // gives it back; any other does nothing. Always 0.
  virtual HRESULT STDMETHODCALLTYPE OnInspectorClose();

 private:
  DlpMailEvent* m_pMailEvent;
  bool m_bClosed = false;
};
