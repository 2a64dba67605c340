#include <gtest/gtest.h>

#include "tests/inspection/doctor/brokenmachines.h"
#include "tests/inspection/doctor/healthymachine.h"

namespace {

using inspection::doctor::Machine;
using inspection::doctor::MachineJson;
using inspection::doctor::ReadMachine;

TEST(MachineJson, KeepsEveryField) {
  std::vector<Machine> machines = {tests::HealthyMachine()};
  for (const tests::BrokenMachine& broken : tests::kBrokenMachines) {
    broken.breakIt(machines.emplace_back(tests::HealthyMachine()));
  }
  const std::string healthy = MachineJson(machines[0]);
  for (std::size_t i = 0; i < machines.size(); ++i) {
    const std::string json = MachineJson(machines[i]);
    EXPECT_EQ(json == healthy, i == 0) << i;
    Machine read;
    std::string error;
    ASSERT_TRUE(ReadMachine(json, &read, &error)) << error;
    EXPECT_EQ(MachineJson(read), json);
  }
}

TEST(MachineJson, NamesItsFields) {
  Machine machine;
  machine.loadKeys = {{"HKCU", 0, std::nullopt}};
  const std::string json = MachineJson(machine);
  EXPECT_NE(json.find("\"load_keys\": [\n  {\n   \"hive\": \"HKCU\",\n   \"view\": 0,\n   "
                      "\"load_behavior\": null\n  }\n ]"),
            std::string::npos)
      << json;
}

TEST(ReadMachine, RefusesWhatIsNoDescription) {
  Machine machine;
  std::string error;
  for (const char* text :
       {"", "{", "[]", "7", "{}", "{\"system_bits\": \"x\"}",
        "{\"system_bits\": 64, \"agent\": []}", "{\"system_bits\": 64, \"outlooks\": [7]}"}) {
    error.clear();
    EXPECT_FALSE(ReadMachine(text, &machine, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
  EXPECT_TRUE(ReadMachine("{\"system_bits\": 32, \"newer\": 1}", &machine, &error));
  EXPECT_EQ(machine.systemBits, 32);
}

}  // namespace
