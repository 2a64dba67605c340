// The subcommands of `quorvex`: what each one accepts, and the function that runs it.
//
// A subcommand describes itself as data. Only commandparser.cpp includes the library that parses
// command lines, because that library takes the compiler 5 seconds in every file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace tools {

// Exit statuses. A subcommand's help says which of them it uses.
inline constexpr int kStatusDone = 0;
inline constexpr int kStatusFindings = 1;    // a check found something
inline constexpr int kStatusUnreadable = 2;  // some input can't be read; the rest was done
inline constexpr int kStatusUsage = 3;       // wrong usage, or something that it needs is missing
inline constexpr int kStatusUnchecked = 4;   // not all was checked, or nothing can tell
inline constexpr int kStatusInterrupted = 130;

// Ends the subcommand: prints "quorvex SUBCOMMAND: <message>" on standard error and exits with the
// status. Raised by Command::run.
class CommandError : public std::runtime_error {
 public:
  explicit CommandError(const std::string& message, int status = kStatusUsage)
      : std::runtime_error(message), m_status(status) {}
  int Status() const { return m_status; }

 private:
  int m_status;
};

// Where an option's value is stored. The variable must exist until the command has run; it keeps
// its value if the option isn't used. A bool is a flag without a value, a vector takes several
// values.
using OptionTarget = std::variant<bool*, std::string*, std::vector<std::string>*, std::uint16_t*,
                                  std::size_t*, std::optional<std::uint32_t>*>;

struct Option {
  std::string name;  // "--rules", "-o,--output", or a word in capitals for a positional argument
  OptionTarget target;
  std::string help;
  std::string valueName = {};           // shown in the help instead of the type: "FILE"
  bool required = false;                // for positional arguments
  bool showsDefault = false;            // the help shows the value that the target has
  std::string excludes = {};            // the name of an option that can't be used with this one
  std::vector<std::string> oneOf = {};  // the accepted values, in any case
  std::size_t least = 0;                // the smallest accepted number
  bool hidden = false;                  // not in the help: for processes that the command starts
};

struct Command {
  std::string name;
  std::string summary;  // one line, for the list of subcommands
  std::string footer;   // examples and exit statuses, at most 80 columns
  std::vector<Option> options = {};
  std::function<int()> run = {};  // returns the exit status; empty if there are subcommands
  std::vector<Command> subcommands = {};
  std::string version = {};  // what --version prints; empty for a command without this option
};

Command AgentCommand();
Command BundleCommand();
Command CompareCommand();
Command ConfigCommand();
Command ConformCommand();
Command DoctorCommand();
Command ImportCommand();
Command LogCommand();
Command LogExplainCommand();  // part of LogCommand
Command LogListenCommand();   // part of LogCommand
Command RingCommand();
Command SendCommand();
Command SummaryCommand();

}  // namespace tools
