// Describing a PC from a crafted registry and crafted files.
#include "tools/machinegathering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "tests/inspection/doctor/craftedlibrary.h"
#include "tests/tools/craftedpc.h"

namespace tools {
namespace {

using inspection::doctor::Machine;
using system::Hive;
using system::RegistryKeyContent;
using tests::CraftedPc;

TEST(MachineGathering, DescribesAHealthyPc) {
  CraftedPc pc;
  EXPECT_EQ(pc.Ids(), "");
  const Machine machine = pc.Describe();
  EXPECT_EQ(machine.computer, "PC17");
  ASSERT_EQ(machine.outlooks.size(), 1u);
  EXPECT_EQ(machine.outlooks[0].kind, "click-to-run");
  EXPECT_EQ(machine.outlooks[0].bits, 64);
  EXPECT_TRUE(machine.outlooks[0].isFileThere);
  ASSERT_EQ(machine.libraries.size(), 1u);
  EXPECT_EQ(machine.libraries[0].version, "1.2.3.4");
  EXPECT_EQ(machine.libraries[0].publisher, "Example Ltd");
  ASSERT_EQ(machine.logFolders.size(), 1u);
  EXPECT_EQ(machine.logFolders[0].path, pc.Entry("log"));
  EXPECT_TRUE(machine.logFolders[0].freeBytes);
  EXPECT_TRUE(machine.temporary.freeBytes);
  EXPECT_FALSE(machine.agent.faults.empty());  // there is no such ring
}

TEST(MachineGathering, FindsWhatTheFilesLack) {
  const std::map<std::string, std::function<void(CraftedPc&)>> kCases = {
      {"outlook-file-missing ", [](CraftedPc& pc) { pc.Remove("office/root"); }},
      {"library-missing ", [](CraftedPc& pc) { pc.Remove("addin"); }},
      {"library-damaged ", [](CraftedPc& pc) { pc.Write("addin/DlpAddIn.dll", ""); }},
      {"library-wrong-bitness ",
       [](CraftedPc& pc) { pc.Write("addin/DlpAddIn.dll", tests::CraftedLibrary(32, "")); }},
      {"dependency-missing ", [](CraftedPc& pc) { pc.Remove("system64/KERNEL32.dll"); }},
      {"settings-missing ", [](CraftedPc& pc) { pc.Remove("system64/zbagent/vrk.pro"); }},
      {"settings-wrong ", [](CraftedPc& pc) { pc.Write("system64/zbagent/vrk.pro", "x_nme=1"); }},
      {"settings-in-other-folder ",
       [](CraftedPc& pc) {
         pc.Remove("system64/zbagent");
         std::filesystem::create_directories(pc.Entry("system32/zbagent"));
         pc.Write("system32/zbagent/vrk.pro", "");
       }},
      {"logger-missing ", [](CraftedPc& pc) { pc.Remove("system64/Logger.cfg"); }},
      {"logger-wrong ", [](CraftedPc& pc) { pc.Write("system64/Logger.cfg", "Outlook 15 Fil x"); }},
      {"log-folder-missing ", [](CraftedPc& pc) { pc.Remove("log"); }}};
  for (const auto& [ids, change] : kCases) {
    CraftedPc pc;
    change(pc);
    EXPECT_EQ(pc.Ids(), ids);
  }
}

TEST(MachineGathering, FindsWhatTheRegistrySays) {
  for (const auto& [ids, change] : tests::RegistryCases()) {
    tests::CraftedPc pc;
    change(pc);
    EXPECT_EQ(pc.Ids(), ids);
  }
}

// Only a registry that denies access can't be crafted on Windows.
TEST(MachineGathering, TellsWhatItMayNotRead) {
  tests::CraftedPc pc;
  pc.Key(Hive::kUser, 64, tests::CraftedPc::Server()).look = RegistryKeyContent::Look::kDenied;
  EXPECT_EQ(pc.Ids(), "not-checked ");
}

TEST(MachineGathering, FindsWindowsInstallerOutlooks) {
  CraftedPc pc;
  pc.Key(Hive::kMachine, 64, "Software\\Microsoft\\Office\\ClickToRun\\Configuration")
      .values.clear();
  const std::string key = "Software\\Microsoft\\Office\\";
  pc.Set(Hive::kMachine, 64, key + "14.0\\Outlook\\InstallRoot", "Path", "C:\\Office14\\");
  pc.Set(Hive::kMachine, 64, key + "14.0\\Outlook", "Bitness", "x64");
  pc.Set(Hive::kMachine, 32, key + "12.0\\Outlook\\InstallRoot", "Path", "C:\\Office12");
  const Machine machine = pc.Describe();
  ASSERT_EQ(machine.outlooks.size(), 2u);
  EXPECT_EQ(machine.outlooks[0].version, 14);
  EXPECT_EQ(machine.outlooks[0].bits, 64);
  EXPECT_EQ(machine.outlooks[0].path, "C:\\Office14\\OUTLOOK.EXE");
  EXPECT_EQ(machine.outlooks[1].version, 12);
  EXPECT_EQ(machine.outlooks[1].bits, 32);
  EXPECT_EQ(machine.outlooks[1].path, "C:\\Office12\\OUTLOOK.EXE");
}

TEST(MachineGathering, FindsRunningOutlooksAndEvents) {
  CraftedPc pc;
  pc.programs = {{17, "", {"C:\\x\\other.dll", pc.Entry("addin") + "\\dlpaddin.DLL"}},
                 {18, "access is denied", {}}};
  pc.events = {
      {45, "2026-11-21 08:01:12", "ProgID: Quorvex.Connect\nBoot Time (Milliseconds): 47\n"},
      {45, "2026-11-20 08:00:00", "ProgID: Other\n"}};
  const Machine machine = pc.Describe();
  ASSERT_EQ(machine.running.size(), 2u);
  EXPECT_EQ(machine.running[0].loadedLibrary, pc.Entry("addin") + "\\dlpaddin.DLL");
  EXPECT_EQ(machine.running[1].problem, "access is denied");
  ASSERT_EQ(machine.connects.size(), 1u);
  EXPECT_EQ(machine.connects[0].milliseconds, 47u);
}

TEST(MachineGathering, CountsOldCopiesOfMails) {
  // In the system's own temporary folder, so next to whatever else is there.
  CraftedPc pc;
  const std::uint32_t before = pc.Describe().temporary.leftovers;
  const std::filesystem::path folder(pc.Describe().temporary.path);
  const auto yesterday = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24);
  const std::filesystem::path copy = folder / "OutlookAttachment.987654321";
  std::ofstream(copy) << "x";
  EXPECT_EQ(pc.Describe().temporary.leftovers, before);  // a check may be running
  std::filesystem::last_write_time(copy, yesterday);
  EXPECT_EQ(pc.Describe().temporary.leftovers, before + 1);
  std::filesystem::remove(copy);
}

}  // namespace
}  // namespace tools
