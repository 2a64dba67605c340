#include "tools/logsources.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "platform/clock.h"
#include "tools/bundlefile.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

namespace {

// How much of each file is compared with the others.
constexpr std::size_t kHeadSize = 65'536;
// How much of a file is searched for its first line of the log.
constexpr std::size_t kSearchedLines = 10'000;
constexpr std::uint32_t kLookAgainMs = 200;

// Where the number is in "mail.PC17_0.log"; npos for other names.
std::size_t RingNumberAt(std::string_view path) {
  if (path.ends_with(".gz")) path.remove_suffix(3);
  constexpr std::string_view kEnd = "_0.log";
  if (path.size() < kEnd.size() || !path.ends_with(".log")) return std::string_view::npos;
  const std::size_t at = path.size() - kEnd.size();
  const bool isDigit = path[at + 1] >= '0' && path[at + 1] <= '9';
  return path[at] == '_' && isDigit ? at + 1 : std::string_view::npos;
}

// "PC17" for "mail.PC17_0.log": the logger puts the computer's name there.
std::string MachineOf(std::string_view path) {
  const std::size_t number = RingNumberAt(path);
  if (number == std::string_view::npos) return {};
  const std::string_view before = path.substr(0, number - 1);
  const std::size_t leaf = before.find_last_of("/\\") + 1;
  const std::size_t dot = before.rfind('.');
  if (dot == std::string_view::npos || dot < leaf) return {};
  return std::string(before.substr(dot + 1));
}

}  // namespace

LogSources::LogSources(const std::vector<std::string>& paths, bool isFollowed)
    : m_isFollowed(isFollowed) {
  for (const std::string& path : paths) {
    if (path != "-") RequireFile(path, kStatusUsage);
  }
  for (const std::string& path : paths) {
    if (path != "-" && IsBundle(path)) {
      AddBundle(path);
    } else if (auto source = Open(path)) {
      Add(std::move(source));
    }
  }
  std::stable_sort(m_sources.begin(), m_sources.end(),
                   [](const auto& one, const auto& other) { return one->begins < other->begins; });
}

std::unique_ptr<LogSources::Source> LogSources::Open(const std::string& path) {
  auto source = std::make_unique<Source>();
  source->path = path;
  source->machine = MachineOf(path);
  if (path == "-") {
    tools::system::ReadBinaryInput();
    source->stream = &std::cin;
  } else {
    errno = 0;
    source->file = std::make_unique<std::ifstream>(PathOf(path), std::ios::binary);
    source->stream = source->file.get();
    if (!*source->file) {
      fmt::print(stderr, "quorvex log explain: {}: {}\n", Printable(path), WhyNotOpened());
      m_isUnreadable = true;
      return nullptr;
    }
    ReadHead(source.get());
  }
  source->reader = std::make_unique<inspection::logs::LogReader>(*source->stream);
  source->reader->HoldIncomplete(m_isFollowed);
  return source;
}

void LogSources::AddBundle(const std::string& path) {
  for (inspection::bundle::ZipEntry& entry : ReadBundle(path, kStatusUnreadable)) {
    if (!entry.name.starts_with(kBundleLogs)) continue;
    auto source = std::make_unique<Source>();
    source->path = path + "/" + entry.name;
    source->machine = MachineOf(entry.name);
    source->file = std::make_unique<std::istringstream>(std::move(entry.bytes));
    source->stream = source->file.get();
    ReadHead(source.get());
    source->reader = std::make_unique<inspection::logs::LogReader>(*source->stream);
    Add(std::move(source));
  }
}

void LogSources::ReadHead(Source* source) {
  inspection::logs::LogReader reader(*source->stream);
  std::string_view line;
  std::string buffer;
  for (std::size_t i = 0; i < kSearchedLines && reader.Next(&line); ++i) {
    if (source->head.size() < kHeadSize) source->head.append(line).push_back('\n');
    if (source->begins.empty()) {
      const auto parsed = inspection::logs::ParseSourceLine(line, &buffer);
      if (parsed) source->begins = inspection::logs::SortableTime(parsed->line);
    } else if (source->head.size() >= kHeadSize) {
      break;
    }
  }
  source->head.resize(std::min(source->head.size(), kHeadSize));
  source->stream->clear();
  source->stream->seekg(0);
}

void LogSources::Add(std::unique_ptr<Source> source) {
  if (source->begins.empty()) {
    m_sources.push_back(std::move(source));
    return;
  }
  for (auto& known : m_sources) {
    const bool isSame = !known->begins.empty() && (known->head.starts_with(source->head) ||
                                                   source->head.starts_with(known->head));
    if (!isSame) continue;
    std::error_code error;
    const auto knownSize = std::filesystem::file_size(PathOf(known->path), error);
    const auto size = std::filesystem::file_size(PathOf(source->path), error);
    // Of two copies the longer one. A compressed one is taken for the longer.
    const bool isLonger = source->head.size() > known->head.size() ||
                          (size > knownSize && !known->path.ends_with(".gz")) ||
                          (source->path.ends_with(".gz") && !known->path.ends_with(".gz"));
    if (isLonger) std::swap(known, source);
    fmt::print(stderr, "quorvex log explain: {}: the same log as {}, read once\n",
               Printable(source->path), Printable(known->path));
    return;
  }
  m_sources.push_back(std::move(source));
}

void LogSources::Report(const Source& source) {
  fmt::print(stderr, "quorvex log explain: {}: {}\n", Printable(source.path),
             source.reader->Error());
  m_isUnreadable = true;
}

void LogSources::Read(Source& source, inspection::logs::LogStories* stories) {
  for (std::string_view line; source.reader->Next(&line);) stories->Take(line, source.machine);
}

void LogSources::ReadAll(inspection::logs::LogStories* stories) {
  for (auto& source : m_sources) {
    Read(*source, stories);
    if (!source->reader->Error().empty()) Report(*source);
  }
}

void LogSources::OpenNewFiles() {
  std::vector<std::string> wanted;
  for (const auto& source : m_sources) {
    const std::size_t number = RingNumberAt(source->path);
    if (number == std::string::npos) continue;
    for (char digit = '0'; digit <= '4'; ++digit) {
      std::string path = source->path;
      path[number] = digit;
      wanted.push_back(std::move(path));
    }
  }
  for (const std::string& path : wanted) {
    const bool isKnown = std::any_of(m_sources.begin(), m_sources.end(),
                                     [&](const auto& known) { return known->path == path; });
    std::error_code error;
    if (isKnown || !std::filesystem::is_regular_file(PathOf(path), error)) continue;
    if (auto source = Open(path)) m_sources.push_back(std::move(source));
  }
}

void LogSources::Follow(inspection::logs::LogStories* stories, const std::atomic<bool>& stop) {
  while (!stop) {
    platform::clock.Sleep(kLookAgainMs);
    for (auto& source : m_sources) {
      source->reader->Resume();
      Read(*source, stories);
    }
    OpenNewFiles();
    stories->TellEnded();
    std::fflush(stdout);
  }
  // Now nothing more comes.
  for (auto& source : m_sources) {
    source->reader->Resume();
    source->reader->HoldIncomplete(false);
    Read(*source, stories);
  }
}

}  // namespace tools
