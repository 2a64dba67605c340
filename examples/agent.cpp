// A whole agent on agentkit/agentkit.h: blocks mails with an attachment named *.key, tags
// mails to more than ten people, lets everything else go. Ends on Ctrl-C.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "agentkit/agentkit.h"

namespace {

constexpr std::ptrdiff_t kManyPeople = 10;

std::atomic<bool> g_stop{false};

// Mails that are being sent at the same time come from different threads or processes.
using Sender = std::pair<std::uint32_t, std::uint32_t>;

class Judge {
 public:
  std::int32_t Answer(const agentkit::Request& request) {
    std::int32_t& verdict = m_verdicts[Sender(request.processId, request.threadId)];
    if (request.itemType == channel::kItemRecipients) {  // the first item of each mail
      // Every address ends in a NUL.
      const auto people = std::count(request.payload.begin(), request.payload.end(), '\0');
      verdict = people > kManyPeople ? channel::kActionTag : channel::kActionGoOn;
      return channel::kActionGoOn;  // anything else keeps the content from being asked about
    }
    if (request.itemType == channel::kItemFile &&
        std::string_view(request.name).ends_with(".key")) {
      return verdict = channel::kActionBlock;  // ends the files; the last item still comes
    }
    // The last word replaces whatever the files came to, so it has to be the worst of all.
    return request.itemType == channel::kItemClose && verdict != 0 ? verdict : channel::kActionGoOn;
  }

 private:
  std::map<Sender, std::int32_t> m_verdicts;
};

}  // namespace

int main() {
  std::signal(SIGINT, [](int) { g_stop = true; });
  std::signal(SIGTERM, [](int) { g_stop = true; });
  Judge judge;
  agentkit::Agent agent({.onRequest = [&judge](const agentkit::Request& request) {
    const std::int32_t answer = judge.Answer(request);
    std::printf("%08x:%08x  type %u  %zu bytes  %s  -> %d\n",
                static_cast<unsigned>(request.processId), static_cast<unsigned>(request.threadId),
                static_cast<unsigned>(request.itemType), request.payload.size(),
                request.name.c_str(), static_cast<int>(answer));
    std::fflush(stdout);
    return std::optional(answer);
  }});
  if (agent.Start() != agentkit::OpenResult::kOpened) {
    std::fputs("no ring to be had: another agent has it, or the system refuses it\n", stderr);
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  agent.Run(g_stop);
}
