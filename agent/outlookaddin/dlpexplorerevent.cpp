#include "agent/outlookaddin/dlpexplorerevent.h"

#include "agent/outlookaddin/eventconnection.h"

const platform::EventRow* DlpExplorerEvent_10::Events() {
  static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 1, {VT_DISPATCH}};
  static const platform::EventRow kRows[] = {
      {3, &GUID_0006300f, outlook::kDispidInlineResponse,
       platform::HandlerSlot(&DlpExplorerEvent_10::OnInlineResponseCreate), &kForm},
      {}};
  return kRows;
}

DlpExplorerEvent_10::DlpExplorerEvent_10(IDispatch* explorer) {
  platform::QueryFor(explorer, outlook::IID__Explorer, &m_spExplorer);
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

HRESULT STDMETHODCALLTYPE DlpExplorerEvent_10::OnInitialized() {
  return S_OK;
}

HRESULT DlpExplorerEvent_10::Initialize(IDispatch* explorer) {
  auto* const second = new DlpExplorerEvent_10(explorer);
  second->AddRef();
  HRESULT hr = addin::SubscribeSink(explorer, second, GUID_0006300f);
  if (SUCCEEDED(hr)) {
    platform::QueryFor(explorer, outlook::IID__Explorer, &m_spExplorer);
    OnInitialized();
    hr = S_OK;
  }
  // Its first count stays for good: the second object outlives even a connection that the host
  // drops.
  second->Release();
  return hr;
}

HRESULT DlpExplorerEvent_10::Uninitialize() {
  if (!m_spExplorer) return S_OK;
  // A fresh sink has no connection, so its cookie ends none: what the second object subscribed
  // stays. The fresh one keeps its first count and with it a reference to the explorer; ending it
  // would come back here.
  auto* const further = new DlpExplorerEvent_10(m_spExplorer.Get());
  further->AddRef();
  const HRESULT hr = UnadviseEvents(m_spExplorer.Get(), GUID_0006300f, further->m_dwEventCookie);
  further->m_dwEventCookie = platform::kNoEventCookie;
  m_spExplorer.Reset();
  further->Release();
  return hr;
}
