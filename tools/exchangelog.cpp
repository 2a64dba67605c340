#include "tools/exchangelog.h"

#include <utility>

#include "channel/protocol.h"
#include "simulation/agent/contentfile.h"

namespace tools {

namespace {

double Milliseconds(ExchangeLog::Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

// Without a temporary folder the add-in sends a name without a path, which another process can't
// find.
bool MayBePath(const std::string& payload) {
  constexpr std::size_t kLongest = 4096;
  return payload.size() <= kLongest && payload.find_first_of("/\\") != std::string::npos &&
         payload.find('\0') == std::string::npos;
}

}  // namespace

void ExchangeLog::Opened(std::string_view name, platform::Handle mapping) {
  if (name == channel::kRingName) {
    m_exchanges.emplace_back();
    m_began = m_now();
    m_ring = {mapping};
    m_block = {};
    m_hasWait = false;
  } else if (!m_exchanges.empty()) {
    m_exchanges.back().block = name;
    m_block = {mapping};
  }
}

void ExchangeLog::Mapped(platform::Handle mapping, const void* view, std::uint32_t size) {
  for (View* const known : {&m_ring, &m_block}) {
    if (mapping == nullptr || known->mapping != mapping) continue;
    // A mapping without a view is closed at once, and another may get its handle.
    *known = view == nullptr ? View{} : View{mapping, view, size};
  }
}

void ExchangeLog::Unmapping(const void* view) {
  if (view == nullptr || m_exchanges.empty()) return;
  const bool isBlock = view == m_block.view;
  if (!isBlock && view != m_ring.view) return;
  Exchange& exchange = m_exchanges.back();
  if (!m_hasWait) exchange.waitMs = Milliseconds(m_now() - m_began);
  m_hasWait = true;
  if (isBlock) {
    const Clock::time_point began = Clock::now();
    ReadBlock(exchange, view, m_block.size);
    m_ownMs += Milliseconds(Clock::now() - began);
  }
  (isBlock ? m_block : m_ring) = {};
}

// The payload may contain NULs, the name can't: it is what follows the last NUL but one.
void ExchangeLog::ReadBlock(Exchange& exchange, const void* view, std::uint32_t size) {
  if (size < channel::kBlockOverhead) return;
  std::string_view rest(static_cast<const char*>(view), size - 1);
  rest.remove_prefix(channel::kPayloadOffset);
  const std::size_t end = rest.rfind('\0');
  if (end == std::string_view::npos) return;
  exchange.name = rest.substr(end + 1);
  exchange.payload = rest.substr(0, end);
  if (!MayBePath(*exchange.payload)) return;
  if (auto file = simulation::agent::ReadContentFile(*exchange.payload, 0)) {
    exchange.contentBytes = file->bytes;
    exchange.contentSha256 = std::move(file->sha256);
  }
}

std::vector<Exchange> ExchangeLog::TakeExchanges() {
  m_ring = m_block = {};
  return std::exchange(m_exchanges, {});
}

std::vector<std::string> ExchangeLog::TakeLines() {
  return std::exchange(m_lines, {});
}

double ExchangeLog::TakeOwnMs() {
  return std::exchange(m_ownMs, 0);
}

}  // namespace tools
