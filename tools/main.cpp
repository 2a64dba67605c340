// The command line `quorvex`: one program with a subcommand for each job.
#include <cstdio>
#include <exception>

#include "tools/command.h"
#include "tools/commandparser.h"
#include "tools/system/commandline.h"
#include "tools/system/terminal.h"

int main(int argc, char** argv) {
  tools::system::WriteUtf8ToConsole();
  try {
    const tools::Command program = {
        .name = "quorvex",
        .summary =
            "Tools for the mail add-in: send mails through it on any machine, simulate its\n"
            "agent, look at the shared memory between the two.",
        .footer =
            "Examples:\n"
            "  quorvex send mail.eml                      what the add-in asks about a mail\n"
            "  quorvex agent --rules samples/rules.toml   answer the add-in by these rules\n"
            "  quorvex config check vrk.pro               what is wrong with the settings\n"
            "  quorvex ring                               what is in the ring now\n"
            "  quorvex doctor                             is it working on this PC\n"
            "  quorvex conform                            does the agent keep to the protocol\n"
            "  quorvex agent --help                       everything about one subcommand",
        .subcommands = {tools::SendCommand(), tools::AgentCommand(), tools::ConformCommand(),
                        tools::ImportCommand(), tools::ConfigCommand(), tools::LogCommand(),
                        tools::RingCommand(), tools::DoctorCommand(), tools::BundleCommand(),
                        tools::SummaryCommand(), tools::CompareCommand()},
        .version = QUORVEX_VERSION};
    return tools::RunCommandLine(program, tools::system::CommandLineArguments(argc, argv));
  } catch (const std::exception& wrong) {
    std::fprintf(stderr, "quorvex: %s\n", wrong.what());
    return tools::kStatusUsage;
  }
}
