// The agent's half of the channel between the mail add-in and its local agent, as a library.
//
// WHAT AN AGENT DOES
//
// The add-in asks, the agent answers. For each item of a mail that is being sent (the recipients,
// the sender, a file with the subject, and so on) the add-in appends one record to a ring in the
// named mapping "Global\VRKEXPIPE", which the agent has made. The record names a second mapping,
// the request's block. The agent makes that mapping too; the add-in opens it, writes the item into
// it, sets its status word to 1 and polls the word every 20 ms until the agent's answer stands
// there. The records are laid out in channel/protocol.h.
//
//      add-in                                   agent
//      ------                                   -----
//      appends a record to the ring
//      tries to open the block ...              takes the record, makes the block
//      opens it, status = 0, writes the item
//      status = 1, and again with each poll     sees 1: reads payload and name
//                                               status: 1 -> answer (3 block, 4 go on, 7 tag)
//      takes the answer, status = 1             sees 1 again: taken; closes the block
//      or, at a time-out: status = 5            sees 5: nobody listens any more; closes the block
//
// TIME
//
// From the push the add-in tries 399 times, 20 ms apart, to open the block: the agent has 7.98 s
// to make it. From the filling of the block it waits 2.48 s for the answer, or 184.98 s where the
// setting use_challenge_response is "true". The agent can't see which. The user's send is held up
// for all that time, so answer as soon as you can.
//
// ITEMS (ContentRequest::dwItemType)
//
//      3  recipients: every address with a NUL behind it, UTF-8. The answer 4, and only that,
//         makes the add-in ask about the content. Any other answer is not a verdict yet.
//      7  sender: UTF-8 text without NUL. The answer doesn't count.
//      8  the envelope is complete; empty. The answer doesn't count.
//      1  a file: the payload is its path, which the agent reads itself. The name tells what it is:
//         "ExchangeSubjectContent", "ExchangeBodyContent" (UTF-8 text files, paths in the ANSI code
//         page), an attachment's file name (path in UTF-8), or no name (a signature image, or a
//         file that the mail only refers to). 3 and 7 end the content, 4 goes on to the next item.
//         The files are deleted after item 9 was answered, not before.
//      9  the mail is complete; empty. 3 or 7 replaces what the content stages came to.
//
// Items of one mail come one after the other from one thread of one process, so (dwProcessId,
// dwThreadId) tells mails that are sent at the same time apart, and item 9 ends each of them.
//
// THREE LAYERS, use the highest that does:
//
//      Agent         everything, for any number of requesters at once, behind two callbacks
//      RingConsumer  the ring alone: take the next record
//      Block         one request's mapping alone
//
// An agent in full:
//
//      agentkit::Agent agent({.onRequest = [](const agentkit::Request& request) {
//        return std::optional<std::int32_t>(request.name == "secret.txt" ? 3 : 4);
//      }});
//      if (agent.Start() != agentkit::OpenResult::kOpened) return 1;
//      agent.Run(stop);
//
// RULES FOR ALL OF IT
//
// Nothing here waits, except Agent::Run. An object belongs to one thread at a time. Time and
// mappings are those of platform/clock.h and platform/mappings.h, so a test can drive both. What
// stands in shared memory is not trusted: sizes are checked, each word is read once, and whatever a
// process writes there, nothing outside the mappings is touched. Strings hold bytes, with NULs.
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

enum class OpenResult {
  kOpened,
  kOtherOwner,  // a ring of that name stands: another agent, or (see RingConsumer) a dead one's
  kUnusable,    // take-over only: there is no ring, or one that this library can't go on with
  kFailed       // the system refuses the mapping, or the capacity is out of range
};

// A named mapping with one view of it, released with the object.
class SharedView {
 public:
  // Makes a mapping of `size` bytes, all zero. False if the name exists or memory is short.
  bool Create(const std::string& name, std::uint32_t size);
  // Opens an existing one and maps `size` bytes of it. False if it isn't there or is smaller.
  bool Open(const std::string& name, std::uint32_t size);
  void Close();

  // Null when nothing is open. Stays where it is when the object is moved.
  unsigned char* Data() const { return static_cast<unsigned char*>(m_view.Data()); }

 private:
  bool Map(std::uint32_t size);

  platform::ScopedHandle m_mapping;
  platform::MappedView m_view;  // declared last, so released first
};

// What RingConsumer::Take found.
enum class TakeResult {
  kEmpty,    // nothing to take; all that was appended has been taken
  kPending,  // entries stand there whose writers haven't completed them yet
  kTaken,    // one entry was taken
  kSkipped,  // an entry that its writer left unfinished was given up and its room freed
  kBroken    // the ring contradicted itself and was mended: what lay in it is lost
};

// The reader of the ring. There can be only one for a ring.
//
// How entries come and go. A writer reserves room by adding the entry's size to usedBytes and then
// to writeCursor; it copies the payload and stores the length word last. So the cursor runs ahead
// of what can be read, entries complete in any order, and an entry is there only when its length
// word is not zero. Writers never clear anything, and the positions of entries shift from lap to
// lap, so the consumer clears the whole of each entry that it frees: otherwise an old payload would
// be taken for a length word one lap later. Then it subtracts the entry's size from usedBytes,
// atomically and with release order, which gives the room back.
//
// The own position counts like writeCursor (all bytes ever taken, wrapping past 2^32) and is also
// kept in the word at offset 8 of the ring, which belongs to the consumer. That is what lets a new
// agent take over a ring from one that died.
//
// Writers that die. A process that ends between its reservation and its length word leaves an entry
// that will never be complete. The consumer can't see whether a writer is dead or only slow, so it
// goes by time: an entry that has been incomplete for Options::deadWriterMs is skipped. Its size
// isn't stored yet either, but every entry of the add-in is 152 bytes, so entries behind it are
// found and taken meanwhile (they are freed only after it, since room is given back in order).
// A writer that comes back to life after the skip may spoil the entry that has its room by then;
// the wait is longer than the 7.98 s after which its request would have failed anyway.
// A process that ends between its two additions leaves usedBytes too high for ever. When the ring
// has been empty and the word unchanged for as long, the consumer takes the rest back.
class RingConsumer {
 public:
  struct Options {
    std::string name = channel::kRingName;
    // Bytes of the data area. The add-in maps 2^18 + 20 bytes whatever stands here, and refuses a
    // capacity that its view can't hold; positions survive the wrap of the 32-bit cursor only with
    // a power of two. A power of two from 256 to 2^20.
    std::uint32_t capacity = channel::kRingCapacity;
    std::uint32_t deadWriterMs = 10'000;
  };

  RingConsumer() = default;

  // Makes the ring, empty, with capacity + 20 bytes (at least the 2^18 + 20 that the add-in maps),
  // open to the processes of the machine's users.
  //
  // kOtherOwner if one of that name stands. It is another agent's, or a dead agent's that a
  // requester still holds open. A requester lets go at the end of its request, after 8 s (185 s
  // with the long wait) at most, so trying again for that long, or TakeOver, gets past the second.
  OpenResult Create(const Options& options);

  // Goes on with the ring of a consumer that has ended, from the position that it left. Only for
  // callers who know that it has ended: two consumers on one ring ruin it. options.capacity doesn't
  // count. kUnusable if there is no such ring or its words contradict each other.
  OpenResult TakeOver(const Options& options);

  // Gives the ring up. Requesters then find no agent, once those that hold it open have let go.
  void Close();
  bool IsOpen() const { return m_view.Data() != nullptr; }

  // Takes the next complete entry, if there is one. With kTaken `payload` holds its bytes, a
  // multiple of 4 (the true length is not in the ring; a request's 148 bytes need no padding), and
  // the entry's room is free again. `payload` keeps its memory from call to call: taking allocates
  // nothing once it is large enough. On all other results it is empty.
  TakeResult Take(std::vector<unsigned char>* payload);

  // The ring's memory, for looking at.
  const RingHeader* Header() const { return reinterpret_cast<const RingHeader*>(m_view.Data()); }
  std::uint32_t Position() const { return m_position; }

 private:
  // An entry behind an unfinished one.
  struct Ahead {
    bool isTaken;                 // false: unfinished itself
    std::uint32_t firstSeenTick;  // unfinished since
  };

  RingHeader* Ring() const { return reinterpret_cast<RingHeader*>(m_view.Data()); }
  unsigned char* DataArea() const { return m_view.Data() + sizeof(RingHeader); }
  std::uint32_t LoadLength(std::uint32_t position) const;
  bool IsSane(std::uint32_t cursor) const;
  TakeResult TakeHead(std::vector<unsigned char>* payload);
  void FetchAhead() const;
  TakeResult TakeEmpty();
  TakeResult TakeBehindHole(std::uint32_t pending, std::vector<unsigned char>* payload);
  void CopyOut(std::uint32_t position, std::uint32_t length,
               std::vector<unsigned char>* payload) const;
  void FreeHead(std::uint32_t size);
  void FreeTakenHeads();
  void Mend();

  SharedView m_view;
  std::uint32_t m_capacity = 0;
  std::uint32_t m_position = 0;
  std::uint32_t m_seenCursor = 0;  // the write cursor when it was last read
  std::uint32_t m_deadWriterMs = 0;
  std::unordered_map<std::uint32_t, Ahead> m_ahead;  // by position, from the head on
  std::int32_t m_idleUsed = 0;                       // usedBytes of an empty ring, if not 0
  std::uint32_t m_idleSinceTick = 0;
};

// One request's block.
class Block {
 public:
  enum class State {
    kFilling,   // the add-in hasn't opened it yet, or is writing: nothing may be read
    kWaiting,   // complete; the add-in waits for the answer
    kAnswered,  // the answer stands there and hasn't been taken yet
    kTaken,     // the add-in has the answer; the block may be closed
    kGivenUp    // the add-in has stopped waiting; no answer is read any more
  };

  // The largest block that Make makes.
  static constexpr std::uint32_t kLargest = 1U << 30;

  // Makes the mapping that `request` names, of dwBlockLength bytes. False if the record is not one
  // of the add-in's (see IsSound) or the name exists.
  bool Make(const ContentRequest& request);
  void Close();
  bool IsOpen() const { return m_view.Data() != nullptr; }

  // Reads the status word once. kFilling goes over into kWaiting, and so on downwards; an answer
  // that can't be one (1 or below) is as if it had never been written.
  State Look();

  // Copies payload and name out. Call it in kWaiting; the bytes are then in place. The block says
  // nothing of the two lengths but their sum: the name has no NUL in it, so it is what stands
  // between the last two NULs. False, with the payload holding everything, if these NULs aren't
  // there.
  bool Read(std::string* payload, std::string* name) const;

  // Writes the answer, if the add-in still waits (a compare and exchange of 1). False if it has
  // given up or hasn't filled the block yet.
  bool Answer(std::int32_t answer);

  // Writes a status word whatever stands there: for agents that misbehave on purpose.
  void ForceStatus(std::int32_t status);

 private:
  SharedView m_view;
  std::uint32_t m_length = 0;
  bool m_isComplete = false;  // the status word was 1 once
  std::int32_t m_answer = 0;  // 0: none that could end the wait
};

// True if the record is one that the add-in writes: kind 4, at least the 6 bytes of an empty block,
// and the block named for the record's own process and thread. Others may write into the ring too;
// making mappings under names that they choose is not what an agent wants to do.
bool IsSound(const ContentRequest& record);

using RequestId = std::uint64_t;  // never 0, never used again by one Agent

// One question of the add-in.
struct Request {
  RequestId id = 0;
  ContentRequest record{};  // as it stood in the ring
  std::uint32_t itemType = 0;
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;
  std::string payload;  // empty until the block is complete, as is the name
  std::string name;
  bool isWellFormed = true;  // false: the block's NULs weren't where they belong (see Block::Read)
  std::int32_t answer = 0;   // the last one written, 0 before
};

// How a request ended, for Handlers::onEnd.
enum class Ending {
  kAnswerTaken,  // the add-in has the answer
  kGivenUp,      // the add-in stopped waiting before an answer was there, or as it was written
  kNotTaken,     // answered, and nobody came to fetch it: the requester is gone
  kUnanswered,   // no answer came from the handler, and no 5 from the requester: it is gone
  kNeverFilled,  // the add-in didn't come to fill the block: it is gone or had given up
  kRefused,      // onRecord refused it
  kNoBlock,      // the system refused the mapping, or its name exists
  kDropped       // Agent::Drop, or Stop
};

struct Handlers {
  // A record has come out of the ring; `request` has no payload yet. False refuses it: no block is
  // made, and the add-in waits its 7.98 s in vain. Without a handler none is refused.
  std::function<bool(const Request& request)> onRecord = {};

  // The request can be read. The result is the answer; none means that Agent::Answer will give it
  // later. Without a handler everything is answered with 4.
  std::function<std::optional<std::int32_t>(const Request& request)> onRequest = {};

  // The last word on a request; its id is not known to the Agent any more.
  std::function<void(const Request& request, Ending ending)> onEnd = {};

  // The ring gave something that is no request: an entry that isn't sound (its bytes are given), an
  // unfinished entry that was skipped, or a mended ring (both without bytes).
  std::function<void(TakeResult what, const std::vector<unsigned char>& bytes)> onOddEntry = {};
};

// A whole agent without its rules. Handlers are called from within Poll, Answer, Drop and Stop;
// they may call Answer and Drop, and nothing else of the Agent. An exception from a handler passes
// through to the caller; the Agent stays usable and doesn't call that handler again for that event.
class Agent {
 public:
  struct Options {
    RingConsumer::Options ring = {};
    bool takeOver = false;              // go on with a dead agent's ring if there is one
    std::uint32_t fillWaitMs = 10'000;  // from making a block until it is complete
    // From then on, for an answer and its taking. Longer than the add-in's long wait of 185 s, so
    // that it only counts when the requester is gone.
    std::uint32_t answerWaitMs = 200'000;
    std::uint32_t takenWaitMs = 5'000;  // from the answer until it is taken
    std::uint32_t idleMs = 2;           // Run's sleep when there was nothing to do
  };

  explicit Agent(Handlers handlers) : Agent(std::move(handlers), Options{}) {}
  Agent(Handlers handlers, Options options);
  ~Agent();  // as Stop, but without calling onEnd
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Makes (or takes over) the ring. See RingConsumer.
  OpenResult Start();
  // Ends every open request as kDropped and gives the ring up. Start may follow.
  void Stop();
  bool IsStarted() const { return m_ring.IsOpen(); }

  // One step: takes what is in the ring, and looks once at each open block. True if anything moved.
  // Call it every few milliseconds; it never waits.
  bool Poll();

  // Gives an answer that onRequest left open, or another one after an answer of 1 or below. False
  // if the request isn't waiting for one: unknown, not complete, answered, or given up by now.
  bool Answer(RequestId id, std::int32_t answer);
  // Closes a request's block without an answer. False if it is unknown.
  bool Drop(RequestId id);
  // The requests that have a block now.
  std::size_t OpenRequests() const { return m_open.size(); }

  // Polls until `*stop` is true, sleeping Options::idleMs when nothing moved. Looks at `*stop`
  // before each step. The flag may be set by another thread or a signal handler.
  void Run(const std::atomic<bool>& stop);

  const RingConsumer& Ring() const { return m_ring; }

 private:
  struct Open {
    Request request;
    Block block;
    Block::State state = Block::State::kFilling;
    std::uint32_t sinceTick = 0;  // when it came into this state
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
