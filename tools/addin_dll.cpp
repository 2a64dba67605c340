// The add-in as DlpAddIn.dll, in the folder of this program. It has tables of its own, so it is
// watched at its imports.
#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "channel/protocol.h"
#include "logging/loggerconfig.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"
#include "platform/clock.h"
#include "platform/folders.h"
#include "platform/process.h"
#include "text/textconversion.h"
#include "tools/addin.h"
#include "tools/inputfile.h"
#include "tools/system/commandline.h"
#include "tools/system/dynamiclibrary.h"
#include "tools/system/librarywatch.h"

namespace tools {

namespace {

constexpr const char* kLibraryName = "DlpAddIn.dll";
constexpr const char* kConfigName = "Logger.cfg";

const void* g_entry = nullptr;  // DllGetClassObject

std::string TemporaryFolder() {
  std::array<char, platform::kMaxPath> folder{};
  platform::folders.GetTempPathA(static_cast<std::uint32_t>(folder.size()), folder.data());
  return folder.data();
}

// A folder with a Logger.cfg that has the user's lines, and one that brings the log here.
class LoggerFolder {
 public:
  LoggerFolder()
      : m_folder(TemporaryFolder() + "quorvex-logger-" +
                 std::to_string(platform::process.GetCurrentProcessId())) {
    std::filesystem::create_directories(Native(m_folder));
    std::ofstream own(Native(m_folder) / kConfigName, std::ios::binary);
    std::array<char, platform::kMaxPath> system{};
    platform::folders.GetSystemDirectoryA(system.data(), static_cast<std::uint32_t>(system.size()));
    std::ifstream users(Native(system.data()) / kConfigName, std::ios::binary);
    for (std::string line; std::getline(users, line);) {
      const logging::ConfigFields fields = logging::ScanConfigLine(line);
      const bool isDebugger = logging::EqualsIgnoringCase(fields.module, kLogModule) &&
                              logging::EqualsIgnoringCase(fields.type, "Dbg");
      if (!isDebugger) own << line << "\n";
    }
    own << kLogModule << " 15 Dbg\n";
  }
  ~LoggerFolder() {
    std::error_code error;
    std::filesystem::remove_all(Native(m_folder), error);
  }
  LoggerFolder(const LoggerFolder&) = delete;
  LoggerFolder& operator=(const LoggerFolder&) = delete;

  const std::string& Path() const { return m_folder; }

 private:
  static std::filesystem::path Native(const std::string& ansi) { return PathOf(AnsiToUtf8(ansi)); }

  std::string m_folder;  // in the ANSI code page
};

}  // namespace

bool AddIn::UsesOurPlatform() {
  return false;
}

AddIn::GetClassObjectFunction AddIn::Load() {
  const std::string path = [] {
    const std::u8string library =
        PathOf(tools::system::OwnProgramPath()).replace_filename(kLibraryName).u8string();
    return std::string(library.begin(), library.end());
  }();
  std::string error;
  void* const entry = tools::system::LoadedFunction(path, "DllGetClassObject", &error);
  if (entry == nullptr) throw std::runtime_error(error);
  g_entry = entry;
  return reinterpret_cast<GetClassObjectFunction>(entry);
}

void AddIn::Watch(ExchangeLog* log, const std::string& ring) {
  const auto folder = std::make_shared<LoggerFolder>();
  m_watcher = folder;
  tools::system::WatchLibrary(
      g_entry,
      {.renamed =
           [ring](const std::string& name) { return name == channel::kRingName ? ring : name; },
       .opened = [log](const std::string& name, void* mapping) { log->Opened(name, mapping); },
       .mapped = [log](void* mapping, const void* view,
                       std::uint32_t size) { log->Mapped(mapping, view, size); },
       .unmapping = [log](const void* view) { log->Unmapping(view); },
       .debugText = [log](std::string text) { log->Logged(std::move(text)); },
       .sleep = [](std::uint32_t milliseconds) { platform::clock.Sleep(milliseconds); },
       .tickCount = [] { return platform::clock.GetTickCount(); },
       .systemDirectory = folder->Path(),
       .temporaryFolder = TemporaryFolder()});
}

// The Logger.cfg that OnConnection has read sends the log here.
void AddIn::StartLog() {}

void AddIn::CloseListings() {}

}  // namespace tools
