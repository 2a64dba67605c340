// What the add-in makes of a Logger.cfg.
//
// Reads the file line by line with the logger's own functions, so that a file of any size takes
// little memory. Opens no stream.
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

// A line that is neither empty nor a comment. The texts hold the file's bytes: make them printable
// before you print them.
struct LoggerLine {
  std::size_t line = 0;  // from 1; the rest of a line that the logger cuts has the same number
  LoggerLineKind kind = LoggerLineKind::kSkipped;
  std::string module;  // empty if kSkipped
  std::string what;    // which stream, or why none
  std::string file;    // the path of a stream of files
  std::vector<std::string> warnings;
};

struct LoggerReport {
  bool opened = false;              // false: there is no such file, or it can't be opened
  std::size_t streams = 0;          // of all modules
  std::size_t addInStreams = 0;     // of the add-in's module, "Outlook"
  std::size_t refused = 0;          // lines that make none, including the skipped ones
  std::size_t warnings = 0;         // of lines and of the file
  std::vector<std::string> onFile;  // warnings on the file as a whole

  bool IsClean() const { return refused == 0 && warnings == 0; }
};

// Calls `show` for each line in order. `path` has the form that platform::TextLines expects. With
// `looksAtFolders` it also checks whether this machine has the folders and lets this user create
// files in them, by creating and deleting one; paths of another system are left out.
LoggerReport CheckLoggerConfig(const std::string& path,
                               const std::function<void(const LoggerLine&)>& show,
                               bool looksAtFolders);

}  // namespace inspection::logs
