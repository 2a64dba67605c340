#include "tests/endtoend/win32/endtoend.h"

#include <shlobj.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "platform/process.h"
#include "tests/endtoend/win32/hosttypelibrary.h"
#include "tools/system/commandline.h"

namespace tests {
namespace {

constexpr std::uint32_t kChildMilliseconds = 60'000;
constexpr const wchar_t* kInstalledVariable = L"QUORVEX_INSTALLED";
constexpr const wchar_t* kUnwinderVariable = L"QUORVEX_OTHER_UNWINDER";

// Blocks and tags mails by their words.
constexpr const char* kRules =
    "[[rule]]\n"
    "name = \"secret\"\n"
    "content = 'TOP-SECRET'\n"
    "answer = \"block\"\n"
    "[[rule]]\n"
    "name = \"sensitive\"\n"
    "subject = 'sensitive'\n"
    "answer = \"tag\"\n"
    "at = \"close\"\n";

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path SystemDirectory() {
  std::array<wchar_t, MAX_PATH> path = {};
  GetSystemDirectoryW(path.data(), MAX_PATH);
  return path.data();
}

std::filesystem::path ApplicationData() {
  std::array<wchar_t, MAX_PATH> path = {};
  SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path.data());
  return path.data();
}

// Sets the temporary directory of this process and its children.
class TemporaryDirectory {
 public:
  explicit TemporaryDirectory(const std::filesystem::path& path) {
    const wchar_t* const before = _wgetenv(L"TMP");
    if (before != nullptr) m_before = before;
    _wputenv_s(L"TMP", path.c_str());
  }
  ~TemporaryDirectory() { _wputenv_s(L"TMP", m_before.c_str()); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

 private:
  std::wstring m_before;
};

void CollectNames(const wchar_t* below, std::vector<std::wstring>* names) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, below, 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  std::array<wchar_t, 256> name = {};
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    if (RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    names->push_back(std::wstring(below) + L"\\" + name.data());
  }
  RegCloseKey(key);
}

}  // namespace

std::string BesideProgram(const char* name) {
  const std::string own = tools::system::OwnProgramPath();
  const std::filesystem::path path(std::u8string(own.begin(), own.end()));
  return Utf8(path.parent_path() / name);
}

std::string LibraryPath() {
  const wchar_t* const installed = _wgetenv(kInstalledVariable);
  return installed != nullptr ? Utf8(installed) : BesideProgram("DlpAddIn.dll");
}

int RunRegsvr32(const std::vector<std::string>& arguments) {
  tools::system::ChildProcess child;
  std::string error;
  std::vector<std::string> all = {"/s"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  if (!child.Start(Utf8(SystemDirectory() / "regsvr32.exe"), all, &error)) {
    ADD_FAILURE() << error;
    return -1;
  }
  int status = -1;
  EXPECT_TRUE(child.WaitForEnd(kChildMilliseconds, &status)) << "regsvr32 doesn't end";
  return status;
}

std::vector<std::wstring> RegisteredNames() {
  std::vector<std::wstring> names;
  for (const wchar_t* const below : {L"", L"CLSID", L"TypeLib", L"Interface"}) {
    CollectNames(below, &names);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::wstring> ClassesValue(const std::wstring& key, const std::wstring& name) {
  std::array<wchar_t, 1024> text = {};
  auto size = static_cast<DWORD>(sizeof(text));
  if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr,
                   text.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return std::wstring(text.data());
}

ScopedFile::ScopedFile(std::filesystem::path path, const std::string& content)
    : m_path(std::move(path)) {
  for (std::filesystem::path folder = m_path.parent_path(); !std::filesystem::exists(folder);
       folder = folder.parent_path()) {
    m_madeFolders.push_back(folder);
  }
  std::filesystem::create_directories(m_path.parent_path());
  if (std::filesystem::exists(m_path)) m_before = ReadAll(m_path);
  std::ofstream(m_path, std::ios::binary) << content;
}

ScopedFile::~ScopedFile() {
  std::error_code ignored;
  if (m_before) {
    std::ofstream(m_path, std::ios::binary) << *m_before;
    return;
  }
  std::filesystem::remove(m_path, ignored);
  for (const std::filesystem::path& folder : m_madeFolders) {
    std::filesystem::remove(folder, ignored);
  }
}

namespace {

// What all tests share: temporary folder, log settings, signature image and the agent.
class Machine {
 public:
  Machine()
      : m_temporary(MakeTemporary()),
        m_loggerConfig(SystemDirectory() / "Logger.cfg",
                       "Outlook 15 File " + Utf8(m_folder.Path() / "addin") + "\r\n"),
        m_signature(ApplicationData() / "Microsoft" / "Signatures" / "QuorvexTest" / "logo.png",
                    "the signature's image"),
        m_rules(m_folder.Path() / "rules.toml", kRules),
        m_typeLibrary(m_folder.Path() / "host.tlb") {}

  void StartAgent() {
    if (m_agent) return;
    std::string error;
    auto agent = std::make_unique<tools::system::ChildProcess>();
    // Under load Wine sometimes fails to start a process (error 1359).
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (agent->Start(BesideProgram("quorvex.exe"),
                       {"agent", "--quiet", "--until-input-ends", "--rules", Utf8(m_rules.Path())},
                       &error)) {
        error.clear();
        break;
      }
    }
    ASSERT_EQ(error, "");
    std::string ready;
    ASSERT_EQ(agent->ReadLine(&ready, kChildMilliseconds),
              tools::system::ChildProcess::ReadResult::kLine);
    m_agent = std::move(agent);
  }
  void StopAgent() {
    if (m_agent) {
      EXPECT_EQ(m_agent->End(kChildMilliseconds), 0);
    }
    m_agent.reset();
  }

  const std::filesystem::path& Folder() const { return m_folder.Path(); }
  std::filesystem::path Temporary() const { return m_folder.Path() / "temp"; }
  // The file's name contains that of the machine.
  std::string Log() const {
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
      if (entry.path().extension() == ".log") return ReadAll(entry.path());
    }
    return {};
  }
  const std::filesystem::path& TypeLibrary() const { return m_typeLibrary; }
  const std::filesystem::path& Signature() const { return m_signature.Path(); }

 private:
  std::filesystem::path MakeTemporary() {
    std::filesystem::create_directory(Temporary());
    return Temporary();
  }

  tests::TemporaryFolder m_folder;
  TemporaryDirectory m_temporary;
  ScopedFile m_loggerConfig;
  ScopedFile m_signature;
  ScopedFile m_rules;
  std::filesystem::path m_typeLibrary;
  std::unique_ptr<tools::system::ChildProcess> m_agent;
};

std::unique_ptr<Machine> g_machine;

// With the libraries that it needs, which are beside it.
void LoadOtherUnwinder() {
  const wchar_t* const variable = _wgetenv(kUnwinderVariable);
  if (variable == nullptr) return;
  const std::filesystem::path path = std::filesystem::path(variable).make_preferred();
  ASSERT_EQ(GetModuleHandleW(L"DlpAddIn.dll"), nullptr);
  ASSERT_NE(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH), nullptr);
  ASSERT_NE(GetModuleHandleW(L"libgcc_s_dw2-1.dll"), nullptr);
}

// Lasts until the process ends, because the library must stay loaded that long: its timers go on.
class EndOfProcess : public testing::Environment {
 public:
  void TearDown() override {
    if (!g_machine) return;
    g_machine->StopAgent();
    CoUninitialize();
    g_machine.reset();
  }
};

testing::Environment* const g_endOfProcess = testing::AddGlobalTestEnvironment(new EndOfProcess);

}  // namespace

void EndToEnd::SetUpTestSuite() {
  if (!g_machine) {
    ASSERT_NO_FATAL_FAILURE(LoadOtherUnwinder());
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    g_machine = std::make_unique<Machine>();
    ASSERT_EQ(MakeHostTypeLibrary(g_machine->TypeLibrary().c_str()), S_OK);
  }
  ASSERT_EQ(RegisterHostTypeLibrary(g_machine->TypeLibrary().c_str()), S_OK);
  if (_wgetenv(kInstalledVariable) == nullptr) {
    ASSERT_EQ(RunRegsvr32({LibraryPath()}), 0);
  }
}

void EndToEnd::TearDownTestSuite() {
  if (_wgetenv(kInstalledVariable) == nullptr) {
    EXPECT_EQ(RunRegsvr32({"/u", LibraryPath()}), 0);
  }
  EXPECT_EQ(UnregisterHostTypeLibrary(), S_OK);
}

void EndToEnd::SetUp() {
  ASSERT_NE(g_machine, nullptr);
  g_machine->StartAgent();
  m_journal = std::make_unique<simulation::agent::JournalReader>(simulation::agent::JournalPath());
  TakeLog();
}

void EndToEnd::TearDown() {
  if (m_addIn) {
    EXPECT_EQ(Leave(), S_OK);
  }
  if (m_host != nullptr) {
    EXPECT_THAT(m_host->Ledger().Surprises(), testing::IsEmpty()) << m_host->Ledger().Report();
  }
}

void EndToEnd::Create(const std::string& version) {
  static auto& hosts = *new std::vector<std::unique_ptr<SimulatedHost>>;
  hosts.push_back(std::make_unique<SimulatedHost>(version));
  m_host = hosts.back().get();
  CLSID connect = {};
  ASSERT_EQ(CLSIDFromProgID(kProgId, &connect), S_OK);
  ASSERT_EQ(CoCreateInstance(connect, nullptr, CLSCTX_INPROC_SERVER, IID__IDTExtensibility2,
                             reinterpret_cast<void**>(m_addIn.Put())),
            S_OK);
  std::array<wchar_t, MAX_PATH> loaded = {};
  GetModuleFileNameW(GetModuleHandleW(L"DlpAddIn.dll"), loaded.data(), MAX_PATH);
  const std::string library = LibraryPath();
  ASSERT_TRUE(std::filesystem::equivalent(
      loaded.data(), std::filesystem::path(std::u8string(library.begin(), library.end()))));
}

void EndToEnd::Connect(const std::string& version) {
  ASSERT_NO_FATAL_FAILURE(Create(version));
  m_host->OpenExplorer();
  ExpectLeft("_Explorer ", 2);
  ASSERT_EQ(m_host->Connect(AddIn()), S_OK);
  EXPECT_EQ(CanUnload(), S_FALSE);
}

HRESULT EndToEnd::Leave() {
  m_host->Disconnect();
  m_addIn.Reset();
  return CanUnload();
}

HRESULT EndToEnd::CanUnload() {
  using Function = HRESULT(STDAPICALLTYPE*)();
  const HMODULE library = GetModuleHandleW(L"DlpAddIn.dll");
  if (library == nullptr) return E_UNEXPECTED;
  const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(library, "DllCanUnloadNow")));
  return function != nullptr ? function() : E_UNEXPECTED;
}

HostInspector& EndToEnd::Open(simulation::mail::MailModel model, Announce announce) {
  std::string caption = model.subject.value_or("Untitled") + " - Message";
  return m_host->OpenInspector(m_host->CreateMail(std::move(model)), std::move(caption), announce);
}

simulation::mail::MailModel EndToEnd::Mail(const std::string& subject,
                                           const std::string& body) const {
  simulation::mail::MailModel model;
  auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
  entry->address = "alice@example.com";
  model.recipients = {{"Alice", std::move(entry)}};
  model.subject = subject;
  model.body = body;
  model.senderName = "The session's user";
  return model;
}

std::vector<simulation::agent::JournalRequest> EndToEnd::Traffic() {
  return m_journal->TakeMail(platform::process.GetCurrentProcessId(), 0, 5000);
}

std::vector<std::uint32_t> EndToEnd::Types(
    const std::vector<simulation::agent::JournalRequest>& requests) {
  std::vector<std::uint32_t> types;
  for (const simulation::agent::JournalRequest& request : requests)
    types.push_back(request.itemType);
  return types;
}

std::string EndToEnd::TakeLog() {
  const std::string text = g_machine->Log();
  const std::size_t begin = std::min(std::exchange(m_logRead, text.size()), text.size());
  return text.substr(begin);
}

void EndToEnd::StopAgent() {
  g_machine->StopAgent();
}

const std::filesystem::path& EndToEnd::Folder() const {
  return g_machine->Folder();
}

std::string EndToEnd::TempPath() const {
  return Utf8(g_machine->Temporary()) + "\\";
}

std::string EndToEnd::SignaturePath() const {
  return Utf8(g_machine->Signature());
}

}  // namespace tests
