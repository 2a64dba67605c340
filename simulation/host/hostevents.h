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
  std::string_view advise;
  std::string_view unadvise;
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

// What each sink's Invoke returned, in the order of subscription.
using FiredResults = std::vector<HRESULT>;

// A source's only connection point. It holds a reference to each sink's event interface until
// Unadvise or until the source is destroyed. The source holds the connection point. If the add-in
// holds it too, it outlives the source and then refuses to connect sinks.
class HostConnectionPoint final : public HostObject<HostConnectionPoint, IConnectionPoint> {
 public:
  static constexpr std::string_view kHostClass = "IConnectionPoint";

  HostConnectionPoint(HostCorePointer core, const HostEventInterface& events, std::string source,
                      IConnectionPointContainer* container);
  ~HostConnectionPoint() override;

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override;
  // CONNECT_E_CANNOTCONNECT for a sink without the event interface. Cookies count from 1.
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  // CONNECT_E_NOCONNECTION for an unknown cookie.
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;
  std::string Label() const override;

  // Calls Invoke on every sink that is still connected when its turn comes. `arguments` are in the
  // order of the event's declaration. A sink's exceptions pass through.
  FiredResults Fire(DISPID dispid, std::initializer_list<VARIANTARG> arguments);

  // How many sinks are connected.
  std::size_t Connected() const { return m_connections.size(); }

  // The source is being destroyed: releases every sink.
  void Close();

  // A fault has kept the add-in from unsubscribing, so its sink may be freed before the source is.
  // From now on Close doesn't touch the sinks.
  void LoseTrack() { m_lostTrack = true; }

 private:
  struct Connection {
    DWORD cookie;
    IDispatch* sink;
  };

  const HostEventInterface& m_events;
  std::string m_source;
  IConnectionPointContainer* m_container;  // no reference; null once the source is gone
  std::vector<Connection> m_connections;
  DWORD m_lastCookie = 0;
  bool m_lostTrack = false;
};

// A host object that fires one event interface. `Object` defines kHostClass and kFindCall.
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
    const HostRef<HostConnectionPoint> point =
        m_point;  // a sink may release the source's last reference
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

// An argument of an event: an object, or a flag that the sink may change.
VARIANTARG ObjectArgument(IDispatch* object);
VARIANTARG FlagArgument(VARIANT_BOOL* flag);

}  // namespace simulation::host
