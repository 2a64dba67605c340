// What is wrong with a property file.
//
// The file is read with the decoder of ProfileReader, line by line, so that a file of any size
// takes little memory. The last line of a key counts, and only its value is judged.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace inspection::settings {

enum class Severity {
  kNote,     // worth knowing, nothing to mend
  kWarning,  // read, but perhaps not as meant
  kError,    // not read, or not accepted
};

// "note", "warning", "error".
const char* NameOf(Severity severity);

// Something at a line. Texts are the file's own bytes: whoever shows them makes them printable.
struct Finding {
  std::size_t line = 0;  // from 1
  Severity severity = Severity::kError;
  std::string key;      // as the file spells it; empty where the line has none
  std::string value;    // decoded; empty where it doesn't matter
  std::string message;  // what is the matter, in words
};

struct SettingsReport {
  bool opened = false;            // false: there is no such file, or it can't be read
  std::size_t lines = 0;          // of the file
  std::size_t settings = 0;       // known keys that the file sets
  std::size_t left = 0;           // findings beyond the first kMaxFindings, not kept
  std::vector<Finding> findings;  // in the order of their lines

  // True if nothing needs mending: notes alone don't count.
  bool IsClean() const;
};

inline constexpr std::size_t kMaxFindings = 1000;
// A longer line is not looked at further.
inline constexpr std::size_t kMaxSettingsLine = 65535;

// `path` as platform::TextLines takes it. Needs JudgesValues().
SettingsReport CheckSettings(const std::string& path);

}  // namespace inspection::settings
