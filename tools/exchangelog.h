// What the add-in does while it checks a mail, recorded from its own side: its log, and its
// requests to the agent with their payloads and waits.
//
// This doesn't depend on the agent. The functions that record are called at the add-in's calls of
// the operating system: see AddIn::Watch.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/handles.h"

namespace tools {

// One attempt to ask the agent.
struct Exchange {
  std::string block;                   // the name of the request's block; empty without a ring
  std::optional<std::string> payload;  // absent if the agent didn't create the block
  std::string name;
  double waitMs = 0;  // until the add-in went on
  // If the payload is the path of a file that can be read: what is in it at the end of the request.
  std::optional<std::uint64_t> contentBytes;
  std::optional<std::string> contentSha256;
};

// For one thread: the one that fires Send.
class ExchangeLog {
 public:
  using Clock = std::chrono::steady_clock;

  // `now` is the clock for the waits.
  explicit ExchangeLog(std::function<Clock::time_point()> now = &Clock::now)
      : m_now(std::move(now)) {}

  // The add-in has opened the mapping `name`; `mapping` is null if it doesn't exist. Opening the
  // ring begins an exchange.
  void Opened(std::string_view name, platform::Handle mapping);
  // It has mapped `size` bytes of it; `view` is null if that failed.
  void Mapped(platform::Handle mapping, const void* view, std::uint32_t size);
  // It is about to unmap the view, which can still be read.
  void Unmapping(const void* view);
  // It has logged a line. The line may contain line ends of a mail's text.
  void Logged(std::string line) { m_lines.push_back(std::move(line)); }

  // Take what was recorded since the last call.
  std::vector<Exchange> TakeExchanges();
  std::vector<std::string> TakeLines();

  // How long the recording itself took since the last call.
  double TakeOwnMs();

 private:
  void ReadBlock(Exchange& exchange, const void* view, std::uint32_t size);

  struct View {
    platform::Handle mapping = nullptr;
    const void* view = nullptr;
    std::uint32_t size = 0;
  };

  const std::function<Clock::time_point()> m_now;
  std::vector<Exchange> m_exchanges;
  Clock::time_point m_began;
  View m_ring;
  View m_block;
  bool m_hasWait = false;  // of the last exchange
  std::vector<std::string> m_lines;
  double m_ownMs = 0;
};

}  // namespace tools
