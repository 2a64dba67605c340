#include "tools/logtail.h"

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <stdexcept>

namespace tools {

LogTail::LogTail(AddIn& addIn, std::string target) : m_target(std::move(target)) {
  if (m_target != "-") {
    m_output.open(m_target, std::ios::binary | std::ios::trunc);
    if (!m_output) throw std::runtime_error("the log file " + m_target + " can't be written");
  }
  const auto base = std::filesystem::temp_directory_path() /
                    ("quorvex-send-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)));
  const auto started = addIn.StartLog(base.string());
  if (!started) {
    throw std::runtime_error(
        "this add-in takes its log settings from Logger.cfg in the system directory only");
  }
  m_logFile = *started;
}

LogTail::~LogTail() {
  Show();
  std::error_code error;
  std::filesystem::remove(m_logFile, error);
}

void LogTail::Show() {
  std::ifstream log(m_logFile, std::ios::binary);
  if (!log) return;
  log.seekg(static_cast<std::streamoff>(m_copied));
  const std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  m_copied += text.size();
  if (m_target == "-") {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  } else {
    m_output << text << std::flush;
  }
}

}  // namespace tools
