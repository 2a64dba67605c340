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
    Mail& mail = m_mails[Sender(request.processId, request.threadId)];
    // Recipients, sender and envelope come before any file. One of them after a file belongs to a
    // new mail: the last one ended without kItemClose.
    if (mail.hasFiles && request.itemType != channel::kItemFile &&
        request.itemType != channel::kItemClose) {
      mail = {};
    }
    switch (request.itemType) {
      case channel::kItemRecipients: {
        // Every address ends in a NUL.
        const auto people = std::count(request.payload.begin(), request.payload.end(), '\0');
        mail.verdict = people > kManyPeople ? channel::kActionTag : channel::kActionGoOn;
        return channel::kActionGoOn;  // with any other answer, the content isn't checked
      }
      case channel::kItemFile:
        mail.hasFiles = true;
        if (!std::string_view(request.name).ends_with(".key")) return channel::kActionGoOn;
        return mail.verdict = channel::kActionBlock;
      case channel::kItemClose: {
        // This answer replaces the ones to the files, so it repeats the verdict.
        const ActionCode verdict = mail.verdict;
        Forget(request);
        return verdict;
      }
      default:
        return channel::kActionGoOn;
    }
  }

  // The sender's mail has ended, perhaps without kItemClose.
  void Forget(const agentkit::Request& request) {
    m_mails.erase(Sender(request.processId, request.threadId));
  }

 private:
  struct Mail {
    ActionCode verdict = channel::kActionGoOn;
    bool hasFiles = false;
  };
  std::map<Sender, Mail> m_mails;  // those that are being sent
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
