// Subscribing sinks, and the frame that all sinks have in common.
#include "agent/outlookaddin/eventconnection.h"

#include "agent/outlookaddin/dlpexplorerevent.h"
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "agent/outlookaddin/dlpmailevent.h"
#include "platform/com/comerror.h"
#include "tests/agent/outlookaddin/hostedaddin.h"
#include "tests/support/vtableslot.h"

namespace tests {
namespace {

using testing::IsEmpty;

class EventConnection : public HostedAddIn {
 protected:
  // The IUnknown of an object with several bases of that type.
  static IUnknown* Source(_MailItem& mail) { return &mail; }
  static IUnknown* Source(_Inspector& window) { return &window; }
};

TEST_F(EventConnection, RefusesANullSource) {
  DlpInspectorEvent sink(nullptr);
  DWORD cookie = 5;
  EXPECT_EQ(AdviseEvents(nullptr, sink.EventSink(), outlookaddin::IID_InspectorEvents, &cookie),
            static_cast<HRESULT>(0x80070057));
  EXPECT_EQ(cookie, 5u);
  EXPECT_EQ(UnadviseEvents(nullptr, outlookaddin::IID_InspectorEvents, 1),
            static_cast<HRESULT>(0x80070057));
}

TEST_F(EventConnection, ReturnsTheFirstFailure) {
  HostMailItem& mail = m_host->CreateMail(Mail("A"));
  DlpInspectorEvent sink(nullptr);
  struct Case {
    const char* step;
    HRESULT fault;
  };
  for (const Case& each : {Case{"_MailItem::QueryInterface(IConnectionPointContainer)", E_ABORT},
                           Case{"_MailItem::FindConnectionPoint", CONNECT_E_NOCONNECTION},
                           Case{"ItemEvents::Advise", CONNECT_E_ADVISELIMIT}}) {
    m_host->Calls().ClearFaults();
    m_host->Calls().FailEach(each.step, each.fault);
    DWORD cookie = 5;
    EXPECT_EQ(AdviseEvents(Source(mail), sink.EventSink(), outlookaddin::IID_ItemEvents, &cookie),
              each.fault);
    EXPECT_EQ(cookie, 5u) << each.step;
  }
  m_host->Calls().ClearFaults();
  EXPECT_EQ(UnadviseEvents(Source(mail), outlookaddin::IID_ItemEvents, 99), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(UnadviseEvents(Source(mail), outlookaddin::IID_InspectorEvents, 99),
            CONNECT_E_NOCONNECTION);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
}

TEST_F(EventConnection, ThrowsForASinkThatIsSubscribed) {
  HostInspector& window = m_host->OpenInspector(Mail("A"), Announce::kNo);
  auto* const sink = new DlpInspectorEvent(nullptr);
  EXPECT_EQ(outlookaddin::SubscribeSink(Source(window), sink, outlookaddin::IID_InspectorEvents),
            S_OK);
  EXPECT_NE(sink->m_dwEventCookie, 0xFEFEFEFEu);
  try {
    outlookaddin::SubscribeSink(Source(window), sink, outlookaddin::IID_InspectorEvents);
    ADD_FAILURE() << "no exception";
  } catch (const CAtlException& error) {
    EXPECT_EQ(error.m_hr, static_cast<HRESULT>(0x80004005));
  }
  EXPECT_EQ(window.Connected(), 1u);
  EXPECT_EQ(
      UnadviseEvents(Source(window), outlookaddin::IID_InspectorEvents, sink->m_dwEventCookie),
      S_OK);
  EXPECT_EQ(window.Connected(), 0u);
  delete sink;
}

HRESULT FireAt(_IDispEvent* sink, DISPID dispid) {
  DISPPARAMS none = {};
  auto* const dispatch = static_cast<IDispatch*>(sink->EventSink());
  return dispatch->Invoke(dispid, GUID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
}

// A source that records the order of the calls that end its connection.
class RecordingSource final : public IConnectionPointContainer {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = static_cast<IConnectionPointContainer*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override {
    calls.emplace_back("release container");
    return 1;
  }
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID, IConnectionPoint** point) override {
    *point = &m_point;
    return S_OK;
  }

  std::vector<std::string> calls;

 private:
  struct Point final : IConnectionPoint {
    explicit Point(RecordingSource* owner) : source(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override {
      source->calls.emplace_back("release point");
      return 1;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override {
      return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, DWORD* cookie) override {
      source->calls.emplace_back("advise");
      *cookie = 7;
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
      source->calls.push_back("unadvise " + std::to_string(cookie));
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

    RecordingSource* source;
  };

  Point m_point{this};
};

TEST_F(EventConnection, ReleasesPointAndContainerAfterTheCall) {
  RecordingSource source;
  DlpInspectorEvent sink(nullptr);
  DWORD cookie = 0;
  EXPECT_EQ(AdviseEvents(&source, sink.EventSink(), outlookaddin::IID_InspectorEvents, &cookie),
            S_OK);
  EXPECT_EQ(cookie, 7u);
  EXPECT_THAT(source.calls, testing::ElementsAre("advise", "release point", "release container"));
  source.calls.clear();
  EXPECT_EQ(UnadviseEvents(&source, outlookaddin::IID_InspectorEvents, 7), S_OK);
  EXPECT_THAT(source.calls,
              testing::ElementsAre("unadvise 7", "release point", "release container"));
}

TEST_F(EventConnection, IgnoresEventsWithoutARow) {
  DlpInspectorEvent inspector(nullptr);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  for (const DISPID dispid : {0xF001, 0xF002, 0xF003, 0xF004, 0xF005, 0xF006, 0xF008, 0xF009,
                              0xF466, 0xF468, 0xFC92, 0, -1}) {
    if (dispid != outlookaddin::kDispidNewInspector) {
      EXPECT_EQ(FireAt(m_addIn, dispid), S_OK);
    }
    if (dispid != outlookaddin::kDispidInspectorClose) {
      EXPECT_EQ(FireAt(&inspector, dispid), S_OK);
    }
    if (dispid != outlookaddin::kDispidInlineResponse) {
      EXPECT_EQ(FireAt(explorer, dispid), S_OK);
    }
  }
  EXPECT_THAT(m_log.Lines(), IsEmpty());
  EXPECT_EQ(explorer->Release(), 0u);
}

TEST_F(EventConnection, AnswersOnlyTheSourceOfEachSink) {
  DlpInspectorEvent inspector(nullptr);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  void* object = nullptr;
  EXPECT_EQ(inspector._LocDEQueryInterface(outlookaddin::IID_InspectorEvents, &object), S_OK);
  EXPECT_EQ(inspector._LocDEQueryInterface(outlookaddin::IID_ExplorerEvents_10, &object),
            E_NOINTERFACE);
  EXPECT_EQ(explorer->_LocDEQueryInterface(outlookaddin::IID_ExplorerEvents_10, &object), S_OK);
  EXPECT_EQ(explorer->_LocDEQueryInterface(outlookaddin::IID_InspectorEvents, &object),
            E_NOINTERFACE);
  EXPECT_EQ(explorer->Release(), 1u) << "the answer added a reference";
  EXPECT_EQ(explorer->Release(), 0u);
  EXPECT_EQ(inspector.AddRef(), 1u);
  EXPECT_EQ(inspector.Release(), 1u);
}

TEST_F(EventConnection, HandlersFollowTheEightSlotsOfTheFrame) {
  EXPECT_EQ(SlotOf(&DlpInspectorEvent::OnInspectorClose), 8U);
  EXPECT_EQ(SlotOf(&DlpExplorerEvent_10::OnInlineResponseCreate), 8U);
  EXPECT_EQ(SlotOf(&DlpExplorerEvent_10::OnInitialized), 9U);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  EXPECT_EQ(explorer->OnInitialized(), S_OK);
  explorer->Release();
}

TEST_F(EventConnection, EachSinkHasOneRowAndATerminator) {
  struct Expected {
    const platform::EventRow* rows;
    UINT controlId;
    const IID* iid;
    DISPID dispid;
    std::vector<VARTYPE> types;
  };
  for (const Expected& each :
       {Expected{CDlpAddinConnect::Events(), 1, &outlookaddin::IID_InspectorsEvents, 0xF001, {9}},
        Expected{DlpInspectorEvent::Events(), 2, &outlookaddin::IID_InspectorEvents, 0xF008, {}},
        Expected{
            DlpExplorerEvent_10::Events(), 3, &outlookaddin::IID_ExplorerEvents_10, 0xFC92, {9}},
        Expected{DlpMailEvent::Events(), 4, &outlookaddin::IID_ItemEvents, 0xF005, {0x400B}}}) {
    EXPECT_EQ(each.rows[0].controlId, each.controlId);
    EXPECT_TRUE(IsEqualGUID(*each.rows[0].iid, *each.iid));
    EXPECT_EQ(each.rows[0].dispid, each.dispid);
    EXPECT_EQ(each.rows[0].form->convention, CC_STDCALL);
    EXPECT_EQ(each.rows[0].form->resultType, VT_EMPTY);
    const auto count = static_cast<std::size_t>(each.rows[0].form->parameterCount);
    const auto* const types = each.rows[0].form->parameterTypes;
    EXPECT_EQ(std::vector<VARTYPE>(types, types + count), each.types);
    EXPECT_EQ(each.rows[1].iid, nullptr);
  }
}

}  // namespace
}  // namespace tests
