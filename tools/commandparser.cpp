#include "tools/commandparser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string_view>

#include "text/suggestion.h"
#include "tools/commandpages.h"
#include "tools/optionwords.h"

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
  if (option.hidden) added->group("");
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

// The words that may follow the command: its parts, or the names of its options.
std::vector<std::string> KnownWords(const Command& command, bool options) {
  std::vector<std::string> known;
  if (!options) {
    for (const Command& part : command.subcommands) known.push_back(part.name);
    return known;
  }
  known.push_back("--help");
  if (!command.version.empty()) known.push_back("--version");
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    for (const std::string& name : OptionNames(option)) {
      if (name.starts_with("--")) known.push_back(name);
    }
  }
  return known;
}

// The complaint about wrong usage. `why` is the library's, and `unexpected` the words that it
// didn't accept. A word that is no command, or no option of its command, gets one that may suggest
// another.
std::string Complaint(const Command& program, const std::vector<std::string>& arguments,
                      const std::vector<std::string>& unexpected, const std::string& why) {
  const Command* command = &program;
  std::string name = program.name;
  for (const std::string& word : arguments) {
    if (command->subcommands.empty() || word.starts_with('-')) break;
    const auto part = std::find_if(command->subcommands.begin(), command->subcommands.end(),
                                   [&](const Command& one) { return one.name == word; });
    if (part == command->subcommands.end()) {
      const std::vector<std::string> known = KnownWords(*command, false);
      const std::vector<std::string_view> views(known.begin(), known.end());
      return name + ": unknown command \"" + word + "\"" + Suggestion(word, views) + "\nRun \"" +
             name + " --help\" for the list of commands.\n";
    }
    command = &*part;
    name += " " + word;
  }
  std::string complaint = name + ": " + why;
  if (!unexpected.empty() && unexpected.front().starts_with("--")) {
    const std::string option = unexpected.front().substr(0, unexpected.front().find('='));
    const std::vector<std::string> known = KnownWords(*command, true);
    const std::vector<std::string_view> views(known.begin(), known.end());
    complaint = name + ": unknown option \"" + option + "\"" + Suggestion(option, views);
  }
  return complaint + "\nRun \"" + name + " --help\" for " +
         (command->subcommands.empty() ? "its options" : "the list of commands") + ".\n";
}

}  // namespace

int RunCommandLine(const Command& program, const std::vector<std::string>& arguments) {
  // For the build, so the help doesn't show it.
  if (arguments.size() == 2 && arguments[0] == "--write-pages") {
    WritePages(program, arguments[1]);
    return kStatusDone;
  }
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
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::Success& request) {
    return app.exit(request);  // prints the help
  } catch (const CLI::ParseError& wrong) {
    const std::string complaint = Complaint(program, arguments, app.remaining(true), wrong.what());
    std::fputs(complaint.c_str(), stderr);
    return kStatusUsage;
  }
  return status;
}

}  // namespace tools
