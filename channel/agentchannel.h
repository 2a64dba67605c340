// One question to the local agent, and its answer.
#pragma once

#include <cstdint>

#include "channel/actioncode.h"
#include "platform/widetext.h"

// What a request's payload is.
inline constexpr std::uint32_t kItemFile = 1;         // the path of a file
inline constexpr std::uint32_t kItemRecipients = 3;   // addresses, each with its NUL
inline constexpr std::uint32_t kItemSender = 7;       // the sender's text
inline constexpr std::uint32_t kItemEnvelopeEnd = 8;  // nothing: the envelope is complete
inline constexpr std::uint32_t kItemSessionEnd = 9;   // nothing: the mail is complete

class AgentChannel {
 public:
  // Asks about `length` bytes of `payload`. `name` says what the item stands for and may be null.
  // Gives the agent's answer if it is 3, 4 or 7, and 1 in every other case.
  int CheckContent(const void* payload, std::uint32_t length, std::uint32_t itemType,
                   const char* name);

  // The same for wide text of `charCount` units and a NUL-terminated wide name, both sent in
  // UTF-8. `name` may be null.
  int CheckContentWide(const platform::WideChar* text, std::uint32_t charCount,
                       std::uint32_t itemType, const platform::WideChar* name);

  // Writes `length` bytes into the file `fileName` in the temporary directory and asks about the
  // file. The file stays. With length 0 there is nothing to ask: 1.
  int CheckContentWithFile(const void* data, std::uint32_t length, const char* fileName);

  // True: an answer is waited for up to 184.98 s, as somebody may be asked; false: 2.48 s.
  bool m_bChallengeResponse = false;
};

// The process's one channel, made by the first call and never freed.
AgentChannel* GetAgentChannel();

// The two markers: the envelope is complete; the mail is complete.
int ScanEnvelopeEnd();
int ScanSessionEnd();
