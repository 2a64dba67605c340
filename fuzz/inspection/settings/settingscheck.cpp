// The check of the settings file. The first two bytes set the size of reads and where they fail;
// the rest is the file. The check must find the settings that ProfileReader finds, with the same
// values.
#include <algorithm>
#include <string>
#include <string_view>

#include "config/configkeytable.h"
#include "config/profilereader.h"
#include "fuzz/fuzzing.h"
#include "inspection/settings/settingscheck.h"

namespace {

using fuzzing::Require;
using inspection::settings::Finding;
using inspection::settings::SettingsReport;
using inspection::settings::Severity;

// A default that no file contains: files with a NUL aren't compared.
const std::string kUnset(1, '\0');

ProfileMap AllSettings() {
  ProfileMap wanted = {{"use_challenge_response", kUnset}};
  for (const ConfigKey& row : g_configKeyTable) {
    std::string key(row.publicKey);
    ToLowerInPlace(key);
    wanted[key] = kUnset;
  }
  return wanted;
}

void CheckFindings(const SettingsReport& report) {
  Require(report.findings.size() <= inspection::settings::kMaxFindings, "findings have a limit");
  bool isClean = report.left == 0;
  std::size_t lastLine = 0;
  for (const Finding& finding : report.findings) {
    Require(finding.line >= lastLine && finding.line <= report.lines, "findings are in order");
    lastLine = finding.line;
    Require(!finding.message.empty(), "a finding says what is wrong");
    isClean = isClean && finding.severity == Severity::kNote;
  }
  Require(report.IsClean() == isClean, "a clean report has only notes");
}

// Compares the report with what the add-in's own reader finds.
void CompareWithReader(const SettingsReport& report, const ProfileMap& found) {
  const auto set = std::count_if(found.begin(), found.end(),
                                 [](const auto& entry) { return entry.second != kUnset; });
  Require(report.settings == static_cast<std::size_t>(set), "the settings that the reader finds");
  for (const Finding& finding : report.findings) {
    if (!finding.message.starts_with("not accepted")) continue;
    std::string key = finding.key;
    ToLowerInPlace(key);
    Require(found.at(key) == finding.value, "a rejected value is the one that the reader finds");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::MemoryFile file;
  fuzzing::Input input(data, size);
  const std::size_t piece = input.Byte();
  const std::size_t failure = input.Byte();
  const fuzzing::ExactBytes content(input.Rest());
  const std::string_view bytes = content.View();
  const std::size_t failsAfter = failure == 0 ? bytes.size() + 1 : 16 * failure;

  file.Set(bytes, piece == 0 ? bytes.size() : piece, failsAfter);
  const SettingsReport report = inspection::settings::CheckSettings("vrk.pro");
  Require(report.opened && file.OpenHandles() == 0, "the file is read and closed");
  CheckFindings(report);

  // The check stops at a NUL and at UTF-16, and skips lines of more than kMaxSettingsLine.
  const std::string_view read = bytes.substr(0, failsAfter);
  const bool isWhole = read.find('\0') == std::string_view::npos && !read.starts_with("\xFF\xFE") &&
                       !read.starts_with("\xFE\xFF") &&
                       read.size() <= inspection::settings::kMaxSettingsLine;
  if (!isWhole) return 0;
  const auto ends = static_cast<std::size_t>(std::count(read.begin(), read.end(), '\n'));
  Require(report.lines == ends + (read.empty() || read.ends_with('\n') ? 0 : 1),
          "every line is counted");
  file.Set(bytes, piece == 0 ? bytes.size() : piece, failsAfter);
  ProfileMap found = AllSettings();
  Require(ProfileReader("vrk.pro", found), "the reader opens the file");
  CompareWithReader(report, found);
  return 0;
}
