// An agent in the add-in's own thread, for tests. It owns a ring and answers as the test says.
//
// It replaces platform::clock.Sleep. The add-in sleeps 20 ms wherever it waits for the agent, so
// each Sleep is the agent's turn: it takes a request out of the ring, makes the block, or writes a
// status word, and no real time passes. Everything is deterministic: by default a request costs
// exactly two sleeps, one before the block can be opened and one before the answer is read, and the
// add-in finds the answer with the poll counter at 124.
//
//   ScriptedAgent agent;                                  // answers 4 to everything
//   agent.Queue(channel::kItemFile, Reply::Answer(3));             // the first file is blocked
//   agent.SetDefault(channel::kItemSender, Reply::Silent());       // the sender is never answered
//   ...
//   EXPECT_EQ(agent.Requests()[0].payload, "...");
//
// It doesn't use agentkit, so that a mistake there can't hide one in the add-in. Mapping names are
// private to the object (privatenames.h).
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "channel/agentchannel.h"
#include "channel/protocol.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mappings.h"
#include "platform/scopedreplacement.h"
#include "tests/support/privatenames.h"
#include "text/textconversion.h"

namespace tests {

// What the agent does with one request.
struct Reply {
  // Status words. The agent writes one at each sleep once the block is complete. Empty: the agent
  // stays silent.
  std::vector<std::int32_t> statuses;
  bool makesBlock = true;
  int sleepsUntilBlock = 1;   // the agent makes the block at this sleep after the push
  int sleepsUntilAnswer = 1;  // and writes the first status at this sleep after the filling

  static Reply Answer(std::int32_t status) { return Reply{.statuses = {status}}; }
  static Reply Statuses(std::vector<std::int32_t> statuses) {
    return Reply{.statuses = std::move(statuses)};
  }
  static Reply Silent() { return Reply{}; }
  static Reply NoBlock() { return Reply{.statuses = {}, .makesBlock = false}; }
};

struct SeenRequest {
  ContentRequest record{};            // from the ring
  std::uint32_t itemType = 0;         // from the record
  bool isReadable = false;            // the block was complete, so the following fields are set
  std::string block;                  // all its bytes
  std::string payload;                // its parts
  std::string name;                   //
  std::optional<std::string> file;    // the content of the file that a type 1 item names
  std::vector<std::int32_t> answers;  // the status words that the agent wrote
  int sleeps = 0;                     // the number of sleeps during this request
};

class ScriptedAgent {
 public:
  // The mapping has the size that the add-in expects, whatever the capacity in the header.
  explicit ScriptedAgent(std::int32_t capacity = 1 << channel::kRingSizeExponent)
      : m_sleep([this](auto, std::uint32_t milliseconds) { OnSleep(milliseconds); }) {
    m_ringSize =
        static_cast<std::uint32_t>((1 << channel::kRingSizeExponent) + channel::kRingOverhead);
    m_ring.Make(m_names.Redirected(channel::kRingName), m_ringSize);
    Ring()->capacity = capacity;
  }

  ScriptedAgent(const ScriptedAgent&) = delete;
  ScriptedAgent& operator=(const ScriptedAgent&) = delete;

  // Adds a reply to the queue for requests of that type.
  void Queue(std::uint32_t itemType, Reply reply) {
    m_queues[itemType].push_back(std::move(reply));
  }
  // The reply to requests of that type when its queue is empty. Without one the answer is 4.
  void SetDefault(std::uint32_t itemType, Reply reply) { m_defaults[itemType] = std::move(reply); }
  // The same for all types that have no default of their own.
  void SetDefault(Reply reply) { m_default = std::move(reply); }

  // Called once for each request, when its block is complete. A result replaces the reply's
  // statuses; `makesBlock` has no effect any more.
  std::function<std::optional<Reply>(const SeenRequest&)> onRequest;
  // Called at the start of each Sleep, before the agent's turn.
  std::function<void()> onSleep;

  // All requests in their order in the ring.
  const std::vector<SeenRequest>& Requests() const { return m_requests; }
  // Their item types.
  std::vector<std::uint32_t> ItemTypes() const {
    std::vector<std::uint32_t> types;
    for (const SeenRequest& request : m_requests) {
      types.push_back(request.itemType);
    }
    return types;
  }
  void ForgetRequests() {
    m_requests.clear();
    m_current.reset();
  }

  int Sleeps() const { return m_sleeps; }
  // The longest and the shortest sleep, in milliseconds.
  std::uint32_t LongestSleep() const { return m_longest; }
  std::uint32_t ShortestSleep() const { return m_shortest; }

  // The ring's memory, for tests that check or damage it.
  RingHeader* Ring() { return static_cast<RingHeader*>(m_ring.view); }
  unsigned char* RingData() { return reinterpret_cast<unsigned char*>(Ring() + 1); }
  // The view of the last request's block, or null if the agent made none. Valid until the next
  // request.
  void* LastBlock() { return m_block.view; }
  // The status word of that block.
  std::int32_t LastStatus() {
    return std::atomic_ref<std::int32_t>(*static_cast<std::int32_t*>(m_block.view)).load();
  }
  const PrivateNames& Names() const { return m_names; }

 private:
  // A mapping and its view.
  struct Mapping {
    Mapping() = default;
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { Close(); }

    void Make(const std::string& name, std::uint32_t size) {
      Close();
      handle = platform::mappings.CreateFileMappingA(size, name.c_str());
      view = handle == nullptr
                 ? nullptr
                 : platform::mappings.MapViewOfFile(handle, platform::kMapReadWrite, 0, 0, size);
      if (view == nullptr) {
        throw std::runtime_error("scripted agent: cannot make the mapping " + name);
      }
    }
    void Close() {
      if (view != nullptr) platform::mappings.UnmapViewOfFile(view);
      if (handle != nullptr) platform::handles.CloseHandle(handle);
      view = nullptr;
      handle = nullptr;
    }

    platform::Handle handle = nullptr;
    void* view = nullptr;
  };

  struct Current {
    Reply reply;
    int sleepsLeft = 0;
    std::size_t nextStatus = 0;
  };

  void OnSleep(std::uint32_t milliseconds) {
    ++m_sleeps;
    m_longest = std::max(m_longest, milliseconds);
    m_shortest = std::min(m_shortest, milliseconds);
    if (onSleep) onSleep();
    TakeRequest();
    if (m_current) {
      ++m_requests.back().sleeps;
      Serve();
    }
  }

  // Takes an entry once its length word is written, and clears all of it, since later entries begin
  // at other positions.
  void TakeRequest() {
    const auto capacity = static_cast<std::uint32_t>(Ring()->capacity);
    if (capacity == 0 || capacity > m_ringSize - channel::kRingOverhead) return;
    const auto lengthWord = [&] {
      return std::atomic_ref<std::uint32_t>(
                 *reinterpret_cast<std::uint32_t*>(RingData() + m_position % capacity))
          .load();
    };
    if (m_position == Ring()->writeCursor || lengthWord() != sizeof(ContentRequest)) return;
    SeenRequest seen;
    auto* const record = reinterpret_cast<unsigned char*>(&seen.record);
    for (std::uint32_t i = 0; i < channel::kRequestEntrySize; ++i) {
      unsigned char& byte = RingData()[(m_position + i) % capacity];
      if (i >= sizeof(RingEntry)) record[i - sizeof(RingEntry)] = byte;
      byte = 0;
    }
    m_position += channel::kRequestEntrySize;
    std::atomic_ref<std::int32_t>(Ring()->usedBytes)
        .fetch_sub(static_cast<std::int32_t>(channel::kRequestEntrySize));
    seen.itemType = seen.record.dwItemType;
    m_block.Close();
    m_current = Current{.reply = NextReply(seen.itemType)};
    m_current->sleepsLeft = m_current->reply.sleepsUntilBlock;
    m_requests.push_back(std::move(seen));
  }

  Reply NextReply(std::uint32_t itemType) {
    std::deque<Reply>& queue = m_queues[itemType];
    if (queue.empty()) {
      const auto found = m_defaults.find(itemType);
      return found != m_defaults.end() ? found->second : m_default;
    }
    Reply reply = std::move(queue.front());
    queue.pop_front();
    return reply;
  }

  void Serve() {
    SeenRequest& request = m_requests.back();
    if (m_block.view == nullptr) {
      if (m_current->reply.makesBlock && --m_current->sleepsLeft <= 0) {
        m_block.Make(m_names.Redirected(request.record.szBlockName), request.record.dwBlockLength);
      }
      return;
    }
    std::atomic_ref<std::int32_t> status(*static_cast<std::int32_t*>(m_block.view));
    if (!request.isReadable) {
      if (status.load() != channel::kStatusWaiting) return;
      ReadBlock(request);
      if (onRequest) {
        if (std::optional<Reply> reply = onRequest(request)) m_current->reply = *std::move(reply);
      }
      m_current->sleepsLeft = m_current->reply.sleepsUntilAnswer;
    }
    if (m_current->nextStatus < m_current->reply.statuses.size() && --m_current->sleepsLeft <= 0) {
      const std::int32_t word = m_current->reply.statuses[m_current->nextStatus++];
      request.answers.push_back(word);
      status.exchange(word);
    }
  }

  // The name contains no NUL, so it begins after the last NUL but one.
  void ReadBlock(SeenRequest& request) {
    request.isReadable = true;
    request.block.assign(static_cast<const char*>(m_block.view), request.record.dwBlockLength);
    const std::string parts = request.block.substr(channel::kPayloadOffset);
    const std::size_t split =
        parts.size() < 2 ? std::string::npos : parts.rfind('\0', parts.size() - 2);
    if (split == std::string::npos) return;
    request.payload = parts.substr(0, split);
    request.name = parts.substr(split + 1, parts.size() - split - 2);
    if (request.itemType == channel::kItemFile) request.file = ReadFile(request.payload);
  }

  // A path is in UTF-8 or in the ANSI code page. The wide call comes first because some tests
  // replace the narrow one.
  static std::optional<std::string> ReadFile(const std::string& path) {
    platform::Handle file = platform::files.CreateFileW(
        Utf8ToWide(path).c_str(), platform::kGenericRead, platform::kShareReadWrite, nullptr,
        platform::kOpenExisting, platform::kFileAttributeNormal);
    if (file == platform::kInvalidHandle) {
      file = platform::files.CreateFileA(path.c_str(), platform::kGenericRead,
                                         platform::kShareReadWrite, nullptr,
                                         platform::kOpenExisting, platform::kFileAttributeNormal);
    }
    if (file == platform::kInvalidHandle) return std::nullopt;
    std::string content;
    char buffer[4096];
    std::uint32_t read = 0;
    while (platform::files.ReadFile(file, buffer, sizeof(buffer), &read) && read > 0) {
      content.append(buffer, read);
    }
    platform::handles.CloseHandle(file);
    return content;
  }

  PrivateNames m_names;
  std::uint32_t m_ringSize = 0;
  Mapping m_ring;
  Mapping m_block;
  std::uint32_t m_position = 0;
  Reply m_default = Reply::Answer(4);
  std::map<std::uint32_t, Reply> m_defaults;
  std::map<std::uint32_t, std::deque<Reply>> m_queues;
  std::vector<SeenRequest> m_requests;
  std::optional<Current> m_current;
  int m_sleeps = 0;
  std::uint32_t m_longest = 0;
  std::uint32_t m_shortest = 0xFFFFFFFF;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
};

}  // namespace tests
