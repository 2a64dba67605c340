#include "tests/soak/machine.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/process.h"
#include "text/textconversion.h"

namespace soak {
namespace {

// How many sleeps of a wait are cut to almost nothing, and then to a millisecond (the shortest that
// some systems support). If the agent hasn't answered after those, the machine is busy, and the
// agent gets far more time than the add-in would give it.
constexpr std::uint32_t kShortestSleeps = 100;
constexpr std::uint32_t kShortSleeps = 300;
constexpr std::uint32_t kLongSleep = 500;  // milliseconds

template <typename Char>
std::uint32_t Give(const std::basic_string<Char>& path, Char* buffer) {
  path.copy(buffer, path.size());
  buffer[path.size()] = 0;
  return static_cast<std::uint32_t>(path.size());
}

void Write(const std::filesystem::path& path, const char* content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

Machine::Machine(std::string agentProgram, std::string rules)
    : m_program(std::move(agentProgram)),
      m_rules(std::move(rules)),
      m_ring("Global\\soak-" + std::to_string(platform::process.GetCurrentProcessId())),
      m_sleep([this](auto original, std::uint32_t) { OnSleep(original); }),
      m_getTick([this](auto) { return m_tick; }),
      m_open([this](auto original, std::uint32_t access, bool inherit, const char* name) {
        const bool isRing = std::string_view(name) == channel::kRingName;
        return OnOpenMapping(original(access, inherit, isRing ? m_ring.c_str() : name),
                             isRing ? nullptr : name);
      }),
      m_findFirst([this](auto original, const char* pattern, platform::FindData* entry) {
        const platform::Handle listing = original(pattern, entry);
        if (listing != platform::kInvalidHandle) m_listings.insert(listing);
        return listing;
      }),
      m_findClose([this](auto original, platform::Handle listing) {
        m_listings.erase(listing);
        return original(listing);
      }),
      m_allocate([this](auto, std::uint32_t size, void** buffer) {
        m_buffers.push_back(std::make_unique<unsigned char[]>(size));
        *buffer = m_buffers.back().get();
        return 0;
      }),
      m_tempA([this](auto, std::uint32_t, char* buffer) {
        return Give(m_folder.Entry("temp") + "\\", buffer);
      }),
      m_tempW([this](auto, std::uint32_t, platform::WideChar* buffer) {
        return Give(Utf8ToWide(m_folder.Entry("temp") + "\\"), buffer);
      }),
      m_windows([this](auto, char* buffer, std::uint32_t) {
        return Give(m_folder.Entry("windows"), buffer);
      }),
      m_system([this](auto, char* buffer, std::uint32_t) {
        return Give(m_folder.Entry("system"), buffer);
      }),
      m_appData([this](auto, int, char* buffer) {
        Give(m_folder.Entry("appdata"), buffer);
        return 0;
      }) {
  const std::filesystem::path& folder = m_folder.Path();
  std::filesystem::create_directory(folder / "temp");
  Write(folder / "appdata/Microsoft/Signatures/Other/empty.txt", "");
  Write(folder / "appdata/Microsoft/Signatures/Work" / kSignatureName, kSignatureContent);
  // A long sleep, so that an agent on a busy machine is never late by accident.
  Write(folder / "windows/system32/zbagent/vrk.pro", "use_challenge_response = true\n");
  Write(folder / "system/Logger.cfg", ("Outlook 15 File " + m_folder.Entry("log") + "\n").c_str());
}

Machine::~Machine() {
  StopAgent();
  ClearWhatIsLeft();
}

void Machine::StartAgent() {
  m_agent = std::make_unique<tools::system::ChildProcess>();
  std::string error;
  if (!m_agent->Start(m_program,
                      {"agent", "--ring", m_ring, "--rules", m_rules, "--json", "--no-journal",
                       "--poll", "0", "--until-input-ends"},
                      &error)) {
    throw std::runtime_error("the agent can't be started: " + error);
  }
  std::string line;
  if (m_agent->ReadLine(&line, 120'000) != tools::system::ChildProcess::ReadResult::kLine) {
    throw std::runtime_error("the agent didn't come up");
  }
}

bool Machine::AwaitEnd() {
  int status = 0;
  const bool ended = m_agent->WaitForEnd(120'000, &status);
  m_agent.reset();
  return ended;
}

void Machine::KillAgent() {
  m_agent->Kill();
  AwaitEnd();
}

void Machine::StopAgent() {
  if (m_agent != nullptr) m_agent->End(20'000);
  m_agent.reset();
}

void Machine::BeginRequests(const std::vector<Fate>& fates, std::uint32_t tick) {
  m_fates = fates;
  m_request = 0;
  m_tick = tick;
}

// Each request first opens the ring and then tries to open its block.
platform::Handle Machine::OnOpenMapping(platform::Handle opened, const char* block) {
  if (block == nullptr) {
    ReadAhead();
    ++m_request;
    m_block.clear();
    m_isSeen = false;
    m_sleeps = 0;
  } else if (opened != nullptr) {
    m_block = std::string(block).substr(std::string_view("Global\\").size());
    m_sleeps = 0;
  }
  return opened;
}

// The agent would block when its output pipe is full.
void Machine::ReadAhead() {
  std::string line;
  while (m_agent != nullptr &&
         m_agent->ReadLine(&line, 0) == tools::system::ChildProcess::ReadResult::kLine) {
  }
}

// The agent prints a line for each request that it has read, even if it won't answer.
void Machine::AwaitLook() {
  for (int tries = 0; !m_isSeen && tries < 120; ++tries) {
    std::string line;
    switch (m_agent->ReadLine(&line, 1000)) {
      case tools::system::ChildProcess::ReadResult::kLine:
        m_isSeen = line.find(m_block) != std::string::npos;
        tries = -1;
        break;
      case tools::system::ChildProcess::ReadResult::kEnd:
        m_isSeen = true;  // it has read the block and crashed
        break;
      case tools::system::ChildProcess::ReadResult::kTimeOut:
        break;
    }
  }
}

// A request that the oracle didn't expect gets a real wait.
Fate Machine::CurrentFate() const {
  return m_request >= 1 && m_request <= m_fates.size() ? m_fates[m_request - 1] : Fate::kAnswered;
}

// Skips waits for answers that won't come. But an agent that won't answer must have read the
// request, since it has to remember the mail for later requests.
void Machine::OnSleep(void (*original)(std::uint32_t)) {
  const Fate fate = CurrentFate();
  const bool isUnanswered = fate == Fate::kSilent && !m_block.empty();
  if (isUnanswered) AwaitLook();
  const bool isVain = fate == Fate::kDead || fate == Fate::kNoBlock || isUnanswered;
  if (isVain) {
    if (++m_sleeps % 256 == 0) original(0);
  } else if (++m_sleeps <= kShortestSleeps) {
    std::this_thread::sleep_for(std::chrono::microseconds(20));
  } else {
    ReadAhead();
    original(m_sleeps <= kShortSleeps ? 1 : kLongSleep);
  }
}

void Machine::ClearWhatIsLeft() {
  m_left.listings += m_listings.size();
  while (!m_listings.empty()) platform::files.FindClose(*m_listings.begin());
  m_left.mapiBuffers += m_buffers.size();
  m_buffers.clear();
}

std::size_t Machine::TemporaryFiles() const {
  const std::filesystem::directory_iterator files(m_folder.Path() / "temp");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

}  // namespace soak
