#include "agent/outlookaddin/eventconnection.h"

#include "platform/com/comptr.h"

using platform::ComPtr;

namespace {

// A source's connection point. The point is released before its container, and both after the call
// that was made through them.
struct ConnectionPoint {
  HRESULT Find(IUnknown* source, REFIID iid) {
    if (source == nullptr) return E_INVALIDARG;
    HRESULT hr = platform::QueryFor(source, IID_IConnectionPointContainer, &container);
    if (SUCCEEDED(hr) && !container) hr = E_NOINTERFACE;
    if (FAILED(hr)) return hr;
    hr = container->FindConnectionPoint(iid, point.Put());
    return SUCCEEDED(hr) && !point ? E_POINTER : hr;
  }

  ComPtr<IConnectionPointContainer> container;
  ComPtr<IConnectionPoint> point;
};

}  // namespace

HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie) {
  ConnectionPoint found;
  HRESULT hr = found.Find(source, iid);
  if (FAILED(hr)) return hr;
  DWORD given = 0;
  hr = found.point->Advise(sink, &given);
  if (SUCCEEDED(hr)) *cookie = given;
  return hr;
}

HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie) {
  ConnectionPoint found;
  const HRESULT hr = found.Find(source, iid);
  return FAILED(hr) ? hr : found.point->Unadvise(cookie);
}

HRESULT outlookaddin::SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid) {
  return AdviseEvents(source, sink->EventSink(), iid, sink->NewEventCookie());
}
