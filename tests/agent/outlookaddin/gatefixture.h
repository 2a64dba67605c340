// The fixture of all tests of the gate: a simulated mail, a scripted agent that records its
// requests, the add-in's log, a tick count that the test sets, and temporary folders.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/outlookversion.h"
#include "agent/outlookaddin/verdictcache.h"
#include "channel/agentchannel.h"
#include "platform/clock.h"
#include "platform/codepages.h"
#include "platform/com/comerror.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/mapi.h"
#include "platform/scopedreplacement.h"
#include "platform/ui.h"
#include "simulation/host/simulatedhost.h"
#include "simulation/mail/mailmodel.h"
#include "tests/support/logcapture.h"
#include "tests/support/scriptedagent.h"
#include "tests/support/temporaryfolder.h"

namespace tests {

using testing::ElementsAre;
using testing::IsEmpty;

// One request as the agent saw it. `file` has the content of the file that the payload names, since
// the check deletes it at its end.
struct Asked {
  std::uint32_t type;
  std::string payload;
  std::string name;
  std::optional<std::string> file;
};

// A line of the log as the tests write it: level, blank, text.
inline std::string Info(const std::string& text) {
  return "Info " + text;
}
inline std::string Warn(const std::string& text) {
  return "Warn " + text;
}
inline std::string Err(const std::string& text) {
  return "Err " + text;
}

class GateTest : public testing::Test {
 protected:
  GateTest();
  ~GateTest() override;

  // The mail. The first call of one of the next four functions makes the host from it; later
  // changes need RenewHost.
  simulation::mail::MailModel mail;
  simulation::host::HostMailItem* Item();
  DlpMailEvent& Sink();
  simulation::host::HostCalls& Calls();
  simulation::host::HostLedger& Ledger();
  // Destroys sink and host. The next use makes new ones from `mail`.
  void RenewHost();
  // Destroys the sink alone.
  void EndSink() { m_sink.reset(); }
  // Releases the host's own reference to the item.
  void LetHostForgetItem() { m_host->ReleaseMail(*m_item); }
  // Checks that the add-in holds nothing but the sink's one reference to its item.
  void ExpectNothingLeft();

  // The agent. It answers a request by `answerTo` if that is set, otherwise by the answer for its
  // type, otherwise by 4. With the answer 0 it stays silent.
  std::map<std::uint32_t, int> answers;
  std::function<int(const Asked&)> answerTo;
  std::function<void(const Asked&)> onAsked;
  std::vector<Asked> asked;
  std::vector<std::uint32_t> Types() const;
  // Ends the agent.
  void StopAgent();

  // The log since the beginning or the last ForgetLines, without the lines of the channel and of
  // the sink's destructor.
  std::vector<std::string> Lines() const;
  std::vector<std::string> TakeLines();
  int CountLines(const std::string& line) const;
  void ForgetLines() { m_log->Forget(); }
  // The same with those lines.
  std::vector<std::string> Messages() const { return m_log->Messages(); }
  bool Has(int level, const std::string& message) const { return m_log->Has(level, message); }
  void StopLogging() { m_log.reset(); }

  // The tick count. Each test begins so late that no verdict of another test counts.
  std::uint32_t tick;

  // Paths as the add-in makes them, and files by their path below the test's folder.
  std::string Temp(const std::string& name) const { return m_tempPath + name; }
  std::string SignaturePath(const std::string& name) const {
    return m_appData + "\\Microsoft\\Signatures\\" + name;
  }
  bool Exists(const std::string& place) const;
  // The names in the temporary directory.
  std::vector<std::string> FilesInTemp() const;
  void Write(const std::string& place, std::string_view content);
  void MakeSignature(const std::string& place, std::string_view content = "image") {
    Write("appdata/Microsoft/Signatures/" + place, content);
  }
  void WriteProfile(std::string_view content) {
    Write("windows/system32/zbagent/vrk.pro", content);
  }
  void RemoveProfile();

  // Listings that are open.
  std::vector<platform::Handle> openListings;

  // The arguments of SetCursor, in order. Before the first call the cursor is kOldCursor.
  static inline const platform::Cursor kOldCursor = reinterpret_cast<platform::Cursor>(0x01D);
  static inline const platform::Cursor kWaiting = reinterpret_cast<platform::Cursor>(0x3A17);
  std::vector<platform::Cursor> cursors;

 private:
  template <auto Entry>
  using Folder = platform::ScopedReplacement<platform::folders, Entry>;

  void MakeHost();
  void ReleaseMessage();
  tests::Reply AnswerTo(const tests::SeenRequest& request);

  tests::TemporaryFolder m_folder;
  std::string m_tempPath;
  std::string m_appData;
  std::string m_windows;
  Folder<&platform::FolderOperations::GetTempPathA> m_replaceTempA;
  Folder<&platform::FolderOperations::GetTempPathW> m_replaceTempW;
  Folder<&platform::FolderOperations::GetWindowsDirectoryA> m_replaceWindows;
  Folder<&platform::FolderOperations::SHGetFolderPathA> m_replaceAppData;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
      m_replaceTick;
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::LoadCursorW>
      m_replaceLoadCursor;
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetCursor>
      m_replaceSetCursor;
  // What the add-in leaves on purpose is recorded, and freed at the end of the test.
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA>
      m_replaceFindFirst;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose>
      m_replaceFindClose;
  std::vector<std::unique_ptr<char[]>> m_mapiBuffers;
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer>
      m_replaceAllocate;
  std::optional<tests::LogCapture> m_log;
  std::optional<tests::PrivateNames> m_noAgent;
  std::optional<tests::ScriptedAgent> m_agent;
  std::unique_ptr<simulation::host::SimulatedHost> m_host;
  simulation::host::HostMailItem* m_item = nullptr;
  std::unique_ptr<DlpMailEvent> m_sink;
};

}  // namespace tests
