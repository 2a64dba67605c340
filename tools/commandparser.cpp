#include "tools/commandparser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>

namespace tools {

namespace {

constexpr std::size_t kColumns = 80;

// The library's layout, except that a long description continues in its own column.
class HelpText : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    return Entry(make_option_name(option, isPositional) + make_option_opts(option),
                 make_option_desc(option));
  }

  std::string make_subcommand(const CLI::App* command) const override {
    return Entry(command->get_display_name(true), command->get_description());
  }

 private:
  std::string Entry(const std::string& name, const std::string& description) const {
    const std::size_t indent = get_column_width();
    std::string text;
    std::string line = "  " + name;
    // A name that reaches into the column of the descriptions gets a line of its own.
    if (line.size() + 1 >= indent) {
      text = line + "\n";
      line.clear();
    }
    line.resize(indent, ' ');
    std::istringstream words(description);
    for (std::string word; words >> word;) {
      if (line.size() > indent && line.size() + 1 + word.size() > kColumns) {
        text += line + "\n";
        line.assign(indent, ' ');
      }
      if (line.size() > indent) line += ' ';
      line += word;
    }
    return text + line + "\n";
  }
};

CLI::Option* AddTarget(CLI::App& app, const Option& option) {
  return std::visit(
      [&](auto* target) -> CLI::Option* {
        if constexpr (std::is_same_v<decltype(target), bool*>) {
          return app.add_flag(option.name, *target, option.help);
        } else {
          return app.add_option(option.name, *target, option.help);
        }
      },
      option.target);
}

void AddOption(CLI::App& app, const Option& option) {
  CLI::Option* const added = AddTarget(app, option);
  if (option.required) added->required();
  if (option.showsDefault) added->capture_default_str();
  if (!option.valueName.empty()) added->type_name(option.valueName);
  if (!option.oneOf.empty()) added->check(CLI::IsMember(option.oneOf, CLI::ignore_case));
  if (option.least > 0) {
    added->check([least = option.least](const std::string& value) {
      return std::atoll(value.c_str()) >= static_cast<long long>(least)
                 ? std::string()
                 : value + " is less than " + std::to_string(least);
    });
  }
  const bool isRepeated = std::holds_alternative<std::vector<std::string>*>(option.target) &&
                          option.name.starts_with('-');
  if (isRepeated) added->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

// Runs the command and reports its errors under its full name.
int Run(const Command& command, const std::string& name) {
  try {
    return command.run();
  } catch (const CommandError& wrong) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), wrong.what());
    return wrong.Status();
  } catch (const std::exception& wrong) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), wrong.what());
    return kStatusUsage;
  }
}

// Adds the command's parts to `app`. The command must outlive the parsing.
void Describe(CLI::App& app, const Command& command, const std::string& name, int* status) {
  app.footer(command.footer);
  for (const Option& option : command.options) AddOption(app, option);
  for (const Option& option : command.options) {
    if (!option.excludes.empty()) {
      app.get_option(option.name)->excludes(app.get_option(option.excludes));
    }
  }
  for (const Command& part : command.subcommands) {
    Describe(*app.add_subcommand(part.name, part.summary), part, name + " " + part.name, status);
  }
  if (!command.subcommands.empty()) app.require_subcommand(1);
  if (command.run) app.callback([&command, name, status] { *status = Run(command, name); });
}

}  // namespace

int RunCommandLine(const Command& program, std::vector<std::string> arguments) {
  CLI::App app(program.summary, program.name);
  app.formatter(std::make_shared<HelpText>());
  // On Windows too, a word that begins with "/" is a path.
  app.allow_windows_style_options(false);
  if (!program.version.empty()) {
    app.set_version_flag("--version", program.name + " " + program.version,
                         "Print the version and exit");
  }
  int status = kStatusDone;
  Describe(app, program, program.name, &status);
  // The parser takes the arguments from the last to the first.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
  } catch (const CLI::Success& request) {
    return app.exit(request);  // prints the help
  } catch (const CLI::ParseError& wrong) {
    std::fprintf(stderr, "%s: %s\nRun \"%s --help\" for the list of commands.\n",
                 program.name.c_str(), wrong.what(), program.name.c_str());
    return kStatusUsage;
  }
  return status;
}

}  // namespace tools
