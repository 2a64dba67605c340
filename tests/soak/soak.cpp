// Sends many random mails through one process, a real ring and a real agent process, which
// misbehaves on one mail in ten. Compares each verdict with the oracle's, and checks that memory
// and handles don't grow.
//
// The add-in leaves some things by design. The soak counts and removes after each mail what it can:
// the listings of signature folders, the buffer with a tag's name, the references to a tagged
// mail's message. It can't remove the sink on each window, so it subtracts the sinks' exact size
// from the heap's.
//
//   soak [--mails N] [--seed S] [--agent PROGRAM] [--rules FILE] [--keep BYTES]
//
// To see that the soak finds faults: --keep leaks that many bytes with each mail, and another rules
// file makes the agent answer differently.
//
// Exit status: 0 if every mail went as predicted and nothing grew, 1 if not, 3 if it can't start.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/dlpinspectorevent.h"
#include "platform/ui.h"
#include "simulation/host/simulatedhost.h"
#include "tests/soak/machine.h"
#include "tests/soak/oracle.h"
#include "tests/soak/processfigures.h"
#include "tests/soak/randommail.h"
#include "tests/support/seed.h"
#include "tools/system/commandline.h"

namespace {

using soak::Expected;
using soak::Incident;
using soak::LeftOnPurpose;
using soak::Machine;
using soak::RandomMail;

// The growth allowed between the end of the warm-up and the end of the run.
constexpr std::uint64_t kHeapBound = 64 * 1024;
constexpr std::uint64_t kResidentBound = 16 * 1024 * 1024;
constexpr std::uint64_t kHandleBound = 4;
constexpr int kSamples = 20;
constexpr int kWarmUp = 4;    // samples
constexpr int kCompared = 4;  // this many after the warm-up with as many at the end

// Neither true nor false, so that an untouched flag can be recognised.
constexpr VARIANT_BOOL kUntouched = 5;

struct Options {
  std::uint64_t mails = 2000;
  std::uint64_t seed = tests::Seed();
  std::string agent;
  std::string rules = QUORVEX_SOAK_RULES;
  std::size_t keep = 0;
};

std::uint64_t BytesOfASink();

class Soak {
 public:
  explicit Soak(const Options& options)
      : m_options(options),
        m_machine(options.agent, options.rules),
        m_bytesOfASink(BytesOfASink()) {}

  int Run();

 private:
  struct Sample {
    std::uint64_t mails;
    soak::ProcessFigures figures;
  };

  void SendMail(std::uint64_t number);
  void SendOnce(const Expected& expected, simulation::host::HostMailItem& item);
  void CheckLedger();
  void Complain(const std::string& what);
  void TakeSample(std::uint64_t mails);
  bool HasGrown() const;

  Options m_options;
  Machine m_machine;
  // No timer: only windows get sinks, which end with them.
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetTimer> m_noTimer{
      [](auto, platform::Window, std::uintptr_t, std::uint32_t,
         platform::TimerProcedure) -> std::uintptr_t { return 1; }};
  std::optional<simulation::host::SimulatedHost> m_host;
  std::map<std::string, ULONG> m_connections;  // references that the connected add-in holds
  const std::uint64_t m_bytesOfASink;
  std::uint32_t m_tick = 1;
  std::uint64_t m_number = 0;
  std::string m_wished;
  std::uint64_t m_complaints = 0;
  std::uint64_t m_requests = 0;
  std::uint64_t m_faults = 0, m_starts = 1, m_twice = 0, m_alone = 0;
  std::uint64_t m_verdicts[8] = {};
  std::vector<Sample> m_samples;
  std::list<std::vector<char>> m_kept;
  std::chrono::steady_clock::time_point m_begin;
};

void Soak::Complain(const std::string& what) {
  if (++m_complaints > 20) return;
  std::printf("WRONG  mail %llu (%s): %s\n", static_cast<unsigned long long>(m_number),
              m_wished.c_str(), what.c_str());
}

// One Send and its result.
void Soak::SendOnce(const Expected& expected, simulation::host::HostMailItem& item) {
  m_machine.BeginRequests(expected.requests, m_tick);
  const simulation::host::SendOutcome sent = m_host->Send(item, kUntouched);
  m_requests += m_machine.Requests();
  if (sent.returned.size() != 1 || sent.returned.front() != S_OK) {
    Complain(std::to_string(sent.returned.size()) + " sinks took the Send");
  }
  const VARIANT_BOOL cancel = expected.verdict == 3 ? VARIANT_BOOL{1} : kUntouched;
  if (sent.cancel != cancel) {
    Complain("Cancel is " + std::to_string(sent.cancel) + ", not " + std::to_string(cancel));
  }
  if (item.Header("QV_DLP_TAGGING").has_value() != (expected.verdict == 7)) {
    Complain(expected.verdict == 7 ? "the tag is missing" : "there is a tag");
  }
  if (m_machine.Requests() != expected.requests.size()) {
    Complain(std::to_string(m_machine.Requests()) + " requests, not " +
             std::to_string(expected.requests.size()));
  }
}

void Soak::SendMail(std::uint64_t number) {
  m_number = number;
  const RandomMail mail = soak::MakeMail(m_options.seed, number);
  const Expected expected = soak::ExpectedOf(mail);
  m_wished = mail.fault.kind + " " + mail.fault.stage;
  m_faults += mail.fault.kind.empty() ? 0 : 1;
  if (mail.incident == Incident::kNoAgent) {
    m_machine.StopAgent();
    ++m_alone;
  } else if (mail.incident == Incident::kAgentKilledBefore) {
    m_machine.KillAgent();
    m_machine.StartAgent();
    ++m_starts;
  }

  m_tick += 10'000;  // earlier mails' verdicts are out of date
  m_machine.BeginRequests({}, m_tick);
  simulation::host::HostInspector& window = m_host->OpenInspector(mail.model);
  simulation::host::HostMailItem& item = *window.Mail();
  SendOnce(expected, item);
  ++m_verdicts[expected.verdict];
  if (mail.incident == Incident::kSentTwice) {
    // While the verdict is valid only a block is asked about again.
    ++m_twice;
    m_tick += 4000;
    Expected again = expected;
    if (expected.verdict != 3) again.requests.clear();
    SendOnce(again, item);
  }

  if (expected.verdict == 7) {
    // The add-in never releases its references to a tagged mail's message.
    IUnknown* message = nullptr;
    item.get_MAPIOBJECT(&message);
    const ULONG left = m_host->Ledger().OutstandingOf("IMessage");
    const ULONG sends = mail.incident == Incident::kSentTwice ? 2 : 1;
    if (left != 3 * sends + 1) Complain("the message has " + std::to_string(left - 1) + " left");
    m_machine.Left().messageReferences += left - 1;
    for (ULONG i = 0; i < left; ++i) message->Release();
  }
  m_host->CloseInspector(window);
  // A list that contains itself would never be freed.
  for (const simulation::mail::MailRecipient& recipient : mail.model.recipients) {
    if (recipient.entry) recipient.entry->members.clear();
  }
  m_machine.ClearWhatIsLeft();
  outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0);  // drops the captions of closed windows
  CheckLedger();
  if (m_machine.TemporaryFiles() != 0) Complain("temporary files are left");

  if (m_options.keep != 0) m_kept.emplace_back(m_options.keep, 'x');

  if (expected.isAgentDead) {
    if (mail.incident != Incident::kNoAgent && !m_machine.AwaitEnd()) {
      Complain("the agent didn't crash");
    }
    m_machine.StartAgent();
    ++m_starts;
  }
}

// Only the connection's own references may be outstanding.
void Soak::CheckLedger() {
  for (const simulation::host::LedgerLine& line : m_host->Ledger().Outstanding()) {
    const auto held = m_connections.find(line.label);
    if (held != m_connections.end() && held->second == line.Outstanding()) continue;
    Complain(line.label + " is left with " + std::to_string(line.Outstanding()));
  }
  if (!m_host->Ledger().OverReleases().empty()) Complain("something was released too often");
}

// The memory that this system's allocator takes for the sink that each window leaves.
std::uint64_t BytesOfASink() {
  constexpr std::uint64_t kCount = 64;
  const std::uint64_t before = soak::FiguresOfThisProcess().heapBytes;
  std::vector<std::unique_ptr<DlpInspectorEvent>> sinks(kCount);
  const std::uint64_t between = soak::FiguresOfThisProcess().heapBytes;
  for (auto& sink : sinks) sink = std::make_unique<DlpInspectorEvent>(nullptr);
  const std::uint64_t after = soak::FiguresOfThisProcess().heapBytes;
  return before == 0 || after <= between ? 0 : (after - between) / kCount;
}

void Soak::TakeSample(std::uint64_t mails) {
  Sample sample{mails, soak::FiguresOfThisProcess()};
  const std::uint64_t sinks = mails * m_bytesOfASink;
  sample.figures.heapBytes -= std::min(sinks, sample.figures.heapBytes);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - m_begin;
  const LeftOnPurpose& left = m_machine.Left();
  std::printf("%8llu %8.1f %9.1f %9.1f %8llu %9llu %9llu %9llu %9llu\n",
              static_cast<unsigned long long>(mails), took.count(),
              static_cast<double>(sample.figures.residentBytes) / 1048576.0,
              static_cast<double>(sample.figures.heapBytes) / 1024.0,
              static_cast<unsigned long long>(sample.figures.handles),
              static_cast<unsigned long long>(mails),
              static_cast<unsigned long long>(left.listings),
              static_cast<unsigned long long>(left.mapiBuffers),
              static_cast<unsigned long long>(left.messageReferences));
  std::fflush(stdout);
  m_samples.push_back(sample);
}

// Whether anything has grown since the end of the warm-up. Memory in use goes up and down, so this
// compares the highest of a few samples.
bool Soak::HasGrown() const {
  const auto highest = [&](int from, auto figure) {
    std::uint64_t most = 0;
    for (int i = 0; i < kCompared; ++i) {
      most = std::max(most, figure(m_samples[static_cast<std::size_t>(from + i)]));
    }
    return most;
  };
  const auto growth = [&](const char* what, auto figure, std::uint64_t bound) {
    const std::uint64_t before = highest(kWarmUp, figure);
    const std::uint64_t after = highest(kSamples - kCompared, figure);
    const std::uint64_t grown = after > before ? after - before : 0;
    std::printf("%s: grown by %llu after the warm-up, at most %llu allowed\n", what,
                static_cast<unsigned long long>(grown), static_cast<unsigned long long>(bound));
    return grown > bound;
  };
  bool grown = growth(
      "resident bytes", [](const Sample& s) { return s.figures.residentBytes; }, kResidentBound);
  grown |= growth(
      "heap bytes", [](const Sample& s) { return s.figures.heapBytes; }, kHeapBound);
  grown |= growth(
      "handles", [](const Sample& s) { return s.figures.handles; }, kHandleBound);
  return grown;
}

int Soak::Run() {
  std::printf("seed %llu, %llu mails\n", static_cast<unsigned long long>(m_options.seed),
              static_cast<unsigned long long>(m_options.mails));
  std::printf("%46s  left by design (sinks stay, the rest is removed):\n", "");
  std::printf("%8s %8s %9s %9s %8s %9s %9s %9s %9s\n", "mails", "s", "RSS MB", "heap KB", "handles",
              "sinks", "listings", "buffers", "messages");
  m_machine.StartAgent();
  m_host.emplace("16.0.0.1234");
  m_host->Calls().KeepJournal(false);
  m_host->OpenExplorer();
  auto* const addIn = new CComObject<CDlpAddinConnect>;
  addIn->AddRef();
  if (FAILED(m_host->Connect(addIn))) return 3;
  for (const simulation::host::LedgerLine& line : m_host->Ledger().Outstanding()) {
    m_connections[line.label] = line.Outstanding();
  }

  m_begin = std::chrono::steady_clock::now();
  std::uint64_t sent = 0;
  for (int sample = 1; sample <= kSamples; ++sample) {
    const std::uint64_t until = m_options.mails * static_cast<std::uint64_t>(sample) / kSamples;
    for (; sent < until; ++sent) SendMail(sent);
    TakeSample(sent);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - m_begin;
  std::printf(
      "%.0f mails and %.0f requests a second; %llu blocked, %llu tagged, %llu sent twice; "
      "%llu faults, %llu with no agent, %llu agents\n",
      static_cast<double>(sent) / took.count(), static_cast<double>(m_requests) / took.count(),
      static_cast<unsigned long long>(m_verdicts[3]),
      static_cast<unsigned long long>(m_verdicts[7]), static_cast<unsigned long long>(m_twice),
      static_cast<unsigned long long>(m_faults), static_cast<unsigned long long>(m_alone),
      static_cast<unsigned long long>(m_starts));
  const bool grown = HasGrown();
  m_host->Disconnect();
  addIn->Release();
  m_host.reset();
  std::printf("%llu complaints\n", static_cast<unsigned long long>(m_complaints));
  return m_complaints != 0 || grown ? 1 : 0;
}

std::optional<Options> Parse(const std::vector<std::string>& words) {
  Options options;
  const std::filesystem::path own(tools::system::OwnProgramPath());
  options.agent = (own.parent_path() / "quorvex").replace_extension(own.extension()).string();
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
    if (words[i] == "--mails") {
      options.mails = std::strtoull(words[i + 1].c_str(), nullptr, 10);
    } else if (words[i] == "--seed") {
      options.seed = std::strtoull(words[i + 1].c_str(), nullptr, 10);
    } else if (words[i] == "--agent") {
      options.agent = words[i + 1];
    } else if (words[i] == "--keep") {
      options.keep = static_cast<std::size_t>(std::strtoull(words[i + 1].c_str(), nullptr, 10));
    } else if (words[i] == "--rules") {
      options.rules = words[i + 1];
    } else {
      return std::nullopt;
    }
  }
  if (words.size() % 2 != 0 || options.mails < kSamples) return std::nullopt;
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = Parse(tools::system::CommandLineArguments(argc, argv));
  if (!options) {
    std::fprintf(stderr,
                 "usage: soak [--mails N] [--seed S] [--agent PROGRAM] [--rules FILE]"
                 " [--keep BYTES]\n"
                 "N is 20 or more.\n");
    return 3;
  }
  try {
    return Soak(*options).Run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 3;
  }
}
