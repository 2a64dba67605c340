// The check of Logger.cfg. The first byte sets the size of reads; the rest is the file. What the
// check reports must be what the logger does with the same file, and its totals must match its
// lines.
#include <algorithm>
#include <string>

#include "fuzz/fuzzing.h"
#include "inspection/logs/loggercheck.h"
#include "logging/moduleloginfo.h"
#include "logging/runtimetext.h"

namespace {

using fuzzing::Require;
using inspection::logs::LoggerLine;
using inspection::logs::LoggerLineKind;

class OpenLogger : public CVRKLogger {
 public:
  std::size_t Streams() const {
    std::size_t streams = 0;
    for (const CModuleLogInfo* module = m_pModules.load(); module != nullptr;
         module = module->m_pNext) {
      streams += StreamsOf(module);
    }
    return streams;
  }
  static std::size_t StreamsOf(const CModuleLogInfo* module) {
    std::size_t streams = 0;
    if (module == nullptr) return streams;
    for (const CModuleStreamWrapper* at = module->m_pStreams; at != nullptr; at = at->m_pNext) {
      ++streams;
    }
    return streams;
  }
};

// Adds up the lines of a report.
struct Totals {
  std::size_t lastLine = 0;
  std::size_t streams = 0;
  std::size_t refused = 0;
  std::size_t withoutStream = 0;
  std::size_t warnings = 0;

  void Take(const LoggerLine& line) {
    Require(line.line >= lastLine, "lines are in order");
    lastLine = line.line;
    streams += line.kind == LoggerLineKind::kStream ? 1 : 0;
    refused += line.kind == LoggerLineKind::kRefused ? 1 : 0;
    withoutStream += line.kind == LoggerLineKind::kStream ? 0 : 1;
    warnings += line.warnings.size();
    Require((line.kind == LoggerLineKind::kSkipped) == line.module.empty(),
            "only a skipped line has no module");
    Require(!line.what.empty(), "every line has an explanation");
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::MemoryFile file;
  fuzzing::Input input(data, size);
  const std::size_t piece = input.Byte();
  const fuzzing::ExactBytes content(input.Rest());
  const std::size_t length = content.View().size();
  file.Set(content.View(), piece == 0 ? length : piece, length + 1);

  Totals totals;
  const inspection::logs::LoggerReport report = inspection::logs::CheckLoggerConfig(
      "Logger.cfg", [&totals](const LoggerLine& line) { totals.Take(line); }, false);
  Require(report.opened && file.OpenHandles() == 0, "the file is read and closed");
  Require(report.streams == totals.streams, "the streams add up");
  Require(report.refused == totals.withoutStream, "the lines without a stream add up");
  Require(report.warnings == totals.warnings + report.onFile.size(), "the warnings add up");

  file.Set(content.View(), piece == 0 ? length : piece, length + 1);
  OpenLogger logger;
  const int result = logger.LoadConfigFile("Logger.cfg");
  Require(report.streams == logger.Streams(), "the logger has the reported streams");
  Require(report.addInStreams == OpenLogger::StreamsOf(logger.FindModule(kLogModule)),
          "the add-in has the reported streams");
  Require((result == 1) == (totals.refused == 0), "the logger rejects the reported lines");
  return 0;
}
