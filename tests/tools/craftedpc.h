// A PC whose registry and files are made for a test.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "inspection/doctor/judge.h"
#include "inspection/doctor/traces.h"
#include "tests/inspection/doctor/craftedlibrary.h"
#include "tests/support/temporaryfolder.h"
#include "tools/machinegathering.h"

namespace tests {

namespace system = tools::system;
using inspection::doctor::kAddInClass;
using inspection::doctor::Machine;
using system::Hive;
using system::RegistryKeyContent;
using system::RegistryValue;
using tools::DescribeMachine;
using tools::MachineSources;

inline std::string GatheredIds(const Machine& machine) {
  std::string ids;
  for (const auto& finding : Judge(machine)) ids += finding.id + " ";
  return ids;
}

// A PC with 64-bit Click-to-Run Outlook and everything that it needs.
class CraftedPc {
 public:
  CraftedPc() {
    for (const char* const folder :
         {"office/root/Office16", "addin", "system64/zbagent", "system32", "log"}) {
      std::filesystem::create_directories(m_folder.Path() / folder);
    }
    Write("office/root/Office16/OUTLOOK.EXE", "MZ");
    Write("addin/DlpAddIn.dll", CraftedLibrary(64, "KERNEL32.dll", true));
    Write("system64/KERNEL32.dll", "");
    Write("system64/zbagent/vrk.pro", "use_challenge_response = true\n");
    Write("system64/Logger.cfg", "Outlook 15 File " + m_folder.Entry("log") + "/mail\n");
    const std::string office = "Software\\Microsoft\\Office\\";
    Set(Hive::kMachine, 64, office + "ClickToRun\\Configuration", "InstallationPath",
        m_folder.Entry("office"));
    Set(Hive::kMachine, 64, office + "ClickToRun\\Configuration", "Platform", "x64");
    Set(Hive::kMachine, 64, office + "Outlook\\Addins\\Quorvex.Connect", "LoadBehavior", 3);
    Set(Hive::kMachine, 64, "Software\\Classes\\Quorvex.Connect\\CLSID", "", kAddInClass);
    Set(Hive::kMachine, 64, Server(), "", m_folder.Entry("addin/DlpAddIn.dll"));
    Set(Hive::kMachine, 64, Server(), "ThreadingModel", "Apartment");
    Set(Hive::kUser, 64,
        "Software\\Policies\\Microsoft\\Office\\16.0\\Outlook\\Resiliency\\AddinList",
        "Quorvex.Connect", "1");
  }

  static std::string Server() {
    return std::string("Software\\Classes\\CLSID\\") + kAddInClass + "\\InprocServer32";
  }

  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(m_folder.Path() / name, std::ios::binary) << bytes;
  }
  void Remove(const std::string& name) { std::filesystem::remove_all(m_folder.Path() / name); }

  RegistryKeyContent& Key(Hive hive, int view, const std::string& path) {
    RegistryKeyContent& key = m_registry[{hive, view, path}];
    key.look = RegistryKeyContent::Look::kFound;
    return key;
  }
  void Set(Hive hive, int view, const std::string& path, const std::string& name,
           const std::string& text) {
    RegistryValue value;
    value.name = name;
    value.kind = RegistryValue::Kind::kText;
    value.text = text;
    Key(hive, view, path).values.push_back(value);
  }
  void Set(Hive hive, int view, const std::string& path, const std::string& name,
           std::uint32_t number) {
    RegistryValue value;
    value.name = name;
    value.kind = RegistryValue::Kind::kNumber;
    value.number = number;
    Key(hive, view, path).values.push_back(value);
  }

  MachineSources Sources() {
    MachineSources sources;
    sources.registry = [this](Hive hive, int view, const std::string& path) {
      const auto found = m_registry.find({hive, view, path});
      return found == m_registry.end() ? RegistryKeyContent() : found->second;
    };
    sources.facts = [this] {
      system::SystemFacts facts;
      facts.isWindows = true;
      facts.name = "Windows 10.0.19045, 64-bit";
      facts.computer = "PC17";
      facts.bits = 64;
      facts.folder64 = m_folder.Entry("system64");
      facts.folder32 = m_folder.Entry("system32");
      return facts;
    };
    sources.programs = [this](const std::string&) { return programs; };
    sources.events = [this](const std::string&, std::size_t, std::string*) { return events; };
    sources.mapping = [](const std::string&) {
      return system::MappingAccess{true, "", "D:P(A;;0x6;;;IU)"};
    };
    sources.signature = [](const std::string&) {
      return system::FileSignature{"valid", "Example Ltd", true};
    };
    sources.ring = "Global\\QuorvexDoctorTest";
    sources.asksTheAgent = false;
    return sources;
  }

  Machine Describe() { return DescribeMachine(Sources()); }

  std::string Ids() { return Ids(Sources()); }
  static std::string Ids(const MachineSources& sources) {
    Machine machine = DescribeMachine(sources);
    // These depend on the machine that runs the test.
    machine.temporary = {"T", true, true, 0, 1 << 30};
    for (inspection::doctor::LogFolder& folder : machine.logFolders) folder.freeBytes = 1 << 30;
    machine.signatures.problem.clear();
    machine.agent.faults.clear();
    machine.agent.request = "answered";
    machine.agent.answer = 4;
    return GatheredIds(machine);
  }

  std::string Entry(const std::string& name) const { return m_folder.Entry(name); }

  using Registry = std::map<std::tuple<Hive, int, std::string>, RegistryKeyContent>;
  const Registry& AllKeys() const { return m_registry; }

  std::vector<system::RunningProgram> programs;
  std::vector<system::LoggedEvent> events;

 private:
  TemporaryFolder m_folder;
  Registry m_registry;
};

// What the registry may say, and the findings that it leads to.
using CraftedCases = std::map<std::string, std::function<void(CraftedPc& pc)>>;
inline CraftedCases RegistryCases() {
  const std::string office = "Software\\Microsoft\\Office\\";
  const std::string policies = "Software\\Policies\\Microsoft\\Office\\16.0\\Outlook\\";
  return {
      {"not-registered ",
       [](CraftedPc& pc) {
         pc.Key(Hive::kMachine, 64, CraftedPc::Server()).look = RegistryKeyContent::Look::kMissing;
       }},
      {"load-behavior-off ",
       [=](CraftedPc& pc) {
         pc.Set(Hive::kUser, 64, office + "Outlook\\Addins\\Quorvex.Connect", "LoadBehavior", 2);
       }},
      {"load-key-missing ",
       [=](CraftedPc& pc) {
         pc.Key(Hive::kMachine, 64, office + "Outlook\\Addins\\Quorvex.Connect").look =
             RegistryKeyContent::Look::kMissing;
       }},
      {"disabled-by-outlook ",
       [=](CraftedPc& pc) {
         pc.Set(Hive::kUser, 64, office + "16.0\\Outlook\\Resiliency\\DisabledItems", "A1",
                "c:\\addin\\dlpaddin.dll");
       }},
      {"blamed-as-slow ",
       [=](CraftedPc& pc) {
         pc.Set(Hive::kUser, 64,
                office + "16.0\\Outlook\\Resiliency\\NotificationReminderAddinData",
                "Quorvex.Connect", 1);
       }},
      {"not-in-list ",
       [=](CraftedPc& pc) {
         pc.Key(Hive::kUser, 64, policies + "Resiliency\\AddinList").values.clear();
         pc.Set(Hive::kUser, 64, policies + "Resiliency", "RestrictToList", 1);
       }},
      {"policy-odd ",
       [=](CraftedPc& pc) {
         pc.Key(Hive::kUser, 64, policies + "Resiliency\\AddinList").values.clear();
         pc.Set(Hive::kUser, 64, policies + "Resiliency\\AddinList", "Quorvex.Connect", 1);
       }},
      {"all-add-ins-disabled ",
       [=](CraftedPc& pc) {
         pc.Set(Hive::kUser, 64, policies + "Security", "DisableAllAddins", 1);
       }},
      {"name-missing ", [](CraftedPc& pc) {
         pc.Key(Hive::kMachine, 64, "Software\\Classes\\Quorvex.Connect\\CLSID").look =
             RegistryKeyContent::Look::kMissing;
         pc.Key(Hive::kMachine, 64, "Software\\Classes\\Quorvex.Connect\\CLSID").values.clear();
       }}};
}

}  // namespace tests
