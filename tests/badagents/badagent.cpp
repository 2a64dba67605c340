// An agent that breaks one rule of the protocol, to show that `quorvex conform` finds it.
//
//     badagent --ring NAME --fault FAULT [--gone-ms N] [--cursor N]
//
// The fault "none" makes a good agent: it reads the files, blocks mails with a file that contains
// TOP-SECRET-42, and lets all others go. The kit can't
// break most of the rules, so this agent uses the ring directly. `--gone-ms` is how long it waits
// for a writer or requester before it counts as dead; `--cursor` is where the ring's counters
// begin. Prints "ready" and ends when standard input does.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/protocol.h"
#include "platform/clock.h"
#include "tools/system/childprocess.h"

namespace {

constexpr std::uint32_t kEntry = channel::kRequestEntrySize;
constexpr std::uint32_t kWord = 4;
using Bytes = std::vector<unsigned char>;

struct Settings {
  std::string ring;
  std::string fault;
  std::uint32_t goneMs = 15'000;
  std::uint32_t cursor = 0;
};

template <typename Word>
std::atomic_ref<Word> Shared(void* word) {
  return std::atomic_ref<Word>(*static_cast<Word*>(word));
}

std::uint32_t Now() {
  return platform::clock.GetTickCount();
}

// Wide enough for another process to look at what is between two steps.
void Pause() {
  std::this_thread::sleep_for(std::chrono::milliseconds(40));
}

std::string NameOf(const ContentRequest& record) {
  const char* const end =
      std::find(std::begin(record.szBlockName), std::end(record.szBlockName), 0);
  return {record.szBlockName, end};
}

// What is in the file. Empty if it can't be read, as a folder can't.
std::string ContentOf(const std::string& path) {
  std::string content;
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return content;
  char buffer[4096];
  for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof(buffer), file)) > 0;) {
    content.append(buffer, count);
  }
  std::fclose(file);
  return content;
}

class Faulty {
 public:
  explicit Faulty(std::string fault) : m_fault(std::move(fault)) {}
  bool Has(const char* fault) const { return m_fault == fault; }

 private:
  std::string m_fault;
};

// The ring's consumer.
class Ring {
 public:
  Ring(const Settings& settings, const Faulty& faulty)
      : m_faulty(faulty), m_goneMs(settings.goneMs), m_position(settings.cursor) {
    const bool isSmall = faulty.Has("small-ring");
    if (!m_view.Create(settings.ring, isSmall ? 200'000 : channel::kRingViewSize)) std::exit(1);
    Header()->writeCursor = Header()->consumerWord = settings.cursor;
    if (faulty.Has("other-capacity")) m_capacity = 1U << 16;
    Shared<std::int32_t>(&Header()->capacity).store(static_cast<std::int32_t>(m_capacity));
  }

  bool IsStuck() const { return m_isStuck; }

  // Takes one entry. False if there is none.
  bool Take(Bytes* payload) {
    if (m_isStuck) return false;
    const std::uint32_t cursor = Shared<std::uint32_t>(&Header()->writeCursor).load();
    const std::uint32_t pending = cursor - m_position;
    if (pending == 0) return Idle();
    m_idleUsed = 0;
    const std::uint32_t length = Length(m_position);
    if (length == 0) return TakeIncomplete(pending, payload);
    const bool isForeign = length != sizeof(ContentRequest);
    const bool isDamaged = length % 4 != 0 || length > pending - kWord;
    m_isStuck = (isDamaged && m_faulty.Has("trusts-length")) ||
                (isForeign && !isDamaged && m_faulty.Has("foreign-stops"));
    if (m_isStuck) return false;
    if (isDamaged) return Reset(cursor);
    Copy(m_position, length, payload);
    Pass(length + kWord);
    PassTaken();
    return true;
  }

 private:
  RingHeader* Header() { return reinterpret_cast<RingHeader*>(m_view.Data()); }
  unsigned char* At(std::uint32_t position) {
    return m_view.Data() + sizeof(RingHeader) + position % m_capacity;
  }
  std::uint32_t Length(std::uint32_t position) {
    return Shared<std::uint32_t>(At(position)).load(std::memory_order_acquire);
  }

  bool Idle() {
    auto used = Shared<std::int32_t>(&Header()->usedBytes);
    std::int32_t value = used.load();
    if (value != m_idleUsed) {
      m_idleUsed = value;
      m_idleSince = Now();
    } else if (value != 0 && Now() - m_idleSince >= m_goneMs && !m_faulty.Has("keeps-count") &&
               !m_faulty.Has("not-freed")) {
      used.compare_exchange_strong(value, 0);
    }
    return false;
  }

  bool TakeIncomplete(std::uint32_t pending, Bytes* payload) {
    if (!m_isWaiting || m_waitPosition != m_position) {
      m_isWaiting = true;
      m_waitPosition = m_position;
      m_waitSince = Now();
    }
    // Not at once: on a busy machine it would now and then skip any request.
    constexpr std::uint32_t kSkipMs = 100;
    const std::uint32_t wait = m_faulty.Has("skips-incomplete") ? kSkipMs
                               : m_faulty.Has("gives-up-early") ? m_goneMs / 3
                                                                : m_goneMs;
    if (Now() - m_waitSince >= wait && !m_faulty.Has("keeps-dead-writer") &&
        Length(m_position) == 0) {
      Pass(std::min(pending, kEntry));
      PassTaken();
      return false;
    }
    if (m_faulty.Has("no-look-ahead")) return false;
    for (std::uint32_t way = kEntry; way + kEntry <= pending; way += kEntry) {
      if (m_taken.count(m_position + way) != 0) continue;
      if (Length(m_position + way) != sizeof(ContentRequest)) continue;
      Copy(m_position + way, sizeof(ContentRequest), payload);
      m_taken.insert(m_position + way);
      return true;
    }
    return false;
  }

  void Copy(std::uint32_t position, std::uint32_t length, Bytes* payload) {
    payload->assign(length, 0);
    if (m_faulty.Has("misreads-the-end") && position % m_capacity == m_capacity - kWord) return;
    const std::uint32_t first = std::min(length, m_capacity - (position + kWord) % m_capacity);
    std::memcpy(payload->data(), At(position + kWord), first);
    if (m_faulty.Has("never-splits")) return;
    std::memcpy(payload->data() + first, At(0), length - first);
  }

  void Clear(std::uint32_t size) {
    if (m_faulty.Has("not-cleared")) return;
    Shared<std::uint32_t>(At(m_position)).store(0);
    if (m_faulty.Has("clears-the-length-only")) return;
    if (m_faulty.Has("clears-152-bytes")) size = std::min(size, kEntry);
    const std::uint32_t first = std::min(size, m_capacity - m_position % m_capacity);
    std::memset(At(m_position), 0, first);
    std::memset(At(0), 0, size - first);
  }

  void StorePosition(std::uint32_t position) {
    if (m_faulty.Has("position-not-stored")) return;
    Shared<std::uint32_t>(&Header()->consumerWord).store(position);
  }

  void Free(std::uint32_t size) {
    if (m_faulty.Has("not-freed")) return;
    Shared<std::int32_t>(&Header()->usedBytes).fetch_sub(static_cast<std::int32_t>(size));
  }

  void Pass(std::uint32_t size) {
    const std::uint32_t next = m_position + size;
    if (m_faulty.Has("stops-at-2-32") && next < m_position) {
      m_isStuck = true;
      return;
    }
    if (m_faulty.Has("freed-early")) {
      StorePosition(next);
      Free(size);
      Pause();
      Clear(size);
    } else if (m_faulty.Has("position-late")) {
      Clear(size);
      Free(size);
      Pause();
      StorePosition(next);
    } else {
      Clear(size);
      StorePosition(next);
      Free(size);
    }
    m_position = next;
    m_isWaiting = false;
  }

  void PassTaken() {
    while (m_taken.erase(m_position) != 0) Pass(kEntry);
  }

  bool Reset(std::uint32_t cursor) {
    std::memset(At(0), 0, m_capacity);
    m_taken.clear();
    m_position = cursor;
    StorePosition(cursor);
    Shared<std::int32_t>(&Header()->usedBytes).store(0);
    return false;
  }

  const Faulty& m_faulty;
  const std::uint32_t m_goneMs;
  agentkit::SharedView m_view;
  std::uint32_t m_capacity = channel::kRingCapacity;
  std::uint32_t m_position;
  std::set<std::uint32_t> m_taken;  // entries after an incomplete one
  bool m_isWaiting = false;         // for the entry at m_waitPosition
  std::uint32_t m_waitPosition = 0;
  std::uint32_t m_waitSince = 0;
  std::int32_t m_idleUsed = 0;
  std::uint32_t m_idleSince = 0;
  bool m_isStuck = false;
};

struct Open {
  ContentRequest record;
  agentkit::SharedView view;
  std::uint32_t since = 0;
  bool isAnswered = false;
};

class Agent {
 public:
  explicit Agent(const Settings& settings)
      : m_faulty(settings.fault), m_goneMs(settings.goneMs), m_ring(settings, m_faulty) {}

  void Poll() {
    Bytes payload;
    while (!IsBusy() && m_ring.Take(&payload)) {
      ContentRequest record{};
      if (payload.size() != sizeof(record)) continue;
      std::memcpy(&record, payload.data(), sizeof(record));
      if (IsSound(record)) m_waiting.push_back(record);
    }
    for (auto next = m_waiting.begin(); next != m_waiting.end();) {
      const bool isNext = !IsBusy() && IsItsTurn(*next);
      if (isNext) Serve(*next);
      next = isNext ? m_waiting.erase(next) : std::next(next);
    }
    if (m_isStuck || m_ring.IsStuck()) return;
    for (auto open = m_open.begin(); open != m_open.end();) {
      open = IsOver(*open) ? m_open.erase(open) : std::next(open);
    }
  }

 private:
  using Sender = std::pair<std::uint32_t, std::uint32_t>;

  static Sender SenderOf(const Open& open) {
    return {open.record.dwProcessId, open.record.dwThreadId};
  }

  bool IsBusy() const {
    return m_isStuck || (m_faulty.Has("one-request-at-a-time") && !m_open.empty());
  }

  // The current mail ends with its item 9.
  bool IsItsTurn(const ContentRequest& record) {
    if (!m_faulty.Has("one-mail-at-a-time")) return true;
    const Sender sender(record.dwProcessId, record.dwThreadId);
    if (m_hasMail && sender != m_mail) return false;
    m_mail = sender;
    m_hasMail = record.dwItemType != channel::kItemClose;
    return true;
  }

  bool IsSound(ContentRequest record) const {
    if (m_faulty.Has("no-kind-check")) record.dwRequestKind = channel::kRequestKindContent;
    if (m_faulty.Has("no-length-check")) record.dwBlockLength = channel::kBlockOverhead;
    if (m_faulty.Has("no-name-check")) {
      std::snprintf(record.szBlockName, sizeof(record.szBlockName), channel::kBlockNameFormat,
                    static_cast<unsigned>(record.dwProcessId),
                    static_cast<unsigned>(record.dwThreadId), 0);
    }
    return agentkit::IsSound(record);
  }

  void Serve(const ContentRequest& record) {
    constexpr std::size_t kFew = 12;
    constexpr std::uint32_t kLargest = 1U << 30;
    if (m_faulty.Has("no-block")) return;
    if (m_faulty.Has("drops-when-busy") && m_open.size() >= kFew) return;
    std::string name = NameOf(record);
    if (m_faulty.Has("upper-case-block")) {
      for (auto c = name.begin() + 7; c != name.end(); ++c) {
        *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
      }
    }
    std::uint32_t length = record.dwBlockLength;
    if (m_faulty.Has("small-block")) length = std::min(length, 1U << 16);
    Open& open = m_open.emplace_back();
    open.record = record;
    open.record.dwBlockLength = length;
    open.since = Now();
    if (length <= kLargest && open.view.Create(name, length)) return;
    if (m_faulty.Has("opens-existing") && open.view.Open(name, length)) return;
    m_isStuck = length > kLargest && m_faulty.Has("huge-block-stops");
    m_open.pop_back();
  }

  // Looks at one block. True if it can be closed.
  bool IsOver(Open& open) {
    auto status = Shared<std::int32_t>(open.view.Data());
    std::int32_t value = status.load(std::memory_order_acquire);
    // Only over a 0 that stays: a requester that is just completing its block would take the early
    // answer, and nobody the second one, so that the block would stay open. That is another fault.
    if (value == channel::kStatusFilling && m_faulty.Has("answers-incomplete") &&
        Now() - open.since >= 10) {
      status.compare_exchange_strong(value, channel::kActionGoOn);
      return false;
    }
    if (value == channel::kStatusGivenUp) return !m_faulty.Has("keeps-given-up");
    if (value == channel::kStatusWaiting) {
      if (open.isAnswered) return !m_faulty.Has("keeps-blocks");
      Answer(open);
      return false;
    }
    if (open.isAnswered || m_faulty.Has("keeps-unopened")) return false;
    return Now() - open.since >= (m_faulty.Has("closes-early") ? m_goneMs / 3 : m_goneMs);
  }

  void Answer(Open& open) {
    const std::int32_t answer = AnswerTo(open);
    if (answer == 0) return;
    auto status = Shared<std::int32_t>(open.view.Data());
    std::int32_t expected = channel::kStatusWaiting;
    if (m_faulty.Has("plain-store")) {
      Pause();
      status.store(answer);
    } else if (!status.compare_exchange_strong(expected, answer)) {
      return;
    }
    open.isAnswered = true;
  }

  // 0 for none.
  std::int32_t AnswerTo(const Open& open) {
    const std::uint32_t type = open.record.dwItemType;
    const unsigned char* const end = open.view.Data() + open.record.dwBlockLength;
    if (m_faulty.Has("silent")) return 0;
    if (m_faulty.Has("answers-1")) return 1;
    if (m_faulty.Has("answers-6")) return 6;
    if (m_faulty.Has("ignores-item-7") && type == channel::kItemSender) return 0;
    if (m_faulty.Has("recipients-3") && type == channel::kItemRecipients) return 3;
    if (channel::ItemWord(type).empty()) {
      if (m_faulty.Has("unknown-type-silent")) return 0;
      if (m_faulty.Has("unknown-type-3")) return channel::kActionBlock;
    }
    if (m_faulty.Has("malformed-stops") && end[-1] != 0) {
      m_isStuck = true;
      return 0;
    }
    if (type == channel::kItemRecipients && !m_faulty.Has("never-forgets") &&
        !m_faulty.Has("forgets-at-the-end-only")) {
      m_verdicts[SenderOf(open)] = channel::kActionGoOn;
    }
    if (type == channel::kItemFile && !m_faulty.Has("ignores-files")) return AnswerToFile(open);
    return type == channel::kItemClose ? Verdict(open) : channel::kActionGoOn;
  }

  std::int32_t AnswerToFile(const Open& open) {
    const unsigned char* const begin = open.view.Data() + kWord;
    const std::string path(begin, begin + open.record.dwBlockLength - kWord);
    const std::string text = ContentOf(path);
    if (text.empty() && m_faulty.Has("missing-file-silent")) return 0;
    if (text.find("TOP-SECRET-42") == std::string::npos) return channel::kActionGoOn;
    m_verdicts[SenderOf(open)] = channel::kActionBlock;
    m_isMixed = m_faulty.Has("mixes-mails-up") && m_verdicts.size() > 1;
    m_mixedSince = Now();
    return channel::kActionBlock;
  }

  // The answer to a mail's item 9. The mail is forgotten.
  std::int32_t Verdict(const Open& open) {
    constexpr std::uint32_t kMixedMs = 5'000;
    const auto found = m_verdicts.find(SenderOf(open));
    const std::int32_t verdict = found == m_verdicts.end() ? channel::kActionGoOn : found->second;
    if (found != m_verdicts.end() && !m_faulty.Has("never-forgets")) m_verdicts.erase(found);
    return m_isMixed && Now() - m_mixedSince < kMixedMs ? channel::kActionBlock : verdict;
  }

  const Faulty m_faulty;
  const std::uint32_t m_goneMs;
  Ring m_ring;
  std::list<ContentRequest> m_waiting;
  std::list<Open> m_open;
  std::map<Sender, std::int32_t> m_verdicts;  // of the mails in progress
  bool m_isMixed = false;
  std::uint32_t m_mixedSince = 0;
  bool m_hasMail = false;
  Sender m_mail;
  bool m_isStuck = false;
};

}  // namespace

int main(int count, char** arguments) {
  Settings settings;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string option = arguments[i];
    const std::string value = arguments[i + 1];
    if (option == "--ring") settings.ring = value;
    if (option == "--fault") settings.fault = value;
    if (option == "--gone-ms") settings.goneMs = static_cast<std::uint32_t>(std::stoul(value));
    if (option == "--cursor") settings.cursor = static_cast<std::uint32_t>(std::stoul(value));
  }
  if (settings.ring.empty() || settings.fault.empty()) {
    std::fputs("badagent --ring NAME --fault FAULT [--gone-ms N] [--cursor N]\n", stderr);
    return 3;
  }
  if (settings.fault == "stays-dead") {
    const std::string mark = std::getenv("QUORVEX_ROOT") + std::string("/stays-dead.mark");
    if (std::ifstream(mark)) return 1;
    std::ofstream(mark) << "started once";
  }
  Agent agent(settings);
  std::puts("ready");
  std::fflush(stdout);
  constexpr int kTurnsPerLook = 16;
  for (int turn = 0; turn % kTurnsPerLook != 0 || !tools::system::StandardInputEnded(); ++turn) {
    agent.Poll();
    platform::clock.Sleep(1);
  }
}
