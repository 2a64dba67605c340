// Connection points: how an add-in subscribes to the host's events, and how they are fired.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "simulation/host/hostobject.h"

namespace simulation::host {

// One event interface of the host.
struct HostEventInterface {
  std::string_view name;
  const IID* iid;
  HostCallId advise;
  HostCallId unadvise;
};

inline constexpr HostEventInterface kExplorerEvents = {
    "ExplorerEvents_10", &outlookaddin::IID_ExplorerEvents_10, "ExplorerEvents_10::Advise",
    "ExplorerEvents_10::Unadvise"};
inline constexpr HostEventInterface kInspectorsEvents = {
    "InspectorsEvents", &outlookaddin::IID_InspectorsEvents, "InspectorsEvents::Advise",
    "InspectorsEvents::Unadvise"};
inline constexpr HostEventInterface kInspectorEvents = {
    "InspectorEvents", &outlookaddin::IID_InspectorEvents, "InspectorEvents::Advise",
    "InspectorEvents::Unadvise"};
inline constexpr HostEventInterface kItemEvents = {"ItemEvents", &outlookaddin::IID_ItemEvents,
                                                   "ItemEvents::Advise", "ItemEvents::Unadvise"};

// What the sinks' Invoke returned, in the order in which they had subscribed.
using FiredResults = std::vector<HRESULT>;

// The one connection point of a source. It holds the reference that asking the sink for its event
// interface gave, until Unadvise or until the source goes. The source holds it; it may outlive the
// source if somebody else holds it too, and then connects nobody any more.
class HostConnectionPoint final : public HostObject<HostConnectionPoint, IConnectionPoint> {
 public:
  static constexpr std::string_view kHostClass = "IConnectionPoint";

  HostConnectionPoint(HostCorePointer core, const HostEventInterface& events, std::string source,
                      IConnectionPointContainer* container);
  ~HostConnectionPoint() override;

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override;
  // A sink without the event interface gives CONNECT_E_CANNOTCONNECT. Cookies count from 1.
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  // CONNECT_E_NOCONNECTION for a cookie that isn't connected.
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;
  std::string Label() const override;

  // Calls Invoke on every sink that is connected when its turn comes, with the arguments in the
  // order in which the event declares them. What a sink throws passes through.
  FiredResults Fire(DISPID dispid, std::initializer_list<VARIANTARG> arguments);

  // How many sinks are connected.
  std::size_t Connected() const { return m_connections.size(); }

  // The source goes: lets every sink go.
  void Close();

  // Somebody was kept from unsubscribing, and his sink may be gone by the time that the source
  // goes: from here on Close leaves the sinks alone.
  void LoseTrack() { m_lostTrack = true; }

 private:
  struct Connection {
    DWORD cookie;
    IDispatch* sink;
  };

  const HostEventInterface& m_events;
  std::string m_source;
  IConnectionPointContainer* m_container;  // not held; null once the source is gone
  std::vector<Connection> m_connections;
  DWORD m_lastCookie = 0;
  bool m_lostTrack = false;
};

// A host object that fires one event interface. `Object` has kHostClass and kFindCall.
template <typename Object, typename First>
class HostEventSource : public HostDispatch<Object, First, IConnectionPointContainer> {
  using Base = HostDispatch<Object, First, IConnectionPointContainer>;

 public:
  ~HostEventSource() override { m_point->Close(); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const HRESULT result = Base::QueryInterface(iid, object);
    if (IsEqualGUID(iid, IID_IConnectionPointContainer) && object != nullptr &&
        *object == nullptr) {
      m_point->LoseTrack();
    }
    return result;
  }
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override {
    Trap(Object::kHostClass, "EnumConnectionPoints");
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    const HRESULT result = this->Answer(Object::kFindCall, point, [&]() -> HRESULT {
      if (!IsEqualGUID(iid, *m_events.iid)) return CONNECT_E_NOCONNECTION;
      return m_point.Give(point);
    });
    if (point != nullptr && *point == nullptr) m_point->LoseTrack();
    return result;
  }

  // Fires any event of the source's event interface.
  FiredResults Fire(DISPID dispid, std::initializer_list<VARIANTARG> arguments) {
    const HostRef<HostConnectionPoint> point = m_point;  // a sink may end the source
    return point->Fire(dispid, arguments);
  }
  std::size_t Connected() const { return m_point->Connected(); }

 protected:
  HostEventSource(HostCorePointer core, const HostEventInterface& events, const std::string& name)
      : Base(std::move(core)),
        m_events(events),
        m_point(HostRef<HostConnectionPoint>::Make(this->SharedCore(), events, name, this)) {}

 private:
  const HostEventInterface& m_events;
  HostRef<HostConnectionPoint> m_point;
};

// An event's argument: an object, or a flag that the sink may change.
VARIANTARG ObjectArgument(IDispatch* object);
VARIANTARG FlagArgument(VARIANT_BOOL* flag);

}  // namespace simulation::host
