// The agent's half of the channel between the mail add-in and its local agent, as a library.
//
// WHAT AN AGENT DOES
//
// The add-in asks, the agent answers. For each item of a mail that is being sent (the recipients,
// the sender, a file with the subject, and so on) the add-in appends one record to the ring, a
// named mapping that the agent created. The record names a second mapping, the request's block. The
// agent creates that mapping too; the add-in opens it, writes the item into it, sets its status
// word to 1, and polls the word every 20 ms until it finds the agent's answer. channel/protocol.h
// defines the records, item types, answers and waits; docs/protocol.md explains them.
//
//      add-in                                   agent
//      ------                                   -----
//      appends a record to the ring
//      tries to open the block ...              takes the record, creates the block
//      opens it, status = 0, writes the item
//      status = 1, and again with each poll     sees 1: reads payload and name
//                                               status: 1 -> answer (3 block, 4 go on, 7 tag)
//      takes the answer, status = 1             sees 1 again: taken; closes the block
//      or, at a time-out: status = 5            sees 5: given up; closes the block
//
// The user waits for the answer with a window that doesn't react, so answer as soon as you can. The
// add-in gives up waiting for a block after 7.98 s at the earliest, and for an answer after 2.48 s,
// or after 184.98 s with the setting use_challenge_response, which the agent can't see.
//
// The items of one mail come one after another from one thread of one process, and kItemClose is
// the last. So (processId, threadId) identifies a mail while several are being sent. Don't rely on
// any other item: a mail without readable recipients has no kItemRecipients, and a process that
// ends in the middle of a mail sends no kItemClose.
//
// THREE LAYERS, use the highest that does the job:
//
//      Agent         everything, for any number of requesters at once, through callbacks
//      RingConsumer  the ring only: take the next record
//      Block         one request's mapping only
//
// A complete agent:
//
//      agentkit::Agent agent({.onRequest = [](const agentkit::Request& request) {
//        return std::optional(request.name == "secret.txt" ? channel::kActionBlock
//                                                          : channel::kActionGoOn);
//      }});
//      if (agent.Start() != agentkit::OpenResult::kOpened) return 1;
//      agent.Run(stop);
//
// RULES FOR EVERYTHING HERE
//
// Nothing waits, except Agent::Run. Use each object from one thread at a time. Clock and mappings
// are those of platform/clock.h and platform/mappings.h, so a test can control both. Shared memory
// isn't trusted: sizes are checked, each word is read once, and nothing outside the mappings is
// touched, whatever another process writes there. Strings hold bytes and may contain NULs.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "channel/protocol.h"
#include "platform/mappedview.h"
#include "platform/scopedhandle.h"

namespace agentkit {

// After these times, in milliseconds, the other end counts as gone. The add-in itself
// has given up before.
inline constexpr std::uint32_t kBlockGoneMs = 15'000;    // a push, or a block that isn't complete
inline constexpr std::uint32_t kAnswerGoneMs = 300'000;  // a block that waits for the answer
static_assert(kBlockGoneMs > channel::LongestWaitMs(channel::kBlockAttempts));
static_assert(kAnswerGoneMs > channel::LongestWaitMs(channel::kChallengePolls - 1));

enum class OpenResult {
  kOpened,
  kOtherOwner,  // the name exists: another agent's ring, or a dead one's (see RingConsumer::Create)
  kUnusable,    // take-over only: there is no ring, or its header contradicts itself
  kFailed       // the system refused the mapping, or the capacity is out of range
};

// Owns a named mapping and one view of it.
class SharedView {
 public:
  // Creates a mapping of `size` bytes, all zero. False if the name exists or memory is short.
  bool Create(const std::string& name, std::uint32_t size);
  // Opens an existing mapping and maps `size` bytes of it. False if it doesn't exist or is smaller.
  bool Open(const std::string& name, std::uint32_t size);
  void Close();

  // Null when nothing is open. Moving the object doesn't move the view.
  unsigned char* Data() const { return static_cast<unsigned char*>(m_view.Data()); }

 private:
  bool Map(std::uint32_t size);

  platform::ScopedHandle m_mapping;
  platform::MappedView m_view;  // declared last, so released first
};

// What RingConsumer::Take found.
enum class TakeResult {
  kEmpty,    // everything that was appended has been taken
  kPending,  // entries are reserved whose writers haven't completed them yet
  kTaken,    // one entry was taken
  kSkipped,  // an entry that its writer left incomplete was skipped and its space freed
  kBroken    // the ring contradicted itself and was reset: its entries are lost
};

// Reads the ring. A ring has exactly one consumer.
//
// A writer reserves space by adding the entry's size to usedBytes and then to writeCursor; it
// copies the payload and stores the length word last. So the cursor is ahead of what can be read,
// entries complete in any order, and an entry exists only once its length word isn't zero. Writers
// never clear anything, and entries start elsewhere in each lap, so the consumer clears every entry
// completely: otherwise it would take an old payload for a length word one lap later. Then it
// subtracts the size from usedBytes, which frees the space. It does so for several entries at once,
// because that word is the one that all writers contend for.
//
// The consumer's position counts like writeCursor (all bytes ever taken, wrapping past 2^32). The
// word at offset 8 of the ring holds a copy, so that a new agent can take over the ring of one that
// died.
//
// Writers that die. A process that ends between its reservation and its length word leaves an entry
// that never completes. The consumer can't distinguish a dead writer from a slow one, so it skips
// an entry that has been incomplete for Options::deadWriterMs. The entry's size isn't stored yet,
// but every entry of the add-in takes 152 bytes, so the consumer finds and takes later entries
// meanwhile. (It frees them only after the incomplete one, since space is freed in order.) A writer
// that continues after its entry was skipped may damage the entry that uses the space then; the
// wait is longer than the add-in waits for a request's block, so such a request has failed anyway.
// A process that ends between its two additions leaves usedBytes too high. When the ring has been
// empty and the word unchanged for as long, the consumer subtracts the excess.
class RingConsumer {
 public:
  struct Options {
    std::string name = channel::kRingName;
    // Bytes of the data area: a power of two from 256 to 2^20. The add-in maps 2^18 + 20 bytes
    // whatever the capacity is, and refuses a capacity that doesn't fit into them.
    std::uint32_t capacity = channel::kRingCapacity;
    // How long an entry may be incomplete before it counts as a dead writer's.
    std::uint32_t deadWriterMs = kBlockGoneMs;
  };

  RingConsumer() = default;
  ~RingConsumer() { Close(); }
  RingConsumer(const RingConsumer&) = delete;
  RingConsumer& operator=(const RingConsumer&) = delete;

  // Creates an empty ring of capacity + 20 bytes, and at least the 2^18 + 20 that the add-in maps.
  //
  // kOtherOwner if the name exists. The ring belongs to another agent, or to a dead one while a
  // requester still holds it open. A requester closes it at the end of its request: after 17 s at
  // most, or 302 s with use_challenge_response. To get past a dead agent's ring, try again for as
  // long, or use TakeOver.
  OpenResult Create(const Options& options);

  // Continues with the ring of a consumer that has ended, from the position where it stopped. Make
  // sure that it has ended: two consumers destroy each other's ring. Ignores options.capacity.
  // kUnusable if there is no such ring or its header contradicts itself.
  OpenResult TakeOver(const Options& options);

  // Closes the ring. It disappears once no requester holds it open.
  void Close();
  bool IsOpen() const { return m_view.Data() != nullptr; }

  // Takes the next complete entry, if there is one. With kTaken, `payload` holds its bytes, a
  // multiple of 4: the ring doesn't store the exact length, and a request's 148 bytes need no
  // padding. Otherwise `payload` is empty. Reuse it from call to call; once it is large enough,
  // taking allocates nothing. Call it until it returns something else than kTaken: only then is the
  // space of the last entries free again.
  TakeResult Take(std::vector<unsigned char>* payload);

  // The ring's memory, read-only. Null when the ring isn't open.
  const RingHeader* Header() const { return reinterpret_cast<const RingHeader*>(m_view.Data()); }
  std::uint32_t Position() const { return m_position; }

 private:
  // What is known of an incomplete entry, or of one after it.
  struct Ahead {
    bool isTaken;                 // false: incomplete
    std::uint32_t firstSeenTick;  // incomplete since
  };

  RingHeader* Ring() const { return reinterpret_cast<RingHeader*>(m_view.Data()); }
  unsigned char* DataArea() const { return m_view.Data() + sizeof(RingHeader); }
  std::uint32_t LoadLength(std::uint32_t position) const;
  bool IsSane(std::uint32_t cursor) const;
  TakeResult TakeHead(std::vector<unsigned char>* payload);
  TakeResult TakeNothing();
  TakeResult TakePastIncomplete(std::uint32_t pending, std::vector<unsigned char>* payload);
  void CopyOut(std::uint32_t position, std::uint32_t length,
               std::vector<unsigned char>* payload) const;
  void PassHead(std::uint32_t size);
  void PassTakenHeads();
  void FreePassed();
  void Reset();

  SharedView m_view;
  std::uint32_t m_capacity = 0;
  std::uint32_t m_position = 0;
  std::uint32_t m_seenCursor = 0;  // writeCursor when it was last read
  std::uint32_t m_passed = 0;      // bytes before m_position that aren't freed yet
  std::uint32_t m_deadWriterMs = 0;
  std::unordered_map<std::uint32_t, Ahead> m_ahead;  // by position, starting with the head
  std::int32_t m_idleUsed = 0;                       // usedBytes of an empty ring, if not 0
  std::uint32_t m_idleSinceTick = 0;
};

// One request's block.
class Block {
 public:
  enum class State {
    kFilling,   // the add-in hasn't opened it yet or is still writing: don't read
    kWaiting,   // complete; the add-in waits for the answer
    kAnswered,  // answered; the add-in hasn't taken the answer yet
    kTaken,     // the add-in has the answer; the block may be closed
    kGivenUp    // the add-in has stopped waiting and reads no answer
  };

  // The largest block that Create creates.
  static constexpr std::uint32_t kLargest = 1U << 30;

  // Creates the mapping that `request` names, of dwBlockLength bytes. False if the record isn't one
  // of the add-in's (see IsSound) or the name exists.
  bool Create(const ContentRequest& request);
  void Close();
  bool IsOpen() const { return m_view.Data() != nullptr; }

  // Reads the status word once and returns the state, which only ever moves down the list above. An
  // answer of 1 or below doesn't count: the add-in overwrites it.
  State Look();

  // Copies payload and name. Call it in kWaiting. The block holds only the sum of the two lengths;
  // the name contains no NUL, so it is the text between the last two NULs. If they are missing,
  // returns false and puts everything into `payload`.
  bool Read(std::string* payload, std::string* name) const;

  // Stores the answer if the add-in is still waiting. False if it has given up, if the block isn't
  // complete, or if it was answered before.
  bool Answer(ActionCode answer);

  // Stores a status word unconditionally, for agents that misbehave on purpose.
  void ForceStatus(std::int32_t status);

 private:
  SharedView m_view;
  std::uint32_t m_length = 0;
  bool m_isComplete = false;  // the status word was 1 once
  ActionCode m_answer = 0;    // 0: none that ends the add-in's wait
};

// Whether the record is one that the add-in writes: kind 4, a block of at least 6 bytes, and a
// block name made of the record's own process and thread ids. Any process may write to the ring,
// and an agent shouldn't create mappings under names that others choose.
bool IsSound(const ContentRequest& record);

using RequestId = std::uint64_t;  // never 0; an Agent uses each number once

// One request of the add-in.
struct Request {
  RequestId id = 0;
  ContentRequest record{};     // as it was in the ring
  std::uint32_t itemType = 0;  // one of channel::kItemTypes, or a type of a newer add-in
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;
  std::string payload;  // like `name`, empty until the block is complete
  std::string name;
  bool isWellFormed = true;  // false: payload and name couldn't be separated (see Block::Read)
  ActionCode answer = 0;     // the last one stored, or 0
};

// How a request ended, for Handlers::onEnd.
enum class Ending {
  kAnswerTaken,  // the add-in has the answer
  kGivenUp,      // the add-in stopped waiting before the answer, or while it was stored
  kNotTaken,     // answered, but the requester never took the answer: it is gone
  kUnanswered,   // not answered for Options::answerWaitMs: the requester is gone
  kNeverFilled,  // the add-in never filled the block: it is gone or had given up
  kRefused,      // onRecord refused it
  kNoBlock,      // the system refused the mapping, or the name exists
  kDropped       // Agent::Drop or Agent::Stop
};

struct Handlers {
  // A record was taken from the ring; `request` has no payload yet. Return false to refuse it: no
  // block is created, and the add-in waits 8 s or more in vain. Without this handler all are
  // accepted.
  std::function<bool(const Request& request)> onRecord = {};

  // The request is complete. Return the answer, or nothing to answer later with Agent::Answer.
  // Without this handler everything is answered with channel::kActionGoOn.
  std::function<std::optional<ActionCode>(const Request& request)> onRequest = {};

  // The request has ended; the Agent no longer knows its id. Called once for each request.
  std::function<void(const Request& request, Ending ending)> onEnd = {};

  // The ring contained something else than a request: kTaken, an entry that isn't sound, with its
  // bytes; kSkipped or kBroken, without bytes.
  std::function<void(TakeResult what, const std::vector<unsigned char>& bytes)> onOddEntry = {};
};

// A complete agent except for its rules. It calls the handlers from Poll, Answer, Drop and Stop.
// They may call Answer and Drop, and no other member of the Agent. A handler's exception reaches
// the caller; the Agent stays usable and doesn't call that handler again for the same event.
class Agent {
 public:
  struct Options {
    RingConsumer::Options ring = {};
    bool takeOver = false;  // continue with a dead agent's ring if there is one
    // After these times, in milliseconds, the requester counts as gone and its block is closed.
    std::uint32_t fillWaitMs = kBlockGoneMs;     // from creating the block until it is complete
    std::uint32_t answerWaitMs = kAnswerGoneMs;  // from then until the answer
    std::uint32_t takenWaitMs = 5'000;           // from the answer until the add-in takes it
    std::uint32_t idleMs = 2;                    // Run's sleep after a Poll that changed nothing
  };

  explicit Agent(Handlers handlers) : Agent(std::move(handlers), Options{}) {}
  Agent(Handlers handlers, Options options);
  ~Agent();  // like Stop, but doesn't call onEnd
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Creates or takes over the ring; see RingConsumer. Calls Stop first.
  OpenResult Start();
  // Ends every open request as kDropped and closes the ring.
  void Stop();
  bool IsStarted() const { return m_ring.IsOpen(); }

  // Takes what is in the ring and looks once at each open block. True if anything changed. Call it
  // every few milliseconds; it never waits.
  bool Poll();

  // Answers a request that onRequest left open, or answers again after an answer of 1 or below.
  // False if the request is unknown, incomplete, answered or given up.
  bool Answer(RequestId id, ActionCode answer);
  // Closes a request's block without an answer. False if the request is unknown.
  bool Drop(RequestId id);
  // The number of requests that have a block.
  std::size_t OpenRequests() const { return m_open.size(); }

  // Calls Poll until `stop` is true, and sleeps Options::idleMs after a Poll that changed nothing.
  // Another thread or a signal handler may set the flag.
  void Run(const std::atomic<bool>& stop);

  const RingConsumer& Ring() const { return m_ring; }

 private:
  struct Open {
    Request request;
    Block block;
    Block::State state = Block::State::kFilling;
    std::uint32_t sinceTick = 0;  // when it entered this state
  };
  using OpenMap = std::map<RequestId, std::shared_ptr<Open>>;

  void TakeRecord(const std::vector<unsigned char>& bytes);
  bool Step(const std::shared_ptr<Open>& open);
  void AskHandler(const std::shared_ptr<Open>& open);
  std::optional<Ending> Overdue(const Open& open) const;
  void End(RequestId id, Ending ending);

  Handlers m_handlers;
  Options m_options;
  RingConsumer m_ring;
  OpenMap m_open;  // in the order of arrival
  RequestId m_lastId = 0;
  std::vector<unsigned char> m_entry;
};

}  // namespace agentkit
