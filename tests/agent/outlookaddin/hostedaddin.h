// Fixtures for the tests of connection and tracking: a simulated host with the add-in's
// CDlpAddinConnect. They capture the log, hide any Logger.cfg, and record timers instead of setting
// them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/outlookversion.h"
#include "logging/vrklogger.h"
#include "platform/folders.h"
#include "platform/scopedreplacement.h"
#include "platform/ui.h"
#include "simulation/host/simulatedhost.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/support/logcapture.h"
#include "tests/support/temporaryfolder.h"

namespace tests {

using platform::FolderOperations;
using platform::ScopedReplacement;
using platform::UserInterfaceOperations;
using simulation::host::Announce;
using simulation::host::HostExplorer;
using simulation::host::HostInspector;
using simulation::host::HostMailItem;
using simulation::host::SimulatedHost;

struct SetTimerCall {
  platform::Window window;
  std::uintptr_t identifier;
  std::uint32_t milliseconds;
  platform::TimerProcedure procedure;
};

struct KillTimerCall {
  platform::Window window;
  std::uintptr_t identifier;
};

inline simulation::mail::MailModel Mail(std::string subject) {
  simulation::mail::MailModel model;
  model.subject = std::move(subject);
  return model;
}

class HostedAddIn : public testing::Test {
 protected:
  // What GetActiveWindow returns.
  static inline const platform::Window kActiveWindow = reinterpret_cast<platform::Window>(0x1234);

  void SetUp() override { UseHost("14.0"); }
  void TearDown() override {
    // In this order: the add-in holds objects of the host.
    ReleaseAddIn();
    m_host.reset();
  }

  // Makes a new host and a new add-in that isn't connected.
  void UseHost(const std::string& version) {
    ReleaseAddIn();
    m_host = std::make_unique<SimulatedHost>(version);
    m_addIn = new CComObject<CDlpAddinConnect>;
    KeepReachable(m_addIn);
    m_addIn->AddRef();
  }
  // Releases the test's reference. Returns the number of references that the host still holds.
  ULONG ReleaseAddIn() {
    return m_addIn == nullptr ? 0 : std::exchange(m_addIn, nullptr)->Release();
  }

  HRESULT Connect() { return m_host->Connect(m_addIn); }
  ULONG AddInReferences() {
    m_addIn->AddRef();
    return m_addIn->Release();
  }

  // Calls the timer's callback.
  static void Tick() { outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0); }

  // The number of sinks that are subscribed to a mail.
  static std::size_t SinksOn(const HostMailItem& mail) { return mail.Connected(); }

  ULONG Outstanding(const std::string& label) { return m_host->Ledger().OutstandingOf(label); }
  std::uint64_t Calls(std::string_view name) { return m_host->Calls().Count(name); }

  tests::TemporaryFolder m_systemFolder;
  ScopedReplacement<platform::folders, &FolderOperations::GetSystemDirectoryA> m_system{
      [this](auto, char* buffer, std::uint32_t size) -> std::uint32_t {
        const std::string path = m_systemFolder.Path().string();
        if (path.size() >= size) return static_cast<std::uint32_t>(path.size() + 1);
        std::memcpy(buffer, path.c_str(), path.size() + 1);
        return static_cast<std::uint32_t>(path.size());
      }};
  std::vector<SetTimerCall> m_timersSet;
  std::vector<KillTimerCall> m_timersKilled;
  ScopedReplacement<platform::ui, &UserInterfaceOperations::SetTimer> m_setTimer{
      [this](auto, platform::Window window, std::uintptr_t identifier, std::uint32_t milliseconds,
             platform::TimerProcedure procedure) -> std::uintptr_t {
        m_timersSet.push_back({window, identifier, milliseconds, procedure});
        return 77;
      }};
  ScopedReplacement<platform::ui, &UserInterfaceOperations::KillTimer> m_killTimer{
      [this](auto, platform::Window window, std::uintptr_t identifier) {
        m_timersKilled.push_back({window, identifier});
        return false;
      }};
  ScopedReplacement<platform::ui, &UserInterfaceOperations::GetActiveWindow> m_activeWindow{
      [](auto) { return kActiveWindow; }};
  tests::LogCapture m_log;
  std::unique_ptr<SimulatedHost> m_host;
  CComObject<CDlpAddinConnect>* m_addIn = nullptr;
};

constexpr const char* kMailEventEnd = "[DlpMailEvent::~DlpMailEvent] called @804.";

// The line of a scan that finds more windows than it knows.
inline std::string Changed(int count, int known) {
  return "Inspector change triggered by timer. lCurInspectorsCount: " + std::to_string(count) +
         ", original count: " + std::to_string(known) + ".";
}

// A connected add-in that has logged nothing yet.
class TrackingTest : public HostedAddIn {
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
  // Opens a window with exactly this caption.
  HostInspector& OpenAs(const std::string& caption, Announce announce) {
    return m_host->OpenInspector(m_host->CreateMail(Mail("A subject")), caption, announce);
  }
  // The lines of one tick.
  std::vector<std::string> TickLines() {
    m_log.Forget();
    Tick();
    return m_log.Messages();
  }
};

}  // namespace tests
