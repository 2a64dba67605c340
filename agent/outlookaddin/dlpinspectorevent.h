// The sink on one inspector window: when the window closes, it destroys the sink on the window's
// mail.
#pragma once

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/dispevent.h"

class DlpMailEvent;

// The event interface of an inspector.
inline constexpr const IID& GUID_0006307d = outlookaddin::IID_InspectorEvents;

// Made by CDlpAddinConnect::NewInspector. It has no reference count and is never freed: the host
// may call it for as long as the window's connection exists, and after the close it does nothing.
class DlpInspectorEvent final : public IDispEventSimpleImpl<2, DlpInspectorEvent, &GUID_0006307d> {
 public:
  // The event table: OnInspectorClose.
  static const platform::EventRow* Events();

  // Owns `mailEvent`, which may be null, until the window closes.
  explicit DlpInspectorEvent(DlpMailEvent* mailEvent) : m_pMailEvent(mailEvent) {}

  DlpInspectorEvent(const DlpInspectorEvent&) = delete;
  DlpInspectorEvent& operator=(const DlpInspectorEvent&) = delete;

  // The host's Close event. The first one destroys the sink on the mail, later ones do nothing. If
  // the sink is checking its mail, it is destroyed when the check has ended. Returns 0.
  virtual HRESULT STDMETHODCALLTYPE OnInspectorClose();

 private:
  DlpMailEvent* m_pMailEvent;
  bool m_bClosed = false;
};
