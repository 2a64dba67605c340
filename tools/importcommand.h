// `quorvex import`.
#pragma once

#include <CLI/CLI.hpp>

namespace tools {

// Adds the subcommand. When it runs it leaves the program's exit status in `*status`.
void AddImportCommand(CLI::App& app, int* status);

}  // namespace tools
