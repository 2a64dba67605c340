// The lines of Logger.cfg.
//
// A line holds a module, a mask, a stream type and a parameter, divided by white space. There are
// no keys and no sections. Whoever reads such a file goes through here, so that a checker sees the
// same lines and fields as the logger.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/textlines.h"

namespace logging {

// Sizes of the fields and of the line, each with its NUL.
inline constexpr std::size_t kModuleFieldSize = 16;
inline constexpr std::size_t kMaskFieldSize = 4;
inline constexpr std::size_t kTypeFieldSize = 8;
inline constexpr std::size_t kParameterFieldSize = 260;
inline constexpr std::size_t kConfigLineSize = 292;

struct ConfigFields {
  std::string module;
  std::string mask;
  std::string type;
  std::string parameter;
};

// Reads the file's lines: up to 291 characters with the line end, which stays in the line. The rest
// of a longer line is a line of its own. A line with a NUL in it ends there.
class ConfigLines {
 public:
  explicit ConfigLines(const char* path) : m_lines(path) {}

  bool IsOpen() const { return m_lines.IsOpen(); }
  // False at the end of the file. The line is valid until the next call.
  bool Next(std::string_view* line);

 private:
  platform::TextLines m_lines;
};

// True if the line's very first character is ";", or if it has none.
bool IsConfigComment(std::string_view line);

// Scans a line into its fields. Missing fields are empty. A token that doesn't fit its field leaves
// that one and those behind it empty.
ConfigFields ScanConfigLine(std::string_view line);

// Puts in place of a "File" line's parameter all that stands from the first occurrence of it to
// the last character of the line that is not a blank, tab, CR or LF, so that blanks inside a path
// stay. The search begins at the line's first character: a parameter whose first word stands
// earlier in the line begins there. Lines of other types and without parameter stay as they are.
// False if the result doesn't fit the field; the parameter is then empty.
bool RecoverFileParameter(std::string_view line, ConfigFields* fields);

}  // namespace logging
