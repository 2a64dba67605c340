// `quorvex config`: the settings by name, and what is wrong with a file of them.

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "config/configkeytable.h"
#include "inspection/settings/settinghelp.h"
#include "inspection/settings/settingscheck.h"
#include "inspection/settings/valuejudge.h"
#include "tools/command.h"
#include "tools/displaywidth.h"
#include "tools/textreport.h"

namespace tools {

namespace {

using Json = nlohmann::ordered_json;

struct ConfigOptions {
  std::string key;
  std::string file;
  bool json = false;
};

int ListKeys(const ConfigOptions& options) {
  Json all = Json::array();
  for (const ConfigKey& setting : g_configKeyTable) {
    const inspection::settings::SettingHelp& help = inspection::settings::HelpOn(setting);
    if (options.json) {
      all.push_back({{"internal", setting.internalKey},
                     {"key", setting.publicKey},
                     {"accepted", help.accepted},
                     {"pattern", setting.pattern}});
    } else {
      const std::string line = fmt::format("{:<42} {}", setting.publicKey, help.accepted);
      fmt::print("{}\n", line.size() <= 80 ? line : Wrapped(line, 80, 43));
    }
  }
  if (options.json) fmt::print("{}\n", all.dump(2));
  return kStatusDone;
}

Json Examples(std::span<const std::string_view> examples) {
  Json list = Json::array();
  for (const std::string_view example : examples) list.push_back(example);
  return list;
}

void PrintField(std::string_view name, std::string_view text) {
  fmt::print("{}\n", Wrapped(fmt::format("{:<14}{}", name, text), 80, 14));
}

int ShowChallengeKey(const ConfigOptions& options) {
  if (options.json) {
    fmt::print("{}\n", Json({{"internal", nullptr},
                             {"key", inspection::settings::kChallengeKey},
                             {"accepted", inspection::settings::kChallengeAccepted},
                             {"pattern", nullptr}})
                           .dump(2));
    return kStatusDone;
  }
  PrintField("Key", inspection::settings::kChallengeKey);
  PrintField("Accepted", inspection::settings::kChallengeAccepted);
  PrintField("Pattern", "none: the add-in itself reads this setting");
  return kStatusDone;
}

int ShowKey(const ConfigOptions& options) {
  if (options.key == inspection::settings::kChallengeKey) return ShowChallengeKey(options);
  const ConfigKey* setting = inspection::settings::FindByPublicKey(options.key);
  if (setting == nullptr) setting = g_configKeyTable.Find(options.key);
  if (setting == nullptr) {
    throw CommandError(fmt::format("config show: unknown key \"{}\"{}", Printable(options.key),
                                   inspection::settings::SuggestedKey(options.key)),
                       kStatusUsage);
  }
  const inspection::settings::SettingHelp& help = inspection::settings::HelpOn(*setting);
  if (options.json) {
    fmt::print("{}\n", Json({{"internal", setting->internalKey},
                             {"key", setting->publicKey},
                             {"accepted", help.accepted},
                             {"pattern", setting->pattern},
                             {"matches", Examples(help.matches)},
                             {"refused", Examples(help.refused)}})
                           .dump(2));
    return kStatusDone;
  }
  PrintField("Key", setting->publicKey);
  PrintField("Internal key", setting->internalKey);
  PrintField("Accepted", help.accepted);
  for (const std::string_view example : help.matches) PrintField("  matches", example);
  for (const std::string_view example : help.refused) PrintField("  doesn't", example);
  PrintField("Pattern", setting->pattern);
  return kStatusDone;
}

Json FindingJson(const inspection::settings::Finding& finding) {
  return {{"line", finding.line},
          {"severity", inspection::settings::NameOf(finding.severity)},
          {"key", ValidUtf8(finding.key)},
          {"value", ValidUtf8(finding.value)},
          {"message", ValidUtf8(finding.message)}};
}

void PrintFinding(const std::string& file, const inspection::settings::Finding& finding) {
  std::string subject = Shortened(finding.key, 60);
  if (!finding.key.empty() && !finding.value.empty()) subject += " = ";
  subject += Shortened(finding.value, 60);
  if (!subject.empty()) subject += ": ";
  fmt::print("{}\n", Wrapped(fmt::format("{}:{}: {}: {}{}", Printable(file), finding.line,
                                         inspection::settings::NameOf(finding.severity), subject,
                                         Shortened(finding.message, 300)),
                             80, 4));
}

int CheckFile(const ConfigOptions& options) {
  if (!inspection::settings::JudgesValues()) {
    throw CommandError(
        "config check: this build has no engine for the settings' patterns (PCRE2); check the "
        "file with quorvex on Linux",
        kStatusUsage);
  }
  RequireFile("config check", options.file);
  const inspection::settings::SettingsReport report =
      inspection::settings::CheckSettings(options.file);
  if (!report.opened) {
    throw CommandError(fmt::format("config check: {}: can't be opened", Printable(options.file)),
                       kStatusUsage);
  }
  const int status = report.IsClean() ? kStatusDone : kStatusFindings;
  if (options.json) {
    Json findings = Json::array();
    for (const inspection::settings::Finding& finding : report.findings) {
      findings.push_back(FindingJson(finding));
    }
    fmt::print("{}\n", Json({{"file", ValidUtf8(options.file)},
                             {"lines", report.lines},
                             {"settings", report.settings},
                             {"clean", report.IsClean()},
                             {"findings", std::move(findings)},
                             {"left_out", report.left}})
                           .dump(2));
    return status;
  }
  for (const inspection::settings::Finding& finding : report.findings)
    PrintFinding(options.file, finding);
  if (report.left > 0) fmt::print("... and {} more\n", report.left);
  const std::string sum = fmt::format(
      "{}: {} in {}, {}", Printable(options.file), Counted(report.settings, "known setting"),
      Counted(report.lines, "line"), report.IsClean() ? "nothing to mend" : "see above");
  fmt::print("{}\n", Wrapped(sum, 80, 4));
  return status;
}

}  // namespace

void AddConfigCommand(CLI::App& app, int* status) {
  CLI::App* const command =
      app.add_subcommand("config", "The agent's settings, and checks of a file");
  command->require_subcommand(1);
  auto options = std::make_shared<ConfigOptions>();
  CLI::App* const keys = command->add_subcommand("keys", "List all settings");
  keys->add_flag("--json", options->json, "For a program to read");
  keys->callback([options, status] { *status = ListKeys(*options); });
  CLI::App* const show = command->add_subcommand("show", "One setting, with examples");
  show->add_option("KEY", options->key, "The setting's public or internal key")->required();
  show->add_flag("--json", options->json, "For a program to read");
  show->callback([options, status] { *status = ShowKey(*options); });
  CLI::App* const check =
      command->add_subcommand("check", "What is wrong with a property file (vrk.pro)");
  check->add_option("FILE", options->file, "The property file")->required();
  check->add_flag("--json", options->json, "For a program to read");
  check->callback([options, status] { *status = CheckFile(*options); });

  keys->footer(
      "Examples:\n"
      "  quorvex config keys\n"
      "  quorvex config keys --json");
  show->footer(
      "Examples:\n"
      "  quorvex config show dialogs_timeout\n"
      "  quorvex config show X_NAME --json\n\n"
      "Exit status: 0 shown, 3 no such key.");
  check->footer(
      "Examples:\n"
      "  quorvex config check vrk.pro\n"
      "  quorvex config check --json vrk.pro\n\n"
      "Exit status: 0 clean (notes don't count), 1 findings, 3 usage or no such file.");
  command->footer(
      "Examples:\n"
      "  quorvex config keys                  all settings\n"
      "  quorvex config show hide_me          one of them, with examples\n"
      "  quorvex config check vrk.pro         what is wrong with this file");
}

}  // namespace tools
