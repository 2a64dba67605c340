#include "agent/outlookaddin/dlpexplorerevent.h"

#include <new>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/eventconnection.h"
#include "agent/outlookaddin/hostborder.h"
#include "logging/vrklogger.h"
#include "platform/com/comerror.h"

using platform::ComPtr;

namespace {

HRESULT STDMETHODCALLTYPE HandleInlineResponse(DlpExplorerEvent_10* sink, IDispatch* item) {
  return outlookaddin::EndExceptions("OnInlineResponseCreate",
                                     [=] { return sink->OnInlineResponseCreate(item); });
}

}  // namespace

const platform::EventRow* DlpExplorerEvent_10::Events() {
  static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 1, {VT_DISPATCH}};
  static const platform::EventRow kRows[] = {
      {3, &GUID_0006300f, outlookaddin::kDispidInlineResponse,
       platform::HandlerAddress(&HandleInlineResponse), &kForm},
      {}};
  return kRows;
}

DlpExplorerEvent_10::DlpExplorerEvent_10(IDispatch* explorer) {
  platform::QueryFor(explorer, outlookaddin::IID__Explorer, &m_spExplorer);
}

DlpExplorerEvent_10::~DlpExplorerEvent_10() {
  Uninitialize();
}

ULONG STDMETHODCALLTYPE DlpExplorerEvent_10::AddRef() {
  return static_cast<ULONG>(++m_dwRef);
}

ULONG STDMETHODCALLTYPE DlpExplorerEvent_10::Release() {
  const LONG count = --m_dwRef;
  if (count == 0) delete this;
  return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE DlpExplorerEvent_10::OnInlineResponseCreate(IDispatch*) {
  constexpr const char* kFunction = "DlpExplorerEvent_10::OnInlineResponseCreate";
  // These lines name dlpaddinconnect.cpp, whichever file logs them: tools that read the log know
  // them by that text.
  constexpr const char* kFile = "dlpaddinconnect.cpp";
  g_logger.Log(kLogModule, kLogInfo, "New InlineResponse Created.");
  if (!m_spExplorer) throw CAtlException(E_POINTER);
  // The sink on the reply takes this reference over; see DlpMailEvent::Attach.
  IDispatch* item = nullptr;
  if (FAILED(m_spExplorer->get_ActiveInlineResponse(&item)) || item == nullptr) return S_OK;
  g_logger.Log(kLogModule, kLogInfo, "%s> Get InlineResponse item @%s(%d)", kFunction, kFile, 382);
  ComPtr<_MailItem> mail;
  if (FAILED(platform::QueryFor(item, outlookaddin::IID__MailItem, &mail)) || !mail) return S_OK;
  g_logger.Log(kLogModule, kLogInfo, "%s> Get _MailItem @%s(%d)", kFunction, kFile, 391);
  if (DlpMailEvent::Attach(mail.Get()) != nullptr) {
    g_logger.Log(kLogModule, kLogInfo, "%s> Dispatch _MailItem with ItemEvents @%s(%d)", kFunction,
                 kFile, 400);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE DlpExplorerEvent_10::OnInitialized() {
  return S_OK;
}

HRESULT DlpExplorerEvent_10::Initialize(IDispatch* explorer) {
  auto* const second = new DlpExplorerEvent_10(explorer);
  second->AddRef();
  HRESULT hr = outlookaddin::SubscribeSink(explorer, second, GUID_0006300f);
  if (SUCCEEDED(hr)) {
    platform::QueryFor(explorer, outlookaddin::IID__Explorer, &m_spExplorer);
    OnInitialized();
    hr = S_OK;
  }
  // The count that it started with remains: the object outlives even a connection that the host
  // drops.
  second->Release();
  return hr;
}

HRESULT DlpExplorerEvent_10::Uninitialize() {
  if (!m_spExplorer) return S_OK;
  // A new sink's cookie belongs to no connection. The new sink keeps its first count, and with it a
  // reference to the explorer: destroying it would call this function again.
  // It must not throw: the destructor calls this.
  auto* const further = new (std::nothrow) DlpExplorerEvent_10(m_spExplorer.Get());
  if (further == nullptr) {
    m_spExplorer.Reset();
    return E_OUTOFMEMORY;
  }
  further->AddRef();
  const HRESULT hr = UnadviseEvents(m_spExplorer.Get(), GUID_0006300f, further->m_dwEventCookie);
  further->m_dwEventCookie = platform::kNoEventCookie;
  m_spExplorer.Reset();
  further->Release();
  return hr;
}
