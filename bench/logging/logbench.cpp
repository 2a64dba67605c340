// What a log line costs, beside the bare system calls and beside spdlog.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "logging/vrklogger.h"
#include "platform/files.h"
#include "platform/scopedhandle.h"
#include "tests/support/temporaryfolder.h"

namespace {

// A line of the usual length: a name, a number and some words.
constexpr const char* kName = "OutlookAttachment.17";
constexpr int kNumber = 4711;

// Of the same length as what the logger writes for it.
std::string BareLine() {
  return "(12345) 02/03/2024 04:05:06.007 Outlook> Err : Cannot read OutlookAttachment.17, and"
         " don't check attachment 4711\r\n";
}

int LogOne(CVRKLogger& logger, int level) {
  return logger.Log(kLogModule, level, "Cannot read %s, and don't check attachment %d", kName,
                    kNumber);
}

std::shared_ptr<spdlog::logger> SpdlogFile(const tests::TemporaryFolder& folder) {
  auto logger = std::make_shared<spdlog::logger>(
      "Outlook", std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder.Entry("spdlog.log")));
  // The same fields in the same order as in a line of ours.
  logger->set_pattern("(%t) %m/%d/%Y %H:%M:%S.%e %n> %l: %v\r");
  logger->flush_on(spdlog::level::trace);
  return logger;
}

void OffEmptyRegistry(benchmark::State& state) {
  CVRKLogger logger;
  benchmark::DoNotOptimize(&logger);
  for (auto _ : state) {
    benchmark::DoNotOptimize(LogOne(logger, kLogErr));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(OffEmptyRegistry);

void OffSpdlogLevel(benchmark::State& state) {
  const tests::TemporaryFolder folder;
  const auto logger = SpdlogFile(folder);
  logger->set_level(spdlog::level::critical);
  for (auto _ : state) {
    logger->error("Cannot read {}, and don't check attachment {}", kName, kNumber);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(OffSpdlogLevel);

// The module has a stream, but none that takes the level: the line is built and dropped.
void LineNobodyTakes(benchmark::State& state) {
  CVRKLogger logger;
  if (logger.AddStream(kLogModule, kLogCrit, "Dbg", nullptr) != 1) std::abort();
  for (auto _ : state) benchmark::DoNotOptimize(LogOne(logger, kLogErr));
}
BENCHMARK(LineNobodyTakes);

void LineBareSeekAndWrite(benchmark::State& state) {
  const tests::TemporaryFolder folder;
  const platform::ScopedHandle file(platform::files.CreateFileA(
      folder.Entry("bare.log").c_str(), platform::kGenericReadWrite, platform::kShareReadWrite,
      nullptr, platform::kCreateAlways, platform::kFileAttributeNormal));
  if (!file.IsOpen()) std::abort();
  const std::string line = BareLine();
  for (auto _ : state) {
    std::int32_t high = 0;
    platform::files.SetFilePointer(file.Get(), 0, &high, platform::kFileEnd);
    std::uint32_t written = 0;
    platform::files.WriteFile(file.Get(), line.data(), static_cast<std::uint32_t>(line.size()),
                              &written);
    if (written != line.size()) std::abort();
  }
}
BENCHMARK(LineBareSeekAndWrite);

void LineToFile(benchmark::State& state) {
  const tests::TemporaryFolder folder;
  CVRKLogger logger;
  if (logger.AddStream(kLogModule, 15, "File", folder.Entry("ours").c_str()) != 1) std::abort();
  for (auto _ : state) benchmark::DoNotOptimize(LogOne(logger, kLogErr));
}
BENCHMARK(LineToFile);

void LineToFileSpdlogFlushing(benchmark::State& state) {
  const tests::TemporaryFolder folder;
  const auto logger = SpdlogFile(folder);
  for (auto _ : state) {
    logger->error("Cannot read {}, and don't check attachment {}", kName, kNumber);
  }
}
BENCHMARK(LineToFileSpdlogFlushing);

}  // namespace

BENCHMARK_MAIN();
