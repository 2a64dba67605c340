// A whole life of the add-in in which memory runs out: each of its allocations fails in turn. The
// host survives, a mail stays open only if the agent said so, the cursor is restored, the temporary
// files are deleted, nothing is leaked, and one line at Crit says what happened.
#include "agent/outlookaddin/addinids.h"
#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/module.h"
#include "tests/agent/outlookaddin/allocations.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/agent/outlookaddin/operationfaults.h"
#include "tests/support/cancel.h"

namespace tests {
namespace {

using simulation::host::Announce;
using simulation::host::HostExplorer;
using simulation::host::HostInspector;
using simulation::host::HostMailItem;
using simulation::host::SimulatedHost;

// What one life leaves.
struct Life {
  bool isCreated = false;
  bool isConnected = false;
  std::vector<VARIANT_BOOL> cancels;
  std::vector<std::string> crit;
  std::map<std::string, ULONG> references;  // that are left, by object
  std::vector<std::string> overReleases;
  AllocationFigures allocations;
  ULONG addInReferences = 0;
};

class OutOfMemory : public GateTest {
 protected:
  OutOfMemory() {
    StopLogging();
    WriteProfile("x_name = X-Tag\nx_value = yes\n");
    MakeSignature("Work/logo.png");
    answers[9] = 7;
    auto list = std::make_shared<simulation::mail::MailAddressEntry>();
    list->displayType = outlookaddin::olPrivateDistList;
    list->id = "id";
    list->members.push_back(std::make_shared<simulation::mail::MailAddressEntry>());
    list->members.back()->address = "a member with an address of some length@example.com";
    auto person = std::make_shared<simulation::mail::MailAddressEntry>();
    person->address = "somebody with an address of some length@example.com";
    mail.recipients = {{"List", list}, {"Person", person}};
    mail.senderName = "A sender whose name is longer than a short string";
    mail.subject = "A subject that is longer than a short string";
    mail.body = "A body that is longer than a short string";
    mail.htmlBody = "<img src=\"cid:logo.png@1\"> and some more text";
    mail.attachments = {{1, "a file with a long name.txt", std::nullopt, "content"},
                        {4, "b.txt", "C:\\a shared folder with a long name", ""}};
  }
  ~OutOfMemory() override { g_outlookVersionCode = 0; }

  // One life. The allocation of that number fails; 0: none.
  Life Live(std::uint64_t failing);

 private:
  void Use(SimulatedHost& host, Life* life);

  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetSystemDirectoryA>
      m_noSystemDirectory{[](auto, char*, std::uint32_t) -> std::uint32_t { return 0; }};
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetTimer> m_noTimer{
      [](auto, platform::Window, std::uintptr_t, std::uint32_t,
         platform::TimerProcedure) -> std::uintptr_t { return 1; }};
};

// What happens between connection and disconnection.
void OutOfMemory::Use(SimulatedHost& host, Life* life) {
  HostExplorer& explorer = *host.Application().OpenExplorers().Open().front();
  HostInspector& window = host.OpenInspector(mail);
  HostInspector& found = host.OpenInspector(mail, Announce::kNo);
  {
    const AllocationsCount count;
    outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0);
  }
  HostMailItem& reply = host.BeginInlineResponse(explorer, mail);
  for (HostMailItem* const item : {window.Mail(), found.Mail(), &reply}) {
    tick += 10000;
    const simulation::host::SendOutcome sent = host.Send(*item, kNotSet);
    for (const HRESULT returned : sent.returned) EXPECT_EQ(returned, S_OK);
    life->cancels.push_back(sent.cancel);
    EXPECT_THAT(FilesInTemp(), IsEmpty());
    // The tag leaves references to the message on purpose.
    IUnknown* message = nullptr;
    item->get_MAPIOBJECT(&message);
    for (ULONG left = host.Ledger().OutstandingOf("IMessage"); left > 0; --left) message->Release();
  }
  host.CloseInspector(window);
  host.CloseInspector(found);
  host.EndInlineResponse(explorer);
}

Life OutOfMemory::Live(std::uint64_t failing) {
  tick += 100000;
  cursors.clear();
  Life life;
  LogCapture log;
  g_logger.Log(kLogModule, kLogInfo, "%s", "opens the log's file");
  std::shared_ptr<simulation::host::HostLedger> ledger;
  {
    FaultPlan none;
    const FaultyPlatform system(&none);
    SimulatedHost host("15.0.1");
    ledger = host.SharedLedger();
    host.OpenExplorer();
    host.OpenInspector(mail, Announce::kNo);
    // The host's own allocations don't fail.
    const OnlyAddInCounts counts(host.Calls());

    RestartAllocations(failing);
    _IDTExtensibility2* addIn = nullptr;
    {
      const AllocationsCount count;
      CDlpAddinConnect::CreateInstance(nullptr, IID__IDTExtensibility2,
                                       reinterpret_cast<void**>(&addIn));
    }
    life.isCreated = addIn != nullptr;
    if (life.isCreated) {
      KeepReachable(g_pAddinConnect);
      const HRESULT connected = host.Connect(addIn);
      life.isConnected = SUCCEEDED(connected);
      EXPECT_TRUE(life.isConnected || connected == E_OUTOFMEMORY);
      if (life.isConnected) {
        Use(host, &life);
        EXPECT_EQ(host.Disconnect(), S_OK);
      }
      life.addInReferences = addIn->Release();
    }
    life.allocations = Allocations();
  }
  for (const simulation::host::LedgerLine& line : ledger->Outstanding()) {
    life.references[line.label] += line.Outstanding();
  }
  life.overReleases = ledger->OverReleases();
  for (const LoggedLine& line : log.Lines()) {
    if (line.level == kLogCrit) life.crit.push_back(line.message);
  }
  return life;
}

TEST_F(OutOfMemory, AtAnyAllocationLetsTheMailGoAndLeaksNothing) {
  Live(0);  // makes what is made once
  const Life clean = Live(0);
  ASSERT_TRUE(clean.isConnected);
  ASSERT_THAT(clean.cancels, ElementsAre(kNotSet, kNotSet, kNotSet));
  ASSERT_THAT(clean.crit, IsEmpty());
  ASSERT_GT(clean.allocations.number, 100U);
  RecordProperty("allocations", static_cast<int>(clean.allocations.number));
  std::printf("%d allocations\n", static_cast<int>(clean.allocations.number));

  std::map<std::string, int> operations;
  for (std::uint64_t number = 1; number <= clean.allocations.number; ++number) {
    SCOPED_TRACE(number);
    const Life life = Live(number);
    EXPECT_EQ(life.allocations.failed, 1U);
    EXPECT_EQ(life.addInReferences, 0U);
    EXPECT_THAT(life.overReleases, IsEmpty());
    for (const VARIANT_BOOL cancel : life.cancels) EXPECT_EQ(cancel, kNotSet);
    if (!cursors.empty()) {
      EXPECT_EQ(cursors.back(), kOldCursor);
    }
    if (life.isCreated) {
      EXPECT_EQ(life.crit.size(), 1U);
      for (const std::string& line : life.crit) {
        EXPECT_THAT(line, testing::StartsWith("Exception 0x8007000E in "));
        ++operations[line];
      }
    }
    for (const auto& [label, references] : life.references) {
      const auto usual = clean.references.find(label);
      EXPECT_LE(references, usual == clean.references.end() ? 0 : usual->second)
          << label << "; " << testing::PrintToString(life.crit);
    }
    EXPECT_LE(life.allocations.liveBlocks, clean.allocations.liveBlocks);
    if (HasFailure()) return;
  }
  for (const char* const operation :
       {"OnConnection", "NewInspector", "OnScanTimer", "OnInlineResponseCreate", "OnMailSend"}) {
    EXPECT_GT(operations["Exception 0x8007000E in " + std::string(operation) + "."], 0)
        << operation;
  }
  for (const auto& [line, count] : operations) std::printf("%4d %s\n", count, line.c_str());
}

// The largest text that a check holds is one form of the body, not both.
TEST_F(OutOfMemory, TheTextOfTheBodyIsFreedBeforeTheHtmlIsRead) {
  constexpr std::size_t kSize = 1000000;
  mail.body = std::string(kSize, 'b');
  mail.htmlBody = std::string(kSize, 'h');
  StopAgent();  // it would keep a copy of the file
  Item();
  std::size_t atHtml = kSize;
  Calls().onEnter = [&](std::string_view name) {
    if (name == "_MailItem::get_HTMLBody") atHtml = Allocations().liveBytes;
  };
  DlpMailEvent& sink = Sink();
  RestartAllocations(0);
  {
    const AllocationsCount count;
    sink.CheckBody(Item());
  }
  EXPECT_LT(atHtml, kSize / 10);
}

}  // namespace
}  // namespace tests
