#include <gtest/gtest.h>

#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::ComPtr;

TEST(HostEvents, NewInspectorCarriesTheWindow) {
  RecordingSink sink(outlookaddin::IID_InspectorsEvents);
  SimulatedHost host;
  Subscribe(host.Application().OpenInspectors().Identity(), outlookaddin::IID_InspectorsEvents,
            &sink);

  HostInspector& window = host.OpenInspector(MailWithSubject("New"));

  ASSERT_EQ(1u, sink.events.size());
  const RecordingSink::Event& event = sink.events[0];
  EXPECT_EQ(0xF001, event.dispid);
  EXPECT_TRUE(event.noInterface);
  EXPECT_EQ(DISPATCH_METHOD, event.flags);
  EXPECT_EQ(0u, event.namedArguments);
  ASSERT_EQ(1u, event.arguments.size());
  EXPECT_EQ(VT_DISPATCH, event.arguments[0].vt);
  EXPECT_EQ(static_cast<IDispatch*>(&window), event.arguments[0].pdispVal);
}

TEST(HostEvents, UnannouncedWindowFiresNothing) {
  RecordingSink sink(outlookaddin::IID_InspectorsEvents);
  SimulatedHost host;
  Subscribe(host.Application().OpenInspectors().Identity(), outlookaddin::IID_InspectorsEvents,
            &sink);
  host.OpenInspector(MailWithSubject("Quiet"), Announce::kNo);
  EXPECT_TRUE(sink.events.empty());
}

TEST(HostEvents, CloseCarriesNothing) {
  RecordingSink sink(outlookaddin::IID_InspectorEvents);
  SimulatedHost host;
  HostInspector& window = host.OpenInspector(MailWithSubject("Old"));
  Subscribe(window.Identity(), outlookaddin::IID_InspectorEvents, &sink);

  host.CloseInspector(window);

  ASSERT_EQ(1u, sink.events.size());
  EXPECT_EQ(0xF008, sink.events[0].dispid);
  EXPECT_TRUE(sink.events[0].arguments.empty());
}

TEST(HostEvents, InlineResponseCarriesTheItem) {
  RecordingSink sink(outlookaddin::IID_ExplorerEvents_10);
  SimulatedHost host;
  HostExplorer& explorer = host.OpenExplorer();
  Subscribe(explorer.Identity(), outlookaddin::IID_ExplorerEvents_10, &sink);

  HostMailItem& reply = host.BeginInlineResponse(explorer, MailWithSubject("Reply"));

  ASSERT_EQ(1u, sink.events.size());
  EXPECT_EQ(0xFC92, sink.events[0].dispid);
  ASSERT_EQ(1u, sink.events[0].arguments.size());
  EXPECT_EQ(VT_DISPATCH, sink.events[0].arguments[0].vt);
  EXPECT_EQ(static_cast<IDispatch*>(&reply), sink.events[0].arguments[0].pdispVal);
}

class CancellingSink final : public RecordingSink {
 public:
  CancellingSink() : RecordingSink(outlookaddin::IID_ItemEvents) {}
  VARIANT_BOOL seen = VARIANT_FALSE;

 protected:
  void OnEvent(DISPPARAMS* parameters) override {
    seen = *parameters->rgvarg[0].pboolVal;
    *parameters->rgvarg[0].pboolVal = 1;
  }
};

TEST(HostEvents, SendCarriesTheFlagByReference) {
  CancellingSink sink;
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Send"));
  Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &sink);

  const SendOutcome outcome = host.Send(mail, 0x1234);

  ASSERT_EQ(1u, sink.events.size());
  EXPECT_EQ(0xF005, sink.events[0].dispid);
  ASSERT_EQ(1u, sink.events[0].arguments.size());
  EXPECT_EQ(VT_BOOL | VT_BYREF, sink.events[0].arguments[0].vt);
  EXPECT_EQ(0x1234, sink.seen);
  EXPECT_EQ(1, outcome.cancel);
  EXPECT_TRUE(outcome.Cancelled());
}

TEST(HostEvents, SendWithoutSinkLeavesTheFlag) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Send"));
  EXPECT_FALSE(host.Send(mail).Cancelled());
  EXPECT_EQ(VARIANT_TRUE, host.Send(mail, VARIANT_TRUE).cancel);
}

TEST(HostEvents, SendReportsWhatEachSinkReturned) {
  RecordingSink first(outlookaddin::IID_ItemEvents);
  RecordingSink second(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Send"));
  first.result = E_FAIL;
  Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &first);
  Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &second);
  EXPECT_EQ((FiredResults{E_FAIL, S_OK}), host.Send(mail).returned);
}

TEST(HostEvents, OtherEventsCanBeFired) {
  RecordingSink sink(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Other"));
  Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &sink);
  VARIANT_BOOL cancel = VARIANT_FALSE;
  mail.Fire(0xF468, {ObjectArgument(&mail), FlagArgument(&cancel)});
  ASSERT_EQ(1u, sink.events.size());
  EXPECT_EQ(0xF468, sink.events[0].dispid);
  ASSERT_EQ(2u, sink.events[0].arguments.size());
  EXPECT_EQ(VT_BOOL | VT_BYREF, sink.events[0].arguments[0].vt);
  EXPECT_EQ(VT_DISPATCH, sink.events[0].arguments[1].vt);
}

TEST(HostEvents, ConnectionHoldsTheSinkOnce) {
  RecordingSink sink(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Hold"));

  const DWORD cookie = Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &sink);
  EXPECT_NE(0u, cookie);
  EXPECT_EQ(2u, sink.References());
  EXPECT_EQ(1u, mail.Connected());
  host.Send(mail);
  EXPECT_EQ(2u, sink.References());

  const ComPtr<IConnectionPoint> point = FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents);
  EXPECT_EQ(S_OK, point->Unadvise(cookie));
  EXPECT_EQ(1u, sink.References());
  EXPECT_EQ(0u, mail.Connected());
  EXPECT_EQ(CONNECT_E_NOCONNECTION, point->Unadvise(cookie));
  host.Send(mail);
  EXPECT_EQ(1u, sink.events.size());
}

TEST(HostEvents, CookiesDiffer) {
  RecordingSink first(outlookaddin::IID_ItemEvents);
  RecordingSink second(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Two"));
  const DWORD firstCookie = Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &first);
  const DWORD secondCookie = Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &second);
  EXPECT_NE(firstCookie, secondCookie);
  FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents)->Unadvise(firstCookie);
  host.Send(mail);
  EXPECT_EQ(0u, first.events.size());
  EXPECT_EQ(1u, second.events.size());
}

TEST(HostEvents, SinkWithoutTheEventInterfaceIsRefused) {
  RecordingSink sink(outlookaddin::IID_InspectorEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Wrong"));
  DWORD cookie = 77;
  EXPECT_EQ(CONNECT_E_CANNOTCONNECT,
            FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents)->Advise(&sink, &cookie));
  EXPECT_EQ(1u, sink.References());
}

TEST(HostEvents, SourceHasNoConnectionPointForAnotherInterface) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Other"));
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, platform::QueryFor(mail.Identity(), IID_IConnectionPointContainer, &container));
  ComPtr<IConnectionPoint> point;
  EXPECT_EQ(CONNECT_E_NOCONNECTION,
            container->FindConnectionPoint(outlookaddin::IID_InspectorEvents, point.Put()));
  EXPECT_FALSE(point);
}

// Unsubscribes another sink and itself during a call.
class UnsubscribingSink final : public RecordingSink {
 public:
  UnsubscribingSink() : RecordingSink(outlookaddin::IID_ItemEvents) {}
  IConnectionPoint* point = nullptr;
  std::vector<DWORD> cookies;

 protected:
  void OnEvent(DISPPARAMS*) override {
    for (const DWORD cookie : cookies) point->Unadvise(cookie);
  }
};

TEST(HostEvents, SinkMayUnsubscribeItselfAndOthersWhileCalled) {
  UnsubscribingSink first;
  RecordingSink second(outlookaddin::IID_ItemEvents);
  RecordingSink third(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Unsubscribe"));
  const ComPtr<IConnectionPoint> point = FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents);
  first.point = point.Get();
  DWORD cookies[3] = {};
  point->Advise(&first, &cookies[0]);
  point->Advise(&second, &cookies[1]);
  point->Advise(&third, &cookies[2]);
  first.cookies = {cookies[0], cookies[1]};

  EXPECT_EQ(2u, host.Send(mail).returned.size());

  EXPECT_EQ(0u, second.events.size());
  EXPECT_EQ(1u, third.events.size());
  EXPECT_EQ(1u, first.References());
  EXPECT_EQ(1u, second.References());
}

TEST(HostEvents, SourceReleasesItsSinksAtItsEnd) {
  RecordingSink sink(outlookaddin::IID_InspectorEvents);
  SimulatedHost host;
  HostInspector& window = host.OpenInspector(MailWithSubject("End"));
  Subscribe(window.Identity(), outlookaddin::IID_InspectorEvents, &sink);
  EXPECT_EQ(2u, sink.References());
  host.CloseInspector(window);
  EXPECT_EQ(1u, sink.References());
}

// A sink without a reference count may be freed already.
TEST(HostEvents, SourceLeavesSinksAloneAfterAFailedUnsubscription) {
  for (const char* const call : {"ItemEvents::Unadvise", "_MailItem::FindConnectionPoint",
                                 "_MailItem::QueryInterface(IConnectionPointContainer)"}) {
    SCOPED_TRACE(call);
    RecordingSink sink(outlookaddin::IID_ItemEvents);
    {
      SimulatedHost host;
      HostMailItem& mail = host.CreateMail(MailWithSubject("Failed"));
      const DWORD cookie = Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &sink);
      host.Calls().FailEach(call, E_FAIL);
      const ComPtr<IConnectionPoint> point =
          FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents);
      if (point) {
        EXPECT_EQ(E_FAIL, point->Unadvise(cookie));
      }
      EXPECT_EQ(2u, sink.References());
    }
    EXPECT_EQ(2u, sink.References());
  }
}

TEST(HostEvents, ConnectionPointOutlivesItsSourceAndThenRefusesSinks) {
  RecordingSink sink(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Gone"));
  const ComPtr<IConnectionPoint> point = FindPoint(mail.Identity(), outlookaddin::IID_ItemEvents);
  host.ReleaseMail(mail);
  DWORD cookie = 0;
  EXPECT_EQ(CONNECT_E_CANNOTCONNECT, point->Advise(&sink, &cookie));
  EXPECT_EQ(1u, sink.References());
}

}  // namespace
}  // namespace simulation::host
