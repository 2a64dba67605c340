// `quorvex config`: lists and explains the agent's settings, and checks a property file.

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>

#include "config/configkeytable.h"
#include "inspection/settings/settinghelp.h"
#include "inspection/settings/settingscheck.h"
#include "inspection/settings/valuejudge.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/text.h"

namespace tools {

namespace {

struct ConfigOptions {
  std::string key;
  std::string file;
  bool json = false;
};

void ListKey(const ConfigOptions& options, std::string_view key, std::string_view internalKey,
             std::string_view accepted, std::string_view pattern, Json* all) {
  const inspection::settings::AddInSetting* const own = inspection::settings::FindAddInSetting(key);
  if (options.json) {
    all->Add(Json::Object()
                 .Add("internal", internalKey.empty() ? Json() : Json(internalKey))
                 .Add("key", key)
                 .Add("accepted", accepted)
                 .Add("pattern", pattern.empty() ? Json() : Json(pattern))
                 .Add("read_by_addin", own != nullptr)
                 .Add("default", own != nullptr ? Json(own->defaultValue) : Json()));
    return;
  }
  std::string line = fmt::format("{:<42} {}", key, accepted);
  if (own != nullptr) line += fmt::format(". Read by the add-in; default: {}", own->defaultValue);
  fmt::print("{}\n", line.size() <= 80 ? line : Wrapped(line, 80, 43));
}

int ListKeys(const ConfigOptions& options) {
  Json all = Json::Array();
  for (const ConfigKey& setting : g_configKeyTable) {
    ListKey(options, setting.publicKey, setting.internalKey,
            inspection::settings::HelpOn(setting).accepted, setting.pattern, &all);
  }
  ListKey(options, inspection::settings::kChallengeKey, {},
          inspection::settings::kChallengeAccepted, {}, &all);
  if (options.json) fmt::print("{}\n", all.Text());
  return kStatusDone;
}

void PrintField(std::string_view name, std::string_view text) {
  fmt::print("{}\n", Wrapped(fmt::format("{:<14}{}", name, text), 80, 14));
}

// Examples as the property file has to have them.
Json Written(std::span<const std::string_view> examples) {
  Json list = Json::Array();
  for (const std::string_view example : examples) {
    list.Add(inspection::settings::AsWritten(example));
  }
  return list;
}

void PrintAddInSetting(std::string_view key) {
  const auto* const own = inspection::settings::FindAddInSetting(key);
  if (own == nullptr) return;
  PrintField("Read by", "the add-in");
  PrintField("Default", own->defaultValue);
  PrintField("Meaning", own->meaning);
}

int ShowChallengeKey(const ConfigOptions& options) {
  if (options.json) {
    fmt::print("{}\n", Json::Object()
                           .Add("internal", Json())
                           .Add("key", inspection::settings::kChallengeKey)
                           .Add("accepted", inspection::settings::kChallengeAccepted)
                           .Add("pattern", Json())
                           .Text());
    return kStatusDone;
  }
  PrintField("Key", inspection::settings::kChallengeKey);
  PrintField("Accepted", inspection::settings::kChallengeAccepted);
  PrintAddInSetting(inspection::settings::kChallengeKey);
  PrintField("Pattern", "none");
  return kStatusDone;
}

int ShowKey(const ConfigOptions& options) {
  if (options.key == inspection::settings::kChallengeKey) return ShowChallengeKey(options);
  const ConfigKey* setting = inspection::settings::FindByPublicKey(options.key);
  if (setting == nullptr) setting = g_configKeyTable.Find(options.key);
  if (setting == nullptr) {
    throw CommandError(fmt::format("unknown key \"{}\"{}", Printable(options.key),
                                   inspection::settings::SuggestedKey(options.key)));
  }
  const inspection::settings::SettingHelp& help = inspection::settings::HelpOn(*setting);
  if (options.json) {
    fmt::print("{}\n", Json::Object()
                           .Add("internal", setting->internalKey)
                           .Add("key", setting->publicKey)
                           .Add("accepted", help.accepted)
                           .Add("pattern", setting->pattern)
                           .Add("matches", Written(help.matches))
                           .Add("refused", Written(help.refused))
                           .Text());
    return kStatusDone;
  }
  PrintField("Key", setting->publicKey);
  PrintField("Internal key", setting->internalKey);
  PrintField("Accepted", help.accepted);
  PrintAddInSetting(setting->publicKey);
  for (const std::string_view example : help.matches) {
    PrintField("  matches", inspection::settings::AsWritten(example));
  }
  for (const std::string_view example : help.refused) {
    PrintField("  doesn't", inspection::settings::AsWritten(example));
  }
  PrintField("Pattern", setting->pattern);
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
  fmt::print("{}\n", Wrapped(fmt::format("{}:{}: {}: {}{}", Printable(file), finding.line,
                                         inspection::settings::NameOf(finding.severity), subject,
                                         Shortened(finding.message, 300)),
                             80, 4));
}

int CheckFile(const ConfigOptions& options) {
  if (!inspection::settings::JudgesValues()) {
    throw CommandError(
        "this build has no engine for the settings' patterns (PCRE2); check the file with quorvex "
        "on Linux");
  }
  RequireTextFile(options.file, kStatusUsage);
  const inspection::settings::SettingsReport report =
      inspection::settings::CheckSettings(options.file);
  if (!report.opened) RefuseFile(options.file, kStatusUsage);
  const int status = report.IsClean() ? kStatusDone : kStatusFindings;
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
                           .Add("findings", findings)
                           .Add("left_out", report.left)
                           .Text());
    return status;
  }
  for (const inspection::settings::Finding& finding : report.findings)
    PrintFinding(options.file, finding);
  if (report.left > 0) fmt::print("... and {} more\n", report.left);
  const std::string total = fmt::format(
      "{}: {} in {}, {}", Printable(options.file), Counted(report.settings, "known setting"),
      Counted(report.lines, "line"), report.IsClean() ? "nothing to fix" : "see above");
  fmt::print("{}\n", Wrapped(total, 80, 4));
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
          "  quorvex config keys --json",
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
          "Exit status: 0 clean (notes don't count), 1 findings, 3 wrong usage, or there is\n"
          "no such file.",
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
