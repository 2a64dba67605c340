#include "simulation/host/hostevents.h"

#include <algorithm>

namespace simulation::host {
namespace {

// Invoke's reserved parameter.
constexpr IID kNoInterface = {};

// Keeps a sink alive during one call, since the handler may unsubscribe it.
class HeldSink {
 public:
  explicit HeldSink(IDispatch* sink) : m_sink(sink) { m_sink->AddRef(); }
  ~HeldSink() { m_sink->Release(); }
  HeldSink(const HeldSink&) = delete;
  HeldSink& operator=(const HeldSink&) = delete;

 private:
  IDispatch* m_sink;
};

}  // namespace

HostConnectionPoint::HostConnectionPoint(HostCorePointer core, const HostEventInterface& events,
                                         std::string source, IConnectionPointContainer* container)
    : HostObject(std::move(core)),
      m_events(events),
      m_source(std::move(source)),
      m_container(container) {}

HostConnectionPoint::~HostConnectionPoint() {
  Close();
}

void HostConnectionPoint::Close() {
  m_container = nullptr;
  for (const Connection& connection : std::exchange(m_connections, {})) {
    if (!m_lostTrack) connection.sink->Release();
  }
}

HRESULT HostConnectionPoint::GetConnectionInterface(IID*) {
  Trap(kHostClass, "GetConnectionInterface");
}

HRESULT HostConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer**) {
  Trap(kHostClass, "GetConnectionPointContainer");
}

HRESULT HostConnectionPoint::EnumConnections(IEnumConnections**) {
  Trap(kHostClass, "EnumConnections");
}

HRESULT HostConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
  return Answer(m_events.advise, cookie, [&]() -> HRESULT {
    if (sink == nullptr) return E_POINTER;
    if (m_container == nullptr) return CONNECT_E_CANNOTCONNECT;
    void* found = nullptr;
    if (FAILED(sink->QueryInterface(*m_events.iid, &found)) || found == nullptr) {
      return CONNECT_E_CANNOTCONNECT;
    }
    m_connections.push_back({++m_lastCookie, static_cast<IDispatch*>(found)});
    *cookie = m_lastCookie;
    return S_OK;
  });
}

HRESULT HostConnectionPoint::Unadvise(DWORD cookie) {
  bool reached = false;
  const HRESULT result = Answer(m_events.unadvise, [&]() -> HRESULT {
    reached = true;
    const auto found = std::find_if(m_connections.begin(), m_connections.end(),
                                    [&](const Connection& each) { return each.cookie == cookie; });
    if (found == m_connections.end()) return CONNECT_E_NOCONNECTION;
    IDispatch* const sink = found->sink;
    m_connections.erase(found);
    sink->Release();
    return S_OK;
  });
  if (!reached) LoseTrack();
  return result;
}

std::string HostConnectionPoint::Label() const {
  return "IConnectionPoint " + std::string(m_events.name) + " of " + m_source;
}

FiredResults HostConnectionPoint::Fire(DISPID dispid, std::initializer_list<VARIANTARG> arguments) {
  // Automation passes the last argument first.
  std::vector<VARIANTARG> reversed(arguments);
  std::reverse(reversed.begin(), reversed.end());
  DISPPARAMS parameters = {};
  parameters.rgvarg = reversed.empty() ? nullptr : reversed.data();
  parameters.cArgs = static_cast<UINT>(reversed.size());

  const HostRef<HostConnectionPoint> self(this);  // a sink may release the source's last reference
  FiredResults results;
  // Handlers may subscribe and unsubscribe. Call those that were connected at the start and still
  // are when their turn comes.
  const std::vector<Connection> connected = m_connections;
  for (const Connection& connection : connected) {
    const bool still =
        std::any_of(m_connections.begin(), m_connections.end(),
                    [&](const Connection& each) { return each.cookie == connection.cookie; });
    if (!still) continue;
    const HeldSink held(connection.sink);
    const HostCorePointer core = SharedCore();  // the sink may end everything else
    HRESULT result = S_OK;
    {
      const HostCalls::AddInCall call(core->calls);
      result = connection.sink->Invoke(dispid, kNoInterface, 0, DISPATCH_METHOD, &parameters,
                                       nullptr, nullptr, nullptr);
    }
    results.push_back(result);
  }
  return results;
}

VARIANTARG ObjectArgument(IDispatch* object) {
  VARIANTARG argument = {};
  argument.vt = VT_DISPATCH;
  argument.pdispVal = object;
  return argument;
}

VARIANTARG FlagArgument(VARIANT_BOOL* flag) {
  VARIANTARG argument = {};
  argument.vt = VT_BOOL | VT_BYREF;
  argument.pboolVal = flag;
  return argument;
}

}  // namespace simulation::host
