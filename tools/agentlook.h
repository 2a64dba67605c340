// Looking at the agent from the add-in's side: its ring, and its answer to one request.
#pragma once

#include "inspection/doctor/machine.h"
#include "tools/machinegathering.h"

namespace tools {

// Takes at most 3.5 seconds. The request is the end of a mail that has no other items.
inspection::doctor::Agent LookAtAgent(const MachineSources& sources);

}  // namespace tools
