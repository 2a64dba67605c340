// Host calls may pump messages, so the host can fire an event inside any call of a check.
#include "agent/outlookaddin/dlpaddinconnect.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/support/cancel.h"

namespace tests {
namespace {

using simulation::host::HostInspector;
using simulation::host::HostMailItem;
using simulation::host::SimulatedHost;

constexpr const char* kSinkEnd = "[DlpMailEvent::~DlpMailEvent] called @804.";

class Reentrancy : public GateTest {
 protected:
  Reentrancy() {
    WriteProfile("");
    MakeSignature("Work/logo.png");
    answers[9] = 7;  // so that the check includes the calls of the tag
    auto list = std::make_shared<simulation::mail::MailAddressEntry>();
    list->displayType = outlookaddin::olPrivateDistList;
    list->id = "id";
    for (const char* address : {"x", "y"}) {
      list->members.push_back(std::make_shared<simulation::mail::MailAddressEntry>());
      list->members.back()->address = address;
    }
    auto person = std::make_shared<simulation::mail::MailAddressEntry>();
    person->address = "a";
    mail.recipients = {{"List", list}, {"A", person}};
    mail.senderName = "Sender";
    mail.accountSenderName = "Account";
    mail.subject = "subject";
    mail.body = "body";
    mail.htmlBody = "<img src=\"cid:logo.png@1\">";
    mail.attachments = {{1, "a.txt", std::nullopt, "content"}, {4, "b.txt", "C:\\shared", ""}};
  }
  ~Reentrancy() override { g_outlookVersionCode = 0; }

  struct Outcome {
    std::uint64_t calls = 0;  // of the host, during Send
    VARIANT_BOOL cancel = kNotSet;
    simulation::host::FiredResults returned;
    std::vector<std::string> messages;
    ULONG outstanding = 0;  // references to the item, after the window has closed
    std::vector<std::string> overReleases;
  };

  // Sends a mail from a window that closes inside the host's call of this number; 0: afterwards.
  Outcome SendAndCloseAt(std::uint64_t closing) {
    tick += 100000;
    asked.clear();
    SimulatedHost host("15.0.1");
    auto* const addIn = new CComObject<CDlpAddinConnect>;
    KeepReachable(addIn);
    addIn->AddRef();
    EXPECT_EQ(host.Connect(addIn), S_OK);
    HostMailItem& item = host.CreateMail(mail);
    HostInspector* window = &host.OpenInspector(item, "caption");
    const auto close = [&] { host.CloseInspector(*std::exchange(window, nullptr)); };
    ForgetLines();
    Outcome outcome;
    host.Calls().Restart();
    host.Calls().onEnter = [&](std::string_view) {
      if (++outcome.calls == closing) close();
    };
    const simulation::host::SendOutcome sent = host.Send(item, kNotSet);
    host.Calls().onEnter = nullptr;
    outcome.cancel = sent.cancel;
    outcome.returned = sent.returned;
    if (window != nullptr) close();
    outcome.messages = Messages();
    outcome.outstanding = item.Outstanding();
    outcome.overReleases = host.Ledger().OverReleases();
    // What the tag leaves on purpose.
    IUnknown* message = nullptr;
    item.get_MAPIOBJECT(&message);
    for (ULONG left = host.Ledger().OutstandingOf("IMessage"); left > 0; --left) message->Release();
    EXPECT_EQ(host.Disconnect(), S_OK);
    EXPECT_EQ(addIn->Release(), 0U);
    return outcome;
  }

 private:
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetSystemDirectoryA>
      m_noSystemDirectory{[](auto, char*, std::uint32_t) -> std::uint32_t { return 0; }};
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetTimer> m_noTimer{
      [](auto, platform::Window, std::uintptr_t, std::uint32_t,
         platform::TimerProcedure) -> std::uintptr_t { return 1; }};
};

TEST_F(Reentrancy, AWindowMayCloseInsideAnyHostCallOfItsOwnMailsCheck) {
  const Outcome clean = SendAndCloseAt(0);
  ASSERT_GT(clean.calls, 30U);
  ASSERT_EQ(clean.outstanding, 0U);
  const std::vector<Asked> cleanAsked = asked;
  for (std::uint64_t call = 1; call <= clean.calls; ++call) {
    SCOPED_TRACE(call);
    const Outcome outcome = SendAndCloseAt(call);
    EXPECT_EQ(outcome.cancel, kNotSet);
    EXPECT_THAT(outcome.returned, ElementsAre(S_OK));
    EXPECT_EQ(asked.size(), cleanAsked.size()) << "the check goes on";
    // The sink ends once, when its handler returns: after everything that the handler logs.
    EXPECT_EQ(std::count(outcome.messages.begin(), outcome.messages.end(), kSinkEnd), 1);
    EXPECT_EQ(outcome.messages.back(), kSinkEnd);
    EXPECT_EQ(outcome.outstanding, 0U);
    EXPECT_THAT(outcome.overReleases, IsEmpty());
    if (HasFailure()) return;
  }
}

TEST_F(Reentrancy, AWindowMayCloseInsideACheckThatThrows) {
  SimulatedHost host("15.0.1");
  HostMailItem& item = host.CreateMail(mail);
  item.AddRef();
  DlpMailEvent* const sink = DlpMailEvent::Attach(&item);
  ASSERT_NE(sink, nullptr);
  host.Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  bool isDestroyed = false;
  host.Calls().onEnter = [&](std::string_view name) {
    if (name != "AddressEntry::QueryInterface(IUnknown)") return;
    if (!std::exchange(isDestroyed, true)) sink->Destroy();
  };
  VARIANT_BOOL cancel = kNotSet;
  EXPECT_THROW(sink->OnMailSend(&cancel), _com_error);
  EXPECT_TRUE(isDestroyed);
  EXPECT_EQ(cancel, kNotSet);
  EXPECT_EQ(item.Outstanding(), 0U);
  EXPECT_EQ(Messages().back(), kSinkEnd);
}

// The inner check finds the outer one's sink in use and must not end it.
TEST_F(Reentrancy, ASendInsideASendKeepsTheSinkUntilTheOuterOneReturns) {
  SimulatedHost host("15.0.1");
  HostMailItem& item = host.CreateMail(mail);
  item.AddRef();
  DlpMailEvent* const sink = DlpMailEvent::Attach(&item);
  ASSERT_NE(sink, nullptr);
  bool isDestroyed = false;
  host.Calls().onEnter = [&](std::string_view name) {
    if (name != "_MailItem::get_Subject" || std::exchange(isDestroyed, true)) return;
    sink->Destroy();
    EXPECT_THAT(item.FireSend(kNotSet).returned, ElementsAre(S_OK));
    EXPECT_EQ(item.Outstanding(), 1U) << "the outer check still needs the item";
  };
  EXPECT_THAT(item.FireSend(kNotSet).returned, ElementsAre(S_OK));
  EXPECT_EQ(item.Outstanding(), 0U);
  EXPECT_EQ(Messages().back(), kSinkEnd);
  IUnknown* message = nullptr;
  item.get_MAPIOBJECT(&message);
  for (ULONG left = host.Ledger().OutstandingOf("IMessage"); left > 0; --left) message->Release();
}

}  // namespace
}  // namespace tests
