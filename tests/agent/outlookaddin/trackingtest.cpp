// The three routes that put a sink on a mail, and the sinks on windows.
#include "agent/outlookaddin/dlpexplorerevent.h"
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/eventconnection.h"
#include "platform/com/comerror.h"
#include "tests/agent/outlookaddin/connecttesting.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::LoggedLine;

constexpr const char* kMailEnd = "[DlpMailEvent::~DlpMailEvent] called @804.";

std::string Changed(int count, int known) {
  return "Inspector change triggered by timer. lCurInspectorsCount: " + std::to_string(count) +
         ", original count: " + std::to_string(known) + ".";
}

class Tracking : public HostedAddIn {
 protected:
  void SetUp() override {
    HostedAddIn::SetUp();
    ConnectFresh("15.0");
  }
  void ConnectFresh(const std::string& version) {
    UseHost(version);
    ASSERT_EQ(Connect(), S_OK);
    m_log.Forget();
  }
  HostInspector& Open(const std::string& subject, Announce announce = Announce::kYes) {
    return m_host->OpenInspector(Mail(subject), announce);
  }
  // With a caption that is exactly `caption`.
  HostInspector& OpenAs(const std::string& caption, Announce announce) {
    return m_host->OpenInspector(m_host->CreateMail(Mail("A subject")), caption, announce);
  }
  // What a tick logs.
  std::vector<std::string> TickLines() {
    m_log.Forget();
    Tick();
    return m_log.Messages();
  }
};

// --- NewInspector

TEST_F(Tracking, ANewInspectorGetsASinkOnItsMailAndOneOnItself) {
  HostInspector& window = Open("First");
  EXPECT_EQ(m_log.Lines(), std::vector<LoggedLine>({{kLogInfo, "New Inspector Created."}}));
  EXPECT_EQ(window.Mail()->Connected(), 1u);
  EXPECT_EQ(window.Connected(), 1u);
  EXPECT_EQ(Outstanding("_MailItem \"First\""), 1u) << "the sink's own reference";
  EXPECT_EQ(Outstanding("_Inspector "), 0u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
}

TEST_F(Tracking, ANewInspectorsEventGivesTheHostSuccess) {
  HostInspector& window = Open("First", Announce::kNo);
  EXPECT_THAT(m_host->Application().OpenInspectors().FireNewInspector(window), ElementsAre(S_OK));
}

TEST_F(Tracking, ANewInspectorIsKnownToTheNextScan) {
  HostInspector& first = Open("First");
  HostInspector& second = Open("Second");
  EXPECT_THAT(TickLines(), IsEmpty());
  HostInspector& third = Open("Third");
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
  EXPECT_EQ(SinksOn(*third.Mail()), 1u);
}

TEST_F(Tracking, AnInspectorOnSomethingElseIsKnownButGetsNoSink) {
  HostInspector& window = m_host->OpenOtherInspector("Contact");
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
  EXPECT_EQ(window.Connected(), 0u);
  EXPECT_EQ(Calls("ItemEvents::Advise"), 0u);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Outstanding("OtherItem"), 1u) << "a route never releases the item it was given";
}

TEST_F(Tracking, SomethingThatIsNoInspectorIsIgnored) {
  EXPECT_EQ(m_addIn->NewInspector(nullptr), S_OK);
  EXPECT_EQ(m_addIn->NewInspector(&m_host->Application()), S_OK);
  EXPECT_EQ(m_log.Messages(),
            std::vector<std::string>({"New Inspector Created.", "New Inspector Created."}));
  Open("Unseen", Announce::kNo);
  EXPECT_THAT(TickLines(), testing::Contains(Changed(1, 0))) << "no caption was remembered";
}

TEST_F(Tracking, AnInspectorWhoseItemCannotBeReadStaysKnown) {
  for (const char* const step :
       {"_Inspector::get_CurrentItem", "_MailItem::QueryInterface(_MailItem)"}) {
    for (const HRESULT fault : {E_FAIL, S_OK}) {
      ConnectFresh("15.0");
      m_host->Calls().FailEach(step, fault);
      HostInspector& window = Open("First");
      EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u);
      EXPECT_EQ(SinksOn(*window.Mail()), 0u);
      EXPECT_EQ(window.Connected(), 0u);
      m_host->Calls().ClearFaults();
      EXPECT_THAT(TickLines(), IsEmpty()) << step;
    }
  }
}

TEST_F(Tracking, AnInspectorWhoseMailRefusesTheSinkGetsNone) {
  for (const char* const step : {"_MailItem::QueryInterface(IConnectionPointContainer)",
                                 "_MailItem::FindConnectionPoint", "ItemEvents::Advise"}) {
    ConnectFresh("15.0");
    m_host->Calls().FailEach(step, E_FAIL);
    HostInspector& window = Open("First");
    EXPECT_EQ(window.Connected(), 0u);
    EXPECT_EQ(SinksOn(*window.Mail()), 0u);
    EXPECT_EQ(Outstanding("_MailItem \"First\""), 1u) << "the sink that nobody owns keeps it";
    m_host->CloseInspector(window);
    EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
  }
}

TEST_F(Tracking, AWindowThatRefusesItsSinkKeepsTheOneOnTheMail) {
  m_host->Calls().FailEach("InspectorEvents::Advise", E_FAIL);
  HostInspector& window = Open("First");
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
  EXPECT_EQ(window.Connected(), 0u);
  // Nobody hears of the close.
  m_host->CloseInspector(window);
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
}

TEST_F(Tracking, ACaptionThatCannotBeReadIsKnownAsAnEmptyOne) {
  for (const HRESULT fault : {E_FAIL, S_OK}) {
    ConnectFresh("15.0");
    m_host->Calls().FailEach("_Inspector::get_Caption", fault);
    HostInspector& window = Open("First");
    EXPECT_EQ(SinksOn(*window.Mail()), 1u);
    m_host->Calls().ClearFaults();
    EXPECT_THAT(TickLines(), IsEmpty());
  }
}

// --- Close

TEST_F(Tracking, TheCloseEndsTheSinkOnTheMail) {
  HostInspector& window = Open("First");
  m_log.Forget();
  m_host->CloseInspector(window);
  ASSERT_GE(m_log.Messages().size(), 2u);
  EXPECT_EQ(m_log.Messages().front(), "OnInspectorClose");
  EXPECT_EQ(m_log.Messages().back(), kMailEnd);
  EXPECT_EQ(Calls("ItemEvents::Unadvise"), 1u);
  EXPECT_EQ(Calls("InspectorEvents::Unadvise"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
  EXPECT_THAT(m_host->Ledger().OverReleases(), IsEmpty());
}

TEST_F(Tracking, ASecondCloseLogsItsLineAndDoesNothingElse) {
  HostInspector& window = Open("First");
  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  m_log.Forget();
  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  EXPECT_EQ(m_log.Lines(), std::vector<LoggedLine>({{kLogInfo, "OnInspectorClose"}}));
  EXPECT_EQ(Calls("ItemEvents::Unadvise"), 1u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
  EXPECT_THAT(m_host->Ledger().OverReleases(), IsEmpty());
}

TEST_F(Tracking, AnInspectorSinkWithoutAMailClosesAllTheSame) {
  DlpInspectorEvent sink(nullptr);
  EXPECT_EQ(sink.OnInspectorClose(), S_OK);
  EXPECT_EQ(sink.OnInspectorClose(), S_OK);
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"OnInspectorClose", "OnInspectorClose"}));
}

// --- Scan

TEST_F(Tracking, WithNothingOpenAScanLogsNothingAndKnowsNothing) {
  HostInspector& window = Open("First");
  m_host->CloseInspector(window);
  EXPECT_THAT(TickLines(), IsEmpty());
  Open("Second", Announce::kNo);
  EXPECT_THAT(TickLines(), testing::Contains(Changed(1, 0))) << "the list was emptied";
}

TEST_F(Tracking, AScanOfTwoKnownAndAThirdThatWasAnnouncedHasNothingToDo) {
  Open("First");
  Open("Second");
  Tick();
  Open("Third");
  const std::uint64_t before = Calls("ItemEvents::Advise");
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Calls("ItemEvents::Advise"), before);
}

TEST_F(Tracking, AWindowThatNoEventReportedIsFoundByTheScan) {
  HostInspector& known = Open("Known");
  HostInspector& stranger = Open("Stranger", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Stranger - Message."));
  EXPECT_EQ(SinksOn(*known.Mail()), 1u) << "a known caption is skipped";
  EXPECT_EQ(SinksOn(*stranger.Mail()), 1u);
  EXPECT_EQ(stranger.Connected(), 0u) << "the window gets no sink on this route";
  EXPECT_EQ(Outstanding("_MailItem \"Stranger\""), 1u);
  EXPECT_THAT(TickLines(), IsEmpty());
  // Nothing ends this sink: it outlives its window.
  m_host->CloseInspector(stranger);
  EXPECT_EQ(Outstanding("_MailItem \"Stranger\""), 1u);
}

TEST_F(Tracking, AllLinesOfTheScanAreInformation) {
  Open("Stranger", Announce::kNo);
  Tick();
  EXPECT_EQ(m_log.Lines(),
            std::vector<LoggedLine>(
                {{kLogInfo, Changed(1, 0)}, {kLogInfo, "New Inspector: Stranger - Message."}}));
}

TEST_F(Tracking, TheLastWindowIsLookedAtFirst) {
  Open("One", Announce::kNo);
  Open("Two", Announce::kNo);
  Open("Three", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(3, 0), "New Inspector: Three - Message.",
                          "New Inspector: Two - Message.", "New Inspector: One - Message."));
}

TEST_F(Tracking, AStrangersCaptionIsLoggedInUtf8) {
  OpenAs("Überweisung \xF0\x9F\x92\xB6", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(1, 0), "New Inspector: Überweisung \xF0\x9F\x92\xB6."));
}

TEST_F(Tracking, OfTwoWindowsWithOneCaptionTheSecondIsTakenForKnown) {
  HostInspector& first = OpenAs("Same", Announce::kYes);
  HostInspector& second = OpenAs("Same", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1)));
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
}

// Two strangers with one caption in one scan are both new: what is known is what the scan before
// left.
TEST_F(Tracking, TwoStrangersWithOneCaptionAreBothNewInOneScan) {
  HostInspector& first = OpenAs("Same", Announce::kNo);
  HostInspector& second = OpenAs("Same", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 0), "New Inspector: Same.", "New Inspector: Same."));
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
}

TEST_F(Tracking, ACaptionThatDiffersInCaseOrBlanksIsNew) {
  OpenAs("Hello", Announce::kYes);
  HostInspector& upper = OpenAs("HELLO", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: HELLO."));
  HostInspector& blank = OpenAs("Hello ", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(3, 2), "New Inspector: Hello ."));
  EXPECT_EQ(SinksOn(*upper.Mail()), 1u);
  EXPECT_EQ(SinksOn(*blank.Mail()), 1u);
}

TEST_F(Tracking, AStrangerOnSomethingElseStaysInTheListWithoutASink) {
  m_host->OpenOtherInspector("Contact", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(1, 0), "New Inspector: Contact."));
  EXPECT_EQ(Calls("ItemEvents::Advise"), 0u);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Outstanding("OtherItem"), 1u);
  EXPECT_EQ(Outstanding("_Inspector"), 0u);
}

TEST_F(Tracking, AWindowThatOpensAsAnotherClosesStaysUnattached) {
  HostInspector& first = Open("First");
  m_host->CloseInspector(first);
  HostInspector& second = Open("Second", Announce::kNo);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
  // Its caption is known from now on, so a later change passes it over too.
  Open("Third", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Third - Message."));
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
}

TEST_F(Tracking, TheListShrinksWhenWindowsClose) {
  HostInspector& first = Open("First");
  Open("Second");
  Open("Third");
  m_host->CloseInspector(first);
  EXPECT_THAT(TickLines(), IsEmpty());
  Open("Fourth", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(3, 2), "New Inspector: Fourth - Message."));
}

TEST_F(Tracking, AChangedCaptionIsAStrangerOnlyWhenTheCountRises) {
  HostInspector& window = OpenAs("Untitled", Announce::kYes);
  window.SetCaption("Titled");
  EXPECT_THAT(TickLines(), IsEmpty());
  window.SetCaption("Titled anew");
  OpenAs("Another", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 1), "New Inspector: Another.", "New Inspector: Titled anew."));
  EXPECT_EQ(SinksOn(*window.Mail()), 2u) << "the scan knows captions, not windows";
}

TEST_F(Tracking, TheFirstScanAttachesToEachMailThatIsOpen) {
  UseHost("15.0");
  HostInspector& first = Open("First", Announce::kNo);
  HostInspector& second = Open("Second", Announce::kNo);
  m_log.Forget();
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
  EXPECT_TRUE(m_log.Has(kLogInfo, Changed(2, 0)));
}

TEST_F(Tracking, AFailedAttachIsNotTriedAgainByLaterScans) {
  Open("Stranger", Announce::kNo);
  m_host->Calls().FailEach("ItemEvents::Advise", E_FAIL);
  Tick();
  m_host->Calls().ClearFaults();
  HostInspector& another = Open("Another", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Another - Message."));
  EXPECT_EQ(SinksOn(*another.Mail()), 1u);
  EXPECT_EQ(Calls("ItemEvents::Advise"), 2u);
}

TEST_F(Tracking, AFailedAttachIsTriedAgainOnceTheCaptionChangesAndTheCountRises) {
  HostInspector& window = OpenAs("Untitled", Announce::kNo);
  m_host->Calls().FailEach("ItemEvents::Advise", E_FAIL);
  Tick();
  EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u);
  m_host->Calls().ClearFaults();
  window.SetCaption("Titled");
  EXPECT_THAT(TickLines(), IsEmpty()) << "a caption alone is no reason";
  EXPECT_EQ(SinksOn(*window.Mail()), 0u);
  window.SetCaption("Titled anew");
  OpenAs("Another", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 1), "New Inspector: Another.", "New Inspector: Titled anew."));
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
}

TEST_F(Tracking, AStrangerWhoseItemCannotBeReadDoesNotStopTheScan) {
  for (const char* const step :
       {"_Inspector::get_CurrentItem", "_MailItem::QueryInterface(_MailItem)"}) {
    for (const HRESULT fault : {E_FAIL, S_OK}) {
      ConnectFresh("15.0");
      HostInspector& first = Open("First", Announce::kNo);
      HostInspector& second = Open("Second", Announce::kNo);
      m_host->Calls().FailCallOf(step, 1, fault);
      Tick();
      EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u) << step;
      EXPECT_EQ(SinksOn(*second.Mail()), 0u) << step;
      EXPECT_EQ(SinksOn(*first.Mail()), 1u) << step;
    }
  }
}

TEST_F(Tracking, AHostThatCannotTellItsWindowsIsSurvived) {
  for (const char* const step : {"_Application::get_Inspectors", "_Inspectors::get_Count"}) {
    ConnectFresh("15.0");
    HostInspector& window = Open("Known");
    m_host->Calls().FailEach(step, E_FAIL);
    EXPECT_THAT(TickLines(), IsEmpty()) << step;
    m_host->Calls().ClearFaults();
    EXPECT_THAT(TickLines(), IsEmpty()) << "what was known still is: " << step;
    EXPECT_EQ(SinksOn(*window.Mail()), 1u);
  }
}

TEST_F(Tracking, AWindowThatCannotBeHadIsLeftOut) {
  for (const HRESULT fault : {E_FAIL, S_OK}) {
    ConnectFresh("15.0");
    HostInspector& first = Open("First", Announce::kNo);
    HostInspector& second = Open("Second", Announce::kNo);
    m_host->Calls().FailCallOf("_Inspectors::Item", 1, fault);
    EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 0), "New Inspector: First - Message."));
    EXPECT_EQ(SinksOn(*first.Mail()), 1u);
    EXPECT_EQ(SinksOn(*second.Mail()), 0u);
  }
}

TEST_F(Tracking, ATickWithNothingNewReadsCaptionsAndNoItems) {
  for (int number = 0; number < 5; ++number) Open("Window " + std::to_string(number));
  Tick();
  m_host->Calls().Restart();
  Tick();
  EXPECT_EQ(Calls("_Inspectors::Item"), 5u);
  EXPECT_EQ(Calls("_Inspector::get_Caption"), 5u);
  EXPECT_EQ(m_host->Calls().Total(), 2u + 5u + 5u);
}

TEST_F(Tracking, AScanLeavesNoReferences) {
  Open("First", Announce::kNo);
  Tick();
  Tick();
  EXPECT_EQ(Outstanding("_Inspector"), 0u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 1u);
}

// --- Inline responses

class InlineResponse : public HostedAddIn {
 protected:
  void SetUp() override { Start(); }
  void Start() {
    UseHost("15.0");
    m_explorer = &m_host->OpenExplorer();
    ASSERT_EQ(Connect(), S_OK);
    m_log.Forget();
  }
  HostExplorer* m_explorer = nullptr;
};

TEST_F(InlineResponse, GetsASinkOnTheReply) {
  HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
  const std::string place = "@dlpaddinconnect.cpp(";
  const std::string function = "DlpExplorerEvent_10::OnInlineResponseCreate> ";
  EXPECT_EQ(m_log.Lines(),
            std::vector<LoggedLine>(
                {{kLogInfo, "New InlineResponse Created."},
                 {kLogInfo, function + "Get InlineResponse item " + place + "382)"},
                 {kLogInfo, function + "Get _MailItem " + place + "391)"},
                 {kLogInfo, function + "Dispatch _MailItem with ItemEvents " + place + "400)"}}));
  EXPECT_EQ(SinksOn(reply), 1u);
  EXPECT_EQ(Outstanding("_MailItem \"Reply\""), 1u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  // Nothing ends this sink.
  m_host->EndInlineResponse(*m_explorer);
  EXPECT_EQ(Outstanding("_MailItem \"Reply\""), 1u);
}

TEST_F(InlineResponse, TheEventsOwnArgumentIsNotLookedAt) {
  HostMailItem& reply = m_host->CreateMail(Mail("Reply"));
  m_explorer->SetInlineResponse(simulation::host::HostRef<HostMailItem>(&reply));
  VARIANTARG nothing = simulation::host::ObjectArgument(nullptr);
  EXPECT_THAT(m_explorer->Fire(outlook::kDispidInlineResponse, {nothing}), ElementsAre(S_OK));
  EXPECT_EQ(SinksOn(reply), 1u);
  m_explorer->SetInlineResponse({});
}

TEST_F(InlineResponse, WithoutAReplyThereIsNothingToAttachTo) {
  EXPECT_THAT(m_explorer->FireInlineResponse(), ElementsAre(S_OK));
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New InlineResponse Created."}));
}

TEST_F(InlineResponse, AReplyThatCannotBeReadIsLeftAlone) {
  struct Case {
    const char* step;
    std::size_t lines;
  };
  for (const Case& each :
       {Case{"_Explorer::get_ActiveInlineResponse", 1},
        Case{"_MailItem::QueryInterface(_MailItem)", 2}, Case{"ItemEvents::Advise", 3}}) {
    Start();
    m_host->Calls().FailEach(each.step, E_FAIL);
    HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
    EXPECT_EQ(m_log.Lines().size(), each.lines) << each.step;
    EXPECT_EQ(SinksOn(reply), 0u) << each.step;
    EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u) << each.step;
  }
}

TEST_F(InlineResponse, WithoutAnExplorerThePointerErrorIsRaised) {
  auto* const sink = new DlpExplorerEvent_10(nullptr);
  try {
    sink->OnInlineResponseCreate(nullptr);
    ADD_FAILURE() << "nothing was raised";
  } catch (const CAtlException& raised) {
    EXPECT_EQ(raised.m_hr, static_cast<HRESULT>(0x80004003));
  }
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New InlineResponse Created."}));
  EXPECT_EQ(sink->Release(), 0u);
}

TEST_F(InlineResponse, AnExplorerOpenedLaterIsNotTracked) {
  HostExplorer& later = m_host->OpenExplorer();
  HostMailItem& reply = m_host->BeginInlineResponse(later, Mail("Reply"));
  EXPECT_EQ(SinksOn(reply), 0u);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(InlineResponse, DisconnectionLeavesTheExplorersSinkInPlace) {
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
  EXPECT_EQ(SinksOn(reply), 1u);
}

// --- The explorer's two objects

TEST_F(InlineResponse, TheSecondObjectIsTheOneThatIsSubscribed) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  EXPECT_EQ(Outstanding("_Explorer 2"), 1u);
  EXPECT_EQ(first->Initialize(&explorer), S_OK);
  EXPECT_EQ(explorer.Connected(), 1u);
  EXPECT_EQ(first->m_dwEventCookie, 0xFEFEFEFEu);
  EXPECT_EQ(first->AddRef(), 2u);
  EXPECT_EQ(first->Release(), 1u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u);
  EXPECT_EQ(first->Release(), 0u);
}

TEST_F(InlineResponse, AFailedInitializeGivesTheResultOfTheSubscription) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  m_host->Calls().FailEach("ExplorerEvents_10::Advise", CONNECT_E_ADVISELIMIT);
  EXPECT_EQ(first->Initialize(&explorer), CONNECT_E_ADVISELIMIT);
  EXPECT_EQ(first->Initialize(nullptr), E_INVALIDARG);
  EXPECT_EQ(first->Release(), 0u);
}

TEST_F(InlineResponse, UninitializeEndsNoConnectionAndGivesTheExplorerBack) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  ASSERT_EQ(first->Initialize(&explorer), S_OK);
  EXPECT_EQ(first->Uninitialize(), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(explorer.Connected(), 1u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u) << "the second object's and that of the fresh sink";
  EXPECT_EQ(first->Uninitialize(), S_OK) << "nothing is left to do";
  EXPECT_EQ(Calls("ExplorerEvents_10::Unadvise"), 1u);
  EXPECT_EQ(first->Release(), 0u);
}

// --- Connecting

class Subscribing : public HostedAddIn {
 protected:
  // The object's identity among its interfaces.
  static IUnknown* Source(_MailItem& mail) { return &mail; }
  static IUnknown* Source(_Inspector& window) { return &window; }
};

TEST_F(Subscribing, WithoutASourceTheArgumentIsInvalid) {
  DlpInspectorEvent sink(nullptr);
  DWORD cookie = 5;
  EXPECT_EQ(AdviseEvents(nullptr, sink.EventSink(), outlook::IID_InspectorEvents, &cookie),
            static_cast<HRESULT>(0x80070057));
  EXPECT_EQ(cookie, 5u);
  EXPECT_EQ(UnadviseEvents(nullptr, outlook::IID_InspectorEvents, 1),
            static_cast<HRESULT>(0x80070057));
}

TEST_F(Subscribing, GivesTheFirstFailure) {
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
    EXPECT_EQ(AdviseEvents(Source(mail), sink.EventSink(), outlook::IID_ItemEvents, &cookie),
              each.fault);
    EXPECT_EQ(cookie, 5u) << each.step;
  }
  m_host->Calls().ClearFaults();
  EXPECT_EQ(UnadviseEvents(Source(mail), outlook::IID_ItemEvents, 99), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(UnadviseEvents(Source(mail), outlook::IID_InspectorEvents, 99), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
}

TEST_F(Subscribing, ASinkThatIsSubscribedIsRefused) {
  HostInspector& window = m_host->OpenInspector(Mail("A"), Announce::kNo);
  auto* const sink = new DlpInspectorEvent(nullptr);
  EXPECT_EQ(addin::SubscribeSink(Source(window), sink, outlook::IID_InspectorEvents), S_OK);
  EXPECT_NE(sink->m_dwEventCookie, 0xFEFEFEFEu);
  try {
    addin::SubscribeSink(Source(window), sink, outlook::IID_InspectorEvents);
    ADD_FAILURE() << "the second subscription was let through";
  } catch (const CAtlException& raised) {
    EXPECT_EQ(raised.m_hr, static_cast<HRESULT>(0x80004005));
  }
  EXPECT_EQ(window.Connected(), 1u);
  EXPECT_EQ(UnadviseEvents(Source(window), outlook::IID_InspectorEvents, sink->m_dwEventCookie),
            S_OK);
  EXPECT_EQ(window.Connected(), 0u);
  delete sink;
}

// --- The frame of each sink

HRESULT FireAt(_IDispEvent* sink, DISPID dispid) {
  DISPPARAMS none = {};
  auto* const dispatch = static_cast<IDispatch*>(sink->EventSink());
  return dispatch->Invoke(dispid, GUID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
}

TEST_F(Subscribing, EventsWithoutARowDoNothingOnAnySink) {
  DlpInspectorEvent inspector(nullptr);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  for (const DISPID dispid : {0xF001, 0xF002, 0xF003, 0xF004, 0xF005, 0xF006, 0xF008, 0xF009,
                              0xF466, 0xF468, 0xFC92, 0, -1}) {
    if (dispid != outlook::kDispidNewInspector) {
      EXPECT_EQ(FireAt(m_addIn, dispid), S_OK);
    }
    if (dispid != outlook::kDispidInspectorClose) {
      EXPECT_EQ(FireAt(&inspector, dispid), S_OK);
    }
    if (dispid != outlook::kDispidInlineResponse) {
      EXPECT_EQ(FireAt(explorer, dispid), S_OK);
    }
  }
  EXPECT_THAT(m_log.Lines(), IsEmpty());
  EXPECT_EQ(explorer->Release(), 0u);
}

TEST_F(Subscribing, EachSinkAnswersItsOwnSourceOnly) {
  DlpInspectorEvent inspector(nullptr);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  void* object = nullptr;
  EXPECT_EQ(inspector._LocDEQueryInterface(outlook::IID_InspectorEvents, &object), S_OK);
  EXPECT_EQ(inspector._LocDEQueryInterface(outlook::IID_ExplorerEvents_10, &object), E_NOINTERFACE);
  EXPECT_EQ(explorer->_LocDEQueryInterface(outlook::IID_ExplorerEvents_10, &object), S_OK);
  EXPECT_EQ(explorer->_LocDEQueryInterface(outlook::IID_InspectorEvents, &object), E_NOINTERFACE);
  EXPECT_EQ(explorer->Release(), 1u) << "the answer was counted";
  EXPECT_EQ(explorer->Release(), 0u);
  EXPECT_EQ(inspector.AddRef(), 1u);
  EXPECT_EQ(inspector.Release(), 1u);
}

TEST_F(Subscribing, HandlersStandBehindTheEightSlotsOfTheirFrame) {
  constexpr std::uintptr_t kSlot = sizeof(void*);
  EXPECT_EQ(platform::HandlerSlot(&DlpInspectorEvent::OnInspectorClose), 8 * kSlot);
  EXPECT_EQ(platform::HandlerSlot(&DlpExplorerEvent_10::OnInlineResponseCreate), 8 * kSlot);
  EXPECT_EQ(platform::HandlerSlot(&DlpExplorerEvent_10::OnInitialized), 9 * kSlot);
  auto* const explorer = new DlpExplorerEvent_10(nullptr);
  EXPECT_EQ(explorer->OnInitialized(), S_OK);
  explorer->Release();
}

TEST_F(Subscribing, EachSinkHasOneRowAndItsTerminator) {
  struct Expected {
    const platform::EventRow* rows;
    UINT controlId;
    const IID* iid;
    DISPID dispid;
    std::vector<VARTYPE> types;
  };
  for (const Expected& each :
       {Expected{CDlpAddinConnect::Events(), 1, &outlook::IID_InspectorsEvents, 0xF001, {9}},
        Expected{DlpInspectorEvent::Events(), 2, &outlook::IID_InspectorEvents, 0xF008, {}},
        Expected{DlpExplorerEvent_10::Events(), 3, &outlook::IID_ExplorerEvents_10, 0xFC92, {9}},
        Expected{DlpMailEvent::Events(), 4, &outlook::IID_ItemEvents, 0xF005, {0x400B}}}) {
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
