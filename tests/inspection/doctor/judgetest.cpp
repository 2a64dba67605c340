#include "inspection/doctor/judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/inspection/doctor/brokenmachines.h"
#include "tests/inspection/doctor/healthymachine.h"

namespace {

using inspection::doctor::Finding;
using inspection::doctor::Judge;
using inspection::doctor::Machine;
using inspection::doctor::OddWriters;
using inspection::doctor::Severity;
using inspection::doctor::Verdict;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> DoctorIds(const std::vector<Finding>& findings) {
  std::vector<std::string> ids;
  for (const Finding& finding : findings) ids.push_back(finding.id);
  return ids;
}

TEST(Judge, FindsNothingOnAHealthyMachine) {
  EXPECT_THAT(DoctorIds(Judge(tests::HealthyMachine())), IsEmpty());
  EXPECT_EQ(Verdict({}), "working");
}

TEST(Judge, FindsExactlyWhatIsBroken) {
  std::size_t problems = 0;
  for (const tests::BrokenMachine& broken : tests::kBrokenMachines) {
    SCOPED_TRACE(broken.what);
    Machine machine = tests::HealthyMachine();
    broken.breakIt(machine);
    const std::vector<Finding> findings = Judge(machine);
    EXPECT_THAT(DoctorIds(findings), ElementsAre(broken.finding));
    if (findings.size() != 1) continue;
    EXPECT_EQ(NameOf(findings[0].severity), broken.severity);
    EXPECT_FALSE(findings[0].what.empty());
    EXPECT_EQ(findings[0].remedy.empty(), findings[0].severity == Severity::kNote);
    if (findings[0].severity == Severity::kProblem) ++problems;
  }
  EXPECT_GE(std::size(tests::kBrokenMachines), 60u);
  EXPECT_GE(problems, 30u);
}

TEST(Judge, EachFindingHasARowOfItsOwn) {
  std::set<std::string> ids;
  for (const tests::BrokenMachine& broken : tests::kBrokenMachines) ids.insert(broken.finding);
  EXPECT_GE(ids.size(), 55u);
}

TEST(Judge, AnEmptyDescriptionHasFindingsOnly) {
  EXPECT_THAT(DoctorIds(Judge(Machine())), ElementsAre("no-outlook", "no-agent", "temp-missing"));
}

TEST(Judge, PutsProblemsFirst) {
  Machine machine = tests::HealthyMachine();
  machine.policies.managed.reset();
  machine.temporary.leftovers = 2;
  machine.notLooked = {"the event log: access is denied"};
  machine.agent.isThere = false;
  const std::vector<Finding> findings = Judge(machine);
  EXPECT_THAT(DoctorIds(findings),
              ElementsAre("no-agent", "temp-leftovers", "not-checked", "not-managed"));
  EXPECT_EQ(Verdict(findings), "not working");
  EXPECT_EQ(Verdict({findings.begin() + 1, findings.end()}), "impaired");
  EXPECT_EQ(Verdict({findings.begin() + 2, findings.end()}), "unknown");
  EXPECT_EQ(Verdict({findings.begin() + 3, findings.end()}), "working");
}

TEST(Judge, UsesTheSettingsOfOutlooksBitness) {
  Machine machine = tests::HealthyMachine();
  machine.outlooks[0].bits = 32;
  machine.registrations[0].view = 32;
  machine.libraries[0].bits = 32;
  machine.loadKeys[0].view = 32;
  EXPECT_THAT(DoctorIds(Judge(machine)),
              ElementsAre("settings-in-other-folder", "logger-in-other-folder"));
  std::swap(machine.settings[0].isThere, machine.settings[1].isThere);
  std::swap(machine.loggers[0].isThere, machine.loggers[1].isThere);
  EXPECT_THAT(DoctorIds(Judge(machine)), IsEmpty());
}

TEST(Judge, TheUsersLoadBehaviorWins) {
  Machine machine = tests::HealthyMachine();
  machine.loadKeys = {{"HKLM", 64, 2}, {"HKCU", 0, 3}};
  EXPECT_THAT(DoctorIds(Judge(machine)), ElementsAre("loaded-for-this-user-only"));
  machine.loadKeys = {{"HKLM", 64, 3}, {"HKCU", 0, 2}};
  const std::vector<Finding> findings = Judge(machine);
  ASSERT_THAT(DoctorIds(findings), ElementsAre("load-behavior-off"));
  EXPECT_EQ(findings[0].evidence, "HKCU\\...\\Outlook\\Addins\\Quorvex.Connect: LoadBehavior = 2");
  machine.loadKeys = {{"HKLM", 64, 3}, {"HKCU", 0, std::nullopt}};
  EXPECT_THAT(DoctorIds(Judge(machine)), IsEmpty());
}

TEST(Judge, ClickToRunsOwnRegistryCountsForItsOutlookOnly) {
  Machine machine = tests::HealthyMachine();
  machine.loadKeys = {{"Click-to-Run", 64, 3}};
  EXPECT_THAT(DoctorIds(Judge(machine)), IsEmpty());
  machine.outlooks[0].kind = "msi";
  EXPECT_THAT(DoctorIds(Judge(machine)), ElementsAre("load-key-for-other-bitness"));
}

TEST(JudgedOutlook, IsTheOneWhoseProgramExists) {
  Machine machine;
  EXPECT_EQ(JudgedOutlook(machine), nullptr);
  machine.outlooks = {{"msi", 14, 32, "a", true}, {"click-to-run", 16, 64, "b", false}};
  EXPECT_EQ(JudgedOutlook(machine)->path, "a");
  machine.outlooks[1].isFileThere = true;
  EXPECT_EQ(JudgedOutlook(machine)->path, "b");
  machine.outlooks[1].kind = "msi";
  EXPECT_EQ(JudgedOutlook(machine)->path, "b");
}

TEST(OddWriters, ReadsAccessLists) {
  bool lacksUsers = false;
  EXPECT_THAT(OddWriters("D:P(A;;0x6;;;IU)(A;;0x6;;;SY)(A;;0x6;;;BA)", &lacksUsers), IsEmpty());
  EXPECT_FALSE(lacksUsers);
  EXPECT_THAT(OddWriters("O:SYG:SYD:(A;;GA;;;SY)(A;;GR;;;IU)(A;;0xf0005;;;WD)", &lacksUsers),
              IsEmpty());
  EXPECT_TRUE(lacksUsers);
  EXPECT_THAT(OddWriters("D:(A;;GA;;;WD)(A;;CCDC;;;AN)", &lacksUsers),
              ElementsAre("Everyone", "Anonymous"));
  EXPECT_FALSE(lacksUsers);
  EXPECT_THAT(OddWriters("D:NO_ACCESS_CONTROL", &lacksUsers), ElementsAre("anyone"));
  EXPECT_THAT(OddWriters("O:SY", &lacksUsers), ElementsAre("anyone"));
  EXPECT_THAT(OddWriters("D:(", &lacksUsers), IsEmpty());
  EXPECT_THAT(OddWriters("D:(D;;GA;;;WD)(A;;GA;;;IU", &lacksUsers), IsEmpty());
}

}  // namespace
