// What the simulated agent knows of each mail, and what it answers.
//
// There is one session per sender, that is per thread of a process, from its first request to the
// closing one: the add-in checks one mail after the other on a thread. A request with recipients
// also begins a session anew, as the add-in sends it first: a session that is still open then lost
// its closing request.
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

// One item of a mail, as it stands in its block.
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

// What came so far of one mail. Texts are valid UTF-8, with U+FFFD for bytes that weren't.
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
  std::optional<std::int32_t> answer;  // absent: none is given
  std::uint32_t late = 0;              // milliseconds to wait before the answer is stored
  bool crash = false;                  // end the process instead
  std::string because;                 // the rule or the fault that spoke; empty: none did
  std::optional<ContentFile> file;     // of a file, if it was found; `head` is empty
  std::vector<std::string> remarks;    // patterns that were given up on, in words
};

// The three kinds of file are told apart by the item's name, which for subject and body is the
// file's own name too.
Stage StageOf(std::uint32_t itemType, std::string_view payload, std::string_view name);

// What stands behind the last "\" or "/".
std::string_view LeafOf(std::string_view path);

// The addresses of a payload of recipients: each ended by a NUL, an empty one included. A last one
// without its NUL counts.
std::vector<std::string> SplitRecipients(std::string_view payload);

class Judge {
 public:
  // How much of a file's beginning the patterns get to see.
  static constexpr std::uint64_t kSearchedBytes = std::uint64_t{16} << 20;

  explicit Judge(RuleSet rules);

  // Whether the block for a request of that type is to be refused, which is asked before anything
  // else of the request is known. `*because` is then the fault's name. A refused closing request
  // ends the session as well.
  bool RefusesBlock(const Sender& sender, std::uint32_t itemType, std::string* because);

  // Takes the request into its sender's session, reads the file that it points to, and rules.
  Ruling Decide(const ItemRequest& request);

  // The session of `sender`; null when none is open. Valid until the next call of Decide.
  const SeenMail* MailOf(const Sender& sender) const;

  std::size_t OpenSessions() const { return m_sessions.size(); }

 private:
  struct Session {
    SeenMail mail;
    std::vector<std::uint32_t> met;  // for each set of conditions, what of it is fulfilled
    std::vector<bool> spoken;        // for each rule, whether its answer was given
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
