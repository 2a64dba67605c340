// What a whole mail costs: by the protocol, two sleeps of 20 ms a request, and our own share on
// top. The same road is also run with every sleep replaced by a wait for the agent's next turn, so
// that nothing but work is left.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "agent/outlookaddin/dlpmailevent.h"
#include "devkit/agentkit/agentkit.h"
#include "devkit/host/simulatedhost.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"

namespace {

using Clock = std::chrono::steady_clock;
using SleepReplacement =
    platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep>;

// An agent that answers "go on" as soon as it can, in a thread of its own.
class PromptAgent {
 public:
  PromptAgent() : m_agent(MakeHandlers(), {}) {
    m_agent.Start();
    m_thread = std::thread([this] {
      while (!m_stop) {
        m_agent.Poll();
        m_turns.fetch_add(1);
        std::this_thread::yield();
      }
    });
  }
  ~PromptAgent() {
    m_stop = true;
    m_thread.join();
  }

  // Waits until the agent has looked at everything once more.
  void WaitForTurn() const {
    const std::uint64_t until = m_turns.load() + 2;
    while (m_turns.load() < until) std::this_thread::yield();
  }

 private:
  static agentkit::Handlers MakeHandlers() {
    agentkit::Handlers handlers;
    handlers.onRequest = [](const agentkit::Request&) { return std::optional<std::int32_t>(4); };
    return handlers;
  }

  agentkit::Agent m_agent;
  std::thread m_thread;
  std::atomic<bool> m_stop = false;
  std::atomic<std::uint64_t> m_turns = 0;
};

devkit::MailModel MailWith(std::size_t recipients, std::size_t attachments) {
  devkit::MailModel mail;
  for (std::size_t i = 0; i < recipients; ++i) {
    auto entry = std::make_shared<devkit::MailAddressEntry>();
    entry->address = "somebody" + std::to_string(i) + "@partner.example";
    mail.recipients.push_back({"Somebody", entry});
  }
  mail.subject = "Quarterly figures";
  mail.body = std::string(4000, 'b');
  mail.senderName = "Ada Winter";
  for (std::size_t i = 0; i < attachments; ++i) {
    mail.attachments.push_back(
        {1, "file" + std::to_string(i) + ".txt", {}, std::string(1000, 'a')});
  }
  return mail;
}

// A root of its own, so that nobody's agent is met.
void UseOwnRoot() {
  static const std::string root =
      (std::filesystem::temp_directory_path() / "quorvex-mailbench").string();
  std::filesystem::create_directories(root);
  setenv("QUORVEX_ROOT", root.c_str(), 1);
}

// How often and how long the add-in slept.
struct SleepCount {
  std::uint64_t sleeps = 0;
  double seconds = 0;
};

void RunMails(benchmark::State& state, const devkit::MailModel& model, std::size_t requests,
              const std::function<void(const PromptAgent&, std::uint32_t)>& sleep) {
  UseOwnRoot();
  const PromptAgent agent;
  devkit::SimulatedHost host;
  devkit::HostMailItem& mail = host.CreateMail(model);
  SleepCount count;
  const SleepReplacement counting([&](auto, std::uint32_t milliseconds) {
    const auto begin = Clock::now();
    sleep(agent, milliseconds);
    count.seconds += std::chrono::duration<double>(Clock::now() - begin).count();
    ++count.sleeps;
  });
  double total = 0;
  std::size_t mails = 0;
  mail.AddRef();
  DlpMailEvent sink(&mail);
  for (auto _ : state) {
    const auto begin = Clock::now();
    benchmark::DoNotOptimize(sink.CheckEmail(&mail));
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    state.SetIterationTime(seconds);
    total += seconds;
    ++mails;
  }
  const double all = static_cast<double>(mails * requests);
  state.counters["requests"] = static_cast<double>(requests);
  state.counters["sleeps/request"] = static_cast<double>(count.sleeps) / all;
  state.counters["ms/request"] = total * 1000 / all;
  state.counters["own_ms/request"] = (total - count.seconds) * 1000 / all;
}

// Recipients, sender, marker, subject, body, attachments, close.
constexpr std::size_t kFixedRequests = 6;

void MailWithRealSleeps(benchmark::State& state) {
  const auto attachments = static_cast<std::size_t>(state.range(0));
  RunMails(state, MailWith(3, attachments), kFixedRequests + attachments,
           [](const PromptAgent&, std::uint32_t milliseconds) {
             std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
           });
}
BENCHMARK(MailWithRealSleeps)
    ->Arg(0)
    ->Arg(10)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

void MailWithoutSleeps(benchmark::State& state) {
  const auto attachments = static_cast<std::size_t>(state.range(0));
  RunMails(state, MailWith(3, attachments), kFixedRequests + attachments,
           [](const PromptAgent& agent, std::uint32_t) { agent.WaitForTurn(); });
}
BENCHMARK(MailWithoutSleeps)
    ->Arg(0)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void RecipientsWithoutSleeps(benchmark::State& state) {
  RunMails(state, MailWith(static_cast<std::size_t>(state.range(0)), 0), kFixedRequests,
           [](const PromptAgent& agent, std::uint32_t) { agent.WaitForTurn(); });
}
BENCHMARK(RecipientsWithoutSleeps)
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
