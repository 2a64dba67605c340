// One question to the local agent, and its answer.
//
// A question travels in two steps. A small record goes into the ring (ringbuffer.h) and names a
// second mapping, the request's block, which the agent then creates. The add-in opens the block,
// fills it with the item and polls its status word until the agent has answered. Both mappings are
// open for that one request only, so the agent may come, go and restart between two requests.
//
// Everything fails open: an agent that is absent, silent or unclear gives 1, which neither blocks
// nor tags. All of it belongs to the host's thread that fires Send and holds it up while it waits.
#pragma once

#include <cstdint>

#include "channel/protocol.h"
#include "platform/handles.h"
#include "platform/widetext.h"

// The number that the next request's block is named with: 0 to 99999, then 0 again. Belongs to the
// host's one thread.
extern std::int32_t g_requestSequence;

class AgentChannel {
 public:
  // Asks about `length` bytes of `payload`, which may hold NUL bytes and may be null if `length`
  // is 0. `name` says what the item stands for, NUL-terminated; null is the same as empty.
  // Gives the agent's answer if it is 3, 4 or 7, and 1 in every other case.
  //
  // With no agent, or a full ring, it returns at once. Otherwise it waits up to 7.98 s for the
  // block and then for the answer as m_bChallengeResponse says, looking every 20 ms.
  int CheckContent(const void* payload, std::uint32_t length, std::uint32_t itemType,
                   const char* name);

  // The same for wide text of `charCount` units and a NUL-terminated wide name, both sent in
  // UTF-8. `name` may be null. A text that can't be converted is sent as an empty one.
  int CheckContentWide(const platform::WideChar* text, std::uint32_t charCount,
                       std::uint32_t itemType, const platform::WideChar* name);

  // Writes `length` bytes into the file `fileName` (a bare name) in the temporary directory, over
  // what may be there, and asks about the file, with `fileName` as the item's name. The file
  // stays; whoever ends the check of the mail deletes it. 1 if it can't be written. With length 0
  // there is nothing to ask: 1, no file and no request.
  int CheckContentWithFile(const void* data, std::uint32_t length, const char* fileName);

  // 2 to the power of `exponent` for 1 to 20, otherwise 0.
  static int GetRingSize(int exponent);

  // Opens the existing mapping `name` and maps `size` bytes of it, read and write. Handle and view
  // go into the caller's slots, to be released by CloseSharedMemory.
  // False if that can't be done, with a line in the log (Warn when the mapping isn't there, as
  // whoever waits for one calls this in a loop). Nothing is open then, and the slots are not to be
  // released: the handle's may hold a handle that was closed.
  static bool InitializeSharedMemory(platform::Handle* mappingSlot, void** viewSlot,
                                     const char* name, int size);

  // Releases what the slots hold, the view before the handle, and sets both to null. Empty slots
  // are allowed.
  static void CloseSharedMemory(platform::Handle* mappingSlot, void** viewSlot);

  // Appends one entry to a ring whose memory holds the capacity that its header names. See
  // channel::PushEntry and channel::WriteRingBuffer.
  static bool PushEntry(RingHeader* ring, const void* data, int length);
  static bool WriteRingBuffer(RingHeader* ring, const void* data, int length);

  // True: an answer is waited for up to 184.98 s, as somebody may be asked; false: 2.48 s. Stored
  // at the start of each check of a mail, and kept until the next.
  bool m_bChallengeResponse = false;
};

// The process's one channel, made by the first call and never freed.
AgentChannel* GetAgentChannel();

// The two markers, empty items: the envelope is complete; the mail is complete.
int ScanEnvelopeEnd();
int ScanSessionEnd();
