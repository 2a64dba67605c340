// The add-in as its host meets it: a DLL that nothing here is linked with, found by its name in the
// registry and created by COM, with the simulated agent in a process of its own.
//
// The program needs DlpAddIn.dll and quorvex.exe beside it, and the right to write to the
// registry's classes and to the system directory. It puts back what it changes.
//
// With the path of an installed library in the environment variable QUORVEX_INSTALLED it registers
// nothing, and that library is the one that has to be found; the tests of the registration itself
// (Registration.*) have no place in such a run.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/outlookaddin/extensibility.h"
#include "platform/com/comptr.h"
#include "simulation/agent/journal.h"
#include "simulation/host/simulatedhost.h"
#include "tests/support/temporaryfolder.h"
#include "tools/system/childprocess.h"

namespace tests {

using platform::ComPtr;
using simulation::host::Announce;
using simulation::host::HostExplorer;
using simulation::host::HostInspector;
using simulation::host::HostMailItem;
using simulation::host::SimulatedHost;

inline constexpr const wchar_t* kProgId = L"Quorvex.Connect";

// The path of the file `name` beside this program, UTF-8.
std::string BesideProgram(const char* name);

// The library that a host has to get, UTF-8: the installed one, or the one beside this program.
std::string LibraryPath();

// Runs regsvr32 silently with those arguments; its exit status.
int RunRegsvr32(const std::vector<std::string>& arguments);

// Names of the keys below HKEY_CLASSES_ROOT where registrations go, in order.
std::vector<std::wstring> RegisteredNames();

// Text of a value below HKEY_CLASSES_ROOT; the key's default value for an empty name.
std::optional<std::wstring> ClassesValue(const std::wstring& key, const std::wstring& name = L"");

// A file with that content for the length of a scope; what stood there before comes back.
class ScopedFile {
 public:
  ScopedFile(std::filesystem::path path, const std::string& content);
  ~ScopedFile();
  ScopedFile(const ScopedFile&) = delete;
  ScopedFile& operator=(const ScopedFile&) = delete;
  const std::filesystem::path& Path() const { return m_path; }

 private:
  std::filesystem::path m_path;
  std::optional<std::string> m_before;
  std::vector<std::filesystem::path> m_madeFolders;
};

// One connected host. Hosts live to the end of the process, with the mails that were made in them:
// the add-in knows a mail by its address for some seconds, and a later test's mail in the same
// place would inherit its verdict.
class EndToEnd : public testing::Test {
 protected:
  // The registrations are there while a suite runs.
  static void SetUpTestSuite();
  static void TearDownTestSuite();

  void SetUp() override;
  void TearDown() override;

  SimulatedHost& Host() { return *m_host; }
  _IDTExtensibility2* AddIn() const { return m_addIn.Get(); }

  // A host of that version with one explorer, and the add-in created and connected.
  void Connect(const std::string& version);
  void Create(const std::string& version);
  // Ends the connection and the last reference, and tells whether the DLL may be unloaded then.
  HRESULT Leave();
  // What the library's own DllCanUnloadNow says.
  static HRESULT CanUnload();

  // A window on a mail that the host keeps.
  HostInspector& Open(simulation::mail::MailModel model, Announce announce = Announce::kYes);
  simulation::mail::MailModel Mail(const std::string& subject, const std::string& body) const;
  // What the agent was asked since the last call, up to the closing request.
  std::vector<simulation::agent::JournalRequest> Traffic();
  // Item types in the order in which they were asked.
  static std::vector<std::uint32_t> Types(
      const std::vector<simulation::agent::JournalRequest>& requests);

  // What the add-in has logged since the test's beginning or the last call.
  std::string TakeLog();

  void StopAgent();

  const std::filesystem::path& Folder() const;
  std::string TempPath() const;
  std::string SignaturePath() const;  // of the image that MakeSignature put there

  // What the add-in is told to leave behind, beyond the two references to each explorer.
  void ExpectLeft(const std::string& label, ULONG references) {
    m_host->Ledger().ExpectLeft(label, references);
  }

 private:
  SimulatedHost* m_host = nullptr;
  ComPtr<_IDTExtensibility2> m_addIn;
  std::unique_ptr<simulation::agent::JournalReader> m_journal;
  std::size_t m_logRead = 0;
};

}  // namespace tests
