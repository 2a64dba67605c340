// A whole session of the add-in with three mails, in which each operation of the operating system
// fails in turn: at its first call, at each later one, and always. Nothing crashes, only the agent
// blocks a mail, and nothing stays open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "agent/outlookaddin/addinids.h"
#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/module.h"
#include "agent/outlookaddin/outlookversion.h"
#include "logging/vrklogger.h"
#include "platform/diagnostics.h"
#include "platform/mapi.h"
#include "simulation/host/simulatedhost.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/agent/outlookaddin/operationfaults.h"
#include "tests/support/cancel.h"
#include "tests/support/scriptedagent.h"
#include "tests/support/temporaryfolder.h"

namespace tests {
namespace {

// If an operation is called more often, the test picks that many calls.
constexpr int kMostCalls = 40;

// Operations that a session never calls.
const std::set<std::string> kNotCalled = {
    // Called by the agent and the host.
    "mappings.CreateFileMappingA", "ui.RunMessageLoop",
    // While the library is loaded and unloaded.
    "moduleImage.CreateLock", "moduleImage.DeleteLock", "process.GetComputerNameW",
    // For the registration.
    "moduleImage.FindResourceBytes", "moduleImage.GetModuleFileNameW", "registry.CloseKey",
    "registry.CreateKey", "registry.DeleteTree", "registry.GetString", "registry.OpenKey",
    "registry.SetString",
    // When a log file is full.
    "files.DeleteFileW",
    // For helpers that nothing in the add-in calls, and for a text that doesn't fit.
    "diagnostics.OutputDebugStringA", "formatting.CreateLocale", "formatting.FreeLocale",
    "diagnostics.InvalidParameter"};

// Operations that only the first session of the process calls: the class object is made once.
const std::set<std::string> kCalledOnce = {"moduleImage.EncodePointer", "moduleImage.EnterLock",
                                           "moduleImage.LeaveLock"};

// Subject and Cancel of each mail of a session.
const std::vector<std::pair<std::string, VARIANT_BOOL>> kVerdicts = {
    {"Passed", kNotSet}, {"Blocked", VARIANT_BOOL{1}}, {"Tagged", kNotSet}};

struct Outcome {
  std::vector<std::pair<std::string, VARIANT_BOOL>> cancels;  // subject and flag
  std::set<std::string> blockedByAgent;
  std::map<std::string, ULONG> left;  // references, by object
  std::vector<std::string> overReleases;
  std::optional<std::string> tag;
  std::size_t requests = 0;
};

class PlatformFaults : public testing::Test {
 protected:
  PlatformFaults() : m_before(std::filesystem::current_path()) {
    setenv("QUORVEX_ROOT", m_root.Path().c_str(), 1);
    std::filesystem::create_directory(m_root.Path() / "here");
    std::filesystem::current_path(m_root.Path() / "here");
    Write("appdata/Microsoft/Signatures/Work/logo.png", "image");
    Write("windows/system32/zbagent/vrk.pro", "x_name = X-Tag\nx_value = yes\n");
    Write("windows/system32/Logger.cfg", "Outlook 15 File " + m_root.Entry("log") +
                                             "\nOutlook 15 Dbg\n"
                                             "Outlook 15 UDP 127.0.0.1:9\n");
  }
  ~PlatformFaults() override {
    g_logger.RemoveAllModules();
    g_outlookVersionCode = 0;
    std::filesystem::current_path(m_before);
    unsetenv("QUORVEX_ROOT");
  }

  void Write(const std::string& place, const std::string& content) {
    const std::filesystem::path path = m_root.Path() / place;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  // Runs one session.
  Outcome RunOnce(FaultPlan* plan);
  void ExpectNoFilesAfter(const std::string& name);

  // The files in the temporary folder ("temp") or in the current one ("here"), which is used when
  // the temporary one is unknown.
  std::set<std::string> FilesIn(const char* place) {
    std::set<std::string> names;
    const std::filesystem::path folder = m_root.Path() / place;
    if (!std::filesystem::exists(folder)) return names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  static std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
  static int SharedViews() {
    std::ifstream maps("/proc/self/maps");
    int views = 0;
    for (std::string line; std::getline(maps, line);) {
      views += line.find("/quorvex-") != std::string::npos ? 1 : 0;
    }
    return views;
  }

 private:
  static simulation::mail::MailModel Mail(const std::string& subject);
  void SendAll(simulation::host::SimulatedHost& host, FaultPlan* plan, tests::ScriptedAgent& agent,
               Outcome* run);

  tests::TemporaryFolder m_root;
  std::filesystem::path m_before;
  // Left on purpose and freed after each session: the listing of each signature folder and the
  // buffer with the name of the tag.
  std::set<platform::Handle> m_listings;
  std::vector<std::unique_ptr<unsigned char[]>> m_buffers;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> m_find{
      [this](auto original, const char* pattern, platform::FindData* entry) {
        const platform::Handle listing = original(pattern, entry);
        if (listing != platform::kInvalidHandle) m_listings.insert(listing);
        return listing;
      }};
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> m_close{
      [this](auto original, platform::Handle listing) {
        m_listings.erase(listing);
        return original(listing);
      }};
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer>
      m_allocate{[this](auto, std::uint32_t size, void** buffer) {
        m_buffers.push_back(std::make_unique<unsigned char[]>(size));
        *buffer = m_buffers.back().get();
        return 0;
      }};
  // Discards the debugger's output.
  platform::ScopedReplacement<platform::diagnostics,
                              &platform::DiagnosticsOperations::OutputDebugStringW>
      m_debugger{[](auto, const platform::WideChar*) {}};
  platform::ScopedReplacement<platform::diagnostics,
                              &platform::DiagnosticsOperations::OutputDebugStringA>
      m_debuggerA{[](auto, const char*) {}};
  // Set so late that verdicts of earlier sessions are too old.
  std::uint32_t m_tick = 0;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_clock{
      [this](auto) { return m_tick; }};
  // A log line's stamp is formatted anew when the time changes, so the time stands still: all
  // sessions make the same calls.
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetLocalTime> m_time{
      [](auto, platform::LocalTime* time) { *time = {}; }};
};

simulation::mail::MailModel PlatformFaults::Mail(const std::string& subject) {
  simulation::mail::MailModel mail;
  mail.recipients = {{"A", std::make_shared<simulation::mail::MailAddressEntry>()}};
  mail.recipients[0].entry->address = "a@x";
  mail.senderName = "Sender";
  mail.subject = subject;
  mail.body = "body";
  mail.htmlBody = "<img src=\"cid:logo.png@1\">";
  mail.attachments = {{1, "a.txt", std::nullopt, "content"}, {4, "b.txt", "C:\\shared", ""}};
  return mail;
}

void PlatformFaults::SendAll(simulation::host::SimulatedHost& host, FaultPlan* plan,
                             tests::ScriptedAgent& agent, Outcome* run) {
  std::string sending;
  agent.onRequest = [&](const tests::SeenRequest& seen) {
    const bool isBody = seen.name == "ExchangeBodyContent";
    if (sending == "Blocked" && isBody) {
      run->blockedByAgent.insert(sending);
      return tests::Reply::Answer(3);
    }
    return tests::Reply::Answer(sending == "Tagged" && seen.itemType == channel::kItemClose ? 7
                                                                                            : 4);
  };
  for (const char* subject : {"Passed", "Blocked", "Tagged"}) {
    m_tick += 10000;
    sending = subject;
    simulation::host::HostInspector& window = host.OpenInspector(Mail(subject));
    simulation::host::HostMailItem& item = *window.Mail();
    const simulation::host::SendOutcome sent = host.Send(item, kNotSet);
    run->cancels.emplace_back(subject, sent.cancel);
    EXPECT_EQ(sent.returned, simulation::host::FiredResults{S_OK});
    if (sending == "Tagged") {
      run->tag = item.Header("X-Tag");
      plan->isSuspended = true;
      IUnknown* message = nullptr;
      item.get_MAPIOBJECT(&message);
      for (ULONG left = host.Ledger().OutstandingOf("IMessage"); left > 0; --left) {
        message->Release();
      }
      plan->isSuspended = false;
    }
    host.CloseInspector(window);
  }
  outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0);
}

Outcome PlatformFaults::RunOnce(FaultPlan* plan) {
  Outcome run;
  tests::ScriptedAgent agent;
  std::shared_ptr<simulation::host::HostLedger> ledger;
  {
    const FaultyPlatform faulty(plan);
    // The agent runs during the sleeps of the add-in. Its own calls don't fail.
    platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> agentsTurn(
        [&](auto original, std::uint32_t milliseconds) {
          if (plan->Fails("clock.Sleep")) return;
          const bool before = std::exchange(plan->isSuspended, true);
          original(milliseconds);
          plan->isSuspended = before;
        });
    simulation::host::SimulatedHost host("15.0.1");
    ledger = host.SharedLedger();
    host.OpenExplorer();
    plan->isSuspended = false;
    IClassFactory* factory = nullptr;
    _IDTExtensibility2* addIn = nullptr;
    if (DllGetClassObject(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(&factory)) ==
        S_OK) {
      factory->CreateInstance(nullptr, IID__IDTExtensibility2, reinterpret_cast<void**>(&addIn));
      KeepReachable(g_pAddinConnect);
      factory->Release();
    }
    if (addIn != nullptr) {
      EXPECT_EQ(host.Connect(addIn), S_OK);
      SendAll(host, plan, agent, &run);
      host.Disconnect();
      addIn->Release();
    }
    g_logger.RemoveAllModules();
    plan->isSuspended = true;
  }
  run.requests = agent.Requests().size();
  for (const simulation::host::LedgerLine& line : ledger->Outstanding()) {
    run.left[line.label] += line.Outstanding();
  }
  run.overReleases = ledger->OverReleases();
  while (!m_listings.empty()) platform::files.FindClose(*m_listings.begin());
  m_buffers.clear();
  return run;
}

// Checks that the session with a failing operation left no files, except where the failure explains
// them, and that the next session deletes those.
void PlatformFaults::ExpectNoFilesAfter(const std::string& name) {
  const bool keepsFiles = name == "files.DeleteFileA" || name == "files.FindFirstFileA" ||
                          name == "files.FindNextFileA" || name == "folders.GetTempPathA";
  EXPECT_TRUE(keepsFiles || FilesIn("temp").empty());
  if (!FilesIn("temp").empty()) {
    FaultPlan clear;
    EXPECT_EQ(RunOnce(&clear).cancels, kVerdicts);
    EXPECT_THAT(FilesIn("temp"), testing::IsEmpty());
  }
  // Without a temporary folder the files are in the current one.
  EXPECT_TRUE(name.starts_with("folders.GetTempPath") || FilesIn("here").empty());
  for (const std::string& left : FilesIn("here")) std::filesystem::remove(left);
}

TEST_F(PlatformFaults, CoverEveryEntryOfEveryTable) {
  std::set<std::string> names;
  std::set<std::string> tables;
  for (const Operation& operation : AllOperations()) {
    EXPECT_TRUE(names.insert(operation.name).second) << "duplicate: " << operation.name;
    EXPECT_TRUE(operation.guard) << "an entry of a table is missing";
    tables.insert(operation.table);
  }
  // The tables that the headers declare.
  std::set<std::string> declared;
  for (const auto& entry : std::filesystem::directory_iterator(QUORVEX_PLATFORM_FOLDER)) {
    if (entry.path().extension() != ".h") continue;
    std::ifstream header(entry.path());
    for (std::string line; std::getline(header, line);) {
      if (!line.starts_with("extern constinit ")) continue;
      const std::size_t blank = line.rfind(' ');
      declared.insert(line.substr(blank + 1, line.find(';') - blank - 1));
    }
  }
  EXPECT_EQ(tables, declared);
}

TEST_F(PlatformFaults, NeverHoldUpAMailOrLeaveAnythingOpen) {
  FaultPlan first;
  RunOnce(&first);
  FaultPlan none;
  const Outcome clean = RunOnce(&none);
  ASSERT_EQ(clean.cancels, kVerdicts);
  ASSERT_EQ(clean.tag, "yes");
  ASSERT_EQ(clean.requests, 9U + 6U + 9U);
  ASSERT_TRUE(FilesIn("temp").empty());
  // The explorer's two sinks stay on purpose.
  ASSERT_EQ(clean.left, (std::map<std::string, ULONG>{{"_Explorer 1", 2}}));
  const std::size_t descriptors = OpenDescriptors();

  std::set<std::string> notCalled;
  std::set<std::string> calledOnce;
  int runs = 0;
  for (const Operation& operation : AllOperations()) {
    const int calls = none.calls[operation.name];
    if (calls == 0) {
      (first.calls[operation.name] == 0 ? notCalled : calledOnce).insert(operation.name);
      continue;
    }
    // 0 means every call.
    for (int call = 0; call <= calls;
         call += call < kMostCalls / 2 ? 1 : std::max(1, calls / (kMostCalls / 2))) {
      SCOPED_TRACE(operation.name + ", call " + std::to_string(call) + " of " +
                   std::to_string(calls));
      FaultPlan plan;
      plan.operation = operation.name;
      plan.call = call;
      const Outcome run = RunOnce(&plan);
      ++runs;
      EXPECT_GE(plan.given, 1);
      for (const auto& [subject, cancel] : run.cancels) {
        EXPECT_EQ(cancel, run.blockedByAgent.contains(subject) ? 1 : kNotSet) << subject;
      }
      EXPECT_EQ(run.cancels.size(), 3U);
      EXPECT_EQ(run.left, clean.left);
      EXPECT_THAT(run.overReleases, testing::IsEmpty());
      EXPECT_EQ(OpenDescriptors(), descriptors);
      EXPECT_EQ(SharedViews(), 0);

      ExpectNoFilesAfter(operation.name);
      if (HasFailure()) return;
    }
  }
  // Another test of this process may have run the first session.
  for (const std::string& name : kCalledOnce) {
    if (notCalled.erase(name) != 0) calledOnce.insert(name);
  }
  EXPECT_EQ(notCalled, kNotCalled);
  EXPECT_EQ(calledOnce, kCalledOnce);
  EXPECT_GT(runs, 500);
  RecordProperty("runs", runs);
  std::printf("%d runs\n", runs);
}

}  // namespace
}  // namespace tests
