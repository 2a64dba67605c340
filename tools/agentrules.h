// The rules file of the simulated agent, for the commands that start one.
#pragma once

#include <string>

#include "simulation/agent/rules.h"

namespace tools {

// Reads the rules file; without a path every mail may go. Prints the file's mistakes on standard
// error and then ends the command with CommandError. `showsNotes` prints its notes too.
simulation::agent::RuleSet ReadRules(const std::string& path, bool showsNotes);

}  // namespace tools
