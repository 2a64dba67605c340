// Connecting a sink to the events of one of the host's objects, and leaving them.
#pragma once

#include "platform/com/comtypes.h"
#include "platform/com/dispevent.h"

// Subscribes `sink` to the events `iid` of `source` and puts the connection's cookie into
// `*cookie`. E_INVALIDARG without a source; otherwise the first failure, or what Advise gives.
// `*cookie` is written by Advise only.
HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie);

// Ends the connection `cookie`. E_INVALIDARG without a source; otherwise the first failure, or
// what Unadvise gives.
HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie);

namespace addin {

// AdviseEvents for a sink of ours, with its own cookie. Raises CAtlException(E_FAIL) for a sink
// that is subscribed already.
HRESULT SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid);

}  // namespace addin
