#include "agent/outlookaddin/eventconnection.h"

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/outlookmodel.h"
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

namespace addin {

HRESULT SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid) {
  return AdviseEvents(source, sink->EventSink(), iid, sink->NewEventCookie());
}

DlpMailEvent* AttachMailEvent(_MailItem* item) {
  auto* const mailEvent = new DlpMailEvent(item);
  // A sink that could not be connected is left as it is: the reference to the item is its own by
  // now, and the host may still be at work with the item.
  return SUCCEEDED(SubscribeSink(item, mailEvent, outlook::IID_ItemEvents)) ? mailEvent : nullptr;
}

}  // namespace addin
