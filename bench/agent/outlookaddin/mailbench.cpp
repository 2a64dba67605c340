// What a whole mail costs: two sleeps of 20 ms for each request, which the protocol requires, and
// the add-in's own share. Other rows replace each sleep by a turn of the agent, which leaves only
// the work, for growing numbers of attachments, recipients and cached verdicts.
//
// Runs natively and under Wine.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/verdictcache.h"
#include "agentkit/agentkit.h"
#include "bench/agent/outlookaddin/baremail.h"
#include "bench/median.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "simulation/host/simulatedhost.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using SleepReplacement =
    platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep>;

// An agent that answers "go on" to everything, when TakeTurn is called or in a thread of its own.
class PromptAgent {
 public:
  PromptAgent() : m_agent(MakeHandlers(), {}) {
    if (m_agent.Start() != agentkit::OpenResult::kOpened) std::abort();
  }
  ~PromptAgent() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
  }
  PromptAgent(const PromptAgent&) = delete;
  PromptAgent& operator=(const PromptAgent&) = delete;

  // Handles what is waiting.
  void TakeTurn() { m_agent.Poll(); }
  // Starts a thread that takes a turn each millisecond. TakeTurn must not be called any more.
  void RunInThread() {
    m_thread = std::thread([this] {
      while (!m_stop) {
        m_agent.Poll();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
  }
  std::uint64_t Requests() const { return m_requests.load(); }

 private:
  agentkit::Handlers MakeHandlers() {
    agentkit::Handlers handlers;
    handlers.onRequest = [this](const agentkit::Request&) {
      m_requests.fetch_add(1);
      return std::optional<std::int32_t>(4);
    };
    return handlers;
  }

  std::atomic<std::uint64_t> m_requests = 0;
  std::atomic<bool> m_stop = false;
  agentkit::Agent m_agent;
  std::thread m_thread;
};

std::shared_ptr<simulation::mail::MailAddressEntry> Person(std::size_t number) {
  auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
  entry->address = "person" + std::to_string(number) + "@partner.example";
  return entry;
}

std::shared_ptr<simulation::mail::MailAddressEntry> List(const std::string& id) {
  auto list = std::make_shared<simulation::mail::MailAddressEntry>();
  list->displayType = 5;
  list->id = id;
  return list;
}

simulation::mail::MailModel MailWith(std::size_t recipients, std::size_t attachments) {
  simulation::mail::MailModel mail;
  for (std::size_t i = 0; i < recipients; ++i) {
    mail.recipients.push_back({"Person", Person(i)});
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

// One list that contains lists of ten members each.
simulation::mail::MailModel MailWithNestedLists(std::size_t people) {
  simulation::mail::MailModel mail = MailWith(0, 0);
  const auto all = List("all");
  for (std::size_t i = 0; i < people; ++i) {
    if (i % 10 == 0) all->members.push_back(List("part" + std::to_string(i / 10)));
    all->members.back()->members.push_back(Person(i));
  }
  mail.recipients.push_back({"All", all});
  return mail;
}

enum class Sleeps { kReal, kNone };

// What one mail took.
struct Share {
  bench::Samples perMail;     // all of the mail, in milliseconds
  bench::Samples own;         // the mail without the sleeps, in milliseconds
  bench::Samples perRequest;  // a request without the sleeps, in milliseconds
  double requests = 0;        // of one mail
  double sleepsPerRequest = 0;
  double hostCalls = 0;  // of one mail
};

Share SendOften(const simulation::mail::MailModel& model, int rounds, Sleeps sleeps) {
  PromptAgent agent;
  if (sleeps == Sleeps::kReal) agent.RunInThread();
  simulation::host::SimulatedHost host;
  simulation::host::HostMailItem& mail = host.CreateMail(model);
  Milliseconds slept{0};
  std::uint64_t sleepCount = 0;
  const SleepReplacement counting([&](auto original, std::uint32_t milliseconds) {
    const auto begin = Clock::now();
    if (sleeps == Sleeps::kReal) {
      original(milliseconds);
    } else {
      agent.TakeTurn();
    }
    slept += Clock::now() - begin;
    ++sleepCount;
  });

  mail.AddRef();
  DlpMailEvent sink(&mail);
  sink.CheckEmail(&mail);  // makes what is made only once
  Share share;
  host.Calls().KeepJournal(false);
  for (int round = 0; round < rounds; ++round) {
    slept = Milliseconds{0};
    sleepCount = 0;
    host.Calls().Restart();
    const std::uint64_t before = agent.Requests();
    const auto begin = Clock::now();
    sink.CheckEmail(&mail);
    const Milliseconds all = Clock::now() - begin;
    share.requests = static_cast<double>(agent.Requests() - before);
    if (share.requests < 1) std::abort();
    share.perMail.Add(all.count());
    share.own.Add((all - slept).count());
    share.perRequest.Add((all - slept).count() / share.requests);
    share.sleepsPerRequest = static_cast<double>(sleepCount) / share.requests;
    share.hostCalls = static_cast<double>(host.Calls().Total());
  }
  return share;
}

// The floor for SendOften's share of a request.
bench::Samples SendBareOften(int attachments, double requests) {
  const bench::BareMail mail(attachments);
  mail.Send();
  bench::Samples perRequest;
  for (int round = 0; round < 30; ++round) {
    const auto begin = Clock::now();
    mail.Send();
    const Milliseconds all = Clock::now() - begin;
    perRequest.Add(all.count() / requests);
  }
  return perRequest;
}

void PrintShare(const bench::Table& table, const std::string& name, const Share& share) {
  const std::string remark = std::to_string(static_cast<int>(share.requests)) + " requests, " +
                             std::to_string(share.sleepsPerRequest).substr(0, 4) +
                             " sleeps a request";
  table.Row(name, share.perMail, share.requests, remark.c_str());
  table.Row(name + ", own share", share.own, share.requests);
  table.Row(name + ", own share of a request", share.perRequest);
}

// The part of Send that CheckEmail doesn't include.
void CachedVerdicts(const bench::Table& table) {
  for (const std::size_t entries : {1U, 1'000U, 10'000U, 100'000U}) {
    VerdictCache cache;
    for (std::size_t i = 0; i < entries; ++i) {
      cache.Store(reinterpret_cast<const _MailItem*>(0x10000 + 64 * i), {1000, 4});
    }
    const auto* const last = reinterpret_cast<const _MailItem*>(0x10000 + 64 * (entries - 1));
    bench::Samples samples;
    for (int round = 0; round < 200; ++round) {
      samples.Time([&] {
        cache.Purge(1000);
        if (cache.Find(last) == nullptr) std::abort();
      });
    }
    table.Row("A verdict from the cache, entries: " + std::to_string(entries), samples);
  }
}

void Growth(const bench::Table& table) {
  for (const int attachments : {1, 10, 30, 100}) {
    const std::string name = "No sleeps, attachments: " + std::to_string(attachments);
    const auto count = static_cast<std::size_t>(attachments);
    const Share share = SendOften(MailWith(3, count), 30, Sleeps::kNone);
    PrintShare(table, name, share);
    table.Row(name + ", the system's calls of a request alone",
              SendBareOften(attachments, share.requests));
  }
  for (const std::size_t recipients : {10U, 100U, 1'000U, 3'000U, 10'000U}) {
    const Share flat = SendOften(MailWith(recipients, 0), 20, Sleeps::kNone);
    table.Row("No sleeps, recipients: " + std::to_string(recipients), flat.perMail, flat.hostCalls,
              "count: calls of the host");
    const Share nested = SendOften(MailWithNestedLists(recipients), 20, Sleeps::kNone);
    table.Row("No sleeps, recipients in nested lists: " + std::to_string(recipients), nested.own,
              nested.hostCalls, "own share; count: calls of the host");
  }
  CachedVerdicts(table);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Table table(argc, argv);
  PrintShare(table, "With sleeps, attachments: 0", SendOften(MailWith(3, 0), 5, Sleeps::kReal));
  PrintShare(table, "With sleeps, attachments: 10", SendOften(MailWith(3, 10), 5, Sleeps::kReal));
  Growth(table);
  return 0;
}
