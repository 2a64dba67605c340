// Subscribing a sink to the events of one of the host's objects, and ending the subscription.
#pragma once

#include "platform/com/comtypes.h"
#include "platform/com/dispevent.h"

// Subscribes `sink` to the events `iid` of `source` and stores the connection's cookie in
// `*cookie`, which is written on success only. Returns E_INVALIDARG for a null source, otherwise
// the first failure or the result of Advise.
HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie);

// Ends the connection `cookie`. Returns E_INVALIDARG for a null source, otherwise the first failure
// or the result of Unadvise.
HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie);

namespace outlookaddin {

// AdviseEvents with the sink's own cookie. Throws CAtlException(E_FAIL) if the sink is already
// subscribed.
HRESULT SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid);

}  // namespace outlookaddin
