// How the help of the command line is laid out.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tools {

// The library's layout, with descriptions that continue in their column on the next line instead
// of running out of a terminal of 80 columns. Given to the program's CLI::App, whose subcommands
// inherit it if they are added afterwards.
class HelpText : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool isPositional) const override;
  std::string make_subcommand(const CLI::App* command) const override;

 private:
  std::string Entry(const std::string& name, const std::string& description) const;
};

}  // namespace tools
