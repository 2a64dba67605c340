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
  if (SUCCEEDED(hr) && !*point) hr = E_POINTER;
  // What a failing host left in the place is not ours to release.
  if (FAILED(hr)) point->Detach();
  return hr;
}

}  // namespace

HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie) {
  ComPtr<IConnectionPoint> point;
  const HRESULT hr = FindConnectionPoint(source, iid, &point);
  return FAILED(hr) ? hr : point->Advise(sink, cookie);
}

HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie) {
  ComPtr<IConnectionPoint> point;
  const HRESULT hr = FindConnectionPoint(source, iid, &point);
  return FAILED(hr) ? hr : point->Unadvise(cookie);
}

namespace addin {

HRESULT SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid) {
  return AdviseEvents(source, sink->EventSink(), iid, sink->NewEventCookie());
}

}  // namespace addin
