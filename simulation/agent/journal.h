// The simulated agent's journal: a file in which each request and its outcome is one line of JSON,
// so that another process can tell afterwards what the agent saw and what it answered.
//
// A request's line is in the file before its answer is stored, so whoever got an answer finds it.
//
//   {"event": "request", "id": 7, "time": "2026-03-01T12:00:00.123", "pid": 1, "tid": 2,
//    "block": "Global\\...", "type": 3, "stage": "recipients", "payload": "...", "name": "...",
//    "answer": 4 or null, "because": "rule 1" or "", "content_sha256": ..., "content_bytes": ...}
//   {"event": "outcome", "id": 7, "outcome": "taken", "waited_ms": 12}
//
// `payload` and `name` are text: U+FFFD stands for each byte that isn't UTF-8. `payload` is null
// where the block was refused and so never read. `answer` is null where none is given.
// `content_sha256` and `content_bytes` are there for item type 1 only, and null when the agent
// found no file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/scopedhandle.h"

namespace simulation::agent {

// What became of a request.
inline constexpr std::string_view kOutcomeTaken = "taken";       // the answer was taken
inline constexpr std::string_view kOutcomeGivenUp = "given up";  // the add-in stopped waiting
inline constexpr std::string_view kOutcomeRefused = "refused";   // the block wasn't made

struct JournalRequest {
  std::uint64_t id = 0;  // counts the requests of one agent, from 1
  std::string time;      // local time, "2026-03-01T12:00:00.123"
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;
  std::string block;  // the block's name
  std::uint32_t itemType = 0;
  std::string stage;
  std::optional<std::string> payload;
  std::string name;
  std::optional<std::int32_t> answer;
  std::string because;
  std::optional<std::string> contentSha256;
  std::optional<std::uint64_t> contentBytes;

  // Filled in by the line of the outcome; empty until it came.
  std::string outcome;
  std::uint32_t waitedMs = 0;  // from the request's arrival at the agent
};

// The request's line, without its line end.
std::string JournalLine(const JournalRequest& request);

// The outcome's line, without its line end.
std::string OutcomeLine(std::uint64_t id, std::string_view outcome, std::uint32_t waitedMs);

// This moment as `time` has it.
std::string JournalTime();

// Where the journal of a machine's agent lies: "QuorvexAgent.journal" in the temporary directory.
std::string JournalPath();

// Writes a journal. Every line is handed to the file in one piece, so a reader never sees half of
// one. For one thread.
class JournalWriter {
 public:
  // Begins the file anew. See IsOpen.
  explicit JournalWriter(std::string path);
  // Removes the file.
  ~JournalWriter();

  JournalWriter(const JournalWriter&) = delete;
  JournalWriter& operator=(const JournalWriter&) = delete;

  bool IsOpen() const;

  // A write that fails is lost: the journal is there to be looked at, and the agent goes on.
  void WriteRequest(const JournalRequest& request);
  void WriteOutcome(std::uint64_t id, std::string_view outcome, std::uint32_t waitedMs);

 private:
  void Append(const std::string& line);

  std::string m_path;
  platform::ScopedHandle m_file;
};

// Reads a journal while it is written. For one thread.
class JournalReader {
 public:
  // Lines that are already there are of no interest. The file need not exist yet.
  explicit JournalReader(std::string path);

  // The requests of one sender from where the last call left off up to its closing request
  // (type 9), in the order of their ids. Waits until the closing request and every outcome is
  // there, but no longer than `milliseconds` on platform::clock; then gives what there is.
  // A `threadId` of 0 stands for any thread of the process.
  std::vector<JournalRequest> TakeMail(std::uint32_t processId, std::uint32_t threadId,
                                       std::uint32_t milliseconds);

 private:
  void ReadNewLines();
  void TakeLine(std::string_view line);

  std::string m_path;
  std::uint64_t m_offset = 0;
  std::string m_unfinished;
  std::vector<JournalRequest> m_requests;
};

}  // namespace simulation::agent
