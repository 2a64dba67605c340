// Parsing of Logger.cfg.
//
// A line contains module, mask, stream type and parameter, separated by white space. There are no
// keys and no sections. Checkers use these functions too, so that they see the same fields as the
// logger.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/textlines.h"

namespace logging {

// Sizes of fields and line, each including the NUL.
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

// Reads lines of up to 291 characters, including the line end, which stays. The rest of a longer
// line is the next line. A NUL ends its line.
class ConfigLines {
 public:
  explicit ConfigLines(const char* path) : m_lines(path) {}

  bool IsOpen() const { return m_lines.IsOpen(); }
  // Returns false at the end of the file. The line is valid until the next call.
  bool Next(std::string_view* line);

 private:
  platform::TextLines m_lines;
};

// True if the line is empty or its first character is ";".
bool IsConfigComment(std::string_view line);

// Splits a line into fields. Missing ones are empty, and so are a token that doesn't fit its field
// and all after it.
ConfigFields ScanConfigLine(std::string_view line);

// Recovers blanks in the path of a "File" line: extends the parameter up to the last character of
// the line that isn't blank, tab, CR or LF. Searches the parameter from the start of the line, so
// if its first word occurs earlier, it begins there. Does nothing for other types and without a
// parameter. Returns false, with an empty parameter, if the result doesn't fit the field.
bool RecoverFileParameter(std::string_view line, ConfigFields* fields);

}  // namespace logging
