// Captures what the product logs while a test runs.
//
//   tests::LogCapture log;
//   ... call the product ...
//   EXPECT_THAT(log.Lines(), ElementsAre(tests::LoggedLine{kLogErr, "Cannot get subject"}));
#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "logging/vrklogger.h"
#include "platform/diagnostics.h"
#include "platform/scopedreplacement.h"
#include "tests/support/temporaryfolder.h"
#include "text/textconversion.h"

namespace tests {

// One line of the log without its stamp, module and line end.
struct LoggedLine {
  int level;  // kLogInfo, kLogWarn, kLogErr or kLogCrit; 0 for a level of another name
  std::string message;

  friend bool operator==(const LoggedLine&, const LoggedLine&) = default;
  friend std::ostream& operator<<(std::ostream& out, const LoggedLine& line) {
    return out << "{" << CVRKLogger::LevelName(line.level) << ", \"" << line.message << "\"}";
  }
};

// The length of a prefix "(00042) 12/31/2024 23:59:59.999 Outlook> Err : " for `module`, or 0 if
// `text` doesn't begin with one. Stores the level's bit in `*level`.
inline std::size_t ParseLinePrefix(std::string_view text, std::string_view module, int* level) {
  constexpr std::string_view kStamp = ") 00/00/0000 00:00:00.000 ";
  std::size_t at = text.starts_with('(') ? 1 : 0;
  if (at == 0) return 0;
  while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) != 0) ++at;
  if (at < 6) return 0;
  for (const char expected : kStamp) {
    if (at == text.size()) return 0;
    const bool digit = std::isdigit(static_cast<unsigned char>(text[at])) != 0;
    if (expected == '0' ? !digit : text[at] != expected) return 0;
    ++at;
  }
  text.remove_prefix(at);
  if (!text.starts_with(module) || text.substr(module.size(), 2) != "> ") return 0;
  text.remove_prefix(module.size() + 2);
  if (text.substr(4, 2) != ": ") return 0;
  *level = 0;
  for (const int bit : {kLogInfo, kLogWarn, kLogErr, kLogCrit}) {
    if (text.starts_with(CVRKLogger::LevelName(bit))) *level = bit;
  }
  return at + module.size() + 2 + 6;
}

// Splits the text of a log into lines. A message may contain line ends: a line ends where the next
// prefix begins. Throws std::runtime_error if the text isn't a log.
inline std::vector<LoggedLine> ParseLog(std::string_view text, std::string_view module) {
  std::vector<LoggedLine> lines;
  while (!text.empty()) {
    LoggedLine line{};
    const std::size_t prefix = ParseLinePrefix(text, module, &line.level);
    if (prefix == 0) throw std::runtime_error("no log line: " + std::string(text));
    text.remove_prefix(prefix);
    int ignored = 0;
    std::size_t end = text.find("\r\n");
    while (end != std::string_view::npos && end + 2 != text.size() &&
           ParseLinePrefix(text.substr(end + 2), module, &ignored) == 0) {
      end = text.find("\r\n", end + 1);
    }
    if (end == std::string_view::npos) throw std::runtime_error("no line end");
    line.message = std::string(text.substr(0, end));
    text.remove_prefix(end + 2);
    lines.push_back(std::move(line));
  }
  return lines;
}

// Registers a stream with g_logger. The destructor removes all streams of g_logger, so only one
// capture may exist, and no other stream beside it.
class LogCapture {
 public:
  // Through a file; or, for a test that makes file operations fail, through the debugger's output,
  // where bytes that aren't UTF-8 show as U+FFFD.
  enum class Through { kFile, kDebugger };

  // Captures the lines whose level shares a bit with `mask`.
  explicit LogCapture(Through way = Through::kFile,
                      int mask = kLogInfo | kLogWarn | kLogErr | kLogCrit,
                      const char* module = kLogModule)
      : m_module(module) {
    if (way == Through::kDebugger) {
      m_debugger.emplace(
          [this](auto, const platform::WideChar* text) { m_debuggerText += WideToUtf8(text); });
    }
    const char* const type = way == Through::kFile ? "File" : "Dbg";
    if (g_logger.AddStream(module, mask, type, m_folder.Entry("captured").c_str()) != 1) {
      throw std::runtime_error("the log can't be captured");
    }
  }

  ~LogCapture() { g_logger.RemoveAllModules(); }

  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The text of the log since the beginning or the last Forget.
  std::string Text() const {
    std::string text = m_debuggerText;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
      std::ifstream file(entry.path(), std::ios::binary);
      text.append(std::istreambuf_iterator<char>(file), {});
    }
    return text.substr(std::min(m_forgotten, text.size()));
  }

  // The lines of that text.
  std::vector<LoggedLine> Lines() const { return ParseLog(Text(), m_module); }

  std::vector<std::string> Messages() const {
    std::vector<std::string> messages;
    for (LoggedLine& line : Lines()) messages.push_back(std::move(line.message));
    return messages;
  }

  bool Has(int level, std::string_view message) const {
    const std::vector<LoggedLine> lines = Lines();
    return std::any_of(lines.begin(), lines.end(), [&](const LoggedLine& line) {
      return line.level == level && line.message == message;
    });
  }

  // The functions above ignore what was logged so far.
  void Forget() { m_forgotten += Text().size(); }

 private:
  using Debugger =
      platform::ScopedReplacement<platform::diagnostics,
                                  &platform::DiagnosticsOperations::OutputDebugStringW>;

  TemporaryFolder m_folder;
  std::string m_module;
  std::string m_debuggerText;  // written under the logger's lock
  std::optional<Debugger> m_debugger;
  std::size_t m_forgotten = 0;
};

}  // namespace tests
