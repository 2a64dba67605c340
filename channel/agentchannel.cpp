#include "channel/agentchannel.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "channel/ringbuffer.h"
#include "logging/vrklogger.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedhandle.h"
#include "text/textconversion.h"

std::int32_t g_requestSequence = 0;

namespace {

constexpr std::size_t kTempFilePathSize = 270;

// Releases a handle and a view together at the end of a scope.
struct SharedMemory {
  SharedMemory() = default;
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  ~SharedMemory() { AgentChannel::CloseSharedMemory(&mapping, &view); }

  bool Open(const char* name, int size) {
    if (AgentChannel::InitializeSharedMemory(&mapping, &view, name, size)) {
      return true;
    }
    // Nothing is open, but the slot may still hold a handle that is already closed.
    mapping = nullptr;
    view = nullptr;
    return false;
  }

  platform::Handle mapping = nullptr;
  void* view = nullptr;
};

// A length that 32 bits can't hold becomes the largest that they can. No mapping is that large, so
// the block is never opened and nothing is written past the end of a smaller one.
std::uint32_t BlockLength(std::uint32_t length, std::size_t nameLength) {
  const std::uint64_t blockLength = std::uint64_t{length} + nameLength + channel::kBlockOverhead;
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(blockLength < kMost ? blockLength : kMost);
}

void NameBlock(ContentRequest& request) {
  const std::int32_t sequence = g_requestSequence++;
  std::snprintf(request.szBlockName, sizeof(request.szBlockName), channel::kBlockNameFormat,
                static_cast<unsigned>(platform::process.GetCurrentProcessId()),
                static_cast<unsigned>(platform::process.GetCurrentThreadId()),
                static_cast<int>(sequence));
  if (g_requestSequence > channel::kLastSequence) {
    g_requestSequence = 0;
  }
}

// The agent creates the block once it has taken the request out of the ring.
bool WaitForBlock(SharedMemory& block, const ContentRequest& request) {
  for (int attempt = 0; attempt < channel::kBlockAttempts; ++attempt) {
    platform::clock.Sleep(channel::kPollMs);
    if (block.Open(request.szBlockName, static_cast<int>(request.dwBlockLength))) {
      return true;
    }
  }
  return false;
}

std::atomic_ref<std::int32_t> StatusOf(void* view) {
  return std::atomic_ref<std::int32_t>(static_cast<RequestBlock*>(view)->status);
}

void FillBlock(void* view, const void* payload, std::uint32_t length, const char* name,
               std::size_t nameLength) {
  // Relaxed: the agent reads nothing before the first poll's exchange, which orders these stores.
  StatusOf(view).store(channel::kStatusFilling, std::memory_order_relaxed);
  char* const bytes = static_cast<char*>(view);
  if (length > 0) {
    std::memcpy(bytes + channel::kPayloadOffset, payload, length);
  }
  char* end = bytes + channel::kPayloadOffset + length;
  *end++ = '\0';
  if (nameLength > 0) {
    std::memcpy(end, name, nameLength);
  }
  end[nameLength] = '\0';
}

// Each poll stores "waiting" and takes the previous word, so an answer is read only once. Returns
// the last word read; `*counter` becomes the number of polls left.
std::int32_t PollAnswer(void* view, int* counter) {
  for (;;) {
    // Full barrier. Release: pairs with the agent's acquire of the 1, so that payload and name are
    // in place when it reads them. Acquire: pairs with the release of its answer.
    const std::int32_t status =
        StatusOf(view).exchange(channel::kStatusWaiting, std::memory_order_seq_cst);
    if (channel::EndsWait(status) || --*counter < 1) {
      return status;
    }
    platform::clock.Sleep(channel::kPollMs);
  }
}

// Waits for the answer in a filled block.
int AskInBlock(void* view, bool isLongWait) {
  int counter = isLongWait ? channel::kChallengePolls : channel::kAnswerPolls;
  const std::int32_t status = PollAnswer(view, &counter);
  g_logger.Log(kLogModule, kLogInfo, "CheckContent: lActionCode=%d iTimeOut=%d",
               static_cast<int>(status), counter);
  if (!channel::EndsWait(status)) {
    StatusOf(view).exchange(channel::kStatusGivenUp, std::memory_order_seq_cst);
    return channel::kActionNothingUsable;
  }
  return channel::IsAccepted(status) ? status : channel::kActionNothingUsable;
}

// Creates or overwrites the file at `path`. If it can't be written completely, returns false, logs
// a line and leaves the partial file.
bool WriteTempFile(const char* path, const void* data, std::uint32_t length) {
  // The numbers are part of the messages and don't follow this file's lines.
  constexpr int kShortWriteLine = 223;
  constexpr int kFailedWriteLine = 229;
  platform::ScopedHandle file(platform::files.CreateFileA(
      path, platform::kGenericReadWrite, platform::kShareReadWrite, nullptr,
      platform::kCreateAlways, platform::kFileAttributeNormal));
  if (!file.IsOpen()) {
    g_logger.Log(kLogModule, kLogErr, "CheckContentWithFile: cannot create file [%s]!", path);
    return false;
  }
  std::uint32_t written = 0;
  const bool isWritten = platform::files.WriteFile(file.Get(), data, length, &written);
  file.Close();
  if (!isWritten || written < length) {
    g_logger.Log(kLogModule, kLogErr,
                 "CheckContentWithFile: cannot write to temp file [%s], line = %d!", path,
                 isWritten ? kShortWriteLine : kFailedWriteLine);
    return false;
  }
  return true;
}

}  // namespace

int AgentChannel::CheckContent(const void* payload, std::uint32_t length, std::uint32_t itemType,
                               const char* name) {
  ContentRequest request{};
  SharedMemory ring;
  const int ringViewSize = GetRingSize(channel::kRingSizeExponent) + channel::kRingOverhead;
  if (!ring.Open(channel::kRingName, ringViewSize)) {
    g_logger.Log(kLogModule, kLogErr, "CheckContent: cannot initialize shared memory!");
    return channel::kActionNothingUsable;
  }

  const std::size_t nameLength = name != nullptr ? std::strlen(name) : 0;
  request.dwBlockLength = BlockLength(length, nameLength);
  request.dwProcessId = platform::process.GetCurrentProcessId();
  request.dwThreadId = platform::process.GetCurrentThreadId();
  request.dwRequestKind = channel::kRequestKindContent;
  request.dwItemType = itemType;
  NameBlock(request);
  if (!channel::PushEntry(static_cast<RingHeader*>(ring.view),
                          static_cast<std::uint32_t>(ringViewSize), &request,
                          static_cast<int>(sizeof(request)))) {
    g_logger.Log(kLogModule, kLogErr, "CheckContent: cannot push entry!");
    return channel::kActionNothingUsable;
  }

  SharedMemory block;  // declared after the ring, so closed before it
  if (!WaitForBlock(block, request)) {
    return channel::kActionNothingUsable;
  }
  FillBlock(block.view, payload, length, name, nameLength);
  return AskInBlock(block.view, m_bChallengeResponse);
}

int AgentChannel::CheckContentWide(const platform::WideChar* text, std::uint32_t charCount,
                                   std::uint32_t itemType, const platform::WideChar* name) {
  const std::string narrow =
      text != nullptr ? WideToUtf8(platform::WideStringView(text, charCount)) : std::string();
  const std::string narrowName =
      name != nullptr ? WideToUtf8(platform::WideStringView(name)) : std::string();
  return CheckContent(narrow.data(), static_cast<std::uint32_t>(narrow.size()), itemType,
                      narrowName.c_str());
}

int AgentChannel::CheckContentWithFile(const void* data, std::uint32_t length,
                                       const char* fileName) {
  if (length == 0) {
    return channel::kActionNothingUsable;
  }
  char folder[platform::kMaxPath] = {};
  platform::folders.GetTempPathA(sizeof(folder), folder);
  char path[kTempFilePathSize] = {};
  std::snprintf(path, sizeof(path), "%s%s", folder, fileName);
  if (!WriteTempFile(path, data, length)) {
    return channel::kActionNothingUsable;
  }
  return CheckContent(path, static_cast<std::uint32_t>(std::strlen(path)), channel::kItemFile,
                      fileName);
}

int AgentChannel::GetRingSize(int exponent) {
  return exponent >= 1 && exponent <= 20 ? 1 << exponent : 0;
}

bool AgentChannel::InitializeSharedMemory(platform::Handle* mappingSlot, void** viewSlot,
                                          const char* name, int size) {
  if (name == nullptr || size < 1) {
    g_logger.Log(kLogModule, kLogErr, "InitializeSharedMemory: wrong parameters!");
    return false;
  }
  platform::ScopedHandle mapping(
      platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name));
  *mappingSlot = mapping.Get();
  if (!mapping.IsOpen()) {
    // The message shows the handle, not a system error.
    g_logger.Log(kLogModule, kLogWarn, "InitializeSharedMemory: OpenFileMapping err(0X%X)!",
                 static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(*mappingSlot)));
    return false;
  }
  *viewSlot = platform::mappings.MapViewOfFile(*mappingSlot, platform::kMapReadWrite, 0, 0,
                                               static_cast<std::uint32_t>(size));
  if (*viewSlot == nullptr) {
    mapping.Close();
    g_logger.Log(kLogModule, kLogErr, "InitializeSharedMemory: cannot map file!");
    return false;
  }
  mapping.LeaveOpen();  // the slot owns it
  return true;
}

void AgentChannel::CloseSharedMemory(platform::Handle* mappingSlot, void** viewSlot) {
  if (*viewSlot != nullptr) {
    platform::mappings.UnmapViewOfFile(*viewSlot);
  }
  *viewSlot = nullptr;
  if (*mappingSlot != nullptr) {
    platform::handles.CloseHandle(*mappingSlot);
  }
  *mappingSlot = nullptr;
}

bool AgentChannel::PushEntry(RingHeader* ring, const void* data, int length) {
  return channel::PushEntry(ring, channel::kTrustedView, data, length);
}

bool AgentChannel::WriteRingBuffer(RingHeader* ring, const void* data, int length) {
  return channel::WriteRingBuffer(ring, data, length);
}

AgentChannel* GetAgentChannel() {
  // Never freed: the host may fire Send until the process ends.
  static AgentChannel* const s_channel = new AgentChannel;
  return s_channel;
}

int ScanEnvelopeEnd() {
  return GetAgentChannel()->CheckContent(nullptr, 0, channel::kItemEnvelope, nullptr);
}

int ScanSessionEnd() {
  return GetAgentChannel()->CheckContent(nullptr, 0, channel::kItemClose, nullptr);
}
