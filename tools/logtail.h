// The add-in's own log beside its mails.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "tools/addin.h"

namespace tools {

class LogTail {
 public:
  // Has the add-in log and copies what it writes to `target`: a file, begun anew, or "-" for the
  // standard output. Raises std::runtime_error if the file can't be written or the add-in can't be
  // made to log.
  LogTail(AddIn& addIn, std::string target);
  // Copies the rest and removes the log that the add-in wrote.
  ~LogTail();

  LogTail(const LogTail&) = delete;
  LogTail& operator=(const LogTail&) = delete;

  // Copies what has been logged since the last call.
  void Show();

 private:
  std::string m_target;
  std::string m_logFile;
  std::ofstream m_output;
  std::uint64_t m_copied = 0;
};

}  // namespace tools
