// The simulated agent's journal: a file with one line of JSON for each request and one for each
// outcome, so that another process can read what the agent saw and answered.
//
// The agent writes a request's line before it stores the answer, so a sender that got an answer
// finds the line in the file.
//
//   {"event": "request", "id": 7, "time": "2026-03-01T12:00:00.123", "pid": 1, "tid": 2,
//    "block": "Global\\...", "type": 3, "stage": "recipients", "payload": "...", "name": "...",
//    "answer": 4 or null, "because": "rule 1" or "", "content_sha256": ..., "content_bytes": ...}
//   {"event": "outcome", "id": 7, "outcome": "taken", "waited_ms": 12}
//
// `payload` and `name` are text, with U+FFFD for each byte that isn't UTF-8. `payload` is null if
// the agent refused the block and so never read it. `answer` is null if there is none. Only item
// type 1 has `content_sha256` and `content_bytes`, which are null if the agent found no file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/scopedhandle.h"

namespace simulation::agent {

// What became of a request.
inline constexpr std::string_view kOutcomeTaken = "taken";       // the add-in took the answer
inline constexpr std::string_view kOutcomeGivenUp = "given up";  // the add-in stopped waiting
inline constexpr std::string_view kOutcomeRefused = "refused";  // the agent didn't create the block

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

  // From the outcome's line; empty until that has been read.
  std::string outcome;
  std::uint32_t waitedMs = 0;  // since the request reached the agent
};

// The request's line, without its line end.
std::string JournalLine(const JournalRequest& request);

// The outcome's line, without its line end.
std::string OutcomeLine(std::uint64_t id, std::string_view outcome, std::uint32_t waitedMs);

// The current local time, formatted like `JournalRequest::time`.
std::string JournalTime();

// The path of this machine's journal: "QuorvexAgent.journal" in the temporary directory.
std::string JournalPath();

// Writes a journal, each line with a single write. For use on one thread.
class JournalWriter {
 public:
  // Creates the file, or empties an existing one. See IsOpen for failure.
  explicit JournalWriter(std::string path);
  // Removes the file.
  ~JournalWriter();

  JournalWriter(const JournalWriter&) = delete;
  JournalWriter& operator=(const JournalWriter&) = delete;

  bool IsOpen() const;

  // A line that can't be written is lost: the agent works without its journal.
  void WriteRequest(const JournalRequest& request);
  void WriteOutcome(std::uint64_t id, std::string_view outcome, std::uint32_t waitedMs);

 private:
  void Append(const std::string& line);

  std::string m_path;
  platform::ScopedHandle m_file;
};

// Reads a journal while an agent writes it. For use on one thread.
class JournalReader {
 public:
  // Skips the lines that are already in the file. The file need not exist yet.
  explicit JournalReader(std::string path);

  // The sender's next requests up to and including its closing request (type 9), in the order of
  // their ids. Waits for the closing request and for every outcome, at most `milliseconds` on
  // platform::clock, and then returns what it has. A `threadId` of 0 means any thread of the
  // process.
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
