// What the simulated agent knows about each mail, and what it answers.
//
// There is one session for each sender (a thread of a process), from its first request to the
// closing one: a thread checks one mail after the other. A request with recipients also starts a
// new session, since it is a mail's first request: an open session has then lost its closing
// request.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/agent/contentfile.h"
#include "simulation/agent/rules.h"

namespace simulation::agent {

struct Sender {
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;

  friend auto operator<=>(const Sender&, const Sender&) = default;
};

// One item of a mail, as it is in its block.
struct ItemRequest {
  Sender sender;
  std::uint32_t itemType = 0;
  std::string payload;  // bytes; may hold NULs
  std::string name;     // empty for none
};

struct SeenAttachment {
  std::string name;  // the item's name, otherwise the file's own
  std::uint64_t bytes = 0;
  std::string sha256;
};

// What has arrived of one mail. Texts are valid UTF-8, with U+FFFD for invalid bytes.
struct SeenMail {
  std::vector<std::string> recipients;
  std::optional<std::string> sender;
  std::optional<std::string> subject;
  std::optional<std::string> body;
  std::vector<SeenAttachment> attachments;
};

// The agent's decision on one request.
struct Ruling {
  Stage stage = Stage::kUnknown;
  std::optional<std::int32_t> answer;  // absent: the agent doesn't answer
  std::uint32_t late = 0;              // milliseconds to wait before the answer is stored
  bool crash = false;                  // end the process instead of answering
  std::string because;                 // the rule or fault that decided; empty for none
  std::optional<ContentFile> file;     // the file, if there is one; `head` is empty
  std::vector<std::string> remarks;    // patterns that took too long, in words
};

// The item's name distinguishes the three kinds of file. Subject and body have the name of their
// temporary file.
Stage StageOf(std::uint32_t itemType, std::string_view payload, std::string_view name);

// The part after the last "\" or "/".
std::string_view LeafOf(std::string_view path);

// The addresses in a payload of recipients. Each one ends with a NUL, which the last one may lack.
// Addresses may be empty.
std::vector<std::string> SplitRecipients(std::string_view payload);

class Judge {
 public:
  // Patterns search only this much of a file's beginning.
  static constexpr std::uint64_t kSearchedBytes = std::uint64_t{16} << 20;

  explicit Judge(RuleSet rules);

  // True if a fault refuses the block for a request of that type. Nothing else of the request is
  // known yet. `*because` becomes the fault's name. Refusing a closing request ends the session
  // too.
  bool RefusesBlock(const Sender& sender, std::uint32_t itemType, std::string* because);

  // Adds the request to its sender's session, reads the file it names, and decides.
  Ruling Decide(const ItemRequest& request);

  // The sender's mail; null if it has no open session. Valid until the next call of Decide.
  const SeenMail* MailOf(const Sender& sender) const;

  std::size_t OpenSessions() const { return m_sessions.size(); }

 private:
  struct Session {
    SeenMail mail;
    std::vector<std::uint32_t> met;  // for each set of conditions: which of them are met
    std::vector<bool> spoken;        // for each rule: whether it has given its answer
    std::uint32_t lastTick = 0;
  };
  struct FaultCount {
    std::uint32_t matched = 0;
    std::uint32_t applied = 0;
  };

  const Conditions& ConditionsAt(std::size_t index) const;
  Session NewSession() const;
  void DropStaleSessions(std::uint32_t now);
  void TakeEnvelope(const ItemRequest& request, Stage stage, Session* session, Ruling* ruling);
  void TakeFile(const ItemRequest& request, Session* session, Ruling* ruling);
  bool Holds(const Session& session, std::size_t index) const;
  const Fault* FaultFor(const Session& session, StageSet stages, bool refusing);
  void ApplyRules(Session* session, Ruling* ruling) const;

  const RuleSet m_rules;
  std::vector<FaultCount> m_faultCounts;
  std::map<Sender, Session> m_sessions;
};

}  // namespace simulation::agent
