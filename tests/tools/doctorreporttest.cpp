// The exact output of `quorvex doctor`.
#include "tools/doctorreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/inspection/doctor/brokenmachines.h"
#include "tests/inspection/doctor/healthymachine.h"

namespace tools {
namespace {

TEST(DoctorReport, SaysThatItWorks) {
  const auto machine = tests::HealthyMachine();
  EXPECT_EQ(DoctorReportText(machine, Judge(machine), 80),
            "PC           PC17, Windows 10.0.19045, 64-bit, 2026-11-21 08:15:00\n"
            "Outlook      16.0, 64-bit, Click-to-Run: C:\\Office\\root\\Office16\\OUTLOOK.EXE\n"
            "library      C:\\Program Files\\Quorvex Mail Add-in\\DlpAddIn.dll: 1.0.0.0, 64-bit,\n"
            "             signature: valid\n"
            "connected    2026-11-21 08:01:12, in 47 ms\n"
            "agent        running; a request was answered after 41 ms\n"
            "\n"
            "working\n");
}

TEST(DoctorReport, ShowsEachFindingWithItsEvidenceAndRemedy) {
  auto machine = tests::HealthyMachine();
  machine.loadKeys = {{"HKLM", 64, 2}};
  machine.notLooked = {"the event log: access is denied", "x"};
  const std::string text = DoctorReportText(machine, Judge(machine), 80);
  EXPECT_EQ(text.substr(text.find("\n\n") + 2),
            "problem      Outlook doesn't load the add-in: loading failed before, or the user\n"
            "             switched it off. [load-behavior-off]\n"
            "  found      HKLM\\...\\Outlook\\Addins\\Quorvex.Connect, 64-bit view: LoadBehavior\n"
            "             = 2\n"
            "  remedy     set it to 3; remove the other findings first\n"
            "\n"
            "not checked  Something couldn't be looked at. [not-checked]\n"
            "  found      the event log: access is denied\n"
            "  remedy     run this again as an administrator\n"
            "\n"
            "not checked  Something couldn't be looked at. [not-checked]\n"
            "  found      x\n"
            "  remedy     run this again as an administrator\n"
            "\n"
            "not working: 1 problem, 2 not checked\n");
}

TEST(DoctorReport, FitsEightyColumns) {
  for (const tests::BrokenMachine& broken : tests::kBrokenMachines) {
    auto machine = tests::HealthyMachine();
    broken.breakIt(machine);
    std::istringstream lines(DoctorReportText(machine, Judge(machine), 80));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  }
}

TEST(DoctorReport, JsonNamesVerdictAndFindings) {
  auto machine = tests::HealthyMachine();
  machine.agent = {};
  const std::string json = DoctorReportJson(machine, Judge(machine));
  EXPECT_EQ(
      json,
      "{\"verdict\":\"not working\",\"computer\":\"PC17\",\"time\":\"2026-11-21 08:15:00\","
      "\"system\":\"Windows 10.0.19045, 64-bit\",\"outlook\":{\"kind\":\"click-to-run\","
      "\"version\":16,\"bits\":64,\"path\":\"C:\\\\Office\\\\root\\\\Office16\\\\OUTLOOK.EXE\"},"
      "\"libraries\":[{\"path\":\"C:\\\\Program Files\\\\Quorvex Mail Add-in\\\\DlpAddIn.dll\","
      "\"exists\":true,\"bits\":64,\"version\":\"1.0.0.0\",\"signature\":\"valid\"}],"
      "\"agent\":{\"running\":false,\"request\":\"\",\"ms\":0},\"findings\":[{\"id\":\"no-agent\","
      "\"severity\":\"problem\",\"what\":\"No agent is running: all mails are sent unchecked.\","
      "\"evidence\":\"there is no ring Global\\\\VRKEXPIPE\",\"remedy\":\"start the agent\"}]}");
}

}  // namespace
}  // namespace tools
