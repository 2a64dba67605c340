// Describing this PC, for `quorvex doctor` and `quorvex bundle`.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "inspection/doctor/machine.h"
#include "tools/system/registryview.h"
#include "tools/system/windowsfacts.h"

namespace tools {

// Where the facts come from. Tests replace single sources.
struct MachineSources {
  std::function<system::RegistryKeyContent(system::Hive hive, int view, const std::string& path)>
      registry = system::ReadRegistryKey;
  std::function<system::SystemFacts()> facts = system::ReadSystemFacts;
  std::function<std::vector<system::RunningProgram>(const std::string& name)> programs =
      system::RunningPrograms;
  std::function<std::vector<system::LoggedEvent>(const std::string& source, std::size_t most,
                                                 std::string* problem)>
      events = system::ReadEvents;
  std::function<system::MappingAccess(const std::string& name)> mapping = system::ReadMappingAccess;
  std::function<system::FileSignature(const std::string& path)> signature =
      system::ReadFileSignature;
  std::string ring;          // the ring's name
  bool asksTheAgent = true;  // sends it one request
};

// Looks at this PC. Changes nothing, except for the one request, whose entry in the ring the agent
// takes. Ends within 5 seconds: the request waits at most 3 of them, and a ring that isn't empty is
// looked at twice, half a second apart.
inspection::doctor::Machine DescribeMachine(const MachineSources& sources);

// The settings file (vrk.pro) as the check describes it; for a file that came with a bundle, too.
std::vector<std::string> SettingsRemarks(const std::string& path, bool* areValuesChecked);

}  // namespace tools
