// The subcommands of `quorvex log` that stand in files of their own.
#pragma once

#include <CLI/CLI.hpp>

namespace tools {

// Each adds itself to the command and stores the process's exit status when it has run.
void AddLogExplain(CLI::App* log, int* status);
void AddLogListen(CLI::App* log, int* status);

}  // namespace tools
