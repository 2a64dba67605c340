// What the add-in makes of a Logger.cfg.
//
// The file is read by the logger's own reader of lines and fields, line by line, so that a file of
// any size takes little memory. No stream is opened.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace inspection::logs {

enum class LoggerLineKind {
  kStream,   // makes a stream
  kRefused,  // names a module but makes none
  kSkipped,  // names no module
};

// "stream", "refused", "skipped".
const char* NameOf(LoggerLineKind kind);

// A line that is neither empty nor a comment. Texts hold the file's own bytes: whoever shows them
// makes them printable.
struct LoggerLine {
  std::size_t line = 0;  // from 1; the rest of a line that was cut has its number too
  LoggerLineKind kind = LoggerLineKind::kSkipped;
  std::string module;  // empty if kSkipped
  std::string what;    // which stream, or why none
  std::vector<std::string> warnings;
};

struct LoggerReport {
  bool opened = false;              // false: there is no such file, or it can't be read
  std::size_t streams = 0;          // of all modules
  std::size_t addInStreams = 0;     // of the add-in's module, "Outlook"
  std::size_t refused = 0;          // lines that make none, the skipped ones among them
  std::size_t warnings = 0;         // of lines and of the file
  std::vector<std::string> onFile;  // warnings on the file as a whole

  bool IsClean() const { return refused == 0 && warnings == 0; }
};

// Calls `show` for each line in their order. `path` as platform::TextLines takes it.
LoggerReport CheckLoggerConfig(const std::string& path,
                               const std::function<void(const LoggerLine&)>& show);

}  // namespace inspection::logs
