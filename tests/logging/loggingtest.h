// Helpers for the logger's tests.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "logging/moduleloginfo.h"
#include "logging/vrklogger.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"

// A logger with its protected members public.
class OpenLogger : public CVRKLogger {
 public:
  using CVRKLogger::kLineSize;
  using CVRKLogger::m_cs;
  using CVRKLogger::m_logFiles;
  using CVRKLogger::m_szLine;
  using CVRKLogger::m_wszComputerName;
};

// Records what it is offered, with its own name, in a list that several streams may share.
class RecordingStream : public CBaseStream {
 public:
  struct Record {
    std::string stream;
    std::string text;
    bool operator==(const Record&) const = default;
  };

  RecordingStream(std::string name, std::vector<Record>* records)
      : m_name(std::move(name)), m_records(records) {}

  void Write(const char* text) override { m_records->push_back({m_name, text}); }

 private:
  std::string m_name;
  std::vector<Record>* m_records;
};

inline void PrintTo(const RecordingStream::Record& record, std::ostream* out) {
  *out << "{" << record.stream << ": \"" << record.text << "\"}";
}

// Adds a stream as the configuration does, then replaces it by a recording one.
inline void AddRecording(CVRKLogger& logger, const char* module, int mask, const char* name,
                         std::vector<RecordingStream::Record>* records) {
  if (logger.AddStream(module, mask, "Dbg", nullptr) != 1) throw std::runtime_error("AddStream");
  CModuleStreamWrapper* const wrapper = logger.FindModule(module)->m_pStreams;
  delete wrapper->m_pStream;
  wrapper->m_pStream = new RecordingStream(name, records);
}

// Fixes the time at 2024-02-03 04:05:06.007 and the thread at 42, and counts queries of the time.
class FixedStamp {
 public:
  std::uint32_t thread = 42;
  platform::LocalTime time{2024, 2, 3, 4, 5, 6, 7};
  int asked = 0;

 private:
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetLocalTime> m_time{
      [this](auto, platform::LocalTime* result) {
        ++asked;
        *result = time;
      }};
  platform::ScopedReplacement<platform::process, &platform::ProcessOperations::GetCurrentThreadId>
      m_thread{[this](auto) { return thread; }};
};

inline constexpr const char* kStamp = "(00042) 02/03/2024 04:05:06.007 ";

inline std::string FileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void MakeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
