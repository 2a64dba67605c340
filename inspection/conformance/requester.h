// The add-in's half of the channel in single steps, for checks that need them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/protocol.h"
#include "platform/clock.h"

namespace inspection::conformance {

// A writer that can stop between any two of its stores.
class Writer {
 public:
  // Maps what the add-in maps. False if there is no such ring, or a smaller one.
  bool Open(const std::string& ring);
  void Close() { m_view.Close(); }
  bool IsOpen() const { return m_view.Data() != nullptr; }

  std::int32_t Capacity() const;
  std::int32_t Used() const;
  std::uint32_t Cursor() const;
  std::uint32_t Consumed() const;
  std::uint32_t OffsetOfCursor() const { return Cursor() % static_cast<std::uint32_t>(Capacity()); }
  // Whether `size` bytes from that position on are all zero.
  bool IsClear(std::uint32_t position, std::uint32_t size) const;

  // The first addition of a push; false, and undone, if there is no room.
  bool CountUsed(std::uint32_t entrySize);
  // Both additions; the position counted as the cursor, none if there is no room.
  std::optional<std::uint32_t> Reserve(std::uint32_t payloadLength);
  // The copy and the length word. `payload` has a length that is a multiple of 4.
  void Complete(std::uint32_t position, const std::vector<unsigned char>& payload);
  // The length word alone.
  void StoreLength(std::uint32_t position, std::uint32_t length);

 private:
  RingHeader* Ring() const { return reinterpret_cast<RingHeader*>(m_view.Data()); }
  unsigned char* Area() const { return m_view.Data() + sizeof(RingHeader); }

  agentkit::SharedView m_view;
};

// One request, advanced by calls of Step.
class Requester {
 public:
  enum class State {
    kNew,
    kPushed,    // waits for its block
    kAsked,     // waits for the answer
    kAnswered,  // Answer() is there
    kRefused,   // no room in the ring
    kNoBlock,   // the block didn't come in time
    kNoAnswer   // the answer didn't; 5 was stored
  };

  // `threadId` identifies the mail.
  Requester(std::uint32_t threadId, std::uint32_t itemType, std::string payload,
            const std::string& name = {});

  // The record, to be changed before the push.
  ContentRequest& Record() { return m_record; }
  std::vector<unsigned char> RecordBytes() const;
  std::string BlockName() const { return m_record.szBlockName; }
  std::uint32_t BlockLength() const { return m_record.dwBlockLength; }

  void Push(Writer& writer);
  // For a record that was completed by hand.
  void MarkPushed();
  // Tries the next thing once: opens and fills the block, or polls. True when it has ended. The
  // milliseconds count from the push, and from the block.
  bool Step(std::uint32_t blockWaitMs, std::uint32_t answerWaitMs);
  // Opens and fills the block without asking. False while it isn't there.
  bool OpenBlock();
  // Opens the block and stores 0, without filling it.
  bool OpenEmptyBlock();
  // Fills an open block; Step then asks.
  void Fill();
  // Overwrites payload and name, with the terminators.
  void Spoil(unsigned char byte);
  std::int32_t ExchangeStatus(std::int32_t status);
  void CloseBlock() { m_block.Close(); }

  State Now() const { return m_state; }
  bool IsAnswered() const { return m_state == State::kAnswered; }
  std::int32_t Answer() const { return m_answer; }
  // Milliseconds from the push to the block, and from there to the answer.
  double BlockMs() const { return m_blockMs; }
  double AnswerMs() const { return m_answerMs; }

 private:
  using Clock = std::chrono::steady_clock;

  void Begin();
  double MsSince() const {
    return std::chrono::duration<double, std::milli>(Clock::now() - m_since).count();
  }
  bool IsOver(std::uint32_t milliseconds) const {
    return platform::clock.GetTickCount() - m_sinceTick > milliseconds;
  }

  ContentRequest m_record{};
  std::string m_content;
  agentkit::SharedView m_block;
  State m_state = State::kNew;
  std::int32_t m_answer = 0;
  Clock::time_point m_since;  // for the figures; the waits are the replaceable clock's
  std::uint32_t m_sinceTick = 0;
  double m_blockMs = 0;
  double m_answerMs = 0;
};

// How the request ended, in words: "answered 4 after 3.1 ms".
std::string EndOf(const Requester& request);

}  // namespace inspection::conformance
