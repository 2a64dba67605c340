#include "simulation/agent/journal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "channel/agentchannel.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folders.h"

namespace simulation::agent {
namespace {

// Keeps the fields in the order of insertion.
using Json = nlohmann::ordered_json;

constexpr std::uint32_t kFileBegin = 0;

std::string Dump(const Json& line) {
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

// Leaves `*target` alone if the field is absent, null or of another type.
template <typename Target>
void Read(const Json& line, const char* key, Target* target) {
  const auto found = line.find(key);
  if (found == line.end()) return;
  if constexpr (std::is_same_v<Target, std::string> ||
                std::is_same_v<Target, std::optional<std::string>>) {
    if (found->is_string()) *target = found->template get<std::string>();
  } else if constexpr (std::is_same_v<Target, std::optional<std::int32_t>>) {
    if (found->is_number_integer()) *target = found->template get<std::int32_t>();
  } else if constexpr (std::is_same_v<Target, std::optional<std::uint64_t>>) {
    if (found->is_number_unsigned()) *target = found->template get<std::uint64_t>();
  } else {
    if (found->is_number_unsigned()) *target = found->template get<Target>();
  }
}

JournalRequest RequestOf(const Json& line) {
  JournalRequest request;
  Read(line, "id", &request.id);
  Read(line, "time", &request.time);
  Read(line, "pid", &request.processId);
  Read(line, "tid", &request.threadId);
  Read(line, "block", &request.block);
  Read(line, "type", &request.itemType);
  Read(line, "stage", &request.stage);
  Read(line, "payload", &request.payload);
  Read(line, "name", &request.name);
  Read(line, "answer", &request.answer);
  Read(line, "because", &request.because);
  Read(line, "content_sha256", &request.contentSha256);
  Read(line, "content_bytes", &request.contentBytes);
  return request;
}

platform::ScopedHandle Open(const std::string& path, std::uint32_t access,
                            std::uint32_t disposition) {
  return platform::ScopedHandle(
      platform::files.CreateFileA(path.c_str(), access, platform::kShareReadWrite, nullptr,
                                  disposition, platform::kFileAttributeNormal));
}

// The platform takes a position in two halves.
std::uint64_t Seek(const platform::ScopedHandle& file, std::uint64_t position,
                   std::uint32_t method) {
  auto high = static_cast<std::int32_t>(position >> 32);
  const std::uint32_t low = platform::files.SetFilePointer(
      file.Get(), static_cast<std::int32_t>(static_cast<std::uint32_t>(position)), &high, method);
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | low;
}

std::uint64_t SizeOf(const std::string& path) {
  const platform::ScopedHandle file = Open(path, platform::kGenericRead, platform::kOpenExisting);
  return file.IsOpen() ? Seek(file, 0, platform::kFileEnd) : 0;
}

}  // namespace

std::string JournalLine(const JournalRequest& request) {
  Json line = {{"event", "request"},
               {"id", request.id},
               {"time", request.time},
               {"pid", request.processId},
               {"tid", request.threadId},
               {"block", request.block},
               {"type", request.itemType},
               {"stage", request.stage},
               {"payload", OrNull(request.payload)},
               {"name", request.name},
               {"answer", OrNull(request.answer)},
               {"because", request.because}};
  if (request.itemType == channel::kItemFile) {
    line["content_sha256"] = OrNull(request.contentSha256);
    line["content_bytes"] = OrNull(request.contentBytes);
  }
  return Dump(line);
}

std::string OutcomeLine(std::uint64_t id, std::string_view outcome, std::uint32_t waitedMs) {
  return Dump({{"event", "outcome"},
               {"id", id},
               {"outcome", std::string(outcome)},
               {"waited_ms", waitedMs}});
}

std::string JournalTime() {
  platform::LocalTime now{};
  platform::clock.GetLocalTime(&now);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02u.%03u", now.year, now.month,
                now.day, now.hour, now.minute, now.second, now.millisecond);
  return text.data();
}

std::string JournalPath() {
  std::array<char, platform::kMaxPath> folder{};
  platform::folders.GetTempPathA(static_cast<std::uint32_t>(folder.size()), folder.data());
  return std::string(folder.data()) + "QuorvexAgent.journal";
}

JournalWriter::JournalWriter(std::string path)
    : m_path(std::move(path)),
      m_file(Open(m_path, platform::kGenericReadWrite, platform::kCreateAlways)) {}

JournalWriter::~JournalWriter() {
  if (!IsOpen()) return;
  m_file.Close();
  // On Windows the file can't be deleted while a reader has it open.
  for (int tries = 0; tries < 20 && !platform::files.DeleteFileA(m_path.c_str()); ++tries) {
    platform::clock.Sleep(5);
  }
}

bool JournalWriter::IsOpen() const {
  return m_file.IsOpen();
}

void JournalWriter::WriteRequest(const JournalRequest& request) {
  Append(JournalLine(request));
}

void JournalWriter::WriteOutcome(std::uint64_t id, std::string_view outcome,
                                 std::uint32_t waitedMs) {
  Append(OutcomeLine(id, outcome, waitedMs));
}

void JournalWriter::Append(const std::string& line) {
  if (!IsOpen()) return;
  const std::string whole = line + "\n";
  std::uint32_t written = 0;
  platform::files.WriteFile(m_file.Get(), whole.data(), static_cast<std::uint32_t>(whole.size()),
                            &written);
}

JournalReader::JournalReader(std::string path)
    : m_path(std::move(path)), m_offset(SizeOf(m_path)) {}

std::vector<JournalRequest> JournalReader::TakeMail(std::uint32_t processId, std::uint32_t threadId,
                                                    std::uint32_t milliseconds) {
  const auto ofSender = [=](const JournalRequest& request) {
    return request.processId == processId && (threadId == 0 || request.threadId == threadId);
  };
  const std::uint32_t began = platform::clock.GetTickCount();
  for (;;) {
    ReadNewLines();
    const auto close =
        std::find_if(m_requests.begin(), m_requests.end(), [&](const JournalRequest& request) {
          return ofSender(request) && request.itemType == channel::kItemClose;
        });
    const auto end = close == m_requests.end() ? close : close + 1;
    const bool settled = close != m_requests.end() &&
                         std::none_of(m_requests.begin(), end, [&](const JournalRequest& request) {
                           return ofSender(request) && request.outcome.empty();
                         });
    if (settled || platform::clock.GetTickCount() - began >= milliseconds) {
      std::vector<JournalRequest> mail;
      const auto others = std::stable_partition(m_requests.begin(), end, ofSender);
      mail.assign(std::make_move_iterator(m_requests.begin()), std::make_move_iterator(others));
      m_requests.erase(m_requests.begin(), others);
      return mail;
    }
    platform::clock.Sleep(1);
  }
}

void JournalReader::ReadNewLines() {
  platform::ScopedHandle file = Open(m_path, platform::kGenericRead, platform::kOpenExisting);
  if (!file.IsOpen()) return;
  if (Seek(file, 0, platform::kFileEnd) < m_offset) {
    // Another agent has started a new journal.
    m_offset = 0;
    m_unfinished.clear();
  }
  Seek(file, m_offset, kFileBegin);
  std::vector<char> buffer(std::size_t{1} << 16);
  std::uint32_t read = 0;
  while (platform::files.ReadFile(file.Get(), buffer.data(),
                                  static_cast<std::uint32_t>(buffer.size()), &read) &&
         read != 0) {
    m_offset += read;
    m_unfinished.append(buffer.data(), read);
  }
  file.Close();

  std::size_t begin = 0;
  for (std::size_t end; (end = m_unfinished.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    TakeLine(std::string_view(m_unfinished).substr(begin, end - begin));
  }
  m_unfinished.erase(0, begin);
}

void JournalReader::TakeLine(std::string_view text) {
  const Json line = Json::parse(text, nullptr, false);
  if (!line.is_object()) return;
  std::string event;
  Read(line, "event", &event);
  if (event == "request") {
    m_requests.push_back(RequestOf(line));
  } else if (event == "outcome") {
    std::uint64_t id = 0;
    Read(line, "id", &id);
    for (JournalRequest& request : m_requests) {
      if (request.id != id) continue;
      Read(line, "outcome", &request.outcome);
      Read(line, "waited_ms", &request.waitedMs);
    }
  }
}

}  // namespace simulation::agent
