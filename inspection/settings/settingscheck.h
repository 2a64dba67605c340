// What is wrong with a property file.
//
// Reads the file line by line with ProfileReader's decoder, so that a file of any size takes little
// memory. If a key occurs twice the last line counts, and only its value is checked.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace inspection::settings {

enum class Severity {
  kNote,       // worth knowing, nothing to fix
  kWarning,    // read, but perhaps not as intended
  kError,      // not read, or not accepted
  kNotChecked  // this build can't tell whether the value is accepted
};

// "note", "warning", "error", "not checked".
const char* NameOf(Severity severity);

// A remark on a line. Texts hold the file's bytes: make them printable before you print them.
struct Finding {
  std::size_t line = 0;  // from 1
  Severity severity = Severity::kError;
  std::string key;      // as the file spells it; empty where the line has none
  std::string value;    // decoded; empty where it doesn't matter
  std::string message;  // what is wrong, in words
};

struct SettingsReport {
  bool opened = false;            // false: there is no such file, or it can't be opened
  std::size_t lines = 0;          // of the file
  std::size_t settings = 0;       // known keys that the file sets
  std::size_t left = 0;           // how many findings were dropped after kMaxFindings
  std::size_t notChecked = 0;     // values that this build can't check
  std::vector<Finding> findings;  // in the order of their lines

  // True if every value was checked and nothing needs fixing: notes don't count.
  bool IsClean() const;
  // True if there is a warning or an error.
  bool NeedsFixing() const;
};

inline constexpr std::size_t kMaxFindings = 1000;
// The check ignores the rest of a longer line.
inline constexpr std::size_t kMaxSettingsLine = 65535;

// `path` has the form that platform::TextLines expects.
SettingsReport CheckSettings(const std::string& path);

}  // namespace inspection::settings
