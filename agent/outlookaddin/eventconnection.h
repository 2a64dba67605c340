// Connecting a sink to the events of one of the host's objects, and leaving them.
#pragma once

#include "platform/com/comtypes.h"
#include "platform/com/dispevent.h"

class DlpMailEvent;
struct _MailItem;

// Subscribes `sink` to the events `iid` of `source` and puts the connection's cookie into
// `*cookie`. E_INVALIDARG without a source; otherwise the first failure, or what Advise gives.
// Only success writes `*cookie`.
HRESULT AdviseEvents(IUnknown* source, IUnknown* sink, REFIID iid, DWORD* cookie);

// Ends the connection `cookie`. E_INVALIDARG without a source; otherwise the first failure, or
// what Unadvise gives.
HRESULT UnadviseEvents(IUnknown* source, REFIID iid, DWORD cookie);

namespace addin {

// AdviseEvents for a sink of ours, with its own cookie. Raises CAtlException(E_FAIL) for a sink
// that is subscribed already.
HRESULT SubscribeSink(IUnknown* source, _IDispEvent* sink, REFIID iid);

// Puts a sink of its own on a mail. The sink takes over one reference to `item` that the caller
// has from the host and must not release. Null if the subscription failed; the sink then stays
// allocated, unconnected and without an owner.
DlpMailEvent* AttachMailEvent(_MailItem* item);

}  // namespace addin
