// How the add-in finds mails: by the host's events, and by the timer in a real message loop.
#include "agent/outlookaddin/outlookmodel.h"
#include "platform/ui.h"
#include "tests/endtoend/win32/endtoend.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Windows = EndToEnd;

// Long enough for two ticks of the timer.
void Pump() {
  platform::ui.RunMessageLoop(2500);
}

TEST_F(Windows, DestroysTheMailsSinkWhenItsWindowCloses) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  // The host keeps no reference to this mail after its window has closed.
  HostInspector& window = Host().OpenInspector(Mail("Short-lived", "The body"));
  EXPECT_EQ(window.Mail()->Connected(), 1U);
  EXPECT_EQ(window.Connected(), 1U);
  EXPECT_EQ(window.Mail()->Outstanding(), 1U);
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Info: New Inspector Created.\r\n"));
  Host().CloseInspector(window);
  EXPECT_THAT(TakeLog(),
              testing::AllOf(HasSubstr("Outlook> Info: OnInspectorClose\r\n"),
                             HasSubstr("[DlpMailEvent::~DlpMailEvent] called @804.\r\n")));
  for (const simulation::host::LedgerLine& line : Host().Ledger().Alive()) {
    EXPECT_THAT(line.label, testing::Not(testing::StartsWith("_MailItem")));
  }
}

TEST_F(Windows, IgnoresASecondCloseAndOtherEvents) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& window = Open(Mail("Closed twice", "This is TOP-SECRET."));
  HostMailItem& mail = *window.Mail();
  // Read, write, open, close, properties, reply, forward of a mail.
  for (const DISPID event :
       {0xF001, 0xF002, 0xF003, 0xF004, 0xF006, 0xF008, 0xF009, 0xF466, 0xF468, 0x0001}) {
    EXPECT_THAT(mail.Fire(event, {}), ElementsAre(S_OK));
  }
  // Activate and deactivate of a window.
  for (const DISPID event : {0xF001, 0xF006}) {
    EXPECT_THAT(window.Fire(event, {}), ElementsAre(S_OK));
  }
  EXPECT_EQ(mail.Connected(), 1U);
  EXPECT_THAT(TakeLog(), testing::Not(HasSubstr("CheckRecipients")));

  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  EXPECT_EQ(mail.Connected(), 0U);
  EXPECT_EQ(mail.Outstanding(), 0U);
  EXPECT_THAT(window.FireClose(), ElementsAre(S_OK));
  Host().CloseInspector(window);
  EXPECT_THAT(mail.Fire(outlookaddin::kDispidSend, {}), ElementsAre());
}

TEST_F(Windows, AreFoundByTheTimer) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& announced = Open(Mail("Announced", "The body"));
  HostInspector& found = Open(Mail("Found", "This is TOP-SECRET."), Announce::kNo);
  EXPECT_EQ(found.Mail()->Connected(), 0U);
  TakeLog();
  Pump();
  EXPECT_EQ(found.Mail()->Connected(), 1U);
  EXPECT_EQ(announced.Mail()->Connected(), 1U) << "the window was known";
  EXPECT_THAT(TakeLog(),
              testing::AllOf(HasSubstr("Outlook> Info: Inspector change triggered by timer. "
                                       "lCurInspectorsCount: 2, original count: 1.\r\n"),
                             HasSubstr("Outlook> Info: New Inspector: Found - Message.\r\n")));
  EXPECT_EQ(Host().Send(*found.Mail()).cancel, 1);
  EXPECT_EQ(Traffic().size(), 6U);
  // This sink has no owner.
  ExpectLeft("_MailItem \"Found\"", 1);
  Host().CloseInspector(found);
  Host().CloseInspector(announced);
}

TEST_F(Windows, AreFoundByTheTimerAfterTheDisconnection) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  EXPECT_EQ(Host().Disconnect(), S_OK);
  HostInspector& late = Open(Mail("Late", "The body"));
  EXPECT_EQ(late.Mail()->Connected(), 0U) << "no longer subscribed";
  Pump();
  EXPECT_EQ(late.Mail()->Connected(), 1U);
  ExpectLeft("_MailItem \"Late\"", 1);
  Host().CloseInspector(late);
}

TEST_F(Windows, AreFoundAtTheConnection) {
  ASSERT_NO_FATAL_FAILURE(Create("16.0.0.1234"));
  HostInspector& early = Open(Mail("Early", "The body"));
  Host().OpenOtherInspector("A contact");
  ASSERT_EQ(Host().Connect(AddIn()), S_OK);
  EXPECT_EQ(early.Mail()->Connected(), 1U);
  ExpectLeft("_MailItem \"Early\"", 1);
  // An item that is no mail isn't released either.
  ExpectLeft("OtherItem", 1);
  Host().CloseInspector(early);
}

TEST_F(Windows, AreNotNeededForAnInlineReply) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostExplorer& explorer = *Host().Application().OpenExplorers().Open().front();
  TakeLog();
  HostMailItem& reply =
      Host().BeginInlineResponse(explorer, Mail("Reply", "This is TOP-SECRET too."));
  EXPECT_EQ(reply.Connected(), 1U);
  const std::string log = TakeLog();
  EXPECT_THAT(log, HasSubstr("Outlook> Info: New InlineResponse Created.\r\n"));
  EXPECT_THAT(log, HasSubstr("Outlook> Info: DlpExplorerEvent_10::OnInlineResponseCreate> Dispatch "
                             "_MailItem with ItemEvents @dlpaddinconnect.cpp(400)\r\n"));
  EXPECT_EQ(Host().Send(reply).cancel, 1);
  EXPECT_EQ(Traffic().size(), 6U);
  ExpectLeft("_MailItem \"Reply\"", 1);
  Host().EndInlineResponse(explorer);
}

}  // namespace
}  // namespace tests
