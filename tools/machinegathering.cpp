#include "tools/machinegathering.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "inspection/doctor/traces.h"
#include "platform/clock.h"
#include "platform/folders.h"
#include "text/textconversion.h"
#include "tools/agentlook.h"
#include "tools/filelook.h"

namespace tools {

namespace {

using inspection::doctor::kAddInClass;
using inspection::doctor::kAddInFile;
using inspection::doctor::kAddInName;
using inspection::doctor::Machine;
using inspection::doctor::Outlook;
using system::Hive;
using system::RegistryKeyContent;
using system::RegistryValue;

constexpr const char* kOffice = "Software\\Microsoft\\Office\\";
constexpr const char* kPolicies = "Software\\Policies\\Microsoft\\Office\\";
constexpr const char* kAddInKey = "Microsoft\\Office\\Outlook\\Addins\\Quorvex.Connect";
constexpr int kOldestOutlook = 12;
constexpr int kNewestOutlook = 16;
constexpr std::size_t kMostEvents = 50;
constexpr std::size_t kMostConnects = 5;

bool EndsWithFile(std::string_view path, std::string_view file) {
  if (path.size() < file.size()) return false;
  path.remove_prefix(path.size() - file.size());
  return std::equal(path.begin(), path.end(), file.begin(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  });
}

std::int32_t BitsOfPlatform(const std::string& platform) {
  if (platform == "x64") return 64;
  return platform == "x86" ? 32 : 0;
}

std::string WithFile(std::string folder, const char* file) {
  if (!folder.empty() && folder.back() != '\\' && folder.back() != '/') folder += '\\';
  return folder + file;
}

class Gathering {
 public:
  explicit Gathering(const MachineSources& sources)
      : m_sources(sources), m_system(sources.facts()) {}

  Machine Describe() {
    platform::LocalTime now{};
    platform::clock.GetLocalTime(&now);
    m_machine.time = fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", now.year, now.month,
                                 now.day, now.hour, now.minute, now.second);
    m_machine.computer = m_system.computer;
    m_machine.system = m_system.name;
    m_machine.tool = fmt::format("quorvex {}, {}-bit", QUORVEX_VERSION, 8 * sizeof(void*));
    m_machine.systemBits = m_system.bits;
    FindOutlooks();
    FindRegistrations();
    FindLoadKeys();
    if (const Outlook* const outlook = JudgedOutlook(m_machine)) {
      FindResiliency(outlook->version);
      FindPolicies(outlook->version);
    }
    FindRunning();
    FindConnects();
    FindLibraries();
    FindSettings();
    LookAtFolders(&m_machine);
    m_machine.agent = LookAtAgent(m_sources);
    return std::move(m_machine);
  }

 private:
  std::vector<int> Views() const {
    return m_system.bits == 64 ? std::vector<int>{64, 32} : std::vector<int>{32};
  }

  RegistryKeyContent Read(Hive hive, int view, const std::string& path) {
    RegistryKeyContent content = m_sources.registry(hive, view, path);
    if (content.look == RegistryKeyContent::Look::kDenied) {
      m_machine.notLooked.push_back(
          fmt::format("the registry key {}\\{} ({}-bit view): access is denied",
                      hive == Hive::kMachine ? "HKLM" : "HKCU", path, view));
    }
    return content;
  }

  static std::string Text(const RegistryKeyContent& key, const std::string& name) {
    const RegistryValue* const value = key.Find(name);
    return value == nullptr ? std::string() : value->text;
  }

  static std::optional<std::uint32_t> Number(const RegistryKeyContent& key,
                                             const std::string& name) {
    const RegistryValue* const value = key.Find(name);
    if (value == nullptr || value->kind != RegistryValue::Kind::kNumber) return std::nullopt;
    return value->number;
  }

  void AddOutlook(Outlook outlook) {
    outlook.isFileThere = IsFile(outlook.path);
    const bool isKnown =
        std::any_of(m_machine.outlooks.begin(), m_machine.outlooks.end(),
                    [&](const Outlook& known) { return known.path == outlook.path; });
    if (!isKnown) m_machine.outlooks.push_back(std::move(outlook));
  }

  void FindClickToRun(int version, const std::string& key) {
    const RegistryKeyContent configuration = Read(Hive::kMachine, m_system.bits, key);
    const std::string folder = Text(configuration, "InstallationPath");
    if (folder.empty()) return;
    AddOutlook({"click-to-run", version, BitsOfPlatform(Text(configuration, "Platform")),
                WithFile(folder, fmt::format("root\\Office{}\\OUTLOOK.EXE", version).c_str()),
                false});
  }

  void FindOutlooks() {
    FindClickToRun(16, fmt::format("{}ClickToRun\\Configuration", kOffice));
    FindClickToRun(15, fmt::format("{}15.0\\ClickToRun\\Configuration", kOffice));
    for (int version = kNewestOutlook; version >= kOldestOutlook; --version) {
      for (const int view : Views()) {
        const std::string key = fmt::format("{}{}.0\\Outlook", kOffice, version);
        const std::string folder = Text(Read(Hive::kMachine, view, key + "\\InstallRoot"), "Path");
        if (folder.empty()) continue;
        const std::string bitness = Text(Read(Hive::kMachine, view, key), "Bitness");
        // Versions without this value have no 64-bit Outlook.
        const std::int32_t bits =
            bitness.empty() ? (version < 14 ? 32 : view) : BitsOfPlatform(bitness);
        AddOutlook({"msi", version, bits, WithFile(folder, "OUTLOOK.EXE"), false});
      }
    }
  }

  bool IsNamed(Hive hive, int view) {
    return EndsWithFile(Text(Read(hive, view, "Software\\Classes\\Quorvex.Connect\\CLSID"), ""),
                        kAddInClass);
  }

  void FindRegistrations() {
    for (const Hive hive : {Hive::kMachine, Hive::kUser}) {
      for (const int view : Views()) {
        const RegistryKeyContent server = Read(
            hive, view, fmt::format("Software\\Classes\\CLSID\\{}\\InprocServer32", kAddInClass));
        if (server.look != RegistryKeyContent::Look::kFound) continue;
        m_machine.registrations.push_back(
            {hive == Hive::kMachine ? "HKLM" : "HKCU", view, Text(server, ""),
             Text(server, "ThreadingModel"),
             IsNamed(Hive::kMachine, view) || IsNamed(Hive::kUser, view)});
      }
    }
  }

  void AddLoadKey(const char* name, Hive hive, int readView, int view, const std::string& path) {
    const RegistryKeyContent key = Read(hive, readView, path);
    if (key.look != RegistryKeyContent::Look::kFound) return;
    m_machine.loadKeys.push_back({name, view, Number(key, "LoadBehavior")});
  }

  void FindLoadKeys() {
    const std::string key = fmt::format("Software\\{}", kAddInKey);
    AddLoadKey("HKCU", Hive::kUser, m_system.bits, 0, key);  // both views share it
    for (const int view : Views()) AddLoadKey("HKLM", Hive::kMachine, view, view, key);
    const std::string copy = fmt::format("{}ClickToRun\\REGISTRY\\MACHINE\\Software\\", kOffice);
    AddLoadKey("Click-to-Run", Hive::kMachine, m_system.bits, m_system.bits, copy + kAddInKey);
    if (m_system.bits == 64) {
      AddLoadKey("Click-to-Run", Hive::kMachine, 64, 32, copy + "Wow6432Node\\" + kAddInKey);
    }
  }

  void FindResiliency(int version) {
    constexpr const char* kLists[][2] = {{"disabled", "DisabledItems"},
                                         {"crashing", "CrashingAddinList"},
                                         {"slow", "NotificationReminderAddinData"}};
    for (const auto& [list, name] : kLists) {
      const std::string path =
          fmt::format("{}{}.0\\Outlook\\Resiliency\\{}", kOffice, version, name);
      const RegistryKeyContent key = Read(Hive::kUser, m_system.bits, path);
      const bool isNamed =
          std::any_of(key.values.begin(), key.values.end(), [](const RegistryValue& value) {
            return inspection::doctor::NamesAddIn(value.name, value.text + value.bytes);
          });
      if (isNamed) m_machine.resiliency.push_back({list, "HKCU\\" + path});
    }
  }

  // A policy counts before what the user has set.
  std::optional<std::uint32_t> Setting(int version, const char* key, const char* name) {
    for (const char* const root : {kPolicies, kOffice}) {
      const auto number = Number(
          Read(Hive::kUser, m_system.bits, fmt::format("{}{}.0\\{}", root, version, key)), name);
      if (number) return number;
    }
    return std::nullopt;
  }

  void FindPolicies(int version) {
    inspection::doctor::Policies& policies = m_machine.policies;
    const std::string resiliency = fmt::format("{}{}.0\\Outlook\\Resiliency", kPolicies, version);
    const RegistryKeyContent list = Read(Hive::kUser, m_system.bits, resiliency + "\\AddinList");
    if (const RegistryValue* const value = list.Find(kAddInName)) {
      // Outlook reads text only.
      policies.managed = value->kind == RegistryValue::Kind::kText
                             ? value->text
                             : fmt::format("DWORD {}", value->number);
    }
    policies.listOnly = Number(Read(Hive::kUser, m_system.bits, resiliency), "RestrictToList");
    policies.requireSigned = Setting(version, "Outlook\\Security", "RequireAddinSig");
    policies.disableAll = Setting(version, "Outlook\\Security", "DisableAllAddins");
  }

  void FindRunning() {
    for (const system::RunningProgram& program : m_sources.programs("OUTLOOK.EXE")) {
      inspection::doctor::RunningOutlook& running = m_machine.running.emplace_back();
      running.processId = program.processId;
      running.problem = program.problem;
      for (const std::string& library : program.libraries) {
        if (EndsWithFile(library, kAddInFile)) running.loadedLibrary = library;
      }
    }
  }

  void FindConnects() {
    std::string problem;
    for (const system::LoggedEvent& event : m_sources.events("Outlook", kMostEvents, &problem)) {
      const auto connect = inspection::doctor::ConnectOf(event.id, event.time, event.text);
      if (connect && m_machine.connects.size() < kMostConnects) {
        m_machine.connects.push_back(*connect);
      }
    }
    if (!problem.empty()) m_machine.notLooked.push_back("the event log: " + problem);
  }

  void FindLibraries() {
    std::set<std::string> paths;
    for (const auto& registration : m_machine.registrations) {
      if (!registration.library.empty()) paths.insert(registration.library);
    }
    for (const std::string& path : paths) {
      m_machine.libraries.push_back(LookAtLibrary(path, m_system, m_sources.signature));
    }
  }

  void FindSettings() {
    for (const int bits : Views()) {
      LookAtSettings(bits, bits == 64 ? m_system.folder64 : m_system.folder32, &m_machine);
    }
  }

  const MachineSources& m_sources;
  system::SystemFacts m_system;
  Machine m_machine;
};

}  // namespace

Machine DescribeMachine(const MachineSources& sources) {
  return Gathering(sources).Describe();
}

}  // namespace tools
