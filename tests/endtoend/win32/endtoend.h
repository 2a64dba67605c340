// Tests of the add-in as a host loads it: the program isn't linked with the library, but creates
// the object through COM. The simulated agent runs in a process of its own.
//
// The program needs DlpAddIn.dll and quorvex.exe in its own folder, and the right to write to the
// registry's classes and to the system directory. It restores everything that it changes.
//
// If the environment variable QUORVEX_INSTALLED has the path of an installed library, the program
// registers nothing and expects COM to load that library. Such a run must leave out the tests of
// the registration (Registration.*).
//
// If QUORVEX_OTHER_UNWINDER has the path of a libgcc_s_dw2-1.dll, the program loads it before the
// add-in, as another add-in of the host may.
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

// The path of a file in the folder of this program, in UTF-8.
std::string BesideProgram(const char* name);

// The path of the library that COM must load, in UTF-8.
std::string LibraryPath();

// Runs regsvr32 without messages and returns its exit status.
int RunRegsvr32(const std::vector<std::string>& arguments);

// The sorted names of the keys below HKEY_CLASSES_ROOT, CLSID, TypeLib and Interface.
std::vector<std::wstring> RegisteredNames();

// A text value below HKEY_CLASSES_ROOT. An empty name is the key's default value.
std::optional<std::wstring> ClassesValue(const std::wstring& key, const std::wstring& name = L"");

// Writes a file. The destructor restores what was there before.
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

// A host for each test. All hosts and their mails live until the process ends: the add-in
// identifies a mail by its address for some seconds, and a later mail at the same address would
// inherit its verdict.
class EndToEnd : public testing::Test {
 protected:
  // Register and unregister the library and the host's type library.
  static void SetUpTestSuite();
  static void TearDownTestSuite();

  void SetUp() override;
  void TearDown() override;

  SimulatedHost& Host() { return *m_host; }
  _IDTExtensibility2* AddIn() const { return m_addIn.Get(); }

  // Create makes a host and the add-in. Connect also opens an explorer and connects the add-in.
  void Connect(const std::string& version);
  void Create(const std::string& version);
  // Disconnects, releases the add-in and returns CanUnload().
  HRESULT Leave();
  // Calls the library's DllCanUnloadNow.
  static HRESULT CanUnload();

  // Opens a window with a mail that the host keeps.
  HostInspector& Open(simulation::mail::MailModel model, Announce announce = Announce::kYes);
  simulation::mail::MailModel Mail(const std::string& subject, const std::string& body) const;
  // The requests since the last call, up to the closing request.
  std::vector<simulation::agent::JournalRequest> Traffic();
  // The item types of the requests.
  static std::vector<std::uint32_t> Types(
      const std::vector<simulation::agent::JournalRequest>& requests);

  // The log since the beginning of the test or the last call.
  std::string TakeLog();

  void StopAgent();

  const std::filesystem::path& Folder() const;
  std::string TempPath() const;
  std::string SignaturePath() const;  // of the signature image

  // Expects the add-in to leave references on purpose, besides the two to each explorer.
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
