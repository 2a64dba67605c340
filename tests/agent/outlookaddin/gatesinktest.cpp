// DlpMailEvent as an event sink: its slots, its one event, its subscription and its destructor.
#include "agent/outlookaddin/eventconnection.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/support/vtableslot.h"

namespace tests {
namespace {

class GateSink : public GateTest {
 protected:
  GateSink() {
    WriteProfile("");
    mail.subject = "s";
    mail.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
    mail.recipients[0].entry->address = "a";
  }

  HRESULT Connect() {
    return outlookaddin::SubscribeSink(static_cast<_MailItem*>(Item()), &Sink(),
                                       outlookaddin::IID_ItemEvents);
  }
  HRESULT Invoke(DISPID event, VARIANT_BOOL* cancel) {
    VARIANTARG argument;
    VariantInit(&argument);
    argument.vt = VT_BOOL | VT_BYREF;
    argument.pboolVal = cancel;
    DISPPARAMS parameters = {&argument, nullptr, 1, 0};
    return Sink().Invoke(event, GUID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                         nullptr);
  }
};

TEST_F(GateSink, ItsOperationsAreInTheSlotsThatTheHostCalls) {
  EXPECT_EQ(SlotOf(&DlpMailEvent::_LocDEQueryInterface), 0U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::GetTypeInfoCount), 3U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::GetTypeInfo), 4U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::GetIDsOfNames), 5U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::Invoke), 6U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::GetFuncInfoFromId), 7U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::OnMailOther), 8U);
  EXPECT_EQ(SlotOf(&DlpMailEvent::OnMailSend), 9U);
}

TEST_F(GateSink, ANewSinkIsNotConnectedAndCallsNothing) {
  EXPECT_EQ(Sink().m_dwEventCookie, 0xFEFEFEFE);
  EXPECT_EQ(Sink().m_libid, GUID_NULL);
  EXPECT_EQ(Sink().m_iid, GUID_NULL);
  EXPECT_EQ(Sink().m_wMajorVerNum, 0);
  EXPECT_EQ(Sink().m_wMinorVerNum, 0);
  EXPECT_EQ(Calls().Total(), 0U);
  EXPECT_EQ(Item()->Outstanding(), 1U);
}

TEST_F(GateSink, AnswersTheItemsEventInterfaceAndCountsNoReferences) {
  void* object = nullptr;
  for (const IID& iid : {outlookaddin::IID_ItemEvents, IID_IUnknown, IID_IDispatch}) {
    EXPECT_EQ(Sink()._LocDEQueryInterface(iid, &object), S_OK);
    EXPECT_EQ(object, &Sink());
  }
  EXPECT_EQ(Sink()._LocDEQueryInterface(outlookaddin::IID_InspectorEvents, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Sink()._LocDEQueryInterface(GUID_NULL, &object), E_NOINTERFACE);
  EXPECT_EQ(Sink()._LocDEQueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(Sink().AddRef(), 1U);
  EXPECT_EQ(Sink().Release(), 1U);
}

TEST_F(GateSink, SendCallsTheHandlerWhichSetsCancel) {
  answers[9] = 3;
  VARIANT_BOOL cancel = 0;
  EXPECT_EQ(Invoke(0xF005, &cancel), S_OK);
  EXPECT_EQ(cancel, 1);
  EXPECT_THAT(asked, testing::Not(IsEmpty()));
}

TEST_F(GateSink, EveryOtherEventDoesNothing) {
  answers[9] = 3;
  for (const DISPID event :
       {0xF001, 0xF002, 0xF003, 0xF004, 0xF006, 0xF008, 0xF009, 0xF466, 0xF468, 0, -1, 0xFC92}) {
    VARIANT_BOOL cancel = 0;
    EXPECT_EQ(Invoke(event, &cancel), S_OK) << event;
    EXPECT_EQ(cancel, 0) << event;
  }
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_THAT(cursors, IsEmpty());
  EXPECT_EQ(Calls().Total(), 0U);
}

TEST_F(GateSink, OnMailOtherDoesNothing) {
  EXPECT_EQ(Sink().OnMailOther(), S_OK);
  EXPECT_EQ(Calls().Total(), 0U);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateSink, AConnectedSinkBlocksTheHostsSend) {
  answers[9] = 3;
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_NE(Sink().m_dwEventCookie, 0xFEFEFEFE);
  const simulation::host::SendOutcome outcome = Item()->FireSend();
  EXPECT_EQ(outcome.cancel, 1);
  EXPECT_THAT(outcome.returned, ElementsAre(S_OK));
}

TEST_F(GateSink, ThrowsOnASecondSubscription) {
  ASSERT_EQ(Connect(), S_OK);
  try {
    Connect();
    ADD_FAILURE() << "no exception";
  } catch (const CAtlException& error) {
    EXPECT_EQ(error.m_hr, E_FAIL);
  }
  EXPECT_EQ(Item()->Connected(), 1U);
}

TEST_F(GateSink, ItsDestructorUnsubscribesAndReleasesTheItem) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_EQ(Item()->Outstanding(), 1U);
  ForgetLines();
  EndSink();
  EXPECT_EQ(Item()->Connected(), 0U);
  EXPECT_EQ(Item()->Outstanding(), 0U);
  EXPECT_EQ(Calls().Count("ItemEvents::Unadvise"), 1U);
  // The host still holds the item.
  const ULONG left = Item()->References();
  ASSERT_GT(left, 0U);
  EXPECT_THAT(Messages(), ElementsAre("Mail ref error: " + std::to_string(left) + ".",
                                      "[DlpMailEvent::~DlpMailEvent] called @804."));
  EXPECT_TRUE(Has(kLogErr, "Mail ref error: " + std::to_string(left) + "."));
  EXPECT_TRUE(Has(kLogInfo, "[DlpMailEvent::~DlpMailEvent] called @804."));
}

TEST_F(GateSink, ItsDestructorLogsNoErrorIfItHeldTheLastReference) {
  ASSERT_EQ(Connect(), S_OK);
  LetHostForgetItem();
  ForgetLines();
  EndSink();
  EXPECT_THAT(Messages(), ElementsAre("[DlpMailEvent::~DlpMailEvent] called @804."));
  EXPECT_THAT(Ledger().Outstanding(), IsEmpty());
  EXPECT_THAT(Ledger().OverReleases(), IsEmpty());
}

TEST_F(GateSink, ItsDestructorReleasesTheItemEvenIfItCannotUnsubscribe) {
  for (const char* call : {"_MailItem::QueryInterface(IConnectionPointContainer)",
                           "_MailItem::FindConnectionPoint", "ItemEvents::Unadvise"}) {
    for (const HRESULT result : {E_FAIL, S_OK}) {
      RenewHost();
      ASSERT_EQ(Connect(), S_OK);
      Calls().FailEach(call, result);
      ForgetLines();
      EndSink();
      EXPECT_GE(Calls().FaultsGiven(), 1U) << call;
      EXPECT_EQ(Item()->Outstanding(), 0U) << call;
      ASSERT_EQ(Messages().size(), 2U) << call;
      EXPECT_EQ(Messages().back(), "[DlpMailEvent::~DlpMailEvent] called @804.");
    }
  }
}

TEST_F(GateSink, TheDestructorOfAnUnconnectedSinkReleasesTheItem) {
  Sink();
  ForgetLines();
  EndSink();
  EXPECT_EQ(Calls().Count("ItemEvents::Unadvise"), 1U) << "tried with the cookie of no connection";
  EXPECT_EQ(Item()->Outstanding(), 0U);
  EXPECT_EQ(Messages().back(), "[DlpMailEvent::~DlpMailEvent] called @804.");
}

TEST_F(GateSink, TheDestructorOfASinkWithoutAnItemLogsOneLine) {
  { const DlpMailEvent sink(nullptr); }
  EXPECT_THAT(Messages(), ElementsAre("[DlpMailEvent::~DlpMailEvent] called @804."));
}

}  // namespace
}  // namespace tests
