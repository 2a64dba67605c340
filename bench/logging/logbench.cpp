// What a log line costs, compared with the bare system calls and, natively, with spdlog.
#if __has_include(<spdlog/spdlog.h>)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#define HAS_SPDLOG 1
#endif

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/median.h"
#include "logging/vrklogger.h"
#include "platform/files.h"
#include "platform/scopedhandle.h"
#include "tests/support/temporaryfolder.h"

namespace {

// One measurement is so many lines, since a line takes less than the clock can tell.
constexpr int kLines = 1000;
constexpr int kRounds = 200;

// A line of the usual length: a name, a number and some words.
constexpr const char* kName = "OutlookAttachment.17";
constexpr int kNumber = 4711;

// Of the same length as what the logger writes for it.
std::string BareLine() {
  return "(12345) 02/03/2024 04:05:06.007 Outlook> Err : Cannot read OutlookAttachment.17, and"
         " don't check attachment 4711\r\n";
}

int LogOne(CVRKLogger& logger) {
  return logger.Log(kLogModule, kLogErr, "Cannot read %s, and don't check attachment %d", kName,
                    kNumber);
}

// Adds the time of one line.
template <typename Line>
void TimeLines(bench::Samples& samples, Line&& line) {
  samples.TimeEach(kLines, [&] {
    for (int i = 0; i < kLines; ++i) line();
  });
}

// The file that a line is written to in one seek and one write.
class BareFile {
 public:
  explicit BareFile(const std::string& path)
      : m_file(platform::files.CreateFileA(
            path.c_str(), platform::kGenericReadWrite, platform::kShareReadWrite, nullptr,
            platform::kCreateAlways, platform::kFileAttributeNormal)) {
    if (!m_file.IsOpen()) std::abort();
  }
  void Write() const {
    std::int32_t high = 0;
    platform::files.SetFilePointer(m_file.Get(), 0, &high, platform::kFileEnd);
    std::uint32_t written = 0;
    platform::files.WriteFile(m_file.Get(), m_line.data(),
                              static_cast<std::uint32_t>(m_line.size()), &written);
    if (written != m_line.size()) std::abort();
  }

 private:
  const std::string m_line = BareLine();
  platform::ScopedHandle m_file;
};

#ifdef HAS_SPDLOG

class Spdlog {
 public:
  explicit Spdlog(const std::string& path)
      : m_logger("Outlook", std::make_shared<spdlog::sinks::basic_file_sink_mt>(path)) {
    // The same fields in the same order as in a line of ours.
    m_logger.set_pattern("(%t) %m/%d/%Y %H:%M:%S.%e %n> %l: %v\r");
    m_logger.flush_on(spdlog::level::trace);
  }
  void Off() { m_logger.set_level(spdlog::level::critical); }
  void Log() { m_logger.error("Cannot read {}, and don't check attachment {}", kName, kNumber); }

 private:
  spdlog::logger m_logger;
};

#endif

// In turns, so that what disturbs the machine disturbs all of them.
void ToFile(const bench::Table& table) {
  const tests::TemporaryFolder folder;
  const BareFile bare(folder.Entry("bare.log"));
  CVRKLogger logger;
  if (logger.AddStream(kLogModule, 15, "File", folder.Entry("ours").c_str()) != 1) std::abort();
  bench::Samples bareLines;
  bench::Samples ourLines;
#ifdef HAS_SPDLOG
  Spdlog spdlog(folder.Entry("spdlog.log"));
  bench::Samples spdlogLines;
#endif
  for (int round = 0; round < kRounds; ++round) {
    TimeLines(bareLines, [&] { bare.Write(); });
    TimeLines(ourLines, [&] {
      if (LogOne(logger) != 1) std::abort();
    });
#ifdef HAS_SPDLOG
    TimeLines(spdlogLines, [&] { spdlog.Log(); });
#endif
  }
  table.Row("A line to a file", ourLines);
  table.Row("A line to a file, bare seek and write", bareLines);
#ifdef HAS_SPDLOG
  table.Row("A line to a file, spdlog, flushing", spdlogLines);
#endif
}

void ToNothing(const bench::Table& table) {
  CVRKLogger empty;
  CVRKLogger deaf;  // its stream doesn't take the level: the line is built and dropped
  if (deaf.AddStream(kLogModule, kLogCrit, "Dbg", nullptr) != 1) std::abort();
  bench::Samples emptyLines;
  bench::Samples deafLines;
#ifdef HAS_SPDLOG
  const tests::TemporaryFolder folder;
  Spdlog spdlog(folder.Entry("spdlog.log"));
  spdlog.Off();
  bench::Samples spdlogLines;
#endif
  for (int round = 0; round < kRounds; ++round) {
    TimeLines(emptyLines, [&] {
      if (LogOne(empty) != 0) std::abort();
    });
    TimeLines(deafLines, [&] {
      if (LogOne(deaf) != 1) std::abort();
    });
#ifdef HAS_SPDLOG
    TimeLines(spdlogLines, [&] { spdlog.Log(); });
#endif
  }
  table.Row("A line without a stream", emptyLines);
  table.Row("A line that no stream takes", deafLines);
#ifdef HAS_SPDLOG
  table.Row("A line, spdlog, level off", spdlogLines);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Table table(argc, argv);
  ToFile(table);
  ToNothing(table);
  return 0;
}
