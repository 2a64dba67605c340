// The one object that the host creates from this library and talks to.
//
// OnConnection brings the add-in to life: the log, the host's version, the subscription to the
// windows that open, a sink for each explorer, and a timer. From then on three routes put a
// DlpMailEvent on every mail that is being written:
//
//   NewInspector            the host opens a window of its own for an item
//   ScanInspectors          once at connection and every second: windows that no event announced
//   OnInlineResponseCreate  a reply is begun inside an explorer (DlpExplorerEvent_10)
//
// The host calls the object on its main thread, events and the timer included; nothing is locked.
// No failure is reported to the host: an add-in that could not subscribe runs on with fewer events.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/outlookaddin/addinids.h"
#include "agent/outlookaddin/extensibility.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comobject.h"
#include "platform/com/comptr.h"
#include "platform/com/dispatchimpl.h"
#include "platform/com/dispevent.h"
#include "platform/ui.h"
#include "platform/widetext.h"

// The source of the event that a new inspector makes.
inline constexpr const IID& GUID_00063079 = outlook::IID_InspectorsEvents;

class CDlpAddinConnect
    : public CComObjectRootEx<CComSingleThreadModel>,
      public CComCoClass<CDlpAddinConnect, &CLSID_Connect>,
      public IDispatchImpl<_IDTExtensibility2, &IID__IDTExtensibility2, &LIBID_AddInDesignerObjects,
                           1, 0, CComTypeInfoHolder>,
      public IDispEventSimpleImpl<1, CDlpAddinConnect, &GUID_00063079> {
 public:
  // QueryInterface answers IUnknown and this, and not even IDispatch.
  using InterfaceMap =
      platform::InterfaceMap<platform::Answers<_IDTExtensibility2, &IID__IDTExtensibility2>>;

  // The event table: NewInspector.
  static const platform::EventRow* Events();

  // Makes itself known in g_pAddinConnect.
  CDlpAddinConnect();

  // Starts everything. Always S_OK, whatever could not be had; only a subscription that stands
  // already comes out, as CAtlException(E_FAIL). May be called again after OnDisconnection: every
  // step repeats, and a second timer runs beside the first.
  HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* Application, ext_ConnectMode ConnectMode,
                                         IDispatch* AddInInst, SAFEARRAY** custom) override;
  // Leaves the host's events and gives its two objects back. The timer goes on, and with it the
  // scan, for which the application object is kept; the sinks stay too. Always S_OK.
  HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode RemoveMode,
                                            SAFEARRAY** custom) override;
  // Nothing in this add-in starts later than OnConnection or stops earlier than OnDisconnection.
  HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

  // The host's event. Remembers the window's caption and, if a mail is in it, puts a sink on the
  // mail and one on the window. The result is nobody's.
  virtual HRESULT STDMETHODCALLTYPE NewInspector(IDispatch* inspector);

  // Looks through the open windows, the last one first, for captions that it doesn't know, and
  // puts a sink on each mail that it finds there. Windows are only looked into when there are more
  // of them than known captions. Afterwards exactly the present captions are known.
  void ScanInspectors();

 protected:
  ~CDlpAddinConnect() = default;

 private:
  // The code of a version text, logged where the version is worth a line.
  static std::int32_t ReadVersion(_Application* outlook);
  // A sink for each explorer that is open now.
  static void TrackExplorers(_Application* outlook);
  // The scan's work on one window, whose caption it gives.
  platform::WideString ScanInspector(_Inspector* inspector, bool changed) const;
  bool IsKnown(platform::WideStringView caption) const;

  platform::ComPtr<IDispatch> m_pApplication;
  platform::ComPtr<IDispatch> m_pAddInInst;
  // Stays after OnDisconnection: the timer still asks it.
  platform::ComPtr<_Application> m_spOutlook;
  // Captions, not windows: all that can be compared of what the host gives anew at each scan.
  std::vector<platform::WideString> m_knownCaptions;
};

// The object made last; how the timer finds it. Not cleared when the object dies.
extern CDlpAddinConnect* g_pAddinConnect;

namespace addin {

// The timer's callback: one scan by g_pAddinConnect. Uses none of its arguments.
void QV_STDCALL OnScanTimer(platform::Window window, std::uint32_t message,
                            std::uintptr_t identifier, std::uint32_t tick);

}  // namespace addin
