#include "agent/outlookaddin/dlpaddinconnect.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "agent/outlookaddin/dlpexplorerevent.h"
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/eventconnection.h"
#include "agent/outlookaddin/hostborder.h"
#include "agent/outlookaddin/hostcalls.h"
#include "agent/outlookaddin/outlookversion.h"
#include "logging/vrklogger.h"
#include "platform/com/bstr.h"
#include "platform/moduleimage.h"
#include "text/textconversion.h"

using outlookaddin::EndExceptions;
using outlookaddin::PositionVariant;
using platform::Bstr;
using platform::ComPtr;

CDlpAddinConnect* g_pAddinConnect = nullptr;

namespace {

constexpr std::uint32_t kScanInterval = 1000;  // ms

struct Version {
  std::string_view prefix;
  std::int32_t code;
  const char* logged;  // null: no line
};

constexpr Version kVersions[] = {
    {"11", 1, nullptr},
    {"12", outlookaddin::kOutlook2007, nullptr},
    {"14", outlookaddin::kOutlook2010, nullptr},
    {"15", outlookaddin::kOutlook2013, "Outlook version: 2013"},
    {"16", 5, "Outlook version: 2016"},
};

// Null if the host has no application object or fails: then there is nothing to subscribe to and
// nothing to scan.
ComPtr<_Inspectors> Inspectors(_Application* outlook) {
  ComPtr<_Inspectors> inspectors;
  if (outlook != nullptr && FAILED(outlook->get_Inspectors(inspectors.Put()))) inspectors.Reset();
  return inspectors;
}

// The mail that an inspector shows, or null if it shows anything else.
//
// The reference that get_CurrentItem returned is never released, not even for an item that isn't a
// mail: the sink on a mail takes it over; see DlpMailEvent::Attach.
ComPtr<_MailItem> CurrentMail(_Inspector* inspector) {
  ComPtr<_MailItem> mail;
  IDispatch* item = nullptr;
  if (SUCCEEDED(inspector->get_CurrentItem(&item)) && item != nullptr) {
    platform::QueryFor(item, outlookaddin::IID__MailItem, &mail);
  }
  return mail;
}

platform::WideString Caption(_Inspector* inspector) {
  Bstr caption;
  if (FAILED(inspector->get_Caption(caption.Put()))) return {};
  return platform::WideString(caption.View());
}

HRESULT STDMETHODCALLTYPE HandleNewInspector(CDlpAddinConnect* addIn, IDispatch* inspector) {
  return EndExceptions("NewInspector", [=] { return addIn->NewInspector(inspector); });
}

}  // namespace

const platform::EventRow* CDlpAddinConnect::Events() {
  static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 1, {VT_DISPATCH}};
  static const platform::EventRow kRows[] = {
      {1, &GUID_00063079, outlookaddin::kDispidNewInspector,
       platform::HandlerAddress(&HandleNewInspector), &kForm},
      {}};
  return kRows;
}

CDlpAddinConnect::CDlpAddinConnect() {
  g_pAddinConnect = this;
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::OnConnection(IDispatch* Application, ext_ConnectMode,
                                                         IDispatch* AddInInst, SAFEARRAY**) {
  return EndExceptions("OnConnection", [&] {
    Connect(Application, AddInInst);
    return S_OK;
  });
}

void CDlpAddinConnect::Connect(IDispatch* Application, IDispatch* AddInInst) {
  g_logger.LoadConfig();
  g_logger.Log(kLogModule, kLogInfo, "DLP Addin attached.");
  platform::QueryFor(Application, IID_IDispatch, &m_pApplication);
  platform::QueryFor(AddInInst, IID_IDispatch, &m_pAddInInst);
  platform::QueryFor(m_pApplication.Get(), outlookaddin::IID__Application, &m_spOutlook);
  g_outlookVersionCode = ReadVersion(m_spOutlook.Get());

  const ComPtr<_Inspectors> inspectors = Inspectors(m_spOutlook.Get());
  outlookaddin::SubscribeSink(inspectors.Get(), this, GUID_00063079);
  try {
    ScanInspectors();
    TrackExplorers(m_spOutlook.Get());
  } catch (...) {
    // The host drops an add-in that failed to connect, and doesn't call OnDisconnection.
    Unsubscribe();
    throw;
  }

  // From here on timer and sinks call into the library for as long as the process lives.
  platform::moduleImage.PinModule(reinterpret_cast<const void*>(&outlookaddin::OnScanTimer));
  g_logger.Log(kLogModule, kLogInfo, "Start timer to monitor the inspector change.");
  platform::ui.SetTimer(nullptr, 0, kScanInterval, outlookaddin::OnScanTimer);
}

void CDlpAddinConnect::Unsubscribe() {
  const ComPtr<_Inspectors> inspectors = Inspectors(m_spOutlook.Get());
  UnadviseEvents(inspectors.Get(), GUID_00063079, m_dwEventCookie);
  m_dwEventCookie = platform::kNoEventCookie;
}

void CDlpAddinConnect::FinalRelease() {
  std::vector<platform::WideString>().swap(m_knownCaptions);
  m_spOutlook.Reset();
  m_pAddInInst.Reset();
  m_pApplication.Reset();
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::OnDisconnection(ext_DisconnectMode, SAFEARRAY**) {
  return EndExceptions("OnDisconnection", [this] {
    // This stops no timer: the one that OnConnection started has no window, and the system chose
    // its identifier. It fires for as long as the thread pumps messages.
    platform::ui.KillTimer(platform::ui.GetActiveWindow(), reinterpret_cast<std::uintptr_t>(this));
    g_logger.Log(kLogModule, kLogInfo, "Kill the monitoring timer.");
    Unsubscribe();
    m_pApplication.Reset();
    m_pAddInInst.Reset();
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::OnAddInsUpdate(SAFEARRAY**) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::OnStartupComplete(SAFEARRAY**) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::OnBeginShutdown(SAFEARRAY**) {
  return S_OK;
}

std::int32_t CDlpAddinConnect::ReadVersion(_Application* outlook) {
  Bstr text;
  if (outlook == nullptr || FAILED(outlook->get_Version(text.Put())) || !text) return 0;
  const std::string version = WideToUtf8(text.View());
  if (version.size() < 3) return 0;
  for (const Version& known : kVersions) {
    if (!version.starts_with(known.prefix)) continue;
    if (known.logged != nullptr) g_logger.Log(kLogModule, kLogInfo, "%s", known.logged);
    return known.code;
  }
  return 0;
}

void CDlpAddinConnect::TrackExplorers(_Application* outlook) {
  ComPtr<_Explorers> explorers;
  if (outlook == nullptr || FAILED(outlook->get_Explorers(explorers.Put())) || !explorers) return;
  LONG count = 0;
  if (FAILED(explorers->get_Count(&count))) return;
  for (LONG position = 1; position <= count; ++position) {
    ComPtr<_Explorer> explorer;
    if (FAILED(explorers->Item(PositionVariant(position), explorer.Put()))) explorer.Reset();
    // Without an explorer Initialize fails, as it does for one that refuses the subscription.
    ComPtr<DlpExplorerEvent_10> sink(new DlpExplorerEvent_10(explorer.Get()));
    if (FAILED(sink->Initialize(explorer.Get()))) continue;
    // Its count stays 1, so nothing ends it.
    sink.Detach();
    g_logger.Log(kLogModule, kLogInfo, "Initialize success");
  }
}

HRESULT STDMETHODCALLTYPE CDlpAddinConnect::NewInspector(IDispatch* inspector) {
  g_logger.Log(kLogModule, kLogInfo, "New Inspector Created.");
  ComPtr<_Inspector> window;
  if (FAILED(platform::QueryFor(inspector, outlookaddin::IID__Inspector, &window)) || !window) {
    return S_OK;
  }
  // Known from now on, so that the next scan doesn't take this window for a new one.
  m_knownCaptions.push_back(Caption(window.Get()));
  const ComPtr<_MailItem> mail = CurrentMail(window.Get());
  if (!mail) return S_OK;
  DlpMailEvent* const mailEvent = DlpMailEvent::Attach(mail.Get());
  if (mailEvent == nullptr) return S_OK;
  try {
    // Never freed: the window's connection may call it at any time.
    auto* const inspectorEvent = new DlpInspectorEvent(mailEvent);
    outlookaddin::SubscribeSink(window.Get(), inspectorEvent, GUID_0006307d);
  } catch (...) {
    mailEvent->Destroy();
    throw;
  }
  return S_OK;
}

void CDlpAddinConnect::ScanInspectors() {
  const ComPtr<_Inspectors> inspectors = Inspectors(m_spOutlook.Get());
  LONG count = 0;
  // If the host fails, the known captions stay as they were.
  if (!inspectors || FAILED(inspectors->get_Count(&count))) return;
  std::vector<platform::WideString> captions;
  const auto most = static_cast<std::size_t>(std::max(count, LONG{0}));
  captions.reserve(most);
  m_knownCaptions.reserve(m_knownCaptions.size() + most);
  const auto known = static_cast<LONG>(m_knownCaptions.size());
  const bool changed = count > known;
  if (changed) {
    g_logger.Log(
        kLogModule, kLogInfo,
        "Inspector change triggered by timer. lCurInspectorsCount: %d, original count: %d.",
        static_cast<int>(count), static_cast<int>(known));
  }
  try {
    for (LONG position = count; position >= 1; --position) {
      ComPtr<_Inspector> inspector;
      if (FAILED(inspectors->Item(PositionVariant(position), inspector.Put()))) inspector.Reset();
      if (inspector) captions.push_back(ScanInspector(inspector.Get(), changed));
    }
  } catch (...) {
    // These mails have a sink. The next scan looks at the other windows again, but it must not give
    // a mail a second sink. Reserved above, so this can't throw.
    for (platform::WideString& caption : captions) {
      if (!IsKnown(caption)) m_knownCaptions.push_back(std::move(caption));
    }
    throw;
  }
  m_knownCaptions.swap(captions);
}

platform::WideString CDlpAddinConnect::ScanInspector(_Inspector* inspector, bool changed) const {
  platform::WideString caption = Caption(inspector);
  if (!changed || IsKnown(caption)) return caption;
  g_logger.Log(kLogModule, kLogInfo, "New Inspector: %s.", WideToUtf8(caption).c_str());
  const ComPtr<_MailItem> mail = CurrentMail(inspector);
  // Nothing owns this sink: it stays subscribed for as long as the item exists.
  if (mail) DlpMailEvent::Attach(mail.Get());
  return caption;
}

bool CDlpAddinConnect::IsKnown(platform::WideStringView caption) const {
  return std::find(m_knownCaptions.begin(), m_knownCaptions.end(), caption) !=
         m_knownCaptions.end();
}

void QV_STDCALL outlookaddin::OnScanTimer(platform::Window, std::uint32_t, std::uintptr_t,
                                          std::uint32_t) {
  EndExceptions("OnScanTimer", [] {
    g_pAddinConnect->ScanInspectors();
    return S_OK;
  });
}
