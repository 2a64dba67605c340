// The command line `quorvex`: one program, a subcommand for each job.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

#include "tools/command.h"
#include "tools/helptext.h"
#include "tools/system/commandline.h"
#include "tools/system/terminal.h"

namespace {

int Run(int argc, char** argv) {
  CLI::App app(
      "Tools around the mail add-in: send mails through it on any machine, simulate its\n"
      "agent, look at what passes between the two.",
      "quorvex");
  app.formatter(std::make_shared<tools::HelpText>());
  app.require_subcommand(1);
  // On Windows too a word that begins with "/" is a path.
  app.allow_windows_style_options(false);
  app.footer(
      "Examples:\n"
      "  quorvex send mail.eml                      what is asked about a mail\n"
      "  quorvex agent --rules samples/rules.toml   answer the add-in by these rules\n"
      "  quorvex config check vrk.pro               what is wrong with the settings\n"
      "  quorvex ring                               what lies between add-in and agent\n"
      "  quorvex conform                            does the agent keep to the protocol\n"
      "  quorvex agent --help                       everything about one subcommand");
  int status = tools::kStatusDone;
  tools::AddSendCommand(app, &status);
  tools::AddAgentCommand(app, &status);
  tools::AddConformCommand(app, &status);
  tools::AddImportCommand(app, &status);
  tools::AddConfigCommand(app, &status);
  tools::AddLogCommand(app, &status);
  tools::AddRingCommand(app, &status);

  // The parser takes the arguments from the last to the first.
  std::vector<std::string> arguments = tools::system::CommandLineArguments(argc, argv);
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
  } catch (const CLI::Success& wish) {
    return app.exit(wish);  // prints the help
  } catch (const CLI::ParseError& wrong) {
    std::fprintf(stderr, "quorvex: %s\nRun \"quorvex --help\" for what there is.\n", wrong.what());
    return tools::kStatusUsage;
  } catch (const tools::CommandError& wrong) {
    std::fprintf(stderr, "quorvex: %s\n", wrong.what());
    return wrong.Status();
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  tools::system::WriteUtf8ToConsole();
  try {
    return Run(argc, argv);
  } catch (const std::exception& wrong) {
    std::fprintf(stderr, "quorvex: %s\n", wrong.what());
    return tools::kStatusUsage;
  }
}
