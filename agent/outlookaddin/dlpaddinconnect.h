// The one object that the host creates from this library.
//
// OnConnection starts the add-in: it opens the log, reads the host's version, subscribes to new
// windows, makes a sink for each explorer and starts a timer. From then on a DlpMailEvent gets onto
// every mail that is being written in one of three ways:
//
//   NewInspector            the host opens a window for an item
//   ScanInspectors          at connection and every second: windows that no event announced
//   OnInlineResponseCreate  the user begins a reply inside an explorer (DlpExplorerEvent_10)
//
// The host makes every call on its main thread, events and timer included; nothing is locked. A
// failing call of the host costs the add-in some events at most; it goes on with the others.
//
// No method lets an exception out (hostborder.h), except NewInspector and ScanInspectors, which the
// event table and the timer call through a guard.
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

// The event interface of the inspectors collection.
inline constexpr const IID& GUID_00063079 = outlookaddin::IID_InspectorsEvents;

class CDlpAddinConnect
    : public CComObjectRootEx<CComSingleThreadModel>,
      public CComCoClass<CDlpAddinConnect, &CLSID_Connect>,
      public IDispatchImpl<_IDTExtensibility2, &IID__IDTExtensibility2, &LIBID_AddInDesignerObjects,
                           1, 0, CComTypeInfoHolder>,
      public IDispEventSimpleImpl<1, CDlpAddinConnect, &GUID_00063079> {
 public:
  // QueryInterface answers IUnknown and _IDTExtensibility2 only, not even IDispatch.
  using InterfaceMap =
      platform::InterfaceMap<platform::Answers<_IDTExtensibility2, &IID__IDTExtensibility2>>;

  // The event table: NewInspector.
  static const platform::EventRow* Events();

  // The timer may call the object after its last Release. It then finds an object that holds
  // nothing.
  static constexpr bool kStaysReadable = true;
  void FinalRelease();

  // Sets g_pAddinConnect to the new object.
  CDlpAddinConnect();

  // Starts everything, and pins the library: timer and sinks call into it until the process ends.
  // Returns S_OK even if a step failed, E_FAIL if the object is already subscribed, and
  // E_OUTOFMEMORY. After OnDisconnection it may be called again: every step repeats, and a second
  // timer runs beside the first.
  HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* Application, ext_ConnectMode ConnectMode,
                                         IDispatch* AddInInst, SAFEARRAY** custom) override;
  // Unsubscribes from the inspectors and releases the two objects that OnConnection was given. The
  // timer goes on, so m_spOutlook stays for its scan; the sinks stay as well. Returns S_OK.
  HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode RemoveMode,
                                            SAFEARRAY** custom) override;
  // These do nothing: the add-in starts in OnConnection and stops in OnDisconnection.
  HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

  // The host's event. Remembers the window's caption. If the window shows a mail, puts a sink on
  // the mail and one on the window. Returns S_OK.
  virtual HRESULT STDMETHODCALLTYPE NewInspector(IDispatch* inspector);

  // Reads the captions of all open windows, the last window first, and remembers exactly these. If
  // there are more windows than remembered captions, puts a sink on the mail of each window whose
  // caption is new.
  void ScanInspectors();

 protected:
  ~CDlpAddinConnect() = default;

 private:
  // OnConnection, with exceptions.
  void Connect(IDispatch* Application, IDispatch* AddInInst);
  // Ends the subscription to the inspectors.
  void Unsubscribe();
  // The version code, see g_outlookVersionCode. Logs the two latest versions.
  static std::int32_t ReadVersion(_Application* outlook);
  // Makes a sink for each open explorer.
  static void TrackExplorers(_Application* outlook);
  // The scan's work on one window. Returns its caption.
  platform::WideString ScanInspector(_Inspector* inspector, bool changed) const;
  bool IsKnown(platform::WideStringView caption) const;

  platform::ComPtr<IDispatch> m_pApplication;
  platform::ComPtr<IDispatch> m_pAddInInst;
  // OnDisconnection keeps it: the timer goes on and needs it.
  platform::ComPtr<_Application> m_spOutlook;
  // Captions, since the host returns new objects for the same windows at each scan.
  std::vector<platform::WideString> m_knownCaptions;
};

// The object that was made last. The timer's callback has no argument to find it by. It is never
// cleared, and the object's memory is never freed.
extern CDlpAddinConnect* g_pAddinConnect;

namespace outlookaddin {

// The timer's callback: g_pAddinConnect->ScanInspectors(). Ignores its arguments and lets no
// exception out.
void QV_STDCALL OnScanTimer(platform::Window window, std::uint32_t message,
                            std::uintptr_t identifier, std::uint32_t tick);

}  // namespace outlookaddin
