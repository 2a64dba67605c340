// Copies the add-in's own log next to the results of `quorvex send`.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "tools/addin.h"

namespace tools {

class LogTail {
 public:
  // Starts the add-in's log and copies it to `target`: a file, which is overwritten, or "-" for
  // standard output. Raises std::runtime_error if the file can't be written, or if this add-in's
  // log can't be started.
  LogTail(AddIn& addIn, std::string target);
  // Copies the rest and deletes the log that the add-in wrote.
  ~LogTail();

  LogTail(const LogTail&) = delete;
  LogTail& operator=(const LogTail&) = delete;

  // Copies what the add-in has logged since the last call.
  void Show();

 private:
  std::string m_target;
  std::string m_logFile;
  std::ofstream m_output;
  std::uint64_t m_copied = 0;
};

}  // namespace tools
