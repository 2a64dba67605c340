// What happens when an inspector window opens and when it closes.
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "tests/agent/outlookaddin/hostedaddin.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Inspector : public TrackingTest {};

TEST_F(Inspector, SubscribesOneSinkToTheMailAndOneToTheWindow) {
  HostInspector& window = Open("First");
  EXPECT_EQ(m_log.Lines(), std::vector<LoggedLine>({{kLogInfo, "New Inspector Created."}}));
  EXPECT_EQ(window.Mail()->Connected(), 1u);
  EXPECT_EQ(window.Connected(), 1u);
  EXPECT_EQ(Outstanding("_MailItem \"First\""), 1u) << "the sink's";
  EXPECT_EQ(Outstanding("_Inspector "), 0u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
}

TEST_F(Inspector, ReturnsSuccessToTheHost) {
  HostInspector& window = Open("First", Announce::kNo);
  EXPECT_THAT(m_host->Application().OpenInspectors().FireNewInspector(window), ElementsAre(S_OK));
}

TEST_F(Inspector, MakesTheWindowKnownToTheNextScan) {
  HostInspector& first = Open("First");
  HostInspector& second = Open("Second");
  EXPECT_THAT(TickLines(), IsEmpty());
  HostInspector& third = Open("Third");
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(SinksOn(*first.Mail()), 1u);
  EXPECT_EQ(SinksOn(*second.Mail()), 1u);
  EXPECT_EQ(SinksOn(*third.Mail()), 1u);
}

TEST_F(Inspector, MakesAWindowWithoutAMailKnownButSubscribesNothing) {
  HostInspector& window = m_host->OpenOtherInspector("Contact");
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
  EXPECT_EQ(window.Connected(), 0u);
  EXPECT_EQ(Calls("ItemEvents::Advise"), 0u);
  EXPECT_THAT(TickLines(), IsEmpty());
  EXPECT_EQ(Outstanding("OtherItem"), 1u) << "the item's reference is never released";
}

TEST_F(Inspector, IgnoresAnObjectThatIsNoInspector) {
  EXPECT_EQ(m_addIn->NewInspector(nullptr), S_OK);
  EXPECT_EQ(m_addIn->NewInspector(&m_host->Application()), S_OK);
  EXPECT_EQ(m_log.Messages(),
            std::vector<std::string>({"New Inspector Created.", "New Inspector Created."}));
  Open("Unseen", Announce::kNo);
  EXPECT_THAT(TickLines(), testing::Contains(Changed(1, 0))) << "no caption was remembered";
}

TEST_F(Inspector, KeepsAWindowKnownWhoseItemCannotBeRead) {
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

TEST_F(Inspector, LeavesAWindowAloneWhoseMailRefusesTheSink) {
  for (const char* const step : {"_MailItem::QueryInterface(IConnectionPointContainer)",
                                 "_MailItem::FindConnectionPoint", "ItemEvents::Advise"}) {
    ConnectFresh("15.0");
    m_host->Calls().FailEach(step, E_FAIL);
    HostInspector& window = Open("First");
    EXPECT_EQ(window.Connected(), 0u);
    EXPECT_EQ(SinksOn(*window.Mail()), 0u);
    EXPECT_EQ(Outstanding("_MailItem \"First\""), 1u) << "the sink without an owner keeps it";
    m_host->CloseInspector(window);
    EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
  }
}

TEST_F(Inspector, KeepsTheMailsSinkWhenTheWindowRefusesItsOwn) {
  m_host->Calls().FailEach("InspectorEvents::Advise", E_FAIL);
  HostInspector& window = Open("First");
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
  EXPECT_EQ(window.Connected(), 0u);
  // The close reaches no sink.
  m_host->CloseInspector(window);
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New Inspector Created."}));
}

TEST_F(Inspector, RemembersAnUnreadableCaptionAsAnEmptyOne) {
  for (const HRESULT fault : {E_FAIL, S_OK}) {
    ConnectFresh("15.0");
    m_host->Calls().FailEach("_Inspector::get_Caption", fault);
    HostInspector& window = Open("First");
    EXPECT_EQ(SinksOn(*window.Mail()), 1u);
    m_host->Calls().ClearFaults();
    EXPECT_THAT(TickLines(), IsEmpty());
  }
}

TEST_F(Inspector, CloseDestroysTheSinkOnTheMail) {
  HostInspector& window = Open("First");
  m_log.Forget();
  m_host->CloseInspector(window);
  ASSERT_GE(m_log.Messages().size(), 2u);
  EXPECT_EQ(m_log.Messages().front(), "OnInspectorClose");
  EXPECT_EQ(m_log.Messages().back(), kMailEventEnd);
  EXPECT_EQ(Calls("ItemEvents::Unadvise"), 1u);
  EXPECT_EQ(Calls("InspectorEvents::Unadvise"), 0u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
  EXPECT_THAT(m_host->Ledger().OverReleases(), IsEmpty());
}

TEST_F(Inspector, ASecondCloseOnlyLogsItsLine) {
  HostInspector& window = Open("First");
  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  m_log.Forget();
  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  EXPECT_EQ(m_log.Lines(), std::vector<LoggedLine>({{kLogInfo, "OnInspectorClose"}}));
  EXPECT_EQ(Calls("ItemEvents::Unadvise"), 1u);
  EXPECT_EQ(Outstanding("_MailItem"), 0u);
  EXPECT_THAT(m_host->Ledger().OverReleases(), IsEmpty());
}

TEST_F(Inspector, CloseAcceptsASinkWithoutAMail) {
  DlpInspectorEvent sink(nullptr);
  EXPECT_EQ(sink.OnInspectorClose(), S_OK);
  EXPECT_EQ(sink.OnInspectorClose(), S_OK);
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"OnInspectorClose", "OnInspectorClose"}));
}

}  // namespace
}  // namespace tests
