#include "agent/outlookaddin/eventconnection.h"

#include "platform/com/comptr.h"

using platform::ComPtr;

namespace {

HRESULT FindConnectionPoint(IUnknown* source, REFIID iid, ComPtr<IConnectionPoint>* point) {
  if (source == nullptr) return E_INVALIDARG;
  ComPtr<IConnectionPointContainer> container;
  HRESULT hr = platform::QueryFor(source, IID_IConnectionPointContainer, &container);
  if (SUCCEEDED(hr) && !container) hr = E_NOINTERFACE;
  if (FAILED(hr)) return hr;
  hr = container->FindConnectionPoint(iid, point->Put());
  return SUCCEEDED(hr) && !*point ? E_POINTER : hr;
}

}  // namespace

HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie) {
  ComPtr<IConnectionPoint> point;
  HRESULT hr = FindConnectionPoint(source, iid, &point);
  if (FAILED(hr)) return hr;
  DWORD given = 0;
  hr = point->Advise(sink, &given);
  if (SUCCEEDED(hr)) *cookie = given;
  return hr;
}

HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie) {
  ComPtr<IConnectionPoint> point;
  const HRESULT hr = FindConnectionPoint(source, iid, &point);
  return FAILED(hr) ? hr : point->Unadvise(cookie);
}

HRESULT outlookaddin::SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid) {
  return AdviseEvents(source, sink->EventSink(), iid, sink->NewEventCookie());
}
