// `quorvex config`: lists and explains the agent's settings, and checks a property file.

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/configkeytable.h"
#include "inspection/settings/settinghelp.h"
#include "inspection/settings/settingscheck.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/outputline.h"
#include "tools/text.h"

namespace tools {

namespace {

struct ConfigOptions {
  std::string key;
  std::string file;
  bool json = false;
};

using inspection::settings::kUnitUnknown;

constexpr std::string_view kAgentsOwn = "the agent's own";

// What the commands say about one setting.
struct Description {
  std::string_view key;
  std::string_view internalKey;  // empty for the setting that the table doesn't have
  std::string_view accepted;
  std::string_view pattern;  // like internalKey
  std::string_view unit;     // empty if the value has none
  std::string_view meaning;
  std::string_view defaultValue;  // empty if only the agent knows it
  bool isReadByAddIn = false;
};

Description Describe(const ConfigKey* setting) {
  Description all;
  all.key = setting == nullptr ? inspection::settings::kChallengeKey : setting->publicKey;
  all.accepted = inspection::settings::kChallengeAccepted;
  if (setting != nullptr) {
    all.internalKey = setting->internalKey;
    all.accepted = inspection::settings::HelpOn(*setting).accepted;
    all.pattern = setting->pattern;
    all.unit = inspection::settings::MeaningOf(*setting).unit;
    all.meaning = inspection::settings::MeaningOf(*setting).meaning;
  }
  if (const auto* const own = inspection::settings::FindAddInSetting(all.key)) {
    all.meaning = own->meaning;
    all.defaultValue = own->defaultValue;
    all.isReadByAddIn = true;
  }
  return all;
}

Json OrNull(std::string_view text) {
  return text.empty() ? Json() : Json(text);
}

Json DescriptionJson(const Description& setting) {
  return Json::Object()
      .Add("internal", OrNull(setting.internalKey))
      .Add("key", setting.key)
      .Add("accepted", setting.accepted)
      .Add("pattern", OrNull(setting.pattern))
      .Add("unit", setting.unit == kUnitUnknown ? Json() : Json(setting.unit))
      .Add("meaning", setting.meaning)
      .Add("read_by_addin", setting.isReadByAddIn)
      .Add("default", OrNull(setting.defaultValue));
}

void ListKey(const Description& setting) {
  std::string line = fmt::format("{:<42} {}", setting.key, setting.accepted);
  if (!setting.unit.empty() && setting.unit != kUnitUnknown) {
    line += fmt::format(" ({})", setting.unit);
  }
  line += fmt::format("; {}", setting.meaning);
  if (setting.isReadByAddIn) {
    line += fmt::format(". Read by the add-in; default: {}", setting.defaultValue);
  }
  PrintLine(line, 43);
}

int ListKeys(const ConfigOptions& options) {
  std::vector<Description> all;
  // The analyzer can't see that begin() isn't null.
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
  for (const ConfigKey& setting : g_configKeyTable) all.push_back(Describe(&setting));
  all.push_back(Describe(nullptr));
  if (!options.json) {
    for (const Description& setting : all) ListKey(setting);
    return kStatusDone;
  }
  Json list = Json::Array();
  for (const Description& setting : all) list.Add(DescriptionJson(setting));
  fmt::print("{}\n", list.Text());
  return kStatusDone;
}

void PrintField(std::string_view name, std::string_view text) {
  PrintLine(fmt::format("{:<14}{}", name, text), 14);
}

// Examples as the property file has to have them.
Json Written(std::span<const std::string_view> examples) {
  Json list = Json::Array();
  for (const std::string_view example : examples) {
    list.Add(inspection::settings::AsWritten(example));
  }
  return list;
}

int ShowKey(const ConfigOptions& options) {
  const ConfigKey* setting = inspection::settings::FindByPublicKey(options.key);
  if (setting == nullptr) setting = g_configKeyTable.Find(options.key);
  if (setting == nullptr && options.key != inspection::settings::kChallengeKey) {
    throw CommandError(fmt::format("unknown key \"{}\"{}", Printable(options.key),
                                   inspection::settings::SuggestedKey(options.key)));
  }
  const Description shown = Describe(setting);
  static constexpr inspection::settings::SettingHelp kNoExamples{};
  const inspection::settings::SettingHelp& help =
      setting == nullptr ? kNoExamples : inspection::settings::HelpOn(*setting);
  if (options.json) {
    fmt::print("{}\n", DescriptionJson(shown)
                           .Add("matches", Written(help.matches))
                           .Add("refused", Written(help.refused))
                           .Text());
    return kStatusDone;
  }
  PrintField("Key", shown.key);
  if (setting != nullptr) PrintField("Internal key", shown.internalKey);
  PrintField("Meaning", shown.meaning);
  PrintField("Read by", shown.isReadByAddIn ? "the add-in" : "the agent");
  PrintField("Accepted", shown.accepted);
  if (!shown.unit.empty()) PrintField("Unit", shown.unit);
  PrintField("Default", shown.isReadByAddIn ? shown.defaultValue : kAgentsOwn);
  for (const std::string_view example : help.matches) {
    PrintField("  matches", inspection::settings::AsWritten(example));
  }
  for (const std::string_view example : help.refused) {
    PrintField("  doesn't", inspection::settings::AsWritten(example));
  }
  PrintField("Pattern", setting == nullptr ? "none" : shown.pattern);
  return kStatusDone;
}

Json FindingJson(const inspection::settings::Finding& finding) {
  return Json::Object()
      .Add("line", finding.line)
      .Add("severity", inspection::settings::NameOf(finding.severity))
      .Add("key", finding.key)
      .Add("value", finding.value)
      .Add("message", finding.message);
}

void PrintFinding(const std::string& file, const inspection::settings::Finding& finding) {
  std::string subject = Shortened(finding.key, 60);
  if (!finding.key.empty() && !finding.value.empty()) subject += " = ";
  subject += Shortened(finding.value, 60);
  if (!subject.empty()) subject += ": ";
  PrintLine(fmt::format("{}:{}: {}: {}{}", file, finding.line,
                        inspection::settings::NameOf(finding.severity), subject,
                        Shortened(finding.message, 300)),
            4);
}

int CheckFile(const ConfigOptions& options) {
  RequireTextFile(options.file, kStatusUsage);
  const inspection::settings::SettingsReport report =
      inspection::settings::CheckSettings(options.file);
  if (!report.opened) RefuseFile(options.file, kStatusUsage);
  const int status = report.NeedsFixing() ? kStatusFindings
                     : report.IsClean()   ? kStatusDone
                                          : kStatusUnchecked;
  if (options.json) {
    Json findings = Json::Array();
    for (const inspection::settings::Finding& finding : report.findings) {
      findings.Add(FindingJson(finding));
    }
    fmt::print("{}\n", Json::Object()
                           .Add("file", options.file)
                           .Add("lines", report.lines)
                           .Add("settings", report.settings)
                           .Add("clean", report.IsClean())
                           .Add("not_checked", report.notChecked)
                           .Add("findings", findings)
                           .Add("left_out", report.left)
                           .Text());
    return status;
  }
  for (const inspection::settings::Finding& finding : report.findings)
    PrintFinding(options.file, finding);
  if (report.left > 0) fmt::print("... and {} more\n", report.left);
  std::string total =
      fmt::format("{}: {} in {}", options.file, Counted(report.settings, "known setting"),
                  Counted(report.lines, "line"));
  if (report.notChecked > 0) total += fmt::format(", {} not checked", report.notChecked);
  PrintLine(total + (report.IsClean() ? ", nothing to fix" : ", see above"), 4);
  return status;
}

}  // namespace

Command ConfigCommand() {
  auto options = std::make_shared<ConfigOptions>();
  const Option json = {.name = "--json", .target = &options->json, .help = "For a program to read"};
  Command keys = {
      .name = "keys",
      .summary = "List all settings",
      .footer =
          "Examples:\n"
          "  quorvex config keys\n"
          "  quorvex config keys --json\n\n"
          "The agent defines its settings and their defaults. What the list says about\n"
          "those that the add-in doesn't read follows from their names and patterns.",
      .options = {json},
      .run = [options] { return ListKeys(*options); },
  };
  Command show = {
      .name = "show",
      .summary = "Explain one setting, with examples",
      .footer =
          "Examples:\n"
          "  quorvex config show dialogs_timeout\n"
          "  quorvex config show X_NAME --json\n\n"
          "Exit status: 0 shown, 3 no such key.",
      .options = {{.name = "KEY",
                   .target = &options->key,
                   .help = "The setting's public or internal key",
                   .required = true},
                  json},
      .run = [options] { return ShowKey(*options); },
  };
  Command check = {
      .name = "check",
      .summary = "Report what is wrong with a property file (vrk.pro)",
      .footer =
          "Examples:\n"
          "  quorvex config check vrk.pro\n"
          "  quorvex config check --json vrk.pro\n\n"
          "Exit status: 0 clean (notes don't count), 1 findings, 4 no findings, but some\n"
          "values couldn't be checked (quorvex for Windows lacks an engine for some\n"
          "patterns), 3 wrong usage, or there is no such file.",
      .options = {{.name = "FILE",
                   .target = &options->file,
                   .help = "The property file",
                   .required = true},
                  json},
      .run = [options] { return CheckFile(*options); },
  };
  return {
      .name = "config",
      .summary = "Explain the agent's settings, and check a file of them",
      .footer =
          "Examples:\n"
          "  quorvex config keys                  all settings\n"
          "  quorvex config show hide_me          one of them, with examples\n"
          "  quorvex config check vrk.pro         what is wrong with this file",
      .subcommands = {keys, show, check},
  };
}

}  // namespace tools
