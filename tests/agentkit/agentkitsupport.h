// A writer and a requester that a test drives step by step, and a clock that only the test
// advances.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/ringbuffer.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "tests/support/privatenames.h"

namespace tests {

using Bytes = std::vector<unsigned char>;

// A clock that only the test advances.
class StandingClock {
 public:
  StandingClock() : m_ticks([this](auto) { return now; }) {}

  std::uint32_t now = 0xFFFFF000;  // wraps in the middle of most tests

 private:
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks;
};

// A second view of a ring, with each step of a push as an operation.
class HandWriter {
 public:
  explicit HandWriter(std::uint32_t capacity = 1U << 18) : m_capacity(capacity) {
    if (!m_view.Open(channel::kRingName, ViewSize())) {
      throw std::runtime_error("no ring to write to");
    }
  }

  RingHeader* Header() { return reinterpret_cast<RingHeader*>(m_view.Data()); }
  unsigned char* Data() { return m_view.Data() + sizeof(RingHeader); }
  std::uint32_t ViewSize() const {
    return m_capacity + static_cast<std::uint32_t>(channel::kRingOverhead);
  }

  bool Push(const Bytes& payload) {
    return channel::PushEntry(Header(), ViewSize(), payload.data(),
                              static_cast<int>(payload.size()));
  }

  // Makes both additions for an entry with `length` bytes of payload and returns its position.
  std::uint32_t Reserve(std::uint32_t length) {
    Header()->usedBytes += static_cast<std::int32_t>(length + 4);
    const std::uint32_t position = Header()->writeCursor;
    Header()->writeCursor += length + 4;
    return position;
  }
  // Copies the payload and stores the length word of the entry reserved at `position`.
  void Complete(std::uint32_t position, const Bytes& payload) {
    for (std::uint32_t i = 0; i < payload.size(); ++i) {
      Data()[(position + 4 + i) % m_capacity] = payload[i];
    }
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::memcpy(Data() + position % m_capacity, &length, 4);
  }
  bool IsDataAreaClear() { return Bytes(Data(), Data() + m_capacity) == Bytes(m_capacity, 0); }

 private:
  std::uint32_t m_capacity;
  agentkit::SharedView m_view;
};

// Returns `size` non-zero bytes that depend on `seed`.
inline Bytes Pattern(std::uint32_t seed, std::size_t size = 148) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>((seed * 7 + i * 13) % 255 + 1);
  }
  return bytes;
}

// Returns a valid record for a block of `length` bytes with `sequence` in its name.
inline ContentRequest MakeRecord(std::uint32_t length, int sequence, std::uint32_t itemType = 1,
                                 std::uint32_t threadId = 77) {
  ContentRequest record{};
  record.dwProcessId = platform::process.GetCurrentProcessId();
  record.dwThreadId = threadId;
  record.dwBlockLength = length;
  record.dwRequestKind = 4;
  record.dwItemType = itemType;
  std::snprintf(record.szBlockName, sizeof(record.szBlockName), "Global\\%08x%08x%05d",
                static_cast<unsigned>(record.dwProcessId), static_cast<unsigned>(record.dwThreadId),
                sequence);
  return record;
}

inline Bytes BytesOf(const ContentRequest& record) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
  return {bytes, bytes + sizeof(record)};
}

// The add-in's part, step by step.
class HandRequester {
 public:
  HandRequester(std::string payload, std::string name, int sequence, std::uint32_t itemType = 1)
      : record(MakeRecord(static_cast<std::uint32_t>(payload.size() + name.size()) + 6, sequence,
                          itemType)),
        m_content(std::move(payload) + '\0' + std::move(name) + '\0') {}

  bool Push() { return HandWriter().Push(BytesOf(record)); }
  bool OpenBlock() { return m_view.Open(record.szBlockName, record.dwBlockLength); }
  void Fill() {
    Exchange(0);
    std::memcpy(m_view.Data() + 4, m_content.data(), m_content.size());
  }
  // One poll: stores `word` and returns the previous value.
  std::int32_t Exchange(std::int32_t word = 1) {
    return std::atomic_ref<std::int32_t>(*reinterpret_cast<std::int32_t*>(m_view.Data()))
        .exchange(word);
  }
  void Close() { m_view.Close(); }

  ContentRequest record;

 private:
  std::string m_content;
  agentkit::SharedView m_view;
};

}  // namespace tests
