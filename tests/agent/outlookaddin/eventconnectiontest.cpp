// Subscribing sinks, and the frame that all sinks have in common.
#include "agent/outlookaddin/eventconnection.h"

#include "agent/outlookaddin/dlpexplorerevent.h"
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "agent/outlookaddin/dlpmailevent.h"
#include "platform/com/comerror.h"
#include "tests/agent/outlookaddin/hostedaddin.h"

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
  constexpr std::uintptr_t kSlot = sizeof(void*);
  EXPECT_EQ(platform::HandlerSlot(&DlpInspectorEvent::OnInspectorClose), 8 * kSlot);
  EXPECT_EQ(platform::HandlerSlot(&DlpExplorerEvent_10::OnInlineResponseCreate), 8 * kSlot);
  EXPECT_EQ(platform::HandlerSlot(&DlpExplorerEvent_10::OnInitialized), 9 * kSlot);
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
