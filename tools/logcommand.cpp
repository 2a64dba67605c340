// `quorvex log`: checks the logger's settings; explains and receives the log.

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>

#include "inspection/logs/loggercheck.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/outputline.h"
#include "tools/text.h"

namespace tools {

namespace {

struct CheckOptions {
  std::string file;
  bool json = false;
};

void ShowLine(const std::string& file, std::size_t line, std::string_view kind,
              std::string_view text) {
  PrintLine(fmt::format("{}:{}: {}: {}", file, line, kind, Shortened(text, 700)), 4);
}

Json LineJson(const inspection::logs::LoggerLine& line) {
  return Json::Object()
      .Add("line", line.line)
      .Add("kind", inspection::logs::NameOf(line.kind))
      .Add("module", line.module)
      .Add("what", line.what)
      .Add("warnings", Json::ArrayOf(line.warnings));
}

int CheckConfig(const CheckOptions& options) {
  RequireTextFile(options.file, kStatusUsage);
  bool first = true;
  const auto show = [&options, &first](const inspection::logs::LoggerLine& line) {
    if (options.json) {
      fmt::print("{}\n    {}", first ? "" : ",", LineJson(line).Text());
      first = false;
      return;
    }
    const std::string subject = line.module.empty() ? "" : line.module + ": ";
    ShowLine(options.file, line.line, inspection::logs::NameOf(line.kind), subject + line.what);
    for (const std::string& warning : line.warnings) {
      ShowLine(options.file, line.line, "warning", warning);
    }
  };
  if (options.json) {
    fmt::print("{{\n  \"file\": {},\n  \"lines\": [", Json(options.file).Text());
  }
  const inspection::logs::LoggerReport report =
      inspection::logs::CheckLoggerConfig(options.file, show, true);
  if (options.json) {
    fmt::print(
        "\n  ],\n  \"opened\": {},\n  \"streams\": {},\n  \"outlook_streams\": {},\n"
        "  \"clean\": {},\n  \"warnings\": {}\n}}\n",
        report.opened, report.streams, report.addInStreams, report.opened && report.IsClean(),
        Json::ArrayOf(report.onFile).Text());
  }
  if (!report.opened) RefuseFile(options.file, kStatusUsage);
  if (!options.json) {
    for (const std::string& warning : report.onFile) {
      PrintLine(fmt::format("{}: warning: {}", options.file, warning), 4);
    }
    PrintLine(fmt::format("{}: {}, {} of them for \"Outlook\"; {} refused, {}", options.file,
                          Counted(report.streams, "stream"), report.addInStreams,
                          Counted(report.refused, "line"), Counted(report.warnings, "warning")),
              4);
  }
  return report.IsClean() ? kStatusDone : kStatusFindings;
}

Command CheckCommand() {
  auto options = std::make_shared<CheckOptions>();
  return {
      .name = "check",
      .summary = "Show the stream that each line of a Logger.cfg makes",
      .footer =
          "Examples:\n"
          "  quorvex log check Logger.cfg\n"
          "  quorvex log check --json Logger.cfg\n\n"
          "Exit status: 0 clean, 1 lines refused or warnings, 3 wrong usage, or there is no\n"
          "such file.",
      .options = {{.name = "FILE",
                   .target = &options->file,
                   .help = "The logger's settings",
                   .required = true},
                  {.name = "--json", .target = &options->json, .help = "For a program to read"}},
      .run = [options] { return CheckConfig(*options); },
  };
}

}  // namespace

Command LogCommand() {
  return {
      .name = "log",
      .summary = "Check the log's settings; explain and receive the log",
      .footer =
          "Examples:\n"
          "  quorvex log check Logger.cfg         which streams the add-in makes of it\n"
          "  quorvex log explain mail.PC17_*.log  what became of each mail, and why\n"
          "  quorvex log listen --port 5514       show the log as it arrives by UDP",
      .subcommands = {CheckCommand(), LogExplainCommand(), LogListenCommand()},
  };
}

}  // namespace tools
