#include "tests/agent/outlookaddin/gatefixture.h"

#include <filesystem>
#include <fstream>

namespace tests {
namespace {

template <typename Char>
std::uint32_t CopyPath(const std::basic_string<Char>& path, Char* buffer, std::uint32_t size) {
  if (path.size() >= size) return static_cast<std::uint32_t>(path.size() + 1);
  path.copy(buffer, path.size());
  buffer[path.size()] = 0;
  return static_cast<std::uint32_t>(path.size());
}

std::uint32_t NextTick() {
  static std::uint32_t s_tick = 0;
  return s_tick += 1000000;
}

}  // namespace

GateTest::GateTest()
    : tick(NextTick()),
      m_tempPath(m_folder.Entry("temp") + "\\"),
      m_appData(m_folder.Entry("appdata")),
      m_windows(m_folder.Entry("windows")),
      m_replaceTempA([this](auto, std::uint32_t size, char* buffer) {
        return CopyPath(m_tempPath, buffer, size);
      }),
      m_replaceTempW([this](auto, std::uint32_t size, platform::WideChar* buffer) {
        return CopyPath(Utf8ToWide(m_tempPath), buffer, size);
      }),
      m_replaceWindows([this](auto, char* buffer, std::uint32_t size) {
        return CopyPath(m_windows, buffer, size);
      }),
      m_replaceAppData([this](auto, int, char* buffer) {
        CopyPath(m_appData, buffer, platform::kMaxPath);
        return 0;
      }),
      m_replaceTick([this](auto) { return tick; }),
      m_replaceLoadCursor([](auto, std::uint32_t identifier) {
        EXPECT_EQ(identifier, 32514U);
        return kWaiting;
      }),
      m_replaceSetCursor([this](auto, platform::Cursor cursor) {
        const platform::Cursor before = cursors.empty() ? kOldCursor : cursors.back();
        cursors.push_back(cursor);
        return before;
      }),
      m_replaceFindFirst([this](auto original, const char* pattern, platform::FindData* entry) {
        const platform::Handle listing = original(pattern, entry);
        if (listing != platform::kInvalidHandle) openListings.push_back(listing);
        return listing;
      }),
      m_replaceFindClose([this](auto original, platform::Handle listing) {
        std::erase(openListings, listing);
        return original(listing);
      }),
      m_replaceAllocate([this](auto, std::uint32_t size, void** buffer) {
        m_mapiBuffers.push_back(std::make_unique<char[]>(size));
        *buffer = m_mapiBuffers.back().get();
        return 0;
      }) {
  std::filesystem::create_directory(m_folder.Path() / "temp");
  m_log.emplace();
  m_agent.emplace();
  m_agent->onRequest = [this](const tests::SeenRequest& request) { return AnswerTo(request); };
}

GateTest::~GateTest() {
  RenewHost();
  while (!openListings.empty()) platform::files.FindClose(openListings.back());
}

void GateTest::MakeHost() {
  if (m_host != nullptr) return;
  m_host = std::make_unique<simulation::host::SimulatedHost>();
}

simulation::host::HostMailItem* GateTest::Item() {
  MakeHost();
  if (m_item == nullptr) m_item = &m_host->CreateMail(mail);
  return m_item;
}

DlpMailEvent& GateTest::Sink() {
  if (m_sink == nullptr) {
    Item()->AddRef();
    m_sink = std::make_unique<DlpMailEvent>(m_item);
  }
  return *m_sink;
}

simulation::host::HostCalls& GateTest::Calls() {
  MakeHost();
  return m_host->Calls();
}

simulation::host::HostLedger& GateTest::Ledger() {
  MakeHost();
  return m_host->Ledger();
}

// Releases the references that tagging leaves on the message.
void GateTest::ReleaseMessage() {
  if (m_item == nullptr || Ledger().OutstandingOf("IMessage") == 0) return;
  Calls().ClearFaults();
  IUnknown* message = nullptr;
  m_item->get_MAPIOBJECT(&message);
  for (ULONG left = Ledger().OutstandingOf("IMessage"); left > 0; --left) message->Release();
}

void GateTest::RenewHost() {
  ReleaseMessage();
  m_sink.reset();
  m_item = nullptr;
  m_host.reset();
}

void GateTest::ExpectNothingLeft() {
  for (const simulation::host::LedgerLine& line : Ledger().Outstanding()) {
    const bool isSinks = m_sink != nullptr && line.label == m_item->Label();
    EXPECT_EQ(line.Outstanding(), isSinks ? 1U : 0U) << line.label;
  }
  EXPECT_THAT(Ledger().OverReleases(), IsEmpty());
}

std::vector<std::uint32_t> GateTest::Types() const {
  std::vector<std::uint32_t> types;
  for (const Asked& one : asked) types.push_back(one.type);
  return types;
}

tests::Reply GateTest::AnswerTo(const tests::SeenRequest& request) {
  asked.push_back({request.itemType, request.payload, request.name, request.file});
  if (onAsked) onAsked(asked.back());
  const auto found = answers.find(request.itemType);
  const int answer = answerTo ? answerTo(asked.back()) : found != answers.end() ? found->second : 4;
  return answer == 0 ? tests::Reply::Silent() : tests::Reply::Answer(answer);
}

void GateTest::StopAgent() {
  m_agent.reset();
  m_noAgent.emplace();
}

std::vector<std::string> GateTest::Lines() const {
  std::vector<std::string> lines;
  for (const tests::LoggedLine& line : m_log->Lines()) {
    const std::string_view message = line.message;
    const bool isChannels = message.starts_with("CheckContent") ||
                            message.starts_with("InitializeSharedMemory") ||
                            message.starts_with("[DlpMailEvent::~DlpMailEvent]") ||
                            message.starts_with("Mail ref error");
    if (isChannels) continue;
    const char* const level = line.level == kLogInfo   ? "Info "
                              : line.level == kLogWarn ? "Warn "
                              : line.level == kLogErr  ? "Err "
                                                       : "Other ";
    lines.push_back(level + line.message);
  }
  return lines;
}

std::vector<std::string> GateTest::TakeLines() {
  std::vector<std::string> lines = Lines();
  m_log->Forget();
  return lines;
}

int GateTest::CountLines(const std::string& line) const {
  const std::vector<std::string> lines = Lines();
  return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

bool GateTest::Exists(const std::string& place) const {
  return std::filesystem::exists(m_folder.Path() / place);
}

std::vector<std::string> GateTest::FilesInTemp() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path() / "temp")) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

void GateTest::Write(const std::string& place, std::string_view content) {
  const std::filesystem::path path = m_folder.Path() / place;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

void GateTest::RemoveProfile() {
  std::filesystem::remove(m_folder.Path() / "windows/system32/zbagent/vrk.pro");
}

}  // namespace tests
