#include "inspection/settings/settingscheck.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "config/profilereader.h"
#include "inspection/settings/settinghelp.h"
#include "inspection/settings/valuejudge.h"
#include "platform/textlines.h"

namespace inspection::settings {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct Setting {
  std::size_t line = 0;
  std::string key;    // as spelled
  std::string raw;    // without the blanks around it
  std::string value;  // decoded
};

class SettingsCheck {
 public:
  explicit SettingsCheck(SettingsReport* report) : m_report(*report) {}

  // False if the rest of the file can't be checked.
  bool TakeLine(std::string_view text);
  void Finish();

 private:
  void TakeProperty(std::string_view text, std::size_t equals);
  void Judge(const Setting& setting);
  void JudgeQuotes(const Setting& setting);
  void JudgeDecoding(const Setting& setting);
  void Add(std::size_t line, Severity severity, std::string key, std::string value,
           std::string message);

  SettingsReport& m_report;
  bool m_hasCr = false;
  std::map<std::string, Setting> m_settings;  // by key in lower case
};

void SettingsCheck::Add(std::size_t line, Severity severity, std::string key, std::string value,
                        std::string message) {
  if (m_report.findings.size() >= kMaxFindings) {
    ++m_report.left;
    return;
  }
  m_report.findings.push_back(
      {line, severity, std::move(key), std::move(value), std::move(message)});
}

bool SettingsCheck::TakeLine(std::string_view text) {
  const std::size_t line = ++m_report.lines;
  if (line == 1 && (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))) {
    Add(line, Severity::kError, "", "",
        "the file is UTF-16; the agent reads 8-bit text and finds no key in it");
    return false;
  }
  if (!m_hasCr && text.find('\r') != std::string_view::npos) {
    m_hasCr = true;
    Add(line, Severity::kError, "", "",
        "a CR without LF: the agent takes the whole file, or all up to the next LF, for one line");
  }
  if (text.find('\0') != std::string_view::npos) {
    Add(line, Severity::kError, "", "", "a NUL byte: this is no text file, the rest isn't read");
    return false;
  }
  std::size_t equals = text.find('=');
  if (line == 1 && text.starts_with(kByteOrderMark)) {
    const bool property = equals != std::string_view::npos;
    text.remove_prefix(kByteOrderMark.size());
    std::string key(text.substr(0, property ? equals - kByteOrderMark.size() : 0));
    Add(line, Severity::kWarning, TrimBlanks(key), "",
        property
            ? "the file begins with a byte-order mark: it is part of this key, which is not found"
            : "the file begins with a byte-order mark, which the agent doesn't know");
    return true;
  }
  if (equals != std::string_view::npos) {
    TakeProperty(text, equals);
    return true;
  }
  std::string trimmed(text.substr(0, 100));
  TrimBlanks(trimmed);
  if (!trimmed.empty() && trimmed.front() != '#') {
    Add(line, Severity::kWarning, "", trimmed, "no \"=\": the line is skipped");
  }
  return true;
}

void SettingsCheck::TakeProperty(std::string_view text, std::size_t equals) {
  Setting setting;
  setting.line = m_report.lines;
  setting.key = text.substr(0, equals);
  TrimBlanks(setting.key);
  setting.raw = text.substr(equals + 1);
  TrimBlanks(setting.raw);
  setting.value = UnescapeValue(setting.raw);
  if (setting.key.starts_with('#')) return;  // no setting has such a key, so it is a comment

  std::string name = setting.key;
  ToLowerInPlace(name);
  if (name != kChallengeKey && FindByPublicKey(name) == nullptr) {
    Add(setting.line, Severity::kError, setting.key, setting.value,
        setting.key.empty() ? "no key before \"=\"" : "unknown key" + SuggestedKey(setting.key));
    return;
  }
  Setting& last = m_settings[name];
  if (last.line != 0) {
    Add(setting.line, Severity::kWarning, setting.key, setting.value,
        "already set in line " + std::to_string(last.line) + "; this later line counts");
  }
  last = std::move(setting);
}

void SettingsCheck::JudgeQuotes(const Setting& setting) {
  const std::string& raw = setting.raw;
  if (raw.size() < 2 || raw.front() != raw.back()) return;
  if (raw.front() != '"' && raw.front() != '\'') return;
  Add(setting.line, Severity::kWarning, setting.key, setting.value,
      "the quotes are part of the value");
}

void SettingsCheck::JudgeDecoding(const Setting& setting) {
  if (setting.value == setting.raw) return;
  const bool control =
      std::any_of(setting.value.begin(), setting.value.end(),
                  [](char character) { return character < ' ' && character >= 0; }) &&
      std::none_of(setting.raw.begin(), setting.raw.end(),
                   [](char character) { return character < ' ' && character >= 0; });
  Add(setting.line, control ? Severity::kWarning : Severity::kNote, setting.key, setting.value,
      control ? "written " + setting.raw +
                    ": decodes to control characters (a backslash itself is written \\\\)"
              : "written " + setting.raw + ": decodes to the value shown here");
}

void SettingsCheck::Judge(const Setting& setting) {
  JudgeQuotes(setting);
  JudgeDecoding(setting);
  const ConfigKey* const row = FindByPublicKey(setting.key);
  if (row == nullptr) {
    if (setting.value != "true" && setting.value != "false") {
      Add(setting.line, Severity::kError, setting.key, setting.value,
          "not accepted: " + std::string(kChallengeAccepted));
    }
    return;
  }
  const ValueJudgement judgement = JudgeValue(row->pattern, setting.value);
  const std::string accepted(HelpOn(*row).accepted);
  if (judgement == ValueJudgement::kRefused) {
    Add(setting.line, Severity::kError, setting.key, setting.value,
        "not accepted; accepted is: " + accepted);
  } else if (judgement == ValueJudgement::kTooComplex) {
    Add(setting.line, Severity::kError, setting.key, setting.value,
        "too complex to check; accepted is: " + accepted);
  } else if (judgement == ValueJudgement::kNotChecked) {
    ++m_report.notChecked;
    Add(setting.line, Severity::kNotChecked, setting.key, setting.value,
        "quorvex for Windows can't check it; accepted is: " + accepted);
  }
}

void SettingsCheck::Finish() {
  m_report.settings = m_settings.size();
  for (const auto& [name, setting] : m_settings) Judge(setting);
  std::stable_sort(m_report.findings.begin(), m_report.findings.end(),
                   [](const Finding& one, const Finding& other) { return one.line < other.line; });
}

}  // namespace

const char* NameOf(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kWarning:
      return "warning";
    case Severity::kNotChecked:
      return "not checked";
    case Severity::kError:
      break;
  }
  return "error";
}

bool SettingsReport::IsClean() const {
  return !NeedsFixing() && notChecked == 0;
}

bool SettingsReport::NeedsFixing() const {
  return left > 0 || std::any_of(findings.begin(), findings.end(), [](const Finding& finding) {
           return finding.severity == Severity::kWarning || finding.severity == Severity::kError;
         });
}

SettingsReport CheckSettings(const std::string& path) {
  SettingsReport report;
  platform::TextLines lines(path.c_str());
  report.opened = lines.IsOpen();
  if (!report.opened) return report;
  SettingsCheck check(&report);
  std::string_view piece;
  bool inside = false;  // of a line that is too long
  while (lines.NextPiece(kMaxSettingsLine + 1, &piece)) {
    const bool ended = piece.ends_with('\n');
    if (ended) piece.remove_suffix(1);
    if (!inside && !ended && piece.size() > kMaxSettingsLine) {
      ++report.lines;
      if (report.findings.size() < kMaxFindings) {
        report.findings.push_back({report.lines, Severity::kError, "", "",
                                   "a line of more than 65535 characters, not checked"});
      } else {
        ++report.left;
      }
      inside = true;
    } else if (!inside && !check.TakeLine(piece)) {
      break;
    }
    inside = inside && !ended;
  }
  check.Finish();
  return report;
}

}  // namespace inspection::settings
