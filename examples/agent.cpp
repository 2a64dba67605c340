// A whole agent on agentkit/agentkit.h: blocks mails with an attachment named *.key, tags
// mails to more than ten people, lets everything else go. Ends on Ctrl-C.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "agentkit/agentkit.h"

namespace {

constexpr std::ptrdiff_t kManyPeople = 10;

std::atomic<bool> g_stop{false};

// Identifies a mail while it is being sent: each one is checked by one thread of one process.
using Sender = std::pair<std::uint32_t, std::uint32_t>;

class Judge {
 public:
  ActionCode Answer(const agentkit::Request& request) {
    const Sender sender(request.processId, request.threadId);
    switch (request.itemType) {
      case channel::kItemRecipients: {
        // Every address ends in a NUL.
        const auto people = std::count(request.payload.begin(), request.payload.end(), '\0');
        m_verdicts[sender] = people > kManyPeople ? channel::kActionTag : channel::kActionGoOn;
        return channel::kActionGoOn;  // with any other answer, the content isn't checked
      }
      case channel::kItemFile:
        if (!std::string_view(request.name).ends_with(".key")) return channel::kActionGoOn;
        return m_verdicts[sender] = channel::kActionBlock;
      case channel::kItemClose: {
        // This answer replaces the ones to the files, so it repeats the verdict.
        const auto found = m_verdicts.find(sender);
        if (found == m_verdicts.end()) return channel::kActionGoOn;
        const ActionCode verdict = found->second;
        m_verdicts.erase(found);
        return verdict;
      }
      default:
        return channel::kActionGoOn;
    }
  }

  // The sender's mail has ended without kItemClose.
  void Forget(const agentkit::Request& request) {
    m_verdicts.erase(Sender(request.processId, request.threadId));
  }

 private:
  std::map<Sender, ActionCode> m_verdicts;  // of the mails that are being sent
};

}  // namespace

int main() {
  std::signal(SIGINT, [](int) { g_stop = true; });
  std::signal(SIGTERM, [](int) { g_stop = true; });
  Judge judge;
  agentkit::Handlers handlers;
  handlers.onRequest = [&judge](const agentkit::Request& request) {
    const ActionCode answer = judge.Answer(request);
    const std::string word(channel::ItemWord(request.itemType));
    std::printf("%08x:%08x  %s  %zu bytes  %s  -> %d\n", static_cast<unsigned>(request.processId),
                static_cast<unsigned>(request.threadId), word.empty() ? "unknown" : word.c_str(),
                request.payload.size(), request.name.c_str(), static_cast<int>(answer));
    std::fflush(stdout);
    return std::optional(answer);
  };
  handlers.onEnd = [&judge](const agentkit::Request& request, agentkit::Ending ending) {
    if (ending != agentkit::Ending::kAnswerTaken) judge.Forget(request);
  };
  agentkit::Agent agent(handlers);
  if (agent.Start() != agentkit::OpenResult::kOpened) {
    std::fputs("the ring can't be created: another agent has it, or the system refuses it\n",
               stderr);
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  agent.Run(g_stop);
}
