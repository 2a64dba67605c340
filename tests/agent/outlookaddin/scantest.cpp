// The scan of the timer, which finds the windows that no event announced.
#include "tests/agent/outlookaddin/allocations.h"
#include "tests/agent/outlookaddin/hostedaddin.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Scan : public TrackingTest {};

TEST_F(Scan, ForgetsAllCaptionsWhenNoWindowIsOpen) {
  HostInspector& window = Open("First");
  m_host->CloseInspector(window);
  EXPECT_THAT(TickLines(), IsEmpty());
  Open("Second", Announce::kNo);
  EXPECT_THAT(TickLines(), testing::Contains(Changed(1, 0))) << "the list was empty";
}

TEST_F(Scan, DoesNothingForAnAnnouncedWindow) {
  Open("First");
  Open("Second");
  Tick();
  Open("Third");
  const std::uint64_t before = Calls("ItemEvents::Advise");
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Calls("ItemEvents::Advise"), before);
}

TEST_F(Scan, FindsAWindowThatNoEventAnnounced) {
  HostInspector& known = Open("Known");
  HostInspector& found = Open("Unannounced", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Unannounced - Message."));
  EXPECT_EQ(SinksOn(*known.Mail()), 1u) << "known captions are skipped";
  EXPECT_EQ(SinksOn(*found.Mail()), 1u);
  EXPECT_EQ(found.Connected(), 0u) << "a scan subscribes to mails only";
  EXPECT_EQ(Outstanding("_MailItem \"Unannounced\""), 1u);
  EXPECT_THAT(TickLines(), IsEmpty());
  // The sink has no owner, so it outlives its window.
  m_host->CloseInspector(found);
  EXPECT_EQ(Outstanding("_MailItem \"Unannounced\""), 1u);
}

TEST_F(Scan, LogsAtInfo) {
  Open("Unannounced", Announce::kNo);
  Tick();
  EXPECT_EQ(m_log.Lines(),
            std::vector<LoggedLine>(
                {{kLogInfo, Changed(1, 0)}, {kLogInfo, "New Inspector: Unannounced - Message."}}));
}

TEST_F(Scan, StartsWithTheLastWindow) {
  Open("One", Announce::kNo);
  Open("Two", Announce::kNo);
  Open("Three", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(3, 0), "New Inspector: Three - Message.",
                          "New Inspector: Two - Message.", "New Inspector: One - Message."));
}

TEST_F(Scan, LogsCaptionsInUtf8) {
  OpenAs("Überweisung \xF0\x9F\x92\xB6", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(1, 0), "New Inspector: Überweisung \xF0\x9F\x92\xB6."));
}

TEST_F(Scan, TakesAWindowWithAKnownCaptionForKnown) {
  HostInspector& first = OpenAs("Same", Announce::kYes);
  HostInspector& second = OpenAs("Same", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1)));
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
}

// Only the captions of the scan before are known.
TEST_F(Scan, TakesTwoNewWindowsWithOneCaptionForNew) {
  HostInspector& first = OpenAs("Same", Announce::kNo);
  HostInspector& second = OpenAs("Same", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 0), "New Inspector: Same.", "New Inspector: Same."));
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
}

TEST_F(Scan, TakesACaptionWithOtherCaseOrBlanksForNew) {
  OpenAs("Hello", Announce::kYes);
  HostInspector& upper = OpenAs("HELLO", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: HELLO."));
  HostInspector& blank = OpenAs("Hello ", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(3, 2), "New Inspector: Hello ."));
  EXPECT_EQ(SinksOn(*upper.Mail()), 1u);
  EXPECT_EQ(SinksOn(*blank.Mail()), 1u);
}

TEST_F(Scan, RemembersANewWindowWithoutAMailButSubscribesNothing) {
  m_host->OpenOtherInspector("Contact", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(1, 0), "New Inspector: Contact."));
  EXPECT_EQ(Calls("ItemEvents::Advise"), 0u);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Outstanding("OtherItem"), 1u);
  EXPECT_EQ(Outstanding("_Inspector"), 0u);
}

TEST_F(Scan, MissesAWindowThatOpensWhileAnotherCloses) {
  HostInspector& first = Open("First");
  m_host->CloseInspector(first);
  HostInspector& second = Open("Second", Announce::kNo);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
  // From now on its caption is known, so later scans skip it as well.
  Open("Third", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Third - Message."));
  EXPECT_EQ(SinksOn(*second.Mail()), 0u);
}

TEST_F(Scan, ForgetsTheCaptionsOfClosedWindows) {
  HostInspector& first = Open("First");
  Open("Second");
  Open("Third");
  m_host->CloseInspector(first);
  EXPECT_THAT(TickLines(), IsEmpty());
  Open("Fourth", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(3, 2), "New Inspector: Fourth - Message."));
}

TEST_F(Scan, TakesAChangedCaptionForNewOnlyWhenTheCountRises) {
  HostInspector& window = OpenAs("Untitled", Announce::kYes);
  window.SetCaption("Titled");
  EXPECT_THAT(TickLines(), IsEmpty());
  window.SetCaption("Titled anew");
  OpenAs("Another", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 1), "New Inspector: Another.", "New Inspector: Titled anew."));
  EXPECT_EQ(SinksOn(*window.Mail()), 2u) << "the scan knows captions, not windows";
}

TEST_F(Scan, SubscribesToEveryOpenMailAtConnection) {
  UseHost("15.0");
  HostInspector& first = Open("First", Announce::kNo);
  HostInspector& second = Open("Second", Announce::kNo);
  m_log.Forget();
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
  EXPECT_TRUE(m_log.Has(kLogInfo, Changed(2, 0)));
}

TEST_F(Scan, DoesNotRetryAFailedSubscription) {
  Open("Unannounced", Announce::kNo);
  m_host->Calls().FailEach("ItemEvents::Advise", E_FAIL);
  Tick();
  m_host->Calls().ClearFaults();
  HostInspector& another = Open("Another", Announce::kNo);
  EXPECT_THAT(TickLines(), ElementsAre(Changed(2, 1), "New Inspector: Another - Message."));
  EXPECT_EQ(SinksOn(*another.Mail()), 1u);
  EXPECT_EQ(Calls("ItemEvents::Advise"), 2u);
}

TEST_F(Scan, RetriesAFailedSubscriptionWhenCaptionAndCountHaveChanged) {
  HostInspector& window = OpenAs("Untitled", Announce::kNo);
  m_host->Calls().FailEach("ItemEvents::Advise", E_FAIL);
  Tick();
  EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u);
  m_host->Calls().ClearFaults();
  window.SetCaption("Titled");
  EXPECT_THAT(TickLines(), IsEmpty()) << "a changed caption alone is not enough";
  EXPECT_EQ(SinksOn(*window.Mail()), 0u);
  window.SetCaption("Titled anew");
  OpenAs("Another", Announce::kNo);
  EXPECT_THAT(TickLines(),
              ElementsAre(Changed(2, 1), "New Inspector: Another.", "New Inspector: Titled anew."));
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
}

TEST_F(Scan, GoesOnAfterAWindowWhoseItemCannotBeRead) {
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

TEST_F(Scan, KeepsItsCaptionsWhenTheHostCannotListItsWindows) {
  for (const char* const step : {"_Application::get_Inspectors", "_Inspectors::get_Count"}) {
    ConnectFresh("15.0");
    HostInspector& window = Open("Known");
    m_host->Calls().FailEach(step, E_FAIL);
    EXPECT_THAT(TickLines(), IsEmpty()) << step;
    m_host->Calls().ClearFaults();
    EXPECT_THAT(TickLines(), IsEmpty()) << "the window is still known: " << step;
    EXPECT_EQ(SinksOn(*window.Mail()), 1u);
  }
}

TEST_F(Scan, SkipsAWindowThatTheHostDoesNotReturn) {
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

TEST_F(Scan, ReadsOnlyCaptionsWhenNothingIsNew) {
  for (int number = 0; number < 5; ++number) Open("Window " + std::to_string(number));
  Tick();
  m_host->Calls().Restart();
  Tick();
  EXPECT_EQ(Calls("_Inspectors::Item"), 5u);
  EXPECT_EQ(Calls("_Inspector::get_Caption"), 5u);
  EXPECT_EQ(m_host->Calls().Total(), 2u + 5u + 5u);
}

// Whichever allocation of a scan fails, the next scan completes it.
TEST_F(Scan, GivesEachMailOneSinkAfterMemoryRanOutMidway) {
  std::uint64_t number = 0;
  std::uint64_t failed = 0;
  do {
    SCOPED_TRACE(++number);
    ConnectFresh("15.0");
    HostInspector& known = Open("A window that the event announced");
    HostInspector& first = Open("The first window that it didn't", Announce::kNo);
    HostInspector& second = Open("The second window that it didn't", Announce::kNo);
    {
      const OnlyAddInCounts counts(m_host->Calls());
      RestartAllocations(number);
      const AllocationsCount count;
      Tick();
    }
    failed = Allocations().failed;
    Tick();
    EXPECT_EQ(SinksOn(*known.Mail()), 1u);
    EXPECT_EQ(SinksOn(*first.Mail()), 1u);
    EXPECT_EQ(SinksOn(*second.Mail()), 1u);
  } while (failed != 0 && !HasFailure());
  EXPECT_GT(number, 8u);
}

TEST_F(Scan, KeepsNoReferences) {
  Open("First", Announce::kNo);
  Tick();
  Tick();
  EXPECT_EQ(Outstanding("_Inspector"), 0u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 1u);
}

}  // namespace
}  // namespace tests
