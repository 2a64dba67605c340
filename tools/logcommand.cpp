// `quorvex log`: what the add-in's logger is told to do, and what its log tells.

#include "tools/logcommand.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "inspection/logs/loggercheck.h"
#include "tools/command.h"
#include "tools/displaywidth.h"
#include "tools/textreport.h"

namespace tools {

namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions {
  std::string file;
  bool json = false;
};

void PrintLine(const std::string& file, std::size_t line, std::string_view kind,
               std::string_view text) {
  fmt::print("{}\n", Wrapped(fmt::format("{}:{}: {}: {}", Printable(file), line, kind,
                                         Shortened(text, 700)),
                             80, 4));
}

Json LineJson(const inspection::logs::LoggerLine& line) {
  Json warnings = Json::array();
  for (const std::string& warning : line.warnings) warnings.push_back(ValidUtf8(warning));
  return {{"line", line.line},
          {"kind", inspection::logs::NameOf(line.kind)},
          {"module", ValidUtf8(line.module)},
          {"what", ValidUtf8(line.what)},
          {"warnings", std::move(warnings)}};
}

int CheckConfig(const CheckOptions& options) {
  RequireFile("log check", options.file);
  bool first = true;
  const auto show = [&options, &first](const inspection::logs::LoggerLine& line) {
    if (options.json) {
      fmt::print("{}\n    {}", first ? "" : ",", LineJson(line).dump());
      first = false;
      return;
    }
    const std::string subject = line.module.empty() ? "" : line.module + ": ";
    PrintLine(options.file, line.line, inspection::logs::NameOf(line.kind), subject + line.what);
    for (const std::string& warning : line.warnings) {
      PrintLine(options.file, line.line, "warning", warning);
    }
  };
  if (options.json) {
    fmt::print("{{\n  \"file\": {},\n  \"lines\": [", Json(ValidUtf8(options.file)).dump());
  }
  const inspection::logs::LoggerReport report =
      inspection::logs::CheckLoggerConfig(options.file, show);
  if (options.json) {
    Json warnings = Json::array();
    for (const std::string& warning : report.onFile) warnings.push_back(warning);
    fmt::print(
        "\n  ],\n  \"opened\": {},\n  \"streams\": {},\n  \"outlook_streams\": {},\n"
        "  \"clean\": {},\n  \"warnings\": {}\n}}\n",
        report.opened, report.streams, report.addInStreams, report.opened && report.IsClean(),
        warnings.dump());
  }
  if (!report.opened) {
    throw CommandError(fmt::format("log check: {}: can't be opened", Printable(options.file)),
                       kStatusUsage);
  }
  if (!options.json) {
    for (const std::string& warning : report.onFile) {
      fmt::print("{}\n",
                 Wrapped(fmt::format("{}: warning: {}", Printable(options.file), warning), 80, 4));
    }
    const std::string sum =
        fmt::format("{}: {}, {} of them for \"Outlook\"; {} refused, {}", Printable(options.file),
                    Counted(report.streams, "stream"), report.addInStreams,
                    Counted(report.refused, "line"), Counted(report.warnings, "warning"));
    fmt::print("{}\n", Wrapped(sum, 80, 4));
  }
  return report.IsClean() ? kStatusDone : kStatusFindings;
}

void AddCheck(CLI::App* log, int* status) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* const check = log->add_subcommand("check", "What each line of a Logger.cfg makes");
  check->add_option("FILE", options->file, "The logger's settings")->required();
  check->add_flag("--json", options->json, "For a program to read");
  check->footer(
      "Examples:\n"
      "  quorvex log check Logger.cfg\n"
      "  quorvex log check --json Logger.cfg\n\n"
      "Exit status: 0 clean, 1 lines refused or warnings, 3 usage or no such file.");
  check->callback([options, status] { *status = CheckConfig(*options); });
}

}  // namespace

void AddLogCommand(CLI::App& app, int* status) {
  CLI::App* const command =
      app.add_subcommand("log", "The add-in's log: its settings, and what it tells");
  command->require_subcommand(1);
  AddCheck(command, status);
  AddLogExplain(command, status);
  AddLogListen(command, status);
  command->footer(
      "Examples:\n"
      "  quorvex log check Logger.cfg         which streams the add-in makes of it\n"
      "  quorvex log explain mail.PC17_*.log  what became of each mail, and why\n"
      "  quorvex log listen --port 5514       the log as it comes in by UDP");
}

}  // namespace tools
