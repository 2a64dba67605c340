// The whole agent with lying requesters. The input gives steps: valid and invalid records in the
// ring, words stored into ring and blocks, passing time, and what the handlers do. Every accepted
// request reaches the handler at most once, ends exactly once, and leaves no mapping open.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/ringbuffer.h"
#include "fuzz/fuzzing.h"
#include "fuzz/memorymappings.h"
#include "platform/clock.h"

namespace {

using agentkit::Ending;
using agentkit::Request;
using fuzzing::Require;

// What the handlers have seen of one request.
struct Seen {
  bool isAsked = false;
  bool isEnded = false;
};

class World {
 public:
  explicit World(fuzzing::Input& input) : m_input(input) {
    Require(m_agent.Start() == agentkit::OpenResult::kOpened, "a ring can be made");
    Require(m_writer.Open(channel::kRingName, kView), "the ring is there");
  }

  void Step() {
    const std::uint8_t step = m_input.Byte();
    switch (step % 8) {
      case 0:
        PushRecord(step / 8);
        break;
      case 1:
        PushBytes();
        break;
      case 2:
        StoreInBlock(step / 8);
        break;
      case 3:
        m_now += m_input.Half() * 16U;
        break;
      case 4:
        StoreInRing();
        break;
      case 5:
        m_agent.Answer(1 + step / 8, static_cast<std::int8_t>(m_input.Byte()));
        break;
      case 6:
        m_agent.Drop(1 + step / 8);
        break;
      default:
        m_agent.Poll();
        break;
    }
  }

  void End() {
    m_agent.Poll();
    m_writer.Close();
    m_agent.Stop();
    for (const auto& [id, seen] : m_seen) Require(seen.isEnded, "every request ends");
    Require(m_agent.OpenRequests() == 0, "no request is left");
    Require(m_mappings.OpenHandles() == 0 && m_mappings.OpenViews() == 0, "nothing stays open");
  }

 private:
  static constexpr std::uint32_t kCapacity = 2048;
  static constexpr std::uint32_t kView = (1U << 18) + 20;

  RingHeader* Ring() { return reinterpret_cast<RingHeader*>(m_writer.Data()); }
  void Push(const void* bytes, std::size_t size) {
    channel::PushEntry(Ring(), sizeof(RingHeader) + kCapacity, bytes, static_cast<int>(size));
  }
  void PushRecord(int kind) {
    ContentRequest record{};
    record.dwProcessId = kind % 4 == 3 ? m_input.Word() : 11;
    record.dwThreadId = 22;
    record.dwBlockLength = m_input.Half() % 64 + 4U;
    if (kind % 8 == 7) record.dwBlockLength = m_input.Word();
    record.dwRequestKind = channel::kRequestKindContent;
    record.dwItemType = m_input.Byte();
    std::snprintf(record.szBlockName, sizeof(record.szBlockName), channel::kBlockNameFormat,
                  static_cast<unsigned>(record.dwProcessId), 22U, m_input.Byte());
    Push(&record, sizeof(record));
  }
  void PushBytes() {
    std::vector<char> bytes((m_input.Byte() / 4 + 1) * 4U);
    const std::string_view given = m_input.Bytes(bytes.size());
    std::copy(given.begin(), given.end(), bytes.begin());
    Push(bytes.data(), bytes.size());
  }
  void StoreInBlock(int chosen) {
    const auto blocks = m_mappings.Made();
    if (blocks.empty()) return;
    const auto& [memory, size] = blocks[static_cast<std::size_t>(chosen) % blocks.size()];
    if (size == kView) return;
    const std::uint8_t what = m_input.Byte();
    const std::int32_t status = what % 8;
    if (what % 16 >= 8) std::memcpy(memory, &status, sizeof(status));
    const std::string_view content = m_input.Bytes(what / 16);
    std::copy_n(content.begin(), std::min<std::size_t>(content.size(), size - 4), memory + 4);
  }
  void StoreInRing() {
    const std::uint32_t offset = m_input.Half() % (kCapacity + 16) / 4 * 4;
    const std::uint32_t word = m_input.Word();
    std::memcpy(m_writer.Data() + offset, &word, sizeof(word));
  }

  bool OnRecord(const Request& request) {
    Require(request.payload.empty() && request.name.empty(), "no payload yet");
    Require(agentkit::IsSound(request.record), "only valid records get this far");
    Require(m_seen.try_emplace(request.id).second, "an id is new");
    return m_input.Byte() % 8 != 7;
  }
  std::optional<std::int32_t> OnRequest(const Request& request) {
    Seen& seen = m_seen.at(request.id);
    Require(!seen.isAsked && !seen.isEnded, "a request reaches the handler once");
    seen.isAsked = true;
    const std::size_t content = request.record.dwBlockLength - 4;
    const std::size_t taken = request.payload.size() + request.name.size();
    Require(request.isWellFormed ? taken + 2 == content : taken == content,
            "the whole block is read");
    Require(request.name.find('\0') == std::string::npos, "a name contains no NUL");
    const std::uint8_t how = m_input.Byte();
    if (how % 8 == 6) m_agent.Drop(request.id);
    if (how % 8 == 7) m_agent.Answer(request.id, how);
    if (how % 8 == 5) return std::nullopt;
    return how / 8 - 2;
  }
  void OnEnd(const Request& request) {
    Seen& seen = m_seen.at(request.id);
    Require(!seen.isEnded, "a request ends once");
    seen.isEnded = true;
  }

  fuzzing::Input& m_input;
  std::uint32_t m_now = 0xFFFFF000;
  std::map<agentkit::RequestId, Seen> m_seen;
  fuzzing::MemoryMappings m_mappings;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks{
      [this](auto) { return m_now; }};
  agentkit::SharedView m_writer;
  agentkit::Agent m_agent{
      {.onRecord = [this](const Request& request) { return OnRecord(request); },
       .onRequest = [this](const Request& request) { return OnRequest(request); },
       .onEnd = [this](const Request& request, Ending) { OnEnd(request); },
       .onOddEntry = [](agentkit::TakeResult, const std::vector<unsigned char>&) {}},
      {.ring = {.capacity = kCapacity}}};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  World world(input);
  while (!input.IsEmpty()) world.Step();
  world.End();
  return 0;
}
