// Asks the local agent about one item of a mail and returns its answer.
//
// A request takes two steps. A small record goes into the ring (ringbuffer.h) and names a second
// mapping, the request's block. The agent creates the block; the add-in opens it, fills it with the
// item, and polls its status word until the agent has answered. The add-in holds both mappings open
// for that one request only, so the agent may stop and restart between two requests.
//
// Everything fails open: an agent that is absent, silent or unclear yields kActionNothingUsable,
// which neither blocks nor tags. All of this runs on the host's thread that fires Send, and blocks
// that thread while it waits.
#pragma once

#include <cstdint>

#include "channel/protocol.h"
#include "platform/handles.h"
#include "platform/widetext.h"

// The sequence number in the next block's name, 0 to channel::kLastSequence. Used by the host's
// thread only.
extern std::int32_t g_requestSequence;

class AgentChannel {
 public:
  // Asks about an item of type `itemType`, one of channel::kItemTypes. `payload` is `length` bytes
  // that may include NULs; it may be null if `length` is 0. `name` is NUL-terminated; null and
  // empty both mean that the item has no name. Returns an accepted answer (channel::IsAccepted),
  // otherwise kActionNothingUsable.
  //
  // Returns at once if there is no agent or the ring is full. Otherwise it waits for the block and
  // then for the answer: at least 7.98 s and 2.48 s (184.98 s with m_bChallengeResponse) if neither
  // arrives, and longer where the system's sleeps take longer than 20 ms.
  int CheckContent(const void* payload, std::uint32_t length, std::uint32_t itemType,
                   const char* name);

  // CheckContent for wide text of `charCount` units and a NUL-terminated wide name, both sent as
  // UTF-8. `name` may be null. Text that can't be converted is sent as empty text.
  int CheckContentWide(const platform::WideChar* text, std::uint32_t charCount,
                       std::uint32_t itemType, const platform::WideChar* name);

  // Writes `length` bytes to the file `fileName` (no path) in the temporary directory, replacing
  // any existing file, and asks about the file with `fileName` as the item's name. The file stays
  // until the clean-up at the end of the mail's check. Returns kActionNothingUsable if the file
  // can't be written. If `length` is 0, it does the same without creating a file or asking.
  int CheckContentWithFile(const void* data, std::uint32_t length, const char* fileName);

  // 2 to the power of `exponent` for 1 to 20, otherwise 0.
  static int GetRingSize(int exponent);

  // Opens the existing mapping `name` and maps `size` bytes of it for reading and writing. Stores
  // handle and view in the caller's slots; release them with CloseSharedMemory.
  // On failure returns false and logs one line: at Warn if the mapping doesn't exist, since callers
  // wait for mappings by calling this in a loop. Nothing is open then. Don't release the slots: the
  // handle slot may hold a handle that is already closed.
  static bool InitializeSharedMemory(platform::Handle* mappingSlot, void** viewSlot,
                                     const char* name, int size);

  // Releases the view, then the handle, and sets both slots to null. Slots may be empty.
  static void CloseSharedMemory(platform::Handle* mappingSlot, void** viewSlot);

  // Appends one entry to a ring whose memory holds the capacity in its header. See
  // channel::PushEntry and channel::WriteRingBuffer.
  static bool PushEntry(RingHeader* ring, const void* data, int length);
  static bool WriteRingBuffer(RingHeader* ring, const void* data, int length);

  // True: CheckContent polls channel::kChallengePolls times for an answer, because the agent may
  // ask a person. False: channel::kAnswerPolls times. Set at the start of each mail's check and
  // kept until the next.
  bool m_bChallengeResponse = false;
};

// The process's only channel. The first call creates it; it is never freed.
AgentChannel* GetAgentChannel();

// Send the two items without a payload: the envelope is complete (channel::kItemEnvelope), and the
// mail is complete (channel::kItemClose).
int ScanEnvelopeEnd();
int ScanSessionEnd();
