// What the subcommands of `quorvex` have in common.
//
// Each subcommand stands in a file of its own and has one function that adds it to the application:
// options, help and examples, and a callback that does the work. main.cpp calls these functions.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tools {

// Exit statuses. CLI11's own statuses never show: main turns them into these.
inline constexpr int kStatusDone = 0;
inline constexpr int kStatusFindings = 1;    // a check found something
inline constexpr int kStatusUnreadable = 2;  // some input can't be read; the rest was done
inline constexpr int kStatusUsage = 3;       // usage, or something that has to be there isn't

// Ends the subcommand with a message on standard error, "quorvex: <message>", and a status. Raised
// in a callback, caught by main.
class CommandError : public std::runtime_error {
 public:
  CommandError(const std::string& message, int status)
      : std::runtime_error(message), m_status(status) {}
  int Status() const { return m_status; }

 private:
  int m_status;
};

// Each stores the process's exit status in `*status` when its subcommand has run.
void AddAgentCommand(CLI::App& app, int* status);
void AddConfigCommand(CLI::App& app, int* status);
void AddConformCommand(CLI::App& app, int* status);
void AddImportCommand(CLI::App& app, int* status);
void AddLogCommand(CLI::App& app, int* status);
void AddRingCommand(CLI::App& app, int* status);
void AddSendCommand(CLI::App& app, int* status);

}  // namespace tools
