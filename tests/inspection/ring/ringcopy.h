// A copy of a ring with whatever a test puts into it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "inspection/ring/ringview.h"
#include "tests/agentkit/agentkitsupport.h"

namespace tests {

class RingCopy {
 public:
  explicit RingCopy(std::uint32_t capacity = 1U << 18)
      : m_capacity(capacity), m_bytes(16 + capacity + 4) {
    header.capacity = static_cast<std::int32_t>(capacity);
  }

  // Reserves an entry and returns its position.
  std::uint32_t Reserve(std::uint32_t length = 148) {
    const std::uint32_t position = header.writeCursor;
    header.usedBytes += static_cast<std::int32_t>(length + 4);
    header.writeCursor += length + 4;
    return position;
  }
  void Complete(std::uint32_t position, const Bytes& payload) {
    PutWord(position, static_cast<std::uint32_t>(payload.size()));
    for (std::uint32_t i = 0; i < payload.size(); ++i) {
      m_bytes[16 + (position + 4 + i) % m_capacity] = payload[i];
    }
  }
  void PutWord(std::uint32_t position, std::uint32_t word) {
    std::memcpy(m_bytes.data() + 16 + position % m_capacity, &word, 4);
  }
  void Request(int sequence, std::uint32_t type = 1) {
    Complete(Reserve(), Record(sequence, type));
  }
  void StartAt(std::uint32_t position) { header.writeCursor = header.consumerWord = position; }

  inspection::ring::Bytes Take() {
    std::memcpy(m_bytes.data(), &header, sizeof(header));
    return m_bytes;
  }
  inspection::ring::Snapshot Look() { return inspection::ring::Decode(Take()); }

  static Bytes Record(int sequence, std::uint32_t type) {
    ContentRequest record{0x1234, 0x56, 34, 4, type, {}};
    std::snprintf(record.szBlockName, sizeof(record.szBlockName), "Global\\0000123400000056%05d",
                  sequence);
    return tests::BytesOf(record);
  }

  RingHeader header{};

 private:
  std::uint32_t m_capacity;
  inspection::ring::Bytes m_bytes;
};

}  // namespace tests
